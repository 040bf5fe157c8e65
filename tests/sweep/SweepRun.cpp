#include "sweep/SweepRun.h"

#include "support/Files.h"
#include "sweep/WorldFacts.h"

SweepStage::SweepStage(const SweepWorld& kind) : m_kind(kind) {
    kind.make(m_stage.world);
    if (kind.isFinished) m_stage.launch(kind.arguments);
}

Snapshot SweepStage::snapshot() const {
    const std::wstring pluginStatus = m_stage.world.roaming(m_kind.users.front()) +
                                      L"\\Velta\\RXP\\Plugins\\External\\.pluginsMigrationStatus.json";
    const bool isHidden = exists(pluginStatus) &&
                          (attributesOf(pluginStatus) & FILE_ATTRIBUTE_HIDDEN) != 0;
    return {listTree(m_stage.scratch.path()), isHidden};
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
    const std::wstring log = L"Installer\\lsdkConfiguratorLog.txt";
    const auto written = run.after.tree.find(log);
    if (written != run.after.tree.end())
        run.logWritten = written->second.substr(m_stage.logBytesBefore);
    return run;
}
