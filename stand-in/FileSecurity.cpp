#include "FileSecurity.h"

#include "Format.h"
#include "Text.h"
#include "Windows.h"

namespace standin {

namespace {

constexpr wchar_t kSystem[] = L"S-1-5-18";
constexpr wchar_t kAdministrators[] = L"S-1-5-32-544";
constexpr wchar_t kUsers[] = L"S-1-5-32-545";

// Absolute, without a backslash at its end.
std::wstring fullPath(const std::wstring& path) {
    std::wstring full(::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    full.resize(
        ::GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
    if (full.starts_with(L"\\\\?\\")) full.erase(0, 4);
    while (full.size() > 3 && full.ends_with(L'\\'))
        full.pop_back();
    return full;
}

bool isFolder(const std::wstring& path) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

bool PathLess::operator()(const std::wstring& a, const std::wstring& b) const {
    return ::CompareStringOrdinal(a.c_str(), static_cast<int>(a.size()), b.c_str(),
                                  static_cast<int>(b.size()), TRUE) == CSTR_LESS_THAN;
}

FileSecurity untouchedSecurity(bool isFolder) {
    const uint8_t flags = isFolder ? INHERITED_ACE | OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE
                                   : INHERITED_ACE;
    return {kAdministrators,
            AccessList{
                {ACCESS_ALLOWED_ACE_TYPE, flags, FILE_ALL_ACCESS, kSystem},
                {ACCESS_ALLOWED_ACE_TYPE, flags, FILE_ALL_ACCESS, kAdministrators},
                {ACCESS_ALLOWED_ACE_TYPE, flags, FILE_GENERIC_READ | FILE_GENERIC_EXECUTE, kUsers}},
            std::nullopt};
}

FileSecurity securityOf(const FileSecurities& files, const std::wstring& path) {
    const auto file = files.find(fullPath(path));
    return file == files.end() ? untouchedSecurity(isFolder(path)) : file->second;
}

void setSecurity(FileSecurities& files, const std::wstring& path, const FileSecurity& security) {
    files[fullPath(path)] = security;
}

std::string nameOfType(uint8_t type) {
    switch (type) {
        case ACCESS_ALLOWED_ACE_TYPE:
            return "allow";
        case ACCESS_DENIED_ACE_TYPE:
            return "deny";
        case SYSTEM_AUDIT_ACE_TYPE:
            return "audit";
        case SYSTEM_MANDATORY_LABEL_ACE_TYPE:
            return "label";
        default:
            return "type " + std::to_string(type);
    }
}

std::string textOf(const AccessEntry& entry) {
    return nameOfType(entry.type) + " " + toUtf8(entry.sid) + " " + hexText(entry.mask) +
           " flags " + hexText(entry.flags);
}

std::string textOf(const std::optional<AccessList>& list) {
    if (!list) return "none";
    std::string text = "[";
    for (const AccessEntry& entry : *list) {
        if (text.size() > 1) text += "; ";
        text += textOf(entry);
    }
    return text + "]";
}

std::string textOf(const FileSecurity& security) {
    return "owner " + toUtf8(security.owner) + "\nlist " + textOf(security.accessList) + "\n" +
           (security.label ? textOf(*security.label) : "no label") + "\n";
}

}  // namespace standin
