#pragma once

#include <string>
#include <vector>

#include "../FileSecurity.h"
#include "../Windows.h"

namespace standin {

// What the token of this process says about who it is and what it may.
struct ProcessToken {
    std::vector<std::wstring> sids;    // its user and groups
    std::vector<std::wstring> owners;  // those of them that it may make an owner
    bool canTakeOwnership = false;     // the privilege is enabled
    bool canRestore = false;           // the privilege is enabled

    // Whether the security gives this token all of these rights.
    bool mayUse(const FileSecurity& security, ACCESS_MASK rights) const;
};

ProcessToken processToken();

}  // namespace standin
