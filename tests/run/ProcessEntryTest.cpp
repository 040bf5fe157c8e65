#include "run/ProcessRun.h"
#include "stand-in/Text.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr DWORD kFailure = 0xFFFFFFFF;

// Exit code, command line and log of the whole process.
class ProcessEntry : public ProcessRun {
protected:
    // The first line of the log, without its heading and the program's path.
    std::string loggedArguments() const {
        const std::string text = log();
        const std::string head = "Starting with : \"" + standin::toUtf8(program()) + "\" ";
        EXPECT_THAT(text, StartsWith(head));
        return text.substr(head.size(), text.find('\n') - head.size());
    }
};

TEST_F(ProcessEntry, SuccessfulRunEndsWith0) {
    const standin::LaunchResult result = launchTypically();

    EXPECT_EQ(result.exitCode, 0U);
    EXPECT_TRUE(result.endedNormally);
    EXPECT_THAT(steps(), SizeIs(20));
    EXPECT_THAT(result.doubleReleases, IsEmpty());
    EXPECT_THAT(result.misuse, IsEmpty());
    EXPECT_EQ(result.leaks, neverReleased(result.leaks));
}

TEST_F(ProcessEntry, FailedRunEndsWithMinus1) {
    state.packages.clear();

    const standin::LaunchResult result = launchTypically();

    EXPECT_EQ(result.exitCode, kFailure);
    EXPECT_TRUE(result.endedNormally);
    EXPECT_THAT(log(), EndsWith("\nCouldn't find package install path\n"));
}

TEST_F(ProcessEntry, CommandLineThatFollowsTheUsageTextIsRefusedWithTheUsageText) {
    const standin::LaunchResult result = launch(L"0.6.5.7 Velta.QK QK.exe");

    EXPECT_EQ(result.exitCode, kFailure);
    EXPECT_EQ(loggedArguments(), "\"0.6.5.7\" \"Velta.QK\" \"QK.exe\" ");
    EXPECT_THAT(log(), EndsWith("\nIncorrect number of arguments passed.\n"
                                "Use it like below :\n"
                                "Version Product_Name Executable_name\n"
                                "Example :\n"
                                "0.6.5.7 Velta.QK QK.exe\n"));
}

TEST_F(ProcessEntry, WithoutArgumentsTheProgramsPathIsTheOnlyElement) {
    const standin::LaunchResult result = launch(L"");

    EXPECT_EQ(result.exitCode, kFailure);
    EXPECT_EQ(loggedArguments(), "");
}

TEST_F(ProcessEntry, ArgumentsAreTheRuntimesReadingOfTheCommandLine) {
    const struct {
        const char* name;
        const wchar_t* tail;
        const char* logged;
    } rows[] = {
        {"empty", L"\"\" a \"\"", "\"\" \"a\" \"\" "},
        {"blanks", L"\"a b\"   c\td", "\"a b\" \"c\" \"d\" "},
        {"quotes", L"\"q\\\"uote\" \\\"", "\"q\"uote\" \"\"\" "},
        {"backslashes", L"C:\\a\\ \"C:\\a b\\\\\"", "\"C:\\a\\\" \"C:\\a b\\\" "},
        {"wildcards", L"*.exe ?", "\"*.exe\" \"?\" "},
        {"one byte in the log", L"bj\u00F6rn", "\"bj\xF6rn\" "},
        {"more than five", L"1 2 3 4 5 6 7", "\"1\" \"2\" \"3\" \"4\" \"5\" \"6\" \"7\" "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);

        launch(row.tail, "GetTokenInformation:1=5");

        EXPECT_EQ(loggedArguments(), row.logged);
        removeTree(logPath());
    }
}

TEST_F(ProcessEntry, EachStringIsMadeFromTheMatchingArgument) {
    launch(L"\u4E2D\u6587 \U0001F600", "");

    const auto all = calls();
    std::vector<std::string> made;
    for (const std::string& call : all) {
        if (call.starts_with("WindowsCreateStringReference(") && made.size() < 5)
            made.push_back(call);
    }
    ASSERT_THAT(made, SizeIs(5));
    EXPECT_THAT(made[0], HasSubstr("\"CN=Velta Inc., "));
    EXPECT_THAT(made[1], HasSubstr("\"CN=Velta Systems Incorporated, "));
    EXPECT_THAT(made[2], HasSubstr("\"" + standin::toUtf8(program()) + "\", "));
    EXPECT_THAT(made[3], HasSubstr("\"\xE4\xB8\xAD\xE6\x96\x87\", 2, "));
    EXPECT_THAT(made[4], HasSubstr("\"\xF0\x9F\x98\x80\", 2, "));
}

TEST_F(ProcessEntry, ArgumentThatTheLogCannotHoldSilencesItAndChangesNothingElse) {
    const standin::LaunchResult result = launch(L"40.1.0.0 Velta.QK QK.exe ZRKL \u4E2D");

    EXPECT_EQ(result.exitCode, 0U);
    EXPECT_EQ(loggedArguments(), "\"40.1.0.0\" \"Velta.QK\" \"QK.exe\" \"ZRKL\" \"");
    EXPECT_TRUE(registry.hasKey(HKEY_LOCAL_MACHINE, kCrashDumpKey));
}

TEST_F(ProcessEntry, AnArgumentMayBe32000CharactersLong) {
    const std::wstring version(32'000, L'9');

    const standin::LaunchResult result = launch(version + L" Velta.QK QK.exe ZRKL");

    EXPECT_EQ(result.exitCode, kFailure);
    EXPECT_EQ(loggedArguments(),
              '"' + std::string(32'000, '9') + "\" \"Velta.QK\" \"QK.exe\" \"ZRKL\" ");
    EXPECT_THAT(log(), EndsWith("\nCouldn't find package install path\n"));
}

TEST_F(ProcessEntry, EmptyArgumentsAreTakenAsTheyAre) {
    const standin::LaunchResult result = launch(L"\"\" \"\" \"\" \"\"");

    EXPECT_EQ(result.exitCode, kFailure);
    EXPECT_THAT(log(), HasSubstr("\nisEnterpriseDeployment from arg is:0\n"));
    EXPECT_THAT(log(),
                HasSubstr("\nuninstallOlderPackageApp failed with: invalid string position\n"));
}

TEST_F(ProcessEntry, LogLiesBesideTheExecutableWhateverTheWorkingFolder) {
    launch(L"");

    EXPECT_TRUE(exists(logPath()));
    EXPECT_THAT(calls(), testing::Contains("PathCchAppend(\"" + standin::toUtf8(logPath()) +
                                           "\", 260, \"lsdkConfiguratorLog.txt\") = 0"));
    EXPECT_THAT(calls(), testing::Contains("GetModuleFileNameW(null, \"" + standin::toUtf8(program()) +
                                           "\", 260) = " + std::to_string(program().size())));
}

TEST_F(ProcessEntry, SecondRunAddsToTheLog) {
    launch(L"first");
    const std::string first = log();

    launch(L"second");

    EXPECT_THAT(log(), StartsWith(first + "Starting with : "));
    EXPECT_THAT(log().substr(first.size()), HasSubstr("\"second\" \nStarting\n"));
}

TEST_F(ProcessEntry, UnwritableLogChangesNoExitCode) {
    writeFile(logPath(), "as it was");
    {
        const HeldOpen held(logPath());

        EXPECT_EQ(launchTypically().exitCode, 0U);
        EXPECT_EQ(launch(L"").exitCode, kFailure);
    }

    EXPECT_EQ(readFile(logPath()), "as it was");
}

TEST_F(ProcessEntry, FailedComStartEndsWithMinus1AndConfiguresNothing) {
    const standin::LaunchResult result = launchTypically("CoInitializeEx:1=0x80010106");

    EXPECT_EQ(result.exitCode, kFailure);
    EXPECT_TRUE(result.endedNormally);
    EXPECT_THAT(log(), StartsWith("(no time)Error initializing COM code 0x80010106.\n"));
    EXPECT_THAT(steps(), ElementsAre("first line", "privileges", "end of COM", "end of the token"));
    EXPECT_FALSE(wasCalled("CoInitializeSecurity"));
}

TEST_F(ProcessEntry, EverythingIsGivenBackByAnEarlyExit) {
    for (const char* faults : {"", "OpenProcessToken:1=5", "CoInitializeSecurity:1=0x80004005",
                               "LookupPrivilegeValueW:2=1313", "AdjustTokenPrivileges:3=5"}) {
        SCOPED_TRACE(faults);

        const standin::LaunchResult result = launch(L"a b c", faults);

        EXPECT_EQ(result.exitCode, kFailure);
        EXPECT_THAT(result.leaks, IsEmpty());
        EXPECT_THAT(result.doubleReleases, IsEmpty());
        EXPECT_THAT(result.misuse, IsEmpty());
    }
}

}  // namespace
