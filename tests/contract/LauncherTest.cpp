#include <fstream>

#include "stand-in/Launcher.h"
#include "support/MachineTest.h"

using standin::Launch;
using standin::LaunchResult;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::wstring programBeside(const wchar_t* name) {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path;
    return folder.substr(0, folder.find_last_of(L'\\') + 1) + name;
}

class LauncherTest : public ::testing::Test {
protected:
    LauncherTest() {
        launch.program = programBeside(L"probe.exe");
        launch.traceFile = scratch / L"trace.jsonl";
        launch.workingFolder = scratch.path();
    }

    LaunchResult run(const std::wstring& tail) {
        launch.commandTail = tail;
        return standin::launch(launch);
    }

    std::vector<std::string> traced() {
        std::vector<std::string> lines;
        for (const standin::Call& call : standin::readTrace(launch.traceFile))
            lines.push_back(call.text());
        return lines;
    }

    ScratchFolder scratch;
    Launch launch;
};

TEST_F(LauncherTest, TheExitCodeHasAll32Bits) {
    const LaunchResult result = run(L"");

    EXPECT_EQ(result.exitCode, 0xFEDCBA98u);
    EXPECT_TRUE(result.endedNormally);
    EXPECT_FALSE(result.timedOut);
}

TEST_F(LauncherTest, CrashesShowTheirCodeAndNoNormalEnd) {
    const std::pair<std::wstring, DWORD> ends[] = {
        {L"crash", 0xC0000005},     {L"fast-fail", 0xC0000409}, {L"raise", 0x80070006},
        {L"long-text", 0xC0000409}, {L"fail-fast", 0xC000027B},
    };
    for (const auto& [end, code] : ends) {
        SCOPED_TRACE(code);

        const LaunchResult result = run(end);

        EXPECT_EQ(result.exitCode, code);
        EXPECT_FALSE(result.endedNormally);
    }
}

TEST_F(LauncherTest, AStackOverflowIsNoNormalEnd) {
    EXPECT_FALSE(run(L"overflow").endedNormally);
}

TEST_F(LauncherTest, TheTraceIsCompleteUpToTheLastCall) {
    run(L"raise");
    const auto raised = traced();
    run(L"long-text");
    const auto copied = traced();
    run(L"fail-fast");
    const auto failed = traced();

    ASSERT_FALSE(raised.empty());
    EXPECT_EQ(raised.back(), "RaiseException(0x80070006, 0x1, 0, null) = does not return");
    ASSERT_FALSE(copied.empty());
    EXPECT_THAT(copied.back(), ::testing::StartsWith("wcscpy_s("));
    EXPECT_THAT(copied.back(), ::testing::EndsWith("= does not return"));
    ASSERT_FALSE(failed.empty());
    EXPECT_EQ(failed.back(), "RoFailFastWithErrorContext(0x80004005) = does not return");
}

TEST_F(LauncherTest, TheCommandLineTailArrivesVerbatim) {
    const std::wstring tail = L"end  \"two words\" a\"\"b \\\\ c\\\"d Grüße 中文 \U0001F600 \"\"";
    launch.environment[L"PROBE_OUTPUT"] = scratch / L"command line";

    run(tail);

    const std::string bytes = readFile(scratch / L"command line");
    const std::wstring seen(reinterpret_cast<const wchar_t*>(bytes.data()),
                            bytes.size() / sizeof(wchar_t));
    EXPECT_EQ(seen, L'"' + launch.program + L"\" " + tail);
}

TEST_F(LauncherTest, AProgramThatHangsIsEnded) {
    launch.timeout = std::chrono::milliseconds(300);

    const LaunchResult result = run(L"hang");

    EXPECT_TRUE(result.timedOut);
    EXPECT_FALSE(result.endedNormally);
}

TEST_F(LauncherTest, FaultsReachTheProgram) {
    launch.faults = "DeleteFileW:1=33;CopyFileW:1=1";

    const LaunchResult result = run(L"delete");

    EXPECT_EQ(result.exitCode, 33u);
    EXPECT_THAT(result.unfiredFaults, ElementsAre("CopyFileW:1=1"));
    EXPECT_THAT(traced(),
                ::testing::Contains("DeleteFileW(\"C:\\no such file\") = 0, error 33 (injected)"));
}

TEST_F(LauncherTest, AFaultCanEndTheProgram) {
    launch.faults = "DeleteFileW:1!";

    const LaunchResult result = run(L"delete");

    EXPECT_EQ(result.exitCode, 0xE0000001u);
    EXPECT_FALSE(result.endedNormally);
    EXPECT_EQ(traced().back(), "DeleteFileW(\"C:\\no such file\") = 0, error 2");
}

TEST_F(LauncherTest, LeaksAreReported) {
    EXPECT_THAT(run(L"leak").leaks, ElementsAre("memory#1"));
    EXPECT_THAT(run(L"delete").leaks, IsEmpty());
}

TEST_F(LauncherTest, TheMachineFileGivesThePrivateRegistry) {
    ScratchRegistry registry;
    standin::MachineState state;
    state.registryRoot = registry.root();
    standin::writeMachine(scratch / L"machine.json", state);
    launch.machineFile = scratch / L"machine.json";

    const DWORD unloaded = run(L"hive").exitCode;
    registry.loadHive(L"S-1-5-21-1-2-3-1001");
    const DWORD loaded = run(L"hive").exitCode;

    EXPECT_EQ(unloaded, DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(loaded, DWORD{ERROR_SUCCESS});
    EXPECT_TRUE(registry.hasKey(HKEY_USERS, L"S-1-5-21-1-2-3-1001\\Software"));
}

TEST_F(LauncherTest, ChangesOfTheMachineAreWrittenBack) {
    standin::MachineState state;
    state.errorObject = {E_FAIL, L"d", L"r"};
    standin::writeMachine(scratch / L"machine.json", state);
    launch.machineFile = scratch / L"machine.json";

    run(L"forget-error");

    EXPECT_FALSE(standin::readMachine(scratch / L"machine.json").errorObject.has_value());
}

TEST_F(LauncherTest, AMachineFileThatIsNoneStartsNothing) {
    writeFile(scratch / L"machine.json", "no machine");
    launch.machineFile = scratch / L"machine.json";

    try {
        run(L"");
        FAIL() << "it was started";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), ::testing::HasSubstr("not a machine"));
    }
}

TEST_F(LauncherTest, AProgramThatIsMissingThrows) {
    launch.program = scratch / L"missing.exe";

    EXPECT_THROW(run(L""), std::runtime_error);
}

TEST_F(LauncherTest, TracesOfTwoRunsAreTheSame) {
    run(L"delete");
    const auto first = traced();
    run(L"delete");

    EXPECT_EQ(traced(), first);
}

}  // namespace
