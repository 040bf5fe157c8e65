#include "Replay.h"

#include <io.h>
#include <objbase.h>
#include <pathcch.h>
#include <roapi.h>
#include <shlobj.h>
#include <winstring.h>

#include <array>
#include <charconv>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>

#include "platform/RestrictedErrorInfo.h"
#include "platform/Windows.h"

namespace {

constexpr size_t kSlots = 1024;
std::array<void*, kSlots> g_slots;
LUID g_privilege;
std::FILE* g_file;
std::array<BYTE, 64 << 10> g_buffer;
wchar_t g_path[MAX_PATH];
HSTRING_HEADER g_header;
HSTRING g_lent;
std::vector<HSTRING> g_owned;

const wchar_t* text(const RecordedCall& call, size_t index) {
    const RecordedArgument& argument = call.arguments.at(index);
    return argument.isGiven ? argument.text.c_str() : nullptr;
}
const std::string& bytes(const RecordedCall& call, size_t index) {
    return call.arguments.at(index).bytes;
}
DWORD number(const RecordedCall& call, size_t index) {
    return call.arguments.at(index).number;
}
BYTE* buffer(const RecordedCall& call, size_t index) {
    return call.arguments.at(index).isGiven ? g_buffer.data() : nullptr;
}
void*& handle(const RecordedCall& call, size_t index) {
    return g_slots.at(call.arguments.at(index).slot);
}
HKEY key(const RecordedCall& call, size_t index) {
    return static_cast<HKEY>(handle(call, index));
}

void adjustPrivilege(const RecordedCall& call) {
    TOKEN_PRIVILEGES privileges = {1, {{g_privilege, SE_PRIVILEGE_ENABLED}}};
    ::AdjustTokenPrivileges(handle(call, 0), FALSE, &privileges, sizeof(privileges), nullptr,
                            nullptr);
}

void createKey(const RecordedCall& call) {
    HKEY result = nullptr;
    ::RegCreateKeyExW(key(call, 0), text(call, 1), 0, nullptr, number(call, 4), number(call, 5),
                      nullptr, &result, nullptr);
    handle(call, 7) = result;
}

void enumerateKey(const RecordedCall& call) {
    wchar_t name[256];
    DWORD capacity = number(call, 3);
    ::RegEnumKeyExW(key(call, 0), number(call, 1), name, &capacity, nullptr, nullptr, nullptr,
                    nullptr);
}

void queryKey(const RecordedCall& call) {
    DWORD count;
    DWORD longest;
    ::RegQueryInfoKeyW(key(call, 0), nullptr, nullptr, nullptr, &count, &longest, nullptr, nullptr,
                       nullptr, nullptr, nullptr, nullptr);
}

void getValue(const RecordedCall& call) {
    DWORD size = number(call, 6);
    ::RegGetValueW(key(call, 0), nullptr, text(call, 2), number(call, 3), nullptr, buffer(call, 5),
                   &size);
}

void setValue(const RecordedCall& call) {
    ::RegSetValueExW(key(call, 0), text(call, 1), 0, number(call, 3),
                     reinterpret_cast<const BYTE*>(bytes(call, 4).data()), number(call, 5));
}

void findFirst(const RecordedCall& call) {
    WIN32_FIND_DATAW data;
    handle(call, 2) = ::FindFirstFileW(text(call, 0), &data);
}

void findNext(const RecordedCall& call) {
    WIN32_FIND_DATAW data;
    ::FindNextFileW(handle(call, 0), &data);
}

void writeWhole(const RecordedCall& call) {
    DWORD written;
    ::WriteFile(handle(call, 0), bytes(call, 1).data(), number(call, 2), &written, nullptr);
}

void formatMessage(const RecordedCall& call) {
    wchar_t* message = nullptr;
    ::FormatMessageW(number(call, 0), nullptr, number(call, 2), number(call, 3),
                     reinterpret_cast<wchar_t*>(&message), 0, nullptr);
    ::LocalFree(message);
}

// The table has the path as it is afterwards.
void appendToPath(const RecordedCall& call) {
    const std::wstring& whole = call.arguments.at(0).text;
    const std::wstring& name = call.arguments.at(2).text;
    const size_t length = whole.copy(g_path, whole.size() - name.size());
    g_path[length] = L'\0';
    ::PathCchAppend(g_path, MAX_PATH, name.c_str());
}

void lendString(const RecordedCall& call) {
    const std::wstring& string = call.arguments.at(0).text;
    ::WindowsCreateStringReference(string.c_str(), static_cast<UINT32>(string.size()), &g_header,
                                   &g_lent);
}

void duplicateString(const RecordedCall&) {
    ::WindowsDuplicateString(g_lent, &g_owned.emplace_back());
}

// Any of those that are there.
void deleteString(const RecordedCall& call) {
    const bool isEmpty = call.arguments.at(0).text.empty();
    ::WindowsDeleteString(isEmpty ? nullptr : g_owned.back());
    if (!isEmpty) g_owned.pop_back();
}

void getFactory(const RecordedCall& call) {
    lendString(call);
    void* factory = nullptr;
    ::RoGetActivationFactory(g_lent, IID_IUnknown, &factory);
}

void getTokenInformation(const RecordedCall& call) {
    DWORD size;
    ::GetTokenInformation(handle(call, 0), static_cast<TOKEN_INFORMATION_CLASS>(number(call, 1)),
                          buffer(call, 2), number(call, 3), &size);
}

void openLog(const RecordedCall& call) {
    g_file = ::_wfopen(text(call, 0), text(call, 1));
}

// NOLINTBEGIN(cert-err33-c)
const std::map<std::string, void (*)(const RecordedCall&)> kPlayers = {
    {"AdjustTokenPrivileges", adjustPrivilege},
    {"CloseHandle", [](const RecordedCall& call) { ::CloseHandle(handle(call, 0)); }},
    {"CoInitializeEx", [](const RecordedCall& call) { ::CoInitializeEx(nullptr, number(call, 1)); }},
    {"CoInitializeSecurity",
     [](const RecordedCall&) {
         ::CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                                RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
     }},
    {"CoUninitialize", [](const RecordedCall&) { ::CoUninitialize(); }},
    {"CopyFileW", [](const RecordedCall& call) { ::CopyFileW(text(call, 0), text(call, 1), FALSE); }},
    {"CreateDirectoryW", [](const RecordedCall& call) { ::CreateDirectoryW(text(call, 0), nullptr); }},
    {"CreateFileW",
     [](const RecordedCall& call) {
         handle(call, 7) = ::CreateFileW(text(call, 0), number(call, 1), number(call, 2), nullptr,
                                         number(call, 4), number(call, 5), nullptr);
     }},
    {"FindClose", [](const RecordedCall& call) { ::FindClose(handle(call, 0)); }},
    {"FindFirstFileW", findFirst},
    {"FindNextFileW", findNext},
    {"FormatMessageW", formatMessage},
    {"GetFileAttributesW", [](const RecordedCall& call) { ::GetFileAttributesW(text(call, 0)); }},
    {"GetRestrictedErrorInfo",
     [](const RecordedCall&) {
         IRestrictedErrorInfo* info = nullptr;
         if (::GetRestrictedErrorInfo(&info) == S_OK) info->Release();
     }},
    {"GetTokenInformation", getTokenInformation},
    {"GetSystemTimeAsFileTime",
     [](const RecordedCall&) {
         FILETIME time;
         ::GetSystemTimeAsFileTime(&time);
     }},
    {"LookupPrivilegeValueW",
     [](const RecordedCall& call) { ::LookupPrivilegeValueW(nullptr, text(call, 1), &g_privilege); }},
    {"OpenProcessToken",
     [](const RecordedCall& call) {
         ::OpenProcessToken(::GetCurrentProcess(), number(call, 1), &handle(call, 2));
     }},
    {"PathCchAppend", appendToPath},
    {"RegCloseKey", [](const RecordedCall& call) { ::RegCloseKey(key(call, 0)); }},
    {"RegCopyTreeW",
     [](const RecordedCall& call) { ::RegCopyTreeW(key(call, 0), nullptr, key(call, 2)); }},
    {"RegCreateKeyExW", createKey},
    {"RegEnumKeyExW", enumerateKey},
    {"RegGetValueW", getValue},
    {"RegQueryInfoKeyW", queryKey},
    {"RegSetValueExW", setValue},
    {"RoGetActivationFactory", getFactory},
    {"SHGetFolderPathW",
     [](const RecordedCall& call) {
         wchar_t path[MAX_PATH];
         ::SHGetFolderPathW(nullptr, static_cast<int>(number(call, 1)), nullptr, number(call, 3),
                            path);
     }},
    {"WideCharToMultiByte",
     [](const RecordedCall& call) {
         ::WideCharToMultiByte(number(call, 0), number(call, 1), text(call, 2), -1,
                               reinterpret_cast<char*>(buffer(call, 4)),
                               static_cast<int>(number(call, 5)), nullptr, nullptr);
     }},
    {"WindowsCreateStringReference", lendString},
    {"WindowsDeleteString", deleteString},
    {"WindowsDuplicateString", duplicateString},
    {"WriteFile", writeWhole},
    {"_wfopen", openLog},
    {"_write",
     [](const RecordedCall& call) {
         ::_write(::_fileno(g_file), bytes(call, 1).data(), number(call, 2));
     }},
    {"wcscat_s", [](const RecordedCall& call) { ::wcscat_s(g_path, text(call, 2)); }},
    {"wcscpy_s", [](const RecordedCall& call) { ::wcscpy_s(g_path, text(call, 2)); }},
};
// NOLINTEND(cert-err33-c)

RecordedArgument readArgument(const std::string& part) {
    RecordedArgument argument;
    const std::string value = part.substr(1);
    argument.isGiven = part[0] != '-';
    argument.bytes = value;
    if (part[0] == 't') {
        argument.text.resize(value.size());
        argument.text.resize(static_cast<size_t>(
            ::MultiByteToWideChar(CP_UTF8, 0, value.c_str(), static_cast<int>(value.size()),
                                  argument.text.data(), static_cast<int>(argument.text.size()))));
    } else if (part[0] == 's') {
        argument.slot = std::stoul(value);
    } else if (part[0] == 'n') {
        argument.number = std::stoul(value);
    } else if (part[0] == 'b') {
        argument.bytes.clear();
        for (size_t i = 0; i < value.size(); i += 2)
            argument.bytes += static_cast<char>(std::stoi(value.substr(i, 2), nullptr, 16));
    }
    return argument;
}

}  // namespace

std::vector<RecordedCall> readTable(const std::filesystem::path& file) {
    g_slots = {HKEY_CLASSES_ROOT, HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_USERS};
    std::vector<RecordedCall> calls;
    // In one piece: what the reading costs is not the run's.
    std::vector<char> whole(1 << 20);
    std::ifstream lines;
    lines.rdbuf()->pubsetbuf(whole.data(), static_cast<std::streamsize>(whole.size()));
    lines.open(file, std::ios::binary);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream parts(line);
        std::string part;
        std::getline(parts, part, '\t');
        const auto player = kPlayers.find(part);
        if (player == kPlayers.end()) throw std::invalid_argument("no player of " + part);
        RecordedCall call = {player->second, {}};
        while (std::getline(parts, part, '\t'))
            call.arguments.push_back(readArgument(part));
        calls.push_back(std::move(call));
    }
    return calls;
}

void replay(const std::vector<RecordedCall>& calls) {
    for (const RecordedCall& call : calls)
        call.play(call);
    std::fclose(g_file);
}
