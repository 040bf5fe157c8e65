#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

// What the configurator wrote at one time: mostly one line of the log.
struct Entry {
    std::string text;  // readable UTF-8 without the time, its line breaks as \n; empty: cut off before
    std::optional<std::string> time;  // "2025-11-08 09:06:27"
    bool hasEnd = false;              // a line end follows it
    bool isShortened = false;         // longer than what is kept of it
    std::uint64_t line = 0;           // of the file, from 1
};

// Seconds between two times as entries have them; negative when the clock was set back.
std::int64_t secondsBetween(const std::string& from, const std::string& to);

// Takes a log apart into its entries: at line ends, and at the times within a line where an entry
// was written without an end or a run was cut off. Needs the same memory for any size of log.
class EntryReader {
public:
    using Receiver = std::function<void(const Entry&)>;

    // More than the longest command line.
    static constexpr std::size_t kLongestEntry = std::size_t{256} * 1024;

    explicit EntryReader(Receiver receiver) : m_receiver(std::move(receiver)) {}

    // The next bytes of the log, cut anywhere.
    void feed(std::string_view bytes);
    // No more bytes come.
    void finish();

private:
    void append(std::string_view bytes);
    void endLine(bool hasEnd);
    void takeLine(std::string_view line, bool hasEnd, bool isShortened);
    void beginEntry(std::string_view piece);
    void continueEntry(std::string_view piece);
    void closeEntry();

    Receiver m_receiver;
    std::string m_line;
    bool m_isLineShortened = false;
    std::uint64_t m_lineNumber = 1;
    Entry m_entry;
    bool m_hasEntry = false;
};
