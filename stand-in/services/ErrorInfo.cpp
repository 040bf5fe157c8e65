#include "ErrorObjects.h"

#include <cstring>

#include "../Hook.h"
#include "../winrt/Object.h"
#include "Services.h"

namespace standin {

namespace {

BSTR giveText(const std::wstring& text) {
    if (text.empty()) return nullptr;
    const BSTR given = ::SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    Machine::get().ledger.handOut("text", given);
    return given;
}

class ErrorInfo : public Object<IRestrictedErrorInfo> {
public:
    explicit ErrorInfo(ErrorObject content) : Object("ErrorInfo"), m_content(std::move(content)) {}

    HRESULT STDMETHODCALLTYPE GetErrorDetails(BSTR* description, HRESULT* error,
                                              BSTR* restrictedDescription,
                                              BSTR* capabilitySid) override {
        return callMethod(identity(), "IRestrictedErrorInfo::GetErrorDetails", {}, [&] {
            if (description == nullptr || error == nullptr || restrictedDescription == nullptr ||
                capabilitySid == nullptr) {
                return E_POINTER;
            }
            *description = giveText(m_content.description);
            *error = m_content.error;
            *restrictedDescription = giveText(m_content.restrictedDescription);
            *capabilitySid = nullptr;
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE GetReference(BSTR*) override { return E_NOTIMPL; }

    const ErrorObject& content() const { return m_content; }

private:
    const ErrorObject m_content;
};

void plant(ErrorObject content) {
    Machine& machine = Machine::get();
    machine.state.errorObject = std::move(content);
    machine.changed();
}

// Moves the waiting error object to the caller.
HRESULT WINAPI getRestrictedErrorInfo(IRestrictedErrorInfo** info) {
    if (info == nullptr) return E_POINTER;
    *info = nullptr;
    Machine& machine = Machine::get();
    if (!machine.state.errorObject) return S_FALSE;
    *info = makeObject<ErrorInfo>(*machine.state.errorObject);
    machine.state.errorObject.reset();
    machine.changed();
    return S_OK;
}

// Every error object that a program can hold is one of the machine's own.
HRESULT WINAPI setRestrictedErrorInfo(IRestrictedErrorInfo* info) {
    if (info == nullptr) {
        Machine::get().state.errorObject.reset();
        Machine::get().changed();
    } else {
        plant(static_cast<ErrorInfo*>(info)->content());
    }
    return S_OK;
}

BOOL WINAPI originateErrorText(HRESULT error, UINT maxChars, PCWSTR message) {
    if (SUCCEEDED(error)) return FALSE;
    constexpr size_t kLongest = 512;
    const size_t limit = maxChars == 0 || maxChars > kLongest ? kLongest : maxChars;
    const std::wstring text = message == nullptr ? L""
                                                 : std::wstring(message, ::wcsnlen(message, limit));
    plant({error, text, text});
    return TRUE;
}

BOOL WINAPI originateError(HRESULT error, HSTRING message) {
    return originateErrorText(error, 0, ::WindowsGetStringRawBuffer(message, nullptr));
}

void WINAPI failFastWithErrorContext(HRESULT) {
    Machine::get().endProcess(0xC000027B);
}

void WINAPI freeText(BSTR text) {
    Ledger& ledger = Machine::get().ledger;
    const bool wasFreed = ledger.wasOut(text);
    // Whoever looks into it from now on shall see that it is gone; it never returns to the heap.
    if (ledger.giveBack(text)) {
        std::memset(text, 0xDD, ::SysStringByteLen(text));
    } else if (!wasFreed) {
        ::SysFreeString(text);
    }
}

}  // namespace

void originate(HRESULT error, const std::wstring& text) {
    if (FAILED(error) && !text.empty()) plant({error, text, text});
}

void serveErrorInfo() {
    serve<PlatformCall::GetRestrictedErrorInfo>(&getRestrictedErrorInfo);
    serve<PlatformCall::SetRestrictedErrorInfo>(&setRestrictedErrorInfo);
    serve<PlatformCall::RoOriginateError>(&originateError);
    serve<PlatformCall::RoOriginateErrorW>(&originateErrorText);
    serve<PlatformCall::RoFailFastWithErrorContext>(&failFastWithErrorContext);
    serve<PlatformCall::SysFreeString>(&freeText);
}

}  // namespace standin
