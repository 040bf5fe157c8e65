#include "Launcher.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "Machine.h"
#include "ProcessStart.h"
#include "Text.h"

namespace standin {

namespace {

class Handle {
public:
    explicit Handle(HANDLE handle) : m_handle(handle) {}
    ~Handle() {
        if (m_handle != nullptr) ::CloseHandle(m_handle);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    HANDLE get() const { return m_handle; }

private:
    HANDLE m_handle;
};

std::vector<nlohmann::json> linesOf(const std::wstring& traceFile) {
    std::vector<nlohmann::json> lines;
    std::ifstream file(traceFile.c_str(), std::ios::binary);
    for (std::string line; std::getline(file, line);)
        lines.push_back(nlohmann::json::parse(line));
    return lines;
}

std::wstring fullPath(const std::wstring& path) {
    if (path.empty()) return path;
    wchar_t full[MAX_PATH] = {};
    ::GetFullPathNameW(path.c_str(), MAX_PATH, full, nullptr);
    return full;
}

// What the closing line says, if the process came to write one.
void readClosingLine(const std::wstring& traceFile, LaunchResult& result) {
    const auto lines = linesOf(traceFile);
    if (lines.empty() || !lines.back().contains("ended")) return;
    const nlohmann::json& closing = lines.back();
    result.endedNormally = true;
    closing.at("leaks").get_to(result.leaks);
    closing.at("doubleReleases").get_to(result.doubleReleases);
    closing.at("misuse").get_to(result.misuse);
    closing.at("unfiredFaults").get_to(result.unfiredFaults);
    closing.at("allocations").get_to(result.allocations);
}

}  // namespace

LaunchResult launch(const Launch& launch) {
    const Untraced untraced;
    if (launch.traceFile.empty()) throw std::runtime_error("a trace file must be named");
    ProcessStart start;
    start.program = launch.program;
    start.commandLine = L'"' + launch.program + L'"';
    if (!launch.commandTail.empty()) start.commandLine += L' ' + launch.commandTail;
    // A program that this one starts may have another working folder.
    start.machineFile = fullPath(launch.machineFile);
    start.traceFile = fullPath(launch.traceFile);
    start.faults = launch.faults;
    start.environment = launch.environment;
    start.workingFolder = launch.workingFolder;

    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started = {};
    bool hasStarted = false;
    try {
        hasStarted = startProcess(start, startup, started);
    } catch (const std::runtime_error& error) {
        const auto lines = linesOf(launch.traceFile);
        if (lines.empty() || !lines.back().contains("mountFailure")) throw;
        throw std::runtime_error(error.what() +
                                 (": " + lines.back().at("mountFailure").get<std::string>()));
    }
    if (!hasStarted) {
        throw std::runtime_error("the program does not start: " + toUtf8(launch.program) +
                                 ": error " + std::to_string(::GetLastError()));
    }
    const Handle process(started.hProcess);
    const Handle thread(started.hThread);

    LaunchResult result;
    const auto timeout = static_cast<DWORD>(launch.timeout.count());
    result.timedOut = ::WaitForSingleObject(process.get(), timeout) == WAIT_TIMEOUT;
    if (result.timedOut) {
        ::TerminateProcess(process.get(), 1);
        ::WaitForSingleObject(process.get(), INFINITE);
    }
    ::GetExitCodeProcess(process.get(), &result.exitCode);
    readClosingLine(launch.traceFile, result);
    if (!start.machineFile.empty()) writeMachine(start.machineFile, readMachine(start.machineFile));
    return result;
}

std::vector<Call> readTrace(const std::wstring& traceFile) {
    const Untraced untraced;
    std::vector<Call> calls;
    for (const nlohmann::json& line : linesOf(traceFile)) {
        if (!line.contains("call")) continue;
        calls.push_back({.number = line.at("n"),
                         .name = line.at("call"),
                         .arguments = line.at("arguments"),
                         .result = line.at("result"),
                         .failed = line.value("failed", false),
                         .error = line.value("error", DWORD{0}),
                         .hasError = line.contains("error"),
                         .injected = line.value("injected", false)});
    }
    return calls;
}

}  // namespace standin
