#pragma once

#include <string>
#include <vector>

#include "platform/Windows.h"

// An open registry key, closed by the destructor. Each failure is logged in one line and then
// thrown as an UnknownException.
class RegistryKey {
public:
    // Opens `subKey` under `root` (a predefined root or another key) with full access. Required:
    // opening also creates, even where the caller only reads. `subKey` is kept, not copied, for
    // `m_name`. Throws.
    RegistryKey(HKEY root, const wchar_t* subKey);
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;
    ~RegistryKey();

    // The bytes of a value, as RegGetValueW gives them; `flags` restricts its type (RRF_RT_...).
    // `out` may end in bytes that were announced but not filled. Throws.
    void readValue(std::vector<BYTE>& out, const wchar_t* valueName, DWORD flags) const;

    // The names of the direct subkeys, in the registry's order. A name of 255 characters or more is
    // passed over; a key that cannot be asked counts as one without subkeys.
    void enumerateSubKeys(std::vector<std::wstring>& out) const;

    HKEY m_key = nullptr;
    const wchar_t* m_name;
};

// The text of a string value: up to the first null character, or to the end of the bytes.
std::wstring textOfValue(const std::vector<BYTE>& bytes);

// The text of a value of `key`. Throws like RegistryKey::readValue.
std::wstring readText(const RegistryKey& key, const wchar_t* valueName, DWORD flags);
