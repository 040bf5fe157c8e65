#pragma once

#include "JsonNode.h"

namespace standin {

// New objects for a value, each with one reference that the caller owns.
abi::IJsonValue* makeJsonValue(JsonNodePointer node);
abi::IJsonObject* makeJsonObject(JsonNodePointer node);
abi::IJsonArray* makeJsonArray(JsonNodePointer node);

// A value given to its asker. E_POINTER without a place for it, E_ILLEGAL_METHOD_CALL for a value of another type.
HRESULT giveJson(const JsonNodePointer& node, abi::IJsonValue** value);
HRESULT giveJson(const JsonNodePointer& node, abi::IJsonObject** value);
HRESULT giveJson(const JsonNodePointer& node, abi::IJsonArray** value);
HRESULT giveJson(const JsonNodePointer& node, HSTRING* value);
HRESULT giveJson(const JsonNodePointer& node, DOUBLE* value);
HRESULT giveJson(const JsonNodePointer& node, boolean* value);

// The value behind an interface of the machine; null for none.
JsonNodePointer nodeOf(abi::IJsonValue* value);

// Values as they stand in the trace.
std::string jsonText(const JsonNode& node);
std::string jsonText(abi::IJsonValue* value);

}  // namespace standin
