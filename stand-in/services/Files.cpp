#include <cerrno>
#include <string_view>

#include "../Hook.h"
#include "LastError.h"
#include "Services.h"

namespace standin {

namespace {

// Lengths at which Windows refuses a path, terminator not counted.
constexpr size_t kFilePathLimit = 260;
constexpr size_t kFolderPathLimit = 248;  // a folder must leave room for an 8.3 name in it

bool isTooLong(const wchar_t* path, size_t limit) {
    if (!Machine::get().state.hasPathLimits || path == nullptr) return false;
    if (std::wstring_view(path).starts_with(L"\\\\?\\")) return false;
    const KeepLastError keep;
    const DWORD sizeWithTerminator = ::GetFullPathNameW(path, 0, nullptr, nullptr);
    return sizeWithTerminator > limit;
}

// Refuses, with the last error set, a path that is too long for a file operation.
bool isRefused(const wchar_t* path) {
    if (!isTooLong(path, kFilePathLimit)) return false;
    ::SetLastError(ERROR_PATH_NOT_FOUND);
    return true;
}

bool isSet(DWORD attributes, DWORD wanted) {
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & wanted) != 0;
}

DWORD WINAPI getFileAttributes(LPCWSTR path) {
    return isRefused(path) ? INVALID_FILE_ATTRIBUTES : ::GetFileAttributesW(path);
}

BOOL WINAPI setFileAttributes(LPCWSTR path, DWORD attributes) {
    return isRefused(path) ? FALSE : ::SetFileAttributesW(path, attributes);
}

BOOL WINAPI pathFileExists(LPCWSTR path) {
    return isRefused(path) ? FALSE : ::PathFileExistsW(path);
}

BOOL WINAPI deleteFile(LPCWSTR path) {
    return isRefused(path) ? FALSE : ::DeleteFileW(path);
}

BOOL WINAPI removeDirectory(LPCWSTR path) {
    return isRefused(path) ? FALSE : ::RemoveDirectoryW(path);
}

BOOL WINAPI createDirectory(LPCWSTR path, LPSECURITY_ATTRIBUTES security) {
    if (isTooLong(path, kFolderPathLimit)) {
        ::SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return FALSE;
    }
    return ::CreateDirectoryW(path, security);
}

DWORD attributesOf(LPCWSTR path) {
    const KeepLastError keep;
    return ::GetFileAttributesW(path);
}

// Whether Windows refuses to open what is there: read-only files for writing, and replacing a
// hidden or system file unless that attribute is asked for again.
bool isProtected(LPCWSTR path, DWORD access, DWORD disposition, DWORD flags) {
    if (disposition == CREATE_NEW) return false;
    const DWORD there = attributesOf(path);
    const bool replaces = disposition == CREATE_ALWAYS;
    const bool writes = (access &
                         (GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_DATA | FILE_APPEND_DATA)) != 0;
    if (isSet(there, FILE_ATTRIBUTE_DIRECTORY)) return false;
    if (isSet(there, FILE_ATTRIBUTE_READONLY) && (writes || replaces)) return true;
    return replaces && isSet(there, (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM) & ~flags);
}

HANDLE WINAPI createFile(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                         DWORD disposition, DWORD flags, HANDLE pattern) {
    if (isRefused(path)) return INVALID_HANDLE_VALUE;
    if (isProtected(path, access, disposition, flags)) {
        ::SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    const HANDLE file = ::CreateFileW(path, access, share, security, disposition, flags, pattern);
    const KeepLastError keep;
    if (file != INVALID_HANDLE_VALUE) Machine::get().ledger.handOut("file", file);
    return file;
}

BOOL WINAPI copyFile(LPCWSTR from, LPCWSTR to, BOOL failIfExists) {
    if (isRefused(from) || isRefused(to)) return FALSE;
    const DWORD source = attributesOf(from);
    const DWORD target = attributesOf(to);
    const bool replaces = source != INVALID_FILE_ATTRIBUTES && target != INVALID_FILE_ATTRIBUTES &&
                          !failIfExists;
    if (replaces && isSet(target, FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY)) {
        ::SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    const BOOL copied = ::CopyFileW(from, to, failIfExists);
    const KeepLastError keep;
    if (copied && replaces) ::SetFileAttributesW(to, source);
    return copied;
}

HANDLE WINAPI findFirstFile(LPCWSTR pattern, LPWIN32_FIND_DATAW found) {
    if (isRefused(pattern)) return INVALID_HANDLE_VALUE;
    const HANDLE search = ::FindFirstFileW(pattern, found);
    const KeepLastError keep;
    if (search != INVALID_HANDLE_VALUE) Machine::get().ledger.handOut("search", search);
    return search;
}

FILE* openStream(const wchar_t* path, const wchar_t* mode) {
    const std::wstring_view wanted = mode == nullptr ? L"" : mode;
    const bool replaces = wanted.starts_with(L'w');
    const bool writes = replaces || wanted.find_first_of(L"a+") != std::wstring_view::npos;
    if (path != nullptr && isTooLong(path, kFilePathLimit)) {
        errno = ENOENT;
        return nullptr;
    }
    if (path != nullptr &&
        isProtected(path, writes ? GENERIC_WRITE : GENERIC_READ,
                    replaces ? CREATE_ALWAYS : OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL)) {
        errno = EACCES;
        return nullptr;
    }
    return ::_wfopen(path, mode);
}

}  // namespace

void serveFiles() {
    serve<PlatformCall::GetFileAttributesW>(&getFileAttributes);
    serve<PlatformCall::SetFileAttributesW>(&setFileAttributes);
    serve<PlatformCall::PathFileExistsW>(&pathFileExists);
    serve<PlatformCall::DeleteFileW>(&deleteFile);
    serve<PlatformCall::RemoveDirectoryW>(&removeDirectory);
    serve<PlatformCall::CreateDirectoryW>(&createDirectory);
    serve<PlatformCall::CreateFileW>(&createFile);
    serve<PlatformCall::CopyFileW>(&copyFile);
    serve<PlatformCall::FindFirstFileW>(&findFirstFile);
    serve<PlatformCall::_wfopen>(&openStream);
}

}  // namespace standin
