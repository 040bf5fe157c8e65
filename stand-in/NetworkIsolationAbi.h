#pragma once

#include "Windows.h"

// Network isolation as Firewallapi.dll exports it, which the compiler's headers lack.
namespace standin::abi {

struct AppContainerCapabilities {
    DWORD count;
    SID_AND_ATTRIBUTES* capabilities;
};

struct AppContainerBinaries {
    DWORD count;
    LPWSTR* binaries;
};

// INET_FIREWALL_APP_CONTAINER
struct FirewallAppContainer {
    SID* appContainerSid;
    SID* userSid;
    LPWSTR appContainerName;
    LPWSTR displayName;
    LPWSTR description;
    AppContainerCapabilities capabilities;
    AppContainerBinaries binaries;
    LPWSTR workingDirectory;
    LPWSTR packageFullName;
};
static_assert(sizeof(FirewallAppContainer) == 88);

}  // namespace standin::abi

// The machine's own; a program finds them by name in the library that the machine pretends to have.
extern "C" {
DWORD WINAPI NetworkIsolationEnumAppContainers(DWORD flags, DWORD* count,
                                               standin::abi::FirewallAppContainer** containers);
DWORD WINAPI NetworkIsolationFreeAppContainers(standin::abi::FirewallAppContainer* containers);
DWORD WINAPI NetworkIsolationGetAppContainerConfig(DWORD* count, SID_AND_ATTRIBUTES** sids);
DWORD WINAPI NetworkIsolationSetAppContainerConfig(DWORD count, SID_AND_ATTRIBUTES* sids);
}
