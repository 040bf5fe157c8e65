#include "Entries.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "LineTable.h"
#include "Text.h"

namespace {

// "[Sat Nov  8 09:06:27 2025] "
constexpr std::size_t kTimeSize = 27;
constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
constexpr std::string_view kRunStart = "Starting with : ";
constexpr std::string_view kComFailures[] = {"Error initializing COM code 0x",
                                             "Error initializing COM Security code 0x"};

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isTimeAt(std::string_view text, std::size_t at) {
    if (text.size() - at < kTimeSize || text[at] != '[') return false;
    constexpr std::string_view kForm = "[Aaa Aaa  0 00:00:00 0000] ";
    for (std::size_t i = 1; i < kTimeSize; ++i) {
        const char character = text[at + i];
        const bool isDayTens = i == 9 && character == ' ';
        const bool isRight = kForm[i] == '0' || i == 9 ? isDigit(character) || isDayTens
                             : kForm[i] == 'A'         ? character >= 'A' && character <= 'Z'
                             : kForm[i] == 'a'         ? character >= 'a' && character <= 'z'
                                                       : character == kForm[i];
        if (!isRight) return false;
    }
    return kMonths.find(text.substr(at + 5, 3)) % 3 == 0;
}

std::string timeAt(std::string_view text) {
    const std::size_t month = kMonths.find(text.substr(5, 3)) / 3 + 1;
    const std::string number = std::to_string(month);
    const char dayTens = text[9] == ' ' ? '0' : text[9];
    std::string time(text.substr(21, 4));
    time += (month < 10 ? "-0" : "-") + number + "-" + dayTens + text[10] + " ";
    return time += text.substr(12, 8);
}

// Where a line without a time of its own begins in `line`; npos for nowhere.
std::size_t findComFailure(std::string_view line) {
    for (const std::string_view failure : kComFailures) {
        const std::size_t found = line.rfind(failure);
        if (found != std::string_view::npos && matchLine(line.substr(found), true)) return found;
    }
    return std::string_view::npos;
}

// A time in the middle of a line begins an entry where a run does, and behind an entry that has no
// line end. Anywhere else it is part of a value.
bool isEntryAt(std::string_view line, std::size_t begin, std::size_t at) {
    if (line.substr(at + kTimeSize).starts_with(kRunStart)) return true;
    if (isTimeAt(line, begin)) begin += kTimeSize;
    const auto before = matchLine(line.substr(begin, at - begin), false);
    const auto beforeInHexadecimal = matchLine(line.substr(begin, at - begin), true);
    return (before && !before->line->hasEnd) ||
           (beforeInHexadecimal && !beforeInHexadecimal->line->hasEnd);
}

// Where the piece that begins at `begin` ends, at the latest at `limit`.
std::size_t endOfPiece(std::string_view line, std::size_t begin, std::size_t limit) {
    // More are no log but an attempt to keep this program busy.
    constexpr int kMostTimesInAValue = 50;
    std::size_t at = begin;
    for (int seen = 0; seen < kMostTimesInAValue;) {
        at = line.find('[', at + 1);
        if (at >= limit) break;
        if (!isTimeAt(line, at)) continue;
        if (isEntryAt(line, begin, at)) return at;
        ++seen;
    }
    return limit;
}

// Cut off within its time.
bool isBeginningOfTime(std::string_view piece) {
    constexpr std::string_view kWhole = "[Sat Nov  8 09:06:27 2025] ";
    std::string whole(piece);
    if (piece.empty() || piece.size() >= kTimeSize) return false;
    return isTimeAt(whole += kWhole.substr(piece.size()), 0);
}

}  // namespace

std::int64_t secondsBetween(const std::string& from, const std::string& to) {
    const auto seconds = [](const std::string& text) {
        int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
        if (std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &year, &month, &day, &hour, &minute,
                        &second) != 6)
            return std::int64_t{0};
        const std::chrono::year_month_day date{std::chrono::year(year),
                                               std::chrono::month(static_cast<unsigned>(month)),
                                               std::chrono::day(static_cast<unsigned>(day))};
        const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
        return ((days * 24 + hour) * 60 + minute) * 60 + second;
    };
    return seconds(to) - seconds(from);
}

void EntryReader::feed(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        append(bytes.substr(0, end));
        if (end == std::string_view::npos) return;
        endLine(true);
        bytes.remove_prefix(end + 1);
    }
}

void EntryReader::append(std::string_view bytes) {
    const std::size_t room = kLongestEntry - m_line.size();
    m_isLineShortened |= bytes.size() > room;
    m_line += bytes.substr(0, room);
}

void EntryReader::endLine(bool hasEnd) {
    std::string_view line = m_line;
    if (hasEnd && line.ends_with('\r')) line.remove_suffix(1);
    if (m_lineNumber == 1 && line.starts_with("\xEF\xBB\xBF")) line.remove_prefix(3);
    takeLine(line, hasEnd, m_isLineShortened);
    m_line.clear();
    m_isLineShortened = false;
    ++m_lineNumber;
}

void EntryReader::takeLine(std::string_view line, bool hasEnd, bool isShortened) {
    const std::size_t failure = findComFailure(line);
    for (std::size_t begin = 0; begin < line.size() || begin == 0;) {
        const bool isBehindFailure = failure == std::string_view::npos || begin >= failure;
        const std::size_t end = endOfPiece(line, begin, isBehindFailure ? line.size() : failure);
        const std::string_view piece = line.substr(begin, end - begin);
        const bool isCutTime = (end < line.size() || !hasEnd) && isBeginningOfTime(piece);
        if (begin > 0 || failure == 0 || isTimeAt(line, 0) || isCutTime || !m_hasEntry) {
            beginEntry(isCutTime ? std::string_view() : piece);
        } else {
            continueEntry(piece);
        }
        m_entry.hasEnd = false;
        if (end == begin) break;
        begin = end;
    }
    m_entry.hasEnd = hasEnd;
    m_entry.isShortened |= isShortened;
}

void EntryReader::continueEntry(std::string_view piece) {
    if (m_entry.text.size() + piece.size() < kLongestEntry) {
        m_entry.text += '\n';
        m_entry.text += piece;
    } else {
        m_entry.isShortened = true;
    }
}

void EntryReader::beginEntry(std::string_view piece) {
    closeEntry();
    m_hasEntry = true;
    m_entry = Entry{};
    m_entry.line = m_lineNumber;
    if (isTimeAt(piece, 0)) {
        m_entry.time = timeAt(piece);
        piece.remove_prefix(kTimeSize);
    }
    m_entry.text = piece;
}

void EntryReader::closeEntry() {
    if (!m_hasEntry) return;
    m_hasEntry = false;
    while (m_entry.text.ends_with('\n') || m_entry.text.ends_with('\r'))
        m_entry.text.pop_back();
    m_entry.text = readableText(m_entry.text);
    const bool isBlankLine = m_entry.text.empty() && !m_entry.time && m_entry.hasEnd;
    if (!isBlankLine) m_receiver(m_entry);
}

void EntryReader::finish() {
    if (!m_line.empty()) endLine(false);
    closeEntry();
}
