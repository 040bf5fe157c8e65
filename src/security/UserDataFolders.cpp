#include "security/UserDataFolders.h"

#include <sddl.h>
#include <shlobj.h>
#include <shlwapi.h>

#include "platform/Owners.h"
#include "run/ConfiguratorLog.h"
#include "run/ExecutablePermissions.h"
#include "users/UserProfiles.h"

namespace {

bool isFolder(const std::wstring& path) {
    WIN32_FIND_DATAW found = {};
    const FindHandle search(::FindFirstFileW(path.c_str(), &found));
    return search.isValid() && (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void logCurrentUser(PSID userSid) {
    wchar_t* converted = nullptr;
    ::ConvertSidToStringSidW(userSid, &converted);
    const LocalMemory<wchar_t> text(converted);
    g_configuratorLog->beginLine() << "Current user: " << (text ? text.get() : L"") << std::endl;
}

std::wstring ownProfileFolder() {
    wchar_t folder[MAX_PATH] = {};
    if (SUCCEEDED(::SHGetFolderPathW(nullptr, CSIDL_PROFILE, nullptr, 0, folder))) {
        // Required: "succeded", as spelled.
        g_configuratorLog->beginLine()
            << "Users Profile (CSIDL_PROFILE) succeded : " << folder << std::endl;
    } else {
        g_configuratorLog->beginLine()
            << "Unable to locate Users Profile (CSIDL_PROFILE) " << std::endl;
    }
    return folder;
}

// One call of ensureUserFolderPermissions, as its users see it.
struct Walk {
    const FolderComponents& components;
    bool isEnterpriseDeployment;
    bool takesDefaultPass;
    std::wstring loggedOnSid;
    std::wstring ownProfile;
    bool anyUserHandled = false;
};

// A user's roaming folder, and the folder as the registry names it; both empty if unknown.
struct RoamingFolders {
    std::wstring roaming;
    std::wstring asRead;
};

RoamingFolders findRoamingFolders(const Walk& walk, const std::wstring& sid,
                                  const std::wstring& profile) {
    RoamingFolders folders;
    if (readAppDataFolder(sid, kShellFoldersKey, &folders.roaming)) {
        folders.asRead = folders.roaming;
        g_configuratorLog->beginLine()
            << "AppData in Shell Folders = " << folders.roaming << std::endl;
        return folders;
    }
    g_configuratorLog->beginLine() << "NO AppData in Shell Folders" << std::endl;
    if (readAppDataFolder(sid, kUserShellFoldersKey, &folders.roaming)) {
        g_configuratorLog->beginLine()
            << "AppData in User Shell Folders = " << folders.roaming << std::endl;
        folders.asRead = folders.roaming;
        replaceProfilePrefix(walk.isEnterpriseDeployment, walk.ownProfile, profile, folders.roaming);
        return folders;
    }
    g_configuratorLog->beginLine() << "NO AppData in User Shell Folders" << std::endl;
    if (walk.isEnterpriseDeployment) {
        folders.roaming = profile + L"\\AppData\\Roaming";
        if (!::PathFileExistsW(folders.roaming.c_str())) folders.roaming.clear();
        // Required: "Local", although this is the roaming folder.
        g_configuratorLog->beginLine()
            << "fetching AppData Local failed and assuming it as the default one = "
            << folders.roaming << std::endl;
    }
    return folders;
}

void grantForUser(Walk& walk, const std::wstring& sid, const std::wstring& profile,
                  std::wstring& out) {
    g_configuratorLog->beginLine() << "Setting Permissions on user SID : " << sid
                                   << " with ProfilePath : " << profile << std::endl;
    const RoamingFolders folders = findRoamingFolders(walk, sid, profile);
    if (folders.roaming.empty()) {
        g_configuratorLog->beginLine() << "Empty folder" << std::endl;
    } else {
        std::wstring granted;
        if (!ensureAppDataDirPermissions(folders.roaming, walk.components, granted)) {
            g_configuratorLog->beginLine()
                << "ensure AppDataDir Permissions failed for user = " << profile << std::endl;
        }
        if (sid == walk.loggedOnSid) out = granted;
        walk.anyUserHandled = true;  // Required: a failed user counts as handled.
    }
    if (!folders.asRead.empty() && walk.takesDefaultPass) {
        std::wstring granted;
        ensureAppDataDirPermissions(folders.asRead, walk.components, granted);
        g_configuratorLog->beginLine()
            << "User profile outFolder for default account = " << granted << std::endl;
    }
}

}  // namespace

bool ensureAppDataDirPermissions(const std::wstring& base, const FolderComponents& components,
                                 std::wstring& out) {
    std::wstring path = base;
    if (!isFolder(path)) {
        g_configuratorLog->beginLine()
            << "Roaming AppData directory sub folder :" << path << "  does not exist." << std::endl;
        return false;
    }
    for (const std::wstring& component : components) {
        path += L"\\" + component;
        if (isFolder(path)) continue;
        if (!::CreateDirectoryW(path.c_str(), nullptr)) {
            g_configuratorLog->beginLine() << "Unable to create directory at " << path << std::endl;
            return false;
        }
    }

    if (HasPermissions(path.c_str())) {
        g_configuratorLog->beginLine() << "AppX permissions already set on data directory ( "
                                       << path << " ).  No changes.  " << std::endl;
    } else if (SetFolderPermissions(path.c_str())) {
        g_configuratorLog->beginLine()
            << "AppX permissions set on data directory ( " << path << " )  " << std::endl;
    } else {
        g_configuratorLog->beginLine()
            << "Unable to set AppX permissions on data directory ( " << path << " )  " << std::endl;
        return false;
    }
    out = path;
    return true;
}

bool ensureUserFolderPermissions(PSID userSid, bool isEnterpriseDeployment,
                                 const FolderComponents& components, bool forceDefaultPass,
                                 std::wstring& out) {
    const UserProfileMap& profiles = getUserProfiles();
    Walk walk{components,
              isEnterpriseDeployment,
              forceDefaultPass || isEnterpriseDeployment,
              getLoggedOnUserSid(),
              {}};
    logCurrentUser(userSid);
    walk.ownProfile = ownProfileFolder();
    for (const auto& [sid, profile] : profiles) {
        try {
            grantForUser(walk, sid, profile, out);
        } catch (...) {
            g_configuratorLog->beginLine()
                << "ensure AppDataDir Permissions failed for user = " << profile << std::endl;
        }
    }
    if (walk.anyUserHandled) return true;

    wchar_t roaming[MAX_PATH] = {};
    if (FAILED(::SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, 0, roaming))) {
        g_configuratorLog->beginLine()
            << "Unable to locate Roaming AppData directory (CSIDL_APPDATA) " << std::endl;
        return false;
    }
    g_configuratorLog->beginLine()
        << "Now trying with Roaming AppData directory (CSIDL_APPDATA) " << roaming << std::endl;
    return ensureAppDataDirPermissions(roaming, components, out);
}

bool grantCommonFilesAccess(const FolderComponents& components) {
    wchar_t folder[MAX_PATH] = {};
    if (FAILED(::SHGetFolderPathW(nullptr, CSIDL_PROGRAM_FILES_COMMON, nullptr, 0, folder))) {
        // Required: not fatal; what the buffer holds is used.
        g_configuratorLog->beginLine()
            << "Unable to locate Program Files\\Common Files (CSIDL_PROGRAM_FILES_COMMON) "
            << std::endl;
    }
    std::wstring granted;
    return ensureAppDataDirPermissions(folder, components, granted);
}

bool grantAppContainerFolderAccess(PSID userSid, bool isEnterpriseDeployment) {
    struct Row {
        FolderComponents components;
        bool forceDefaultPass;
        bool decidesResult;
    };
    const Row rows[] = {
        {{L"Velta", L"MeshSync"}, false, true},
        {{L"Velta", L"MeshSync", L"TQX"}, false, true},
        {{L"Velta", L"Lumora Cloud Libraries"}, true, true},
        {{L"Velta", L"LCX Welcome"}, false, false},
    };
    bool result = true;
    for (const Row& row : rows) {
        std::wstring granted;
        const bool isGranted = ensureUserFolderPermissions(
            userSid, isEnterpriseDeployment, row.components, row.forceDefaultPass, granted);
        if (!isGranted && row.decidesResult) result = false;
    }
    return result;
}

bool ExecutablePermissions::prepareUserDataFolders(PSID userSid) {
    std::wstring unused;
    if (!ensureUserFolderPermissions(userSid, m_isEnterpriseDeployment, {L"Velta", L"WPI"}, false,
                                     unused)) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine()
            << "Grant permission for WPI failed. GetLastError returned:" << error << std::endl;
    }
    if (!ensureUserFolderPermissions(userSid, m_isEnterpriseDeployment, {L"Velta", L"WPI", L"WPIC"},
                                     false, unused)) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine()
            << "Grant permission for WPIC failed. GetLastError returned:" << error << std::endl;
    }
    if (!ensureUserFolderPermissions(userSid, m_isEnterpriseDeployment, {L"Velta", L"RXP"}, false,
                                     m_rxpAppDataPath)) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine()
            << "Grant permission for RXP failed. GetLastError returned:" << error << std::endl;
        return false;
    }
    if (!ensureUserFolderPermissions(userSid, m_isEnterpriseDeployment,
                                     {L"Velta", L"RXP", L"Plugins", L"External"}, false, unused)) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine()
            << "Create and Grant permission for Plugins and External folders failed. GetLastError returned:"
            << error << std::endl;
        return false;
    }
    g_configuratorLog->beginLine()
        << "AppData roaming Velta RXP path = " << m_rxpAppDataPath << std::endl;
    return true;
}
