#include "platform/PlatformException.h"

#include <optional>
#include <type_traits>
#include <typeindex>

#include "platform/ErrorCodes.h"
#include "support/MachineTest.h"
#include "support/ScopedImport.h"

namespace {

using Platform::Exception;
using Platform::ThrowForHResult;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

static_assert(!std::is_base_of_v<std::exception, Exception>,
              "handlers of std::exception let it pass");
static_assert(E_BOUNDS == static_cast<HRESULT>(0x8000000B));
static_assert(E_CHANGED_STATE == static_cast<HRESULT>(0x8000000C));
static_assert(RO_E_CLOSED == static_cast<HRESULT>(0x80000013));

constexpr HRESULT hresult(unsigned code) {
    return static_cast<HRESULT>(code);
}

struct Thrown {
    std::type_index type;
    Exception exception;
};

// What ThrowForHResult throws; nothing if it returns.
std::optional<Thrown> thrownFor(HRESULT code) {
    try {
        ThrowForHResult(code);
    } catch (const Exception& exception) {
        return Thrown{typeid(exception), exception};
    }
    return std::nullopt;
}

class PlatformException : public MachineTest {
protected:
    void plantErrorObject(unsigned code) {
        machine.state.errorObject = {hresult(code), L"description", L"restricted"};
    }
};

TEST_F(PlatformException, EachHResultOfTheMapHasATypeOfItsOwn) {
    struct Row {
        unsigned code;
        std::type_index type;
    };
    const Row rows[] = {
        {0x80004001, typeid(Platform::NotImplementedException)},
        {0x80004002, typeid(Platform::InvalidCastException)},
        {0x80004003, typeid(Platform::NullReferenceException)},
        {0x80004004, typeid(Platform::OperationCanceledException)},
        {0x80004005, typeid(Platform::FailureException)},
        {0x8000000B, typeid(Platform::OutOfBoundsException)},
        {0x8000000C, typeid(Platform::ChangedStateException)},
        {0x80000013, typeid(Platform::ObjectDisposedException)},
        {0x8007000E, typeid(Platform::OutOfMemoryException)},
        {0x80070057, typeid(Platform::InvalidArgumentException)},
        {0x80070005, typeid(Platform::AccessDeniedException)},
        {0x80010108, typeid(Platform::DisconnectedException)},
        {0x8001010E, typeid(Platform::WrongThreadException)},
        {0x80040154, typeid(Platform::ClassNotRegisteredException)},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << std::hex << row.code);

        const auto thrown = thrownFor(hresult(row.code));

        ASSERT_TRUE(thrown.has_value());
        EXPECT_STREQ(thrown->type.name(), row.type.name());
        EXPECT_EQ(thrown->exception.hresult(), hresult(row.code));
    }
}

TEST_F(PlatformException, EveryOtherFailureIsAComException) {
    const unsigned codes[] = {0x80070002, 0x80070006, 0x8001010D, 0x80010119, 0x800401F0,
                              0x80004006, 0x8000000A, 0x8000FFFF, 0x80000000, 0xFFFFFFFF};
    for (const unsigned code : codes) {
        SCOPED_TRACE(testing::Message() << std::hex << code);

        const auto thrown = thrownFor(hresult(code));

        ASSERT_TRUE(thrown.has_value());
        EXPECT_STREQ(thrown->type.name(), typeid(Platform::COMException).name());
        EXPECT_EQ(thrown->exception.hresult(), hresult(code));
    }
}

TEST_F(PlatformException, ASuccessThrowsNothingAndAsksForNoErrorInformation) {
    for (const HRESULT code : {S_OK, S_FALSE, HRESULT{2}, HRESULT{0x7FFFFFFF}})
        EXPECT_NO_THROW(ThrowForHResult(code));

    EXPECT_THAT(machine.calls(), IsEmpty());
}

TEST_F(PlatformException, ASuccessLeavesTheErrorObjectWhereItIs) {
    plantErrorObject(0x80070005);

    ThrowForHResult(S_OK);

    EXPECT_TRUE(machine.state.errorObject.has_value());
}

TEST_F(PlatformException, ErrorInformationIsFetchedAtOnceAndKept) {
    plantErrorObject(0x80070005);

    const auto thrown = thrownFor(E_ACCESSDENIED);

    ASSERT_TRUE(thrown.has_value());
    EXPECT_NE(thrown->exception.restrictedErrorInfo(), nullptr);
    EXPECT_FALSE(machine.state.errorObject.has_value());
    EXPECT_THAT(machine.calls({"GetRestrictedErrorInfo", "IRestrictedErrorInfo::GetErrorDetails"}),
                ElementsAre("GetRestrictedErrorInfo(out) = 0",
                            "IRestrictedErrorInfo::GetErrorDetails(ErrorInfo#1) = 0"));
}

TEST_F(PlatformException, ErrorInformationOfAnotherHResultIsNone) {
    plantErrorObject(0x80070002);

    const auto thrown = thrownFor(E_ACCESSDENIED);

    ASSERT_TRUE(thrown.has_value());
    EXPECT_EQ(thrown->exception.restrictedErrorInfo(), nullptr);
    EXPECT_THAT(machine.ledger.leaks(), IsEmpty());
}

TEST_F(PlatformException, NoErrorInformationIsNone) {
    const auto thrown = thrownFor(E_FAIL);

    ASSERT_TRUE(thrown.has_value());
    EXPECT_EQ(thrown->exception.restrictedErrorInfo(), nullptr);
    EXPECT_THAT(machine.calls(), ElementsAre("GetRestrictedErrorInfo(out) = 1"));
}

TEST_F(PlatformException, AFailedFetchIsNone) {
    plantErrorObject(0x80004005);
    machine.failNext("GetRestrictedErrorInfo", 0x80004001);

    const auto thrown = thrownFor(E_FAIL);

    ASSERT_TRUE(thrown.has_value());
    EXPECT_STREQ(thrown->type.name(), typeid(Platform::FailureException).name());
    EXPECT_EQ(thrown->exception.restrictedErrorInfo(), nullptr);
}

TEST_F(PlatformException, AFetchThatGivesNullWithSuccessIsNone) {
    const auto noObject = replaceImport<HRESULT (*)(IRestrictedErrorInfo**)>(
        "GetRestrictedErrorInfo", [](auto, IRestrictedErrorInfo** info) -> HRESULT {
            *info = nullptr;
            return S_OK;
        });

    const auto thrown = thrownFor(E_FAIL);

    ASSERT_TRUE(thrown.has_value());
    EXPECT_EQ(thrown->exception.restrictedErrorInfo(), nullptr);
}

TEST_F(PlatformException, ErrorInformationThatDoesNotTellItsHResultIsNone) {
    plantErrorObject(0x80004005);
    machine.failNext("IRestrictedErrorInfo::GetErrorDetails", 0x8000FFFF);

    const auto thrown = thrownFor(E_FAIL);

    ASSERT_TRUE(thrown.has_value());
    EXPECT_EQ(thrown->exception.restrictedErrorInfo(), nullptr);
}

TEST_F(PlatformException, ErrorInformationLivesAsLongAsTheLastCopy) {
    plantErrorObject(0x80004005);
    auto thrown = thrownFor(E_FAIL);
    ASSERT_TRUE(thrown.has_value());
    std::optional<Exception> copy(thrown->exception);

    thrown.reset();

    EXPECT_THAT(machine.ledger.leaks(), ElementsAre("ErrorInfo#1"));
    copy.reset();
    EXPECT_THAT(machine.ledger.leaks(), IsEmpty());
}

}  // namespace
