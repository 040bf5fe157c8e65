#include "LaunchTest.h"
#include "deployment/DeElevatedLaunch.h"

namespace {

using ::testing::ElementsAreArray;

constexpr char kBegin[] = "Launching Process as DeElevated\n";
constexpr char kTokenCall[] = "Calling OpenProcessToken:  \n";
constexpr char kStartCall[] = "Calling PU_CreateProcessWithTokenW:  \n";

// The last error that every write to the log leaves, so that a number taken behind one is known.
constexpr DWORD kLeftByLog = 77;

struct FailingCall {
    const char* name;
    size_t index;
    std::string log;  // behind the first line
    std::vector<std::string> closed;
};

void PrintTo(const FailingCall& row, std::ostream* out) {
    *out << row.name << ":" << row.index;
}

const FailingCall kFailingCalls[] = {
    {"OpenProcessToken",
     1,
     "Privilege lowering failed (openProcessToken currentprocess)! Error:1001\n"
     "caling CreateProcessDeElevated failed with Error:77\n",
     {}},
    {"AdjustTokenPrivileges",
     1,
     "Privilege lowering failed (AdjustTokenPrivileges)! Error:1001\n"
     "caling CreateProcessDeElevated failed with Error:77\n",
     {"CloseHandle(token#1) = 1"}},
    {"GetShellWindow",
     1,
     "Privilege lowering failed! Could not get Shell window or any user window\n"
     "caling CreateProcessDeElevated failed with Error:77\n",
     {"CloseHandle(token#1) = 1"}},
    {"GetWindowThreadProcessId",
     1,
     "Privilege lowering failed! Could not get process ID\n"
     "caling CreateProcessDeElevated failed with Error:77\n",
     {"CloseHandle(token#1) = 1"}},
    {"OpenProcess",
     1,
     "Privilege lowering failed (openProcess desktop shell! Error:1001\n"
     "caling CreateProcessDeElevated failed with Error:77\n",
     {"CloseHandle(token#1) = 1"}},
    // From here on the three handles are closed in their order, null ones too, which leave error 6.
    {"OpenProcessToken",
     2,
     std::string(kTokenCall) + "caling CreateProcessDeElevated failed with Error:6\n",
     {"CloseHandle(token#1) = 1", "CloseHandle(null) = 0, error 6",
      "CloseHandle(null) = 0, error 6", "CloseHandle(process#1) = 1"}},
    {"DuplicateTokenEx",
     1,
     std::string(kTokenCall) + "Privilege lowering failed (duplicate token)! Error: 1001\n"
                               "caling CreateProcessDeElevated failed with Error:6\n",
     {"CloseHandle(token#1) = 1", "CloseHandle(token#2) = 1", "CloseHandle(null) = 0, error 6",
      "CloseHandle(process#1) = 1"}},
    {"LoadLibraryW",
     1,
     std::string(kTokenCall) + kStartCall +
         "Unable to load library at path: Error: 1001\n"
         "PU_CreateProcessWithTokenW failed with error:  77\n"
         "caling CreateProcessDeElevated failed with Error:77\n",
     {"CloseHandle(token#1) = 1", "CloseHandle(token#2) = 1", "CloseHandle(token#3) = 1",
      "CloseHandle(process#1) = 1"}},
    {"GetProcAddress",
     1,
     std::string(kTokenCall) + kStartCall +
         "PU_CreateProcessWithTokenW failed with error:  1001\n"
         "caling CreateProcessDeElevated failed with Error:77\n",
     {"CloseHandle(token#1) = 1", "CloseHandle(token#2) = 1", "CloseHandle(token#3) = 1",
      "CloseHandle(process#1) = 1"}},
    {"CreateProcessWithTokenW",
     1,
     std::string(kTokenCall) + kStartCall +
         "PU_CreateProcessWithTokenW failed with error:  1001\n"
         "caling CreateProcessDeElevated failed with Error:77\n",
     {"CloseHandle(token#1) = 1", "CloseHandle(token#2) = 1", "CloseHandle(token#3) = 1",
      "CloseHandle(process#1) = 1"}},
};

class LaunchFailureTest : public LaunchTest {
protected:
    LaunchFailureTest() {
        machine.onCall("_write", [] { ::SetLastError(kLeftByLog); });
    }
};

class LaunchFailingCallTest : public LaunchFailureTest,
                              public ::testing::WithParamInterface<FailingCall> {};

TEST_P(LaunchFailingCallTest, IsLoggedAndWhatWasOpenedIsClosedInOrder) {
    machine.failNth(GetParam().name, GetParam().index, 1001);

    EXPECT_FALSE(LaunchProcessDeElevated({L"package"}));

    EXPECT_EQ(logText(), kBegin + GetParam().log);
    EXPECT_THAT(machine.calls({"CloseHandle"}), ElementsAreArray(GetParam().closed));
    EXPECT_EQ(machine.trace.count("WaitForSingleObject"), 0U);
}

INSTANTIATE_TEST_SUITE_P(EachCall, LaunchFailingCallTest, ::testing::ValuesIn(kFailingCalls),
                         [](const auto& row) {
                             return std::string(row.param.name) + std::to_string(row.param.index);
                         });

TEST_F(LaunchFailureTest, AShellThatGoesAwayHasNoProcess) {
    machine.state.desktop->shellProcess = 0;

    EXPECT_FALSE(LaunchProcessDeElevated({}));

    EXPECT_EQ(logText(), std::string(kBegin) +
                             "Privilege lowering failed! Could not get process ID\n"
                             "caling CreateProcessDeElevated failed with Error:77\n");
    EXPECT_EQ(machine.trace.count("OpenProcess"), 0U);
}

TEST_F(LaunchFailureTest, AMissingCompanionIsLoggedTwice) {
    machine.state.desktop->pretended->startError = ERROR_FILE_NOT_FOUND;

    EXPECT_FALSE(LaunchProcessDeElevated({}));

    EXPECT_EQ(logText(), std::string(kBegin) + kTokenCall + kStartCall +
                             "PU_CreateProcessWithTokenW failed with error:  2\n"
                             "caling CreateProcessDeElevated failed with Error:77\n");
}

TEST_F(LaunchFailureTest, AWorkingFolderThatDoesNotExistStopsTheStart) {
    removeTree(scratch / L"Common Files");

    EXPECT_FALSE(LaunchProcessDeElevated({}));

    EXPECT_EQ(logText(), std::string(kBegin) + kTokenCall + kStartCall +
                             "PU_CreateProcessWithTokenW failed with error:  267\n"
                             "caling CreateProcessDeElevated failed with Error:77\n");
}

TEST_F(LaunchFailureTest, TheErrorOfTheAdjustmentIsTakenBeforeTheTokenIsClosed) {
    machine.failNext("AdjustTokenPrivileges", 1001);
    machine.onCall("CloseHandle", [] { ::SetLastError(99); });

    LaunchProcessDeElevated({});

    EXPECT_EQ(logText(), std::string(kBegin) +
                             "Privilege lowering failed (AdjustTokenPrivileges)! Error:1001\n"
                             "caling CreateProcessDeElevated failed with Error:77\n");
}

// Required: this error is that of whatever came last, here the closing of the handles.
TEST_F(LaunchFailureTest, TheErrorOfTheLaunchIsTakenBehindTheClosingOfTheHandles) {
    machine.failNext("CreateProcessWithTokenW", 1001);
    machine.onCall("CloseHandle", [] { ::SetLastError(99); });

    LaunchProcessDeElevated({});

    EXPECT_EQ(logText(), std::string(kBegin) + kTokenCall + kStartCall +
                             "PU_CreateProcessWithTokenW failed with error:  1001\n"
                             "caling CreateProcessDeElevated failed with Error:99\n");
}

// Required: the error of the start is taken behind the unloading of the library.
TEST_F(LaunchFailureTest, TheErrorOfTheStartIsTakenBehindTheUnloadingOfTheLibrary) {
    machine.failNext("GetProcAddress", 1001);
    machine.onCall("FreeLibrary", [] { ::SetLastError(88); });

    LaunchProcessDeElevated({});

    EXPECT_EQ(logText(), std::string(kBegin) + kTokenCall + kStartCall +
                             "PU_CreateProcessWithTokenW failed with error:  88\n"
                             "caling CreateProcessDeElevated failed with Error:77\n");
    EXPECT_EQ(machine.trace.count("FreeLibrary"), 1U);
}

TEST_F(LaunchFailureTest, ALibraryThatDoesNotLoadIsNotUnloaded) {
    machine.failNext("LoadLibraryW", 1001);

    LaunchProcessDeElevated({});

    EXPECT_EQ(machine.trace.count("FreeLibrary"), 0U);
    EXPECT_EQ(machine.trace.count("GetProcAddress"), 0U);
}

}  // namespace
