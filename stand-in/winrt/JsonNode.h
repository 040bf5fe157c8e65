#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "JsonAbi.h"

namespace standin {

struct JsonNode;
using JsonNodePointer = std::shared_ptr<JsonNode>;

// The members of a JSON object, in the order in which their names came. A replaced one keeps its place.
class JsonMembers {
public:
    using Member = std::pair<std::wstring, JsonNodePointer>;

    // True: there was one of that name.
    bool set(const std::wstring& name, JsonNodePointer value);
    bool remove(const std::wstring& name);
    void clear();
    JsonNodePointer find(const std::wstring& name) const;  // null: none
    const std::vector<Member>& all() const { return m_members; }

private:
    std::vector<Member> m_members;
    std::unordered_map<std::wstring, size_t> m_places;
};

// One JSON value. Objects and arrays are shared by all who hold them.
struct JsonNode {
    using Items = std::vector<JsonNodePointer>;

    // In the order of abi::JsonValueType.
    std::variant<std::monostate, bool, double, std::wstring, Items, JsonMembers> content;

    abi::JsonValueType type() const { return static_cast<abi::JsonValueType>(content.index()); }
};

template <typename Content>
JsonNodePointer makeNode(Content content) {
    auto node = std::make_shared<JsonNode>();
    node->content = std::move(content);
    return node;
}

// The value that the text holds. S_OK, WEB_E_INVALID_JSON_STRING or WEB_E_INVALID_JSON_NUMBER.
HRESULT parseJson(const std::wstring& text, JsonNodePointer& value);

// The text of a value, without white space between its tokens.
std::wstring stringifyJson(const JsonNode& value);

}  // namespace standin
