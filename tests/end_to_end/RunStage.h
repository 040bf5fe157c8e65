#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "end_to_end/World.h"
#include "stand-in/Launcher.h"
#include "support/ScratchFolder.h"
#include "support/ScratchRegistry.h"

// A world of its own with the release executable and its companion in it, and runs of the
// executable on it.
class RunStage {
public:
    RunStage();

    static inline const std::wstring kTypicalArguments = L"40.1.0.0 Velta.QK QK.exe ZRKL";

    // Runs the executable with the arguments; `faults` as the launcher reads them. Afterwards
    // `world.state` is what the run left.
    standin::LaunchResult launch(const std::wstring& arguments, const std::string& faults = "");
    // The calls of the last run.
    std::vector<standin::Call> trace() const { return standin::readTrace(m_traceFile); }

    std::wstring logFile() const { return world.installer() + L"\\lsdkConfiguratorLog.txt"; }

    // The folder with what the build has made.
    static std::wstring buildFolder();

    ScratchFolder scratch{shortFolder()};
    ScratchRegistry registry;
    World world{scratch.path(), registry};
    std::chrono::milliseconds timeout = std::chrono::seconds(30);  // of a run
    size_t logBytesBefore = 0;  // of the log, when the last run began

private:
    // C:\\ and at most five characters, no other process's.
    static std::wstring shortFolder();

    ScratchFolder m_files;
    std::wstring m_machineFile = m_files / L"machine.json";
    std::wstring m_traceFile = m_files / L"trace.jsonl";
};
