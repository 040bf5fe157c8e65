#pragma once

#include "platform/Windows.h"

// Ends the process at once with 0xC0000409: no unwinding, no handler, no dialog, nothing flushed.
// `reason` is one of the FAST_FAIL_ codes of Windows; it is only seen by a debugger and in a crash
// report.
[[noreturn]] inline void failFast(unsigned int reason) {
#ifdef _MSC_VER
    __fastfail(reason);
#else
    __asm__ __volatile__("int $0x29" : : "c"(reason));
    __builtin_unreachable();
#endif
}

// Raises the structured exception of a failed close. Must be called directly after the failing
// call: the code is made from the last error, its low 16 bits with 0x80070000 if it is positive,
// otherwise the error as it is. No C++ handler sees it; unhandled, it ends the process with that
// code.
[[noreturn]] inline void raiseLastError() {
    const DWORD error = ::GetLastError();
    const bool isPositive = static_cast<LONG>(error) > 0;
    ::RaiseException(isPositive ? (error & 0xFFFF) | 0x80070000 : error, EXCEPTION_NONCONTINUABLE,
                     0, nullptr);
    failFast(FAST_FAIL_FATAL_APP_EXIT);
}
