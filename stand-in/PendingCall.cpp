#include "PendingCall.h"

#include <mutex>

#include "Allocations.h"
#include "Machine.h"

namespace standin {

namespace {
thread_local PendingCall* t_innermost = nullptr;
}

PendingCall::PendingCall(std::string_view name, bool canFail, bool canTear) : m_outer(t_innermost) {
    t_innermost = this;
    Machine& machine = Machine::get();
    const std::scoped_lock guard(machine.lock());
    m_call.name = name;
    m_call.number = machine.trace.nextNumber();
    m_verdict = machine.faults.judge(name, m_call.number, canFail, canTear);
    m_call.injected = m_verdict.fails;
    noteCall(m_call.number);
}

PendingCall::~PendingCall() {
    t_innermost = m_outer;
}

void PendingCall::finish(std::string result, bool failed) {
    m_call.result = std::move(result);
    m_call.failed = failed;
    enter();
}

void PendingCall::finish(std::string result, bool failed, DWORD lastError) {
    m_call.hasError = failed;
    m_call.error = failed ? lastError : 0;
    finish(std::move(result), failed);
}

void PendingCall::finishForEver() {
    if (t_innermost == nullptr || t_innermost->m_isEntered) return;
    t_innermost->m_call.result = "does not return";
    t_innermost->enter();
}

void PendingCall::enter() {
    m_isEntered = true;
    Machine& machine = Machine::get();
    const std::scoped_lock guard(machine.lock());
    machine.trace.add(m_call);
    if (m_call.failed && !m_usedAfterRelease.empty()) {
        machine.ledger.noteMisuse(m_call.text() + ": " + m_usedAfterRelease +
                                  " was given back before");
    }
    if (m_verdict.endsProcess) ::TerminateProcess(::GetCurrentProcess(), kEndedByFault);
}

}  // namespace standin
