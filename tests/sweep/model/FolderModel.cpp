#include <algorithm>
#include <utility>

#include "FolderGrantModel.h"
#include "LastErrorModel.h"
#include "RunModel.h"
#include "UserModel.h"

namespace {

constexpr const char* kUserHeading = "Setting Permissions on user SID : ";
constexpr const char* kUserFailure = "ensure AppDataDir Permissions failed for user = ";

// A user's roaming folder, and as the registry has it; both empty if unknown.
struct RoamingFolders {
    std::string roaming;
    std::string asRead;
};

// One folder in the roaming data of every user.
class FolderWalk {
public:
    FolderWalk(TraceReader& trace, RunFacts& facts, std::vector<std::string> components)
        : m_trace(trace), m_facts(facts), m_components(std::move(components)) {}

    void takeDefaultFolders() { m_takesDefault = true; }
    bool read(std::string& out);

private:
    void readOwnProfile();
    void readUsers(std::string& out);
    std::string nextUser();
    void readUser(const std::string& sid, const std::string& profile, std::string& out);
    RoamingFolders readFolders(const std::string& sid, const std::string& profile);
    bool readFallback(std::string& out);

    TraceReader& m_trace;
    RunFacts& m_facts;
    const std::vector<std::string> m_components;
    bool m_takesDefault = false;
    std::string m_ownProfile;
    std::string m_loggedOnSid;
    std::map<std::string, std::string> m_remaining;  // users whose turn has not come
    bool m_isAnyHandled = false;
};

bool FolderWalk::read(std::string& out) {
    m_takesDefault = m_takesDefault || m_facts.isEnterprise;
    m_remaining = readUserProfiles(m_trace, m_facts);
    m_loggedOnSid = readLoggedOnUserSid(m_trace, m_facts);
    const standin::Call& text = m_trace.call("ConvertSidToStringSidW", {m_facts.tokenUserSid});
    m_trace.line("Current user: " + (text.failed ? "" : m_facts.tokenUserSid));
    readOwnProfile();
    readUsers(out);
    return m_isAnyHandled || readFallback(out);
}

void FolderWalk::readOwnProfile() {
    const standin::Call& asked = m_trace.call("SHGetFolderPathW", {"null", "0x28", "null", "0"});
    if (asked.failed) {
        m_trace.line("Unable to locate Users Profile (CSIDL_PROFILE) ");
        return;
    }
    m_ownProfile = unquoted(asked.arguments[4]);
    m_trace.line("Users Profile (CSIDL_PROFILE) succeded : " + m_ownProfile);
    // The text of the folder is made before the first user's protected region.
    m_trace.settleAllocations();
}

// The users come in any order, each once.
void FolderWalk::readUsers(std::string& out) {
    for (size_t left = m_remaining.size(); left > 0; --left) {
        std::string profile;
        try {
            const std::string sid = nextUser();
            profile = m_remaining.at(sid);
            m_remaining.erase(sid);
            readUser(sid, profile, out);
        } catch (const StandardException&) {
            if (!profile.empty()) {
                m_trace.line(kUserFailure + profile);
                continue;
            }
            const std::string named = m_trace.lineBeginning(kUserFailure);
            const auto user = std::find_if(
                m_remaining.begin(), m_remaining.end(),
                [&](const auto& remaining) { return remaining.second == named; });
            if (user != m_remaining.end()) m_remaining.erase(user);
        }
    }
}

// The heading tells whose turn it is, or without a log the first key that is opened.
std::string FolderWalk::nextUser() {
    for (const auto& [sid, profile] : m_remaining) {
        if (m_trace.nextLineBegins(kUserHeading + sid + " with ProfilePath : ") ||
            m_trace.nextIs("RegCreateKeyExW", {"HKEY_USERS", quoted(sid + kShellFoldersKey)})) {
            return sid;
        }
    }
    if (m_trace.atEnd()) throw TraceEnd();
    m_trace.deviate("one of the users whose turn has not come");
}

void FolderWalk::readUser(const std::string& sid, const std::string& profile, std::string& out) {
    m_trace.line(kUserHeading + sid + " with ProfilePath : " + profile);
    const RoamingFolders folders = readFolders(sid, profile);
    if (folders.roaming.empty()) {
        m_trace.line("Empty folder");
    } else {
        std::string granted;
        if (!readFolderGrant(m_trace, m_facts, folders.roaming, m_components, granted))
            m_trace.line(kUserFailure + profile);
        if (sid == m_loggedOnSid) out = granted;
        m_isAnyHandled = true;  // also after a failure
    }
    if (folders.asRead.empty() || !m_takesDefault) return;
    std::string granted;
    readFolderGrant(m_trace, m_facts, folders.asRead, m_components, granted);
    m_trace.line("User profile outFolder for default account = " + granted);
}

RoamingFolders FolderWalk::readFolders(const std::string& sid, const std::string& profile) {
    std::string folder;
    if (readUserFolder(m_trace, m_facts, sid + kShellFoldersKey, "AppData", folder)) {
        m_trace.line("AppData in Shell Folders = " + folder);
        return {folder, folder};
    }
    m_trace.line("NO AppData in Shell Folders");
    if (readUserFolder(m_trace, m_facts, sid + kUserShellFoldersKey, "AppData", folder)) {
        m_trace.line("AppData in User Shell Folders = " + folder);
        const std::string asRead = folder;
        replaceProfilePrefix(m_trace, m_facts.isEnterprise, m_ownProfile, profile, folder);
        return {folder, asRead};
    }
    m_trace.line("NO AppData in User Shell Folders");
    if (!m_facts.isEnterprise) return {};
    folder = profile + "\\AppData\\Roaming";
    if (!m_trace.ok("PathFileExistsW", {quoted(folder)})) folder.clear();
    m_trace.line("fetching AppData Local failed and assuming it as the default one = " + folder);
    return {folder, ""};
}

// Nobody's folder is known: the running account's own takes its place.
bool FolderWalk::readFallback(std::string& out) {
    const standin::Call& asked = m_trace.call("SHGetFolderPathW", {"null", "0x1A", "null", "0"});
    if (asked.failed) {
        m_trace.line("Unable to locate Roaming AppData directory (CSIDL_APPDATA) ");
        return false;
    }
    const std::string folder = unquoted(asked.arguments[4]);
    m_trace.line("Now trying with Roaming AppData directory (CSIDL_APPDATA) " + folder);
    return readFolderGrant(m_trace, m_facts, folder, m_components, out);
}

bool readUserFolders(TraceReader& trace, RunFacts& facts, std::vector<std::string> components) {
    std::string unused;
    return FolderWalk(trace, facts, std::move(components)).read(unused);
}

void readFailureLine(TraceReader& trace, const std::string& text) {
    trace.line(text + " failed. GetLastError returned:" + lastError(trace));
}

}  // namespace

bool readAppContainerFolderAccess(TraceReader& trace, RunFacts& facts) {
    bool isGranted = readUserFolders(trace, facts, {"Velta", "MeshSync"});
    isGranted = readUserFolders(trace, facts, {"Velta", "MeshSync", "TQX"}) && isGranted;
    FolderWalk libraries(trace, facts, {"Velta", "Lumora Cloud Libraries"});
    libraries.takeDefaultFolders();
    std::string unused;
    isGranted = libraries.read(unused) && isGranted;
    readUserFolders(trace, facts, {"Velta", "LCX Welcome"});
    return isGranted;
}

bool readCommonFilesAccess(TraceReader& trace, RunFacts& facts) {
    const standin::Call& asked = trace.call("SHGetFolderPathW", {"null", "0x2B", "null", "0"});
    std::string folder;  // unknown, it is asked for all the same
    if (asked.failed) {
        trace.line("Unable to locate Program Files\\Common Files (CSIDL_PROGRAM_FILES_COMMON) ");
    } else {
        folder = unquoted(asked.arguments[4]);
    }
    std::string unused;
    return readFolderGrant(trace, facts, folder, {"Velta", "RXP"}, unused);
}

bool readUserDataFolders(TraceReader& trace, RunFacts& facts) {
    if (!readUserFolders(trace, facts, {"Velta", "WPI"}))
        readFailureLine(trace, "Grant permission for WPI");
    if (!readUserFolders(trace, facts, {"Velta", "WPI", "WPIC"}))
        readFailureLine(trace, "Grant permission for WPIC");
    if (!FolderWalk(trace, facts, {"Velta", "RXP"}).read(facts.rxpAppDataPath)) {
        readFailureLine(trace, "Grant permission for RXP");
        return false;
    }
    if (!readUserFolders(trace, facts, {"Velta", "RXP", "Plugins", "External"})) {
        readFailureLine(trace, "Create and Grant permission for Plugins and External folders");
        return false;
    }
    trace.line("AppData roaming Velta RXP path = " + facts.rxpAppDataPath);
    return true;
}
