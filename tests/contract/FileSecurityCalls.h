#pragma once

#include <memory>
#include <string>

#include "support/Security.h"

constexpr wchar_t kSystem[] = L"S-1-5-18";
constexpr wchar_t kUsers[] = L"S-1-5-32-545";
constexpr wchar_t kUser[] = L"S-1-5-21-1-2-3-1001";

struct LocalFreer {
    void operator()(void* memory) const { ::LocalFree(memory); }
};
template <typename T>
using Local = std::unique_ptr<T, LocalFreer>;

inline EXPLICIT_ACCESS_W change(ACCESS_MODE mode, DWORD mask, PSID sid,
                                DWORD inheritance = NO_INHERITANCE) {
    EXPLICIT_ACCESS_W access = {};
    access.grfAccessPermissions = mask;
    access.grfAccessMode = mode;
    access.grfInheritance = inheritance;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.ptstrName = static_cast<wchar_t*>(sid);
    return access;
}

inline DWORD readList(const std::wstring& path, PACL* list, PSECURITY_DESCRIPTOR* descriptor) {
    return ::GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                   nullptr, list, nullptr, descriptor);
}

inline DWORD setOwner(std::wstring path, PSID owner) {
    return ::SetNamedSecurityInfoW(path.data(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, owner,
                                   nullptr, nullptr, nullptr);
}
