#include <algorithm>
#include <cctype>
#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>

#include "../ErrorCodes.h"
#include "../Machine.h"
#include "JsonNode.h"

namespace standin {

namespace {

using Json = nlohmann::json;

// The limit that the platform documents for itself.
constexpr size_t kMostNestedContainers = 1024;

// Texts on this platform are 16-bit units, a surrogate without its partner included; the library
// works on valid UTF-8. So each unit beyond ASCII travels through it as a code of its own.
constexpr char32_t kUnitBase = 0x10000;

void appendUnit(std::string& stored, wchar_t unit) {
    if (unit < 0x80) {
        stored.push_back(static_cast<char>(unit));
        return;
    }
    const char32_t code = kUnitBase + unit;
    stored.push_back(static_cast<char>(0xF0 | (code >> 18)));
    stored.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
    stored.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
    stored.push_back(static_cast<char>(0x80 | (code & 0x3F)));
}

std::string toStored(std::wstring_view text) {
    std::string stored;
    for (const wchar_t unit : text)
        appendUnit(stored, unit);
    return stored;
}

std::wstring fromStored(std::string_view stored) {
    std::wstring text;
    for (size_t i = 0; i < stored.size(); ++i) {
        const auto bits = [&](size_t k) {
            return static_cast<char32_t>(static_cast<unsigned char>(stored[i + k]) & 0x3F);
        };
        if (static_cast<unsigned char>(stored[i]) < 0x80) {
            text.push_back(static_cast<wchar_t>(stored[i]));
        } else {
            const char32_t code = bits(0) << 18 | bits(1) << 12 | bits(2) << 6 | bits(3);
            text.push_back(static_cast<wchar_t>(code - kUnitBase));
            i += 3;
        }
    }
    return text;
}

// The unit that the four digits at the front of the text name.
std::optional<wchar_t> readHex(std::wstring_view text) {
    if (text.size() < 4) return std::nullopt;
    unsigned value = 0;
    for (const wchar_t digit : text.substr(0, 4)) {
        if (digit >= 0x80 || !std::isxdigit(digit)) return std::nullopt;
        value = value * 16 +
                static_cast<unsigned>(digit <= L'9' ? digit - L'0' : (digit | 0x20) - L'a' + 10);
    }
    return static_cast<wchar_t>(value);
}

// JSON text for the library; escapes that name a unit beyond ASCII are resolved. Nothing for text
// with a NUL, which the library would take for its end.
std::optional<std::string> storedJson(std::wstring_view text) {
    std::string stored;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == L'\0') return std::nullopt;
        if (text[i] != L'\\' || i + 1 == text.size()) {
            appendUnit(stored, text[i]);
            continue;
        }
        const auto named = text[i + 1] == L'u' ? readHex(text.substr(i + 2)) : std::nullopt;
        if (named && *named >= 0x80) {
            appendUnit(stored, *named);
            i += 5;
        } else {
            appendUnit(stored, text[i]);
            appendUnit(stored, text[++i]);
        }
    }
    return stored;
}

// Builds the value while the library reads its text.
class Builder : public nlohmann::json_sax<Json> {
public:
    HRESULT error = WEB_E_INVALID_JSON_STRING;

    JsonNodePointer takeValue() { return std::move(m_value); }

    bool null() override { return add(std::make_shared<JsonNode>()); }
    bool boolean(bool value) override { return add(makeNode(value)); }
    bool number_integer(number_integer_t value) override {
        return add(makeNode(static_cast<double>(value)));
    }
    bool number_unsigned(number_unsigned_t value) override {
        return add(makeNode(static_cast<double>(value)));
    }
    bool number_float(number_float_t value, const string_t& text) override {
        // Too small a number comes out as zero.
        const std::string digits = text.substr(0, text.find_first_of("eE"));
        if (value == 0 && digits.find_first_of("123456789") != std::string::npos) {
            error = WEB_E_INVALID_JSON_NUMBER;
            return false;
        }
        return add(makeNode(value));
    }
    bool string(string_t& value) override { return add(makeNode(fromStored(value))); }
    bool binary(binary_t&) override { return false; }
    bool start_object(size_t) override { return open(makeNode(JsonMembers())); }
    bool start_array(size_t) override { return open(makeNode(JsonNode::Items())); }
    bool key(string_t& name) override {
        m_names.push_back(fromStored(name));
        return true;
    }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool parse_error(size_t, const std::string&, const Json::exception& exception) override {
        constexpr int kNumberOverflow = 406;
        if (exception.id == kNumberOverflow) error = WEB_E_INVALID_JSON_NUMBER;
        return false;
    }

private:
    bool open(JsonNodePointer container) {
        if (m_open.size() == kMostNestedContainers) return false;
        m_open.push_back(std::move(container));
        return true;
    }
    bool close() {
        JsonNodePointer container = std::move(m_open.back());
        m_open.pop_back();
        return add(std::move(container));
    }
    bool add(JsonNodePointer value) {
        if (m_open.empty()) {
            m_value = std::move(value);
        } else if (auto* const items = std::get_if<JsonNode::Items>(&m_open.back()->content)) {
            items->push_back(std::move(value));
        } else {
            std::get<JsonMembers>(m_open.back()->content).set(m_names.back(), std::move(value));
            m_names.pop_back();
        }
        return true;
    }

    JsonNodePointer m_value;
    std::vector<JsonNodePointer> m_open;
    std::vector<std::wstring> m_names;  // of the members whose values are still to come
};

std::wstring stringText(std::wstring_view text) {
    return fromStored(Json(toStored(text)).dump());
}

std::wstring numberText(double number) {
    constexpr double kExactLimit = 1e15;
    const bool isWhole = std::trunc(number) == number && std::abs(number) < kExactLimit;
    return fromStored(isWhole ? Json(static_cast<int64_t>(number)).dump() : Json(number).dump());
}

std::wstring joined(const std::vector<std::wstring>& parts) {
    std::wstring text;
    for (const std::wstring& part : parts) {
        if (!text.empty()) text += L',';
        text += part;
    }
    return text;
}

std::wstring itemsText(const JsonNode::Items& items) {
    std::vector<std::wstring> parts;
    for (const JsonNodePointer& item : items)
        parts.push_back(stringifyJson(*item));
    return L'[' + joined(parts) + L']';
}

std::wstring membersText(const JsonMembers& members) {
    std::vector<std::wstring> parts;
    for (const auto& [name, value] : members.all())
        parts.push_back(stringText(name) + L':' + stringifyJson(*value));
    if (Machine::get().state.json.reversesKeys) std::reverse(parts.begin(), parts.end());
    return L'{' + joined(parts) + L'}';
}

}  // namespace

HRESULT parseJson(const std::wstring& text, JsonNodePointer& value) {
    const std::optional<std::string> stored = storedJson(text);
    if (!stored) return WEB_E_INVALID_JSON_STRING;
    Builder builder;
    if (!Json::sax_parse(*stored, &builder)) return builder.error;
    value = builder.takeValue();
    return S_OK;
}

std::wstring stringifyJson(const JsonNode& value) {
    switch (value.type()) {
        case abi::JsonValueType::Null:
            return L"null";
        case abi::JsonValueType::Boolean:
            return std::get<bool>(value.content) ? L"true" : L"false";
        case abi::JsonValueType::Number:
            return numberText(std::get<double>(value.content));
        case abi::JsonValueType::String:
            return stringText(std::get<std::wstring>(value.content));
        case abi::JsonValueType::Array:
            return itemsText(std::get<JsonNode::Items>(value.content));
        case abi::JsonValueType::Object:
            break;
    }
    return membersText(std::get<JsonMembers>(value.content));
}

}  // namespace standin
