#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Faults.h"
#include "Trace.h"

namespace standin {

// Exit code of a process that a fault ended.
constexpr DWORD kEndedByFault = 0xE0000001;

// A call between its beginning and its entry in the trace. Judged by the faults when it begins.
class PendingCall {
public:
    PendingCall(std::string_view name, bool canFail, bool canTear = false);
    ~PendingCall();
    PendingCall(const PendingCall&) = delete;
    PendingCall& operator=(const PendingCall&) = delete;

    bool mustFail() const { return m_verdict.fails; }
    bool mustTear() const { return m_verdict.tearsCall; }
    DWORD injectedError() const { return m_verdict.error; }

    std::vector<std::string>& arguments() { return m_call.arguments; }

    // An argument was given back before; if the call fails as well, that is a misuse.
    void noteUseAfterRelease(const std::string& name) { m_usedAfterRelease = name; }

    void finish(std::string result, bool failed);
    void finish(std::string result, bool failed, DWORD lastError);

    // Enters the innermost call of this thread, which will not return.
    static void finishForEver();

private:
    void enter();

    Call m_call;
    Faults::Verdict m_verdict;
    std::string m_usedAfterRelease;
    bool m_isEntered = false;
    PendingCall* m_outer;
};

}  // namespace standin
