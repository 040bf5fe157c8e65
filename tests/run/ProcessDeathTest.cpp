#include "run/Clock.h"
#include "run/ProcessRun.h"

namespace {

using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr DWORD kFastFail = 0xC0000409;
constexpr DWORD kFailFastWithErrorContext = 0xC000027B;  // as the machine has it
constexpr DWORD kAccessViolation = 0xC0000005;
constexpr HRESULT kOutOfMemory = static_cast<HRESULT>(0x8007000E);

// Ends of the process that are no exit of the run.
class ProcessDeath : public ProcessRun {};

TEST_F(ProcessDeath, PlatformExceptionEndsTheProcessByFailFastOnItsHResult) {
    const standin::LaunchResult result = launchTypically("WindowsConcatString:1=0x8007000E");

    EXPECT_EQ(result.exitCode, kFailFastWithErrorContext);
    EXPECT_FALSE(result.endedNormally);
    EXPECT_EQ(lastCall(), "RoFailFastWithErrorContext(0x8007000E) = does not return");
    EXPECT_FALSE(wasCalled("SetRestrictedErrorInfo"));
    EXPECT_THAT(steps(), Not(Contains("users SID")));
}

TEST_F(ProcessDeath, ErrorInformationOfThePlatformExceptionIsPutBackBefore) {
    state.errorObject = {kOutOfMemory, L"description", L"restricted"};

    const standin::LaunchResult result = launchTypically("WindowsConcatString:1=0x8007000E");

    EXPECT_EQ(result.exitCode, kFailFastWithErrorContext);
    const auto all = calls();
    EXPECT_EQ(all[all.size() - 2], "SetRestrictedErrorInfo(given) = 0");
    EXPECT_EQ(all.back(), "RoFailFastWithErrorContext(0x8007000E) = does not return");
    ASSERT_TRUE(state.errorObject.has_value());
    EXPECT_EQ(state.errorObject->error, kOutOfMemory);
    EXPECT_EQ(state.errorObject->restrictedDescription, L"restricted");
}

TEST_F(ProcessDeath, ErrorInformationOfAnotherHResultIsNotPutBack) {
    state.errorObject = {E_FAIL, L"description", L"restricted"};

    const standin::LaunchResult result = launchTypically("WindowsConcatString:1=0x8007000E");

    EXPECT_EQ(result.exitCode, kFailFastWithErrorContext);
    EXPECT_FALSE(wasCalled("SetRestrictedErrorInfo"));
}

TEST_F(ProcessDeath, StringOfAnArgumentThatCannotBeMadeIsAPlatformExceptionToo) {
    // The first two strings are made before the entry point runs.
    const standin::LaunchResult result = launchTypically("WindowsCreateStringReference:4=0x8007000E");

    EXPECT_EQ(result.exitCode, kFailFastWithErrorContext);
    EXPECT_EQ(lastCall(), "RoFailFastWithErrorContext(0x8007000E) = does not return");
    EXPECT_FALSE(exists(logPath()));
}

TEST_F(ProcessDeath, RecordThatCannotBeMadeIsAPlatformExceptionBeforeTheLogIsOpened) {
    // Two strings before the entry point, five of the command line.
    const standin::LaunchResult result = launchTypically("WindowsCreateStringReference:8=0x8007000E");

    EXPECT_EQ(result.exitCode, kFailFastWithErrorContext);
    EXPECT_FALSE(exists(logPath()));
}

TEST_F(ProcessDeath, StringThatCannotBeMadeBeforeTheEntryPointEndsTheProcessByFastFail) {
    for (const char* fault : {"WindowsCreateStringReference:1=0x8007000E",
                              "WindowsCreateStringReference:2=0x8007000E"}) {
        SCOPED_TRACE(fault);

        const standin::LaunchResult result = launchTypically(fault);

        EXPECT_EQ(result.exitCode, kFastFail);
        EXPECT_FALSE(exists(logPath()));
    }
}

TEST_F(ProcessDeath, StandardExceptionThatFindsNoHandlerEndsTheProcessByFastFailWithoutAnExitStep) {
    const struct {
        const char* fault;
        const char* line;
    } rows[] = {
        {"CreateWellKnownSid:1=87", "\nCan't create well known sid 27. Last error is: 87.\n"},
        {"CreateWellKnownSid:2=87", "\nCan't create well known sid 22. Last error is: 87.\n"},
        {"LocalAlloc:1=8", "\nCan't allocate 68 for PSID.\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault);

        const standin::LaunchResult result = launchTypically(row.fault);

        EXPECT_EQ(result.exitCode, kFastFail);
        EXPECT_FALSE(result.endedNormally);
        EXPECT_THAT(log(), EndsWith(row.line));
        EXPECT_FALSE(wasCalled("CoUninitialize"));
        EXPECT_FALSE(wasCalled("CloseHandle"));
        EXPECT_FALSE(wasCalled("RoFailFastWithErrorContext"));
    }
}

TEST_F(ProcessDeath, SidThatCannotBeConvertedEndsTheProcessByAnAccessViolation) {
    const standin::LaunchResult result = launchTypically("ConvertSidToStringSidW:1=1337");

    EXPECT_EQ(result.exitCode, kAccessViolation);
    EXPECT_FALSE(result.endedNormally);
    EXPECT_FALSE(wasCalled("CoUninitialize"));
}

// The message goes into the stream's buffer and dies with it; the lines before are on the disk.
TEST_F(ProcessDeath, MessageOfASidThatCannotBeConvertedNeverReachesTheDisk) {
    launchTypically("ConvertSidToStringSidW:1=1337");

    EXPECT_THAT(log(), HasSubstr("\nGetTokenInformation succeded.m_tokenUser->User.Sid :"));
    EXPECT_THAT(log(), EndsWith("\n"));
    EXPECT_THAT(log(), Not(HasSubstr("ConvertSidToStringSid")));
    EXPECT_THAT(lastCall(), StartsWith("GetSystemTimeAsFileTime("));
}

TEST_F(ProcessDeath, ClockThatCannotBeConvertedEndsTheProcessByFastFail) {
    const struct {
        const char* name;
        uint64_t clock;
    } rows[] = {
        {"the first time of all", 0},
        {"one second before 1970", fileTime(-1)},
        {"one second after the last year", fileTime(32'535'216'000)},
        {"far future", 0x7FFFFFFFFFFFFFFF},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        state.clock = row.clock;

        const standin::LaunchResult result = launchTypically();

        EXPECT_EQ(result.exitCode, kFastFail);
        EXPECT_FALSE(result.endedNormally);
        EXPECT_EQ(readFile(logPath()), "");
        EXPECT_THAT(lastCall(), StartsWith("GetSystemTimeAsFileTime("));
    }
}

}  // namespace
