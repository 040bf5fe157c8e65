#include <map>
#include <stdexcept>

#include "../Hook.h"
#include "../ProcessStart.h"
#include "../Text.h"
#include "LastError.h"
#include "Processes.h"
#include "Services.h"

namespace standin {

namespace {

struct Pretended {
    DWORD exitCode = 0;
    bool hasEnded = false;
};

// By process handle, while that is open.
std::map<HANDLE, Pretended>& pretendedProcesses() {
    static auto& processes = *new std::map<HANDLE, Pretended>;
    return processes;
}

Pretended* findPretended(HANDLE process) {
    const auto found = pretendedProcesses().find(process);
    return found == pretendedProcesses().end() ? nullptr : &found->second;
}

BOOL refuse(DWORD error) {
    ::SetLastError(error);
    return FALSE;
}

struct ObjectBasics {
    ULONG attributes;
    ACCESS_MASK access;
    ULONG rest[12];
};

// What CreateProcessWithTokenW asks of a token: that it is a primary one and may be queried, duplicated and assigned.
DWORD judgeToken(HANDLE token) {
    TOKEN_TYPE type = {};
    DWORD size = 0;
    if (!::GetTokenInformation(token, TokenType, &type, sizeof(type), &size))
        return ::GetLastError();
    using QueryObject = LONG(WINAPI*)(HANDLE, int, void*, ULONG, ULONG*);
    const FARPROC found = ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQueryObject");
    const auto queryObject = reinterpret_cast<QueryObject>(reinterpret_cast<void*>(found));
    ObjectBasics basics = {};
    if (queryObject(token, 0, &basics, sizeof(basics), nullptr) < 0) return ERROR_INVALID_HANDLE;
    constexpr ACCESS_MASK kNeeded = TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_ASSIGN_PRIMARY;
    if ((basics.access & kNeeded) != kNeeded) return ERROR_ACCESS_DENIED;
    return type == TokenPrimary ? ERROR_SUCCESS : ERROR_BAD_TOKEN_TYPE;
}

bool isFolder(LPCWSTR path) {
    const DWORD attributes = ::GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

BOOL pretend(const PretendedProcess& pretended, LPPROCESS_INFORMATION process) {
    if (pretended.startError != 0) return refuse(pretended.startError);
    process->hProcess = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    process->hThread = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    process->dwProcessId = 0xFFF0;
    process->dwThreadId = 0xFFF4;
    pretendedProcesses()[process->hProcess] = {pretended.exitCode};
    return TRUE;
}

// On the same machine, as whoever sits at the desktop. The process has ended when this returns.
BOOL startReally(LPCWSTR application, LPCWSTR commandLine, LPCWSTR directory,
                 LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process) {
    const Machine& machine = Machine::get();
    ProcessStart start;
    if (application != nullptr) start.program = application;
    if (commandLine != nullptr) start.commandLine = commandLine;
    if (directory != nullptr) start.workingFolder = directory;
    start.machineFile = machine.file();
    if (!start.machineFile.empty()) start.traceFile = start.machineFile + kCompanionTraceTail;
    start.user = machine.state.desktop->user;
    try {
        if (!startProcess(start, *startup, *process)) return FALSE;
        // Windows lets both run on. Here what they do to the machine has one order, also where a
        // fault keeps the starter from waiting.
        ::WaitForSingleObject(process->hProcess, INFINITE);
        Machine::get().refresh();
        return TRUE;
    } catch (const std::runtime_error& error) {
        Machine::get().ledger.noteMisuse(error.what());
        return refuse(ERROR_GEN_FAILURE);
    }
}

BOOL WINAPI createProcessWithToken(HANDLE token, DWORD logonFlags, LPCWSTR application,
                                   LPWSTR commandLine, DWORD creationFlags, LPVOID environment,
                                   LPCWSTR directory, LPSTARTUPINFOW startup,
                                   LPPROCESS_INFORMATION process) {
    const auto& desktop = Machine::get().state.desktop;
    BOOL started = FALSE;
    if (!desktop) {
        started = ::CreateProcessWithTokenW(token, logonFlags, application, commandLine,
                                            creationFlags, environment, directory, startup, process);
    } else {
        if (startup == nullptr || process == nullptr ||
            (application == nullptr && commandLine == nullptr))
            return refuse(ERROR_INVALID_PARAMETER);
        if (const DWORD error = judgeToken(token); error != ERROR_SUCCESS) return refuse(error);
        if (directory != nullptr && !isFolder(directory)) return refuse(ERROR_DIRECTORY);
        // Windows may write to the command line.
        if (commandLine != nullptr) *const_cast<volatile wchar_t*>(commandLine) = *commandLine;
        started = desktop->pretended
                      ? pretend(*desktop->pretended, process)
                      : startReally(application, commandLine, directory, startup, process);
    }
    const KeepLastError keep;
    if (started) {
        Machine::get().ledger.handOut("process", process->hProcess);
        Machine::get().ledger.handOut("thread", process->hThread);
    }
    return started;
}

DWORD WINAPI waitForSingleObject(HANDLE handle, DWORD milliseconds) {
    if (Pretended* const process = findPretended(handle)) {
        if (milliseconds == 0 && !process->hasEnded) return WAIT_TIMEOUT;
        process->hasEnded = true;
        return WAIT_OBJECT_0;
    }
    return ::WaitForSingleObject(handle, milliseconds);
}

BOOL WINAPI getExitCodeProcess(HANDLE handle, LPDWORD exitCode) {
    const Pretended* const process = findPretended(handle);
    if (process == nullptr) return ::GetExitCodeProcess(handle, exitCode);
    *exitCode = process->hasEnded ? process->exitCode : STILL_ACTIVE;
    return TRUE;
}

}  // namespace

void forgetProcess(HANDLE process) {
    pretendedProcesses().erase(process);
}

void serveProcesses() {
    serve<PlatformCall::CreateProcessWithTokenW>(&createProcessWithToken);
    serve<PlatformCall::WaitForSingleObject>(&waitForSingleObject);
    serve<PlatformCall::GetExitCodeProcess>(&getExitCodeProcess);
}

}  // namespace standin
