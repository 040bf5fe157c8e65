#include <aclapi.h>
#include <sddl.h>

#include <cwchar>
#include <vector>

#include "platform/Owners.h"
#include "run/ConfiguratorLog.h"
#include "security/AclPrimitives.h"
#include "security/UserDataFolders.h"

namespace {

// The bytes of a folder's access list; empty for a folder that has none.
struct AccessList {
    std::vector<BYTE> bytes;

    ACL* get() { return bytes.empty() ? nullptr : reinterpret_cast<ACL*>(bytes.data()); }
    DWORD entryCount() { return bytes.empty() ? 0 : get()->AceCount; }
};

// A Win32 status; nothing is logged.
DWORD readAccessList(const wchar_t* path, AccessList& list) {
    PACL inside = nullptr;
    PSECURITY_DESCRIPTOR read = nullptr;
    const DWORD status = ::GetNamedSecurityInfoW(path, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                                 nullptr, nullptr, &inside, nullptr, &read);
    LocalMemory<void> descriptor(read);
    if (status != ERROR_SUCCESS) return status;

    if (inside) {
        const BYTE* const first = reinterpret_cast<const BYTE*>(inside);
        list.bytes.assign(first, first + inside->AclSize);
    }
    descriptor.reset();  // Required: released before the list is walked, which is why the walk has a copy.
    return ERROR_SUCCESS;
}

bool isGrant(ACCESS_ALLOWED_ACE* entry, const wchar_t* anyPackageSid) {
    PSID sid = &entry->SidStart;
    if (!::IsValidSid(sid)) {
        g_configuratorLog->beginLine() << "IsValidSid failed for TQXUWP" << std::endl;
        return false;
    }
    wchar_t* converted = nullptr;
    if (!::ConvertSidToStringSidW(sid, &converted)) {
        g_configuratorLog->beginLine()
            << "ConvertSidToStringSid (sid iteration) failed for TQXUWP" << std::endl;
        return false;
    }
    const LocalMemory<wchar_t> text(converted);
    return std::wcscmp(text.get(), anyPackageSid) == 0 && (entry->Mask & GENERIC_ALL) != 0;
}

}  // namespace

bool HasPermissions(const wchar_t* path) {
    AccessList list;
    if (readAccessList(path, list) != ERROR_SUCCESS) {
        g_configuratorLog->beginLine()
            << "GetNamedSecurityInfo failed for TQXUWP/HasPermissions" << std::endl;
        return false;
    }
    const WellKnownSid anyPackage(WinBuiltinAnyPackageSid);
    wchar_t* converted = nullptr;
    if (!::ConvertSidToStringSidW(anyPackage.m_sid, &converted)) {
        g_configuratorLog->beginLine()
            << "ConvertSidToStringSid (WinBuiltinAnyPackageSid) failed for TQXUWP" << std::endl;
        return false;
    }
    const LocalMemory<wchar_t> anyPackageText(converted);
    for (DWORD index = 0; index < list.entryCount(); ++index) {
        void* entry = nullptr;
        if (!::GetAce(list.get(), index, &entry)) {
            g_configuratorLog->beginLine() << "GetAce(pOldDACL) failed for TQXUWP" << std::endl;
            continue;
        }
        if (static_cast<ACE_HEADER*>(entry)->AceType != ACCESS_ALLOWED_ACE_TYPE) continue;
        if (isGrant(static_cast<ACCESS_ALLOWED_ACE*>(entry), anyPackageText.get())) return true;
    }
    return false;
}

bool SetFolderPermissions(const wchar_t* path) {
    AccessList list;
    if (readAccessList(path, list) != ERROR_SUCCESS) {
        g_configuratorLog->beginLine()
            << "GetNamedSecurityInfo failed for TQXUWP/SetFolderPermissions" << std::endl;
        return false;
    }
    DWORD size = SECURITY_MAX_SID_SIZE;
    const LocalMemory<void> anyPackage(::LocalAlloc(LMEM_FIXED, size));
    if (!anyPackage) return false;
    if (!::CreateWellKnownSid(WinBuiltinAnyPackageSid, nullptr, anyPackage.get(), &size)) {
        g_configuratorLog->beginLine()
            << "CreateWellKnownSid failed for TQXUWP/SetFolderPermissions" << std::endl;
        return false;
    }

    EXPLICIT_ACCESS_W access = {};
    access.grfAccessPermissions = GENERIC_ALL;
    access.grfAccessMode = SET_ACCESS;
    access.grfInheritance = SUB_CONTAINERS_AND_OBJECTS_INHERIT;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
    access.Trustee.ptstrName = static_cast<wchar_t*>(anyPackage.get());
    PACL merged = nullptr;
    const DWORD mergeStatus = ::SetEntriesInAclW(1, &access, list.get(), &merged);
    const LocalMemory<ACL> newList(merged);
    if (mergeStatus != ERROR_SUCCESS) {
        g_configuratorLog->beginLine()
            << "SetEntriesInAcl failed for TQXUWP/SetFolderPermissions" << std::endl;
        return false;
    }
    if (::SetNamedSecurityInfoW(const_cast<wchar_t*>(path), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                nullptr, nullptr, newList.get(), nullptr) != ERROR_SUCCESS) {
        g_configuratorLog->beginLine()
            << "SetNamedSecurityInfo failed for TQXUWP/SetFolderPermissions, folder =" << path
            << std::endl;
        return false;
    }
    g_configuratorLog->beginLine()
        << "SetNamedSecurityInfo succeeded for TQXUWP/SetFolderPermissions, folder =" << path
        << std::endl;
    return true;
}
