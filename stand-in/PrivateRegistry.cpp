#include "PrivateRegistry.h"

#include <stdexcept>

#include "Windows.h"

namespace standin {

namespace {

struct MappedRoot {
    HKEY root;
    const wchar_t* place;
};

const MappedRoot kRoots[] = {
    {HKEY_CLASSES_ROOT, L"\\HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes"},
    {HKEY_LOCAL_MACHINE, L"\\HKEY_LOCAL_MACHINE"},
    {HKEY_USERS, L"\\HKEY_USERS"},
};

}  // namespace

void mapRegistry(const std::wstring& root) {
    for (const auto& [predefined, place] : kRoots) {
        HKEY key = nullptr;
        LSTATUS status = ::RegCreateKeyExW(HKEY_CURRENT_USER, (root + place).c_str(), 0, nullptr, 0,
                                           KEY_ALL_ACCESS, nullptr, &key, nullptr);
        if (status == ERROR_SUCCESS) {
            status = ::RegOverridePredefKey(predefined, key);
            ::RegCloseKey(key);
        }
        if (status != ERROR_SUCCESS) {
            throw std::runtime_error("no private registry: " + std::to_string(status));
        }
    }
}

void unmapRegistry() {
    for (const auto& [predefined, place] : kRoots)
        ::RegOverridePredefKey(predefined, nullptr);
}

}  // namespace standin
