#pragma once

#include "PlatformCalls.h"

namespace standin {

// The C and C++ runtimes are part of the module and share its imports. What they call for
// themselves is no call of the program's: it is neither noted nor served.
template <PlatformCall C, typename... A>
bool isRuntimesOwn(const A&...) {
    return false;
}

bool isRuntimeException(DWORD code);
bool isRuntimeLookup(HMODULE library, LPCSTR name);
bool isForeignHandle(HANDLE handle);

template <>
inline bool isRuntimesOwn<PlatformCall::RaiseException>(const DWORD& code, const DWORD&,
                                                        const DWORD&, const ULONG_PTR* const&) {
    return isRuntimeException(code);
}
template <>
inline bool isRuntimesOwn<PlatformCall::GetProcAddress>(const HMODULE& library, const LPCSTR& name) {
    return isRuntimeLookup(library, name);
}
template <>
inline bool isRuntimesOwn<PlatformCall::CloseHandle>(const HANDLE& handle) {
    return isForeignHandle(handle);
}
template <>
inline bool isRuntimesOwn<PlatformCall::WaitForSingleObject>(const HANDLE& handle, const DWORD&) {
    return isForeignHandle(handle);
}
// The runtime's own conversion of one character; the only one that asks whether the default was used.
template <>
inline bool isRuntimesOwn<PlatformCall::WideCharToMultiByte>(const UINT&, const DWORD&,
                                                             const LPCWCH&, const int&,
                                                             const LPSTR&, const int&, const LPCCH&,
                                                             const LPBOOL& usedDefault) {
    return usedDefault != nullptr;
}
template <>
inline bool isRuntimesOwn<PlatformCall::_write>(const int& file, const void* const&, const unsigned&) {
    return file <= 2;
}

}  // namespace standin
