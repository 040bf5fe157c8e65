// The checks of what becomes of plug-ins and their settings.
#include <algorithm>
#include <array>

#include "stand-in/Text.h"
#include "sweep/Checks.h"
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

std::set<std::wstring> foldersIn(const Snapshot& snapshot, const std::wstring& folder) {
    std::set<std::wstring> names;
    for (const auto& [name, bytes] : below(snapshot, folder))
        if (!name.empty() && name.find(L'\\') == name.size() - 1)
            names.insert(name.substr(0, name.size() - 1));
    return names;
}

// Where plug-ins, or their settings, are and where they go.
struct PluginLocation {
    std::wstring oldFolder;
    std::wstring newFolder;
    std::wstring tail;  // of a plug-in's own folder in the new one
};

// Plug-ins first.
std::array<PluginLocation, 2> pluginLocations(const SweepRun& run, const World& world) {
    const std::wstring localState = world.newPackage(run.world->users.front()) + L"\\LocalState\\";
    const std::wstring rxp = world.roaming(run.world->users.front()) + L"\\Velta\\RXP\\";
    return {{{localState + L"plugins", rxp + L"Plugins\\External", L""},
             {localState + L"plugin_settings", rxp + L"PluginsStorage\\ZRKL\\External",
              L"\\PluginData"}}};
}

// An old location goes only behind the record, and only if all of it has been reported copied.
void checkPluginDeletes(const SweepRun& run, const World& world, Problems& problems) {
    const auto locations = pluginLocations(run, world);
    bool wasRecorded = false;  // since the last copy
    bool arePluginsDeleted = false;
    bool areSettingsDeleted = false;
    bool hasFailed = false;
    std::set<std::wstring> complete;  // paths of copies that the shell has reported complete
    for (const standin::Call& call : run.calls) {
        hasFailed |= call.injected;
        if (call.name == "_wfopen" && call.arguments.at(1).starts_with("\"w") &&
            call.arguments.at(0).find(".pluginsMigrationStatus.json") != std::string::npos) {
            wasRecorded = true;
        }
        if (call.name != "SHFileOperationW") continue;
        const std::wstring from = withoutEnd(shellPath(call.arguments.at(2)));
        if (call.arguments.at(1) == "func=2") {
            wasRecorded = false;
            if (!call.failed) complete.insert(from + L">" + shellPath(call.arguments.at(3)));
            continue;
        }
        for (const PluginLocation& location : locations) {
            if (from.starts_with(location.oldFolder + L"\\"))
                problems.push_back("a part of the old location is deleted: " + call.text());
            if (from != location.oldFolder) continue;
            if (!wasRecorded) problems.push_back("deleted before the record: " + call.text());
            const bool isPlugins = &location == &locations[0];
            if (isPlugins && areSettingsDeleted)
                problems.push_back("settings are deleted before plug-ins: " + call.text());
            (isPlugins ? arePluginsDeleted : areSettingsDeleted) = true;
            const std::set<std::wstring> unlisted = unlistedPlugins(run, world, from);
            for (const std::wstring& name : foldersIn(run.before, relativeTo(world, from))) {
                if (unlisted.contains(name)) continue;
                if (!complete.contains(from + L"\\" + name + L">" + location.newFolder + L"\\" +
                                       name + location.tail))
                    problems.push_back("deleted without a complete copy: " + toUtf8(name));
            }
        }
    }
    // A path that is not there, or cannot be made, is passed over.
    if (areSettingsDeleted && !arePluginsDeleted && !hasFailed &&
        !foldersIn(run.before, relativeTo(world, locations[0].oldFolder)).empty())
        problems.push_back("settings are deleted and plug-ins are not");
}

// Each plug-in that is not in its old place any more is whole in the new one.
void checkPluginCopies(const SweepRun& run, const World& world, Problems& problems) {
    for (const PluginLocation& location : pluginLocations(run, world)) {
        const std::wstring old = relativeTo(world, location.oldFolder);
        const std::set<std::wstring> unlisted = unlistedPlugins(run, world, location.oldFolder);
        for (const std::wstring& name : foldersIn(run.before, old)) {
            if (unlisted.contains(name)) continue;
            const auto original = below(run.before, old + L"\\" + name);
            if (below(run.after, old + L"\\" + name) == original) continue;
            const std::wstring target = relativeTo(world, location.newFolder) + L"\\" + name;
            const auto copy = below(run.after, target);
            const std::wstring tail = location.tail.empty() ? L"" : location.tail.substr(1) + L"\\";
            // Required: what is copied to a folder that is there arrives inside it, under its own name.
            const bool isInside = run.before.tree.contains(target + location.tail + L"\\");
            for (const auto& [entry, bytes] : original) {
                std::vector<std::wstring> places = {tail + (isInside ? name + L"\\" : L"") + entry};
                // Storages stand beside "PluginData" at the end.
                if (entry.starts_with(L"LocalStorage\\") || entry.starts_with(L"SecureStorage\\"))
                    places.push_back(entry);
                const bool isKept = std::any_of(places.begin(), places.end(), [&](const auto& place) {
                    const auto found = copy.find(place);
                    return found != copy.end() && found->second == bytes;
                });
                if (!isKept)
                    problems.push_back("lost of a plug-in: " + toUtf8(name + L"\\" + entry));
            }
        }
    }
}

}  // namespace

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
    checkPluginDeletes(run, world, problems);
    checkPluginCopies(run, world, problems);
}
