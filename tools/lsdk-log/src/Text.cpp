#include "Text.h"

#include <cstdint>

namespace {

constexpr char32_t kInvalid = 0xFFFFFFFF;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// The character at `at` of UTF-8 text, and moves behind it; kInvalid where there is none.
char32_t decode(std::string_view bytes, std::size_t& at) {
    const auto first = static_cast<unsigned char>(bytes[at]);
    if (first < 0x80) return ++at, first;
    const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || bytes.size() - at < size) return kInvalid;
    char32_t character = first & (0x7Fu >> size);
    for (std::size_t i = 1; i < size; ++i) {
        const auto next = static_cast<unsigned char>(bytes[at + i]);
        if ((next & 0xC0) != 0x80) return kInvalid;
        character = character << 6 | (next & 0x3F);
    }
    const bool isTooLong = (size == 3 && character < 0x800) || (size == 4 && character < 0x10000);
    const bool isSurrogate = character >= 0xD800 && character < 0xE000;
    if (isTooLong || isSurrogate || character > 0x10FFFF) return kInvalid;
    at += size;
    return character;
}

bool isUtf8(std::string_view bytes) {
    for (std::size_t at = 0; at < bytes.size();)
        if (decode(bytes, at) == kInvalid) return false;
    return true;
}

// Controls but for tab and line feed; what turns the reading direction or is no character.
bool isUnreadable(char32_t character) {
    return (character < 0x20 && character != '\t' && character != '\n') ||
           (character >= 0x7F && character < 0xA0) || (character >= 0x200B && character <= 0x200F) ||
           (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069) || character == 0xFEFF;
}

}  // namespace

std::string readableText(std::string_view bytes) {
    const bool isEncoded = isUtf8(bytes);
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t begin = at;
        const char32_t character = isEncoded ? decode(bytes, at)
                                             : static_cast<unsigned char>(bytes[at++]);
        if (character == 0) continue;
        if (isUnreadable(character)) {
            text += kReplacement;
        } else if (isEncoded || character < 0x80) {
            text += bytes.substr(begin, at - begin);
        } else {
            text += static_cast<char>(0xC0 | character >> 6);
            text += static_cast<char>(0x80 | (character & 0x3F));
        }
    }
    return text;
}

std::string oneLine(std::string_view text, std::size_t limit) {
    const bool isLonger = text.size() > limit;
    if (isLonger) {
        while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0) == 0x80)
            --limit;
        text = text.substr(0, limit);
    }
    std::string line(text);
    for (char& character : line)
        if (character == '\n' || character == '\t') character = ' ';
    return isLonger ? line + " [...]" : line;
}

std::string escapeHtml(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char character : text) {
        switch (character) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}
