#include "RegistryValue.h"

#include <cstring>
#include <string>
#include <vector>

namespace standin {

namespace {

struct Value {
    DWORD type = REG_NONE;
    std::vector<BYTE> bytes;

    bool isText() const { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }
};

LSTATUS readStored(HKEY key, LPCWSTR name, Value& value) {
    DWORD size = 0;
    LSTATUS status = ::RegQueryValueExW(key, name, nullptr, &value.type, nullptr, &size);
    if (status != ERROR_SUCCESS) return status;
    // The value may grow between the two questions.
    do {
        // Wine ends a text that has no end even where a single byte, or none, is left for it.
        value.bytes.resize(size + sizeof(wchar_t));
        status = ::RegQueryValueExW(key, name, nullptr, &value.type, value.bytes.data(), &size);
    } while (status == ERROR_MORE_DATA);
    if (status == ERROR_SUCCESS) value.bytes.resize(size);
    return status;
}

bool isAllowed(DWORD type, DWORD flags) {
    switch (type) {
        case REG_NONE:
            return (flags & RRF_RT_REG_NONE) != 0;
        case REG_SZ:
            return (flags & RRF_RT_REG_SZ) != 0;
        case REG_EXPAND_SZ:
            return (flags & RRF_RT_REG_EXPAND_SZ) != 0;
        case REG_BINARY:
            return (flags & RRF_RT_REG_BINARY) != 0;
        case REG_DWORD:
            return (flags & RRF_RT_REG_DWORD) != 0;
        case REG_MULTI_SZ:
            return (flags & RRF_RT_REG_MULTI_SZ) != 0;
        case REG_QWORD:
            return (flags & RRF_RT_REG_QWORD) != 0;
        default:
            return (flags & RRF_RT_ANY) == RRF_RT_ANY;
    }
}

std::wstring unitsOf(const std::vector<BYTE>& bytes) {
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    if (!text.empty()) std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    return text;
}

void store(const std::wstring& text, std::vector<BYTE>& bytes) {
    const auto* const begin = reinterpret_cast<const BYTE*>(text.data());
    bytes.assign(begin, begin + text.size() * sizeof(wchar_t));
}

void supplyTerminators(Value& value) {
    std::wstring text = unitsOf(value.bytes);
    const size_t wanted = value.type == REG_MULTI_SZ ? 2 : 1;
    while (!text.ends_with(std::wstring(wanted, L'\0')))
        text += L'\0';
    store(text, value.bytes);
}

void expand(Value& value) {
    const std::wstring stored = unitsOf(value.bytes);
    std::wstring expanded(::ExpandEnvironmentStringsW(stored.c_str(), nullptr, 0), L'\0');
    ::ExpandEnvironmentStringsW(stored.c_str(), expanded.data(), static_cast<DWORD>(expanded.size()));
    store(expanded, value.bytes);
    value.type = REG_SZ;
}

LSTATUS readValue(HKEY key, LPCWSTR name, DWORD flags, Value& value) {
    const LSTATUS status = readStored(key, name, value);
    if (status != ERROR_SUCCESS) return status;
    if (value.isText()) supplyTerminators(value);
    if (value.type == REG_EXPAND_SZ && (flags & RRF_NOEXPAND) == 0) expand(value);
    return isAllowed(value.type, flags) ? ERROR_SUCCESS : ERROR_UNSUPPORTED_TYPE;
}

LSTATUS hand(const Value& value, PVOID data, LPDWORD size) {
    const auto length = static_cast<DWORD>(value.bytes.size());
    const DWORD given = size == nullptr ? 0 : *size;
    if (size != nullptr)
        *size = data == nullptr && value.isText() ? length + sizeof(wchar_t) : length;
    if (data == nullptr) return ERROR_SUCCESS;
    if (given < length) return ERROR_MORE_DATA;
    if (length > 0) std::memcpy(data, value.bytes.data(), length);
    return ERROR_SUCCESS;
}

}  // namespace

LSTATUS WINAPI getRegistryValue(HKEY key, LPCWSTR subKey, LPCWSTR name, DWORD flags, LPDWORD type,
                                PVOID data, LPDWORD size) {
    const DWORD error = ::GetLastError();
    if (data != nullptr && size == nullptr) return ERROR_INVALID_PARAMETER;
    // Expanding and asking for the unexpanded type alone exclude each other.
    if ((flags & RRF_RT_REG_EXPAND_SZ) != 0 && (flags & RRF_NOEXPAND) == 0 &&
        (flags & RRF_RT_ANY) != RRF_RT_ANY) {
        return ERROR_INVALID_PARAMETER;
    }
    HKEY opened = key;
    LSTATUS status = ERROR_SUCCESS;
    const bool hasSubKey = subKey != nullptr && *subKey != 0;
    if (hasSubKey) status = ::RegOpenKeyExW(key, subKey, 0, KEY_QUERY_VALUE, &opened);

    Value value;
    const DWORD given = size == nullptr ? 0 : *size;
    if (status == ERROR_SUCCESS) {
        status = readValue(opened, name, flags, value);
        if (hasSubKey) ::RegCloseKey(opened);
        if (type != nullptr && (status == ERROR_SUCCESS || status == ERROR_UNSUPPORTED_TYPE))
            *type = value.type;
    }
    if (status == ERROR_SUCCESS) status = hand(value, data, size);
    if (status != ERROR_SUCCESS && data != nullptr && (flags & RRF_ZEROONFAILURE) != 0)
        std::memset(data, 0, given);
    ::SetLastError(error);
    return status;
}

}  // namespace standin
