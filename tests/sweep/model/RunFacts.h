#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <vector>

// How the plug-in migration went, for the checks behind the run.
struct PluginOutcome {
    enum class StatusFile { Untouched, Removed, Empty, Recorded };

    bool isNeeded = false;      // it began to move
    int result = 0;             // 0, 1 or 2, once the copying is over
    bool isWriteTried = false;  // its outcome was to be recorded
    bool isHidden = false;      // the status file at the end, once the step has begun
    StatusFile statusFile = StatusFile::Untouched;
    std::string statusText;  // what a recorded one holds
};

// A package of the machine before the run, and how an attempt to remove it ends.
struct PackageFacts {
    enum class Removal { Done, Failed, Canceled, DoneWithError };

    std::string name;
    std::string publisher;
    std::string version;  // "40.1.0.0"
    std::string fullName;
    std::string familyName;
    std::string installPath;
    std::vector<std::string> users;  // their SIDs
    Removal removal = Removal::Done;
    std::string removalError;  // HRESULT as in the trace, of a removal that fails
    std::string removalText;   // of the result of one that is done with an error
};

// An app container as network isolation lists it; texts that are missing are empty.
struct ContainerFacts {
    std::string name;
    std::string displayName;
    std::string packageFullName;
    std::string sid;
};

// The registry ignores the case of keys and names; the run's own are plain ASCII.
struct IgnoringCase {
    static char lower(char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    bool operator()(const std::string& a, const std::string& b) const {
        return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                            [](char x, char y) { return lower(x) < lower(y); });
    }
};
using RegistryTexts = std::map<std::string, std::string, IgnoringCase>;

// What the model of a run knows of the world before the run, and what one step leaves for another.
// All texts are UTF-8, as in the trace.
struct RunFacts {
    // Before the run.
    std::vector<std::string> arguments;  // from the program's own path on
    std::map<std::string, bool> entries;  // full path of all files and folders; whether it is a folder
    // Texts in the registry by root, key and value, as RegGetValueW gives them: HKEY_USERS\S-1-5-21\...
    RegistryTexts registryTexts;
    std::string pluginStatusText;  // the bytes of the plug-in status file; empty if there is none
    bool isPluginStatusHidden = false;

    std::vector<PackageFacts> packages;      // in the order of the catalogue
    std::vector<ContainerFacts> containers;  // in the order of the system
    std::vector<std::string> exemptSids;     // as in the trace: "S-1-15-2-1 attributes 0x0"

    bool isFolder(const std::string& path) const {
        const auto found = entries.find(path);
        return found != entries.end() && found->second;
    }
    bool isFile(const std::string& path) const {
        const auto found = entries.find(path);
        return found != entries.end() && !found->second;
    }

    // Left by the steps.
    bool isEnterprise = false;
    std::string tokenUserSid;
    std::string loggedOnSid;                      // empty until it has been read
    std::map<std::string, std::string> profiles;  // by SID; empty until the profile list was read
    std::string installPath;
    std::string packageFamilyName;
    std::string rxpAppDataPath;
    PluginOutcome plugins;
};
