#include <objidl.h>

#include <thread>

#include "OlderPackagesFixture.h"
#include "platform/AsyncWait.h"

namespace {

// COM interfaces have no virtual destructor: it would take slots of its own.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class Result : public IDeploymentResult {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOTIMPL; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }
    HRESULT STDMETHODCALLTYPE GetIids(ULONG*, IID**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_ErrorText(HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_ExtendedErrorCode(HRESULT*) override { return E_NOTIMPL; }

    std::atomic<ULONG> m_references = 0;
};

// An operation in the hands of the test: it keeps the handler and ends when it is told to.
class Operation : public IDeploymentOperation {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }
    HRESULT STDMETHODCALLTYPE GetIids(ULONG*, IID**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_Completed(IDeploymentCompletedHandler* handler) override {
        handler->AddRef();
        m_handler = handler;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Unused9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetResults(IDeploymentResult** given) override {
        m_result.AddRef();
        *given = &m_result;
        return S_OK;
    }

    void end(AsyncStatus status) { m_invoked = m_handler->Invoke(this, status); }

    std::atomic<ULONG> m_references = 1;
    IDeploymentCompletedHandler* m_handler = nullptr;
    HRESULT m_invoked = E_UNEXPECTED;
    Result m_result;
};

#pragma GCC diagnostic pop

class CompletionHandlerTest : public LogTest {
protected:
    ~CompletionHandlerTest() override {
        EXPECT_EQ(operation.m_handler->Release(), 0U) << "somebody still holds the handler";
        EXPECT_EQ(operation.m_references, 1U);
        EXPECT_EQ(operation.m_result.m_references, 0U);
    }

    Concurrency::task start() {
        operation.AddRef();
        return Concurrency::create_task(ComPointer<IDeploymentOperation>::adopt(&operation));
    }

    HRESULT ask(REFIID id, void** object) {
        return operation.m_handler->QueryInterface(id, object);
    }

    Operation operation;
};

TEST_F(CompletionHandlerTest, AnswersForItselfAsAgileObject) {
    const Concurrency::task task = start();
    for (const IID& id :
         {IDeploymentCompletedHandler::kId, __uuidof(IUnknown), __uuidof(IAgileObject)}) {
        void* object = nullptr;

        EXPECT_EQ(ask(id, &object), S_OK);

        EXPECT_EQ(object, operation.m_handler);
        operation.m_handler->Release();
    }
}

TEST_F(CompletionHandlerTest, AnswersForNothingElse) {
    const Concurrency::task task = start();
    const IID progressHandler = {
        0xf1b926d1, 0x1796, 0x597a, {0x9b, 0xea, 0x6c, 0x64, 0x49, 0xd0, 0x3e, 0xef}};
    for (const IID& id : {__uuidof(IInspectable), progressHandler}) {
        void* object = &operation;

        EXPECT_EQ(ask(id, &object), E_NOINTERFACE);

        EXPECT_EQ(object, nullptr);
    }
    EXPECT_EQ(ask(__uuidof(IUnknown), nullptr), E_POINTER);
}

TEST_F(CompletionHandlerTest, HasTheFreeThreadedMarshaler) {
    const Concurrency::task task = start();
    IMarshal* marshal = nullptr;

    EXPECT_EQ(ask(__uuidof(IMarshal), reinterpret_cast<void**>(&marshal)), S_OK);

    CLSID marshaler = {};
    EXPECT_EQ(marshal->GetUnmarshalClass(__uuidof(IUnknown), operation.m_handler, MSHCTX_INPROC,
                                         nullptr, MSHLFLAGS_NORMAL, &marshaler),
              S_OK);
    const CLSID freeThreaded = {
        0x0000033A, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
    EXPECT_EQ(marshaler, freeThreaded);
    void* again = nullptr;
    EXPECT_EQ(marshal->QueryInterface(__uuidof(IAgileObject), &again), S_OK);
    EXPECT_EQ(again, operation.m_handler);
    operation.m_handler->Release();
    marshal->Release();
}

TEST_F(CompletionHandlerTest, HasOneMarshalerHoweverOftenItIsAskedFor) {
    const Concurrency::task task = start();
    IMarshal* first = nullptr;
    IMarshal* second = nullptr;

    EXPECT_EQ(ask(__uuidof(IMarshal), reinterpret_cast<void**>(&first)), S_OK);
    EXPECT_EQ(ask(__uuidof(IMarshal), reinterpret_cast<void**>(&second)), S_OK);

    EXPECT_EQ(machine.trace.count("CoCreateFreeThreadedMarshaler"), 1U);
    first->Release();
    second->Release();
}

TEST_F(CompletionHandlerTest, WithoutAMarshalerTheFailureIsTheAnswer) {
    const Concurrency::task task = start();
    machine.failNext("CoCreateFreeThreadedMarshaler", static_cast<DWORD>(E_OUTOFMEMORY));
    void* marshal = nullptr;

    EXPECT_EQ(ask(__uuidof(IMarshal), &marshal), E_OUTOFMEMORY);

    EXPECT_EQ(marshal, nullptr);
}

TEST_F(CompletionHandlerTest, OutlivesItsTask) {
    { const Concurrency::task task = start(); }

    operation.end(AsyncStatus::Completed);

    EXPECT_EQ(operation.m_invoked, S_OK);
}

TEST_F(CompletionHandlerTest, NeverFailsTowardsTheSystem) {
    const Concurrency::task task = start();

    // This operation has no IAsyncInfo to tell the reason.
    operation.end(AsyncStatus::Error);

    EXPECT_EQ(operation.m_invoked, S_OK);
    EXPECT_THROW(task.wait(), Platform::InvalidCastException);
}

TEST_F(CompletionHandlerTest, WaitingEndsOnlyWithTheOperation) {
    const Concurrency::task task = start();
    std::atomic<bool> isWaiting = false;
    std::atomic<bool> hasEnded = false;
    bool hadEndedWhenWaitReturned = false;
    std::thread waiter([&] {
        isWaiting = true;
        task.wait();
        hadEndedWhenWaitReturned = hasEnded;
    });
    while (!isWaiting)
        ::SwitchToThread();
    ::Sleep(50);  // time for a wait that does not wait to come back

    hasEnded = true;
    operation.end(AsyncStatus::Completed);
    waiter.join();

    EXPECT_TRUE(hadEndedWhenWaitReturned);
    EXPECT_EQ(task.get().get(), &operation.m_result);
}

TEST_F(CompletionHandlerTest, SeveralMayWait) {
    const Concurrency::task task = start();
    std::thread first([&] { task.wait(); });
    std::thread second([&] { task.wait(); });

    operation.end(AsyncStatus::Canceled);
    first.join();
    second.join();

    EXPECT_THROW(task.get(), Concurrency::task_canceled);
}

}  // namespace
