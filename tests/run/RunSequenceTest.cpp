#include "run/ConfiguratorRun.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char kUsage[] =
    "Incorrect number of arguments passed.\n"
    "Use it like below :\n"
    "Version Product_Name Executable_name\n"
    "Example :\n"
    "0.6.5.7 Velta.QK QK.exe\n";

constexpr char kTypicalFirstLine[] =
    "Starting with : \"C:\\LSDKConfigurator.exe\" \"40.1.0.0\" \"Velta.QK\" \"QK.exe\" \"ZRKL\" \n";

// The run up to the migration, and its exits.
class RunSequence : public ConfiguratorRun {};

TEST_F(RunSequence, StepsFollowEachOtherAndTheRunEndsWith0) {
    EXPECT_EQ(runTypically(), 0);

    EXPECT_THAT(steps(), ElementsAre("first line", "privileges", "enterprise flag", "account",
                                     "migrator", "migration", "older packages", "package lookup",
                                     "debug runtime", "users SID", "system SID", "files",
                                     "container folders", "loopback", "common files", "user folders",
                                     "plug-ins", "crash dumps", "end of COM", "end of the token"));
    EXPECT_THAT(log(),
                StartsWith(std::string(kTypicalFirstLine) + "Starting\n"
                                                            "isEnterpriseDeployment from arg is:0\n"
                                                            "GetTokenInformation succeded."));
}

TEST_F(RunSequence, RecordIsMadeBeforeTheLogIsOpened) {
    run({});

    const auto calls = machine.calls({"WindowsCreateStringReference", "_wfopen", "CoInitializeEx"});
    ASSERT_EQ(calls.size(), 12U);
    EXPECT_THAT(calls[0], StartsWith("WindowsCreateStringReference(\"status\""));
    EXPECT_THAT(calls[9], StartsWith("WindowsCreateStringReference(\"ZRKLBE\""));
    EXPECT_THAT(calls[10], StartsWith("_wfopen("));
    EXPECT_THAT(calls[11], StartsWith("CoInitializeEx("));
}

TEST_F(RunSequence, FourElementsAreListedAndRefusedAfterThePrivilegesWereEnabled) {
    EXPECT_EQ(run({L"LSDKConfigurator.exe", L"0.6.5.7", L"Velta.QK", L"QK.exe"}), -1);

    EXPECT_EQ(log(),
              "Starting with : \"LSDKConfigurator.exe\" \"0.6.5.7\" \"Velta.QK\" \"QK.exe\" \n"
              "Starting\n" +
                  std::string(kUsage));
    EXPECT_EQ(machine.trace.count("AdjustTokenPrivileges"), 3U);
    EXPECT_THAT(steps(),
                ElementsAre("first line", "privileges", "usage", "end of COM", "end of the token"));
}

TEST_F(RunSequence, FewerElementsAreListedAndRefused) {
    EXPECT_EQ(run({L"a"}), -1);

    EXPECT_EQ(log(), "Starting with : \"a\" \nStarting\n" + std::string(kUsage));
}

TEST_F(RunSequence, EmptyArrayGivesTheHeadingOnly) {
    EXPECT_EQ(run({}), -1);

    EXPECT_EQ(log(), "Starting with : \nStarting\n" + std::string(kUsage));
}

TEST_F(RunSequence, FirstLineHoldsEveryElementAsItIs) {
    run({L"", L"with blank", L"quo\"te", L"\u00E9"});

    EXPECT_THAT(log(), StartsWith("Starting with : \"\" \"with blank\" \"quo\"te\" \"\xE9\" \n"));
}

TEST_F(RunSequence, PrivilegesThatCannotBeEnabledEndTheRunWithoutUsage) {
    machine.failNext("OpenProcessToken", ERROR_ACCESS_DENIED);

    EXPECT_EQ(runTypically(), -1);

    EXPECT_EQ(log(), kTypicalFirstLine +
                         std::string("Starting\nOpenProcessToken failed. GetLastError returned:5"));
    EXPECT_THAT(steps(), ElementsAre("first line", "privileges", "end of COM"));
}

TEST_F(RunSequence, PrivilegesAreTestedBeforeTheNumberOfArguments) {
    machine.failNext("LookupPrivilegeValueW", ERROR_NO_SUCH_PRIVILEGE);

    EXPECT_EQ(run({L"a"}), -1);

    EXPECT_EQ(log(),
              "Starting with : \"a\" \n"
              "Starting\n"
              "LookupPrivilegeValue Error 1313 for privilege SeTakeOwnershipPrivilege.\n");
}

TEST_F(RunSequence, FailedComStartEndsTheRunAfterThePrivileges) {
    const struct {
        const char* call;
        const char* line;
    } rows[] = {
        {"CoInitializeEx", "(no time)Error initializing COM code 0x80004005.\n"},
        {"CoInitializeSecurity", "(no time)Error initializing COM Security code 0x80004005.\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.call);
        machine.failNext(row.call, 0x80004005);

        EXPECT_EQ(runTypically(), -1);

        EXPECT_EQ(log(), row.line + std::string(kTypicalFirstLine) + "Starting\n");
        EXPECT_THAT(steps(),
                    ElementsAre("first line", "privileges", "end of COM", "end of the token"));
        EXPECT_EQ(machine.trace.count("AdjustTokenPrivileges"), 3U);
        removeTree(logPath());
    }
}

TEST_F(RunSequence, FailedComStartMakesThePrivilegesErrorHexadecimal) {
    machine.failNext("CoInitializeEx", 0x80004005);
    machine.failNext("LookupPrivilegeValueW", ERROR_NO_SUCH_PRIVILEGE);

    EXPECT_EQ(runTypically(), -1);

    EXPECT_THAT(log(), HasSubstr("LookupPrivilegeValue Error 521 for privilege"));
}

TEST_F(RunSequence, FailedComStartComesBeforeAWrongNumberOfArguments) {
    machine.failNext("CoInitializeEx", 0x80004005);

    EXPECT_EQ(run({L"a"}), -1);

    EXPECT_THAT(log(), Not(HasSubstr("Incorrect number")));
}

TEST_F(RunSequence, ArgumentsAreKeptInOrderByReferencesOfTheirOwn) {
    machine.failNext("GetTokenInformation", ERROR_ACCESS_DENIED);

    runTypically();

    auto calls = machine.calls({"WindowsDuplicateString"});
    ASSERT_EQ(calls.size(), 14U);
    calls.erase(calls.begin(), calls.begin() + 10);  // the record's constants
    EXPECT_THAT(calls, ElementsAre("WindowsDuplicateString(\"40.1.0.0\", \"40.1.0.0\") = 0",
                                   "WindowsDuplicateString(\"Velta.QK\", \"Velta.QK\") = 0",
                                   "WindowsDuplicateString(\"QK.exe\", \"QK.exe\") = 0",
                                   "WindowsDuplicateString(\"ZRKL\", \"ZRKL\") = 0"));
}

TEST_F(RunSequence, UnknownAccountEndsTheRunBeforeTheMigration) {
    machine.failNext("GetTokenInformation", ERROR_ACCESS_DENIED);

    EXPECT_EQ(runTypically(), -1);

    EXPECT_EQ(log(), std::string(kTypicalFirstLine) +
                         "Starting\n"
                         "isEnterpriseDeployment from arg is:0\n"
                         "GetTokenInformation failed. GetLastError returned: 5\n"
                         "Couldn't find user Token\n");
    EXPECT_THAT(steps(), ElementsAre("first line", "privileges", "enterprise flag", "account",
                                     "end of COM", "end of the token"));
}

TEST_F(RunSequence, LogThatCannotBeOpenedChangesNothingElse) {
    writeFile(logPath(), "");
    const HeldOpen held(logPath());

    EXPECT_EQ(runTypically(), 0);

    EXPECT_TRUE(registry.hasKey(HKEY_LOCAL_MACHINE, kCrashDumpKey));
}

TEST_F(RunSequence, LogThatCannotBeOpenedChangesNoFailingExitEither) {
    writeFile(logPath(), "");
    const HeldOpen held(logPath());

    EXPECT_EQ(run({L"a"}), -1);
}

TEST_F(RunSequence, SecondRunAddsItsLinesToTheLog) {
    run({L"first"});
    machine.isComSecuritySet = false;  // as in a process of its own
    run({L"second"});

    EXPECT_EQ(log(), "Starting with : \"first\" \nStarting\n" + std::string(kUsage) +
                         "Starting with : \"second\" \nStarting\n" + kUsage);
}

// The ends of a run, as each exit makes them.
std::vector<std::string> endsOf(standin::Machine& machine, const std::function<void()>& run) {
    std::vector<std::string> ends;
    machine.onCall("CoUninitialize", [&] { ends.emplace_back("COM"); });
    machine.onCall("CloseHandle", [&] { ends.emplace_back("token"); });
    const auto close = replaceImport<decltype(&::fclose)>("fclose", [&](auto real, FILE* file) -> int {
        ends.emplace_back("log");
        return real(file);
    });
    run();
    return ends;
}

TEST_F(RunSequence, FailingExitEndsComThenTheLogThenTheRecord) {
    EXPECT_THAT(endsOf(machine, [this] { run({L"a"}); }), ElementsAre("COM", "log", "token"));
}

TEST_F(RunSequence, ExitAfterAFailedComStartEndsComToo) {
    machine.failNext("CoInitializeEx", 0x80004005);

    EXPECT_THAT(endsOf(machine, [this] { runTypically(); }), ElementsAre("COM", "log", "token"));
}

TEST_F(RunSequence, ExitWithoutATokenClosesNone) {
    machine.failNext("OpenProcessToken", ERROR_ACCESS_DENIED);

    EXPECT_THAT(endsOf(machine, [this] { runTypically(); }), ElementsAre("COM", "log"));
}

TEST_F(RunSequence, SuccessfulExitEndsComOnceAndLast) {
    runTypically();

    EXPECT_EQ(machine.trace.count("CoUninitialize"), 1U);
    const auto all = steps();
    ASSERT_GE(all.size(), 2U);
    EXPECT_THAT(std::vector<std::string>(all.end() - 2, all.end()),
                ElementsAre("end of COM", "end of the token"));
}

TEST_F(RunSequence, NothingIsLoggedAtAnExit) {
    bool isEnding = false;
    std::vector<std::string> written;
    machine.onCall("CoUninitialize", [&] { isEnding = true; });
    machine.onCall("GetSystemTimeAsFileTime", [&] {
        if (isEnding) written.emplace_back("line");
    });

    run({L"a"});

    EXPECT_THAT(written, IsEmpty());
}

}  // namespace
