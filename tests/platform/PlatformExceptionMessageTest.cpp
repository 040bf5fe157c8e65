#include <cwchar>

#include "platform/PlatformException.h"
#include "stand-in/Text.h"
#include "support/MachineTest.h"
#include "support/ScopedImport.h"

namespace {

using Platform::Exception;
using Platform::ThrowForHResult;
using ::testing::IsEmpty;

using FormatMessageFunction = DWORD (*)(DWORD, LPCVOID, DWORD, DWORD, LPWSTR, DWORD, char**);

// The message of the exception that the HRESULT throws.
std::string messageFor(HRESULT code) {
    try {
        ThrowForHResult(code);
    } catch (const Exception& exception) {
        return standin::toUtf8(exception.message());
    }
    return "(nothing was thrown)";
}

// The system's text for every HRESULT is this one, which the caller owns.
auto systemTextIs(const wchar_t* text) {
    return replaceImport<FormatMessageFunction>(
        "FormatMessageW",
        [text](auto, DWORD, LPCVOID, DWORD, DWORD, LPWSTR buffer, DWORD, char**) -> DWORD {
            const size_t length = std::wcslen(text);
            auto* const copy = static_cast<wchar_t*>(
                ::LocalAlloc(LMEM_FIXED, (length + 1) * sizeof(wchar_t)));
            std::wmemcpy(copy, text, length + 1);
            *reinterpret_cast<wchar_t**>(buffer) = copy;
            return static_cast<DWORD>(length);
        });
}

class PlatformExceptionMessage : public MachineTest {};

TEST_F(PlatformExceptionMessage, IsTheRestrictedDescriptionIfThereIsOne) {
    machine.state.errorObject = {E_FAIL, L"description", L"The package is in use."};

    EXPECT_EQ(messageFor(E_FAIL), "The package is in use.");

    EXPECT_EQ(machine.trace.count("FormatMessageW"), 0U);
}

TEST_F(PlatformExceptionMessage, RestrictedDescriptionLosesItsLineEnd) {
    machine.state.errorObject = {E_FAIL, L"description", L"The package is in use.\r\n"};

    EXPECT_EQ(messageFor(E_FAIL), "The package is in use.");
}

TEST_F(PlatformExceptionMessage, IsTheSystemsTextWithoutARestrictedDescription) {
    for (const wchar_t* const none : {L"", L"\r\n"}) {
        SCOPED_TRACE(standin::toUtf8(none));
        machine.state.errorObject = {E_FAIL, L"description", none};
        const auto text = systemTextIs(L"Unspecified error");

        EXPECT_EQ(messageFor(E_FAIL), "Unspecified error");
    }
}

TEST_F(PlatformExceptionMessage, IsTheSystemsTextWithInformationOfAnotherHResult) {
    machine.state.errorObject = {E_ACCESSDENIED, L"description", L"Another failure."};
    const auto text = systemTextIs(L"Unspecified error");

    EXPECT_EQ(messageFor(E_FAIL), "Unspecified error");
}

TEST_F(PlatformExceptionMessage, IsTheSystemsTextWhenTheInformationStopsTelling) {
    machine.state.errorObject = {E_FAIL, L"description", L"The package is in use."};
    machine.failNth("IRestrictedErrorInfo::GetErrorDetails", 2, 0x8000FFFF);
    const auto text = systemTextIs(L"Unspecified error");

    EXPECT_EQ(messageFor(E_FAIL), "Unspecified error");
}

TEST_F(PlatformExceptionMessage, SystemsTextLosesItsLineEnd) {
    const struct {
        const wchar_t* systemText;
        const char* message;
    } rows[] = {
        {L"Access is denied.\r\n", "Access is denied."},
        {L"Access is denied.\n", "Access is denied."},
        {L"Access is denied. \r\n", "Access is denied. "},
        {L"\r\n", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(standin::toUtf8(row.systemText));
        const auto text = systemTextIs(row.systemText);

        EXPECT_EQ(messageFor(E_ACCESSDENIED), row.message);
    }
}

TEST_F(PlatformExceptionMessage, SystemsTextIsAskedForByTheHResultAndReleased) {
    const Exception exception(E_ACCESSDENIED, {});

    EXPECT_NE(exception.message(), L"");

    const auto calls = machine.calls({"FormatMessageW", "LocalFree"});
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_THAT(calls[0], testing::StartsWith("FormatMessageW(0x1300, null, 0x80070005, 0x0, "));
    EXPECT_EQ(calls[1], "LocalFree(memory#1) = null");
}

TEST_F(PlatformExceptionMessage, IsEmptyWithoutAnyText) {
    machine.failNext("FormatMessageW", ERROR_MR_MID_NOT_FOUND);

    EXPECT_EQ(messageFor(static_cast<HRESULT>(0x8FFFABCD)), "");
}

TEST_F(PlatformExceptionMessage, AsksTheErrorInformationAnewEachTime) {
    machine.state.errorObject = {E_FAIL, L"description", L"restricted"};
    try {
        ThrowForHResult(E_FAIL);
    } catch (const Exception& exception) {
        EXPECT_EQ(exception.message(), exception.message());
    }

    EXPECT_EQ(machine.trace.count("IRestrictedErrorInfo::GetErrorDetails"), 3U);
    EXPECT_THAT(machine.ledger.leaks(), IsEmpty());
}

}  // namespace
