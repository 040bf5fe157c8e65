#pragma once

#include <functional>
#include <initializer_list>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "Export.h"
#include "Faults.h"
#include "Ledger.h"
#include "MachineState.h"
#include "Trace.h"

namespace standin {

// The machine that stands in for Windows: one per process. Mounted on a module, it receives every
// platform call that the module makes.
class STANDIN_API Machine {
public:
    static Machine& get();

    MachineState state;
    Trace trace;
    Faults faults;
    Ledger ledger;
    bool isComSecuritySet = false;

    // Takes over the module's imports; afterwards gives them back.
    void mount(HMODULE module);
    void unmount();
    // An empty machine: no packages, no faults, no calls, nothing handed out.
    void reset();

    // The SID of the user as whom this process runs, which need not be the one that the state
    // names; empty: the real one.
    std::wstring user() const { return m_user.empty() ? state.tokenUser : m_user; }
    void runAs(const std::wstring& sid) { m_user = sid; }

    // Reads the state from the file now, and writes it back there on every change.
    void attachFile(const std::wstring& path);
    void changed();
    // The same where nothing but the security of that file changed, of which a large machine sees thousands.
    void securityChanged(const std::wstring& path);
    // Reads it again, as another process on the same machine may have changed it.
    void refresh();
    const std::wstring& file() const { return m_file; }

    // The next call of that name fails with the error: a last error, a status or an HRESULT, as the function has it.
    void failNext(std::string_view name, DWORD error) { failNth(name, 1, error); }
    void failNth(std::string_view name, size_t index, DWORD error);
    void failFrom(std::string_view name, size_t index, DWORD error);  // that one and all later ones
    // Runs after every call of that name, last error as the call left it; what it sets as last error stays.
    void onCall(std::string_view name, std::function<void()> callback);

    std::vector<std::string> calls() const { return trace.lines(); }
    std::vector<std::string> calls(std::initializer_list<std::string_view> names) const {
        return trace.lines(names);
    }

    // Notes the call that is under way, which will not return, and ends the process.
    [[noreturn]] void endProcess(DWORD exitCode);
    [[noreturn]] void failFast(unsigned reason);

    std::recursive_mutex& lock() { return m_lock; }
    void runCallbacks(const std::string& name);

private:
    struct Mounted {
        void** slot;
        void* original;
    };

    Machine() = default;

    std::vector<Mounted> m_mounted;
    std::multimap<std::string, std::function<void()>> m_callbacks;
    std::wstring m_file;
    std::wstring m_user;
    std::recursive_mutex m_lock;
};

// Calls of this thread go straight to Windows while one of these lives: neither counted nor traced nor served.
class STANDIN_API Untraced {
public:
    Untraced() noexcept;
    ~Untraced();
    Untraced(const Untraced&) = delete;
    Untraced& operator=(const Untraced&) = delete;

    static bool isActive() noexcept;
};

}  // namespace standin
