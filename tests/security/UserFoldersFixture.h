#pragma once

#include <string>

#include "FileSecurityFixture.h"
#include "security/UserDataFolders.h"
#include "users/UserProfiles.h"

struct TestUser {
    std::wstring sid;
    std::wstring name;
};

inline const TestUser kAnna = {L"S-1-5-21-1-2-3-2001", L"anna"};
inline const TestUser kBjorn = {L"S-1-5-21-1-2-3-2002", L"bjorn"};
inline const TestUser kChen = {L"S-1-5-21-1-2-3-2003", L"chen"};

constexpr wchar_t kExplorerKey[] = L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\";
constexpr wchar_t kShellFolders[] = L"Shell Folders";
constexpr wchar_t kUserShellFolders[] = L"User Shell Folders";
constexpr int kHiveNotLoaded = 87;  // the status of opening a key below a hive that is not there

// A machine with users, whose folders lie in the scratch folder; the program runs as yet another account.
class UserFoldersTest : public FileSecurityTest {
protected:
    UserFoldersTest() {
        ::SetEnvironmentVariableW(L"USERPROFILE", ownProfile.c_str());
        machine.state.folders[CSIDL_PROFILE] = {ownProfile};
        machine.state.folders[CSIDL_APPDATA] = {ownRoaming};
        machine.state.folders[CSIDL_PROGRAM_FILES_COMMON] = {commonFiles};
        makeFolder(ownRoaming);
        makeFolder(commonFiles);
        registry.makeKey(HKEY_LOCAL_MACHINE, kProfileList);
        logOn(kAnna.sid);
    }

    std::wstring profile(const TestUser& user) const { return scratch / (L"Users\\" + user.name); }
    std::wstring roaming(const TestUser& user) const {
        return profile(user) + L"\\AppData\\Roaming";
    }

    // A user whose hive is not loaded, with folders on disk.
    void addUser(const TestUser& user) {
        registry.setText(HKEY_LOCAL_MACHINE, kProfileList + (L"\\" + user.sid), L"ProfileImagePath",
                         profile(user));
        makeFolder(roaming(user));
    }
    void addHive(const TestUser& user, const std::wstring& key, const std::wstring& value,
                 DWORD type = REG_SZ) {
        registry.loadHive(user.sid);
        registry.setText(HKEY_USERS, user.sid + kExplorerKey + key, L"AppData", value, type);
    }
    // Folders as the user's own logon left them.
    void addAnna() {
        addUser(kAnna);
        addHive(kAnna, kShellFolders, roaming(kAnna));
    }
    // Folders that name the profile of whoever reads them.
    void addBjorn() {
        addUser(kBjorn);
        addHive(kBjorn, kUserShellFolders, L"%USERPROFILE%\\AppData\\Roaming", REG_EXPAND_SZ);
    }
    void addChen() { addUser(kChen); }
    void logOn(const std::wstring& sid) {
        registry.setText(HKEY_LOCAL_MACHINE,
                         L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI",
                         L"SelectedUserSID", sid);
    }

    // Has the users read, so that what follows in log and trace is the matter of the test.
    void readUsers() {
        getUserProfiles();
        getLoggedOnUserSid();
        m_before = logText().size();
        machine.trace.clear();
    }
    std::string newLog() { return logText().substr(m_before); }

    bool ensure(const FolderComponents& components, bool isEnterprise = false,
                bool forceDefaultPass = false) {
        const Sid user(kUserSid);
        return ensureUserFolderPermissions(user.get(), isEnterprise, components, forceDefaultPass,
                                           out);
    }

    static std::wstring join(std::wstring path, const FolderComponents& components) {
        for (const std::wstring& component : components)
            path += L"\\" + component;
        return path;
    }

    // Lines of the log.
    std::string startLines() const {
        return "Current user: S-1-5-21-1-2-3-1001\n"
               "Users Profile (CSIDL_PROFILE) succeded : " +
               standin::toUtf8(ownProfile) + "\n";
    }
    std::string userLine(const TestUser& user) const {
        return "Setting Permissions on user SID : " + standin::toUtf8(user.sid) +
               " with ProfilePath : " + standin::toUtf8(profile(user)) + "\n";
    }
    static std::string foundLine(const char* where, const std::wstring& folder) {
        return std::string("AppData in ") + where + " = " + standin::toUtf8(folder) + "\n";
    }
    static std::string noValueLines(const TestUser& user, const std::wstring& key, int status = 2) {
        return "Exception while reading value size of value \"AppData\" with ErrorCode " +
               std::to_string(status) + ".\n" + notReadLines(user, key);
    }
    static std::string noKeyLines(const TestUser& user, const std::wstring& key,
                                  int status = kHiveNotLoaded) {
        return "Exception while opening key \"" + standin::toUtf8(user.sid + kExplorerKey + key) +
               "\" with ErrorCode " + std::to_string(status) + ".\n" + notReadLines(user, key);
    }
    static std::string grantedLines(const std::wstring& folder) {
        const std::string path = standin::toUtf8(folder);
        return "SetNamedSecurityInfo succeeded for TQXUWP/SetFolderPermissions, folder =" + path +
               "\nAppX permissions set on data directory ( " + path + " )  \n";
    }
    static std::string alreadyGrantedLine(const std::wstring& folder) {
        return "AppX permissions already set on data directory ( " + standin::toUtf8(folder) +
               " ).  No changes.  \n";
    }
    static std::string noBaseLine(const std::wstring& folder) {
        return "Roaming AppData directory sub folder :" + standin::toUtf8(folder) +
               "  does not exist.\n";
    }
    static std::string notCreatedLine(const std::wstring& folder) {
        return "Unable to create directory at " + standin::toUtf8(folder) + "\n";
    }
    std::string failedUserLine(const TestUser& user) const {
        return "ensure AppDataDir Permissions failed for user = " + standin::toUtf8(profile(user)) +
               "\n";
    }
    static std::string defaultPassLine(const std::wstring& folder) {
        return "User profile outFolder for default account = " + standin::toUtf8(folder) + "\n";
    }
    static std::string fallbackLine(const std::wstring& folder) {
        return "Now trying with Roaming AppData directory (CSIDL_APPDATA) " +
               standin::toUtf8(folder) + "\n";
    }

    // The full entry of the group of all application packages, in front of what the folder has anyway.
    bool isGranted(const std::wstring& folder) const {
        standin::FileSecurity granted = standin::untouchedSecurity(true);
        granted.accessList->insert(granted.accessList->begin(),
                                   {kAllow, 3, 0x10000000, kAnyPackageSid});
        return exists(folder) && security(folder) == granted;
    }

    const std::wstring ownProfile = scratch / L"Users\\installer";
    const std::wstring ownRoaming = ownProfile + L"\\AppData\\Roaming";
    const std::wstring commonFiles = scratch / L"Common Files";
    std::wstring out = L"before";

private:
    static std::string notReadLines(const TestUser& user, const std::wstring& key) {
        return "Caught std::exception while reading AppData folder with Key " +
               standin::toUtf8(user.sid + kExplorerKey + key) + " with reason Unknown exception\n" +
               (key == kShellFolders ? "NO AppData in Shell Folders\n"
                                     : "NO AppData in User Shell Folders\n");
    }

    static constexpr wchar_t kProfileList[] =
        L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList";

    size_t m_before = 0;
};
