#pragma once

#include "run/ConfiguratorRun.h"
#include "stand-in/Launcher.h"

// The release executable, byte for byte the one that ships, on a small machine. What its end looks
// like can only be seen from outside.
class ProcessRun : public ::testing::Test {
protected:
    ProcessRun();

    // Runs the executable with this tail of its command line, verbatim. Afterwards `state` is what
    // the run left.
    standin::LaunchResult launch(const std::wstring& commandTail, const std::string& faults = "");
    standin::LaunchResult launchTypically(const std::string& faults = "") {
        return launch(L"40.1.0.0 Velta.QK QK.exe ZRKL", faults);
    }

    // The calls of the last run.
    std::vector<std::string> calls() const;
    std::string lastCall() const { return calls().back(); }
    std::vector<std::string> steps() const { return stepsOf(calls()); }
    bool wasCalled(const std::string& name) const;

    std::wstring program() const { return scratch / L"LSDKConfigurator.exe"; }
    std::wstring logPath() const { return scratch / L"lsdkConfiguratorLog.txt"; }
    std::string log() const { return withoutTimes(readFile(logPath())); }

    ScratchFolder scratch;
    ScratchRegistry registry;
    standin::MachineState state;

private:
    ScratchFolder m_files;
};
