#pragma once

#include <string>

#include "platform/ComPointer.h"
#include "platform/RestrictedErrorInfo.h"

namespace Platform {

// A failed call of the Windows Runtime. Deliberately no std::exception: the handlers of those let it pass.
class Exception {
public:
    // `info` may be null; it belongs to `hresult`.
    Exception(HRESULT hresult, ComPointer<IRestrictedErrorInfo> info) noexcept;
    virtual ~Exception() = default;

    HRESULT hresult() const noexcept { return m_hresult; }
    IRestrictedErrorInfo* restrictedErrorInfo() const noexcept { return m_info.get(); }

    // One line for a person: the restricted description if there is one, else the system's text for
    // the HRESULT without its line end, else empty.
    std::wstring message() const;

private:
    HRESULT m_hresult;
    ComPointer<IRestrictedErrorInfo> m_info;
};

// The kinds that a handler can tell apart, by HRESULT; `COMException` is every other failure.
class COMException : public Exception {
    using Exception::Exception;
};
class NotImplementedException : public Exception {
    using Exception::Exception;
};
class InvalidCastException : public Exception {
    using Exception::Exception;
};
class NullReferenceException : public Exception {
    using Exception::Exception;
};
class OperationCanceledException : public Exception {
    using Exception::Exception;
};
class FailureException : public Exception {
    using Exception::Exception;
};
class OutOfBoundsException : public Exception {
    using Exception::Exception;
};
class ChangedStateException : public Exception {
    using Exception::Exception;
};
class ObjectDisposedException : public Exception {
    using Exception::Exception;
};
class OutOfMemoryException : public Exception {
    using Exception::Exception;
};
class InvalidArgumentException : public Exception {
    using Exception::Exception;
};
class AccessDeniedException : public Exception {
    using Exception::Exception;
};
class DisconnectedException : public Exception {
    using Exception::Exception;
};
class WrongThreadException : public Exception {
    using Exception::Exception;
};
class ClassNotRegisteredException : public Exception {
    using Exception::Exception;
};

// Nothing for a success; for a failure throws the platform exception of that HRESULT, with the
// error information that the thread holds for it. To be called directly after the failing call.
void ThrowForHResult(HRESULT hresult);

// The object seen through another interface. Throws InvalidCastException where it has none.
template <typename Interface, typename From>
ComPointer<Interface> castTo(const ComPointer<From>& object) {
    ComPointer<Interface> result;
    ThrowForHResult(object.query(result));
    return result;
}

}  // namespace Platform
