#include "security/AclPrimitives.h"

#include <aclapi.h>
#include <sddl.h>

#include "platform/Owners.h"
#include "platform/StandardExceptions.h"
#include "run/ConfiguratorLog.h"

namespace {

// Mandatory label: medium level, no write up, not inherited.
constexpr wchar_t kMediumLabel[] = L"S:(ML;;NW;;;ME)";

}  // namespace

WellKnownSid::WellKnownSid(WELL_KNOWN_SID_TYPE type)
    : m_sid(::LocalAlloc(LMEM_FIXED, SECURITY_MAX_SID_SIZE)) {
    DWORD size = SECURITY_MAX_SID_SIZE;
    if (!m_sid) {
        g_configuratorLog->beginLine() << "Can't allocate " << size << " for PSID." << std::endl;
        throw UnknownException();
    }
    if (!::CreateWellKnownSid(type, nullptr, m_sid, &size)) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine() << "Can't create well known sid " << static_cast<int>(type)
                                       << ". Last error is: " << error << "." << std::endl;
        throw UnknownException();  // Required: the buffer is not released here.
    }
    m_owned = true;
}

WellKnownSid::~WellKnownSid() {
    if (m_owned) ::LocalFree(m_sid);
}

DWORD GrantAccessToFile(const wchar_t* path, PSID sid, DWORD accessMask) {
    if (!path) return ERROR_INVALID_PARAMETER;

    // Required: the descriptor is not asked for, so what the system allocates for the list is never released.
    PACL oldList = nullptr;
    DWORD status = ::GetNamedSecurityInfoW(path, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                           nullptr, &oldList, nullptr, nullptr);
    if (status != ERROR_SUCCESS) {
        g_configuratorLog->beginLine() << "GetNamedSecurityInfo Error " << status << std::endl;
        return status;
    }

    EXPLICIT_ACCESS_W access = {};
    access.grfAccessPermissions = accessMask;
    access.grfAccessMode = GRANT_ACCESS;
    access.grfInheritance = NO_INHERITANCE;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.TrusteeType = TRUSTEE_IS_UNKNOWN;
    access.Trustee.ptstrName = static_cast<wchar_t*>(sid);
    PACL merged = nullptr;
    status = ::SetEntriesInAclW(1, &access, oldList, &merged);
    const LocalMemory<ACL> newList(merged);
    if (status != ERROR_SUCCESS) {
        g_configuratorLog->beginLine() << "SetEntriesInAcl Error " << status << std::endl;
        return status;
    }

    status = ::SetNamedSecurityInfoW(const_cast<wchar_t*>(path), SE_FILE_OBJECT,
                                     DACL_SECURITY_INFORMATION, nullptr, nullptr, newList.get(),
                                     nullptr);
    if (status != ERROR_SUCCESS)
        g_configuratorLog->beginLine() << "SetNamedSecurityInfo Error " << status << std::endl;
    return status;
}

bool SetMediumIntegrityLabelToFile(const wchar_t* path) {
    PSECURITY_DESCRIPTOR converted = nullptr;
    if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(kMediumLabel, SDDL_REVISION_1,
                                                                &converted, nullptr)) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine()
            << "ConvertStringSecurityDescriptorToSecurityDescriptor failed. GetLastError returned: "
            << error << std::endl;
        return false;
    }
    LocalMemory<void> descriptor(converted);

    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL label = nullptr;
    if (!::GetSecurityDescriptorSacl(descriptor.get(), &present, &label, &defaulted)) {
        descriptor.reset();
        const DWORD error = ::GetLastError();  // Required: read after the release, not before.
        g_configuratorLog->beginLine()
            << "GetSecurityDescriptorSacl failed. GetLastError returned: " << error << std::endl;
        return false;
    }
    if (!present) {
        descriptor.reset();
        g_configuratorLog->beginLine()
            << "GetSecurityDescriptorSacl failed and pSacl is invalid" << std::endl;
        return false;
    }

    const DWORD status = ::SetNamedSecurityInfoW(const_cast<wchar_t*>(path), SE_FILE_OBJECT,
                                                 LABEL_SECURITY_INFORMATION, nullptr, nullptr,
                                                 nullptr, label);
    descriptor.reset();
    if (status != ERROR_SUCCESS) {
        g_configuratorLog->beginLine()
            << "SetNamedSecurityInfo with SECURITY_INFORMATION type LABEL_SECURITY_INFORMATION failed. Error: "
            << status << "." << std::endl;
        return false;
    }
    g_configuratorLog->beginLine()
        << "SetMediumIntegrityLabelToFile executed successfully" << std::endl;
    return true;
}
