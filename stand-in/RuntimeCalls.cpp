#include "RuntimeCalls.h"

#include <array>

#include "Machine.h"
#include "Mount.h"

namespace standin {

bool isRuntimeException(DWORD code) {
    return (code & 0x00FFFFFF) == 0x00474343;
}

bool isRuntimeLookup(HMODULE library, LPCSTR name) {
    if (findHook(name) != nullptr) return false;
    constexpr std::array kRuntimeLibraries = {L"msvcrt.dll", L"kernel32.dll", L"ntdll.dll"};
    for (const wchar_t* const runtimeLibrary : kRuntimeLibraries) {
        if (library == ::GetModuleHandleW(runtimeLibrary)) return true;
    }
    return false;
}

bool isForeignHandle(HANDLE handle) {
    DWORD flags = 0;
    return !Machine::get().ledger.isOut(handle) && ::GetHandleInformation(handle, &flags);
}

}  // namespace standin
