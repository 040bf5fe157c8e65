#include "../Hook.h"
#include "LastError.h"
#include "Services.h"

namespace standin {

namespace {

// Windows of the machine's desktop: the shell's first, the others behind it.
HWND windowAt(size_t index) {
    constexpr uintptr_t kFirst = 0x10010;
    return reinterpret_cast<HWND>(kFirst + index * 2);
}

const std::optional<Desktop>& desktop() {
    return Machine::get().state.desktop;
}

HWND WINAPI getShellWindow() {
    if (!desktop()) return ::GetShellWindow();
    return desktop()->hasShell ? windowAt(0) : nullptr;
}

BOOL WINAPI enumWindows(WNDENUMPROC visit, LPARAM parameter) {
    if (!desktop()) return ::EnumWindows(visit, parameter);
    const size_t first = desktop()->hasShell ? 0 : 1;
    for (size_t i = first; i <= desktop()->otherWindows; ++i) {
        if (!visit(windowAt(i), parameter)) return FALSE;
    }
    return TRUE;
}

// Each window has a process of its own; the numbers count up from the shell's.
DWORD WINAPI getWindowThreadProcessId(HWND window, LPDWORD processId) {
    if (!desktop()) return ::GetWindowThreadProcessId(window, processId);
    for (size_t i = 0; i <= desktop()->otherWindows; ++i) {
        const bool isThere = i > 0 || (desktop()->hasShell && desktop()->shellProcess != 0);
        if (window != windowAt(i) || !isThere) continue;
        const auto id = static_cast<DWORD>(desktop()->shellProcess + i * 4);
        if (processId != nullptr) *processId = id;
        return id + 1;
    }
    ::SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return 0;
}

// This process stands in for the shell's, so its token has a handle that Windows knows.
HANDLE WINAPI openProcess(DWORD access, BOOL inherit, DWORD id) {
    const bool isShell = desktop() && desktop()->hasShell && id == desktop()->shellProcess && id != 0;
    const HANDLE process = ::OpenProcess(access, inherit, isShell ? ::GetCurrentProcessId() : id);
    const KeepLastError keep;
    if (process != nullptr) Machine::get().ledger.handOut("process", process);
    return process;
}

}  // namespace

void serveDesktop() {
    serve<PlatformCall::GetShellWindow>(&getShellWindow);
    serve<PlatformCall::EnumWindows>(&enumWindows);
    serve<PlatformCall::GetWindowThreadProcessId>(&getWindowThreadProcessId);
    serve<PlatformCall::OpenProcess>(&openProcess);
}

}  // namespace standin
