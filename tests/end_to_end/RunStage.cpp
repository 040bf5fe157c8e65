#include "end_to_end/RunStage.h"

#include "support/Files.h"
#include "support/KeptLogs.h"

std::wstring RunStage::buildFolder() {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring file = path;
    return file.substr(0, file.find_last_of(L'\\'));
}

std::wstring RunStage::shortFolder() {
    // Of one length, so that paths are, and with them what a run allocates.
    std::wstring name(4, L'0');
    DWORD id = ::GetCurrentProcessId();
    for (wchar_t& digit : name) {
        digit = L"0123456789abcdefghijklmnopqrstuvwxyz"[id % 36];
        id /= 36;
    }
    return L"C:\\w" + name;
}

RunStage::RunStage() {
    for (const wchar_t* file : {L"\\LSDKConfigurator.exe", L"\\LSDKConfiguratorHelper.exe"}) {
        writeFile(world.installer() + file, readFile(buildFolder() + file));
    }
}

standin::LaunchResult RunStage::launch(const std::wstring& arguments, const std::string& faults) {
    logBytesBefore = exists(logFile()) ? readFile(logFile()).size() : 0;
    standin::writeMachine(m_machineFile, world.state);
    standin::Launch start;
    start.program = world.installer() + L"\\LSDKConfigurator.exe";
    start.commandTail = arguments;
    start.machineFile = m_machineFile;
    start.traceFile = m_traceFile;
    start.faults = faults;
    start.timeout = timeout;
    start.environment[L"USERPROFILE"] = world.path(L"admin");
    start.workingFolder = scratch.path();
    const standin::LaunchResult result = standin::launch(start);
    world.state = standin::readMachine(m_machineFile);
    keepRun(logFile(), logBytesBefore, m_traceFile, result, faults);
    return result;
}
