#include "ProcessStart.h"

#include <stdexcept>

#include "Injection.h"
#include "Text.h"

namespace standin {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": error " + std::to_string(::GetLastError()));
}

struct IgnoreCase {
    bool operator()(const std::wstring& a, const std::wstring& b) const {
        return ::_wcsicmp(a.c_str(), b.c_str()) < 0;
    }
};

// This process's environment and the additions as the block that CreateProcessW takes.
std::wstring environmentBlock(const ProcessStart& start) {
    std::map<std::wstring, std::wstring, IgnoreCase> variables;
    wchar_t* const own = ::GetEnvironmentStringsW();
    for (const wchar_t* one = own; *one != 0; one += std::wstring_view(one).size() + 1) {
        const std::wstring text = one;
        const size_t equals = text.find(L'=', 1);  // names of drives begin with one
        variables[text.substr(0, equals)] = text.substr(equals + 1);
    }
    ::FreeEnvironmentStringsW(own);

    for (const auto& [name, value] : start.environment)
        variables[name] = value;
    variables[kTraceVariable] = start.traceFile;
    variables[kMachineVariable] = start.machineFile;
    variables[kFaultsVariable] = toWide(start.faults);
    variables[kUserVariable] = start.user;

    std::wstring block;
    for (const auto& [name, value] : variables)
        block += name + L"=" + value + L'\0';
    return block + L'\0';
}

std::wstring libraryPath() {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(::GetModuleHandleW(L"stand-in.dll"), path, MAX_PATH);
    return path;
}

// Has the process, which has not begun to run yet, load the machine's library. Its entry point mounts the machine.
void inject(HANDLE process) {
    const std::wstring path = libraryPath();
    const size_t size = (path.size() + 1) * sizeof(wchar_t);
    void* const remote = ::VirtualAllocEx(process, nullptr, size, MEM_COMMIT | MEM_RESERVE,
                                          PAGE_READWRITE);
    if (remote == nullptr) fail("no memory in the program");
    if (!::WriteProcessMemory(process, remote, path.c_str(), size, nullptr))
        fail("the program cannot be written to");

    // Every process has this library at the same place.
    const FARPROC loadLibrary = ::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "LoadLibraryW");
    const auto entry = reinterpret_cast<LPTHREAD_START_ROUTINE>(reinterpret_cast<void*>(loadLibrary));
    const HANDLE thread = ::CreateRemoteThread(process, nullptr, 0, entry, remote, 0, nullptr);
    if (thread == nullptr) fail("no thread in the program");
    ::WaitForSingleObject(thread, INFINITE);
    DWORD library = 0;
    ::GetExitCodeThread(thread, &library);
    ::CloseHandle(thread);
    ::VirtualFreeEx(process, remote, 0, MEM_RELEASE);
    if (library == 0) throw std::runtime_error("the machine could not be mounted on the program");
}

}  // namespace

bool startProcess(const ProcessStart& start, STARTUPINFOW& startup, PROCESS_INFORMATION& started) {
    std::wstring commandLine = start.commandLine;
    std::wstring environment = environmentBlock(start);
    const wchar_t* const program = start.program.empty() ? nullptr : start.program.c_str();
    const wchar_t* const folder = start.workingFolder.empty() ? nullptr : start.workingFolder.c_str();
    const auto create = [&] {
        return ::CreateProcessW(program, commandLine.data(), nullptr, nullptr, FALSE,
                                CREATE_SUSPENDED | CREATE_UNICODE_ENVIRONMENT, environment.data(),
                                folder, &startup, &started) != FALSE;
    };
    // Wine now and then fails to start a process on a busy machine; nothing of it has run then.
    constexpr int kMostTries = 5;
    bool hasStarted = create();
    for (int i = 1; i < kMostTries && !hasStarted && ::GetLastError() == ERROR_INTERNAL_ERROR; ++i)
        hasStarted = create();
    if (!hasStarted) return false;
    try {
        if (!start.traceFile.empty()) inject(started.hProcess);
    } catch (...) {
        ::TerminateProcess(started.hProcess, 1);
        ::CloseHandle(started.hProcess);
        ::CloseHandle(started.hThread);
        throw;
    }
    ::ResumeThread(started.hThread);
    return true;
}

}  // namespace standin
