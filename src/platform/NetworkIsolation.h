#pragma once

#include "platform/Windows.h"

// The network isolation functions of Firewallapi.dll, which are found by name, and their data,
// which the compiler's headers lack.

struct INET_FIREWALL_AC_CAPABILITIES {
    DWORD count;
    SID_AND_ATTRIBUTES* capabilities;
};

struct INET_FIREWALL_AC_BINARIES {
    DWORD count;
    LPWSTR* binaries;
};

struct INET_FIREWALL_APP_CONTAINER {
    SID* appContainerSid;
    SID* userSid;
    LPWSTR appContainerName;
    LPWSTR displayName;
    LPWSTR description;
    INET_FIREWALL_AC_CAPABILITIES capabilities;
    INET_FIREWALL_AC_BINARIES binaries;
    LPWSTR workingDirectory;
    LPWSTR packageFullName;
};
static_assert(sizeof(INET_FIREWALL_APP_CONTAINER) == 88);

// The containers belong to the system and go back through NetworkIsolationFreeAppContainers.
using NetworkIsolationEnumAppContainersFunction =
    DWORD(WINAPI*)(DWORD flags, DWORD* count, INET_FIREWALL_APP_CONTAINER** containers);
using NetworkIsolationFreeAppContainersFunction =
    DWORD(WINAPI*)(INET_FIREWALL_APP_CONTAINER* containers);
// The array and each SID in it are memory of the process heap, which the caller frees.
using NetworkIsolationGetAppContainerConfigFunction = DWORD(WINAPI*)(DWORD* count,
                                                                     SID_AND_ATTRIBUTES** sids);
using NetworkIsolationSetAppContainerConfigFunction = DWORD(WINAPI*)(DWORD count,
                                                                     SID_AND_ATTRIBUTES* sids);
