#include "executable/ImportedFunctions.h"

#include <algorithm>
#include <iterator>

#include "stand-in/PlatformCalls.h"

namespace {

constexpr const char* kWatched[] = {
#define STANDIN_NAME(name, type, failure, letters) #name,
    STANDIN_PLATFORM_CALLS(STANDIN_NAME)
#undef STANDIN_NAME
};

// What the C++ runtime and its threads are built on. None of them changes files, keys, packages or
// rights by itself; those that could open a file do so for the runtime's own streams alone, whose
// every write goes through a function that is watched.
// clang-format off
constexpr const char* kRuntimesOwn[] = {
    // Windows
    "AcquireSRWLockExclusive", "AddVectoredExceptionHandler", "CreateEventA", "CreateSemaphoreA",
    "DeleteCriticalSection", "DuplicateHandle", "EnterCriticalSection", "FormatMessageA", "GetCurrentProcessId",
    "GetCurrentThread", "GetCurrentThreadId", "GetHandleInformation", "GetLastError",
    "GetModuleHandleW", "GetProcessAffinityMask", "GetStartupInfoW", "GetThreadContext",
    "GetThreadPriority", "GetTickCount64", "InitializeCriticalSection", "IsDBCSLeadByteEx",
    "IsDebuggerPresent", "LeaveCriticalSection", "MultiByteToWideChar", "OutputDebugStringA",
    "ReleaseSRWLockExclusive", "ReleaseSemaphore", "RemoveVectoredExceptionHandler", "ResetEvent",
    "ResumeThread", "RtlCaptureContext", "RtlLookupFunctionEntry", "RtlUnwindEx",
    "RtlVirtualUnwind", "SetEvent", "SetLastError", "SetProcessAffinityMask", "SetThreadContext",
    "SetThreadPriority", "SetUnhandledExceptionFilter", "Sleep", "SleepConditionVariableSRW",
    "SuspendThread", "TlsAlloc", "TlsGetValue", "TlsSetValue", "TryEnterCriticalSection",
    "VirtualProtect", "VirtualQuery", "WaitForMultipleObjects", "WakeAllConditionVariable",
    // its C runtime
    "__C_specific_handler", "___lc_codepage_func", "___mb_cur_max_func", "__argc", "__iob_func",
    "__set_app_type", "__setusermatherr", "__wargv", "__wgetmainargs", "__winitenv", "_amsg_exit",
    "_beginthreadex", "_cexit", "_commode", "_endthreadex", "_errno", "_exit", "_fdopen",
    "_fileno", "_fmode", "_fstat64", "_initterm", "_localtime64", "_lseeki64", "_onexit", "_open",
    "_setjmp", "_strdup", "_ultoa", "_wcmdln", "abort", "calloc", "exit", "fclose", "fflush",
    "fopen", "fprintf", "fputc", "fputs", "fputwc", "free", "fwprintf", "fwrite", "iswctype",
    "localeconv", "longjmp", "malloc", "memchr", "memcmp", "memcpy", "memmove", "memset",
    "printf", "realloc", "setlocale", "setvbuf", "signal", "strcmp", "strcoll", "strerror",
    "strftime", "strlen", "strncmp", "strxfrm", "towlower", "towupper", "vfprintf", "wcscmp",
    "wcscoll", "wcsftime", "wcslen", "wcsrchr", "wcstol", "wcsxfrm",
};
// clang-format on

template <size_t N>
bool isOneOf(const std::string& name, const char* const (&names)[N]) {
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

}  // namespace

Findings unwatchedImports(const PeFile& file) {
    const DWORD table = file.directory(IMAGE_DIRECTORY_ENTRY_IMPORT).VirtualAddress;
    Findings findings;
    for (size_t i = 0; file.at<IMAGE_IMPORT_DESCRIPTOR>(table, i).Name != 0; ++i) {
        const DWORD names = file.at<IMAGE_IMPORT_DESCRIPTOR>(table, i).OriginalFirstThunk;
        for (size_t k = 0;; ++k) {
            const ULONGLONG entry = file.at<ULONGLONG>(names, k);
            if (entry == 0) break;
            if (IMAGE_SNAP_BY_ORDINAL64(entry)) {
                findings.push_back("imports by a number");
                continue;
            }
            const std::string name = file.textAt(static_cast<DWORD>(entry) +
                                                 offsetof(IMAGE_IMPORT_BY_NAME, Name));
            if (!isOneOf(name, kWatched) && !isOneOf(name, kRuntimesOwn))
                findings.push_back("imports " + name);
        }
    }
    return findings;
}
