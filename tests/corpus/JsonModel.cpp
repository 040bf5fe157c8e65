#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "corpus/Models.h"

namespace model {

namespace {

constexpr size_t kMostNested = 1024;  // containers in each other

// One pass over the text; null stands for anything that is no JSON.
class Parser {
public:
    explicit Parser(const std::u16string& text) : m_text(text) {}

    std::shared_ptr<Json> parse() {
        std::shared_ptr<Json> value = readValue();
        skipBlanks();
        return m_at == m_text.size() ? value : nullptr;
    }

private:
    char16_t next() const { return m_at < m_text.size() ? m_text[m_at] : u'\0'; }
    void skipBlanks() {
        while (next() == u' ' || next() == u'\t' || next() == u'\r' || next() == u'\n')
            ++m_at;
    }
    bool take(std::u16string_view word) {
        if (m_text.compare(m_at, word.size(), word) != 0) return false;
        m_at += word.size();
        return true;
    }
    static std::shared_ptr<Json> make(Json json) { return std::make_shared<Json>(std::move(json)); }

    std::shared_ptr<Json> readValue() {
        skipBlanks();
        if (take(u"null")) return make({std::monostate()});
        if (take(u"true")) return make({true});
        if (take(u"false")) return make({false});
        if (next() == u'"') {
            std::u16string text;
            return readString(text) ? make({text}) : nullptr;
        }
        if (next() != u'{' && next() != u'[') return readNumber();
        if (++m_depth > kMostNested) return nullptr;
        std::shared_ptr<Json> value = take(u"{") ? readObject() : readArray();
        --m_depth;
        return value;
    }

    std::shared_ptr<Json> readObject() {
        JsonMembers members;
        skipBlanks();
        if (take(u"}")) return make({members});
        do {
            skipBlanks();
            std::u16string name;
            if (!readString(name)) return nullptr;
            skipBlanks();
            if (!take(u":")) return nullptr;
            members[name] = readValue();
            if (!members[name]) return nullptr;
            skipBlanks();
        } while (take(u","));
        return take(u"}") ? make({members}) : nullptr;
    }

    std::shared_ptr<Json> readArray() {
        JsonItems items;
        ++m_at;
        skipBlanks();
        if (take(u"]")) return make({items});
        do {
            items.push_back(readValue());
            if (!items.back()) return nullptr;
            skipBlanks();
        } while (take(u","));
        return take(u"]") ? make({items}) : nullptr;
    }

    bool readString(std::u16string& text) {
        if (!take(u"\"")) return false;
        while (m_at < m_text.size() && next() != u'"') {
            if (next() < u' ') return false;
            if (next() != u'\\') {
                text += m_text[m_at++];
            } else if (!readEscape(text)) {
                return false;
            }
        }
        return take(u"\"");
    }

    bool readEscape(std::u16string& text) {
        ++m_at;
        const char16_t letter = next();
        ++m_at;
        if (letter == u'u') return readUnit(text);
        static const std::u16string kLetters = u"\"\\/bfnrt";
        static const std::u16string kMeanings = u"\"\\/\b\f\n\r\t";
        const size_t index = kLetters.find(letter);
        if (letter == 0 || index == std::u16string::npos) return false;
        text += kMeanings[index];
        return true;
    }

    bool readUnit(std::u16string& text) {
        unsigned unit = 0;
        for (int digit = 0; digit < 4; ++digit, ++m_at) {
            const char16_t letter = next();
            if (letter >= u'0' && letter <= u'9') {
                unit = unit * 16 + (letter - u'0');
            } else if (letter >= u'a' && letter <= u'f') {
                unit = unit * 16 + (letter - u'a' + 10u);
            } else if (letter >= u'A' && letter <= u'F') {
                unit = unit * 16 + (letter - u'A' + 10u);
            } else {
                return false;
            }
        }
        text += static_cast<char16_t>(unit);
        return true;
    }

    bool takeDigits(std::string& number) {
        const size_t before = number.size();
        while (next() >= u'0' && next() <= u'9')
            number += static_cast<char>(m_text[m_at++]);
        return number.size() > before;
    }

    std::shared_ptr<Json> readNumber() {
        std::string number;
        if (take(u"-")) number += '-';
        const bool startsWithZero = next() == u'0';
        const size_t before = number.size();
        if (!takeDigits(number)) return nullptr;
        if (startsWithZero && number.size() > before + 1) return nullptr;
        if (take(u".")) {
            number += '.';
            if (!takeDigits(number)) return nullptr;
        }
        if (next() == u'e' || next() == u'E') {
            ++m_at;
            number += 'e';
            if (next() == u'+' || next() == u'-') number += static_cast<char>(m_text[m_at++]);
            if (!takeDigits(number)) return nullptr;
        }
        const double value = std::strtod(number.c_str(), nullptr);
        // Too big for a number, or so small that nothing is left of it.
        const std::string digits = number.substr(0, number.find('e'));
        const bool isLost = value == 0 && digits.find_first_of("123456789") != std::string::npos;
        return std::isinf(value) || isLost ? nullptr : make({value});
    }

    const std::u16string& m_text;
    size_t m_at = 0;
    size_t m_depth = 0;
};

}  // namespace

std::shared_ptr<Json> parsed(const std::u16string& text) {
    return Parser(text).parse();
}

bool isSame(const Json& one, const Json& other) {
    if (one.content.index() != other.content.index()) return false;
    if (const auto* const members = one.members()) {
        const JsonMembers& others = *other.members();
        if (members->size() != others.size()) return false;
        for (const auto& [name, value] : *members) {
            const auto found = others.find(name);
            if (found == others.end() || !isSame(*value, *found->second)) return false;
        }
        return true;
    }
    if (const auto* const items = std::get_if<JsonItems>(&one.content)) {
        const auto& others = std::get<JsonItems>(other.content);
        if (items->size() != others.size()) return false;
        for (size_t i = 0; i < items->size(); ++i) {
            if (!isSame(*(*items)[i], *others[i])) return false;
        }
        return true;
    }
    return one.content == other.content;
}

bool hasLoneSurrogate(const std::u16string& text) {
    for (size_t i = 0; i < text.size(); ++i) {
        const bool isFirst = text[i] >= 0xD800 && text[i] < 0xDC00;
        const bool hasSecond = i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
        if (isFirst && hasSecond) {
            ++i;
        } else if (text[i] >= 0xD800 && text[i] < 0xE000) {
            return true;
        }
    }
    return false;
}

bool hasLoneSurrogate(const Json& json) {
    if (const auto* const text = std::get_if<std::u16string>(&json.content))
        return hasLoneSurrogate(*text);
    if (const auto* const items = std::get_if<JsonItems>(&json.content))
        return std::any_of(items->begin(), items->end(),
                           [](const auto& item) { return hasLoneSurrogate(*item); });
    const JsonMembers* const members = json.members();
    return members && std::any_of(members->begin(), members->end(), [](const auto& member) {
               return hasLoneSurrogate(member.first) || hasLoneSurrogate(*member.second);
           });
}

std::optional<std::u16string> decoded(std::string_view utf8) {
    std::u16string text;
    for (size_t i = 0; i < utf8.size();) {
        const auto byte = [&](size_t k) {
            return i + k < utf8.size() ? static_cast<unsigned char>(utf8[i + k]) : 0u;
        };
        const auto follows = [&](size_t k) { return byte(k) >= 0x80 && byte(k) < 0xC0; };
        unsigned code = 0;
        size_t length = 0;
        if (byte(0) < 0x80) {
            code = byte(0);
            length = 1;
        } else if (byte(0) >= 0xC2 && byte(0) < 0xE0 && follows(1)) {
            code = (byte(0) - 0xC0) * 64 + (byte(1) - 0x80);
            length = 2;
        } else if (byte(0) >= 0xE0 && byte(0) < 0xF0 && follows(1) && follows(2)) {
            code = ((byte(0) - 0xE0) * 64 + (byte(1) - 0x80)) * 64 + (byte(2) - 0x80);
            length = 3;
            if (code < 0x800) return std::nullopt;
        } else if (byte(0) >= 0xF0 && byte(0) < 0xF5 && follows(1) && follows(2) && follows(3)) {
            code = (((byte(0) - 0xF0) * 64 + (byte(1) - 0x80)) * 64 + (byte(2) - 0x80)) * 64 +
                   (byte(3) - 0x80);
            length = 4;
            if (code < 0x10000 || code > 0x10FFFF) return std::nullopt;
        } else {
            return std::nullopt;
        }
        i += length;
        if (code < 0x10000) {
            text += static_cast<char16_t>(code);
        } else {
            text += static_cast<char16_t>(0xD800 + (code - 0x10000) / 1024);
            text += static_cast<char16_t>(0xDC00 + (code - 0x10000) % 1024);
        }
    }
    return text;
}

}  // namespace model
