#pragma once

#include "FileSecurityFixture.h"
#include "run/ExecutablePermissions.h"
#include "security/FileHardening.h"

constexpr wchar_t kInstallerSid[] = L"S-1-5-80-1-2-3-4-5";
constexpr wchar_t kSecond[] = L"\\TraceRelay2.exe";
constexpr wchar_t kThird[] = L"\\LogSession.dll";

constexpr char kLabelDone[] = "SetMediumIntegrityLabelToFile executed successfully\n";
constexpr char kDone[] = "Permission of files changed successfully\n";

// What a file of a freshly installed package has: nobody but the installer may change it.
inline standin::FileSecurity packageSecurity() {
    return {kInstallerSid,
            standin::AccessList{
                {kAllow, INHERITED_ACE, FILE_ALL_ACCESS, kInstallerSid},
                {kAllow, INHERITED_ACE, FILE_GENERIC_READ | FILE_GENERIC_EXECUTE, kUsersSid}},
            std::nullopt};
}

class FileHardeningTest : public FileSecurityTest {
protected:
    FileHardeningTest() {
        for (const wchar_t* file : files) {
            writeFile(pathOf(file), "program");
            setSecurity(pathOf(file), packageSecurity());
        }
        permissions.m_packageInstallPath = Platform::String(folder.c_str());
        machine.trace.clear();
    }

    bool harden() {
        return permissions.hardenPackageFiles(files, user.get(), users.get(), system.get());
    }

    std::wstring pathOf(const wchar_t* file) const { return folder + file; }
    std::string fullPathLine(const wchar_t* file) const {
        return "fullpath is " + standin::toUtf8(pathOf(file)) + "\n";
    }

    // What a file ends with that has been through all steps, or through some.
    static standin::FileSecurity hardened(bool hasLabel) {
        standin::FileSecurity security = packageSecurity();
        security.owner = kSystemSid;
        security.accessList->insert(
            security.accessList->begin(),
            {{kAllow, 0, 0xA0000000, kUsersSid}, {kAllow, 0, 0xFFFFFFFF, kUserSid}});
        if (hasLabel) security.label = {SYSTEM_MANDATORY_LABEL_ACE_TYPE, 0, 1, L"S-1-16-8192"};
        return security;
    }

    const EnabledPrivileges privileges{SE_TAKE_OWNERSHIP_NAME, SE_BACKUP_NAME, SE_RESTORE_NAME};
    const std::wstring folder = scratch / L"App";
    std::vector<const wchar_t*> files = {kAppServiceClient, kSecond, kThird};
    const Sid user{kUserSid};
    const Sid users{kUsersSid};
    const Sid system{kSystemSid};
    ExecutablePermissions permissions;
};
