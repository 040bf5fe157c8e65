#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "Windows.h"

namespace standin {

// Values as they stand in the trace. Texts are UTF-8 in double quotes, control characters as \0 or \u001F.
std::string quote(std::wstring_view text);
std::string quote(const wchar_t* text);  // "null" for none
std::string quote(const char* text);
std::string hexText(uint64_t value);
std::string hresultText(HRESULT result);
std::string bytesText(const void* data, size_t size);

// Handles and memory by the ledger's name for them.
std::string handleText(const void* handle);
std::string keyText(HKEY key);
std::string hstringText(HSTRING text);
std::string guidText(const GUID& id);
std::string sidText(PSID sid);
std::string accessListText(const ACL* list);

// Arguments that the callee reads.
inline std::string input(char, const wchar_t* text) {
    return quote(text);
}
inline std::string input(char, HKEY key) {
    return keyText(key);
}
inline std::string input(char, HSTRING text) {
    return hstringText(text);
}
inline std::string input(char, HMODULE module) {
    return handleText(module);
}
inline std::string input(char, HWND window) {
    return window == nullptr ? "null" : "window";
}
inline std::string input(char, const GUID& id) {
    return guidText(id);
}
inline std::string input(char, const char* text) {
    return reinterpret_cast<uintptr_t>(text) < 0x10000 ? hexText(reinterpret_cast<uintptr_t>(text))
                                                       : quote(text);
}
inline std::string input(char letter, void* value) {
    if (letter == 's') return sidText(value);
    if (letter == 'h') return handleText(value);
    return value == nullptr ? "null" : "given";
}
inline std::string input(char letter, ACL* list) {
    if (letter == 'a') return accessListText(list);
    return list == nullptr ? "null" : "given";
}
inline std::string input(char letter, wchar_t* text) {
    if (letter == 't') return quote(text);
    return text == nullptr ? "null" : "given";
}
template <typename T>
std::string input(char letter, const T& value) {
    if constexpr (std::is_enum_v<T>) {
        return std::to_string(static_cast<long long>(value));
    } else if constexpr (std::is_integral_v<T>) {
        return letter == 'x' ? hexText(static_cast<std::make_unsigned_t<T>>(value))
                             : std::to_string(value);
    } else if constexpr (std::is_pointer_v<T>) {
        return value == nullptr ? "null" : "given";
    } else {
        return "given";
    }
}

// Arguments that the callee fills; read only after a success.
inline std::string output(wchar_t* text) {
    return quote(text);
}
inline std::string output(wchar_t** text) {
    return quote(*text);
}
inline std::string output(HKEY* key) {
    return keyText(*key);
}
std::string output(void** handle);
inline std::string output(HSTRING* text) {
    return hstringText(*text);
}
inline std::string output(WIN32_FIND_DATAW* found) {
    return quote(found->cFileName);
}
template <typename T>
std::string output(T* value) {
    if constexpr (std::is_integral_v<T>) {
        return std::to_string(*value);
    } else {
        return "out";
    }
}

// Whether an argument of this type is filled by the callee.
template <typename T>
constexpr bool isOutput(char letter) {
    if (letter != '.' && letter != 'i') return false;
    if constexpr (std::is_same_v<T, HKEY> || std::is_same_v<T, HSTRING> ||
                  std::is_same_v<T, HMODULE> || std::is_same_v<T, HWND> || std::is_same_v<T, void*>) {
        return false;
    } else if constexpr (std::is_pointer_v<T>) {
        using Pointed = std::remove_pointer_t<T>;
        return !std::is_const_v<Pointed> && !std::is_function_v<Pointed>;
    } else {
        return false;
    }
}

}  // namespace standin
