#pragma once

#include <cstddef>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "stand-in/Call.h"

// The machine's clock stands still in the runs that a model reads.
inline constexpr const char* kLogTime = "[Tue Feb  3 04:05:06 2026] ";
inline constexpr unsigned long long kClock = 1770091506;  // that time, in seconds since 1970

// What a model of the run throws where the program's own code has an exception under way.
struct StandardException {
    std::string what;
};
struct PlatformFailure {
    std::string hresult;  // as the trace writes it: 0x80070005
};
// The process has ended on purpose, other than by an exit of the run.
struct ProcessEnd {
    unsigned long exitCode = 0;
};
// The trace ends here, though the run should go on: right in a run that was killed.
struct TraceEnd {};

// The run has done what it must not do.
struct Deviation : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What becomes of a failed allocation: std::bad_alloc; nothing, if it is memory for an exception or
// asked for without one; or the log, if it is on the way into it.
enum class Allocation { Throws, LosesLog, IsBorne };

// Reads the trace of a run from its beginning, as the model of the run asks for its calls. Each
// call must be the one that the model names. Passed over without being named, since the machine's
// ledger holds what they give back to account: releases of keys, memory, libraries and strings. So
// are the clock and the making of platform strings, which only matter when they fail: then a
// PlatformFailure leaves the call of the reader that came upon them.
class TraceReader {
public:
    // `allocations`: what becomes of each failed allocation in turn, which no trace tells; those
    // behind the last throw.
    explicit TraceReader(std::vector<standin::Call> calls, std::vector<Allocation> allocations = {});

    // The next call. `arguments` as the trace writes them; "*" stands for any one, "abc*" for any
    // that begins so. Fewer arguments than the call has: the others are not looked at.
    const standin::Call& call(std::string_view name,
                              std::initializer_list<std::string_view> arguments = {});
    // The same; whether the call succeeded.
    bool ok(std::string_view name, std::initializer_list<std::string_view> arguments = {});
    // The same for calls whose failed HRESULT becomes a platform exception.
    const standin::Call& orThrow(std::string_view name,
                                 std::initializer_list<std::string_view> arguments = {});
    // The last error that the last named call left, in decimal; or its result where that is the error.
    std::string error() const;

    // A line of the log behind its time; or one without a time; or text whose line goes on with the
    // next. Nothing is expected once the log is lost.
    void line(const std::string& text);
    void bareLine(const std::string& text);
    void unended(const std::string& text);
    // A line that begins so; returns the rest of it, or nothing once the log is lost.
    std::string lineBeginning(const std::string& text);
    // Whether the log has been lost: from then on `lineBeginning` cannot tell anything.
    bool isLogLost() const { return m_isLogLost; }
    void loseLog() { m_isLogLost = true; }
    // What the log still holds back is written when it is closed.
    void closeLog();

    // What the library reads of a file to its first white space, in as many pieces as it likes.
    // False: the first of them could not be read; then the file is as good as empty.
    bool readsFile();

    bool nextIs(std::string_view name, std::initializer_list<std::string_view> arguments = {});
    bool nextLineBegins(const std::string& text);
    bool atEnd();

    // Takes what comes before the next call that a model names. A failed allocation among it is raised
    // here: where a part of the run ends whose allocations have another handler than those of the next.
    void passOver();
    // Takes the failed allocations that come before anything else: those of what has just been
    // done, where something is given back behind it and another handler is in charge.
    void settleAllocations();

    // Leaves the model as the program's exception does; what unwinding closes is passed over.
    [[noreturn]] void raise(const std::string& what);
    // The process ends here: no call may follow. Throws ProcessEnd.
    [[noreturn]] void endProcess(unsigned long exitCode);
    [[noreturn]] void deviate(const std::string& expected);

    size_t position() const { return m_next; }
    // What was taken to become of the failed allocations that were come upon.
    std::vector<Allocation> allocations() const {
        return {m_allocations.begin(),
                m_allocations.begin() + static_cast<ptrdiff_t>(m_nextAllocation)};
    }
    const std::vector<standin::Call>& calls() const { return m_calls; }

private:
    void passOverOne();
    bool isPassedOver(const standin::Call& call) const;
    static bool matches(const standin::Call& call, std::string_view name,
                        std::initializer_list<std::string_view> arguments);
    const standin::Call& take(std::string_view name,
                              std::initializer_list<std::string_view> arguments);
    std::string takeText(const std::string& text, bool isWhole);
    const standin::Call* nextLogWrite();

    std::vector<standin::Call> m_calls;
    std::vector<Allocation> m_allocations;
    size_t m_nextAllocation = 0;
    size_t m_next = 0;
    const standin::Call* m_last = nullptr;
    bool m_isUnwinding = false;
    bool m_isEnding = false;  // only the runtime still allocates; its failures throw nothing
    bool m_isLogLost = false;
    std::string m_heldBack;  // log text that has not been written yet
    bool m_isHeldBackKnown = true;
};

// A text as the trace writes it.
std::string quoted(const std::string& text);
// The text of an argument in double quotes.
std::string unquoted(const std::string& argument);
// Positions and lengths in a path count its 16-bit units, as the program does.
std::u16string toUtf16(const std::string& utf8);
