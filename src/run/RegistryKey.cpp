#include "run/RegistryKey.h"

#include <cstring>

#include "platform/StandardExceptions.h"
#include "run/ConfiguratorLog.h"

RegistryKey::RegistryKey(HKEY root, const wchar_t* subKey) : m_name(subKey) {
    const LSTATUS status = ::RegCreateKeyExW(root, subKey, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                             KEY_ALL_ACCESS, nullptr, &m_key, nullptr);
    if (status != ERROR_SUCCESS) {
        g_configuratorLog->beginLine() << "Exception while opening key \"" << m_name
                                       << "\" with ErrorCode " << status << "." << std::endl;
        throw UnknownException();
    }
}

RegistryKey::~RegistryKey() {
    ::RegCloseKey(m_key);
}

void RegistryKey::readValue(std::vector<BYTE>& out, const wchar_t* valueName, DWORD flags) const {
    DWORD size = 0;
    LSTATUS status = ::RegGetValueW(m_key, nullptr, valueName, flags, nullptr, nullptr, &size);
    if (status != ERROR_SUCCESS) {
        g_configuratorLog->beginLine()
            << "Exception while reading value size of value \"" << valueName << "\" with ErrorCode "
            << status << "." << std::endl;
        throw UnknownException();
    }

    out.clear();
    out.resize(size);
    status = ::RegGetValueW(m_key, nullptr, valueName, flags, nullptr, out.data(), &size);
    if (status != ERROR_SUCCESS) {
        g_configuratorLog->beginLine() << "Exception while reading value \"" << valueName
                                       << "\" with ErrorCode " << status << "." << std::endl;
        throw UnknownException();
    }
}

void RegistryKey::enumerateSubKeys(std::vector<std::wstring>& out) const {
    DWORD count = 0;
    DWORD longestName = 0;
    ::RegQueryInfoKeyW(m_key, nullptr, nullptr, nullptr, &count, &longestName, nullptr, nullptr,
                       nullptr, nullptr, nullptr, nullptr);

    out.clear();
    for (DWORD index = 0; index < count; ++index) {
        wchar_t name[256];
        DWORD capacity =
            255;  // Required: counts the terminator, so a name of 255 characters is passed over.
        const LSTATUS status = ::RegEnumKeyExW(m_key, index, name, &capacity, nullptr, nullptr,
                                               nullptr, nullptr);
        if (status == ERROR_SUCCESS) out.emplace_back(name, capacity);
    }
}

std::wstring textOfValue(const std::vector<BYTE>& bytes) {
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    if (!text.empty()) std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    text.resize(std::wcslen(text.c_str()));
    return text;
}

std::wstring readText(const RegistryKey& key, const wchar_t* valueName, DWORD flags) {
    std::vector<BYTE> bytes;
    key.readValue(bytes, valueName, flags);
    return textOfValue(bytes);
}
