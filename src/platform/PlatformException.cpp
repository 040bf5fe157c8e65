#include "platform/PlatformException.h"

#include <memory>
#include <utility>

#include <oleauto.h>

#include "platform/ErrorCodes.h"
#include "platform/Owners.h"

namespace Platform {

namespace {

struct SysFreeStringDeleter {
    void operator()(wchar_t* text) const noexcept { ::SysFreeString(text); }
};
using BasicString = std::unique_ptr<wchar_t, SysFreeStringDeleter>;

struct ErrorDetails {
    HRESULT error = S_OK;
    BasicString restrictedDescription;
};

// False: the object does not tell.
bool readDetails(IRestrictedErrorInfo* info, ErrorDetails& details) {
    BSTR description = nullptr;
    BSTR restrictedDescription = nullptr;
    BSTR capabilitySid = nullptr;
    const HRESULT read = info->GetErrorDetails(&description, &details.error, &restrictedDescription,
                                               &capabilitySid);
    if (FAILED(read)) return false;

    const BasicString unusedDescription(description);
    const BasicString unusedSid(capabilitySid);
    details.restrictedDescription.reset(restrictedDescription);
    return true;
}

ComPointer<IRestrictedErrorInfo> takeErrorInfo(HRESULT hresult) {
    ComPointer<IRestrictedErrorInfo> info;
    if (::GetRestrictedErrorInfo(info.put()) != S_OK || !info) return {};

    ErrorDetails details;
    if (!readDetails(info.get(), details) || details.error != hresult) return {};
    return info;
}

std::wstring withoutLineEnd(std::wstring text) {
    text.erase(text.find_last_not_of(L"\r\n") + 1);
    return text;
}

std::wstring systemText(HRESULT hresult) {
    wchar_t* allocated = nullptr;
    const DWORD length = ::FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, static_cast<DWORD>(hresult), 0, reinterpret_cast<wchar_t*>(&allocated), 0, nullptr);
    const LocalMemory<wchar_t> owned(allocated);
    if (length == 0) return {};

    return withoutLineEnd(std::wstring(allocated, length));
}

}  // namespace

Exception::Exception(HRESULT hresult, ComPointer<IRestrictedErrorInfo> info) noexcept
    : m_hresult(hresult), m_info(std::move(info)) {}

std::wstring Exception::message() const {
    ErrorDetails details;
    if (m_info && readDetails(m_info.get(), details) && details.restrictedDescription) {
        std::wstring description = withoutLineEnd(details.restrictedDescription.get());
        if (!description.empty()) return description;
    }
    return systemText(m_hresult);
}

void ThrowForHResult(HRESULT hresult) {
    if (SUCCEEDED(hresult)) return;

    const ComPointer<IRestrictedErrorInfo> info = takeErrorInfo(hresult);
    switch (hresult) {
        case E_NOTIMPL:
            throw NotImplementedException(hresult, info);
        case E_NOINTERFACE:
            throw InvalidCastException(hresult, info);
        case E_POINTER:
            throw NullReferenceException(hresult, info);
        case E_ABORT:
            throw OperationCanceledException(hresult, info);
        case E_FAIL:
            throw FailureException(hresult, info);
        case E_BOUNDS:
            throw OutOfBoundsException(hresult, info);
        case E_CHANGED_STATE:
            throw ChangedStateException(hresult, info);
        case RO_E_CLOSED:
            throw ObjectDisposedException(hresult, info);
        case E_OUTOFMEMORY:
            throw OutOfMemoryException(hresult, info);
        case E_INVALIDARG:
            throw InvalidArgumentException(hresult, info);
        case E_ACCESSDENIED:
            throw AccessDeniedException(hresult, info);
        case RPC_E_DISCONNECTED:
            throw DisconnectedException(hresult, info);
        case RPC_E_WRONG_THREAD:
            throw WrongThreadException(hresult, info);
        case REGDB_E_CLASSNOTREG:
            throw ClassNotRegisteredException(hresult, info);
        default:
            throw COMException(hresult, info);
    }
}

}  // namespace Platform

void throwNullReference() {
    throw Platform::NullReferenceException(E_POINTER, {});
}
