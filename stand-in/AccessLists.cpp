#include "AccessLists.h"

#include <algorithm>
#include <cstring>

namespace standin {

namespace {

constexpr DWORD kInheritance = OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE |
                               NO_PROPAGATE_INHERIT_ACE | INHERIT_ONLY_ACE;

// Kinds of entries that are a header, a mask and a SID.
bool isPlain(BYTE type) {
    return type == ACCESS_ALLOWED_ACE_TYPE || type == ACCESS_DENIED_ACE_TYPE ||
           type == SYSTEM_AUDIT_ACE_TYPE || type == SYSTEM_MANDATORY_LABEL_ACE_TYPE;
}

template <typename T>
void append(std::vector<BYTE>& bytes, const T& value) {
    const auto* const first = reinterpret_cast<const BYTE*>(&value);
    bytes.insert(bytes.end(), first, first + sizeof(value));
}

// Places in the order that Windows wants: refusals before grants, what is inherited behind what is not.
int rankOf(const AccessEntry& entry) {
    if ((entry.flags & INHERITED_ACE) != 0) return 2;
    return entry.type == ACCESS_DENIED_ACE_TYPE ? 0 : 1;
}

bool isOwn(const AccessEntry& entry, const std::wstring& sid) {
    return (entry.flags & INHERITED_ACE) == 0 && entry.sid == sid;
}

// Entries of the trustee with the change's type and inheritance become part of the change; entries
// of the opposite type lose the rights that it names.
void mergeRights(AccessList& list, AccessEntry& change) {
    for (AccessEntry& entry : list) {
        if (!isOwn(entry, change.sid)) continue;
        if (entry.type == change.type && entry.flags == change.flags) {
            change.mask |= entry.mask;
            entry.mask = 0;
        }
    }
    for (AccessEntry& entry : list) {
        const bool isOpposite = entry.type <= ACCESS_DENIED_ACE_TYPE && entry.type != change.type;
        if (isOwn(entry, change.sid) && isOpposite) entry.mask &= ~change.mask;
    }
    std::erase_if(
        list, [&](const AccessEntry& entry) { return isOwn(entry, change.sid) && entry.mask == 0; });
}

}  // namespace

std::optional<std::wstring> textOfSid(PSID sid) {
    wchar_t* text = nullptr;
    if (sid == nullptr || !::IsValidSid(sid) || !::ConvertSidToStringSidW(sid, &text)) {
        return std::nullopt;
    }
    std::wstring copy = text;
    ::LocalFree(text);
    return copy;
}

std::vector<BYTE> sidOf(const std::wstring& text) {
    PSID sid = nullptr;
    if (!::ConvertStringSidToSidW(text.c_str(), &sid)) return {};
    const auto* const first = static_cast<const BYTE*>(sid);
    std::vector<BYTE> bytes(first, first + ::GetLengthSid(sid));
    ::LocalFree(sid);
    return bytes;
}

std::optional<AccessList> entriesOf(const ACL* list) {
    auto* const readable = const_cast<ACL*>(list);
    if (!::IsValidAcl(readable)) return std::nullopt;
    AccessList entries;
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void* raw = nullptr;
        if (!::GetAce(readable, i, &raw)) return std::nullopt;
        auto* const entry = static_cast<ACCESS_ALLOWED_ACE*>(raw);
        if (!isPlain(entry->Header.AceType)) return std::nullopt;
        const auto sid = textOfSid(&entry->SidStart);
        if (!sid) return std::nullopt;
        entries.push_back({entry->Header.AceType, entry->Header.AceFlags,
                           static_cast<uint32_t>(entry->Mask), *sid});
    }
    return entries;
}

std::vector<BYTE> listOf(const AccessList& entries) {
    std::vector<BYTE> bytes(sizeof(ACL));
    for (const AccessEntry& entry : entries) {
        const std::vector<BYTE> sid = sidOf(entry.sid);
        const size_t size = sizeof(ACE_HEADER) + sizeof(ACCESS_MASK) + sid.size();
        append(bytes, ACE_HEADER{entry.type, entry.flags, static_cast<WORD>(size)});
        append(bytes, ACCESS_MASK{entry.mask});
        bytes.insert(bytes.end(), sid.begin(), sid.end());
    }
    const ACL header = {ACL_REVISION, 0, static_cast<WORD>(bytes.size()),
                        static_cast<WORD>(entries.size()), 0};
    std::memcpy(bytes.data(), &header, sizeof(header));
    return bytes;
}

DWORD mergeEntry(AccessList& list, const EXPLICIT_ACCESS_W& change) {
    const TRUSTEE_W& trustee = change.Trustee;
    if (trustee.TrusteeForm != TRUSTEE_IS_SID) return ERROR_NOT_SUPPORTED;
    if (trustee.MultipleTrusteeOperation != NO_MULTIPLE_TRUSTEE) return ERROR_INVALID_PARAMETER;
    const auto sid = textOfSid(trustee.ptstrName);
    if (!sid) return ERROR_INVALID_PARAMETER;

    AccessEntry entry = {ACCESS_ALLOWED_ACE_TYPE,
                         static_cast<uint8_t>(change.grfInheritance & kInheritance),
                         static_cast<uint32_t>(change.grfAccessPermissions), *sid};
    switch (change.grfAccessMode) {
        case GRANT_ACCESS:
            mergeRights(list, entry);
            break;
        case DENY_ACCESS:
            entry.type = ACCESS_DENIED_ACE_TYPE;
            mergeRights(list, entry);
            break;
        case SET_ACCESS:
        case REVOKE_ACCESS:
            std::erase_if(list, [&](const AccessEntry& old) { return isOwn(old, *sid); });
            break;
        default:
            return change.grfAccessMode == NOT_USED_ACCESS ? ERROR_INVALID_PARAMETER
                                                           : ERROR_NOT_SUPPORTED;
    }
    std::stable_sort(list.begin(), list.end(), [](const AccessEntry& a, const AccessEntry& b) {
        return rankOf(a) < rankOf(b);
    });
    if (change.grfAccessMode == REVOKE_ACCESS) return ERROR_SUCCESS;
    // In front of the entries of its own kind.
    const auto place = std::find_if(list.begin(), list.end(), [&](const AccessEntry& old) {
        return rankOf(old) >= rankOf(entry);
    });
    list.insert(place, entry);
    return ERROR_SUCCESS;
}

}  // namespace standin
