#include "corpus/CorpusFile.h"

#include <cctype>
#include <sstream>
#include <stdexcept>

#include "stand-in/Text.h"
#include "support/Files.h"
#include "support/Programs.h"

namespace {

// Splits a text at its <<...>>: `plain` gets what stands between them, `special` what is in them.
template <typename Plain, typename Special>
void walk(std::string_view text, Plain plain, Special special) {
    while (!text.empty()) {
        const size_t begin = std::min(text.find("<<"), text.size());
        plain(text.substr(0, begin));
        text.remove_prefix(begin);
        if (text.empty()) return;
        const size_t end = text.find(">>");
        if (end == std::string_view::npos) throw std::runtime_error("no >> behind <<");
        special(text.substr(2, end - 2));
        text.remove_prefix(end + 2);
    }
}

std::string repeated(std::string_view what) {
    const size_t star = what.rfind('*');
    if (star == std::string_view::npos)
        throw std::runtime_error("unknown: <<" + std::string(what) + ">>");
    const size_t times = std::stoul(std::string(what.substr(star + 1)));
    std::string text;
    text.reserve(star * times);
    for (size_t i = 0; i < times; ++i)
        text += what.substr(0, star);
    return text;
}

unsigned long hex(std::string_view digits) {
    return std::stoul(std::string(digits), nullptr, 16);
}

}  // namespace

const std::wstring& corpusFolder() {
    static const std::wstring folder = programBeside(L"corpus\\");
    return folder;
}

nlohmann::json readCorpus(const std::string& family) {
    return nlohmann::json::parse(readFile(corpusFolder() + standin::toWide(family) + L".json"));
}

std::string testName(std::string_view plainWords) {
    std::string name;
    bool isStart = true;
    for (const char letter : plainWords) {
        if (!std::isalnum(static_cast<unsigned char>(letter))) {
            isStart = true;
            continue;
        }
        name += isStart ? static_cast<char>(std::toupper(letter)) : letter;
        isStart = false;
    }
    return name;
}

std::wstring wideText(const std::string& text) {
    std::wstring wide;
    walk(
        text, [&](std::string_view plain) { wide += standin::toWide(plain); },
        [&](std::string_view what) {
            if (what.starts_with("u ")) {
                wide += static_cast<wchar_t>(hex(what.substr(2)));
            } else {
                wide += standin::toWide(repeated(what));
            }
        });
    return wide;
}

std::string bytesText(const std::string& text) {
    std::string bytes;
    walk(
        text, [&](std::string_view plain) { bytes += plain; },
        [&](std::string_view what) {
            if (!what.starts_with("x ")) {
                bytes += repeated(what);
                return;
            }
            std::istringstream codes{std::string(what.substr(2))};
            for (std::string code; codes >> code;)
                bytes += static_cast<char>(hex(code));
        });
    return bytes;
}

unsigned long codeOf(const CorpusCase& item) {
    return hex(item.get<std::string>().substr(2));
}
