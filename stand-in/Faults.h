#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Export.h"
#include "Windows.h"

namespace standin {

// One failure to inject. As text: "CopyFileW:3=32" fails the third CopyFileW with 32,
// "CopyFileW:3+=32" that one and all later ones, "#57=5" call number 57 of the trace;
// "CopyFileW:3!" and "#57!" end the process right after the call, "#57~" in the middle of a write.
// "malloc:9" is the ninth allocation since the program's first call.
struct STANDIN_API Fault {
    enum class Outcome { Waiting, Fired, CannotFail };

    std::string call;  // empty: `index` is the number of a call in the trace
    size_t index = 1;
    DWORD error = 0;
    bool lasting = false;
    bool endsProcess = false;
    bool tearsCall = false;
    Outcome outcome = Outcome::Waiting;
    size_t seen = 0;

    std::string text() const;
    // Throws std::invalid_argument.
    static Fault parse(std::string_view text);
};

class STANDIN_API Faults {
public:
    struct Verdict {
        bool fails = false;
        DWORD error = 0;
        bool endsProcess = false;
        bool tearsCall = false;
    };

    void add(Fault fault) { m_faults.push_back(std::move(fault)); }
    void addAll(std::string_view textsBySemicolon);
    void clear() { m_faults.clear(); }

    // Counts the call and says what is to become of it.
    Verdict judge(std::string_view name, size_t number, bool canFail, bool canTear = false);
    // Whether a fault waits for calls of that name.
    bool isNamed(std::string_view name) const;

    const std::vector<Fault>& all() const { return m_faults; }
    // Faults that never took effect.
    std::vector<std::string> unfired() const;

private:
    std::vector<Fault> m_faults;
};

}  // namespace standin
