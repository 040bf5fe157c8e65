#include "Machine.h"

#include "PendingCall.h"
#include "winrt/Object.h"

namespace standin {

namespace {
thread_local int t_untraced = 0;

// The program's own function, in a build that counts which lines run: at an end at once its counters would be lost.
void flushCoverage() {
    const FARPROC flush = ::GetProcAddress(::GetModuleHandleW(nullptr), "flushCoverage");
    if (flush != nullptr) flush();
}

}  // namespace

Machine& Machine::get() {
    static Machine& machine =
        *new Machine;  // never destroyed: calls come until the very end of the process
    return machine;
}

void Machine::reset() {
    state = MachineState();
    trace.clear();
    faults.clear();
    ledger.clear();
    m_callbacks.clear();
    isComSecuritySet = false;
    m_file.clear();
    m_user.clear();
    m_file.clear();
    buryObjects();
}

void Machine::attachFile(const std::wstring& path) {
    state = readMachine(path);
    m_file = path;
}

void Machine::changed() {
    if (!m_file.empty()) writeMachine(m_file, state);
}

void Machine::securityChanged(const std::wstring& path) {
    if (!m_file.empty()) appendSecurity(m_file, path, securityOf(state.fileSecurity, path));
}

void Machine::refresh() {
    if (!m_file.empty()) state = readMachine(m_file);
}

void Machine::failNth(std::string_view name, size_t index, DWORD error) {
    faults.add({.call = std::string(name), .index = index, .error = error});
}

void Machine::failFrom(std::string_view name, size_t index, DWORD error) {
    faults.add({.call = std::string(name), .index = index, .error = error, .lasting = true});
}

void Machine::onCall(std::string_view name, std::function<void()> callback) {
    m_callbacks.emplace(name, std::move(callback));
}

void Machine::runCallbacks(const std::string& name) {
    if (m_callbacks.empty()) return;
    const DWORD lastError = ::GetLastError();
    const auto [first, last] = m_callbacks.equal_range(name);
    ::SetLastError(lastError);
    for (auto callback = first; callback != last; ++callback)
        callback->second();
}

void Machine::endProcess(DWORD exitCode) {
    PendingCall::finishForEver();
    flushCoverage();
    ::TerminateProcess(::GetCurrentProcess(), exitCode);
    ::Sleep(INFINITE);
    __builtin_unreachable();
}

void Machine::failFast(unsigned reason) {
    PendingCall::finishForEver();
    flushCoverage();
    __asm__ __volatile__("int $0x29" : : "c"(reason));
    __builtin_unreachable();
}

Untraced::Untraced() noexcept {
    ++t_untraced;
}
Untraced::~Untraced() {
    --t_untraced;
}
bool Untraced::isActive() noexcept {
    return t_untraced > 0;
}

}  // namespace standin
