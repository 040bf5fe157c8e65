#include "security/FileHardening.h"

#include "platform/Windows.h"

#include <aclapi.h>

#include <string>

#include "run/ConfiguratorLog.h"
#include "run/ExecutablePermissions.h"
#include "security/AclPrimitives.h"

namespace {

// Required: every bit set, not GENERIC_ALL.
constexpr DWORD kAllBits = 0xFFFFFFFF;

DWORD setOwner(const std::wstring& path, PSID owner) {
    return ::SetNamedSecurityInfoW(const_cast<wchar_t*>(path.c_str()), SE_FILE_OBJECT,
                                   OWNER_SECURITY_INFORMATION, owner, nullptr, nullptr, nullptr);
}

// Stops at the first step that fails, after logging it; what is done by then stays.
bool hardenFile(const std::wstring& path, bool keepsIntegrityLevel, PSID userSid, PSID usersSid,
                PSID systemSid) {
    DWORD status = setOwner(path, userSid);
    if (status != ERROR_SUCCESS) {
        g_configuratorLog->beginLine()
            << "Could not set owner. Error: " << status << "." << std::endl;
        return false;
    }
    status = GrantAccessToFile(path.c_str(), userSid, kAllBits);
    if (status != ERROR_SUCCESS) {
        g_configuratorLog->beginLine()
            << "Failed to add all permissions to admin user. Error: " << status << "." << std::endl;
        return false;
    }
    status = GrantAccessToFile(path.c_str(), usersSid, GENERIC_READ | GENERIC_EXECUTE);
    if (status != ERROR_SUCCESS) {
        g_configuratorLog->beginLine()
            << "Failed to add read and execute permission to all users. Error: " << status << "."
            << std::endl;
        return false;
    }
    if (!keepsIntegrityLevel && !SetMediumIntegrityLabelToFile(path.c_str())) {
        // Required: always 0; the reason stands in the line before.
        g_configuratorLog->beginLine()
            << "SetMediumIntegrityLabelToFile failed to set integrity level. Error: " << 0 << "."
            << std::endl;
        return false;
    }
    status = setOwner(path, systemSid);
    if (status != ERROR_SUCCESS) {
        g_configuratorLog->beginLine()
            << "Could not set owner to system. Error: " << status << "." << std::endl;
        return false;
    }
    return true;
}

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): the list is the callee's, as its interface says.
bool ExecutablePermissions::hardenPackageFiles(std::vector<const wchar_t*> files, PSID userSid,
                                               PSID usersSid, PSID systemSid) {
    for (const wchar_t* file : files) {
        const std::wstring path = std::wstring(m_packageInstallPath.text()) + file;
        g_configuratorLog->beginLine() << "fullpath is " << path << std::endl;
        const bool keepsIntegrityLevel =
            file == kAppServiceClient;  // Required: compares the pointer, not the text.
        if (!hardenFile(path, keepsIntegrityLevel, userSid, usersSid, systemSid)) return false;
    }
    g_configuratorLog->beginLine() << "Permission of files changed successfully" << std::endl;
    return true;
}
