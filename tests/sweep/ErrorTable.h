#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "stand-in/Call.h"

// The errors with which a sweep lets this call fail, as Windows can give them, in the form in which
// the call tells them: last error, status, HRESULT, errno or the shell's number. Empty for a call
// that cannot fail. Throws std::invalid_argument for one that the table does not know: every call
// of the program is to be swept.
std::vector<unsigned long> errorsOf(const standin::Call& call);

// A state of the machine in which many calls fail for one reason from some moment on.
struct LastingFailure {
    std::string name;
    struct Member {
        std::string call;
        unsigned long error;
    };
    std::vector<Member> members;
};

// Disk full, access denied, out of memory.
const std::vector<LastingFailure>& lastingFailures();
