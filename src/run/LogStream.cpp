#include "run/LogStream.h"

#include <algorithm>
#include <cwchar>
#include <locale>

std::streamsize LogFileBuffer::encodableLength(const wchar_t* text, std::streamsize count) const {
    const wchar_t* const end = text + count;
    // Every facet encodes ASCII, and nearly all of the log is; it need not be asked for that.
    const wchar_t* unread = std::find_if(text, end, [](wchar_t unit) { return unit >= 0x80; });
    if (unread == end) return count;
    using Facet = std::codecvt<wchar_t, char, std::mbstate_t>;
    const Facet& facet = std::use_facet<Facet>(getloc());
    while (unread != end) {
        std::mbstate_t state{};
        char encoded[256];
        char* encodedEnd = nullptr;
        const auto result = facet.out(state, unread, end, unread, encoded,
                                      encoded + sizeof(encoded), encodedEnd);
        if (result != std::codecvt_base::ok && encodedEnd == encoded) break;
    }
    return unread - text;
}

std::streamsize LogFileBuffer::xsputn(const wchar_t* text, std::streamsize count) {
    return std::wfilebuf::xsputn(text, encodableLength(text, count));
}

LogFileBuffer::int_type LogFileBuffer::overflow(int_type character) {
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
        const wchar_t unit = traits_type::to_char_type(character);
        if (encodableLength(&unit, 1) == 0) return traits_type::eof();
    }
    return std::wfilebuf::overflow(character);
}

LogStream::LogStream() {
    std::wios::rdbuf(&m_buffer);
}

void LogStream::open(const wchar_t* path) {
    if (m_buffer.open(path, std::ios_base::out | std::ios_base::app)) {
        clear();
    } else {
        setstate(std::ios_base::failbit);
    }
}
