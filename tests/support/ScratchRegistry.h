#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "stand-in/Windows.h"

struct RegistryValue {
    DWORD type = REG_NONE;
    std::string bytes;

    bool operator==(const RegistryValue&) const = default;
};

// A registry of the test's own: HKEY_LOCAL_MACHINE with its hives SOFTWARE and SYSTEM, HKEY_USERS
// without any hive, and HKEY_CLASSES_ROOT, which is HKEY_LOCAL_MACHINE\SOFTWARE\Classes. Gone at
// the end. None of its calls is seen by a mounted machine; they throw std::runtime_error when they
// cannot do what they are for.
class ScratchRegistry {
public:
    ScratchRegistry();
    // The registry at that key under HKEY_CURRENT_USER, made if need be; it stays at the end.
    explicit ScratchRegistry(const std::wstring& lastingRoot);
    ~ScratchRegistry();
    ScratchRegistry(const ScratchRegistry&) = delete;
    ScratchRegistry& operator=(const ScratchRegistry&) = delete;

    // The key under HKEY_CURRENT_USER that all of it lies in.
    const std::wstring& root() const { return m_root; }

    void makeKey(HKEY root, const std::wstring& path);
    void removeKey(HKEY root, const std::wstring& path);
    bool hasKey(HKEY root, const std::wstring& path) const;
    std::vector<std::wstring> subKeys(HKEY root, const std::wstring& path) const;

    // Values as they are stored; the key is made if need be.
    void setValue(HKEY root, const std::wstring& path, const std::wstring& name,
                  const RegistryValue& value);
    void setText(HKEY root, const std::wstring& path, const std::wstring& name,
                 const std::wstring& text, DWORD type = REG_SZ);
    std::optional<RegistryValue> value(HKEY root, const std::wstring& path,
                                       const std::wstring& name) const;
    // All values of a key by name, the default value as "".
    std::map<std::wstring, RegistryValue> values(HKEY root, const std::wstring& path) const;
    // A stored text up to its terminator; empty if it is missing.
    std::wstring text(HKEY root, const std::wstring& path, const std::wstring& name) const;

    // A user's hive, which appears under HKEY_USERS while the user is logged on. With a machine
    // mounted nothing can be opened or created below a hive that is not loaded.
    void loadHive(const std::wstring& sid) { makeKey(HKEY_USERS, sid); }
    void unloadHive(const std::wstring& sid) { removeKey(HKEY_USERS, sid); }

    // Lets nobody open the key any more; or lets in whom another list, in the descriptor language,
    // lets in. Undone at the end.
    void restrictAccess(HKEY root, const std::wstring& path, const wchar_t* dacl = L"D:P");

private:
    void map();

    std::wstring m_root;
    bool m_isLasting = false;
    std::vector<HKEY> m_restricted;  // open with the right to lift the restriction
};
