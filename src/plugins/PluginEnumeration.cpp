#include "plugins/PluginEnumeration.h"

#include <algorithm>
#include <cwchar>

#include "platform/Owners.h"
#include "platform/Windows.h"
#include "run/ExecutablePermissions.h"

#include <shlwapi.h>

namespace {

bool isListed(const WIN32_FIND_DATAW& entry) {
    const wchar_t* const name = entry.cFileName;
    return (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
           std::wcscmp(name, L".") != 0 && std::wcscmp(name, L"..") != 0 && name[0] != L'\0';
}

}  // namespace

void enumeratePluginFolders(const std::wstring& location, std::vector<std::wstring>& names) {
    if (!::PathFileExistsW(location.c_str())) return;

    WIN32_FIND_DATAW entry = {};
    const FindHandle search(::FindFirstFileW((location + L"*").c_str(), &entry));
    if (!search.isValid()) return;
    do {
        if (isListed(entry)) names.emplace_back(entry.cFileName);
    } while (::FindNextFileW(search.get(), &entry));  // Required: a failure counts as the end.
}

std::wstring ExecutablePermissions::getAppDataRoot() const {
    std::wstring path = m_rxpAppDataPath;
    for (int cut = 0; cut < 3; ++cut)
        path.erase(std::min(path.find_last_of(L"\\/"), path.size()));
    return path;
}
