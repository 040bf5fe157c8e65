#pragma once

#include <map>
#include <string>
#include <vector>

#include "migration/PathHelpers.h"

// The build of the product, told by the end of its package name. The values stand in the log.
enum BuildType {
    BuildTypeDev = 0,
    BuildTypePreRelease = 1,
    BuildTypeBeta = 2,
    BuildTypeRelease = 3
};

// A user's folders of the old and of the new package.
struct UserPackageRoots {
    std::wstring sourceRoot;
    std::wstring targetRoot;
};

// Where a user's recent-files lists stand: a predefined key, its name in the log, and the path of the packages' keys.
struct RegistryView {
    HKEY hive;
    const char* label;
    std::wstring basePath;
};

class RegistryKey;

// A single file that is carried over: the place of its folder among the package's data folders, and
// its name. A row with `skip` is passed over and recorded nowhere.
struct MigratedFile {
    int folderIndex;
    PathBuffer fileName;
    bool skip;
};

// The place of "LocalState" among the package's data folders.
inline constexpr int kLocalStateIndex = 0;

// Carries each user's app data from the package family of the earlier publisher identity to the one that is being
// installed, once per user. The constructor settles users, names and folders; run moves the data.
class AppDataMigrator {
public:
    AppDataMigrator(const std::wstring& packageName, bool isEnterpriseDeployment);
    AppDataMigrator(const AppDataMigrator&) = delete;
    AppDataMigrator& operator=(const AppDataMigrator&) = delete;
    virtual ~AppDataMigrator() = default;

    // Migrates every user who has no status file yet. True: nobody needed it, or everything could
    // be carried over. False: an item of some user could not; it is logged and stands in that
    // user's status file.
    bool run();

    using UserFolders = std::map<std::wstring, std::map<int, std::wstring>>;
    using UserItems = std::map<std::wstring, std::vector<std::wstring>>;

    BuildType detectBuildType(const std::wstring& packageName) const;
    std::wstring composeOldPackageName(BuildType buildType, const std::wstring& base,
                                       const std::wstring& publisherId) const;

    // Sets both package names and fills `users`, `sourceFolders` and `targetFolders`.
    void discoverPackagesAndUsers(const std::wstring& packageName, bool isEnterpriseDeployment,
                                  BuildType buildType);
    // Enters the user, who is left out if his Local AppData folder is unknown.
    void addUser(const std::wstring& sid);
    // Enters the folder of that name into both maps for every user; an index already there keeps its path.
    void addFolderPaths(int folderIndex, const wchar_t* folderName);

    // The paths of a file in a data folder on both sides; an empty name gives the folder itself.
    void resolveFilePaths(const std::wstring& sid, int folderIndex, const wchar_t* fileName,
                          PathBuffer& source, PathBuffer& target) const;
    // Copies one listed file, over the target's if there is one. True also if the old package has no such file. Logs.
    bool copyFile(const std::wstring& sid, const MigratedFile& file) const;
    // Copies and records one listed file. False: it could not be copied.
    bool migrateFile(const std::wstring& sid, const MigratedFile& file);
    static void recordItem(const std::wstring& sid, const std::wstring& item, UserItems& items);
    // Carries the sub-folders of LocalState over and records each: moved in an enterprise
    // deployment, copied otherwise. False: one of them, or the listing, failed. Logs.
    bool migrateLocalStateFolders(const std::wstring& sid);

    // Carries both recent-files lists over in both views and records each. False: one of them failed. Logs.
    bool migrateRegistryEntries(const std::wstring& sid);
    bool migrateClassesRootEntries(const std::wstring& key) const;
    bool migrateUserHiveEntries(const std::wstring& sid, const std::wstring& key) const;
    // Copies the tree into the new package's and rewrites the copy. `source` is the old list, open.
    bool copyRegistryTree(const RegistryView& view, const RegistryKey& source,
                          const std::wstring& key) const;
    // Puts the new package's name for the old one in the entries below the copied list.
    bool rewriteCopiedEntries(const RegistryView& view, const std::wstring& key) const;
    bool rewriteSubkey(const RegistryKey& key, const std::wstring& name) const;
    bool rewriteValue(const RegistryKey& key, const wchar_t* valueName) const;

    void statusFilePath(const std::wstring& sid, PathBuffer& path) const;
    // Writes the user's status file. False: it could not be created. Logs.
    bool writeStatusFile(const std::wstring& sid, bool outcome);
    std::string buildStatusText(const std::wstring& sid, bool outcome);

    const std::wstring packagesFolderName = L"Packages";
    const std::wstring packageNameBase = L"Velta.LC.QK";
    const std::wstring devSuffix = L".Dev";
    const std::wstring preReleaseSuffix = L".PreRelease";
    const std::wstring betaSuffix = L".Beta";
    const std::wstring oldPublisherId = L"qzw4mhtrvb2ne";
    const std::wstring newPublisherId = L"kt83f9rd2xj6a";
    const std::wstring classesAppModelKey =
        L"Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\SystemAppData";
    const std::wstring usersAppModelKey =
        L"SOFTWARE\\Classes\\Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\SystemAppData";
    const std::wstring persistedStorageKey = L"PersistedStorageItemTable";
    const std::wstring mruKey = L"MostRecentlyUsed";
    const std::wstring falKey = L"ManagedByApp";
    const std::wstring statusFileName = L"mig_status.json";
    const std::wstring autosavedFilesName = L"autosavedFiles";
    const std::wstring autosavedUntitledFilesName = L"autosavedUntitledFiles";
    std::map<std::wstring, UserPackageRoots> users;
    std::wstring oldPackageName;
    std::wstring newPackageName;
    UserFolders sourceFolders;
    UserFolders targetFolders;
    BuildType buildType;
    bool isEnterpriseDeployment;
    // What was carried over and what was not, per user, in the order of completion.
    UserItems copiedItems;
    UserItems failedItems;

private:
    void removeMigratedUsers();
    bool migrateEntries(const RegistryView& view, const std::wstring& key) const;
    bool migrateUser(const std::wstring& sid, const UserPackageRoots& roots);
};
