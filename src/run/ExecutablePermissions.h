#pragma once

#include <string>
#include <vector>

#include "platform/ComPointer.h"
#include "platform/Json.h"
#include "platform/PlatformString.h"
#include "platform/Windows.h"

// The record that the run shares: what the command line said, what was found out about the package
// and the account, and the constants and working state of the plug-in migration. Its operations are
// the steps of the run, each in the folder of its subject; every one relies on the steps before it.
class ExecutablePermissions {
public:
    ExecutablePermissions() = default;
    ExecutablePermissions(const ExecutablePermissions&) = delete;
    ExecutablePermissions& operator=(const ExecutablePermissions&) = delete;
    // Closes m_token.
    virtual ~ExecutablePermissions();

    // Opens the process token into m_token and enables, one by one, the privileges to take
    // ownership, to back up and to restore. 1, or 0 after logging the failure. A privilege that the
    // token does not hold counts as enabled.
    int enablePrivileges();

    // Reads the account of m_token into m_tokenUser and m_currentUserSidString. 1, or 0 after logging the failure.
    int resolveUserToken();

    // Finds the package named on the command line. False: not found, and the caller logs it.
    // Reads m_productName, m_version. Sets m_packageInstallPath, then m_packageFamilyName.
    bool findPackage();

    // Removes every package of the older identity (the name with the family marker, the legacy
    // publisher): here, or through the companion executable where the run is not the logged-on
    // user. False: a removal failed here; logged. What is no platform exception, a cancelled
    // removal among it, is thrown.
    bool uninstallOlderPackageApp(const Platform::String& packageName);

    // Gives each of the package's files, in order, its owner, two access entries and, but for the
    // first constant of the list, the medium integrity label. Stops at the first failure, logged;
    // files done by then stay as they are.
    bool hardenPackageFiles(std::vector<const wchar_t*> files, PSID userSid, PSID usersSid,
                            PSID systemSid);

    // Sees to the roaming folders that plug-ins and their services need, for every user. Sets
    // m_rxpAppDataPath. False: the plug-in folders are not ready; logged.
    bool prepareUserDataFolders(PSID userSid);

    // Moves the user's plug-ins, their settings and storages to the roaming folder, once per
    // product code. The outcome is in the log and in the status file.
    void migratePlugins();

    // Registers the executable's crash dumps, for m_packageFamilyName and m_executableName. False: logged.
    bool registerCrashDumps();

    // The last stage of the run, for the package that findPackage finds. Nonzero for success.
    int runPostInstall();

    // The user's AppData folder, from m_rxpAppDataPath; a purely textual cut.
    std::wstring getAppDataRoot() const;

    // Copies the folders of these names and records in `migratedNames` those that arrived.
    // MigrationResult: a copy that fails is logged, sets m_migrationFailureReason and takes back
    // what `migratedNames` holds.
    int migratePluginFolders(const std::wstring& oldLocation, const std::wstring& newLocation,
                             bool isSettings, const std::vector<std::wstring>& names,
                             std::vector<std::wstring>& migratedNames);

    // Deletes the plug-in status file if it holds an entry of too old an application.
    void discardStaleMigrationStatus();
    // One entry of it. A version without a number is logged and counts as not older.
    bool isOlderThanMinimumVersion(const ComPointer<IJsonObject>& document,
                                   const Platform::String& sapCode) const;
    // Loads m_migrationStatus, making an empty file where there is none. False: the entry of m_sapCode says 0.
    bool isMigrationNeeded();
    // Adds the outcome to m_migrationStatus and writes it. A file that cannot be opened is logged.
    void writeMigrationStatus(int result);
    ComPointer<IJsonObject> buildMigrationStatusEntry(int result) const;

    HANDLE m_token = nullptr;
    Platform::String m_productName;
    Platform::String m_packageFamilyName;
    Platform::String m_packageInstallPath;
    Platform::String m_version;
    Platform::String m_executableName;
    const std::wstring m_pluginsMigrationStatusFileName = L".pluginsMigrationStatus.json";
    const std::wstring m_localStorageFolderName = L"LocalStorage";
    const std::wstring m_secureStorageFolderName = L"SecureStorage";
    const Platform::String m_statusKey{L"status"};
    const Platform::String m_sapCodeKey{L"sapCode"};
    const Platform::String m_appVersionKey{L"appVersion"};
    const Platform::String m_migratedKey{L"migrated"};
    const Platform::String m_failedKey{L"failed"};
    const Platform::String m_reasonKey{L"reason"};
    const Platform::String m_sapCodeRelease{L"ZRKL"};
    const Platform::String m_sapCodeDev{L"ZRKLDV"};
    const Platform::String m_sapCodePrerelease{L"ZRKLPR"};
    const Platform::String m_sapCodeBeta{L"ZRKLBE"};
    // Status entries of an application older than this are stale.
    const int m_minimumMajorVersion = 39;
    Platform::String m_sapCode;
    bool m_isEnterpriseDeployment = false;
    // Backs m_tokenUser, so it must not change once that is set.
    std::vector<BYTE> m_tokenUserBuffer;
    TOKEN_USER* m_tokenUser = nullptr;
    std::wstring m_currentUserSidString;
    std::wstring m_rxpAppDataPath;
    std::wstring m_migrationStatusFileFullPath;
    std::wstring m_pluginsOldLocation;
    std::wstring m_pluginsNewLocation;
    std::wstring m_pluginSettingsOldLocation;
    std::wstring m_pluginSettingsNewLocation;
    std::wstring m_migrationFailureReason;
    std::vector<std::wstring> m_plugins;
    std::vector<std::wstring> m_migratedPlugins;
    std::vector<std::wstring> m_pluginSettings;
    std::vector<std::wstring> m_migratedPluginSettings;
    ComPointer<IJsonObject> m_migrationStatus;

private:
    // Fills the plug-in locations and lists and copies everything. A MigrationResult.
    int copyPlugins(const std::wstring& localState);
};
