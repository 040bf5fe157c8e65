#pragma once

#include "platform/Windows.h"

// The SID of a well-known group or account, in memory of its own.
class WellKnownSid {
public:
    // Logs the failure and throws an UnknownException.
    explicit WellKnownSid(WELL_KNOWN_SID_TYPE type);
    WellKnownSid(const WellKnownSid&) = delete;
    WellKnownSid& operator=(const WellKnownSid&) = delete;
    ~WellKnownSid();

    PSID m_sid = nullptr;
    bool m_owned = false;
};

// Adds an access-allowed entry for `sid` to the file's access list; the entries that it has stay. Returns a Win32
// status; a failure is logged but for a null path, which gives ERROR_INVALID_PARAMETER.
DWORD GrantAccessToFile(const wchar_t* path, PSID sid, DWORD accessMask);

// Puts the medium integrity label on the file. Logs the outcome.
bool SetMediumIntegrityLabelToFile(const wchar_t* path);
