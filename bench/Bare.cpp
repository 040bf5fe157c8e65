#include "Bare.h"

#include <pathcch.h>
#include <shellapi.h>

#include <ctime>
#include <cwchar>

namespace bare {

namespace {

bool isDots(const wchar_t* name) {
    return std::wcscmp(name, L".") == 0 || std::wcscmp(name, L"..") == 0;
}

std::wstring nameOf(const std::wstring& path) {
    return path.substr(path.rfind(L'\\') + 1);
}

}  // namespace

std::vector<WIN32_FIND_DATAW> list(const std::wstring& folder) {
    std::vector<WIN32_FIND_DATAW> entries;
    WIN32_FIND_DATAW entry;
    const HANDLE search = ::FindFirstFileW((folder + L"\\*").c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) return entries;
    do {
        if (!isDots(entry.cFileName)) entries.push_back(entry);
    } while (::FindNextFileW(search, &entry));
    ::FindClose(search);
    return entries;
}

void copyFolder(const std::wstring& source, const std::wstring& targetParent, bool isMove) {
    const std::wstring target = targetParent + L'\\' + nameOf(source);
    ::CreateDirectoryW(target.c_str(), nullptr);
    for (const WIN32_FIND_DATAW& entry : list(source)) {
        const std::wstring from = source + L'\\' + entry.cFileName;
        if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            copyFolder(from, target, isMove);
            continue;
        }
        ::CopyFileW(from.c_str(), (target + L'\\' + entry.cFileName).c_str(), FALSE);
        if (isMove) ::DeleteFileW(from.c_str());
    }
}

void shell(UINT operation, const std::wstring& from, const std::wstring& to) {
    const std::wstring fromList = from + L'\0';
    const std::wstring toList = to + L'\0';
    SHFILEOPSTRUCTW order = {};
    order.wFunc = operation;
    order.pFrom = fromList.c_str();
    if (operation == FO_COPY) order.pTo = toList.c_str();
    order.fFlags = FOF_SILENT | FOF_NOCONFIRMATION | FOF_NOERRORUI;
    if (operation == FO_COPY) order.fFlags |= FOF_NOCONFIRMMKDIR;
    ::SHFileOperationW(&order);
}

std::wostream& Log::beginLine() {
    FILETIME now;
    ::GetSystemTimeAsFileTime(&now);
    ULARGE_INTEGER ticks;
    ticks.LowPart = now.dwLowDateTime;
    ticks.HighPart = now.dwHighDateTime;
    const __time64_t time = static_cast<__time64_t>(ticks.QuadPart / 10'000'000) - 11'644'473'600;
    std::tm local;
    ::_localtime64_s(&local, &time);
    static constexpr char kDays[] = "SunMonTueWedThuFriSat";
    static constexpr char kMonths[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    char text[32];
    std::snprintf(text, sizeof(text), "%.3s %.3s %2d %02d:%02d:%02d %4d",
                  kDays + ptrdiff_t{3} * local.tm_wday, kMonths + ptrdiff_t{3} * local.tm_mon,
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, local.tm_year + 1900);
    return m_stream << "[" << text << "] ";
}

void copyFolderByTheBook(Log& log, const std::wstring& source, const std::wstring& targetParent) {
    wchar_t target[MAX_PATH];
    ::wcscpy_s(target, MAX_PATH, targetParent.c_str());
    ::PathCchAppend(target, MAX_PATH, nameOf(source).c_str());
    log.beginLine() << "Recursively copying '" << source.c_str() << "' into '"
                    << targetParent.c_str() << "'" << std::endl;
    ::GetFileAttributesW(target);
    const std::wstring path = target;
    for (size_t end = 0; end != std::wstring::npos;) {
        end = path.find(L'\\', end + 1);
        const std::wstring prefix = path.substr(0, end);
        if (::GetFileAttributesW(prefix.c_str()) == INVALID_FILE_ATTRIBUTES)
            ::CreateDirectoryW(prefix.c_str(), nullptr);
    }
    for (const WIN32_FIND_DATAW& entry : list(source)) {
        wchar_t from[MAX_PATH];
        ::wcscpy_s(from, MAX_PATH, source.c_str());
        ::PathCchAppend(from, MAX_PATH, entry.cFileName);
        if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            copyFolderByTheBook(log, from, target);
            continue;
        }
        wchar_t to[MAX_PATH];
        ::wcscpy_s(to, MAX_PATH, target);
        ::PathCchAppend(to, MAX_PATH, entry.cFileName);
        ::CopyFileW(from, to, FALSE);
    }
}

void rewriteEntries(Log& log, HKEY root, const std::wstring& path, const std::wstring& oldName,
                    const std::wstring& newName) {
    const auto open = [](HKEY parent, const wchar_t* name) {
        HKEY key = nullptr;
        ::RegCreateKeyExW(parent, name, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
        return key;
    };
    const HKEY entries = open(root, path.c_str());
    DWORD count = 0;
    DWORD longest = 0;
    ::RegQueryInfoKeyW(entries, nullptr, nullptr, nullptr, &count, &longest, nullptr, nullptr,
                       nullptr, nullptr, nullptr, nullptr);
    std::vector<std::wstring> names;
    for (DWORD i = 0; i < count; ++i) {
        wchar_t name[256];
        DWORD capacity = 255;
        ::RegEnumKeyExW(entries, i, name, &capacity, nullptr, nullptr, nullptr, nullptr);
        names.emplace_back(name, capacity);
    }
    for (const std::wstring& name : names) {
        const HKEY entry = open(entries, name.c_str());
        for (const wchar_t* value : {L"FilePath", L"Metadata", L"PackageFamilyName"}) {
            DWORD size = 0;
            ::RegGetValueW(entry, nullptr, value, RRF_RT_REG_SZ, nullptr, nullptr, &size);
            std::wstring text(size / sizeof(wchar_t), L'\0');
            ::RegGetValueW(entry, nullptr, value, RRF_RT_REG_SZ, nullptr, text.data(), &size);
            text.pop_back();
            text.replace(text.find(oldName), oldName.size(), newName);
            log.beginLine() << "Updated MRU registry entry for value " << value << " under key "
                            << name.c_str() << ". New value: " << text.c_str() << std::endl;
            ::RegSetValueExW(entry, value, 0, REG_EXPAND_SZ,
                             reinterpret_cast<const BYTE*>(text.c_str()),
                             static_cast<DWORD>(text.size() * sizeof(wchar_t) + 1));
        }
        ::RegCloseKey(entry);
    }
    ::RegCloseKey(entries);
}

void movePlugIn(const PlugIn& plugIn) {
    const std::wstring settings = plugIn.settings + plugIn.name;
    const std::wstring newSettings = plugIn.newSettings + plugIn.name;
    shell(FO_COPY, plugIn.plugins + plugIn.name, plugIn.newPlugins + plugIn.name);
    shell(FO_COPY, settings, newSettings + L"\\PluginData");
    for (const wchar_t* storage : {L"\\LocalStorage", L"\\SecureStorage"}) {
        shell(FO_COPY, settings + storage, newSettings);
        shell(FO_DELETE, newSettings + L"\\PluginData" + storage);
    }
}

}  // namespace bare
