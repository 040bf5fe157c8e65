#include "deployment/DeElevatedLaunch.h"

#include <shlobj.h>
#include <shlwapi.h>

#include <memory>
#include <new>

#include "platform/Owners.h"
#include "run/ConfiguratorLog.h"

namespace {

constexpr wchar_t kHelperTail[] = L"\\Velta\\Velta QK\\LSDKConfiguratorHelper.exe";
constexpr wchar_t kHelperName[] = L"LSDKConfiguratorHelper.exe";

// Required: gives no window, so that the walk runs to its end and the caller is left without one.
BOOL CALLBACK visitWindow(HWND window, LPARAM) {
    DWORD processId = 0;
    ::GetWindowThreadProcessId(window, &processId);
    return TRUE;
}

// False: logged.
bool enableIncreaseQuota() {
    HANDLE token = nullptr;
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, &token)) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine()
            << "Privilege lowering failed (openProcessToken currentprocess)! Error:" << error
            << std::endl;
        return false;
    }
    TOKEN_PRIVILEGES privileges = {};
    privileges.PrivilegeCount = 1;
    ::LookupPrivilegeValueW(nullptr, L"SeIncreaseQuotaPrivilege", &privileges.Privileges[0].Luid);
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    const BOOL isAdjusted = ::AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr);
    const DWORD error = ::GetLastError();
    ::CloseHandle(token);
    if (!isAdjusted) {
        g_configuratorLog->beginLine()
            << "Privilege lowering failed (AdjustTokenPrivileges)! Error:" << error << std::endl;
        return false;
    }
    return true;
}

// The process of the desktop shell; 0 if there is none, which is logged.
DWORD findShellProcess() {
    HWND shell = ::GetShellWindow();
    if (!shell) ::EnumWindows(visitWindow, reinterpret_cast<LPARAM>(&shell));
    if (!shell) {
        g_configuratorLog->beginLine()
            << "Privilege lowering failed! Could not get Shell window or any user window"
            << std::endl;
        return 0;
    }
    DWORD processId = 0;
    ::GetWindowThreadProcessId(shell, &processId);
    if (processId == 0) {
        g_configuratorLog->beginLine()
            << "Privilege lowering failed! Could not get process ID" << std::endl;
    }
    return processId;
}

}  // namespace

bool LaunchProcessDeElevated(const std::vector<std::wstring>& packagesToUninstall) {
    g_configuratorLog->beginLine() << "Launching Process as DeElevated" << std::endl;
    wchar_t commonFiles[MAX_PATH] = {};
    if (FAILED(::SHGetFolderPathW(nullptr, CSIDL_PROGRAM_FILES_COMMON, nullptr, 0, commonFiles))) {
        // Required: not fatal; what the buffer holds is used.
        g_configuratorLog->beginLine()
            << "Unable to locate Program Files\\Common Files (CSIDL_PROGRAM_FILES_COMMON) "
            << std::endl;
    }
    const std::wstring helperPath = std::wstring(commonFiles) + kHelperTail;
    std::wstring workingDirectory = helperPath;
    if (!GetParentDirectory(workingDirectory)) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine() << "GetParentDirectory failed with  " << error << std::endl;
        return false;
    }

    // Required: the bare file name, and nothing quoted; the system's search decides which file is started.
    std::wstring commandLine = kHelperName;
    for (const std::wstring& package : packagesToUninstall)
        commandLine += L" " + package;
    STARTUPINFOW startupInfo = {};
    startupInfo.cb = sizeof(startupInfo);
    PROCESS_INFORMATION processInformation = {};
    if (!CreateProcessDeElevated(commandLine.data(), workingDirectory.c_str(), startupInfo,
                                 processInformation)) {
        const DWORD error = ::GetLastError();
        // Required: "caling", as spelled.
        g_configuratorLog->beginLine()
            << "caling CreateProcessDeElevated failed with Error:" << error << std::endl;
        return false;
    }

    g_configuratorLog->beginLine() << "Waiting for the child process to finish " << std::endl;
    ::WaitForSingleObject(processInformation.hProcess, INFINITE);
    g_configuratorLog->beginLine() << "Done Waiting " << std::endl;
    DWORD exitCode = 0;
    ::GetExitCodeProcess(processInformation.hProcess, &exitCode);
    g_configuratorLog->beginLine() << "Exit code of helper process " << exitCode << std::endl;
    ::CloseHandle(processInformation.hProcess);
    ::CloseHandle(processInformation.hThread);
    g_configuratorLog->beginLine() << "Launching Process as DeElevated SUCCESSFUL" << std::endl;
    return true;
}

bool CreateProcessDeElevated(wchar_t* commandLine, const wchar_t* currentDirectory,
                             STARTUPINFOW& startupInfo, PROCESS_INFORMATION& processInformation) {
    if (!enableIncreaseQuota()) return false;
    const DWORD shellProcessId = findShellProcess();
    if (shellProcessId == 0) return false;

    const HANDLE shellProcess = ::OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, shellProcessId);
    if (!shellProcess) {
        const DWORD error = ::GetLastError();
        // Required: the bracket stays open.
        g_configuratorLog->beginLine()
            << "Privilege lowering failed (openProcess desktop shell! Error:" << error << std::endl;
        return false;
    }
    bool isCreated = false;
    HANDLE shellToken = nullptr;
    HANDLE primaryToken = nullptr;
    g_configuratorLog->beginLine() << "Calling OpenProcessToken:  " << std::endl;
    if (::OpenProcessToken(shellProcess, TOKEN_DUPLICATE, &shellToken)) {
        constexpr DWORD kAccess = TOKEN_ASSIGN_PRIMARY | TOKEN_DUPLICATE | TOKEN_QUERY |
                                  TOKEN_ADJUST_DEFAULT | TOKEN_ADJUST_SESSIONID;
        if (!::DuplicateTokenEx(shellToken, kAccess, nullptr, SecurityImpersonation, TokenPrimary,
                                &primaryToken)) {
            const DWORD error = ::GetLastError();
            g_configuratorLog->beginLine()
                << "Privilege lowering failed (duplicate token)! Error: " << error << std::endl;
        } else {
            g_configuratorLog->beginLine() << "Calling PU_CreateProcessWithTokenW:  " << std::endl;
            isCreated = PU_CreateProcessWithTokenW(primaryToken, commandLine, currentDirectory,
                                                   &startupInfo, &processInformation) != FALSE;
            if (!isCreated) {
                const DWORD error = ::GetLastError();
                g_configuratorLog->beginLine()
                    << "PU_CreateProcessWithTokenW failed with error:  " << error << std::endl;
            }
        }
    }
    // Required: this order, and closed without a look whether they were opened.
    ::CloseHandle(shellToken);
    ::CloseHandle(primaryToken);
    ::CloseHandle(shellProcess);
    return isCreated;
}

BOOL PU_CreateProcessWithTokenW(HANDLE token, wchar_t* commandLine, const wchar_t* currentDirectory,
                                STARTUPINFOW* startupInfo, PROCESS_INFORMATION* processInformation) {
    using Function = decltype(&::CreateProcessWithTokenW);
    Function createProcess = nullptr;
    const LibraryHandle library(::LoadLibraryW(L"Advapi32.dll"));
    if (!library) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine()
            << "Unable to load library at path: Error: " << error << std::endl;
    } else {
        createProcess = reinterpret_cast<Function>(
            reinterpret_cast<void*>(::GetProcAddress(library.get(), "CreateProcessWithTokenW")));
    }
    if (!createProcess) return FALSE;
    return createProcess(token, 0, nullptr, commandLine, 0, nullptr, currentDirectory, startupInfo,
                         processInformation);
}

bool GetParentDirectory(std::wstring& path) {
    if (path.empty()) return false;
    const std::unique_ptr<wchar_t[]> buffer(new (std::nothrow) wchar_t[path.size() + 1]);
    if (!buffer) return false;

    size_t length = path.copy(buffer.get(), path.size());
    buffer[length] = L'\0';
    while (length > 0 && buffer[length - 1] == L'\\')
        buffer[--length] = L'\0';
    if (!::PathRemoveFileSpecW(buffer.get())) return false;
    path = buffer.get();
    return true;
}
