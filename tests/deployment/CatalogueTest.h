#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "run/ExecutablePermissions.h"
#include "support/LogTest.h"

inline constexpr wchar_t kCurrentPublisher[] =
    L"CN=Velta Inc., OU=Velta Inc., O=Velta Inc., L=Port Alder, S=ca, C=US, SERIALNUMBER=9150426, OID.2.5.4.15=Private Organization, OID.1.3.6.1.4.1.311.60.2.1.2=Tarrant, OID.1.3.6.1.4.1.311.60.2.1.3=US";
inline constexpr wchar_t kLegacyPublisher[] =
    L"CN=Velta Systems Incorporated, OU=Velta Systems, O=Velta Systems Incorporated, L=Port Alder, S=Norvale, C=US, SERIALNUMBER=9150426, OID.2.5.4.15=Private Organization, OID.1.3.6.1.4.1.311.60.2.1.2=Tarrant, OID.1.3.6.1.4.1.311.60.2.1.3=US";

inline constexpr wchar_t kUser[] = L"S-1-5-21-111-222-333-1001";
inline constexpr wchar_t kOtherUser[] = L"S-1-5-21-111-222-333-1002";

// HRESULTs as errors of faults.
inline constexpr DWORD kAccessDenied = 0x80070005;
inline constexpr DWORD kFailure = 0x80004005;
inline constexpr DWORD kNoInterface = 0x80004002;

// A test on a machine with a catalogue of packages.
class CatalogueTest : public LogTest {
protected:
    // A package whose full and family name say which it is; installed for `kUser`, its folder is there.
    standin::InstalledPackage& addPackage(const std::wstring& name, const std::wstring& publisher,
                                          standin::PackageVersionNumbers version) {
        const std::wstring text = std::to_wstring(version.major) + L"." +
                                  std::to_wstring(version.minor) + L"." +
                                  std::to_wstring(version.build) + L"." +
                                  std::to_wstring(version.revision);
        standin::InstalledPackage package;
        package.name = name;
        package.publisher = publisher;
        package.version = version;
        package.fullName = name + L"_" + text + L"_x64";
        package.familyName = name + L"_family";
        package.installPath = scratch / package.fullName;
        package.users = {kUser};
        makeFolder(package.installPath);
        machine.state.packages.push_back(package);
        return machine.state.packages.back();
    }

    // What the next failure with that code describes itself as.
    void describeFailure(DWORD error, const std::wstring& text) {
        machine.state.errorObject = {static_cast<int32_t>(error), L"long text", text};
    }

    ExecutablePermissions permissions;
};
