#pragma once

#include "platform/ComPointer.h"

#ifdef __GNUC__
#pragma GCC diagnostic push
// A COM interface must not have a virtual destructor: it would take places in the table.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

// The error object of the Windows Runtime and its functions, which the compiler's headers lack.
struct IRestrictedErrorInfo : IUnknown {
    static constexpr IID kId{
        0x82ba7092, 0x4c88, 0x427d, {0xa7, 0xbc, 0x16, 0xdd, 0x93, 0xfe, 0xb6, 0x7e}};

    virtual HRESULT STDMETHODCALLTYPE GetErrorDetails(BSTR* description, HRESULT* error,
                                                      BSTR* restrictedDescription,
                                                      BSTR* capabilitySid) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetReference(BSTR* reference) = 0;
};

extern "C" {
// Moves the thread's error object to the caller; null with success when there is none.
HRESULT WINAPI GetRestrictedErrorInfo(IRestrictedErrorInfo** info);
HRESULT WINAPI SetRestrictedErrorInfo(IRestrictedErrorInfo* info);
// Does not return: ends the process.
void WINAPI RoFailFastWithErrorContext(HRESULT error);
}

#ifdef __GNUC__
#pragma GCC diagnostic pop
#endif
