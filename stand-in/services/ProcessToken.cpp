#include "ProcessToken.h"

#include <algorithm>

#include "../AccessLists.h"
#include "../Machine.h"

namespace standin {

namespace {

bool contains(const std::vector<std::wstring>& sids, const std::wstring& sid) {
    return std::find(sids.begin(), sids.end(), sid) != sids.end();
}

// The answer of the process's own token, which stands in memory that is aligned for any structure.
std::vector<std::max_align_t> ask(TOKEN_INFORMATION_CLASS wanted) {
    HANDLE token = nullptr;
    ::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token);
    DWORD size = 0;
    ::GetTokenInformation(token, wanted, nullptr, 0, &size);
    std::vector<std::max_align_t> answer(size / sizeof(std::max_align_t) + 1);
    ::GetTokenInformation(token, wanted, answer.data(), size, &size);
    ::CloseHandle(token);
    return answer;
}

bool isEnabled(const TOKEN_PRIVILEGES& privileges, const wchar_t* name) {
    LUID wanted = {};
    ::LookupPrivilegeValueW(nullptr, name, &wanted);
    const LUID_AND_ATTRIBUTES* const first = privileges.Privileges;
    return std::any_of(first, first + privileges.PrivilegeCount, [&](LUID_AND_ATTRIBUTES held) {
        return held.Luid.LowPart == wanted.LowPart && held.Luid.HighPart == wanted.HighPart &&
               (held.Attributes & SE_PRIVILEGE_ENABLED) != 0;
    });
}

}  // namespace

ProcessToken processToken() {
    ProcessToken token;
    std::wstring user = Machine::get().user();
    if (user.empty()) {
        const auto answer = ask(TokenUser);
        user = textOfSid(reinterpret_cast<const TOKEN_USER*>(answer.data())->User.Sid).value_or(L"");
    }
    token.sids.push_back(user);
    token.owners.push_back(user);

    const auto groupAnswer = ask(TokenGroups);
    const auto* const groups = reinterpret_cast<const TOKEN_GROUPS*>(groupAnswer.data());
    for (DWORD i = 0; i < groups->GroupCount; ++i) {
        const SID_AND_ATTRIBUTES& group = groups->Groups[i];
        const std::wstring sid = textOfSid(group.Sid).value_or(L"");
        if ((group.Attributes & SE_GROUP_ENABLED) != 0) token.sids.push_back(sid);
        if ((group.Attributes & SE_GROUP_OWNER) != 0) token.owners.push_back(sid);
    }

    const auto privilegeAnswer = ask(TokenPrivileges);
    const auto* const privileges = reinterpret_cast<const TOKEN_PRIVILEGES*>(privilegeAnswer.data());
    token.canTakeOwnership = isEnabled(*privileges, SE_TAKE_OWNERSHIP_NAME);
    token.canRestore = isEnabled(*privileges, SE_RESTORE_NAME);
    return token;
}

bool ProcessToken::mayUse(const FileSecurity& security, ACCESS_MASK rights) const {
    if (!security.accessList) return true;
    GENERIC_MAPPING mapping = {FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE,
                               FILE_ALL_ACCESS};
    ACCESS_MASK missing = rights;
    for (const AccessEntry& entry : *security.accessList) {
        if ((entry.flags & INHERIT_ONLY_ACE) != 0 || !contains(sids, entry.sid)) continue;
        ACCESS_MASK mask = entry.mask;
        ::MapGenericMask(&mask, &mapping);
        if (entry.type == ACCESS_DENIED_ACE_TYPE && (mask & missing) != 0) return false;
        if (entry.type == ACCESS_ALLOWED_ACE_TYPE) missing &= ~mask;
    }
    return missing == 0;
}

}  // namespace standin
