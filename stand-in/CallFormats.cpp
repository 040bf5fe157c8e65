#include "CallFormats.h"

#include "Format.h"

namespace standin {

namespace {

std::string given(const void* pointer) {
    return pointer == nullptr ? "null" : "given";
}

// Bytes that mostly are text.
std::string byteText(const void* data, size_t size) {
    if (data == nullptr) return "null";
    const auto* const bytes = static_cast<const unsigned char*>(data);
    return quote(std::wstring(bytes, bytes + size));
}

// A list of paths with all its zeros: up to the first empty path, and no further.
std::string pathListText(const wchar_t* list) {
    if (list == nullptr) return "null";
    size_t size = 0;
    while (list[size] != 0)
        size += std::wstring_view(list + size).size() + 1;
    return quote(std::wstring_view(list, size + 1));
}

std::string trusteeText(const TRUSTEE_W& trustee) {
    const std::string name = trustee.TrusteeForm == TRUSTEE_IS_SID    ? sidText(trustee.ptstrName)
                             : trustee.TrusteeForm == TRUSTEE_IS_NAME ? quote(trustee.ptstrName)
                                                                      : given(trustee.ptstrName);
    return "multiple=" + given(trustee.pMultipleTrustee) +
           " operation=" + std::to_string(trustee.MultipleTrusteeOperation) +
           " form=" + std::to_string(trustee.TrusteeForm) +
           " type=" + std::to_string(trustee.TrusteeType) + " " + name;
}

}  // namespace

std::vector<std::string> CallFormat<PlatformCall::WriteFile>::arguments(HANDLE file, LPCVOID data,
                                                                        DWORD size, LPDWORD written,
                                                                        LPOVERLAPPED overlapped) {
    return {handleText(file), byteText(data, size), std::to_string(size), given(written),
            given(overlapped)};
}

std::vector<std::string> CallFormat<PlatformCall::_write>::arguments(int file, const void* data,
                                                                     unsigned size) {
    return {std::to_string(file), byteText(data, size), std::to_string(size)};
}

std::vector<std::string> CallFormat<PlatformCall::RegSetValueExW>::arguments(
    HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    return {keyText(key),         quote(name),           std::to_string(reserved),
            std::to_string(type), bytesText(data, size), std::to_string(size)};
}

std::vector<std::string> CallFormat<PlatformCall::AdjustTokenPrivileges>::arguments(
    HANDLE token, BOOL disableAll, PTOKEN_PRIVILEGES state, DWORD size, PTOKEN_PRIVILEGES previous,
    PDWORD needed) {
    std::string privileges = state == nullptr ? "null" : "[";
    for (DWORD i = 0; state != nullptr && i < state->PrivilegeCount; ++i) {
        LUID_AND_ATTRIBUTES privilege = state->Privileges[i];
        wchar_t name[64] = L"?";
        DWORD length = 64;
        ::LookupPrivilegeNameW(nullptr, &privilege.Luid, name, &length);
        if (i > 0) privileges += "; ";
        privileges += quote(name) + " attributes " + hexText(privilege.Attributes);
    }
    if (state != nullptr) privileges += "]";
    return {handleText(token), std::to_string(disableAll),
            privileges,        std::to_string(size),
            given(previous),   given(needed)};
}

std::vector<std::string> CallFormat<PlatformCall::SetEntriesInAclW>::arguments(
    ULONG count, PEXPLICIT_ACCESS_W entries, PACL old, PACL* result) {
    std::string text = entries == nullptr ? "null" : "[";
    for (ULONG i = 0; entries != nullptr && i < count; ++i) {
        const EXPLICIT_ACCESS_W& entry = entries[i];
        if (i > 0) text += "; ";
        text += "access=" + hexText(entry.grfAccessPermissions) +
                " mode=" + std::to_string(entry.grfAccessMode) +
                " inheritance=" + hexText(entry.grfInheritance) + " " + trusteeText(entry.Trustee);
    }
    if (entries != nullptr) text += "]";
    return {std::to_string(count), text, accessListText(old), given(result)};
}

std::vector<std::string> CallFormat<PlatformCall::SHFileOperationW>::arguments(
    LPSHFILEOPSTRUCTW operation) {
    return {"window=" + given(operation->hwnd), "func=" + std::to_string(operation->wFunc),
            "from=" + pathListText(operation->pFrom), "to=" + pathListText(operation->pTo),
            "flags=" + hexText(operation->fFlags)};
}

std::vector<std::string> CallFormat<PlatformCall::NetworkIsolationSetAppContainerConfig>::arguments(
    DWORD count, SID_AND_ATTRIBUTES* sids) {
    std::string text = sids == nullptr ? "null" : "[";
    for (DWORD i = 0; sids != nullptr && i < count; ++i) {
        if (i > 0) text += "; ";
        text += sidText(sids[i].Sid) + " attributes " + hexText(sids[i].Attributes);
    }
    if (sids != nullptr) text += "]";
    return {std::to_string(count), text};
}

std::vector<std::string> CallFormat<PlatformCall::NetworkIsolationFreeAppContainers>::arguments(
    abi::FirewallAppContainer* containers) {
    return {handleText(containers)};
}

// The parameter is an address more often than not, another one in each run.
std::vector<std::string> CallFormat<PlatformCall::EnumWindows>::arguments(WNDENUMPROC visit,
                                                                          LPARAM parameter) {
    return {visit == nullptr ? "null" : "given", parameter == 0 ? "0" : "given"};
}

std::vector<std::string> CallFormat<PlatformCall::CreateProcessWithTokenW>::arguments(
    HANDLE token, DWORD logonFlags, LPCWSTR application, LPWSTR commandLine, DWORD creationFlags,
    LPVOID environment, LPCWSTR directory, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process) {
    std::string startupText = "null";
    if (startup != nullptr) {
        startupText = "[size=" + std::to_string(startup->cb) +
                      " desktop=" + quote(startup->lpDesktop) +
                      " flags=" + hexText(startup->dwFlags) +
                      " show=" + std::to_string(startup->wShowWindow) + "]";
    }
    return {handleText(token),      hexText(logonFlags), quote(application), quote(commandLine),
            hexText(creationFlags), given(environment),  quote(directory),   startupText,
            given(process)};
}

}  // namespace standin
