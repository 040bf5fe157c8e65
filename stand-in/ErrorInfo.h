#pragma once

#include "Windows.h"

// The error object of the Windows Runtime and its functions, which MinGW's headers lack. Not for
// headers that tests include: the product declares them too.

// COM interfaces have no virtual destructor: it would take slots of its own.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
struct IRestrictedErrorInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetErrorDetails(BSTR* description, HRESULT* error,
                                                      BSTR* restrictedDescription,
                                                      BSTR* capabilitySid) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetReference(BSTR* reference) = 0;
};
#pragma GCC diagnostic pop

extern "C" {
__declspec(dllimport) HRESULT WINAPI GetRestrictedErrorInfo(IRestrictedErrorInfo** info);
__declspec(dllimport) HRESULT WINAPI SetRestrictedErrorInfo(IRestrictedErrorInfo* info);
__declspec(dllimport) BOOL WINAPI RoOriginateError(HRESULT error, HSTRING message);
__declspec(dllimport) BOOL WINAPI RoOriginateErrorW(HRESULT error, UINT maxChars, PCWSTR message);
__declspec(dllimport) void WINAPI RoFailFastWithErrorContext(HRESULT error);
}
