#include "../FileSecurity.h"

#include <algorithm>
#include <cstring>

#include "../AccessLists.h"
#include "../Hook.h"
#include "LastError.h"
#include "Memory.h"
#include "ProcessToken.h"
#include "Services.h"

namespace standin {

namespace {

constexpr SECURITY_INFORMATION kServed = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION |
                                         LABEL_SECURITY_INFORMATION;

constexpr DWORD ERROR_INVALID_LABEL = 1299;  // missing in the compiler's headers

// What the real system says to the path: 0, or why there is nothing to be had.
DWORD statusOfPath(const wchar_t* path) {
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD status = ::GetNamedSecurityInfoW(path, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                                 nullptr, nullptr, &list, nullptr, &descriptor);
    ::LocalFree(descriptor);
    return status;
}

void* copyOf(const std::vector<BYTE>& bytes) {
    void* const memory = ::LocalAlloc(LMEM_FIXED, bytes.size());
    std::memcpy(memory, bytes.data(), bytes.size());
    return memory;
}

// A descriptor of its own, in one piece, with the parts that are wanted.
PSECURITY_DESCRIPTOR descriptorOf(const FileSecurity& security, SECURITY_INFORMATION wanted) {
    std::vector<BYTE> owner = sidOf(security.owner);
    std::vector<BYTE> list = listOf(security.accessList.value_or(AccessList{}));
    std::vector<BYTE> label = listOf(security.label ? AccessList{*security.label} : AccessList{});
    SECURITY_DESCRIPTOR parts = {};
    ::InitializeSecurityDescriptor(&parts, SECURITY_DESCRIPTOR_REVISION);
    if ((wanted & OWNER_SECURITY_INFORMATION) != 0) {
        ::SetSecurityDescriptorOwner(&parts, owner.data(), FALSE);
    }
    if ((wanted & DACL_SECURITY_INFORMATION) != 0) {
        auto* const dacl = reinterpret_cast<ACL*>(list.data());
        ::SetSecurityDescriptorDacl(&parts, TRUE, security.accessList ? dacl : nullptr, FALSE);
    }
    if ((wanted & LABEL_SECURITY_INFORMATION) != 0 && security.label) {
        ::SetSecurityDescriptorSacl(&parts, TRUE, reinterpret_cast<ACL*>(label.data()), FALSE);
    }
    DWORD size = 0;
    ::MakeSelfRelativeSD(&parts, nullptr, &size);
    std::vector<BYTE> whole(size);
    ::MakeSelfRelativeSD(&parts, whole.data(), &size);
    return copyOf(whole);
}

void giveParts(PSECURITY_DESCRIPTOR descriptor, PSID* owner, PACL* dacl, PACL* sacl) {
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    if (owner != nullptr) ::GetSecurityDescriptorOwner(descriptor, owner, &defaulted);
    if (dacl != nullptr) {
        *dacl = nullptr;
        ::GetSecurityDescriptorDacl(descriptor, &present, dacl, &defaulted);
    }
    if (sacl != nullptr) {
        *sacl = nullptr;
        ::GetSecurityDescriptorSacl(descriptor, &present, sacl, &defaulted);
    }
}

DWORD WINAPI getNamedSecurityInfo(LPCWSTR path, SE_OBJECT_TYPE type, SECURITY_INFORMATION wanted,
                                  PSID* owner, PSID* group, PACL* dacl, PACL* sacl,
                                  PSECURITY_DESCRIPTOR* descriptor) {
    const KeepLastError keep;
    if (type != SE_FILE_OBJECT || (wanted & ~kServed) != 0 || group != nullptr) {
        return ERROR_NOT_SUPPORTED;  // not part of this machine
    }
    if (const DWORD status = statusOfPath(path); status != ERROR_SUCCESS) return status;

    const FileSecurity security = securityOf(Machine::get().state.fileSecurity, path);
    const PSECURITY_DESCRIPTOR whole = descriptorOf(security, wanted);
    giveParts(whole, owner, dacl, sacl);
    if (descriptor != nullptr) {
        handOutMemory(whole);
        *descriptor = whole;
    } else {
        // The parts are in use, but nobody will ever be able to release them.
        Machine::get().ledger.handOut("lost descriptor", whole);
    }
    return ERROR_SUCCESS;
}

bool contains(const std::vector<std::wstring>& sids, const std::wstring& sid) {
    return std::find(sids.begin(), sids.end(), sid) != sids.end();
}

// Owner and label are changed by whoever has the right to, or the privilege.
bool mayWriteOwner(const FileSecurity& security, const ProcessToken& token) {
    return token.canTakeOwnership || token.mayUse(security, WRITE_OWNER);
}

DWORD changeOwner(FileSecurity& security, const ProcessToken& token, PSID owner) {
    const auto sid = textOfSid(owner);
    if (!sid) return ERROR_INVALID_SECURITY_DESCR;
    if (!mayWriteOwner(security, token)) return ERROR_ACCESS_DENIED;
    if (!contains(token.owners, *sid) && !token.canRestore) return ERROR_INVALID_OWNER;
    security.owner = *sid;
    return ERROR_SUCCESS;
}

DWORD changeList(FileSecurity& security, const ProcessToken& token, PACL list) {
    if (!contains(token.sids, security.owner) && !token.mayUse(security, WRITE_DAC)) {
        return ERROR_ACCESS_DENIED;
    }
    if (list == nullptr) {
        security.accessList.reset();
        return ERROR_SUCCESS;
    }
    const auto entries = entriesOf(list);
    if (!entries) return ERROR_INVALID_ACL;
    security.accessList = *entries;
    return ERROR_SUCCESS;
}

DWORD changeLabel(FileSecurity& security, const ProcessToken& token, PACL list) {
    if (!mayWriteOwner(security, token)) return ERROR_ACCESS_DENIED;
    security.label.reset();
    if (list == nullptr) return ERROR_SUCCESS;
    const auto entries = entriesOf(list);
    if (!entries || entries->size() > 1) return ERROR_INVALID_ACL;
    if (entries->empty()) return ERROR_SUCCESS;
    const AccessEntry& label = entries->front();
    if (label.type != SYSTEM_MANDATORY_LABEL_ACE_TYPE || !label.sid.starts_with(L"S-1-16-")) {
        return ERROR_INVALID_LABEL;
    }
    security.label = label;
    return ERROR_SUCCESS;
}

// All changes or none.
DWORD WINAPI setNamedSecurityInfo(LPWSTR path, SE_OBJECT_TYPE type, SECURITY_INFORMATION wanted,
                                  PSID owner, PSID, PACL dacl, PACL sacl) {
    const KeepLastError keep;
    for (const void* const argument :
         {static_cast<void*>(owner), static_cast<void*>(dacl), static_cast<void*>(sacl)}) {
        noteIfReleased("SetNamedSecurityInfoW", argument);
    }
    if (type != SE_FILE_OBJECT || (wanted & ~kServed) != 0) return ERROR_NOT_SUPPORTED;
    if (const DWORD status = statusOfPath(path); status != ERROR_SUCCESS) return status;

    Machine& machine = Machine::get();
    const ProcessToken token = processToken();
    FileSecurity security = securityOf(machine.state.fileSecurity, path);
    DWORD status = ERROR_SUCCESS;
    if ((wanted & OWNER_SECURITY_INFORMATION) != 0) status = changeOwner(security, token, owner);
    if (status == ERROR_SUCCESS && (wanted & DACL_SECURITY_INFORMATION) != 0) {
        status = changeList(security, token, dacl);
    }
    if (status == ERROR_SUCCESS && (wanted & LABEL_SECURITY_INFORMATION) != 0) {
        status = changeLabel(security, token, sacl);
    }
    if (status != ERROR_SUCCESS) return status;
    setSecurity(machine.state.fileSecurity, path, security);
    machine.securityChanged(path);
    return ERROR_SUCCESS;
}

DWORD WINAPI setEntriesInAcl(ULONG count, PEXPLICIT_ACCESS_W changes, PACL old, PACL* result) {
    const KeepLastError keep;
    noteIfReleased("SetEntriesInAclW", old);
    if (result == nullptr || (count > 0 && changes == nullptr)) return ERROR_INVALID_PARAMETER;
    *result = nullptr;
    if (count == 0 && old == nullptr) return ERROR_SUCCESS;

    auto entries = old == nullptr ? AccessList{} : entriesOf(old);
    if (!entries) return ERROR_INVALID_ACL;
    for (ULONG i = 0; i < count; ++i) {
        if (const DWORD status = mergeEntry(*entries, changes[i]); status != ERROR_SUCCESS)
            return status;
    }
    *result = static_cast<ACL*>(copyOf(listOf(*entries)));
    handOutMemory(*result);
    return ERROR_SUCCESS;
}

BOOL WINAPI getAce(PACL list, DWORD index, LPVOID* entry) {
    noteIfReleased("GetAce", list);
    return ::GetAce(list, index, entry);
}

BOOL WINAPI isValidSid(PSID sid) {
    noteIfReleased("IsValidSid", sid);
    return ::IsValidSid(sid);
}

}  // namespace

void serveFileSecurity() {
    serve<PlatformCall::GetNamedSecurityInfoW>(&getNamedSecurityInfo);
    serve<PlatformCall::SetNamedSecurityInfoW>(&setNamedSecurityInfo);
    serve<PlatformCall::SetEntriesInAclW>(&setEntriesInAcl);
    serve<PlatformCall::GetAce>(&getAce);
    serve<PlatformCall::IsValidSid>(&isValidSid);
}

}  // namespace standin
