#include <objbase.h>

#include <optional>

#include "run/ConfiguratorLog.h"
#include "support/LogTest.h"

namespace {

using ::testing::ElementsAre;

static_assert(COINIT_MULTITHREADED == 0);
static_assert(RPC_C_AUTHN_LEVEL_DEFAULT == 0);
static_assert(RPC_C_IMP_LEVEL_IMPERSONATE == 3);
static_assert(EOAC_NONE == 0);

void enterApartment(DWORD model) {
    const standin::Untraced untraced;
    ::CoInitializeEx(nullptr, model);
}

// The start of COM, which the log's constructor makes; what it writes, byte for byte.
class ComStart : public MachineTest {
protected:
    std::string bytesOnDisk() const { return readFile(scratch / L"lsdkConfiguratorLog.txt"); }

private:
    decltype(seemToBeIn(std::declval<const ScratchFolder&>())) m_place = seemToBeIn(scratch);
};

TEST_F(ComStart, ComIsStartedMultiThreadedAndThenItsSecurity) {
    const ConfiguratorLog log;

    EXPECT_TRUE(log.m_comReady);
    EXPECT_THAT(machine.calls({"CoInitializeEx", "CoInitializeSecurity"}),
                ElementsAre("CoInitializeEx(null, 0x0) = 0",
                            "CoInitializeSecurity(null, -1, null, null, 0, 3, null, 0x0, null) = 0"));
    EXPECT_EQ(bytesOnDisk(), "");
}

TEST_F(ComStart, FileIsOpenedBefore) {
    const ConfiguratorLog log;

    const auto calls = machine.calls({"_wfopen", "CoInitializeEx"});
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_THAT(calls[0], testing::StartsWith("_wfopen"));
}

TEST_F(ComStart, ThreadThatIsInTheSameApartmentAlreadyIsASuccess) {
    enterApartment(COINIT_MULTITHREADED);

    const ConfiguratorLog log;

    EXPECT_THAT(machine.calls({"CoInitializeEx"}), ElementsAre("CoInitializeEx(null, 0x0) = 1"));
    EXPECT_EQ(machine.trace.count("CoInitializeSecurity"), 1U);
    EXPECT_TRUE(log.m_comReady);
    EXPECT_EQ(bytesOnDisk(), "");
}

TEST_F(ComStart, AnotherApartmentIsAFailureLoggedWithoutATime) {
    enterApartment(COINIT_APARTMENTTHREADED);

    const ConfiguratorLog log;

    EXPECT_FALSE(log.m_comReady);
    EXPECT_EQ(bytesOnDisk(), "Error initializing COM code 0x80010106.\r\n");
    EXPECT_EQ(machine.trace.count("CoInitializeSecurity"), 0U);
}

TEST_F(ComStart, FailureIsLoggedInLowerCaseHexadecimal) {
    machine.failNext("CoInitializeEx", 0x8007ABCD);

    const ConfiguratorLog log;

    EXPECT_FALSE(log.m_comReady);
    EXPECT_EQ(bytesOnDisk(), "Error initializing COM code 0x8007abcd.\r\n");
    EXPECT_EQ(machine.trace.count("CoInitializeSecurity"), 0U);
}

TEST_F(ComStart, SecurityThatWasSetBeforeIsAFailureLoggedWithoutATime) {
    const ConfiguratorLog first;

    const ConfiguratorLog second;

    EXPECT_TRUE(first.m_comReady);
    EXPECT_FALSE(second.m_comReady);
    EXPECT_EQ(bytesOnDisk(), "Error initializing COM Security code 0x80010119.\r\n");
}

TEST_F(ComStart, NumbersOfAllLaterLinesAreHexadecimalAfterAFailure) {
    const struct {
        const char* call;
        const char* line;
    } rows[] = {
        {"CoInitializeEx", "(no time)Error initializing COM code 0x80004005.\n"},
        {"CoInitializeSecurity", "(no time)Error initializing COM Security code 0x80004005.\n"},
    };
    std::string expected;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.call);
        machine.failNext(row.call, 0x80004005);

        ConfiguratorLog log;
        log.beginLine() << "error " << DWORD{1314} << std::endl;
        log.beginLine() << -1 << " " << true << std::endl;

        expected += row.line + std::string("error 522\nffffffff 1\n");
        EXPECT_EQ(withoutTimes(bytesOnDisk()), expected);
    }
}

TEST_F(ComStart, NumbersAreDecimalAfterASuccess) {
    ConfiguratorLog log;

    log.beginLine() << DWORD{1314} << std::endl;

    EXPECT_EQ(withoutTimes(bytesOnDisk()), "1314\n");
}

TEST_F(ComStart, ComIsEndedWhateverItsStartGave) {
    for (const char* call : {"none", "CoInitializeEx", "CoInitializeSecurity"}) {
        SCOPED_TRACE(call);
        if (std::string_view(call) != "none") machine.failNext(call, 0x80004005);
        machine.trace.clear();

        { const ConfiguratorLog log; }

        EXPECT_EQ(machine.trace.count("CoUninitialize"), 1U);
    }
}

TEST_F(ComStart, FailureThrowsNothingWhenTheLogCannotBeOpenedEither) {
    writeFile(scratch / L"lsdkConfiguratorLog.txt", "");
    const HeldOpen held(scratch / L"lsdkConfiguratorLog.txt");
    machine.failNext("CoInitializeEx", 0x80004005);

    std::optional<ConfiguratorLog> log;
    EXPECT_NO_THROW(log.emplace());

    EXPECT_FALSE(log->m_comReady);
}

}  // namespace
