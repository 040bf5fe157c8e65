#include "../Text.h"
#include "JsonBase.h"

namespace standin {

namespace {

class JsonValue : public JsonBase<abi::IJsonValue, abi::IStringable> {
public:
    explicit JsonValue(JsonNodePointer value) : JsonBase("JsonValue", std::move(value)) {}
};

template <typename Content, typename Result, typename Give>
HRESULT giveContent(const JsonNodePointer& node, Result* result, Give give) {
    if (result == nullptr) return E_POINTER;
    const auto* const content = std::get_if<Content>(&node->content);
    return content == nullptr ? E_ILLEGAL_METHOD_CALL : give(*content);
}

}  // namespace

abi::IJsonValue* makeJsonValue(JsonNodePointer node) {
    return makeObject<JsonValue>(std::move(node));
}

HRESULT giveJson(const JsonNodePointer& node, abi::IJsonValue** value) {
    if (value == nullptr) return E_POINTER;
    if (node->type() == abi::JsonValueType::Object) {
        *value = dynamic_cast<abi::IJsonValue*>(makeJsonObject(node));
    } else if (node->type() == abi::JsonValueType::Array) {
        *value = dynamic_cast<abi::IJsonValue*>(makeJsonArray(node));
    } else {
        *value = makeJsonValue(node);
    }
    return S_OK;
}

HRESULT giveJson(const JsonNodePointer& node, abi::IJsonObject** value) {
    return giveContent<JsonMembers>(node, value, [&](const JsonMembers&) {
        *value = makeJsonObject(node);
        return S_OK;
    });
}

HRESULT giveJson(const JsonNodePointer& node, abi::IJsonArray** value) {
    return giveContent<JsonNode::Items>(node, value, [&](const JsonNode::Items&) {
        *value = makeJsonArray(node);
        return S_OK;
    });
}

HRESULT giveJson(const JsonNodePointer& node, HSTRING* value) {
    return giveContent<std::wstring>(
        node, value, [&](const std::wstring& text) { return giveString(text, value); });
}

HRESULT giveJson(const JsonNodePointer& node, DOUBLE* value) {
    return giveContent<double>(node, value, [&](double number) {
        *value = number;
        return S_OK;
    });
}

HRESULT giveJson(const JsonNodePointer& node, boolean* value) {
    return giveContent<bool>(node, value, [&](bool isTrue) {
        *value = isTrue ? 1 : 0;
        return S_OK;
    });
}

JsonNodePointer nodeOf(abi::IJsonValue* value) {
    const auto* const holder = dynamic_cast<const JsonHolder*>(value);
    return holder == nullptr ? nullptr : holder->node();
}

std::string jsonText(const JsonNode& node) {
    return toUtf8(stringifyJson(node));
}

std::string jsonText(abi::IJsonValue* value) {
    const JsonNodePointer node = nodeOf(value);
    return node == nullptr ? "null pointer" : jsonText(*node);
}

}  // namespace standin
