// The stack protector's number and alarm. The runtime library has them too (libssp), but takes its
// number from a provider of cryptography, which loads DLLs of its own, and its alarm looks for a
// console before it ends the process.
#ifndef _CRT_RAND_S
#define _CRT_RAND_S
#endif
#include <cstdlib>

#include "platform/ProcessEnd.h"

// The compiler's names.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

// What the guard is until seeded: bytes that end what copies text.
void* __stack_chk_guard = reinterpret_cast<void*>(0xFF0A0D0000000000);

[[noreturn]] void __stack_chk_fail() {
    failFast(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE);
}
}

namespace {

// Before every other constructor. Not guarded itself: the number changes while it runs.
[[gnu::constructor(101), gnu::no_stack_protector]] void seedStackGuard() {
    unsigned int low = 0;
    unsigned int high = 0;
    if (::rand_s(&low) == 0 && ::rand_s(&high) == 0)
        __stack_chk_guard = reinterpret_cast<void*>(static_cast<ULONG_PTR>(high) << 32 | low);
}

}  // namespace
// NOLINTEND(bugprone-reserved-identifier)
