#include "MigrationModel.h"

#include <set>

#include "RunModel.h"
#include "StatusFileModel.h"

namespace {

constexpr const char* kFolders[] = {"LocalState", "Settings", "LocalCache", "TempState"};

struct BuildType {
    int number;
    std::string ending;
};

BuildType buildTypeOf(const std::string& packageName) {
    int number = 0;
    for (const std::string ending : {".Dev", ".PreRelease", ".Beta"}) {
        if (packageName.ends_with(ending)) return {number, ending};
        ++number;
    }
    return {number, ""};
}

// The users stand in no order that counts: the first one whose SID the run mentions is next.
std::string nextUser(const TraceReader& trace, const std::set<std::string>& sids) {
    for (size_t i = trace.position(); i < trace.calls().size(); ++i) {
        for (const std::string& argument : trace.calls()[i].arguments) {
            // From the last on, as that may be a longer one with the same beginning.
            for (auto sid = sids.rbegin(); sid != sids.rend(); ++sid)
                if (argument.find(*sid) != std::string::npos) return *sid;
        }
    }
    return *sids.begin();
}

}  // namespace

MigrationModel::MigrationModel(TraceReader& trace, RunFacts& facts)
    : m_trace(trace), m_facts(facts), m_registry(trace, facts, m_names) {
    const std::string& packageName = facts.arguments[2];
    const BuildType buildType = buildTypeOf(packageName);
    trace.line("Build Type '" + std::to_string(buildType.number));
    m_names = {"Velta.LC.QK" + buildType.ending + "_qzw4mhtrvb2ne", packageName + "_kt83f9rd2xj6a"};
    trace.line("old package name '" + m_names.oldFamily + "' new package name '" + m_names.newFamily);
    readUsers();
    readFolders();
    trace.passOver();
}

void MigrationModel::readUsers() {
    if (!m_facts.isEnterprise) {
        readUser(readLoggedOnUserSid(m_trace, m_facts));
        return;
    }
    std::set<std::string> sids;
    for (const auto& [sid, profile] : readUserProfiles(m_trace, m_facts))
        sids.insert(sid);
    while (!sids.empty()) {
        const std::string sid = nextUser(m_trace, sids);
        readUser(sid);
        sids.erase(sid);
    }
}

void MigrationModel::readUser(const std::string& sid) {
    const std::string folder = readLocalAppDataFolderOf(m_trace, m_facts, sid);
    if (folder.empty()) return;
    MigratedUser user;
    user.sid = sid;
    user.sourceRoot = readJoinedPath(m_trace, folder, {"Packages", m_names.oldFamily});
    user.targetRoot = readJoinedPath(m_trace, folder, {"Packages", m_names.newFamily});
    m_users[sid] = user;
}

void MigrationModel::readFolders() {
    for (const char* folder : kFolders) {
        for (auto& [sid, user] : m_users) {
            user.sourceFolders.push_back(readJoinedPath(m_trace, user.sourceRoot, {folder}));
            user.targetFolders.push_back(readJoinedPath(m_trace, user.targetRoot, {folder}));
        }
    }
}

bool MigrationModel::run() {
    readFinishedUsers();
    if (m_users.empty()) {
        m_trace.line("App Data Migration not needed for any one.");
        return true;
    }
    bool isComplete = true;
    for (auto& [sid, user] : m_users)
        isComplete = readMigration(user) && isComplete;
    m_trace.line(isComplete ? "App Data Migration Complete: SUCCESS"
                            : "App Data Migration Complete: Some app data could not be migrated.");
    return isComplete;
}

void MigrationModel::readFinishedUsers() {
    for (auto user = m_users.begin(); user != m_users.end();) {
        const std::string path = readStatusFilePath(m_trace, user->second);
        if (readIsFile(m_trace, path)) {
            m_trace.line("Migration status file '" + path + "' exists. for user sid " +
                         user->first + " App Data Migration not needed.");
            user = m_users.erase(user);
        } else {
            ++user;
        }
    }
}

bool MigrationModel::readMigration(MigratedUser& user) {
    readCopiedText(m_trace, user.sourceRoot);
    readCopiedText(m_trace, user.targetRoot);
    m_trace.line("Migration started for the user  '" + user.sid);
    m_trace.line("Migration started with source folder " + user.sourceRoot +
                 " Into destination folder " + user.targetRoot);
    const bool hasSource = readIsFolder(m_trace, user.sourceRoot);
    m_trace.line("Migration source folder '" + user.sourceRoot +
                 (hasSource ? "' exists. App Data Migration will be attempted."
                            : "' does not exist. App Data Migration not needed."));

    bool isComplete = true;
    if (!readIsFolder(m_trace, user.targetRoot) && !readSubDirectories(m_trace, user.targetRoot)) {
        m_trace.line("ERROR: Migration target folder '" + user.targetRoot +
                     "' does not exist. App Data Migration failed.");
        isComplete = false;
    }
    isComplete = readMigratedFile(m_trace, user, kLocalState, "preferences.json") && isComplete;
    isComplete = readMigratedFile(m_trace, user, kSettings, "settings.dat") && isComplete;
    isComplete = readLocalStateFolders(m_trace, m_facts, user) && isComplete;
    m_trace.line("Migration registry entries for the user  '" + user.sid);
    isComplete = m_registry.read(user) && isComplete;
    readStatusFile(m_trace, m_facts, user, isComplete);
    m_trace.line("Migration completed for the user  '" + user.sid);
    return isComplete;
}
