#include "../Hook.h"
#include "RegistryValue.h"
#include "Services.h"

namespace standin {

namespace {

constexpr size_t kLongestKeyName = 255;

bool hasTooLongName(std::wstring_view path) {
    while (!path.empty()) {
        const size_t end = path.find(L'\\');
        if (path.substr(0, end).size() > kLongestKeyName) return true;
        path.remove_prefix(end == std::wstring_view::npos ? path.size() : end + 1);
    }
    return false;
}

// Nothing can be created directly below these two: what stands there are loaded hives.
bool needsMissingHive(HKEY root, const std::wstring& path) {
    if (root != HKEY_USERS && root != HKEY_LOCAL_MACHINE) return false;
    const std::wstring hive = path.substr(0, path.find(L'\\'));
    if (hive.empty()) return false;
    HKEY key = nullptr;
    const LSTATUS status = ::RegOpenKeyExW(root, hive.c_str(), 0, KEY_QUERY_VALUE, &key);
    if (status == ERROR_SUCCESS) ::RegCloseKey(key);
    return status == ERROR_FILE_NOT_FOUND;
}

LSTATUS WINAPI createKey(HKEY root, LPCWSTR path, DWORD reserved, LPWSTR className, DWORD options,
                         REGSAM access, LPSECURITY_ATTRIBUTES security, PHKEY key,
                         LPDWORD disposition) {
    if (path != nullptr && (hasTooLongName(path) || needsMissingHive(root, path))) {
        return ERROR_INVALID_PARAMETER;
    }
    const LSTATUS status = ::RegCreateKeyExW(root, path, reserved, className, options, access,
                                             security, key, disposition);
    if (status == ERROR_SUCCESS) Machine::get().ledger.handOut("key", *key);
    return status;
}

LSTATUS WINAPI closeKey(HKEY key) {
    const LSTATUS status = ::RegCloseKey(key);
    Machine::get().ledger.giveBack(key);
    return status;
}

}  // namespace

void serveRegistry() {
    serve<PlatformCall::RegCreateKeyExW>(&createKey);
    serve<PlatformCall::RegCloseKey>(&closeKey);
    serve<PlatformCall::RegGetValueW>(&getRegistryValue);
}

}  // namespace standin
