#include <stdexcept>

#include "platform/Windows.h"
#include "plugins/PluginStatusFile.h"

namespace {

[[noreturn]] void throwBadConversion() {
    throw std::range_error("bad conversion");
}

// What the first byte of a sequence says: its length, the bits it gives, and the least code that needs that length.
struct Lead {
    size_t length;
    char32_t bits;
    char32_t leastCode;
};

Lead readLead(unsigned char byte) {
    if (byte < 0x80) return {1, byte, 0};
    if (byte >= 0xC0 && byte < 0xE0) return {2, byte & 0x1Fu, 0x80};
    if (byte >= 0xE0 && byte < 0xF0) return {3, byte & 0x0Fu, 0x800};
    if (byte >= 0xF0 && byte < 0xF8) return {4, byte & 0x07u, 0x10000};
    throwBadConversion();
}

void appendCode(std::wstring& text, char32_t code) {
    if (code < 0x10000) {
        text.push_back(static_cast<wchar_t>(code));
        return;
    }
    code -= 0x10000;
    text.push_back(static_cast<wchar_t>(0xD800 + (code >> 10)));
    text.push_back(static_cast<wchar_t>(0xDC00 + (code & 0x3FF)));
}

}  // namespace

std::wstring utf8ToWide(const std::string& text) {
    std::wstring wide;
    for (size_t i = 0; i < text.size();) {
        const Lead lead = readLead(static_cast<unsigned char>(text[i]));
        if (lead.length > text.size() - i) throwBadConversion();
        char32_t code = lead.bits;
        for (size_t k = 1; k < lead.length; ++k) {
            const unsigned char byte = static_cast<unsigned char>(text[i + k]);
            if ((byte & 0xC0) != 0x80) throwBadConversion();
            code = (code << 6) | (byte & 0x3Fu);
        }
        if (code < lead.leastCode || code > 0x10FFFF) throwBadConversion();
        appendCode(wide, code);
        i += lead.length;
    }
    return wide;
}

std::string wideToUtf8(const std::wstring& text, size_t length) {
    if (length == 0 || text.empty()) return {};
    const int units = static_cast<int>(length);
    const int size = ::WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.c_str(), units,
                                           nullptr, 0, nullptr, nullptr);
    if (size == 0) return {};
    std::string utf8(static_cast<size_t>(size), '\0');
    if (::WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.c_str(), units, utf8.data(), size,
                              nullptr, nullptr) == 0)
        return {};
    return utf8;
}
