#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "stand-in/Windows.h"

// A SID by its text. None of these calls is seen by a mounted machine.
class Sid {
public:
    explicit Sid(const std::wstring& text);
    ~Sid();
    Sid(const Sid&) = delete;
    Sid& operator=(const Sid&) = delete;
    PSID get() const { return m_sid; }

private:
    PSID m_sid = nullptr;
};

// Privileges that this process holds, in use until the end of the scope.
class EnabledPrivileges {
public:
    explicit EnabledPrivileges(std::initializer_list<const wchar_t*> names);
    ~EnabledPrivileges();
    EnabledPrivileges(const EnabledPrivileges&) = delete;
    EnabledPrivileges& operator=(const EnabledPrivileges&) = delete;

private:
    HANDLE m_token = nullptr;
    std::vector<TOKEN_PRIVILEGES> m_before;
};
