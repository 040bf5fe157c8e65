#pragma once

#include <optional>
#include <string>
#include <vector>

#include "run/ExecutablePermissions.h"
#include "stand-in/Text.h"
#include "support/LogTest.h"

constexpr wchar_t kLocalDumps[] =
    L"SOFTWARE\\Microsoft\\Windows\\Windows Error Reporting\\LocalDumps\\";
constexpr wchar_t kFolder[] = L"%LOCALAPPDATA%\\Packages\\Velta.QK_kt83f9rd2xj6a\\AC\\Dumps";

inline std::string bytesOf(const std::wstring& text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

inline const RegistryValue kDumpCount = {REG_DWORD, std::string("\x02\0\0\0", 4)};
inline const RegistryValue kDumpType = {REG_DWORD, std::string("\0\0\0\0", 4)};
inline const RegistryValue kCustomDumpFlags = {REG_DWORD, std::string("\xA4\x05\x12\0", 4)};
// The registry adds the terminator that the size left out.
inline const RegistryValue kDumpFolder = {REG_EXPAND_SZ,
                                          bytesOf(std::wstring(kFolder, std::size(kFolder)))};

class CrashDumpsTest : public LogTest {
protected:
    CrashDumpsTest() {
        ::SetEnvironmentVariableW(L"LOCALAPPDATA", L"C:\\Users\\anna\\AppData\\Local");
        permissions.m_packageFamilyName = Platform::String(L"Velta.QK_kt83f9rd2xj6a");
        permissions.m_executableName = Platform::String(L"QK.exe");
    }

    bool registerDumps() {
        machine.trace.clear();
        return permissions.registerCrashDumps();
    }

    std::optional<RegistryValue> value(const std::wstring& name) const {
        return registry.value(HKEY_LOCAL_MACHINE, key, name);
    }
    void store(const std::wstring& name, const RegistryValue& stored) {
        registry.setValue(HKEY_LOCAL_MACHINE, key, name, stored);
    }
    void storeFolder(DWORD type, const std::wstring& text) {
        registry.setText(HKEY_LOCAL_MACHINE, key, L"DumpFolder", text, type);
    }
    // Names of the values that were written, in order.
    std::vector<std::string> written() const {
        std::vector<std::string> names;
        for (const standin::Call& call : machine.trace.all()) {
            if (call.name == "RegSetValueExW") names.push_back(call.arguments[1]);
        }
        return names;
    }

    const std::wstring key = std::wstring(kLocalDumps) + L"QK.exe";
    const std::string keyLine = "rootKey at: " + standin::toUtf8(key) + "\n";
    ExecutablePermissions permissions;
};
