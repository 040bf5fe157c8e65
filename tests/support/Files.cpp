#include "support/Files.h"

#include <stdexcept>
#include <vector>

#include "stand-in/Machine.h"
#include "stand-in/Text.h"
#include "support/KeptLogs.h"

using standin::toUtf8;
using standin::toWide;
using standin::Untraced;

namespace {

[[noreturn]] void fail(const std::string& what, const std::wstring& path) {
    const DWORD error = ::GetLastError();
    throw std::runtime_error(what + " " + toUtf8(path) + ": error " + std::to_string(error));
}

// The entries of a folder without "." and "..".
std::vector<WIN32_FIND_DATAW> entriesOf(const std::wstring& folder) {
    std::vector<WIN32_FIND_DATAW> entries;
    WIN32_FIND_DATAW entry = {};
    const HANDLE search = ::FindFirstFileW((folder + L"\\*").c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) fail("cannot list", folder);
    do {
        const std::wstring_view name = entry.cFileName;
        if (name != L"." && name != L"..") entries.push_back(entry);
    } while (::FindNextFileW(search, &entry));
    ::FindClose(search);
    return entries;
}

bool isFolder(const WIN32_FIND_DATAW& entry) {
    return (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool isLink(DWORD attributes) {
    return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

void listInto(const std::wstring& folder, const std::wstring& prefix,
              std::map<std::wstring, std::string>& tree) {
    for (const WIN32_FIND_DATAW& entry : entriesOf(folder)) {
        const std::wstring name = prefix + entry.cFileName;
        const std::wstring path = folder + L"\\" + entry.cFileName;
        if (isFolder(entry)) {
            tree[name + L"\\"];
            listInto(path, name + L"\\", tree);
        } else {
            tree[name] = readFile(path);
        }
    }
}

}  // namespace

void writeFile(const std::wstring& path, std::string_view bytes) {
    const Untraced untraced;
    const size_t end = path.find_last_of(L'\\');
    if (end != std::wstring::npos) makeFolder(path.substr(0, end));
    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) fail("cannot write", path);
    DWORD written = 0;
    const BOOL isWritten = ::WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()),
                                       &written, nullptr);
    ::CloseHandle(file);
    if (!isWritten || written != bytes.size()) fail("cannot write", path);
}

std::string readFile(const std::wstring& path) {
    const Untraced untraced;
    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) fail("cannot read", path);
    std::string bytes(::GetFileSize(file, nullptr), '\0');
    DWORD read = 0;
    ::ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
    ::CloseHandle(file);
    bytes.resize(read);
    return bytes;
}

void makeFolder(const std::wstring& path) {
    const Untraced untraced;
    if (::CreateDirectoryW(path.c_str(), nullptr) || ::GetLastError() == ERROR_ALREADY_EXISTS)
        return;
    const size_t end = path.find_last_of(L'\\');
    if (end == std::wstring::npos || ::GetLastError() != ERROR_PATH_NOT_FOUND)
        fail("cannot make", path);
    makeFolder(path.substr(0, end));
    if (!::CreateDirectoryW(path.c_str(), nullptr)) fail("cannot make", path);
}

bool exists(const std::wstring& path) {
    return attributesOf(path) != INVALID_FILE_ATTRIBUTES;
}

void setAttributes(const std::wstring& path, DWORD attributes) {
    const Untraced untraced;
    if (!::SetFileAttributesW(path.c_str(), attributes)) fail("cannot set the attributes of", path);
}

DWORD attributesOf(const std::wstring& path) {
    const Untraced untraced;
    return ::GetFileAttributesW(path.c_str());
}

void removeTree(const std::wstring& path) {
    const Untraced untraced;
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    // A link to a device has no attributes.
    if (attributes == INVALID_FILE_ATTRIBUTES || isLink(attributes)) {
        runUnix("rm -f '" + unixPath(path) + "'");
        return;
    }
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        if (path.ends_with(L"\\lsdkConfiguratorLog.txt")) keepLog(path);
        if (!::DeleteFileW(path.c_str())) fail("cannot delete", path);
        return;
    }
    for (const WIN32_FIND_DATAW& entry : entriesOf(path))
        removeTree(path + L"\\" + entry.cFileName);
    if (!::RemoveDirectoryW(path.c_str())) fail("cannot remove", path);
}

std::map<std::wstring, std::string> listTree(const std::wstring& folder) {
    const Untraced untraced;
    std::map<std::wstring, std::string> tree;
    listInto(folder, L"", tree);
    return tree;
}

void makeSymbolicLink(const std::string& target, const std::wstring& link) {
    const Untraced untraced;
    runUnix("ln -s '" + target + "' '" + unixPath(link) + "'");
}

void runUnix(const std::string& command) {
    const Untraced untraced;
    // Wine does not wait for such a program: it is over when the file that comes last is there.
    static int count = 0;
    const std::wstring done = L"C:\\unix-" + std::to_wstring(::GetCurrentProcessId()) + L"-" +
                              std::to_wstring(++count);
    std::wstring commandLine = toWide("sh -c \"" + command + "; : > '" + unixPath(done) + "'\"");
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started = {};
    if (!::CreateProcessW(L"Z:\\bin\\sh", commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                          nullptr, &startup, &started)) {
        fail("cannot run", toWide(command));
    }
    ::CloseHandle(started.hThread);
    ::CloseHandle(started.hProcess);
    constexpr int kPatience = 30000;  // times 1 ms
    for (int waited = 0; !::DeleteFileW(done.c_str()); ++waited) {
        if (waited > kPatience) fail("no end of", toWide(command));
        ::Sleep(1);
    }
}

std::string unixPath(const std::wstring& path) {
    const Untraced untraced;
    using Convert = char* (*)(const wchar_t*);
    const FARPROC convert = ::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"),
                                             "wine_get_unix_file_name");
    if (convert == nullptr) fail("only Wine knows the path of", path);
    char* const converted = reinterpret_cast<Convert>(reinterpret_cast<void*>(convert))(path.c_str());
    if (converted == nullptr) fail("no path beneath Wine for", path);
    const std::string text = converted;
    ::HeapFree(::GetProcessHeap(), 0, converted);
    return text;
}

HeldOpen::HeldOpen(const std::wstring& path, DWORD access, DWORD share) {
    const Untraced untraced;
    m_handle = ::CreateFileW(path.c_str(), access, share, nullptr, OPEN_EXISTING,
                             FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (m_handle == INVALID_HANDLE_VALUE) fail("cannot hold open", path);
}

HeldOpen::~HeldOpen() {
    const Untraced untraced;
    ::CloseHandle(m_handle);
}
