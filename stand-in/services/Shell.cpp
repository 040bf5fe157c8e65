#include <algorithm>
#include <string>
#include <vector>

#include "../Hook.h"
#include "Services.h"
#include "Shell.h"

namespace standin {

namespace {

// What the shell answers besides codes of Windows, under the names that its documentation uses.
constexpr int DE_PATHTOODEEP = 0x79;
constexpr int DE_FLDDESTISFILE = 0x7E;
constexpr int DE_FILEDESTISFLD = 0x80;

// Length at which a path is too long for the shell; long paths are never for it.
constexpr size_t kPathLimit = 260;

bool isFolder(DWORD attributes) {
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

DWORD attributesOf(const std::wstring& path) {
    return ::GetFileAttributesW(path.c_str());
}

struct Entry {
    std::wstring name;
    DWORD attributes;
};

std::vector<Entry> entriesOf(const std::wstring& folder) {
    std::vector<Entry> entries;
    WIN32_FIND_DATAW found = {};
    const HANDLE search = ::FindFirstFileW((folder + L"\\*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return entries;
    do {
        const std::wstring_view name = found.cFileName;
        if (name != L"." && name != L"..")
            entries.push_back({found.cFileName, found.dwFileAttributes});
    } while (::FindNextFileW(search, &found));
    ::FindClose(search);
    return entries;
}

// The sharing violation that opening the file meets; 0 for none.
int sharingViolation(const std::wstring& path, DWORD access) {
    const HANDLE file = ::CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return ::GetLastError() == ERROR_SHARING_VIOLATION ? ERROR_SHARING_VIOLATION : 0;
    ::CloseHandle(file);
    return 0;
}

// The first thing in the tree that cannot be copied to its place; 0 for none. The real shell
// beneath leaves such a thing out, or writes where it must not, and reports success.
int obstacleToCopying(const std::wstring& from, DWORD source, const std::wstring& to, DWORD target) {
    if (from.size() >= kPathLimit || to.size() >= kPathLimit) return DE_PATHTOODEEP;
    const bool isTargetThere = target != INVALID_FILE_ATTRIBUTES;
    if (!isFolder(source)) {
        if (isFolder(target)) return DE_FILEDESTISFLD;
        if (const int code = sharingViolation(from, GENERIC_READ)) return code;
        return isTargetThere ? sharingViolation(to, GENERIC_WRITE) : 0;
    }
    if (isTargetThere && !isFolder(target)) return DE_FLDDESTISFILE;
    for (const Entry& entry : entriesOf(from)) {
        const std::wstring place = to + L"\\" + entry.name;
        const DWORD there = isTargetThere ? attributesOf(place) : INVALID_FILE_ATTRIBUTES;
        if (const int code = obstacleToCopying(from + L"\\" + entry.name, entry.attributes, place,
                                               there))
            return code;
    }
    return 0;
}

bool holdsLongPath(const std::wstring& path, DWORD attributes) {
    if (path.size() >= kPathLimit) return true;
    if (!isFolder(attributes)) return false;
    const std::vector<Entry> entries = entriesOf(path);
    return std::any_of(entries.begin(), entries.end(), [&](const Entry& entry) {
        return holdsLongPath(path + L"\\" + entry.name, entry.attributes);
    });
}

std::wstring withoutFinalBackslash(std::wstring path) {
    if (path.ends_with(L'\\')) path.pop_back();
    return path;
}

int obstacleToCopying(const std::wstring& from, const std::wstring& to) {
    const DWORD source = attributesOf(from);
    if (source == INVALID_FILE_ATTRIBUTES) return 0;  // the real shell says so itself
    const std::wstring place = placeOfCopy(from, to);
    return obstacleToCopying(from, source, place, attributesOf(place));
}

int WINAPI fileOperation(LPSHFILEOPSTRUCTW operation) {
    const std::wstring from = withoutFinalBackslash(operation->pFrom);
    // The real shell beneath would empty the current folder.
    if (operation->wFunc == FO_DELETE && holdsLongPath(from, attributesOf(from)))
        return DE_PATHTOODEEP;
    int obstacle = 0;
    if (operation->wFunc == FO_COPY)
        obstacle = obstacleToCopying(from, withoutFinalBackslash(operation->pTo));
    // Around a file that is held open it copies what it can.
    if (obstacle != 0 && obstacle != ERROR_SHARING_VIOLATION) return obstacle;
    const int result = ::SHFileOperationW(operation);
    return result == 0 ? obstacle : result;
}

}  // namespace

std::wstring placeOfCopy(const std::wstring& from, const std::wstring& to) {
    return isFolder(attributesOf(to)) ? to + from.substr(from.find_last_of(L'\\')) : to;
}

void serveShell() {
    serve<PlatformCall::SHFileOperationW>(&fileOperation);
}

}  // namespace standin
