#include "sweep/Checks.h"

#include <algorithm>
#include <map>
#include <set>

#include "stand-in/Text.h"
#include "sweep/model/TraceReader.h"

namespace {

using standin::toUtf8;
using standin::toWide;

// The path of a shell operation's argument: from="C:\a\0\0".
std::wstring shellPath(const std::string& argument) {
    const size_t begin = argument.find('"');
    if (begin == std::string::npos) return L"";
    return toWide(argument.substr(begin + 1, argument.find("\\0", begin) - begin - 1));
}

std::wstring withoutEnd(std::wstring path) {
    while (path.ends_with(L'\\'))
        path.pop_back();
    return path;
}

std::wstring relativeTo(const World& world, const std::wstring& path) {
    const std::wstring root = world.path(L"");
    return path.starts_with(root) ? path.substr(root.size()) : path;
}

// What lies below a folder, by path relative to it.
std::map<std::wstring, std::string> below(const Snapshot& snapshot, const std::wstring& folder) {
    std::map<std::wstring, std::string> entries;
    for (const auto& [name, bytes] : snapshot.tree) {
        if (name.starts_with(folder + L"\\")) entries[name.substr(folder.size() + 1)] = bytes;
    }
    return entries;
}

std::set<std::wstring> foldersIn(const Snapshot& snapshot, const std::wstring& folder) {
    std::set<std::wstring> names;
    for (const auto& [name, bytes] : below(snapshot, folder))
        if (name.find(L'\\') == name.size() - 1) names.insert(name.substr(0, name.size() - 1));
    return names;
}

// Where a path that could not be built whole has led the copy of the file; empty if none could not.
std::wstring copyOf(const SweepRun& run, const World& world, const std::wstring& name) {
    std::wstring place;
    bool isPathShort = false;
    for (const standin::Call& call : run.calls) {
        isPathShort |= call.injected && call.name == "PathCchAppend";
        if (isPathShort && call.name == "CopyFileW" && !call.failed &&
            toWide(unquoted(call.arguments[0])) == world.path(name)) {
            place = relativeTo(world, toWide(unquoted(call.arguments[1])));
        }
    }
    return place;
}

bool isRelease(const standin::Call& call) {
    return call.name == "LocalFree" || call.name == "RegCloseKey" ||
           call.name == "GetSystemTimeAsFileTime";
}

// What a sweep let no call give back.
bool isKeptByFailedRelease(const SweepRun& run, const std::string& leak) {
    const std::set<std::string> releases = {"CloseHandle", "FindClose", "RegCloseKey",
                                            "LocalFree",   "HeapFree",  "FreeLibrary"};
    return std::any_of(run.calls.begin(), run.calls.end(), [&](const standin::Call& call) {
        if (!call.injected) return false;
        if (call.name == "WindowsDeleteString") return leak.starts_with("string#");
        return releases.contains(call.name) && call.arguments.back() == leak;
    });
}

// Required: the memory of a well-known SID that could not be made is not released.
bool isOfFailedSid(const SweepRun& run, const std::string& leak) {
    for (size_t i = 1; i + 1 < run.calls.size(); ++i) {
        const standin::Call& call = run.calls[i];
        if (call.name != "CreateWellKnownSid" || !call.failed || run.calls[i - 1].result != leak)
            continue;
        const auto line = std::find_if(
            run.calls.begin() + static_cast<ptrdiff_t>(i), run.calls.end(),
            [](const standin::Call& next) { return next.name == "_write"; });
        if (line != run.calls.end() &&
            line->arguments[1].find("Can't create well known sid ") != std::string::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace

void checkBeginning(const SweepRun& run, const SweepRun& clean, Problems& problems) {
    for (size_t i = 0; i < run.calls.size(); ++i) {
        if (run.calls[i].injected) return;
        if (i >= clean.calls.size() || run.calls[i].text() != clean.calls[i].text()) {
            // The trace shows a pointer's value, and a torn call has no result.
            if (run.calls[i].text().find("User.Sid :0x") != std::string::npos) continue;
            if (run.calls[i].result == "does not return") return;
            problems.push_back("before anything has failed the run differs: " + run.calls[i].text());
            return;
        }
    }
}

void checkOldKeys(const SweepRun& run, Problems& problems) {
    if (run.after.oldKeys != run.before.oldKeys)
        problems.push_back("the old package's keys have changed");
}

void checkOldTree(const SweepRun& run, const World& world, Problems& problems) {
    for (const WorldUser& user : run.world->users) {
        const std::wstring old = relativeTo(world, world.oldPackage(user));
        if (below(run.before, old) != below(run.after, old))
            problems.push_back("the old package's files have changed: " + toUtf8(old));
    }
}

void checkMovedFiles(const SweepRun& run, const World& world, Problems& problems) {
    for (const WorldUser& user : run.world->users) {
        const std::wstring old = relativeTo(world, world.oldPackage(user));
        const auto newFiles = below(run.after, relativeTo(world, world.newPackage(user)));
        const auto oldFiles = below(run.after, old);
        for (const auto& [name, bytes] : below(run.before, old)) {
            if (name.ends_with(L'\\')) continue;
            const auto kept = oldFiles.find(name);
            const auto moved = newFiles.find(name);
            const bool isKept = kept != oldFiles.end() && kept->second == bytes;
            const bool isMoved = moved != newFiles.end() && moved->second == bytes;
            // Required: where a component cannot be added to a path, the file goes to the path that is left.
            const auto elsewhere = run.after.tree.find(copyOf(run, world, old + L"\\" + name));
            const bool isElsewhere = elsewhere != run.after.tree.end() && elsewhere->second == bytes;
            if (!isKept && !isMoved && !isElsewhere)
                problems.push_back("lost: " + toUtf8(old + L"\\" + name));
        }
    }
    std::string copied;  // by the call before
    for (const standin::Call& call : run.calls) {
        if (isRelease(call)) continue;
        if (call.name == "DeleteFileW" &&
            call.arguments[0].find("\\Packages\\") != std::string::npos &&
            call.arguments[0] != copied) {
            problems.push_back("not behind its copy: " + call.text());
        }
        copied = call.name == "CopyFileW" && !call.failed ? call.arguments[0] : "";
    }
}

std::set<std::wstring> unlistedPlugins(const SweepRun& run, const World& world,
                                       const std::wstring& folder) {
    const std::string location = toUtf8(folder) + "\\";
    std::set<std::wstring> names = foldersIn(run.before, relativeTo(world, folder));
    std::string search;
    bool hasFailed = false;
    for (const standin::Call& call : run.calls) {
        const bool isFirst = call.name == "FindFirstFileW" &&
                             call.arguments[0] == quoted(location + "*");
        const bool isNext = call.name == "FindNextFileW" && call.arguments[0] == search;
        const bool isTest = call.name == "PathFileExistsW" && call.arguments[0] == quoted(location);
        if (!isFirst && !isNext && !isTest) continue;
        hasFailed |= call.injected;
        if (call.failed || isTest) continue;
        if (isFirst) search = call.result;
        names.erase(toWide(unquoted(call.arguments[1])));
    }
    if (!hasFailed) names.clear();
    return names;
}

void checkPlugins(const SweepRun& run, const World& world, Problems& problems) {
    const std::wstring localState = world.newPackage(run.world->users.front()) + L"\\LocalState\\";
    const std::wstring rxp = world.roaming(run.world->users.front()) + L"\\Velta\\RXP\\";
    struct Kind {
        std::wstring oldFolder;
        std::wstring newFolder;
        std::wstring tail;
    };
    const Kind kinds[] = {
        {localState + L"plugins", rxp + L"Plugins\\External", L""},
        {localState + L"plugin_settings", rxp + L"PluginsStorage\\ZRKL\\External", L"\\PluginData"}};
    bool wasRecorded = false;
    bool arePluginsDeleted = false;
    std::set<std::wstring> complete;  // paths of copies that the shell has reported complete
    for (const standin::Call& call : run.calls) {
        if (call.name == "_wfopen" && call.arguments[1].starts_with("\"w") &&
            call.arguments[0].find(".pluginsMigrationStatus.json") != std::string::npos) {
            wasRecorded = true;
        }
        if (call.name != "SHFileOperationW") continue;
        const bool isCopy = call.arguments[0].find("func=2") != std::string::npos;
        const std::wstring from = withoutEnd(shellPath(call.arguments[0]));
        if (isCopy) {
            const size_t to = call.arguments[0].find("to=");
            if (!call.failed && to != std::string::npos)
                complete.insert(from + L">" + shellPath(call.arguments[0].substr(to)));
            continue;
        }
        for (const Kind& kind : kinds) {
            if (from != kind.oldFolder) {
                if (from.starts_with(kind.oldFolder))
                    problems.push_back("a part of the old location is deleted: " + call.text());
                continue;
            }
            if (!wasRecorded) problems.push_back("deleted before the record: " + call.text());
            const bool isPlugins = &kind == &kinds[0];
            if (!isPlugins && !arePluginsDeleted &&
                !foldersIn(run.before, relativeTo(world, kinds[0].oldFolder)).empty()) {
                problems.push_back("settings are deleted before plug-ins: " + call.text());
            }
            arePluginsDeleted |= isPlugins;
            const std::set<std::wstring> unlisted = unlistedPlugins(run, world, from);
            for (const std::wstring& name : foldersIn(run.before, relativeTo(world, from))) {
                if (unlisted.contains(name)) continue;
                if (!complete.contains(from + L"\\" + name + L">" + kind.newFolder + L"\\" + name +
                                       kind.tail))
                    problems.push_back("deleted without a complete copy: " + toUtf8(name));
            }
        }
    }
    for (const Kind& kind : kinds) {
        const std::wstring old = relativeTo(world, kind.oldFolder);
        const std::set<std::wstring> unlisted = unlistedPlugins(run, world, kind.oldFolder);
        for (const std::wstring& name : foldersIn(run.before, old)) {
            if (unlisted.contains(name)) continue;
            const auto original = below(run.before, old + L"\\" + name);
            if (below(run.after, old + L"\\" + name) == original) continue;
            const auto copy = below(run.after, relativeTo(world, kind.newFolder) + L"\\" + name);
            for (const auto& [entry, bytes] : original) {
                // Storages stand beside "PluginData" at the end.
                const bool isStorage = entry.starts_with(L"LocalStorage\\") ||
                                       entry.starts_with(L"SecureStorage\\");
                const std::wstring tail = kind.tail.empty() ? L"" : kind.tail.substr(1) + L"\\";
                const auto found = copy.find(tail.empty() || isStorage ? entry : tail + entry);
                const auto within = copy.find(tail + entry);
                if ((found == copy.end() || found->second != bytes) &&
                    (within == copy.end() || within->second != bytes)) {
                    problems.push_back("lost of a plug-in: " + toUtf8(name + L"\\" + entry));
                }
            }
        }
    }
}

void checkLedger(const SweepRun& run, Problems& problems) {
    if (!run.result.endedNormally) return;
    for (const std::string& leak : run.result.leaks) {
        // The text of the own SID and the descriptors behind the files' lists are never released.
        const bool isMeant = leak == "memory#1" || leak.starts_with("lost descriptor#");
        if (!isMeant && !isKeptByFailedRelease(run, leak) && !isOfFailedSid(run, leak))
            problems.push_back(leak + " is still out");
    }
    for (const std::string& twice : run.result.doubleReleases)
        problems.push_back("given back twice: " + twice);
    for (const std::string& misuse : run.result.misuse)
        problems.push_back("misuse: " + misuse);
}

void checkLogOnDisk(const SweepRun& run, Problems& problems) {
    std::string expected;
    bool isOpen = false;
    for (const standin::Call& call : run.calls) {
        if (call.name == "_wfopen" && call.arguments[1] == "\"a\"") isOpen = !call.failed;
        // The first file that the run opens; without a log another one has that number.
        if (!isOpen || call.name != "_write" || call.arguments[0] != "3") continue;
        if (call.failed || call.result == "does not return") return;
        expected += unquoted(call.arguments[1]);
    }
    std::string actual;
    for (const char letter : run.logWritten) {
        const auto code = static_cast<unsigned char>(letter);
        if (letter == '\r') continue;
        if (letter == '\n') {
            actual += "\\u000A";
        } else if (letter == '\0') {
            actual += "\\0";
        } else if (code < 0x80) {
            actual += letter;
        } else {
            actual += static_cast<char>(0xC0 | (code >> 6));
            actual += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    if (actual != expected) problems.push_back("the log on disk is not what was written to it");
}
