#include "run/ProcessRun.h"

#include <algorithm>

#include "support/KeptLogs.h"

namespace {

// The folder of this program, where the executable is built too.
std::wstring buildFolder() {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring file = path;
    return file.substr(0, file.find_last_of(L'\\'));
}

}  // namespace

ProcessRun::ProcessRun() {
    makeMachine(state, scratch, registry);
    writeFile(program(), readFile(buildFolder() + L"\\LSDKConfigurator.exe"));
}

standin::LaunchResult ProcessRun::launch(const std::wstring& commandTail, const std::string& faults) {
    standin::writeMachine(m_files / L"machine.json", state);
    standin::Launch launch;
    launch.program = program();
    launch.commandTail = commandTail;
    launch.machineFile = m_files / L"machine.json";
    launch.traceFile = m_files / L"trace.jsonl";
    launch.faults = faults;
    launch.workingFolder = scratch.path();
    const std::wstring log = scratch / L"lsdkConfiguratorLog.txt";
    WIN32_FILE_ATTRIBUTE_DATA before = {};
    ::GetFileAttributesExW(log.c_str(), GetFileExInfoStandard, &before);
    const standin::LaunchResult result = standin::launch(launch);
    keepRun(log, before.nFileSizeLow, launch.traceFile, result, faults);
    state = standin::readMachine(m_files / L"machine.json");
    EXPECT_FALSE(result.timedOut);
    return result;
}

std::vector<std::string> ProcessRun::calls() const {
    std::vector<std::string> texts;
    for (const standin::Call& call : standin::readTrace(m_files / L"trace.jsonl"))
        texts.push_back(call.text());
    return texts;
}

bool ProcessRun::wasCalled(const std::string& name) const {
    const auto all = calls();
    return std::any_of(all.begin(), all.end(),
                       [&](const std::string& call) { return call.starts_with(name + "("); });
}
