#include "UserModel.h"

#include <filesystem>

#include "RegistryModel.h"
#include "RunModel.h"

namespace {

constexpr const char* kMachine = "HKEY_LOCAL_MACHINE";
constexpr const char* kProfileList = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList";
constexpr const char* kLogonUi =
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI";
constexpr unsigned long kDirectory = 0x10;

std::string narrow(const std::u16string& text) {
    const std::u8string utf8 = std::filesystem::path(text).u8string();
    return std::string(utf8.begin(), utf8.end());
}

// The trace shows that a value was read, not what it holds. `keyPath` begins with the root's name.
std::string readText(TraceReader& trace, const RunFacts& facts, const KeyModel& key,
                     const std::string& keyPath, const std::string& valueName) {
    key.readValue(valueName, "0xFFFF");
    trace.settleAllocations();
    const auto text = facts.registryTexts.find(keyPath + "\\" + valueName);
    if (text == facts.registryTexts.end())
        trace.deviate("a value whose text is known: " + keyPath + "\\" + valueName);
    return text->second;
}

// A user's own account; the well-known short ones are none.
bool isUserSid(const std::string& sid) {
    if (!sid.starts_with("S-1-")) return false;
    size_t dash = 0;
    for (int i = 0; i < 4 && dash != std::string::npos; ++i)
        dash = sid.find('-', dash + 1);
    return dash != std::string::npos;
}

void readProfile(TraceReader& trace, RunFacts& facts, const KeyModel& list, const std::string& sid) {
    const KeyModel key(trace, list.handle(), sid);
    const std::string folder = readText(trace, facts, key,
                                        std::string(kMachine) + "\\" + kProfileList + "\\" + sid,
                                        "ProfileImagePath");
    trace.line("Profile dir is : " + folder + ".");
    const standin::Call& attributes = trace.call("GetFileAttributesW", {::quoted(folder)});
    if (!attributes.failed && (std::stoul(attributes.result, nullptr, 16) & kDirectory) != 0) {
        trace.passOver();  // a user whose entry could not be made has none
        facts.profiles[sid] = folder;
    } else {
        trace.line("Skipping since directory " + folder + " is not present.");
    }
}

void readProfileList(TraceReader& trace, RunFacts& facts) {
    const KeyModel list(trace, kMachine, kProfileList);
    for (const std::string& sid : list.enumerateSubKeys()) {
        trace.line("For user : " + sid + " getting profile dir.");
        if (!isUserSid(sid)) continue;
        trace.line("For Valid User SID : " + sid + " getting profile dir.");
        try {
            readProfile(trace, facts, list, sid);
        } catch (const StandardException& exception) {
            trace.line("For user : " + sid + " getting profile dir failed with : " + exception.what);
        }
    }
}

// Empty if it is unknown: nothing is replaced then.
std::string readOwnProfile(TraceReader& trace) {
    const standin::Call& asked = trace.call("SHGetFolderPathW", {"null", "0x28", "null", "0"});
    if (asked.failed) {
        trace.line("Unable to locate Users Profile (CSIDL_PROFILE) ");
        return "";
    }
    const std::string profile = unquoted(asked.arguments[4]);
    trace.line("Users Profile (CSIDL_PROFILE) succeded and its value is: " + profile);
    return profile;
}

// Fills `folder`: what it holds when an exception leaves is what the caller gets.
void readLocalAppData(TraceReader& trace, const RunFacts& facts, const std::string& sid,
                      const std::string& current, std::string& folder) {
    const auto user = facts.profiles.find(sid);
    if (user == facts.profiles.end()) return;
    const std::string& profile = user->second;
    trace.line("Trying to fetch local appdata folder on user SID : " + sid +
               " with ProfilePath : " + profile);
    if (readUserFolder(trace, facts, sid + kShellFoldersKey, "Local AppData", folder)) {
        trace.line("AppData in Shell Folders = " + folder);
        return;
    }
    trace.line("NO AppData in Shell Folders");
    if (readUserFolder(trace, facts, sid + kUserShellFoldersKey, "Local AppData", folder)) {
        trace.line("AppData in User Shell Folders = " + folder);
        replaceProfilePrefix(trace, facts.isEnterprise, current, profile, folder);
        return;
    }
    trace.line("NO AppData in User Shell Folders");
    if (!facts.isEnterprise) return;
    folder = profile + "\\AppData\\Local";
    if (!trace.ok("PathFileExistsW", {::quoted(folder)})) folder.clear();
    trace.line("fetching AppData Local failed and assuming it as the default one = " + folder);
}

}  // namespace

const std::map<std::string, std::string>& readUserProfiles(TraceReader& trace, RunFacts& facts) {
    if (!facts.profiles.empty()) return facts.profiles;
    trace.passOver();
    try {
        readProfileList(trace, facts);
    } catch (const StandardException& exception) {
        trace.line("Caught std::exception with reason " + exception.what + ".");
    }
    return facts.profiles;
}

std::string readLoggedOnUserSid(TraceReader& trace, RunFacts& facts) {
    if (!facts.loggedOnSid.empty()) return facts.loggedOnSid;
    trace.passOver();
    try {
        const KeyModel key(trace, kMachine, kLogonUi);
        facts.loggedOnSid = readText(trace, facts, key, std::string(kMachine) + "\\" + kLogonUi,
                                     "SelectedUserSID");
        trace.line("Logged on user SID : " + facts.loggedOnSid);
    } catch (const StandardException& exception) {
        trace.line("Caught std::exception while reading loggedOnUserSID with reason " +
                   exception.what);
    }
    return facts.loggedOnSid;
}

std::string readLocalAppDataFolderOf(TraceReader& trace, RunFacts& facts, const std::string& sid) {
    readUserProfiles(trace, facts);
    const std::string current = readOwnProfile(trace);
    std::string folder;
    try {
        readLocalAppData(trace, facts, sid, current, folder);
    } catch (const StandardException&) {
        trace.line("fetching AppData Local failed for user = " + sid);
    }
    return folder;
}

bool readUserFolder(TraceReader& trace, const RunFacts& facts, const std::string& key,
                    const std::string& valueName, std::string& folder) {
    trace.passOver();
    try {
        const KeyModel open(trace, "HKEY_USERS", key);
        folder = readText(trace, facts, open, "HKEY_USERS\\" + key, valueName);
        return true;
    } catch (const StandardException& exception) {
        trace.line("Caught std::exception while reading " + valueName + " folder with Key " + key +
                   " with reason " + exception.what);
        return false;
    }
}

void replaceProfilePrefix(TraceReader& trace, bool isEnterprise, const std::string& current,
                          const std::string& profile, std::string& folder) {
    std::u16string text = toUtf16(folder);
    if (isEnterprise) {
        const size_t first = text.find_first_of(u"Users\\");
        if (first == 0 || first == std::u16string::npos) return;
        const size_t end = text.find(u'\\', first + 7);
        if (end == std::u16string::npos) return;
        trace.line("AppData in Folders before profile replace = " + narrow(text.substr(0, end)));
        folder = narrow(text.replace(0, end, toUtf16(profile)));
        trace.line("AppData in Folders after replace = " + folder);
        return;
    }
    const std::u16string own = toUtf16(current);
    if (own.empty() || text.empty() || own.find(text.front()) == std::u16string::npos) return;
    if (current == profile) return;
    folder = narrow(text.replace(0, own.size(), toUtf16(profile)));
}
