#include "../Hook.h"
#include "Services.h"

namespace standin {

namespace {

// The Microsoft runtime ends the process when a text does not fit; the C runtime at hand goes on.
[[noreturn]] void invalidParameter() {
    Machine::get().failFast(5);
}  // FAST_FAIL_INVALID_ARG

errno_t copyText(wchar_t* target, size_t size, const wchar_t* source) {
    if (target == nullptr || source == nullptr || ::wcslen(source) >= size) invalidParameter();
    return ::wcscpy_s(target, size, source);
}

errno_t appendText(wchar_t* target, size_t size, const wchar_t* source) {
    if (target == nullptr || source == nullptr) invalidParameter();
    if (::wcsnlen(target, size) + ::wcslen(source) >= size) invalidParameter();
    return ::wcscat_s(target, size, source);
}

void WINAPI getSystemTime(LPFILETIME time) {
    const auto& clock = Machine::get().state.clock;
    if (!clock) {
        ::GetSystemTimeAsFileTime(time);
        return;
    }
    time->dwLowDateTime = static_cast<DWORD>(*clock);
    time->dwHighDateTime = static_cast<DWORD>(*clock >> 32);
}

}  // namespace

void serveText() {
    serve<PlatformCall::wcscpy_s>(&copyText);
    serve<PlatformCall::wcscat_s>(&appendText);
    serve<PlatformCall::GetSystemTimeAsFileTime>(&getSystemTime);
}

}  // namespace standin
