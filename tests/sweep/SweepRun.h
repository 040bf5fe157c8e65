#pragma once

#include <map>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "end_to_end/RunStage.h"
#include "sweep/SweepWorlds.h"
#include "sweep/model/RunFacts.h"

// What a world holds at one moment, as far as the checks of a sweep look at it.
struct Snapshot {
    std::map<std::wstring, std::string> tree;  // as listTree gives it, of the world's whole folder
    bool isPluginStatusHidden = false;
    std::map<std::wstring, RegistryValue> oldKeys;  // values of the older package's keys, by path
    std::map<std::wstring, RegistryValue> newKeys;  // of the new package's
    std::map<std::wstring, RegistryValue> dumps;    // values of the crash dump key
    std::set<std::wstring> packages;                // full names
    std::set<std::wstring> exempt;                  // SIDs
    std::map<std::wstring, standin::FileSecurity> security;  // by path in the world's folder
};

// A folder of the world, as "", and what lies below it, by path relative to it; folders end with a backslash.
std::map<std::wstring, std::string> below(const Snapshot& snapshot, const std::wstring& folder);

// A path of the world, as the trees of snapshots have it; another one as it is.
std::wstring relativeTo(const World& world, const std::wstring& path);

// One run of the executable in a sweep's world, with all that its checks look at.
struct SweepRun {
    const SweepWorld* world = nullptr;
    Snapshot before;
    Snapshot after;
    standin::LaunchResult result;
    std::vector<standin::Call> calls;
    std::string logWritten;  // the bytes that this run added to the log
    RunFacts facts;          // filled by the model that read the run
};

// A fresh world of that kind, in which runs follow one another.
class SweepStage {
public:
    explicit SweepStage(const SweepWorld& kind);

    // `faults` as the launcher reads them.
    SweepRun run(const std::string& faults = "");

    const World& world() const { return m_stage.world; }
    const SweepWorld& kind() const { return m_kind; }

private:
    Snapshot snapshot() const;

    const SweepWorld& m_kind;
    RunStage m_stage;
};

// A case of a sweep: a world and the faults of its run, as one text "typical #57=5".
struct SweepCase {
    std::string world;
    std::string faults;

    std::string text() const { return world + " " + faults; }
    friend std::ostream& operator<<(std::ostream& stream, const SweepCase& sweepCase) {
        return stream << sweepCase.text();
    }
};

// Everything that is wrong with a run, each as one text with what was seen; nothing: it did as it
// must. `clean` is the run without faults in the same world. A run that was killed is judged by
// what it had done by then.
std::vector<std::string> judge(SweepRun& run, const SweepRun& clean, const World& world);
