#pragma once

#include <string>
#include <vector>

#include "platform/Windows.h"

// Starts the companion executable, which removes packages, as the user at the desktop, with the
// packages' full names as its arguments, and waits for its end. True: it was started and has ended,
// with whatever exit code. False: it could not be started. Logs.
bool LaunchProcessDeElevated(const std::vector<std::wstring>& packagesToUninstall);

// Starts a process with a copy of the desktop shell's token. `commandLine` may be written to. True:
// the process was made and the caller closes the handles in `processInformation`. Logs a failure.
bool CreateProcessDeElevated(wchar_t* commandLine, const wchar_t* currentDirectory,
                             STARTUPINFOW& startupInfo, PROCESS_INFORMATION& processInformation);

// CreateProcessWithTokenW, found by name. Its result, or 0 where it could not be reached.
BOOL PU_CreateProcessWithTokenW(HANDLE token, wchar_t* commandLine, const wchar_t* currentDirectory,
                                STARTUPINFOW* startupInfo, PROCESS_INFORMATION* processInformation);

// Shortens the path to its parent. False: there is none, and the path stays.
bool GetParentDirectory(std::wstring& path);
