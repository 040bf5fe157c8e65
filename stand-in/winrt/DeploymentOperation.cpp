#include "DeploymentOperation.h"

#include <atomic>
#include <thread>

#include "../ErrorCodes.h"
#include "../services/ErrorObjects.h"
#include "Object.h"

namespace standin {

namespace {

class DeploymentResult : public RuntimeObject<abi::IDeploymentResult> {
public:
    DeploymentResult(HRESULT code, std::wstring text)
        : RuntimeObject("DeploymentResult"), m_code(code), m_text(std::move(text)) {}

    HRESULT STDMETHODCALLTYPE get_ErrorText(HSTRING* value) override {
        return callMethod(identity(), "IDeploymentResult::get_ErrorText", {},
                          [&] { return giveString(m_text, value); });
    }
    HRESULT STDMETHODCALLTYPE get_ActivityId(GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_ExtendedErrorCode(HRESULT* value) override {
        return callMethod(identity(), "IDeploymentResult::get_ExtendedErrorCode", {}, [&] {
            if (value == nullptr) return E_POINTER;
            *value = m_code;
            return S_OK;
        });
    }

private:
    const HRESULT m_code;
    const std::wstring m_text;
};

class DeploymentOperation : public RuntimeObject<abi::IDeploymentOperation, IAsyncInfo> {
public:
    DeploymentOperation(std::function<DeploymentEnding()> work, bool hasEnded)
        : RuntimeObject("DeploymentOperation"), m_work(std::move(work)) {
        if (hasEnded) run();
    }
    ~DeploymentOperation() override { waitForThread(); }

    ULONG STDMETHODCALLTYPE Release() override {
        if (t_running != this) {
            waitForThread();
            const bool isLast = Machine::get().ledger.timesOut(identity()) == 1;
            if (isLast && m_status == Started) run();
        }
        return RuntimeObject::Release();
    }

    HRESULT STDMETHODCALLTYPE put_Completed(abi::IDeploymentCompletedHandler* handler) override {
        const HRESULT attached = callMethod(identity(), "IAsyncOperationWithProgress::put_Completed",
                                            {handler == nullptr ? "null" : "handler"},
                                            [&] { return attach(handler); });
        if (attached == S_OK) startThread();
        return attached;
    }
    HRESULT STDMETHODCALLTYPE GetResults(abi::IDeploymentResult** result) override {
        return callMethod(identity(), "IAsyncOperationWithProgress::GetResults", {}, [&] {
            if (result == nullptr) return E_POINTER;
            if (m_status == Started || m_status == Canceled) return E_ILLEGAL_METHOD_CALL;
            if (m_ending.resultsError != S_OK) return m_ending.resultsError;
            *result = makeObject<DeploymentResult>(m_ending.code, m_ending.text);
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE put_Progress(IUnknown*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Progress(IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Completed(abi::IDeploymentCompletedHandler**) override {
        return E_NOTIMPL;
    }

    HRESULT STDMETHODCALLTYPE get_Status(AsyncStatus* status) override {
        const HRESULT given = callMethod(identity(), "IAsyncInfo::get_Status", {}, [&] {
            if (status == nullptr) return E_POINTER;
            *status = m_status;
            return S_OK;
        });
        startThread();
        return given;
    }
    HRESULT STDMETHODCALLTYPE get_ErrorCode(HRESULT* error) override {
        return callMethod(identity(), "IAsyncInfo::get_ErrorCode", {}, [&] {
            if (error == nullptr) return E_POINTER;
            *error = m_status == Started ? S_OK : m_ending.error;
            originate(*error, m_ending.text);
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE get_Id(unsigned*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Cancel() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Close() override { return E_NOTIMPL; }

private:
    using Handler = abi::IDeploymentCompletedHandler;

    HRESULT attach(Handler* handler) {
        if (m_isHandlerPut) return E_ILLEGAL_DELEGATE_ASSIGNMENT;
        m_isHandlerPut = true;
        if (handler == nullptr) return S_OK;
        // A handler that is not agile would have to be called on the thread that attached it.
        void* agile = nullptr;
        if (handler->QueryInterface(abi::kIid<IAgileObject>, &agile) == S_OK) {
            static_cast<IUnknown*>(agile)->Release();
        } else {
            Machine::get().ledger.noteMisuse("a completion handler that is not agile");
        }
        handler->AddRef();
        {
            const std::scoped_lock guard(m_lock);
            m_handler = handler;
            if (m_status == Started) return S_OK;
        }
        callHandler();
        return S_OK;
    }

    void startThread() {
        if (m_status != Started || m_thread.joinable()) return;
        m_thread = std::thread([this] { run(); });
    }

    void waitForThread() {
        if (m_thread.joinable()) m_thread.join();
    }

    void run() {
        const DeploymentOperation* const outer = std::exchange(t_running, this);
        const DeploymentEnding ending = m_work();
        {
            const std::scoped_lock guard(m_lock);
            m_ending = ending;
            m_status = ending.status;
        }
        callHandler();
        t_running = outer;
    }

    void callHandler() {
        Handler* handler = nullptr;
        {
            const std::scoped_lock guard(m_lock);
            handler = std::exchange(m_handler, nullptr);
        }
        if (handler == nullptr) return;
        handler->Invoke(this, m_status);
        handler->Release();
    }

    // The operation that this thread does the work of.
    static thread_local const DeploymentOperation* t_running;

    const std::function<DeploymentEnding()> m_work;
    std::mutex m_lock;
    std::atomic<AsyncStatus> m_status = Started;
    DeploymentEnding m_ending;
    Handler* m_handler = nullptr;
    bool m_isHandlerPut = false;
    std::thread m_thread;
};

thread_local const DeploymentOperation* DeploymentOperation::t_running = nullptr;

}  // namespace

abi::IDeploymentOperation* makeDeploymentOperation(std::function<DeploymentEnding()> work,
                                                   bool hasEnded) {
    return makeObject<DeploymentOperation>(std::move(work), hasEnded);
}

}  // namespace standin
