// The stack protector's number and alarm. The runtime library has them too (libssp), but takes its
// number from a provider of cryptography, which loads DLLs of its own, and its alarm looks for a
// console before it ends the process.
// NOLINTBEGIN(bugprone-reserved-identifier): the compiler's names, and the C runtime's
#ifndef _CRT_RAND_S
#define _CRT_RAND_S
#endif
#include <cstdint>
#include <cstdlib>

#include "platform/ProcessEnd.h"

extern "C" {

// What the guard is until seeded: bytes that end what copies text.
uintptr_t __stack_chk_guard = 0xFF0A0D0000000000;

[[noreturn]] void __stack_chk_fail() {
    failFast(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE);
}
}

namespace {

// Before every other constructor of ours. Not guarded itself: the number changes while it runs.
__attribute__((constructor(101), no_stack_protector)) void seedStackGuard() {
    unsigned int low = 0;
    unsigned int high = 0;
    if (::rand_s(&low) == 0 && ::rand_s(&high) == 0)
        __stack_chk_guard = uintptr_t{high} << 32 | low;
}

}  // namespace
// NOLINTEND(bugprone-reserved-identifier)
