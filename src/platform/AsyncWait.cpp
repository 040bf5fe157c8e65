#include "platform/AsyncWait.h"

#include <objbase.h>
#include <objidl.h>

#include <atomic>
#include <exception>

#include "platform/PlatformException.h"

namespace Concurrency {

#ifdef __GNUC__
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

class DeploymentOutcome final : public IDeploymentCompletedHandler {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE Invoke(IDeploymentOperation* operation, AsyncStatus status) override;

    void waitForEnd();

    // Valid once waitForEnd has returned.
    bool m_isCanceled = false;
    std::exception_ptr m_failure;
    ComPointer<IDeploymentResult> m_result;

private:
    ~DeploymentOutcome() = default;
    HRESULT queryMarshaler(void** object);
    void fetchResult(IDeploymentOperation* operation, AsyncStatus status);

    std::atomic<ULONG> m_references = 1;
    SRWLOCK m_lock = SRWLOCK_INIT;
    CONDITION_VARIABLE m_ended = CONDITION_VARIABLE_INIT;
    bool m_hasEnded = false;
    ComPointer<IUnknown> m_marshaler;
};

#ifdef __GNUC__
#pragma GCC diagnostic pop
#endif

HRESULT DeploymentOutcome::QueryInterface(REFIID id, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (id == interfaceId<IDeploymentCompletedHandler>() || id == interfaceId<IUnknown>() ||
        id == interfaceId<IAgileObject>()) {
        AddRef();
        *object = static_cast<IDeploymentCompletedHandler*>(this);
        return S_OK;
    }
    if (id == interfaceId<IMarshal>()) return queryMarshaler(object);
    return E_NOINTERFACE;
}

// The marshaler's references count for this object; only its inner unknown, held here, keeps itself alive.
HRESULT DeploymentOutcome::queryMarshaler(void** object) {
    ::AcquireSRWLockExclusive(&m_lock);
    const HRESULT created = m_marshaler ? S_OK
                                        : ::CoCreateFreeThreadedMarshaler(this, m_marshaler.put());
    ::ReleaseSRWLockExclusive(&m_lock);
    return FAILED(created) ? created : m_marshaler->QueryInterface(interfaceId<IMarshal>(), object);
}

ULONG DeploymentOutcome::Release() {
    const ULONG references = --m_references;
    if (references == 0) delete this;
    return references;
}

// On a thread of the system: whatever goes wrong here is kept for the one who waits.
HRESULT DeploymentOutcome::Invoke(IDeploymentOperation* operation, AsyncStatus status) {
    try {
        fetchResult(operation, status);
    } catch (...) {
        m_failure = std::current_exception();
    }
    ::AcquireSRWLockExclusive(&m_lock);
    m_hasEnded = true;
    ::ReleaseSRWLockExclusive(&m_lock);
    ::WakeAllConditionVariable(&m_ended);
    return S_OK;
}

void DeploymentOutcome::fetchResult(IDeploymentOperation* operation, AsyncStatus status) {
    if (status == AsyncStatus::Canceled) {
        m_isCanceled = true;
    } else if (status == AsyncStatus::Error) {
        ComPointer<IAsyncInfo> info;
        Platform::ThrowForHResult(
            operation->QueryInterface(interfaceId<IAsyncInfo>(), info.putVoid()));
        HRESULT error = S_OK;
        Platform::ThrowForHResult(info->get_ErrorCode(&error));
        Platform::ThrowForHResult(FAILED(error) ? error : E_FAIL);
    } else {
        Platform::ThrowForHResult(operation->GetResults(m_result.put()));
    }
}

void DeploymentOutcome::waitForEnd() {
    ::AcquireSRWLockExclusive(&m_lock);
    while (!m_hasEnded)
        ::SleepConditionVariableSRW(&m_ended, &m_lock, INFINITE, 0);
    ::ReleaseSRWLockExclusive(&m_lock);
}

task::task(const ComPointer<IDeploymentOperation>& operation)
    : m_outcome(ComPointer<DeploymentOutcome>::adopt(new DeploymentOutcome)) {
    Platform::ThrowForHResult(operation->put_Completed(m_outcome.get()));
}

task::~task() = default;

void task::wait() const {
    m_outcome->waitForEnd();
    if (m_outcome->m_failure) std::rethrow_exception(m_outcome->m_failure);
}

ComPointer<IDeploymentResult> task::get() const {
    wait();
    if (m_outcome->m_isCanceled) throw task_canceled();
    return m_outcome->m_result;
}

}  // namespace Concurrency
