#include "migration/AppDataMigrator.h"
#include "platform/FileAttributes.h"
#include "run/ConfiguratorLog.h"

namespace {

const MigratedFile migratedFiles[] = {
    {0, L"preferences.json", false},
    {1, L"settings.dat", false},
};

}  // namespace

bool AppDataMigrator::run() {
    removeMigratedUsers();
    if (users.empty()) {
        g_configuratorLog->beginLine() << "App Data Migration not needed for any one." << std::endl;
        return true;
    }

    bool isComplete = true;
    for (const auto& [sid, roots] : users) {
        if (!migrateUser(sid, roots)) isComplete = false;
    }
    if (isComplete) {
        g_configuratorLog->beginLine() << "App Data Migration Complete: SUCCESS" << std::endl;
    } else {
        g_configuratorLog->beginLine()
            << "App Data Migration Complete: Some app data could not be migrated." << std::endl;
    }
    return isComplete;
}

// Required: only the presence of the status file counts, so one that says "error" ends the migration too.
void AppDataMigrator::removeMigratedUsers() {
    for (auto user = users.begin(); user != users.end();) {
        PathBuffer path;
        statusFilePath(user->first, path);
        if (existsAsFile(path)) {
            g_configuratorLog->beginLine()
                << "Migration status file '" << path << "' exists. for user sid " << user->first
                << " App Data Migration not needed." << std::endl;
            user = users.erase(user);
        } else {
            ++user;
        }
    }
}

bool AppDataMigrator::migrateUser(const std::wstring& sid, const UserPackageRoots& roots) {
    PathBuffer sourceRoot;
    PathBuffer targetRoot;
    copyPath(sourceRoot, roots.sourceRoot.c_str());
    copyPath(targetRoot, roots.targetRoot.c_str());

    // Required: two blanks and no closing quote, in this line and in those of the registry entries and of the end.
    g_configuratorLog->beginLine() << "Migration started for the user  '" << sid << std::endl;
    g_configuratorLog->beginLine() << "Migration started with source folder " << sourceRoot
                                   << " Into destination folder " << targetRoot << std::endl;
    // Required: a missing source stops nothing; such a user still gets a status file.
    if (existsAsFolder(sourceRoot)) {
        g_configuratorLog->beginLine()
            << "Migration source folder '" << sourceRoot
            << "' exists. App Data Migration will be attempted." << std::endl;
    } else {
        g_configuratorLog->beginLine()
            << "Migration source folder '" << sourceRoot
            << "' does not exist. App Data Migration not needed." << std::endl;
    }

    bool isComplete = true;
    if (!existsAsFolder(targetRoot) && !createSubDirectories(targetRoot)) {
        g_configuratorLog->beginLine()
            << "ERROR: Migration target folder '" << targetRoot
            << "' does not exist. App Data Migration failed." << std::endl;
        isComplete = false;
    }
    for (const MigratedFile& file : migratedFiles) {
        if (!migrateFile(sid, file)) isComplete = false;
    }
    if (!migrateLocalStateFolders(sid)) isComplete = false;
    g_configuratorLog->beginLine()
        << "Migration registry entries for the user  '" << sid << std::endl;
    if (!migrateRegistryEntries(sid)) isComplete = false;
    writeStatusFile(sid, isComplete);
    g_configuratorLog->beginLine() << "Migration completed for the user  '" << sid << std::endl;
    return isComplete;
}
