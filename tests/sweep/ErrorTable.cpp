#include "sweep/ErrorTable.h"

#include <errno.h>

#include <algorithm>
#include <stdexcept>

namespace {

using Names = std::vector<std::string>;

struct ErrorRow {
    Names calls;
    std::vector<unsigned long> errors;
};

// clang-format off
const std::vector<ErrorRow>& errorRows() {
    static const std::vector<ErrorRow> rows = {
        // Nothing, a pseudo handle, a number or memory that is there already.
        {{"GetSystemTimeAsFileTime", "GetCurrentProcess", "GetProcessHeap", "WindowsGetStringRawBuffer",
          "WindowsGetStringLen", "SysFreeString", "CoUninitialize", "_wcsicmp", "NetworkIsolationFreeAppContainers",
          "RoFailFastWithErrorContext", "RaiseException"}, {}},
        // A text that does not fit ends the process; the paths of a world fit, those of the corpus need not.
        {{"wcscpy_s", "wcscat_s"}, {}},
        // What it gives back is not looked at, nor is it documented to fail with memory that is the caller's own.
        {{"LocalFree", "HeapFree", "FreeLibrary", "RegCloseKey"}, {6}},
        {{"WindowsDeleteString"}, {0x8000FFFF}},
        {{"GetFileAttributesW", "PathFileExistsW", "SetFileAttributesW", "CreateDirectoryW", "CreateFileW",
          "DeleteFileW", "RemoveDirectoryW", "FindFirstFileW", "CopyFileW"}, {5, 32, 112, 3, 206}},
        {{"FindNextFileW", "WriteFile"}, {5, 32, 112}},
        {{"FindClose", "CloseHandle"}, {6, 112}},
        {{"_wfopen"}, {EACCES, ENOENT, ENOSPC}},
        {{"_read"}, {EIO, EBADF}},
        {{"_write", "_close"}, {ENOSPC, EBADF}},
        {{"PathCchAppend", "PathCchAddBackslash", "PathCchRemoveFileSpec"}, {0x8007007A, 0x800700CE, 0x80070057}},
        {{"PathRemoveFileSpecW"}, {87}},
        {{"GetModuleFileNameW"}, {122}},
        {{"SHFileOperationW"}, {1026, 0x75, 0xFFFFFFFF, 112}},
        {{"SHGetFolderPathW"}, {0x80070005, 0x8000FFFF, 0x80070002}},
        {{"RegCreateKeyExW", "RegGetValueW", "RegQueryInfoKeyW", "RegEnumKeyExW", "RegQueryValueExW",
          "RegSetValueExW", "RegCopyTreeW"}, {5, 2, 1018, 112}},
        {{"OpenProcessToken", "LookupPrivilegeValueW", "AdjustTokenPrivileges", "GetTokenInformation",
          "ConvertSidToStringSidW", "DuplicateTokenEx", "OpenProcess", "GetShellWindow", "EnumWindows",
          "GetWindowThreadProcessId", "GetExitCodeProcess", "WaitForSingleObject"}, {5, 1307, 8}},
        {{"CreateProcessWithTokenW"}, {5, 2, 1314, 8}},
        {{"GetNamedSecurityInfoW", "SetNamedSecurityInfoW", "SetEntriesInAclW"}, {5, 1307, 2, 8}},
        {{"GetAce", "IsValidSid", "CreateWellKnownSid", "GetSecurityDescriptorSacl",
          "ConvertStringSecurityDescriptorToSecurityDescriptorW"}, {1307, 8}},
        {{"LocalAlloc"}, {8}},
        {{"LoadLibraryW"}, {126, 5}},
        {{"GetProcAddress"}, {127}},
        {{"NetworkIsolationEnumAppContainers", "NetworkIsolationSetAppContainerConfig",
          "NetworkIsolationGetAppContainerConfig"}, {5, 8}},
        {{"WideCharToMultiByte", "FormatMessageW"}, {1113, 8}},
        {{"WindowsCreateString", "WindowsCreateStringReference", "WindowsDuplicateString", "WindowsConcatString",
          "CoCreateFreeThreadedMarshaler"}, {0x8007000E, 0x80070057}},
        {{"CoInitializeEx"}, {0x80010106, 0x8007000E}},
        {{"CoInitializeSecurity"}, {0x80010119, 0x80070005}},
    };
    return rows;
}
// clang-format on

// Methods of objects of the Windows Runtime, and the functions that hand those out.
constexpr unsigned long kRuntimeErrors[] = {0x80070005, 0x8000FFFF, 0x80040154, 0x8007000E};

bool isRuntimeCall(const std::string& name) {
    return name.find("::") != std::string::npos || name.starts_with("Ro") ||
           name == "WindowsCompareStringOrdinal" || name == "GetRestrictedErrorInfo" ||
           name == "SetRestrictedErrorInfo";
}

}  // namespace

std::vector<unsigned long> errorsOf(const standin::Call& call) {
    for (const ErrorRow& row : errorRows()) {
        if (std::find(row.calls.begin(), row.calls.end(), call.name) != row.calls.end())
            return row.errors;
    }
    if (isRuntimeCall(call.name)) return {std::begin(kRuntimeErrors), std::end(kRuntimeErrors)};
    throw std::invalid_argument("no errors are known of " + call.name);
}

const std::vector<LastingFailure>& lastingFailures() {
    static const std::vector<LastingFailure> failures = {
        {"disk full",
         {{"CopyFileW", 112},
          {"CreateFileW", 112},
          {"CreateDirectoryW", 112},
          {"WriteFile", 112},
          {"_wfopen", ENOSPC},
          {"_write", ENOSPC},
          {"SHFileOperationW", 112},
          {"RegCreateKeyExW", 1450},
          {"RegSetValueExW", 1450},
          {"RegCopyTreeW", 1450}}},
        {"access denied",
         {{"CopyFileW", 5},
          {"CreateFileW", 5},
          {"CreateDirectoryW", 5},
          {"DeleteFileW", 5},
          {"RemoveDirectoryW", 5},
          {"GetFileAttributesW", 5},
          {"PathFileExistsW", 5},
          {"FindFirstFileW", 5},
          {"WriteFile", 5},
          {"SetFileAttributesW", 5},
          {"_wfopen", EACCES},
          {"SHFileOperationW", 0x78},
          {"RegCreateKeyExW", 5},
          {"RegGetValueW", 5},
          {"RegQueryInfoKeyW", 5},
          {"RegEnumKeyExW", 5},
          {"RegQueryValueExW", 5},
          {"RegSetValueExW", 5},
          {"RegCopyTreeW", 5},
          {"GetNamedSecurityInfoW", 5},
          {"SetNamedSecurityInfoW", 5},
          {"OpenProcess", 5},
          {"OpenProcessToken", 5},
          {"DuplicateTokenEx", 5},
          {"CreateProcessWithTokenW", 5},
          {"NetworkIsolationSetAppContainerConfig", 5},
          {"IPackageManager::FindPackagesByNamePublisher", 0x80070005},
          {"IPackageManager::FindPackagesByUserSecurityIdNamePublisher", 0x80070005},
          {"IPackageManager2::RemovePackageWithOptionsAsync", 0x80070005}}},
        {"out of memory",
         {{"malloc", 8},
          {"LocalAlloc", 8},
          {"WindowsCreateStringReference", 0x8007000E},
          {"WindowsDuplicateString", 0x8007000E},
          {"WindowsConcatString", 0x8007000E},
          {"RegGetValueW", 14},
          {"GetNamedSecurityInfoW", 8},
          {"SetEntriesInAclW", 8},
          {"ConvertSidToStringSidW", 8},
          {"RoGetActivationFactory", 0x8007000E},
          {"IActivationFactory::ActivateInstance", 0x8007000E}}},
    };
    return failures;
}
