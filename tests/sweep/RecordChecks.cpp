// The checks of what the run leaves on record: its status files, and what a later run makes of them.
#include <algorithm>

#include "stand-in/PendingCall.h"
#include "stand-in/Text.h"
#include "sweep/Checks.h"
#include "sweep/model/PluginStatusModel.h"
#include "sweep/model/PluginStatusText.h"
#include "sweep/model/TraceReader.h"

namespace {

using standin::toUtf8;

const std::string* fileIn(const Snapshot& snapshot, const std::wstring& name) {
    const auto found = snapshot.tree.find(name);
    return found == snapshot.tree.end() ? nullptr : &found->second;
}

// What the run has put into the file at that path, as the trace writes it.
struct Written {
    bool isCreated = false;
    bool isTorn = false;
    std::string text;
};

Written writtenTo(const SweepRun& run, const std::string& path) {
    Written written;
    std::string file;
    for (const standin::Call& call : run.calls) {
        if (call.name == "CreateFileW" && call.arguments[0] == quoted(path) && !call.failed) {
            written.isCreated = true;
            file = call.result;
        }
        if (call.name == "WriteFile" && !file.empty() && call.arguments[0] == file && !call.failed) {
            written.text = unquoted(call.arguments[1]);
            written.isTorn = call.result == "does not return";
        }
    }
    return written;
}

bool holds(const std::string& bytes, const Written& written) {
    std::string text = bytesAsTraced(bytes);
    for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at))
        text.replace(at, 1, "\\u000A");
    return written.isTorn ? written.text.starts_with(text) && text != written.text
                          : text == written.text;
}

bool isPluginData(const std::wstring& name) {
    return name.starts_with(L"LocalState\\plugins") ||
           name.starts_with(L"LocalState\\plugin_settings");
}

// Of each plug-in and its settings that the broken run began with, every file stands in the old place
// or, at whatever depth, in the new one. (A second copy may put a plug-in into the folder of the first.)
void checkPluginData(const SweepRun& broken, const SweepRun& again, const World& world,
                     Problems& problems) {
    const WorldUser& user = again.world->users.front();
    const std::wstring localState = relativeTo(world, world.newPackage(user)) + L"\\LocalState\\";
    const std::wstring rxp = relativeTo(world, world.roaming(user)) + L"\\Velta\\RXP\\Plugins";
    for (const std::wstring kind : {L"plugins\\", L"plugin_settings\\"}) {
        const std::set<std::wstring> unlisted = unlistedPlugins(
            broken, world,
            world.newPackage(user) + L"\\LocalState\\" + kind.substr(0, kind.size() - 1));
        for (const auto& [name, bytes] :
             below(broken.before, localState + kind.substr(0, kind.size() - 1))) {
            // Files beside the plug-ins' folders are none of theirs.
            if (name.find(L'\\') == std::wstring::npos || name.ends_with(L'\\')) continue;
            if (unlisted.contains(name.substr(0, name.find(L'\\')))) continue;
            const std::string* old = fileIn(again.after, localState + kind + name);
            const bool isKept = old != nullptr && *old == bytes;
            const bool isMoved = std::any_of(
                again.after.tree.begin(), again.after.tree.end(), [&](const auto& entry) {
                    return entry.first.starts_with(rxp) && entry.second == bytes &&
                           entry.first.ends_with(name.substr(name.find(L'\\')));
                });
            if (!isKept && !isMoved)
                problems.push_back("lost of a plug-in at the end: " + toUtf8(kind + name));
        }
    }
}

// Whether it is a folder, and a path that could not be built whole has led it elsewhere.
bool isLedElsewhere(const SweepRun& run, const SweepRun& again, const World& world,
                    const WorldUser& user, const std::wstring& name) {
    const bool isPathShort = std::any_of(
        run.calls.begin(), run.calls.end(),
        [](const standin::Call& call) { return call.injected && call.name == "PathCchAppend"; });
    if (!isPathShort || !name.ends_with(L'\\')) return false;
    const std::wstring tail = name.substr(name.find(L'\\'));
    const std::wstring local = relativeTo(world, world.localAppData(user)) + L"\\";
    const std::wstring old = relativeTo(world, world.oldPackage(user)) + L"\\";
    return std::any_of(again.after.tree.begin(), again.after.tree.end(), [&](const auto& entry) {
        return entry.first.starts_with(local) && !entry.first.starts_with(old) &&
               entry.first.ends_with(tail);
    });
}

// What no earlier run decides for good is as a run on an unbroken machine leaves it.
void checkMachine(const SweepRun& again, const SweepRun& clean, Problems& problems) {
    if (again.after.packages != clean.after.packages) problems.push_back("other packages are left");
    if (again.after.exempt != clean.after.exempt) problems.push_back("other containers are exempt");
    if (again.after.dumps != clean.after.dumps)
        problems.push_back("other crash dumps are registered");
    for (const auto& [path, security] : clean.after.security) {
        const auto found = again.after.security.find(path);
        if (found == again.after.security.end()) {
            problems.push_back("without its security: " + toUtf8(path));
        } else if (found->second != security) {
            problems.push_back("with other security: " + toUtf8(path) + ": " + textOf(found->second));
        }
    }
}

bool areSame(const std::string* a, const std::string* b) {
    return a == nullptr || b == nullptr ? a == b : *a == *b;
}

// Whether a plug-in was copied into the folder of an earlier copy, and the file stands there for
// one that a single run leaves further up, or besides. Required: what is copied to a folder that is
// there arrives inside it.
bool isOfSecondCopy(const std::wstring& name, const SweepRun& broken, const SweepRun& again,
                    const SweepRun& clean, const World& world) {
    const WorldUser& user = again.world->users.front();
    const std::wstring localState = relativeTo(world, world.newPackage(user)) + L"\\LocalState\\";
    const std::wstring rxp = relativeTo(world, world.roaming(user)) + L"\\Velta\\RXP\\";
    for (const std::wstring plugin : {L"F\u00FCller", L"Ruler"}) {
        const std::pair<std::wstring, std::wstring> copies[] = {
            {localState + L"plugins\\" + plugin, rxp + L"Plugins\\External\\" + plugin},
            {localState + L"plugin_settings\\" + plugin,
             rxp + L"PluginsStorage\\ZRKL\\External\\" + plugin + L"\\PluginData"}};
        for (const auto& [old, target] : copies) {
            if (!name.starts_with(target + L"\\") || !broken.after.tree.contains(target + L"\\"))
                continue;
            const std::wstring inside = target + L"\\" + plugin;
            if (name.starts_with(inside + L"\\"))
                return areSame(fileIn(again.after, name),
                               fileIn(broken.before, old + name.substr(inside.size())));
            const std::string* found = fileIn(again.after, inside + name.substr(target.size()));
            return found != nullptr && areSame(found, fileIn(clean.after, name)) &&
                   areSame(fileIn(again.after, name), fileIn(broken.after, name));
        }
    }
    return false;
}

// Whether the earlier run came to record its plug-ins.
bool isRecorded(const SweepRun& broken, const SweepRun& clean, const World& world) {
    const std::wstring status = relativeTo(world, world.roaming(broken.world->users.front())) +
                                L"\\Velta\\RXP\\Plugins\\External\\.pluginsMigrationStatus.json";
    return areSame(fileIn(broken.after, status), fileIn(clean.after, status));
}

// Whether the earlier run came to record its plug-ins and not to delete the old ones.
bool isOfRecordedPlugin(const std::wstring& name, const SweepRun& broken, const SweepRun& again,
                        const SweepRun& clean, const World& world) {
    const WorldUser& user = again.world->users.front();
    const std::wstring root = relativeTo(world, world.newPackage(user));
    return name.starts_with(root + L"\\") && isPluginData(name.substr(root.size() + 1)) &&
           isRecorded(broken, clean, world) &&
           areSame(fileIn(again.after, name), fileIn(broken.after, name));
}

// The whole world after a run that was ended, and one more, against that after one run.
void checkFinalTree(const SweepRun& broken, const SweepRun& again, const SweepRun& clean,
                    const World& world, Problems& problems) {
    std::set<std::wstring> names;
    for (const auto* tree : {&clean.after.tree, &again.after.tree}) {
        for (const auto& [name, bytes] : *tree)
            names.insert(name);
    }
    for (const std::wstring& name : names) {
        const std::string* wanted = fileIn(clean.after, name);
        const std::string* found = fileIn(again.after, name);
        if (wanted != nullptr && found != nullptr && *wanted == *found) continue;
        if (name.ends_with(L"\\lsdkConfiguratorLog.txt")) continue;
        // Required: a status file counts by being there, also a torn one.
        if (name.ends_with(L"\\mig_status.json") && fileIn(broken.after, name) != nullptr) continue;
        // Required: the plug-ins' record is cut to nothing before its new text exists, and what
        // other codes had in it goes.
        if (name.ends_with(L"\\.pluginsMigrationStatus.json")) {
            const std::string* cut = fileIn(broken.after, name);
            if (cut != nullptr && wanted != nullptr && *cut != *wanted && wanted->starts_with(*cut))
                continue;
        }
        if (isOfSecondCopy(name, broken, again, clean, world) ||
            isOfRecordedPlugin(name, broken, again, clean, world))
            continue;
        problems.push_back((found == nullptr    ? "missing at the end: "
                            : wanted == nullptr ? "too much at the end: "
                                                : "not the same at the end: ") +
                           toUtf8(name));
    }
}

}  // namespace

void checkStatusFiles(const SweepRun& run, const World& world, Problems& problems) {
    for (const WorldUser& user : run.world->users) {
        const std::wstring path = world.newPackage(user) + L"\\LocalState\\mig_status.json";
        const std::string* before = fileIn(run.before, relativeTo(world, path));
        const std::string* after = fileIn(run.after, relativeTo(world, path));
        const Written written = writtenTo(run, toUtf8(path));
        if ((after != nullptr) != (before != nullptr || written.isCreated)) {
            problems.push_back(toUtf8(path) + (after != nullptr ? " is there" : " is missing"));
        } else if (after != nullptr &&
                   (written.isCreated ? !holds(*after, written) : *after != *before)) {
            problems.push_back(toUtf8(path) + " holds " + *after);
        }
    }
}

void checkPluginStatus(const SweepRun& run, const World& world, Problems& problems) {
    const std::wstring path = world.roaming(run.world->users.front()) +
                              L"\\Velta\\RXP\\Plugins\\External\\.pluginsMigrationStatus.json";
    // The log is the first file that a run opens.
    const standin::Call last = run.calls.empty() ? standin::Call() : run.calls.back();
    if (last.name == "_write" && last.result == "does not return" && last.arguments.at(0) != "3") {
        const std::string* half = fileIn(run.after, relativeTo(world, path));
        const std::string whole = unquoted(last.arguments.at(1));
        if (half == nullptr || bytesAsTraced(*half).size() >= whole.size() ||
            !whole.starts_with(bytesAsTraced(*half)))
            problems.push_back("the plug-in status file does not hold the half that was written");
        return;
    }
    RunFacts facts = run.facts;
    // Without a folder for the user's plug-ins the run looked for the file elsewhere.
    if (facts.rxpAppDataPath.empty()) facts.plugins = {};
    const std::string fault = pluginStatusFault(facts, toUtf8(path),
                                                fileIn(run.after, relativeTo(world, path)));
    if (!fault.empty()) problems.push_back("the plug-in status file: " + fault);
    if (run.result.endedNormally && facts.plugins.isWriteTried &&
        facts.plugins.isHidden != run.after.isPluginStatusHidden) {
        problems.push_back(std::string("the plug-in status file is ") +
                           (run.after.isPluginStatusHidden ? "hidden" : "not hidden"));
    }
}

void checkRecovery(const SweepRun& broken, const SweepRun& again, const SweepRun& clean,
                   const World& world, Problems& problems) {
    checkPluginData(broken, again, world, problems);
    checkMachine(again, clean, problems);
    if (broken.result.exitCode == standin::kEndedByFault) {
        checkFinalTree(broken, again, clean, world, problems);
        if (again.after.newKeys != clean.after.newKeys)
            problems.push_back("other recent files at the end");
        // Required: with the record there nothing is done about plug-ins any more, its attribute included.
        if (again.after.isPluginStatusHidden != clean.after.isPluginStatusHidden &&
            !isRecorded(broken, clean, world))
            problems.push_back("the plug-in status file is not hidden at the end");
    }
    for (const WorldUser& user : again.world->users) {
        const std::wstring root = relativeTo(world, world.newPackage(user));
        const std::wstring status = root + L"\\LocalState\\mig_status.json";
        const auto data = below(again.after, root);
        // Whoever has a status file, whatever it says, has been migrated for good.
        if (fileIn(broken.after, status) != nullptr) {
            auto before = below(again.before, root);
            auto after = data;
            std::erase_if(before, [](const auto& entry) { return isPluginData(entry.first); });
            std::erase_if(after, [](const auto& entry) { return isPluginData(entry.first); });
            if (before != after)
                problems.push_back("the data of a user who was done has changed: " + toUtf8(root));
            continue;
        }
        if (fileIn(clean.after, status) == nullptr) continue;
        if (fileIn(again.after, status) == nullptr)
            problems.push_back("without a status file at the end: " + toUtf8(root));
        for (const auto& [name, bytes] : below(clean.after, root)) {
            if (isPluginData(name) || name.ends_with(L"mig_status.json")) continue;
            const auto found = data.find(name);
            if (found != data.end() && found->second == bytes) continue;
            // Required: what has been moved to the path that was left is there for good.
            const std::string* elsewhere = fileIn(
                again.after,
                copyOf(broken, world, relativeTo(world, world.oldPackage(user)) + L"\\" + name));
            const bool isMoved = elsewhere != nullptr && *elsewhere == bytes;
            if (!again.world->isEnterprise ||
                (!isMoved && !isLedElsewhere(broken, again, world, user, name)))
                problems.push_back("not made up for: " + toUtf8(root + L"\\" + name));
        }
    }
}
