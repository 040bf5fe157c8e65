#include "migration/AppDataMigrator.h"

#include "run/ConfiguratorLog.h"
#include "users/UserProfiles.h"

namespace {

// A package's data folders; the place in this table is the folder index. Only the first two are read.
const wchar_t* const appDataFolders[] = {L"LocalState", L"Settings", L"LocalCache", L"TempState"};

}  // namespace

AppDataMigrator::AppDataMigrator(const std::wstring& packageName, bool isEnterprise)
    : buildType(detectBuildType(packageName)), isEnterpriseDeployment(isEnterprise) {
    g_configuratorLog->beginLine() << "Build Type '" << static_cast<int>(buildType)
                                   << std::endl;  // Required: no closing quote.
    discoverPackagesAndUsers(packageName, isEnterpriseDeployment, buildType);
}

BuildType AppDataMigrator::detectBuildType(const std::wstring& packageName) const {
    if (packageName.ends_with(devSuffix)) return BuildTypeDev;
    if (packageName.ends_with(preReleaseSuffix)) return BuildTypePreRelease;
    if (packageName.ends_with(betaSuffix)) return BuildTypeBeta;
    return BuildTypeRelease;
}

std::wstring AppDataMigrator::composeOldPackageName(BuildType build, const std::wstring& base,
                                                    const std::wstring& publisherId) const {
    std::wstring name = base;
    switch (build) {
        case BuildTypeDev:
            name += devSuffix;
            break;
        case BuildTypePreRelease:
            name += preReleaseSuffix;
            break;
        case BuildTypeBeta:
            name += betaSuffix;
            break;
        case BuildTypeRelease:
            break;
    }
    return name + L"_" + publisherId;
}

void AppDataMigrator::discoverPackagesAndUsers(const std::wstring& packageName, bool isEnterprise,
                                               BuildType build) {
    oldPackageName = composeOldPackageName(build, packageNameBase, oldPublisherId);
    newPackageName = packageName + L"_" + newPublisherId;
    // Required: no closing quote behind the new name.
    g_configuratorLog->beginLine() << "old package name '" << oldPackageName
                                   << "' new package name '" << newPackageName << std::endl;

    if (isEnterprise) {
        for (const auto& [sid, profile] : getUserProfiles())
            addUser(sid);
    } else {
        addUser(getLoggedOnUserSid());
    }
    int folderIndex = 0;
    for (const wchar_t* folderName : appDataFolders)
        addFolderPaths(folderIndex++, folderName);
}

void AppDataMigrator::addUser(const std::wstring& sid) {
    const std::wstring folder = getLocalAppDataFolder(sid, isEnterpriseDeployment);
    if (folder.empty()) return;

    PathBuffer source;
    PathBuffer target;
    joinPath(source, folder.c_str(), packagesFolderName.c_str(), oldPackageName.c_str());
    joinPath(target, folder.c_str(), packagesFolderName.c_str(), newPackageName.c_str());
    users[sid] = {source, target};
}

void AppDataMigrator::addFolderPaths(int folderIndex, const wchar_t* folderName) {
    for (const auto& [sid, roots] : users) {
        PathBuffer source;
        PathBuffer target;
        joinPath(source, roots.sourceRoot.c_str(), folderName);
        joinPath(target, roots.targetRoot.c_str(), folderName);
        sourceFolders[sid].emplace(folderIndex, source);
        targetFolders[sid].emplace(folderIndex, target);
    }
}
