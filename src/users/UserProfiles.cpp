#include "users/UserProfiles.h"

#include <shlobj.h>
#include <shlwapi.h>

#include <cstddef>

#include "platform/FileAttributes.h"
#include "platform/PlatformException.h"
#include "platform/StandardExceptions.h"
#include "platform/Windows.h"
#include "run/ConfiguratorLog.h"
#include "run/RegistryKey.h"

namespace {

constexpr wchar_t kProfileListKey[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList";
constexpr wchar_t kLogonUiKey[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI";

UserProfileMap g_userProfiles;
std::wstring g_loggedOnUserSid;

void addUserProfile(const RegistryKey& profileList, const std::wstring& sid) {
    const RegistryKey profileKey(profileList.m_key, sid.c_str());
    const std::wstring folder = readText(profileKey, L"ProfileImagePath", RRF_RT_ANY);
    g_configuratorLog->beginLine() << "Profile dir is : " << folder << "." << std::endl;
    if (existsAsFolder(folder.c_str())) {
        g_userProfiles.insert_or_assign(sid, folder);
    } else {
        g_configuratorLog->beginLine()
            << "Skipping since directory " << folder << " is not present." << std::endl;
    }
}

void scanProfileList() {
    const RegistryKey profileList(HKEY_LOCAL_MACHINE, kProfileListKey);
    std::vector<std::wstring> sids;
    profileList.enumerateSubKeys(sids);
    for (const std::wstring& sid : sids) {
        g_configuratorLog->beginLine()
            << "For user : " << sid << " getting profile dir." << std::endl;
        if (!isValidUserSid(sid)) continue;
        g_configuratorLog->beginLine()
            << "For Valid User SID : " << sid << " getting profile dir." << std::endl;
        try {
            addUserProfile(profileList, sid);
        } catch (const std::exception& exception) {
            g_configuratorLog->beginLine()
                << "For user : " << sid
                << " getting profile dir failed with : " << textOf(exception) << std::endl;
        }
    }
}

bool readFolder(const std::wstring& sid, const wchar_t* keySuffix, const wchar_t* valueName,
                const char* failureText, std::wstring* result) {
    if (!result) return false;

    const std::wstring key = sid + keySuffix;
    try {
        const RegistryKey folders(HKEY_USERS, key.c_str());
        *result = readText(folders, valueName, RRF_RT_ANY);
        return true;
    } catch (const std::exception& exception) {
        g_configuratorLog->beginLine()
            << failureText << key << " with reason " << textOf(exception) << std::endl;
        return false;
    }
}

std::wstring ownProfileFolder() {
    wchar_t folder[MAX_PATH] = {};
    if (FAILED(::SHGetFolderPathW(nullptr, CSIDL_PROFILE, nullptr, 0, folder))) {
        g_configuratorLog->beginLine()
            << "Unable to locate Users Profile (CSIDL_PROFILE) " << std::endl;
        return {};
    }
    // Required: "succeded", as spelled.
    g_configuratorLog->beginLine()
        << "Users Profile (CSIDL_PROFILE) succeded and its value is: " << folder << std::endl;
    return folder;
}

// Fills `folder`; what stands in it when an exception leaves is the result.
void findLocalAppDataFolder(const std::wstring& sid, bool isEnterpriseDeployment,
                            const std::wstring& current, std::wstring& folder) {
    const auto user = g_userProfiles.find(sid);
    if (user == g_userProfiles.end()) return;
    const std::wstring& profile = user->second;
    g_configuratorLog->beginLine() << "Trying to fetch local appdata folder on user SID : " << sid
                                   << " with ProfilePath : " << profile << std::endl;

    if (readLocalAppDataFolder(sid, kShellFoldersKey, &folder)) {
        g_configuratorLog->beginLine() << "AppData in Shell Folders = " << folder << std::endl;
        return;
    }
    g_configuratorLog->beginLine() << "NO AppData in Shell Folders" << std::endl;

    if (readLocalAppDataFolder(sid, kUserShellFoldersKey, &folder)) {
        g_configuratorLog->beginLine() << "AppData in User Shell Folders = " << folder << std::endl;
        replaceProfilePrefix(isEnterpriseDeployment, current, profile, folder);
        return;
    }
    g_configuratorLog->beginLine() << "NO AppData in User Shell Folders" << std::endl;

    if (!isEnterpriseDeployment) return;
    folder = profile + L"\\AppData\\Local";
    if (!::PathFileExistsW(folder.c_str())) folder.clear();
    g_configuratorLog->beginLine()
        << "fetching AppData Local failed and assuming it as the default one = " << folder
        << std::endl;
}

}  // namespace

bool isValidUserSid(const std::wstring& sid) {
    if (!sid.starts_with(L"S-1-")) return false;

    size_t dash = 0;
    for (int hit = 0; hit < 4; ++hit) {
        dash = sid.find(L'-', dash + 1);
        if (dash == std::wstring::npos) return false;
    }
    return true;
}

const UserProfileMap& getUserProfiles() {
    if (!g_userProfiles.empty()) return g_userProfiles;
    try {
        scanProfileList();
    } catch (const std::exception& exception) {
        g_configuratorLog->beginLine()
            << "Caught std::exception with reason " << textOf(exception) << "." << std::endl;
    } catch (const Platform::Exception& exception) {
        const std::wstring message = exception.message();
        g_configuratorLog->beginLine()
            << "Caught Platform::Exception with reason " << message << "." << std::endl;
    } catch (...) {
        g_configuratorLog->beginLine()
            << "Caught unknown Exception with unknown reason." << std::endl;
    }
    return g_userProfiles;
}

std::wstring getLoggedOnUserSid() {
    if (!g_loggedOnUserSid.empty()) return g_loggedOnUserSid;
    try {
        const RegistryKey logonUi(HKEY_LOCAL_MACHINE, kLogonUiKey);
        g_loggedOnUserSid = readText(logonUi, L"SelectedUserSID", RRF_RT_ANY);
        g_configuratorLog->beginLine() << "Logged on user SID : " << g_loggedOnUserSid << std::endl;
    } catch (const std::exception& exception) {
        g_configuratorLog->beginLine() << "Caught std::exception while reading loggedOnUserSID"
                                       << " with reason " << textOf(exception) << std::endl;
    }
    return g_loggedOnUserSid;
}

bool readLocalAppDataFolder(const std::wstring& sid, const wchar_t* keySuffix, std::wstring* result) {
    return readFolder(sid, keySuffix, L"Local AppData",
                      "Caught std::exception while reading Local AppData folder with Key ", result);
}

bool readAppDataFolder(const std::wstring& sid, const wchar_t* keySuffix, std::wstring* result) {
    return readFolder(sid, keySuffix, L"AppData",
                      "Caught std::exception while reading AppData folder with Key ", result);
}

void replaceProfilePrefix(bool isEnterpriseDeployment, const std::wstring& current,
                          const std::wstring& profile, std::wstring& folder) {
    if (isEnterpriseDeployment) {
        // Required: any one of these characters, not the word.
        const size_t start = folder.find_first_of(L"Users\\");
        if (start == 0 || start == std::wstring::npos) return;
        const size_t end = folder.find(L'\\', start + 7);
        if (end == std::wstring::npos) return;
        g_configuratorLog->beginLine()
            << "AppData in Folders before profile replace = " << folder.substr(0, end) << std::endl;
        folder.replace(0, end, profile);
        g_configuratorLog->beginLine()
            << "AppData in Folders after replace = " << folder << std::endl;
        return;
    }

    if (current.empty() || folder.empty()) return;
    // Required: the first character is looked for among those of the other profile; the prefixes are not compared.
    if (current.find(folder.front()) == std::wstring::npos) return;
    if (current == profile) return;
    folder.replace(0, current.size(), profile);
}

std::wstring getLocalAppDataFolder(const std::wstring& sid, bool isEnterpriseDeployment) {
    std::wstring folder;
    getUserProfiles();
    const std::wstring current = ownProfileFolder();
    try {
        findLocalAppDataFolder(sid, isEnterpriseDeployment, current, folder);
    } catch (...) {
        g_configuratorLog->beginLine()
            << "fetching AppData Local failed for user = " << sid << std::endl;
    }
    return folder;
}
