#include <atomic>

#include "RemovalFixture.h"

using standin::abi::IDeploymentCompletedHandler;
using ::testing::ElementsAre;

namespace {

constexpr auto kIllegalCall = static_cast<HRESULT>(0x8000000E);

// COM interfaces have no virtual destructor: it would take slots of its own.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class Handler : public IDeploymentCompletedHandler {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        *object = nullptr;
        if (!IsEqualIID(iid, kIid<IAgileObject>) || !isAgile) return E_NOINTERFACE;
        AddRef();
        *object = this;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE Invoke(IDeploymentOperation* operation, AsyncStatus status) override {
        referencesDuringCall = references.load();
        thread = ::GetCurrentThreadId();
        called = operation;
        last = status;
        ++calls;
        return S_OK;
    }

    bool isAgile = true;
    std::atomic<ULONG> references = 1;
    ULONG referencesDuringCall = 0;
    DWORD thread = 0;
    IDeploymentOperation* called = nullptr;
    AsyncStatus last = Started;
    std::atomic<int> calls = 0;
};

#pragma GCC diagnostic pop

using DeploymentOperationTest = RemovalFixture;

TEST_F(DeploymentOperationTest, TheHandlerIsHeldUntilItWasCalledOnAnotherThread) {
    Handler handler;
    {
        const Reference operation = started();

        EXPECT_EQ(interfaceOf(operation)->put_Completed(&handler), S_OK);

        EXPECT_EQ(ended(operation), Completed);
    }
    EXPECT_EQ(handler.calls, 1);
    EXPECT_EQ(handler.last, Completed);
    EXPECT_NE(handler.thread, ::GetCurrentThreadId());
    EXPECT_EQ(handler.referencesDuringCall, 2U);
    EXPECT_EQ(handler.references, 1U);
}

TEST_F(DeploymentOperationTest, AnOperationThatHasEndedCallsTheHandlerAtOnce) {
    package().removal.endsAtOnce = true;
    Handler handler;
    const Reference operation = started();
    EXPECT_THAT(package().users, ElementsAre(kOther));

    EXPECT_EQ(interfaceOf(operation)->put_Completed(&handler), S_OK);

    EXPECT_EQ(handler.calls, 1);
    EXPECT_EQ(handler.called, interfaceOf(operation));
    EXPECT_EQ(handler.thread, ::GetCurrentThreadId());
    EXPECT_EQ(handler.references, 1U);
}

TEST_F(DeploymentOperationTest, AHandlerIsTakenOnce) {
    Handler handler;
    Handler second;
    const Reference operation = started();
    interfaceOf(operation)->put_Completed(&handler);

    EXPECT_EQ(interfaceOf(operation)->put_Completed(&second), static_cast<HRESULT>(0x80000018));

    ended(operation);
    EXPECT_EQ(second.references, 1U);
}

TEST_F(DeploymentOperationTest, AHandlerThatIsNotAgileIsNoted) {
    mounted.expectMisuse({"a completion handler that is not agile"});
    Handler handler;
    handler.isAgile = false;
    const Reference operation = started();

    interfaceOf(operation)->put_Completed(&handler);

    EXPECT_EQ(ended(operation), Completed);
}

TEST_F(DeploymentOperationTest, ThereAreNoResultsBeforeTheEnd) {
    const Reference operation = started();
    IDeploymentResult* result = nullptr;

    EXPECT_EQ(interfaceOf(operation)->GetResults(&result), kIllegalCall);
    EXPECT_EQ(interfaceOf(operation)->GetResults(nullptr), E_POINTER);
    EXPECT_EQ(errorOf(operation), S_OK);

    EXPECT_THAT(package().users, ElementsAre(kUser, kOther));
}

TEST_F(DeploymentOperationTest, ACancelledOperationHasNoResults) {
    plan(RemovalOutcome::Kind::Canceled);
    const Reference operation = started();

    EXPECT_EQ(ended(operation), Canceled);

    IDeploymentResult* result = nullptr;
    EXPECT_EQ(interfaceOf(operation)->GetResults(&result), kIllegalCall);
    EXPECT_THAT(package().users, ElementsAre(kUser, kOther));
}

TEST_F(DeploymentOperationTest, AnOperationThatNobodyLooksAtIsDoneWhenItIsLetGo) {
    { const Reference operation = started(); }

    EXPECT_THAT(package().users, ElementsAre(kOther));
}

TEST_F(DeploymentOperationTest, AFailedOperationHasItsErrorAndAResultThatSaysMore) {
    plan(RemovalOutcome::Kind::Failed, E_FAIL, L"it is broken");
    const Reference operation = started();

    EXPECT_EQ(ended(operation), Error);

    EXPECT_EQ(errorOf(operation), E_FAIL);
    EXPECT_EQ(machine.state.errorObject->restrictedDescription, L"it is broken");
    EXPECT_EQ(resultOf(operation), std::pair(E_FAIL, std::wstring(L"it is broken")));
    EXPECT_THAT(package().users, ElementsAre(kUser, kOther));
}

TEST_F(DeploymentOperationTest, AnErrorInTheResultLeavesThePackage) {
    plan(RemovalOutcome::Kind::DoneWithError, E_FAIL, L"it is broken");
    const Reference operation = started();

    EXPECT_EQ(ended(operation), Completed);

    EXPECT_EQ(errorOf(operation), S_OK);
    EXPECT_EQ(resultOf(operation), std::pair(E_FAIL, std::wstring(L"it is broken")));
    EXPECT_THAT(package().users, ElementsAre(kUser, kOther));
}

TEST_F(DeploymentOperationTest, LostResultsDoNotBringThePackageBack) {
    plan(RemovalOutcome::Kind::ResultsLost, E_FAIL);
    const Reference operation = started();

    EXPECT_EQ(ended(operation), Completed);

    IDeploymentResult* result = nullptr;
    EXPECT_EQ(interfaceOf(operation)->GetResults(&result), E_FAIL);
    EXPECT_THAT(package().users, ElementsAre(kOther));
}

TEST_F(DeploymentOperationTest, OperationAndResultAnswerForNothingElse) {
    const Reference operation = started();
    ended(operation);
    Reference result;
    operation.call<10>(result.put());

    EXPECT_EQ(operation.as(kIid<IDeploymentResult>).get(), nullptr);
    EXPECT_EQ(operation.as(kIid<IDeploymentCompletedHandler>).get(), nullptr);
    EXPECT_EQ(result.as(kIid<IDeploymentOperation>).get(), nullptr);
    EXPECT_NE(operation.as(kIid<IAgileObject>).get(), nullptr);
}

TEST_F(DeploymentOperationTest, AnOperationThatIsNotReleasedIsALeak) {
    mounted.expectLeaks({"DeploymentOperation#1"});
    const Reference operation = started();
    ended(operation);

    interfaceOf(operation)->AddRef();
}

}  // namespace
