#pragma once

#include <cctype>
#include <string>

// A log's text as tests compare it: line ends as \n, the time prefix taken off. A prefix in the
// middle of a line, where the text before it had no line end, becomes "[]"; a line without a prefix
// begins with "(no time)".
inline std::string withoutTimes(const std::string& raw) {
    // "[Sat Nov 21 02:06:27 2026] "
    constexpr size_t kPrefixLength = 27;
    const auto isPrefix = [&](size_t at) {
        return raw.size() >= at + kPrefixLength && raw[at] == '[' && raw[at + 4] == ' ' &&
               raw[at + 14] == ':' && raw[at + 17] == ':' && raw.compare(at + 25, 2, "] ") == 0 &&
               std::isdigit(raw[at + 24]);
    };
    std::string text;
    bool atLineStart = true;
    for (size_t i = 0; i < raw.size();) {
        if (isPrefix(i)) {
            if (!atLineStart) text += "[]";
            i += kPrefixLength;
            atLineStart = false;
        } else if (raw.compare(i, 2, "\r\n") == 0) {
            text += '\n';
            i += 2;
            atLineStart = true;
        } else {
            if (atLineStart) text += "(no time)";
            text += raw[i++];
            atLineStart = false;
        }
    }
    return text;
}
