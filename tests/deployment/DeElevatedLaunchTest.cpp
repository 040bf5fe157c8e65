#include "deployment/DeElevatedLaunch.h"

#include "LaunchTest.h"
#include "stand-in/Text.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr char kSuccess[] =
    "Launching Process as DeElevated\n"
    "Calling OpenProcessToken:  \n"
    "Calling PU_CreateProcessWithTokenW:  \n"
    "Waiting for the child process to finish \n"
    "Done Waiting \n"
    "Exit code of helper process 0\n"
    "Launching Process as DeElevated SUCCESSFUL\n";

class DeElevatedLaunchTest : public LaunchTest {
protected:
    std::string scratchText(const std::wstring& relative) const {
        return "\"" + standin::toUtf8(scratch / relative) + "\"";
    }

    // The one argument of the one call.
    std::string argument(std::string_view call, size_t index) const {
        for (const standin::Call& one : machine.trace.all()) {
            if (one.name == call) return one.arguments.at(index);
        }
        return "no such call";
    }
};

TEST_F(DeElevatedLaunchTest, StartsTheCompanionWithTheShellsTokenAndWaits) {
    EXPECT_TRUE(LaunchProcessDeElevated({L"first_1.0_x64", L"second"}));

    EXPECT_EQ(logText(), kSuccess);
    EXPECT_THAT(
        launchCalls(),
        ElementsAre(
            "SHGetFolderPathW(null, 0x2B, null, 0, " + scratchText(L"Common Files") + ") = 0",
            "PathRemoveFileSpecW(" + scratchText(L"Common Files\\Velta\\Velta QK") + ") = 1",
            "GetCurrentProcess() = -1", "OpenProcessToken(-1, 0x20, token#1) = 1",
            "LookupPrivilegeValueW(null, \"SeIncreaseQuotaPrivilege\", out) = 1",
            "AdjustTokenPrivileges(token#1, 0, [\"SeIncreaseQuotaPrivilege\" attributes 0x2], 0, null, null) = 1",
            "CloseHandle(token#1) = 1", "GetShellWindow() = given",
            "GetWindowThreadProcessId(window, 4711) = 4712",
            "OpenProcess(0x400, 0, 4711) = process#1", "OpenProcessToken(process#1, 0x2, token#2) = 1",
            "DuplicateTokenEx(token#2, 0x18B, null, 2, 1, token#3) = 1",
            "LoadLibraryW(\"Advapi32.dll\") = library#1",
            "GetProcAddress(library#1, \"CreateProcessWithTokenW\") = given",
            "CreateProcessWithTokenW(token#3, 0x0, null, \"LSDKConfiguratorHelper.exe first_1.0_x64 second\", 0x0, null, " +
                scratchText(L"Common Files\\Velta\\Velta QK") +
                ", [size=104 desktop=null flags=0x0 show=0], given) = 1",
            "FreeLibrary(library#1) = 1", "CloseHandle(token#2) = 1", "CloseHandle(token#3) = 1",
            "CloseHandle(process#1) = 1", "WaitForSingleObject(process#2, 0xFFFFFFFF) = 0x0",
            "GetExitCodeProcess(process#2, 0) = 1", "CloseHandle(process#2) = 1",
            "CloseHandle(thread#1) = 1"));
}

TEST_F(DeElevatedLaunchTest, WithoutPackagesTheCommandLineIsTheBareName) {
    LaunchProcessDeElevated({});

    EXPECT_EQ(argument("CreateProcessWithTokenW", 3), "\"LSDKConfiguratorHelper.exe\"");
}

// Required: a name with a blank becomes two arguments.
TEST_F(DeElevatedLaunchTest, NamesWithBlanksAreNotQuoted) {
    LaunchProcessDeElevated({L"a name", L"", L"x\"y"});

    EXPECT_EQ(argument("CreateProcessWithTokenW", 3), "\"LSDKConfiguratorHelper.exe a name  x\"y\"");
}

TEST_F(DeElevatedLaunchTest, AnExitCodeOtherThanZeroIsOnlyLogged) {
    const struct {
        uint32_t code;
        const char* text;
    } rows[] = {{7, "7"}, {0xFFFFFFFF, "4294967295"}};
    for (const auto& row : rows) {
        machine.state.desktop->pretended->exitCode = row.code;
        const size_t before = logText().size();

        EXPECT_TRUE(LaunchProcessDeElevated({}));

        EXPECT_EQ(logText().substr(before),
                  "Launching Process as DeElevated\n"
                  "Calling OpenProcessToken:  \n"
                  "Calling PU_CreateProcessWithTokenW:  \n"
                  "Waiting for the child process to finish \n"
                  "Done Waiting \n"
                  "Exit code of helper process " +
                      std::string(row.text) +
                      "\n"
                      "Launching Process as DeElevated SUCCESSFUL\n");
    }
}

TEST_F(DeElevatedLaunchTest, AFailedWaitAndAnUnreadableExitCodeAreNoFailures) {
    machine.failNext("WaitForSingleObject", ERROR_INVALID_HANDLE);
    machine.failNext("GetExitCodeProcess", ERROR_ACCESS_DENIED);

    EXPECT_TRUE(LaunchProcessDeElevated({}));

    EXPECT_EQ(logText(), kSuccess);
}

TEST_F(DeElevatedLaunchTest, AnUnknownCommonFilesFolderIsNotFatal) {
    machine.state.folders[CSIDL_PROGRAM_FILES_COMMON].error = static_cast<int32_t>(0x80070002);
    const auto start = replaceImport<decltype(&::PathRemoveFileSpecW)>(
        "PathRemoveFileSpecW", [](auto real, LPWSTR path) -> BOOL {
            EXPECT_STREQ(path, L"\\Velta\\Velta QK\\LSDKConfiguratorHelper.exe");
            return real(path);
        });

    LaunchProcessDeElevated({});

    EXPECT_THAT(logText(),
                ::testing::StartsWith(
                    "Launching Process as DeElevated\n"
                    "Unable to locate Program Files\\Common Files (CSIDL_PROGRAM_FILES_COMMON) \n"
                    "Calling OpenProcessToken:  \n"));
    EXPECT_EQ(argument("CreateProcessWithTokenW", 6), "\"\\Velta\\Velta QK\"");
}

// Required: the buffer is used as the failed call left it.
TEST_F(DeElevatedLaunchTest, WhatAFailedFolderCallLeavesInTheBufferIsUsed) {
    const std::wstring left = scratch / L"Common Files";
    const auto folder = replaceImport<decltype(&::SHGetFolderPathW)>(
        "SHGetFolderPathW", [&](auto, HWND, int, HANDLE, DWORD, LPWSTR path) -> HRESULT {
            path[left.copy(path, MAX_PATH - 1)] = L'\0';
            return E_FAIL;
        });

    EXPECT_TRUE(LaunchProcessDeElevated({}));

    EXPECT_EQ(argument("CreateProcessWithTokenW", 6), scratchText(L"Common Files\\Velta\\Velta QK"));
}

TEST_F(DeElevatedLaunchTest, TheFolderBufferIsEmptyBeforeTheCall) {
    const auto folder = replaceImport<decltype(&::SHGetFolderPathW)>(
        "SHGetFolderPathW",
        [](auto real, HWND window, int csidl, HANDLE token, DWORD flags, LPWSTR path) -> HRESULT {
            EXPECT_EQ(std::wstring(path, MAX_PATH), std::wstring(MAX_PATH, L'\0'));
            return real(window, csidl, token, flags, path);
        });

    EXPECT_TRUE(LaunchProcessDeElevated({}));
}

TEST_F(DeElevatedLaunchTest, WithoutAParentFolderNothingIsStarted) {
    machine.failNext("PathRemoveFileSpecW", 1234);

    EXPECT_FALSE(LaunchProcessDeElevated({}));

    EXPECT_EQ(logText(),
              "Launching Process as DeElevated\n"
              "GetParentDirectory failed with  1234\n");
    EXPECT_EQ(machine.trace.count("OpenProcessToken"), 0U);
}

TEST_F(DeElevatedLaunchTest, WithoutAShellAllWindowsAreVisitedToNoEffect) {
    machine.state.desktop->hasShell = false;
    machine.state.desktop->otherWindows = 3;

    EXPECT_FALSE(LaunchProcessDeElevated({}));

    EXPECT_THAT(logText(),
                ::testing::StartsWith(
                    "Launching Process as DeElevated\n"
                    "Privilege lowering failed! Could not get Shell window or any user window\n"
                    "caling CreateProcessDeElevated failed with Error:"));
    EXPECT_THAT(machine.calls({"EnumWindows", "GetWindowThreadProcessId"}),
                ElementsAre("EnumWindows(given, given) = 1",
                            "GetWindowThreadProcessId(window, 4715) = 4716",
                            "GetWindowThreadProcessId(window, 4719) = 4720",
                            "GetWindowThreadProcessId(window, 4723) = 4724"));
    EXPECT_EQ(machine.trace.count("OpenProcess"), 0U);
}

TEST_F(DeElevatedLaunchTest, WithAShellNoOtherWindowIsLookedFor) {
    machine.state.desktop->otherWindows = 3;

    EXPECT_TRUE(LaunchProcessDeElevated({}));

    EXPECT_EQ(machine.trace.count("EnumWindows"), 0U);
}

TEST_F(DeElevatedLaunchTest, APrivilegeThatTheTokenLacksShowsOnlyLater) {
    const auto adjust = replaceImport<decltype(&::AdjustTokenPrivileges)>(
        "AdjustTokenPrivileges",
        [](auto real, HANDLE token, BOOL disableAll, PTOKEN_PRIVILEGES wanted, DWORD size,
           PTOKEN_PRIVILEGES previous, PDWORD needed) -> BOOL {
            real(token, disableAll, wanted, size, previous, needed);
            ::SetLastError(ERROR_NOT_ALL_ASSIGNED);
            return TRUE;
        });

    EXPECT_TRUE(LaunchProcessDeElevated({}));

    EXPECT_EQ(logText(), kSuccess);
}

TEST_F(DeElevatedLaunchTest, APrivilegeThatCannotBeLookedUpIsAskedForAllTheSame) {
    machine.failNext("LookupPrivilegeValueW", ERROR_NO_SUCH_PRIVILEGE);

    EXPECT_TRUE(LaunchProcessDeElevated({}));

    EXPECT_EQ(logText(), kSuccess);
    EXPECT_EQ(machine.trace.count("AdjustTokenPrivileges"), 1U);
}

}  // namespace
