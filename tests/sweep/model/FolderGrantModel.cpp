#include "FolderGrantModel.h"

#include "RunModel.h"

namespace {

constexpr const char* kAnyPackage = "S-1-15-2-1";
constexpr const char* kAnyPackageType = "84";
constexpr unsigned long kFullAccess = 0x10000000;

// What the search for the grant saw of one entry of the access list.
struct SeenEntry {
    bool isRead = false;
    std::string sid;         // empty for an entry that does not allow access
    bool isNoGrant = false;  // its SID was compared, and still the search went on
};

// The entries of an access list as the trace writes it: [allow S-1-5-18 0x1F01FF flags 0x10; ...].
std::vector<std::string> entriesOf(const std::string& list) {
    std::vector<std::string> entries;
    if (!list.starts_with('[') || list == "[]") return entries;
    size_t begin = 1;
    for (size_t end = 0; end != std::string::npos; begin = end + 2) {
        end = list.find("; ", begin);
        entries.push_back(list.substr(begin, end == std::string::npos ? end : end - begin));
    }
    return entries;
}

bool isSeenRight(const SeenEntry& seen, const std::string& entry) {
    if (!seen.isRead) return true;
    if (seen.sid.empty()) return !entry.starts_with("allow ");
    const std::string beginning = "allow " + seen.sid + " ";
    if (!entry.starts_with(beginning)) return false;
    const unsigned long access = std::stoul(entry.substr(beginning.size()), nullptr, 16);
    return !seen.isNoGrant || seen.sid != kAnyPackage || (access & kFullAccess) == 0;
}

class GrantModel {
public:
    GrantModel(TraceReader& trace, const std::string& path) : m_trace(trace), m_path(path) {}

    bool hasGrant();
    bool setGrant();

private:
    bool readList();
    bool isGrant(unsigned long index);
    void checkSearch(const std::string& list);

    TraceReader& m_trace;
    const std::string& m_path;
    std::string m_anyPackage;
    bool m_hasSearched = false;
    std::vector<SeenEntry> m_seen;
};

bool GrantModel::readList() {
    const standin::Call& list = m_trace.call(
        "GetNamedSecurityInfoW", {quoted(m_path), "1", "0x4", "null", "null", "out", "null", "*"});
    if (!list.failed && !list.arguments[7].starts_with("memory#"))
        m_trace.deviate("the descriptor, to be released, with this call");
    return !list.failed;
}

// Neither the number of entries nor their rights are in the trace: the search ends where the next
// call is of another kind, with the grant unless the folder's list is then read again to be changed.
bool GrantModel::isGrant(unsigned long index) {
    SeenEntry& seen = m_seen.emplace_back();
    if (!m_trace.ok("GetAce", {"given", std::to_string(index), "out"})) {
        m_trace.line("GetAce(pOldDACL) failed for TQXUWP");
        return false;
    }
    seen.isRead = true;
    if (!m_trace.nextIs("IsValidSid")) return false;
    const standin::Call& check = m_trace.call("IsValidSid");
    seen.sid = check.arguments[0];
    if (check.failed) {
        m_trace.line("IsValidSid failed for TQXUWP");
        return false;
    }
    const standin::Call& text = m_trace.call("ConvertSidToStringSidW", {seen.sid});
    if (text.failed) {
        m_trace.line("ConvertSidToStringSid (sid iteration) failed for TQXUWP");
        return false;
    }
    seen.isNoGrant = text.arguments[1] != m_anyPackage ||
                     m_trace.nextIs("GetAce", {"given", std::to_string(index + 1)}) ||
                     m_trace.nextIs("GetNamedSecurityInfoW", {quoted(m_path)});
    return !seen.isNoGrant;
}

bool GrantModel::hasGrant() {
    if (!readList()) {
        m_trace.line("GetNamedSecurityInfo failed for TQXUWP/HasPermissions");
        return false;
    }
    readWellKnownSid(m_trace, kAnyPackageType);
    const standin::Call& text = m_trace.call("ConvertSidToStringSidW", {kAnyPackage});
    if (text.failed) {
        m_trace.line("ConvertSidToStringSid (WinBuiltinAnyPackageSid) failed for TQXUWP");
        return false;
    }
    m_anyPackage = text.arguments[1];
    m_hasSearched = true;
    for (unsigned long i = 0; m_trace.nextIs("GetAce", {"given", std::to_string(i)}); ++i)
        if (isGrant(i)) return true;
    return false;
}

// The list that is to be changed is the one that was searched.
void GrantModel::checkSearch(const std::string& list) {
    if (!m_hasSearched) return;
    const std::vector<std::string> entries = entriesOf(list);
    bool isRight = entries.size() == m_seen.size();
    for (size_t i = 0; isRight && i < entries.size(); ++i)
        isRight = isSeenRight(m_seen[i], entries[i]);
    if (!isRight) m_trace.deviate("a search through all entries of " + list);
}

bool GrantModel::setGrant() {
    const std::string step = "TQXUWP/SetFolderPermissions";
    if (!readList()) {
        m_trace.line("GetNamedSecurityInfo failed for " + step);
        return false;
    }
    if (!m_trace.ok("LocalAlloc", {"0x0", "68"})) return false;
    if (!m_trace.ok("CreateWellKnownSid", {kAnyPackageType, "null", "given", "68*"})) {
        m_trace.line("CreateWellKnownSid failed for " + step);
        return false;
    }
    const standin::Call& merge = m_trace.call(
        "SetEntriesInAclW", {"1",
                             "[access=0x10000000 mode=2 inheritance=0x3 multiple=null "
                             "operation=0 form=0 type=5 S-1-15-2-1]",
                             "*", "given"});
    checkSearch(merge.arguments[2]);
    if (merge.failed) {
        m_trace.line("SetEntriesInAcl failed for " + step);
        return false;
    }
    const standin::Call& set = m_trace.call(
        "SetNamedSecurityInfoW", {quoted(m_path), "1", "0x4", "null", "null", "*", "null"});
    if (set.arguments[5].find("allow S-1-15-2-1 0x10000000 flags 0x3") == std::string::npos)
        m_trace.deviate("an access list with the grant");
    m_trace.line("SetNamedSecurityInfo " + std::string(set.failed ? "failed" : "succeeded") +
                 " for " + step + ", folder =" + m_path);
    return !set.failed;
}

// What was made since the run began are folders.
bool readIsFolder(TraceReader& trace, const RunFacts& facts, const std::string& path) {
    const standin::Call& search = trace.call("FindFirstFileW", {quoted(path)});
    if (search.failed) return false;
    trace.call("FindClose", {search.result});
    return !facts.isFile(path);
}

}  // namespace

bool readFolderGrant(TraceReader& trace, const RunFacts& facts, const std::string& base,
                     const std::vector<std::string>& components, std::string& out) {
    std::string path = base;
    if (!readIsFolder(trace, facts, path)) {
        trace.line("Roaming AppData directory sub folder :" + path + "  does not exist.");
        return false;
    }
    for (const std::string& component : components) {
        path += "\\" + component;
        if (readIsFolder(trace, facts, path)) continue;
        if (!trace.ok("CreateDirectoryW", {quoted(path), "null"})) {
            trace.line("Unable to create directory at " + path);
            return false;
        }
    }
    GrantModel grant(trace, path);
    if (grant.hasGrant()) {
        trace.line("AppX permissions already set on data directory ( " + path + " ).  No changes.  ");
    } else if (grant.setGrant()) {
        trace.line("AppX permissions set on data directory ( " + path + " )  ");
    } else {
        trace.line("Unable to set AppX permissions on data directory ( " + path + " )  ");
        return false;
    }
    out = path;
    return true;
}
