#include <cwchar>
#include <exception>
#include <string>
#include <vector>

#include "platform/StandardExceptions.h"
#include "platform/Windows.h"
#include "run/ConfiguratorLog.h"
#include "run/ExecutablePermissions.h"
#include "run/RegistryKey.h"

namespace {

constexpr wchar_t kDumpFolder[] = L"DumpFolder";

constexpr DWORD kDumpCount = 2;
constexpr DWORD kCustomDump = 0;
// MiniDumpWithHandleData, WithUnloadedModules, FilterModulePaths, WithProcessThreadData,
// WithoutOptionalData, IgnoreInaccessibleMemory, FilterTriage.
constexpr DWORD kCustomDumpFlags = 0x4 | 0x20 | 0x80 | 0x100 | 0x400 | 0x20000 | 0x100000;

struct DumpValue {
    const wchar_t* name;
    DWORD type;
    const void* data;
    DWORD sizeInBytes;
};

// Required: the result is not looked at; a refused write is not noticed.
void writeValue(const RegistryKey& key, const DumpValue& value) {
    ::RegSetValueExW(key.m_key, value.name, 0, value.type, static_cast<const BYTE*>(value.data),
                     value.sizeInBytes);
}

// Writes what is missing; of what exists only the dump folder is brought up to date. Throws when that cannot be read.
void registerValue(const RegistryKey& key, const DumpValue& value, const std::wstring& dumpFolder) {
    DWORD type = 0;
    if (::RegQueryValueExW(key.m_key, value.name, nullptr, &type, nullptr, nullptr) != ERROR_SUCCESS) {
        writeValue(key, value);
        return;
    }
    if (std::wcscmp(value.name, kDumpFolder) != 0) return;
    // Required: read expanded, so that it normally differs and is written again.
    if (readText(key, value.name, RRF_RT_REG_SZ) != dumpFolder) writeValue(key, value);
}

}  // namespace

bool ExecutablePermissions::registerCrashDumps() {
    const std::wstring folder = std::wstring(L"%LOCALAPPDATA%\\Packages\\") +
                                m_packageFamilyName.text() + L"\\AC\\Dumps";
    const DumpValue values[] = {
        // Required: the terminating zero is not counted.
        {kDumpFolder, REG_EXPAND_SZ, folder.c_str(),
         static_cast<DWORD>(folder.size() * sizeof(wchar_t))},
        {L"DumpCount", REG_DWORD, &kDumpCount, sizeof(kDumpCount)},
        {L"DumpType", REG_DWORD, &kCustomDump, sizeof(kCustomDump)},
        {L"CustomDumpFlags", REG_DWORD, &kCustomDumpFlags, sizeof(kCustomDumpFlags)},
    };
    const std::wstring path =
        std::wstring(L"SOFTWARE\\Microsoft\\Windows\\Windows Error Reporting\\LocalDumps\\") +
        m_executableName.text();
    try {
        const RegistryKey key(HKEY_LOCAL_MACHINE, path.c_str());
        g_configuratorLog->beginLine() << "rootKey at: " << path << std::endl;
        for (const DumpValue& value : values) {
            try {
                registerValue(key, value, folder);
            } catch (const std::exception& exception) {
                g_configuratorLog->beginLine()
                    << "Setting registry value (" << value.name
                    << ") for UWPCR failed with: " << textOf(exception) << std::endl;
                return false;
            }
        }
    } catch (const std::exception& exception) {
        g_configuratorLog->beginLine()
            << "Setting registry values for UWPCR failed with: " << textOf(exception) << std::endl;
        return false;
    }
    return true;
}
