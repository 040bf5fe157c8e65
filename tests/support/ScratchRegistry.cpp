#include "support/ScratchRegistry.h"

#include <cstring>
#include <stdexcept>

#include "stand-in/Machine.h"
#include "stand-in/PrivateRegistry.h"
#include "stand-in/Text.h"

using standin::Untraced;

namespace {

void require(LSTATUS status, const std::string& what, const std::wstring& path) {
    if (status == ERROR_SUCCESS) return;
    throw std::runtime_error(what + " " + standin::toUtf8(path) + ": error " + std::to_string(status));
}

class Key {
public:
    Key(HKEY root, const std::wstring& path, REGSAM access) {
        m_status = ::RegOpenKeyExW(root, path.c_str(), 0, access, &m_key);
    }
    ~Key() {
        if (m_key != nullptr) ::RegCloseKey(m_key);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    HKEY get() const { return m_key; }
    LSTATUS status() const { return m_status; }

private:
    HKEY m_key = nullptr;
    LSTATUS m_status;
};

LSTATUS setAccess(HKEY key, const wchar_t* dacl) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(dacl, SDDL_REVISION_1, &descriptor,
                                                                nullptr)) {
        return static_cast<LSTATUS>(::GetLastError());
    }
    const LSTATUS status = ::RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor);
    ::LocalFree(descriptor);
    return status;
}

}  // namespace

ScratchRegistry::ScratchRegistry() {
    static int count = 0;
    const Untraced untraced;
    // A process that died, and had the same number, may have left something behind.
    LSTATUS removed = ERROR_SUCCESS;
    do {
        m_root = L"Software\\stand-in\\" + std::to_wstring(::GetCurrentProcessId()) + L"-" +
                 std::to_wstring(++count);
        removed = ::RegDeleteTreeW(HKEY_CURRENT_USER, m_root.c_str());
    } while (removed != ERROR_SUCCESS && removed != ERROR_FILE_NOT_FOUND);
    map();
}

ScratchRegistry::ScratchRegistry(const std::wstring& lastingRoot)
    : m_root(lastingRoot), m_isLasting(true) {
    const Untraced untraced;
    map();
}

void ScratchRegistry::map() {
    standin::mapRegistry(m_root);
    makeKey(HKEY_LOCAL_MACHINE, L"SOFTWARE");
    makeKey(HKEY_LOCAL_MACHINE, L"SYSTEM");
}

ScratchRegistry::~ScratchRegistry() {
    const Untraced untraced;
    for (const HKEY key : m_restricted) {
        setAccess(key, L"D:(A;;KA;;;WD)");
        ::RegCloseKey(key);
    }
    standin::unmapRegistry();
    if (!m_isLasting) ::RegDeleteTreeW(HKEY_CURRENT_USER, m_root.c_str());
}

void ScratchRegistry::makeKey(HKEY root, const std::wstring& path) {
    const Untraced untraced;
    HKEY key = nullptr;
    require(
        ::RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
        "cannot make key", path);
    ::RegCloseKey(key);
}

void ScratchRegistry::removeKey(HKEY root, const std::wstring& path) {
    const Untraced untraced;
    const LSTATUS status = ::RegDeleteTreeW(root, path.c_str());
    if (status != ERROR_FILE_NOT_FOUND) require(status, "cannot remove key", path);
}

bool ScratchRegistry::hasKey(HKEY root, const std::wstring& path) const {
    const Untraced untraced;
    return Key(root, path, KEY_QUERY_VALUE).status() == ERROR_SUCCESS;
}

std::vector<std::wstring> ScratchRegistry::subKeys(HKEY root, const std::wstring& path) const {
    const Untraced untraced;
    const Key key(root, path, KEY_READ);
    require(key.status(), "cannot open key", path);
    std::vector<std::wstring> names;
    wchar_t name[256] = {};
    DWORD length = 256;
    while (::RegEnumKeyExW(key.get(), static_cast<DWORD>(names.size()), name, &length, nullptr,
                           nullptr, nullptr, nullptr) == ERROR_SUCCESS) {
        names.emplace_back(name, length);
        length = 256;
    }
    return names;
}

void ScratchRegistry::setValue(HKEY root, const std::wstring& path, const std::wstring& name,
                               const RegistryValue& value) {
    const Untraced untraced;
    makeKey(root, path);
    const Key key(root, path, KEY_SET_VALUE);
    require(key.status(), "cannot open key", path);
    // The system looks behind the bytes for a terminator that was forgotten.
    const std::string bytes = value.bytes + "\xFF\xFF";
    require(::RegSetValueExW(key.get(), name.c_str(), 0, value.type,
                             reinterpret_cast<const BYTE*>(bytes.data()),
                             static_cast<DWORD>(value.bytes.size())),
            "cannot set a value of key", path);
}

void ScratchRegistry::setText(HKEY root, const std::wstring& path, const std::wstring& name,
                              const std::wstring& text, DWORD type) {
    const auto* const bytes = reinterpret_cast<const char*>(text.c_str());
    setValue(root, path, name, {type, std::string(bytes, (text.size() + 1) * sizeof(wchar_t))});
}

std::optional<RegistryValue> ScratchRegistry::value(HKEY root, const std::wstring& path,
                                                    const std::wstring& name) const {
    const Untraced untraced;
    const Key key(root, path, KEY_QUERY_VALUE);
    RegistryValue value;
    DWORD size = 0;
    if (key.status() != ERROR_SUCCESS ||
        ::RegQueryValueExW(key.get(), name.c_str(), nullptr, &value.type, nullptr, &size) !=
            ERROR_SUCCESS) {
        return std::nullopt;
    }
    value.bytes.resize(size);
    require(::RegQueryValueExW(key.get(), name.c_str(), nullptr, nullptr,
                               reinterpret_cast<BYTE*>(value.bytes.data()), &size),
            "cannot read a value of key", path);
    return value;
}

std::map<std::wstring, RegistryValue> ScratchRegistry::values(HKEY root,
                                                              const std::wstring& path) const {
    const Untraced untraced;
    const Key key(root, path, KEY_QUERY_VALUE);
    require(key.status(), "cannot open key", path);
    std::map<std::wstring, RegistryValue> values;
    wchar_t name[256] = {};
    DWORD length = 256;
    for (DWORD index = 0; ::RegEnumValueW(key.get(), index, name, &length, nullptr, nullptr,
                                          nullptr, nullptr) == ERROR_SUCCESS;
         ++index) {
        if (auto stored = value(root, path, name)) values.emplace(name, *std::move(stored));
        length = 256;
    }
    return values;
}

std::wstring ScratchRegistry::text(HKEY root, const std::wstring& path,
                                   const std::wstring& name) const {
    const auto stored = value(root, path, name);
    if (!stored) return {};
    std::wstring text(stored->bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), stored->bytes.data(), text.size() * sizeof(wchar_t));
    return text.substr(0, text.find(L'\0'));
}

void ScratchRegistry::restrictAccess(HKEY root, const std::wstring& path, const wchar_t* dacl) {
    const Untraced untraced;
    HKEY key = nullptr;
    require(::RegOpenKeyExW(root, path.c_str(), 0, WRITE_DAC, &key), "cannot open key", path);
    m_restricted.push_back(key);
    require(setAccess(key, dacl), "cannot restrict key", path);
}
