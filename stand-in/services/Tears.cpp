#include "../Tears.h"

#include <algorithm>
#include <string>
#include <vector>

#include "Shell.h"

namespace standin {

namespace {

std::vector<std::wstring> namesIn(const std::wstring& folder) {
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW found = {};
    const HANDLE search = ::FindFirstFileW((folder + L"\\*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return names;
    do {
        const std::wstring name = found.cFileName;
        if (name != L"." && name != L"..") names.push_back(name);
    } while (::FindNextFileW(search, &found));
    ::FindClose(search);
    return names;
}

// A list of paths for the shell: one, and an empty one.
std::wstring listOf(const std::wstring& path) {
    return path + L'\0';
}

}  // namespace

void Tear<PlatformCall::WriteFile>::performHalf(HANDLE file, LPCVOID data, DWORD size, LPDWORD,
                                                LPOVERLAPPED) {
    DWORD written = 0;
    ::WriteFile(file, data, size / 2, &written, nullptr);
}

void Tear<PlatformCall::_write>::performHalf(int file, const void* data, unsigned size) {
    ::_write(file, data, size / 2);
}

void Tear<PlatformCall::CopyFileW>::performHalf(LPCWSTR from, LPCWSTR to, BOOL failIfExists) {
    if (!::CopyFileW(from, to, failIfExists)) return;
    const HANDLE target = ::CreateFileW(to, GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
    if (target == INVALID_HANDLE_VALUE) return;
    LARGE_INTEGER size = {};
    ::GetFileSizeEx(target, &size);
    size.QuadPart /= 2;
    ::SetFilePointerEx(target, size, nullptr, FILE_BEGIN);
    ::SetEndOfFile(target);
    ::CloseHandle(target);
}

void Tear<PlatformCall::SHFileOperationW>::performHalf(LPSHFILEOPSTRUCTW operation) {
    std::wstring folder = operation->pFrom;
    while (folder.ends_with(L'\\'))
        folder.pop_back();
    std::vector<std::wstring> names = namesIn(folder);
    names.resize((names.size() + 1) / 2);
    const std::wstring place = operation->pTo == nullptr ? L"" : placeOfCopy(folder, operation->pTo);
    for (const std::wstring& name : names) {
        SHFILEOPSTRUCTW part = *operation;
        const std::wstring from = listOf(folder + L'\\' + name);
        const std::wstring to = listOf(place + L'\\' + name);
        part.pFrom = from.c_str();
        if (operation->pTo != nullptr) part.pTo = to.c_str();
        ::SHFileOperationW(&part);
    }
}

void Tear<PlatformCall::RegCopyTreeW>::performHalf(HKEY from, LPCWSTR, HKEY to) {
    std::vector<BYTE> data(64 * 1024);
    wchar_t name[256];
    for (DWORD i = 0;; ++i) {
        DWORD nameSize = ARRAYSIZE(name);
        DWORD type = 0;
        auto size = static_cast<DWORD>(data.size());
        if (::RegEnumValueW(from, i, name, &nameSize, nullptr, &type, data.data(), &size) != 0)
            break;
        ::RegSetValueExW(to, name, 0, type, data.data(), size);
    }
    DWORD keys = 0;
    ::RegQueryInfoKeyW(from, nullptr, nullptr, nullptr, &keys, nullptr, nullptr, nullptr, nullptr,
                       nullptr, nullptr, nullptr);
    for (DWORD i = 0; i < (keys + 1) / 2; ++i) {
        HKEY copy = nullptr;
        if (::RegEnumKeyW(from, i, name, ARRAYSIZE(name)) != 0 ||
            ::RegCreateKeyW(to, name, &copy) != 0)
            return;
        ::RegCopyTreeW(from, name, copy);
        ::RegCloseKey(copy);
    }
}

}  // namespace standin
