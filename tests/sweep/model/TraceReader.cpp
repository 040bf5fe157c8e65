#include "TraceReader.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <utility>

namespace {

// Where the log writes go: the first file that the run opens.
constexpr std::string_view kLogFile = "3";
constexpr std::string_view kLineEnd = "\\u000A";

template <size_t N>
bool isOneOf(const std::string& name, const std::array<std::string_view, N>& names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// What gives something back and whose failure nobody looks at; and what only reports an exception.
constexpr std::array<std::string_view, 15> kWithoutConsequence = {"GetCurrentProcess",
                                                                  "GetSystemTimeAsFileTime",
                                                                  "RegCloseKey",
                                                                  "LocalFree",
                                                                  "HeapFree",
                                                                  "GetProcessHeap",
                                                                  "FreeLibrary",
                                                                  "SysFreeString",
                                                                  "FormatMessageW",
                                                                  "WindowsDeleteString",
                                                                  "GetRestrictedErrorInfo",
                                                                  "RoOriginateError",
                                                                  "RoOriginateErrorW",
                                                                  "WindowsGetStringRawBuffer",
                                                                  "WindowsGetStringLen"};

constexpr std::array<std::string_view, 4> kStringMaking = {
    "WindowsCreateString", "WindowsCreateStringReference", "WindowsDuplicateString",
    "WindowsConcatString"};

constexpr std::array<std::string_view, 2> kClosedByUnwinding = {"FindClose", "CloseHandle"};

bool argumentMatches(std::string_view pattern, const std::string& argument) {
    if (pattern.ends_with('*')) return argument.starts_with(pattern.substr(0, pattern.size() - 1));
    return argument == pattern;
}

// The length of the text's head that the log can encode: the first 256 characters of Unicode.
size_t encodableHead(const std::string& utf8) {
    size_t i = 0;
    while (i < utf8.size() && static_cast<unsigned char>(utf8[i]) < 0xC4)
        ++i;
    return i;
}

}  // namespace

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

std::string unquoted(const std::string& argument) {
    if (argument.size() < 2 || argument.front() != '"') return argument;
    return argument.substr(1, argument.size() - 2);
}

std::u16string toUtf16(const std::string& utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end())).u16string();
}

TraceReader::TraceReader(std::vector<standin::Call> calls, std::vector<Allocation> allocations)
    : m_allocations(std::move(allocations)) {
    // What a factory of the system asks its own object for is none of the program's calls. It ends,
    // and so stands, before the call that it belongs to.
    for (size_t i = 0; i < calls.size(); ++i) {
        const bool isWithin = i + 1 < calls.size() && calls[i + 1].number < calls[i].number;
        if (!isWithin || !calls[i].name.ends_with("::QueryInterface"))
            m_calls.push_back(std::move(calls[i]));
    }
}

bool TraceReader::isPassedOver(const standin::Call& call) const {
    if (isOneOf(call.name, kWithoutConsequence) || isOneOf(call.name, kStringMaking)) return true;
    if (call.name.ends_with("::QueryInterface") || call.name == "malloc") return true;
    return m_isUnwinding && isOneOf(call.name, kClosedByUnwinding);
}

void TraceReader::passOver() {
    while (m_next < m_calls.size() && isPassedOver(m_calls[m_next]))
        passOverOne();
}

void TraceReader::passOverOne() {
    const standin::Call& call = m_calls[m_next++];
    if (!call.failed) return;
    if (call.name == "malloc") {
        if (m_isEnding) return;
        if (m_nextAllocation == m_allocations.size()) m_allocations.push_back(Allocation::Throws);
        const Allocation outcome = m_allocations[m_nextAllocation++];
        if (outcome == Allocation::Throws) raise("bad allocation");
        if (outcome == Allocation::LosesLog) {
            m_isLogLost = true;
            m_isHeldBackKnown = false;
        }
    } else if (!isOneOf(call.name, kWithoutConsequence) && !isOneOf(call.name, kClosedByUnwinding)) {
        m_isUnwinding = true;
        throw PlatformFailure{call.result};
    }
}

void TraceReader::settleAllocations() {
    while (m_next < m_calls.size() && m_calls[m_next].name == "malloc")
        passOverOne();
}

bool TraceReader::matches(const standin::Call& call, std::string_view name,
                          std::initializer_list<std::string_view> arguments) {
    if (call.name != name || call.arguments.size() < arguments.size()) return false;
    return std::equal(arguments.begin(), arguments.end(), call.arguments.begin(), argumentMatches);
}

const standin::Call& TraceReader::take(std::string_view name,
                                       std::initializer_list<std::string_view> arguments) {
    passOver();
    if (m_next == m_calls.size()) throw TraceEnd();
    const standin::Call& call = m_calls[m_next];
    if (!matches(call, name, arguments)) {
        std::string expected(name);
        expected += "(";
        for (const std::string_view argument : arguments)
            expected.append(expected.ends_with('(') ? "" : ", ").append(argument);
        deviate(expected + ")");
    }
    ++m_next;
    m_isUnwinding = false;
    m_last = &call;
    return call;
}

const standin::Call& TraceReader::call(std::string_view name,
                                       std::initializer_list<std::string_view> arguments) {
    return take(name, arguments);
}

bool TraceReader::ok(std::string_view name, std::initializer_list<std::string_view> arguments) {
    return !take(name, arguments).failed;
}

const standin::Call& TraceReader::orThrow(std::string_view name,
                                          std::initializer_list<std::string_view> arguments) {
    const standin::Call& taken = take(name, arguments);
    if (taken.failed) {
        m_isUnwinding = true;
        throw PlatformFailure{taken.result};
    }
    return taken;
}

std::string TraceReader::error() const {
    return m_last->hasError ? std::to_string(m_last->error) : m_last->result;
}

bool TraceReader::readsFile() {
    bool hasText = true;
    for (bool isFirst = true; nextIs("_read"); isFirst = false) {
        const bool isRead = ok("_read", {"*", "given", "*"});
        if (isFirst) hasText = isRead;
    }
    return hasText;
}

bool TraceReader::nextIs(std::string_view name, std::initializer_list<std::string_view> arguments) {
    passOver();
    return m_next < m_calls.size() && matches(m_calls[m_next], name, arguments);
}

bool TraceReader::atEnd() {
    passOver();
    return m_next == m_calls.size();
}

const standin::Call* TraceReader::nextLogWrite() {
    passOver();
    if (m_next == m_calls.size()) return nullptr;
    const standin::Call& call = m_calls[m_next];
    return call.name == "_write" && call.arguments[0] == kLogFile ? &call : nullptr;
}

bool TraceReader::nextLineBegins(const std::string& text) {
    const standin::Call* write = nextLogWrite();
    return write != nullptr &&
           unquoted(write->arguments[1]).starts_with(m_heldBack + kLogTime + text);
}

std::string TraceReader::takeText(const std::string& text, bool isWhole) {
    passOver();
    if (m_isLogLost) return "";
    const std::string expected = m_heldBack + text;
    const size_t head = encodableHead(expected);
    if (head < expected.size()) {
        // What stands before the character that cannot be encoded is written when the log is closed.
        m_heldBack = expected.substr(0, head);
        m_isLogLost = true;
        return "";
    }
    const standin::Call* write = nextLogWrite();
    if (write == nullptr) {
        if (m_next == m_calls.size()) throw TraceEnd();
        deviate("the log line " + text);
    }
    std::string actual = unquoted(write->arguments[1]);
    const bool hasEnd = actual.ends_with(kLineEnd);
    if (hasEnd) actual.erase(actual.size() - kLineEnd.size());
    if (!hasEnd || !actual.starts_with(expected) || (isWhole && actual != expected))
        deviate("the log text " + expected);

    ++m_next;
    m_isUnwinding = false;
    m_isLogLost = write->failed;
    m_heldBack = write->failed ? unquoted(write->arguments[1]) : "";
    return actual.substr(expected.size());
}

void TraceReader::line(const std::string& text) {
    takeText(kLogTime + text, true);
}

void TraceReader::bareLine(const std::string& text) {
    takeText(text, true);
}

std::string TraceReader::lineBeginning(const std::string& text) {
    return takeText(kLogTime + text, false);
}

void TraceReader::unended(const std::string& text) {
    if (!m_isLogLost) m_heldBack += kLogTime + text;
}

void TraceReader::closeLog() {
    const standin::Call* write = nextLogWrite();
    if (write == nullptr) {
        if (!m_heldBack.empty() && !m_isLogLost) deviate("the rest of the log: " + m_heldBack);
        return;
    }
    if (m_isHeldBackKnown && unquoted(write->arguments[1]) != m_heldBack)
        deviate(m_heldBack.empty() ? "nothing more in the log"
                                   : "the rest of the log: " + m_heldBack);
    ++m_next;
}

void TraceReader::raise(const std::string& what) {
    m_isUnwinding = true;
    throw StandardException{what};
}

void TraceReader::endProcess(unsigned long exitCode) {
    m_isEnding = true;
    if (!atEnd()) deviate("the end of the process");
    throw ProcessEnd{exitCode};
}

void TraceReader::deviate(const std::string& expected) {
    std::string text = "expected: " + expected + "\n";
    const size_t from = m_next < 6 ? 0 : m_next - 6;
    for (size_t i = from; i < std::min(m_next + 4, m_calls.size()); ++i) {
        text += (i == m_next ? "  -> " : "     ") + std::to_string(m_calls[i].number) + " " +
                m_calls[i].text() + "\n";
    }
    if (m_next == m_calls.size()) text += "  -> (end of the trace)\n";
    throw Deviation(text);
}
