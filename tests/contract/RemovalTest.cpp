#include <atomic>

#include "RuntimeClass.h"
#include "stand-in/winrt/DeploymentAbi.h"
#include "support/MachineTest.h"

using standin::RemovalOutcome;
using standin::abi::IDeploymentCompletedHandler;
using standin::abi::IDeploymentOperation;
using standin::abi::IDeploymentResult;
using standin::abi::kIid;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr wchar_t kUser[] = L"S-1-5-21-1-1-1-1001";
constexpr wchar_t kOther[] = L"S-1-5-21-1-1-1-1002";
constexpr UINT32 kForAllUsers = 0x80000;
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

class RemovalTest : public MachineTest {
protected:
    RemovalTest() {
        ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        machine.state.tokenUser = kUser;
        standin::InstalledPackage package;
        package.name = L"App";
        package.fullName = L"App_full";
        package.familyName = L"App_family";
        package.users = {kUser, kOther};
        machine.state.packages.push_back(package);
    }
    ~RemovalTest() override { ::CoUninitialize(); }

    standin::InstalledPackage& package() { return machine.state.packages.at(0); }
    void plan(RemovalOutcome::Kind kind, HRESULT error = S_OK, const wchar_t* text = L"") {
        package().removal = {kind, error, text, false};
    }

    Reference manager(const GUID& iid) {
        const Reference factory = factoryOf(L"Windows.Management.Deployment.PackageManager",
                                            kIid<IActivationFactory>);
        Reference instance;
        EXPECT_EQ(factory.call<6>(instance.put()), S_OK);
        return instance.as(iid);
    }
    HRESULT remove(std::wstring_view fullName, UINT32 options, Reference& operation) {
        const Text name(fullName);
        return manager(kIid<standin::abi::IPackageManager2>)
            .call<6>(name.get(), options, operation.put());
    }
    Reference started(UINT32 options = 0) {
        Reference operation;
        EXPECT_EQ(remove(L"App_full", options, operation), S_OK);
        return operation;
    }
    static IDeploymentOperation* interfaceOf(const Reference& operation) {
        return static_cast<IDeploymentOperation*>(operation.get());
    }
    // Asks until it has ended.
    static AsyncStatus ended(const Reference& operation) {
        const Reference info = operation.as(kIid<IAsyncInfo>);
        AsyncStatus status = Started;
        do {
            EXPECT_EQ(info.call<7>(&status), S_OK);
        } while (status == Started);
        return status;
    }
    static HRESULT errorOf(const Reference& operation) {
        HRESULT error = S_OK;
        EXPECT_EQ(operation.as(kIid<IAsyncInfo>).call<8>(&error), S_OK);
        return error;
    }
    static std::pair<HRESULT, std::wstring> resultOf(const Reference& operation) {
        Reference result;
        HRESULT code = S_OK;
        EXPECT_EQ(operation.call<10>(result.put()), S_OK);
        EXPECT_EQ(result.call<8>(&code), S_OK);
        return {code, textAt<6>(result)};
    }
};

TEST_F(RemovalTest, TakesThePackageFromTheActingUserAlone) {
    EXPECT_EQ(ended(started()), Completed);

    EXPECT_THAT(package().users, ElementsAre(kOther));
}

TEST_F(RemovalTest, TheActingUserNeedNotBeTheOneOfTheState) {
    machine.runAs(kOther);

    ended(started());

    EXPECT_THAT(package().users, ElementsAre(kUser));
}

TEST_F(RemovalTest, ForAllUsersTakesItFromAll) {
    ended(started(kForAllUsers));

    EXPECT_THAT(machine.state.packages, IsEmpty());
}

TEST_F(RemovalTest, AProvisionedPackageStaysUntilItIsDeprovisioned) {
    package().isProvisioned = true;
    ended(started(kForAllUsers));
    ASSERT_EQ(machine.state.packages.size(), 1U);
    const Text family(L"app_FAMILY");
    {
        Reference operation;
        EXPECT_EQ(
            manager(kIid<standin::abi::IPackageManager8>).call<6>(family.get(), operation.put()),
            S_OK);
        EXPECT_TRUE(package().isProvisioned);
    }

    EXPECT_THAT(machine.state.packages, IsEmpty());
}

TEST_F(RemovalTest, DeprovisioningLeavesThePackageToItsUsers) {
    package().isProvisioned = true;
    const Text family(L"App_family");
    Reference operation;

    manager(kIid<standin::abi::IPackageManager8>).call<6>(family.get(), operation.put());
    ended(operation);

    EXPECT_FALSE(package().isProvisioned);
    EXPECT_THAT(package().users, ElementsAre(kUser, kOther));
}

TEST_F(RemovalTest, APackageThatIsNotThereMakesTheOperationFail) {
    package().users = {kOther};

    const Reference operation = started();

    EXPECT_EQ(ended(operation), Error);
    EXPECT_EQ(errorOf(operation), static_cast<HRESULT>(0x80073CF1));
}

TEST_F(RemovalTest, WrongArgumentsAreRefused) {
    Reference operation;
    const Text name(L"App_full");
    EXPECT_EQ(remove(L"", 0, operation), E_INVALIDARG);
    EXPECT_EQ(remove(L"App_full", 1, operation), E_INVALIDARG);
    EXPECT_EQ(manager(kIid<standin::abi::IPackageManager2>)
                  .call<6>(name.get(), UINT32{0}, static_cast<void**>(nullptr)),
              E_POINTER);
    const Text nothing(L"");
    EXPECT_EQ(manager(kIid<standin::abi::IPackageManager8>).call<6>(nothing.get(), operation.put()),
              E_INVALIDARG);
    EXPECT_EQ(operation.get(), nullptr);
}

TEST_F(RemovalTest, AnOlderSystemHasNoInterfaceForDeprovisioning) {
    machine.state.hasPackageManager8 = false;

    EXPECT_EQ(manager(kIid<standin::abi::IPackageManager8>).get(), nullptr);

    EXPECT_NE(manager(kIid<standin::abi::IPackageManager2>).get(), nullptr);
}

TEST_F(RemovalTest, TheHandlerIsHeldUntilItWasCalledOnAnotherThread) {
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

TEST_F(RemovalTest, AnOperationThatHasEndedCallsTheHandlerAtOnce) {
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

TEST_F(RemovalTest, AHandlerIsTakenOnce) {
    Handler handler;
    Handler second;
    const Reference operation = started();
    interfaceOf(operation)->put_Completed(&handler);

    EXPECT_EQ(interfaceOf(operation)->put_Completed(&second), static_cast<HRESULT>(0x80000018));

    ended(operation);
    EXPECT_EQ(second.references, 1U);
}

TEST_F(RemovalTest, AHandlerThatIsNotAgileIsNoted) {
    mounted.expectMisuse({"a completion handler that is not agile"});
    Handler handler;
    handler.isAgile = false;
    const Reference operation = started();

    interfaceOf(operation)->put_Completed(&handler);

    EXPECT_EQ(ended(operation), Completed);
}

TEST_F(RemovalTest, ThereAreNoResultsBeforeTheEnd) {
    const Reference operation = started();
    IDeploymentResult* result = nullptr;

    EXPECT_EQ(interfaceOf(operation)->GetResults(&result), kIllegalCall);
    EXPECT_EQ(interfaceOf(operation)->GetResults(nullptr), E_POINTER);
    EXPECT_EQ(errorOf(operation), S_OK);

    EXPECT_THAT(package().users, ElementsAre(kUser, kOther));
}

TEST_F(RemovalTest, ACancelledOperationHasNoResults) {
    plan(RemovalOutcome::Kind::Canceled);
    const Reference operation = started();

    EXPECT_EQ(ended(operation), Canceled);

    IDeploymentResult* result = nullptr;
    EXPECT_EQ(interfaceOf(operation)->GetResults(&result), kIllegalCall);
    EXPECT_THAT(package().users, ElementsAre(kUser, kOther));
}

TEST_F(RemovalTest, AnOperationThatNobodyLooksAtIsDoneWhenItIsLetGo) {
    { const Reference operation = started(); }

    EXPECT_THAT(package().users, ElementsAre(kOther));
}

TEST_F(RemovalTest, ARefusedCallGivesNoOperation) {
    plan(RemovalOutcome::Kind::Refused, E_ACCESSDENIED, L"not you");
    Reference operation;

    EXPECT_EQ(remove(L"App_full", 0, operation), E_ACCESSDENIED);

    EXPECT_EQ(operation.get(), nullptr);
    EXPECT_EQ(machine.state.errorObject->restrictedDescription, L"not you");
}

TEST_F(RemovalTest, AFailedOperationHasItsErrorAndAResultThatSaysMore) {
    plan(RemovalOutcome::Kind::Failed, E_FAIL, L"it is broken");
    const Reference operation = started();

    EXPECT_EQ(ended(operation), Error);

    EXPECT_EQ(errorOf(operation), E_FAIL);
    EXPECT_EQ(machine.state.errorObject->restrictedDescription, L"it is broken");
    EXPECT_EQ(resultOf(operation), std::pair(E_FAIL, std::wstring(L"it is broken")));
    EXPECT_THAT(package().users, ElementsAre(kUser, kOther));
}

TEST_F(RemovalTest, AnErrorInTheResultLeavesThePackage) {
    plan(RemovalOutcome::Kind::DoneWithError, E_FAIL, L"it is broken");
    const Reference operation = started();

    EXPECT_EQ(ended(operation), Completed);

    EXPECT_EQ(errorOf(operation), S_OK);
    EXPECT_EQ(resultOf(operation), std::pair(E_FAIL, std::wstring(L"it is broken")));
    EXPECT_THAT(package().users, ElementsAre(kUser, kOther));
}

TEST_F(RemovalTest, LostResultsDoNotBringThePackageBack) {
    plan(RemovalOutcome::Kind::ResultsLost, E_FAIL);
    const Reference operation = started();

    EXPECT_EQ(ended(operation), Completed);

    IDeploymentResult* result = nullptr;
    EXPECT_EQ(interfaceOf(operation)->GetResults(&result), E_FAIL);
    EXPECT_THAT(package().users, ElementsAre(kOther));
}

TEST_F(RemovalTest, OperationAndResultAnswerForNothingElse) {
    const Reference operation = started();
    ended(operation);
    Reference result;
    operation.call<10>(result.put());

    EXPECT_EQ(operation.as(kIid<IDeploymentResult>).get(), nullptr);
    EXPECT_EQ(operation.as(kIid<IDeploymentCompletedHandler>).get(), nullptr);
    EXPECT_EQ(result.as(kIid<IDeploymentOperation>).get(), nullptr);
    EXPECT_NE(operation.as(kIid<IAgileObject>).get(), nullptr);
}

TEST_F(RemovalTest, AnOperationThatIsNotReleasedIsALeak) {
    mounted.expectLeaks({"DeploymentOperation#1"});
    const Reference operation = started();
    ended(operation);

    interfaceOf(operation)->AddRef();
}

}  // namespace
