#pragma once

#include <string>
#include <vector>

#include "PlatformCalls.h"

namespace standin {

// The arguments of calls whose structures must be seen in full. Asked before the call.
template <PlatformCall>
struct CallFormat {
    static constexpr bool isSpecial = false;
};

struct SpecialFormat {
    static constexpr bool isSpecial = true;
    using Texts = std::vector<std::string>;
};

template <>
struct CallFormat<PlatformCall::WriteFile> : SpecialFormat {
    static Texts arguments(HANDLE file, LPCVOID data, DWORD size, LPDWORD written,
                           LPOVERLAPPED overlapped);
};

template <>
struct CallFormat<PlatformCall::_write> : SpecialFormat {
    static Texts arguments(int file, const void* data, unsigned size);
};

template <>
struct CallFormat<PlatformCall::RegSetValueExW> : SpecialFormat {
    static Texts arguments(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                           DWORD size);
};

template <>
struct CallFormat<PlatformCall::AdjustTokenPrivileges> : SpecialFormat {
    static Texts arguments(HANDLE token, BOOL disableAll, PTOKEN_PRIVILEGES state, DWORD size,
                           PTOKEN_PRIVILEGES previous, PDWORD needed);
};

template <>
struct CallFormat<PlatformCall::SetEntriesInAclW> : SpecialFormat {
    static Texts arguments(ULONG count, PEXPLICIT_ACCESS_W entries, PACL old, PACL* result);
};

template <>
struct CallFormat<PlatformCall::SHFileOperationW> : SpecialFormat {
    static Texts arguments(LPSHFILEOPSTRUCTW operation);
};

template <>
struct CallFormat<PlatformCall::NetworkIsolationSetAppContainerConfig> : SpecialFormat {
    static Texts arguments(DWORD count, SID_AND_ATTRIBUTES* sids);
};

template <>
struct CallFormat<PlatformCall::NetworkIsolationFreeAppContainers> : SpecialFormat {
    static Texts arguments(abi::FirewallAppContainer* containers);
};

template <>
struct CallFormat<PlatformCall::EnumWindows> : SpecialFormat {
    static Texts arguments(WNDENUMPROC visit, LPARAM parameter);
};

template <>
struct CallFormat<PlatformCall::CreateProcessWithTokenW> : SpecialFormat {
    static Texts arguments(HANDLE token, DWORD logonFlags, LPCWSTR application, LPWSTR commandLine,
                           DWORD creationFlags, LPVOID environment, LPCWSTR directory,
                           LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process);
};

}  // namespace standin
