#pragma once

#include "CatalogueTest.h"
#include "platform/PlatformException.h"
#include "stand-in/Text.h"

// The first lines of a run whose user is logged on, or not.
inline constexpr char kDirectLines[] =
    "Logged on user SID : S-1-5-21-111-222-333-1001\n"
    "current user SID S-1-5-21-111-222-333-1001\n"
    "shouldLaunchRemovalInDeElevatedMode : 0\n";
inline constexpr char kDeElevatedLines[] =
    "Logged on user SID : S-1-5-21-111-222-333-1002\n"
    "current user SID S-1-5-21-111-222-333-1001\n"
    "shouldLaunchRemovalInDeElevatedMode : 1\n";

// A test in which `kUser` runs the configurator. The form is direct unless it says otherwise.
class OlderPackagesFixture : public CatalogueTest {
protected:
    OlderPackagesFixture() {
        permissions.m_currentUserSidString = kUser;
        machine.state.tokenUser = kUser;
        logOn(kUser);
        machine.state.desktop.emplace();
        machine.state.desktop->pretended.emplace();
        machine.state.folders[CSIDL_PROGRAM_FILES_COMMON] = {scratch / L"Common Files", 0};
        makeFolder(scratch / L"Common Files\\Velta\\Velta QK");
    }

    void logOn(const std::wstring& sid) {
        registry.setText(HKEY_LOCAL_MACHINE,
                         L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI",
                         L"SelectedUserSID", sid);
    }

    // Older packages of the legacy publisher, one after the other; for both users.
    standin::InstalledPackage& addOlder(uint16_t major) {
        standin::InstalledPackage& package = addPackage(L"Velta.LC.QK", kLegacyPublisher,
                                                        {major, 0, 0, 0});
        package.users = {kUser, kOtherUser};
        return package;
    }
    void addThree() {
        for (const uint16_t major : {uint16_t{1}, uint16_t{2}, uint16_t{3}})
            addOlder(major);
    }
    void makeDeElevated() { logOn(kOtherUser); }
    void makeEnterprise() {
        permissions.m_isEnterpriseDeployment = true;
        for (standin::InstalledPackage& package : machine.state.packages)
            package.isProvisioned = true;
    }

    bool uninstall(const wchar_t* name = L"Velta.QK") {
        const Platform::String packageName(name);
        machine.trace.clear();
        return permissions.uninstallOlderPackageApp(packageName);
    }

    // What is left: "<full name>: <number of users>", with "+" for one that is provisioned.
    std::vector<std::string> leftPackages() const {
        std::vector<std::string> texts;
        for (const standin::InstalledPackage& package : machine.state.packages) {
            texts.push_back(standin::toUtf8(package.fullName) + ": " +
                            std::to_string(package.users.size()) +
                            (package.isProvisioned ? "+" : ""));
        }
        return texts;
    }

    // The system's words for a failure.
    static std::string messageOf(HRESULT error) {
        return standin::toUtf8(Platform::Exception(error, {}).message());
    }
};
