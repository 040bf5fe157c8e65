#include "sweep/SweepRun.h"

#include "support/Files.h"
#include "sweep/WorldFacts.h"

namespace {

void addValues(const ScratchRegistry& registry, HKEY root, const std::wstring& path,
               std::map<std::wstring, RegistryValue>& values) {
    for (const auto& [name, value] : registry.values(root, path))
        values[path + L"\\" + name] = value;
    for (const std::wstring& name : registry.subKeys(root, path))
        addValues(registry, root, path + L"\\" + name, values);
}

}  // namespace

std::map<std::wstring, std::string> below(const Snapshot& snapshot, const std::wstring& folder) {
    std::map<std::wstring, std::string> entries;
    for (const auto& [name, bytes] : snapshot.tree) {
        if (name.starts_with(folder + L"\\")) entries[name.substr(folder.size() + 1)] = bytes;
    }
    return entries;
}

std::wstring relativeTo(const World& world, const std::wstring& path) {
    const std::wstring root = world.path(L"");
    return path.starts_with(root) ? path.substr(root.size()) : path;
}

SweepStage::SweepStage(const SweepWorld& kind) : m_kind(kind) {
    kind.make(m_stage.world);
    if (kind.isFinished) m_stage.launch(kind.arguments);
}

Snapshot SweepStage::snapshot() const {
    const std::wstring pluginStatus = m_stage.world.roaming(m_kind.users.front()) +
                                      L"\\Velta\\RXP\\Plugins\\External\\.pluginsMigrationStatus.json";
    const bool isHidden = exists(pluginStatus) &&
                          (attributesOf(pluginStatus) & FILE_ATTRIBUTE_HIDDEN) != 0;
    Snapshot snapshot;
    snapshot.tree = listTree(m_stage.scratch.path());
    snapshot.isPluginStatusHidden = isHidden;
    const ScratchRegistry& registry = m_stage.registry;
    const std::wstring appModel =
        L"Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\SystemAppData\\";
    const auto addKeys = [&](const std::wstring& family, auto& values) {
        if (registry.hasKey(HKEY_CLASSES_ROOT, appModel + family))
            addValues(registry, HKEY_CLASSES_ROOT, appModel + family, values);
        for (const WorldUser& user : m_kind.users) {
            const std::wstring classes = user.sid + L"\\SOFTWARE\\Classes\\" + appModel + family;
            if (registry.hasKey(HKEY_USERS, classes))
                addValues(registry, HKEY_USERS, classes, values);
        }
    };
    addKeys(L"Velta.LC.QK_qzw4mhtrvb2ne", snapshot.oldKeys);
    addKeys(L"Velta.QK_kt83f9rd2xj6a", snapshot.newKeys);
    const std::wstring dumps =
        L"SOFTWARE\\Microsoft\\Windows\\Windows Error Reporting\\LocalDumps\\QK.exe";
    if (registry.hasKey(HKEY_LOCAL_MACHINE, dumps))
        snapshot.dumps = registry.values(HKEY_LOCAL_MACHINE, dumps);
    const standin::MachineState& state = m_stage.world.state;
    for (const standin::InstalledPackage& package : state.packages)
        snapshot.packages.insert(package.fullName);
    if (state.network) {
        for (const standin::ExemptSid& exempt : state.network->exempt)
            snapshot.exempt.insert(exempt.sid);
    }
    const size_t root = m_stage.world.path(L"").size();
    for (const auto& [path, security] : state.fileSecurity)
        snapshot.security[path.substr(std::min(root, path.size()))] = security;
    return snapshot;
}

SweepRun SweepStage::run(const std::string& faults) {
    SweepRun run;
    run.world = &m_kind;
    run.before = snapshot();
    run.facts = factsOf(m_stage.world, run.before.tree, m_kind.arguments);
    run.facts.isPluginStatusHidden = run.before.isPluginStatusHidden;
    run.result = m_stage.launch(m_kind.arguments, faults);
    run.calls = m_stage.trace();
    run.after = snapshot();
    const auto written = run.after.tree.find(L"Installer\\lsdkConfiguratorLog.txt");
    if (written != run.after.tree.end())
        run.logWritten = written->second.substr(m_stage.logBytesBefore);
    // Without the program's own path the log lies in the working folder.
    const auto elsewhere = run.after.tree.find(L"lsdkConfiguratorLog.txt");
    if (elsewhere != run.after.tree.end() && !run.before.tree.contains(elsewhere->first))
        run.logWritten += elsewhere->second;
    return run;
}
