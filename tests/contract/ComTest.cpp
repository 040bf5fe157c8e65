#include "contract/BothSystems.h"
#include "stand-in/ErrorInfo.h"

using ::testing::ElementsAre;

namespace {

class Com {
public:
    Com() : m_result(::CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    ~Com() { ::CoUninitialize(); }
    HRESULT result() const { return m_result; }

private:
    HRESULT m_result;
};

HRESULT setSecurity() {
    return ::CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                                  RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
}

class ComOnBothSystems : public BothSystems {};
ON_BOTH_SYSTEMS(ComOnBothSystems);

TEST_P(ComOnBothSystems, SecurityIsSetOnceComHasStarted) {
    const Com com;

    EXPECT_EQ(com.result(), S_OK);
    EXPECT_EQ(setSecurity(), S_OK);
}

TEST_P(ComOnBothSystems, AnUnknownClassIsNotRegistered) {
    registry.makeKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\WindowsRuntime\\ActivatableClassId");
    const Com com;
    HSTRING name = nullptr;
    ::WindowsCreateString(L"No.Such.Class", 13, &name);
    void* factory = nullptr;
    IInspectable* instance = nullptr;

    EXPECT_EQ(::RoGetActivationFactory(name, __uuidof(IActivationFactory), &factory),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(::RoActivateInstance(name, &instance), REGDB_E_CLASSNOTREG);
    ::WindowsDeleteString(name);
}

class ComTest : public MachineTest {};

TEST_F(ComTest, SecurityIsTooLateTheSecondTime) {
    const Com com;

    EXPECT_EQ(setSecurity(), S_OK);
    EXPECT_EQ(setSecurity(), RPC_E_TOO_LATE);
}

TEST_F(ComTest, WithoutComNothingStarts) {
    HSTRING name = nullptr;
    ::WindowsCreateString(L"Windows.Management.Deployment.PackageManager", 44, &name);
    void* factory = nullptr;

    EXPECT_EQ(setSecurity(), CO_E_NOTINITIALIZED);
    EXPECT_EQ(::RoGetActivationFactory(name, __uuidof(IActivationFactory), &factory),
              CO_E_NOTINITIALIZED);
    ::WindowsDeleteString(name);
}

using ErrorInfoTest = MachineTest;

TEST_F(ErrorInfoTest, WithoutAnErrorObjectThereIsNone) {
    auto* info = reinterpret_cast<IRestrictedErrorInfo*>(1);

    EXPECT_EQ(::GetRestrictedErrorInfo(&info), S_FALSE);
    EXPECT_EQ(info, nullptr);
    EXPECT_EQ(::GetRestrictedErrorInfo(nullptr), E_POINTER);
}

TEST_F(ErrorInfoTest, APlantedErrorMovesToTheCaller) {
    machine.state.errorObject = {E_ACCESSDENIED, L"description", L"restricted"};
    IRestrictedErrorInfo* info = nullptr;
    IRestrictedErrorInfo* second = nullptr;
    BSTR description = nullptr;
    BSTR restricted = nullptr;
    BSTR capability = nullptr;
    HRESULT error = S_OK;

    EXPECT_EQ(::GetRestrictedErrorInfo(&info), S_OK);
    EXPECT_EQ(::GetRestrictedErrorInfo(&second), S_FALSE);
    EXPECT_EQ(info->GetErrorDetails(&description, &error, &restricted, &capability), S_OK);

    EXPECT_EQ(error, E_ACCESSDENIED);
    EXPECT_STREQ(description, L"description");
    EXPECT_STREQ(restricted, L"restricted");
    EXPECT_EQ(capability, nullptr);
    EXPECT_THAT(machine.ledger.leaks(), ElementsAre("ErrorInfo#1", "text#1", "text#2"));
    ::SysFreeString(description);
    ::SysFreeString(restricted);
    info->Release();
}

TEST_F(ErrorInfoTest, AnOriginatedErrorWaitsForWhoeverAsks) {
    EXPECT_TRUE(::RoOriginateErrorW(E_FAIL, 0, L"message"));

    ASSERT_TRUE(machine.state.errorObject.has_value());
    EXPECT_EQ(machine.state.errorObject->error, E_FAIL);
    EXPECT_EQ(machine.state.errorObject->restrictedDescription, L"message");
}

TEST_F(ErrorInfoTest, WhatTheProgramSetsWaitsAgain) {
    machine.state.errorObject = {E_ACCESSDENIED, L"description", L"restricted"};
    IRestrictedErrorInfo* info = nullptr;
    ::GetRestrictedErrorInfo(&info);

    EXPECT_EQ(::SetRestrictedErrorInfo(info), S_OK);
    info->Release();

    ASSERT_TRUE(machine.state.errorObject.has_value());
    EXPECT_EQ(machine.state.errorObject->restrictedDescription, L"restricted");
}

TEST_F(ErrorInfoTest, TheErrorObjectRefusesForeignInterfaces) {
    machine.state.errorObject = {E_ACCESSDENIED, L"", L""};
    IRestrictedErrorInfo* info = nullptr;
    ::GetRestrictedErrorInfo(&info);
    void* inspectable = &info;

    EXPECT_EQ(info->QueryInterface(__uuidof(IInspectable), &inspectable), E_NOINTERFACE);
    EXPECT_EQ(inspectable, nullptr);
    info->Release();
}

TEST_F(ErrorInfoTest, FailFastEndsTheProcess) {
    EXPECT_EXIT(
        ::RoFailFastWithErrorContext(E_FAIL),
        [](int code) { return static_cast<unsigned>(code) == 0xC000027B; }, "");
}

}  // namespace
