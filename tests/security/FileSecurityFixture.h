#pragma once

#include <string>
#include <vector>

#include "stand-in/FileSecurity.h"
#include "stand-in/Text.h"
#include "support/LogTest.h"
#include "support/Security.h"

constexpr wchar_t kUserSid[] = L"S-1-5-21-1-2-3-1001";  // the user of the process's token
constexpr wchar_t kUsersSid[] = L"S-1-5-32-545";
constexpr wchar_t kSystemSid[] = L"S-1-5-18";
constexpr wchar_t kAnyPackageSid[] = L"S-1-15-2-1";

constexpr uint8_t kAllow = ACCESS_ALLOWED_ACE_TYPE;
constexpr uint8_t kDeny = ACCESS_DENIED_ACE_TYPE;

// Readable by everyone, to be changed by nobody but its owner, who is not the user.
inline standin::FileSecurity lockedSecurity() {
    return {kSystemSid, standin::AccessList{{kAllow, 0, FILE_GENERIC_READ, L"S-1-1-0"}},
            std::nullopt};
}

// A test of what the product does to the security of files and folders.
class FileSecurityTest : public LogTest {
protected:
    FileSecurityTest() { machine.state.tokenUser = kUserSid; }

    void setSecurity(const std::wstring& path, const standin::FileSecurity& security) {
        standin::setSecurity(machine.state.fileSecurity, path, security);
    }
    void setList(const std::wstring& path, const std::optional<standin::AccessList>& list) {
        setSecurity(path, {kUserSid, list, std::nullopt});
    }
    standin::FileSecurity security(const std::wstring& path) const {
        return standin::securityOf(machine.state.fileSecurity, path);
    }
    std::string listText(const std::wstring& path) const {
        return standin::textOf(security(path).accessList);
    }
    bool isUntouched(const std::wstring& path) const {
        return !machine.state.fileSecurity.contains(path);
    }

    // Descriptors that nobody can ever release: the primitive that reads the list asks for no descriptor.
    void expectLostDescriptors(size_t count) {
        std::vector<std::string> names;
        for (size_t i = 1; i <= count; ++i)
            names.push_back("lost descriptor#" + std::to_string(i));
        mounted.expectLeaks(names);
    }

    static std::string quoted(const std::wstring& path) {
        return '"' + standin::toUtf8(path) + '"';
    }
};
