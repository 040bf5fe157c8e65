#pragma once

#include <string>
#include <vector>

#include "support/LogTest.h"

// A test on a machine with a desktop and the companion's folder, where the companion is only
// pretended and ends with 0.
class LaunchTest : public LogTest {
protected:
    LaunchTest() {
        machine.state.folders[CSIDL_PROGRAM_FILES_COMMON] = {scratch / L"Common Files", 0};
        makeFolder(scratch / L"Common Files\\Velta\\Velta QK");
        machine.state.desktop.emplace();
        machine.state.desktop->pretended.emplace();
    }

    // The calls of the launch, without those of the log.
    std::vector<std::string> launchCalls() const {
        return machine.calls({"SHGetFolderPathW", "PathRemoveFileSpecW", "GetCurrentProcess",
                              "OpenProcessToken", "LookupPrivilegeValueW", "AdjustTokenPrivileges",
                              "GetShellWindow", "EnumWindows", "GetWindowThreadProcessId",
                              "OpenProcess", "DuplicateTokenEx", "LoadLibraryW", "GetProcAddress",
                              "CreateProcessWithTokenW", "FreeLibrary", "WaitForSingleObject",
                              "GetExitCodeProcess", "CloseHandle"});
    }
};
