#pragma once

#include <io.h>
#include <wchar.h>

#include <cstdio>

#include "ErrorInfo.h"
#include "NetworkIsolationAbi.h"
#include "Windows.h"

// Only here: it must not be read twice, and the product reads it too.
#include <pathcch.h>

namespace standin {

// How a function tells that it failed, and so what an injected error turns into.
enum class Failure {
    LastError,        // zero or null, with a last error
    InvalidHandle,    // INVALID_HANDLE_VALUE, with a last error
    AllBitsSet,       // 0xFFFFFFFF, with a last error
    Status,           // the error is the result
    Hresult,          // the HRESULT is the result
    ReturnsArgument,  // LocalFree and its like: the argument comes back
    Errno,            // null or -1, with errno
    Never,            // cannot fail
    DoesNotReturn,
};

// Types that decltype does not give: one of several overloads, a type with an attribute of its own.
using FormatMessageFunction = DWORD (*)(DWORD, LPCVOID, DWORD, DWORD, LPWSTR, DWORD, char**);
using SecureCopyFunction = errno_t (*)(wchar_t*, size_t, const wchar_t*);

// Each function that the machine stands in front of: name, type, how it fails, and one letter per
// argument where the C++ type does not say what it is:
//   .  as its type says     x  number in hexadecimal     h  handle            s  SID
//   t  text, read only      i  number in and out         a  access list       o  only whether it is
//   null
// clang-format off
#define STANDIN_PLATFORM_CALLS(X)                                                        \
    /* files and paths */                                                                \
    X(GetFileAttributesW, decltype(&::GetFileAttributesW), AllBitsSet, ".")              \
    X(SetFileAttributesW, decltype(&::SetFileAttributesW), LastError, ".x")              \
    X(CreateDirectoryW, decltype(&::CreateDirectoryW), LastError, "..")                  \
    X(CreateFileW, decltype(&::CreateFileW), InvalidHandle, ".xx..xh")                   \
    X(WriteFile, decltype(&::WriteFile), LastError, "ho...")                             \
    X(CopyFileW, decltype(&::CopyFileW), LastError, "...")                               \
    X(DeleteFileW, decltype(&::DeleteFileW), LastError, ".")                             \
    X(RemoveDirectoryW, decltype(&::RemoveDirectoryW), LastError, ".")                   \
    X(FindFirstFileW, decltype(&::FindFirstFileW), InvalidHandle, "..")                  \
    X(FindNextFileW, decltype(&::FindNextFileW), LastError, "h.")                        \
    X(FindClose, decltype(&::FindClose), LastError, "h")                                 \
    X(CloseHandle, decltype(&::CloseHandle), LastError, "h")                             \
    X(PathFileExistsW, decltype(&::PathFileExistsW), LastError, ".")                     \
    X(PathRemoveFileSpecW, decltype(&::PathRemoveFileSpecW), LastError, ".")             \
    X(PathCchAppend, decltype(&::PathCchAppend), Hresult, "...")                         \
    X(PathCchAddBackslash, decltype(&::PathCchAddBackslash), Hresult, "..")              \
    X(PathCchRemoveFileSpec, decltype(&::PathCchRemoveFileSpec), Hresult, "..")          \
    X(SHFileOperationW, decltype(&::SHFileOperationW), Status, ".")                      \
    X(SHGetFolderPathW, decltype(&::SHGetFolderPathW), Hresult, "oxh..")                 \
    X(_wfopen, decltype(&::_wfopen), Errno, "..")                                        \
    X(_read, decltype(&::_read), Errno, ".o.")                                           \
    X(_write, decltype(&::_write), Errno, "...")                                         \
    X(_close, decltype(&::_close), Errno, ".")                                           \
    /* registry */                                                                       \
    X(RegCreateKeyExW, decltype(&::RegCreateKeyExW), Status, "...txx...")                \
    X(RegGetValueW, decltype(&::RegGetValueW), Status, "...x.oi")                        \
    X(RegQueryInfoKeyW, decltype(&::RegQueryInfoKeyW), Status, "............")           \
    X(RegEnumKeyExW, decltype(&::RegEnumKeyExW), Status, "...i..i.")                     \
    X(RegQueryValueExW, decltype(&::RegQueryValueExW), Status, "....oi")                 \
    X(RegSetValueExW, decltype(&::RegSetValueExW), Status, "......")                     \
    X(RegCopyTreeW, decltype(&::RegCopyTreeW), Status, "...")                            \
    X(RegCloseKey, decltype(&::RegCloseKey), Status, ".")                                \
    /* tokens, privileges and processes */                                               \
    X(GetCurrentProcess, decltype(&::GetCurrentProcess), Never, "")                      \
    X(OpenProcessToken, decltype(&::OpenProcessToken), LastError, "hx.")                 \
    X(LookupPrivilegeValueW, decltype(&::LookupPrivilegeValueW), LastError, "...")       \
    X(AdjustTokenPrivileges, decltype(&::AdjustTokenPrivileges), LastError, "h.....")    \
    X(GetTokenInformation, decltype(&::GetTokenInformation), LastError, "h.o..")         \
    X(ConvertSidToStringSidW, decltype(&::ConvertSidToStringSidW), LastError, "s.")      \
    X(DuplicateTokenEx, decltype(&::DuplicateTokenEx), LastError, "hx....")              \
    X(OpenProcess, decltype(&::OpenProcess), LastError, "x..")                           \
    X(GetShellWindow, decltype(&::GetShellWindow), LastError, "")                        \
    X(EnumWindows, decltype(&::EnumWindows), LastError, "..")                            \
    X(GetWindowThreadProcessId, decltype(&::GetWindowThreadProcessId), LastError, "..")  \
    X(CreateProcessWithTokenW, decltype(&::CreateProcessWithTokenW), LastError, ".........") \
    X(WaitForSingleObject, decltype(&::WaitForSingleObject), AllBitsSet, "hx")           \
    X(GetExitCodeProcess, decltype(&::GetExitCodeProcess), LastError, "h.")              \
    /* file security */                                                                  \
    X(GetNamedSecurityInfoW, decltype(&::GetNamedSecurityInfoW), Status, "..x.....")     \
    X(SetNamedSecurityInfoW, decltype(&::SetNamedSecurityInfoW), Status, "t.xssaa")      \
    X(SetEntriesInAclW, decltype(&::SetEntriesInAclW), Status, "..a.")                   \
    X(GetAce, decltype(&::GetAce), LastError, "o..")                                     \
    X(IsValidSid, decltype(&::IsValidSid), LastError, "s")                               \
    X(CreateWellKnownSid, decltype(&::CreateWellKnownSid), LastError, ".soi")            \
    X(ConvertStringSecurityDescriptorToSecurityDescriptorW,                              \
      decltype(&::ConvertStringSecurityDescriptorToSecurityDescriptorW), LastError, "....") \
    X(GetSecurityDescriptorSacl, decltype(&::GetSecurityDescriptorSacl), LastError, "h...") \
    /* memory and libraries */                                                           \
    X(LocalAlloc, decltype(&::LocalAlloc), LastError, "x.")                              \
    X(LocalFree, decltype(&::LocalFree), ReturnsArgument, "h")                           \
    X(GetProcessHeap, decltype(&::GetProcessHeap), LastError, "")                        \
    X(HeapFree, decltype(&::HeapFree), LastError, "oxh")                                 \
    X(LoadLibraryW, decltype(&::LoadLibraryW), LastError, ".")                           \
    X(GetProcAddress, decltype(&::GetProcAddress), LastError, "..")                      \
    X(FreeLibrary, decltype(&::FreeLibrary), LastError, ".")                             \
    X(GetModuleFileNameW, decltype(&::GetModuleFileNameW), LastError, "...")             \
    /* network isolation, bound late */                                                  \
    X(NetworkIsolationEnumAppContainers, decltype(&::NetworkIsolationEnumAppContainers), Status, "...") \
    X(NetworkIsolationSetAppContainerConfig, decltype(&::NetworkIsolationSetAppContainerConfig), \
      Status, "..")                                                                      \
    X(NetworkIsolationGetAppContainerConfig, decltype(&::NetworkIsolationGetAppContainerConfig), \
      Status, "..")                                                                      \
    X(NetworkIsolationFreeAppContainers, decltype(&::NetworkIsolationFreeAppContainers), Never, \
      ".")                                                                               \
    /* text and clock */                                                                 \
    X(WideCharToMultiByte, decltype(&::WideCharToMultiByte), LastError, ".x..o...")      \
    X(wcscpy_s, SecureCopyFunction, Never, "...")                                        \
    X(wcscat_s, SecureCopyFunction, Never, "...")                                        \
    X(_wcsicmp, decltype(&::_wcsicmp), Never, "..")                                      \
    X(FormatMessageW, FormatMessageFunction, LastError, "xoxxo.o")                 \
    X(GetSystemTimeAsFileTime, decltype(&::GetSystemTimeAsFileTime), Never, ".")         \
    X(RaiseException, decltype(&::RaiseException), DoesNotReturn, "xx..")                \
    /* COM and the Windows Runtime */                                                    \
    X(CoInitializeEx, decltype(&::CoInitializeEx), Hresult, "ox")                        \
    X(CoInitializeSecurity, decltype(&::CoInitializeSecurity), Hresult, "o.oo..oxo")     \
    X(CoUninitialize, decltype(&::CoUninitialize), Never, "")                            \
    X(CoCreateFreeThreadedMarshaler, decltype(&::CoCreateFreeThreadedMarshaler), Hresult, "..") \
    X(SysFreeString, decltype(&::SysFreeString), Never, "t")                             \
    X(WindowsCreateString, decltype(&::WindowsCreateString), Hresult, "...")             \
    X(WindowsCreateStringReference, decltype(&::WindowsCreateStringReference), Hresult, "....") \
    X(WindowsDuplicateString, decltype(&::WindowsDuplicateString), Hresult, "..")        \
    X(WindowsConcatString, decltype(&::WindowsConcatString), Hresult, "...")             \
    X(WindowsCompareStringOrdinal, decltype(&::WindowsCompareStringOrdinal), Hresult, "...") \
    X(WindowsGetStringRawBuffer, decltype(&::WindowsGetStringRawBuffer), Never, "..")    \
    X(WindowsGetStringLen, decltype(&::WindowsGetStringLen), Never, ".")                 \
    X(WindowsDeleteString, decltype(&::WindowsDeleteString), Hresult, ".")               \
    X(RoGetActivationFactory, decltype(&::RoGetActivationFactory), Hresult, "...")       \
    X(RoActivateInstance, decltype(&::RoActivateInstance), Hresult, "..")                \
    X(GetRestrictedErrorInfo, decltype(&::GetRestrictedErrorInfo), Hresult, ".")         \
    X(SetRestrictedErrorInfo, decltype(&::SetRestrictedErrorInfo), Hresult, "h")         \
    X(RoOriginateError, decltype(&::RoOriginateError), LastError, "x.")                  \
    X(RoOriginateErrorW, decltype(&::RoOriginateErrorW), LastError, "x..")               \
    X(RoFailFastWithErrorContext, decltype(&::RoFailFastWithErrorContext), DoesNotReturn, "x")
// clang-format on

enum class PlatformCall {
#define STANDIN_ENUMERATOR(name, type, failure, letters) name,
    STANDIN_PLATFORM_CALLS(STANDIN_ENUMERATOR)
#undef STANDIN_ENUMERATOR
};

template <PlatformCall>
struct CallTraits;

#define STANDIN_TRAITS(functionName, type, failureKind, letters)              \
    template <>                                                               \
    struct CallTraits<PlatformCall::functionName> {                           \
        using Function = type;                                                \
        static constexpr const char* name = #functionName;                    \
        static constexpr Failure failure = Failure::failureKind;              \
        static constexpr const char* argumentKinds = letters;                 \
        static Function real() { return static_cast<type>(&::functionName); } \
    };
STANDIN_PLATFORM_CALLS(STANDIN_TRAITS)
#undef STANDIN_TRAITS

}  // namespace standin
