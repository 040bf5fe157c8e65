#include <algorithm>
#include <sstream>

#include "run/ExecutablePermissions.h"
#include "stand-in/Text.h"
#include "support/LogTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;

static_assert(TokenUser == 1);
static_assert(ERROR_INSUFFICIENT_BUFFER == 122);

constexpr wchar_t kUser[] = L"S-1-5-21-1000-2000-3000-1001";

// A pointer as the log shows it; its form is the runtime library's.
std::string asLogged(const void* pointer) {
    std::wostringstream text;
    text << pointer;
    return standin::toUtf8(text.str());
}

class UserToken : public LogTest {
protected:
    UserToken() {
        machine.state.tokenUser = kUser;
        ::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY,
                           &record.m_token);
        machine.trace.clear();
    }

    ExecutablePermissions record;
};

TEST_F(UserToken, IsReadInTwoCallsAndItsSidConverted) {
    EXPECT_EQ(record.resolveUserToken(), 1);

    EXPECT_THAT(machine.calls({"GetTokenInformation", "ConvertSidToStringSidW"}),
                ElementsAre("GetTokenInformation(token#1, 1, null, 0, out) = 0, error 122",
                            "GetTokenInformation(token#1, 1, given, 44, 44) = 1",
                            "ConvertSidToStringSidW(S-1-5-21-1000-2000-3000-1001, "
                            "\"S-1-5-21-1000-2000-3000-1001\") = 1"));
    mounted.expectLeaks({"memory#1"});
}

TEST_F(UserToken, UserPointsIntoTheRecordsBuffer) {
    record.resolveUserToken();

    EXPECT_EQ(record.m_tokenUserBuffer.size(), 44U);
    EXPECT_EQ(static_cast<const void*>(record.m_tokenUser), record.m_tokenUserBuffer.data());
    EXPECT_EQ(record.m_currentUserSidString, kUser);
    EXPECT_TRUE(::IsValidSid(record.m_tokenUser->User.Sid));
    mounted.expectLeaks({"memory#1"});
}

TEST_F(UserToken, SuccessIsLoggedWithSuccededAsSpelled) {
    record.resolveUserToken();

    EXPECT_EQ(logText(), "GetTokenInformation succeded.m_tokenUser->User.Sid :" +
                             asLogged(record.m_tokenUser->User.Sid) +
                             "\nConvertSidToStringSid (CurrentUserSidString) "
                             "succededS-1-5-21-1000-2000-3000-1001\n");
    mounted.expectLeaks({"memory#1"});
}

TEST_F(UserToken, TextOfTheSidIsNeverReleased) {
    record.resolveUserToken();

    EXPECT_EQ(machine.trace.count("LocalFree"), 0U);
    mounted.expectLeaks({"memory#1"});
}

TEST_F(UserToken, WithoutATokenTheFirstQuestionFails) {
    ExecutablePermissions other;

    EXPECT_EQ(other.resolveUserToken(), 0);

    EXPECT_EQ(logText(), "GetTokenInformation failed. GetLastError returned: 6\n");
    EXPECT_EQ(machine.trace.count("GetTokenInformation"), 1U);
}

TEST_F(UserToken, AnyOtherErrorOfTheFirstQuestionIsAFailureWithABlankInItsLine) {
    machine.failNext("GetTokenInformation", ERROR_ACCESS_DENIED);

    EXPECT_EQ(record.resolveUserToken(), 0);

    EXPECT_EQ(logText(), "GetTokenInformation failed. GetLastError returned: 5\n");
    EXPECT_EQ(machine.trace.count("GetTokenInformation"), 1U);
    EXPECT_EQ(record.m_currentUserSidString, L"");
}

TEST_F(UserToken, AFailureOfTheSecondQuestionHasNoBlankInItsLine) {
    machine.failNth("GetTokenInformation", 2, ERROR_ACCESS_DENIED);

    EXPECT_EQ(record.resolveUserToken(), 0);

    EXPECT_EQ(logText(), "GetTokenInformation failed. GetLastError returned:5\n");
    EXPECT_EQ(machine.trace.count("ConvertSidToStringSidW"), 0U);
    EXPECT_EQ(record.m_currentUserSidString, L"");
}

TEST_F(UserToken, AnInsufficientBufferAtTheSecondQuestionIsAFailureToo) {
    machine.failNth("GetTokenInformation", 2, ERROR_INSUFFICIENT_BUFFER);

    EXPECT_EQ(record.resolveUserToken(), 0);

    EXPECT_EQ(logText(), "GetTokenInformation failed. GetLastError returned:122\n");
}

TEST_F(UserToken, FirstQuestionThatSucceedsGoesOnAndTheBufferIsZeroed) {
    constexpr DWORD kAnnounced = 256;
    int calls = 0;
    const auto information = replaceImport<decltype(&::GetTokenInformation)>(
        "GetTokenInformation",
        [&](auto real, HANDLE token, TOKEN_INFORMATION_CLASS wanted, LPVOID buffer, DWORD size,
            PDWORD needed) -> BOOL {
            if (++calls > 1) return real(token, wanted, buffer, size, needed);
            *needed = kAnnounced;
            return TRUE;
        });

    EXPECT_EQ(record.resolveUserToken(), 1);

    ASSERT_EQ(record.m_tokenUserBuffer.size(), kAnnounced);
    const auto tail = record.m_tokenUserBuffer.begin() + 44;
    EXPECT_TRUE(std::all_of(tail, record.m_tokenUserBuffer.end(), [](BYTE b) { return b == 0; }));
    EXPECT_EQ(record.m_currentUserSidString, kUser);
    mounted.expectLeaks({"memory#1"});
}

// Without a text the process ends where it would be logged.
TEST_F(UserToken, FailedConversionIsLoggedWithTheTextThatItLeft) {
    wchar_t left[] = L"S-1-5";
    const auto convert = replaceImport<decltype(&::ConvertSidToStringSidW)>(
        "ConvertSidToStringSidW", [&](auto, PSID, LPWSTR* text) -> BOOL {
            *text = left;
            return FALSE;
        });

    EXPECT_EQ(record.resolveUserToken(), 0);

    EXPECT_THAT(logText(), EndsWith("\nConvertSidToStringSid (CurrentUserSidString) failed for "
                                    "TQXUWP with S-1-5\n"));
    EXPECT_EQ(record.m_currentUserSidString, L"");
}

// A log line asks the clock, which may change the last error.
TEST_F(UserToken, ErrorsAreThoseOfTheCallAndNotOfTheLogLine) {
    machine.onCall("GetSystemTimeAsFileTime", [] { ::SetLastError(ERROR_INVALID_HANDLE); });
    machine.failNext("GetTokenInformation", ERROR_ACCESS_DENIED);
    record.resolveUserToken();
    machine.failNth("GetTokenInformation", 2, ERROR_NOT_ENOUGH_MEMORY);
    record.resolveUserToken();

    EXPECT_EQ(logText(),
              "GetTokenInformation failed. GetLastError returned: 5\n"
              "GetTokenInformation failed. GetLastError returned:8\n");
}

}  // namespace
