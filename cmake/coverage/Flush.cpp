#include <windows.h>

extern "C" void __gcov_dump();
extern "C" void __gcov_reset();

// Adds the counters to their files, as an exit would, and goes on from zero. Exported: the stand-in
// machine calls it before it ends the process.
extern "C" __declspec(dllexport) void flushCoverage() {
    __gcov_dump();
    __gcov_reset();
}

namespace {

// Whether the exception, as a rule, ends the process. That of the C++ runtime does not; after a
// stack overflow there is no room to write anything.
bool isFatal(DWORD code) {
    if (code == EXCEPTION_STACK_OVERFLOW) return false;
    return code >= 0xC0000000 || HIWORD(code) == 0x8007;
}

LONG CALLBACK onException(EXCEPTION_POINTERS* exception) {
    if (isFatal(exception->ExceptionRecord->ExceptionCode)) flushCoverage();
    return EXCEPTION_CONTINUE_SEARCH;
}

struct Installation {
    Installation() { ::AddVectoredExceptionHandler(1, onException); }
} installation;

}  // namespace
