#include "PluginStatusText.h"

std::string firstToken(const std::string& bytes) {
    constexpr const char* kBlanks = " \t\n\v\f\r";
    const std::string text = bytes.substr(0, bytes.find('\x1A'));
    const size_t start = text.find_first_not_of(kBlanks);
    if (start == std::string::npos) return "";
    return text.substr(start, text.find_first_of(kBlanks, start) - start);
}

bool isUtf8(const std::string& text) {
    for (size_t i = 0; i < text.size();) {
        const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[i + k]); };
        const unsigned lead = byte(0);
        if (lead >= 0x80 && (lead < 0xC2 || lead > 0xF4)) return false;
        const size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        if (length > text.size() - i) return false;
        for (size_t k = 1; k < length; ++k)
            if ((byte(k) & 0xC0) != 0x80) return false;
        if (lead == 0xE0 && byte(1) < 0xA0) return false;
        if (lead == 0xF0 && byte(1) < 0x90) return false;
        if (lead == 0xF4 && byte(1) > 0x8F) return false;
        i += length;
    }
    return true;
}

std::optional<nlohmann::json> parseObject(const std::string& text) {
    // The library would skip a mark at the beginning and take a NUL for the end; the system refuses both.
    if (text.starts_with("\xEF\xBB\xBF") || text.find('\0') != std::string::npos)
        return std::nullopt;
    nlohmann::json document = nlohmann::json::parse(text, nullptr, false);
    if (!document.is_object()) return std::nullopt;
    return document;
}

bool hasBlankOutsideStrings(const std::string& json) {
    bool isInString = false;
    for (size_t i = 0; i < json.size(); ++i) {
        if (json[i] == '"') isInString = !isInString;
        if (isInString && json[i] == '\\') ++i;
        if (!isInString && std::string(" \t\r\n").find(json[i]) != std::string::npos) return true;
    }
    return false;
}

size_t utf16Length(const std::string& utf8) {
    size_t length = 0;
    for (const char letter : utf8) {
        const auto byte = static_cast<unsigned char>(letter);
        if ((byte & 0xC0) != 0x80) length += byte >= 0xF0 ? 2 : 1;
    }
    return length;
}

std::string bytesAsTraced(const std::string& bytes) {
    std::string text;
    for (const char letter : bytes) {
        const auto byte = static_cast<unsigned char>(letter);
        if (byte < 0x80) {
            text += letter;
        } else {
            text += static_cast<char>(0xC0 | (byte >> 6));
            text += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return text;
}
