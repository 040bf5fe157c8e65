#pragma once

#include "Abi.h"

namespace standin {

constexpr wchar_t kJsonObjectClass[] = L"Windows.Data.Json.JsonObject";
constexpr wchar_t kJsonArrayClass[] = L"Windows.Data.Json.JsonArray";
constexpr wchar_t kJsonValueClass[] = L"Windows.Data.Json.JsonValue";

// The activation factories of the classes, with their static methods; the caller owns the reference.
IActivationFactory* makeJsonObjectFactory();
IActivationFactory* makeJsonArrayFactory();
IActivationFactory* makeJsonValueFactory();

}  // namespace standin
