#pragma once

#include <string>
#include <vector>

#include "end_to_end/World.h"
#include "stand-in/Trace.h"

// What one run may write to, and what it wrote elsewhere. Looks at the paths and keys that the
// calls were given, failed ones included: links beneath a path are not followed.
class Fence {
public:
    // For a run on that world with the typical arguments. `users` are those of the profile list,
    // the one who is logged on first; in an enterprise deployment each of them is migrated.
    Fence(const World& world, const std::vector<WorldUser>& users, bool isEnterpriseDeployment);

    // A file, or a folder with all that is in it, or a key "HKEY_USERS\\..." with all below it that
    // this run's input itself leads to.
    void allow(const std::wstring& place);
    // A path that the log may have besides its own.
    void allowLog(const std::wstring& path);

    // The calls that write anywhere else, or would have.
    std::vector<std::string> breaches(const std::vector<standin::Call>& calls) const;

private:
    using Places = std::vector<std::wstring>;

    void admitPackage(const World& world, const WorldUser& user, bool isEnterpriseDeployment);
    void admitRoaming(const std::wstring& roaming);
    void admitRecentFiles(const std::wstring& packages);
    bool admitsFileCall(const standin::Call& call) const;
    bool admitsShellCall(const standin::Call& call) const;
    bool admitsOpenedKey(const std::wstring& key) const;
    bool isAllowed(const std::wstring& place) const;

    // Paths and keys in lower case; "trees" with all that is in them.
    Places m_allowed;
    Places m_logs;
    Places m_newPackageTrees;
    Places m_oldPackageTrees;  // where files are deleted behind their copies
    Places m_oldPlugins;
    Places m_veltaTrees;   // in the roaming folders
    Places m_commonFiles;  // the folders below the common one that are made
    Places m_pluginStatusFiles;
    Places m_securedFiles;
    Places m_readKeys;  // opening makes them
    Places m_profileKeys;
    Places m_copiedKeyTrees;  // "MostRecentlyUsed" and "ManagedByApp" of the new package
    Places m_newPackageKeys;  // on the way to those
    std::wstring m_dumpsKey;
};
