#include "support/Security.h"

#include <stdexcept>

#include "stand-in/Machine.h"

using standin::Untraced;

Sid::Sid(const std::wstring& text) {
    const Untraced untraced;
    if (!::ConvertStringSidToSidW(text.c_str(), &m_sid)) throw std::invalid_argument("not a SID");
}

Sid::~Sid() {
    const Untraced untraced;
    ::LocalFree(m_sid);
}

EnabledPrivileges::EnabledPrivileges(std::initializer_list<const wchar_t*> names) {
    const Untraced untraced;
    ::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &m_token);
    for (const wchar_t* const name : names) {
        TOKEN_PRIVILEGES wanted = {};
        wanted.PrivilegeCount = 1;
        wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
        TOKEN_PRIVILEGES before = {};
        DWORD size = 0;
        if (!::LookupPrivilegeValueW(nullptr, name, &wanted.Privileges[0].Luid) ||
            !::AdjustTokenPrivileges(m_token, FALSE, &wanted, sizeof(before), &before, &size) ||
            ::GetLastError() != ERROR_SUCCESS) {
            throw std::runtime_error("a privilege cannot be enabled");
        }
        m_before.push_back(before);
    }
}

EnabledPrivileges::~EnabledPrivileges() {
    const Untraced untraced;
    for (TOKEN_PRIVILEGES& before : m_before)
        ::AdjustTokenPrivileges(m_token, FALSE, &before, 0, nullptr, nullptr);
    ::CloseHandle(m_token);
}
