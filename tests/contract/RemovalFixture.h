#pragma once

#include <utility>

#include "RuntimeClass.h"
#include "stand-in/winrt/DeploymentAbi.h"
#include "support/MachineTest.h"

using standin::RemovalOutcome;
using standin::abi::IDeploymentOperation;
using standin::abi::IDeploymentResult;
using standin::abi::kIid;

inline constexpr wchar_t kUser[] = L"S-1-5-21-1-1-1-1001";
inline constexpr wchar_t kOther[] = L"S-1-5-21-1-1-1-1002";
inline constexpr UINT32 kForAllUsers = 0x80000;

// A test on a machine with one package, of both users, which is to be removed.
class RemovalFixture : public MachineTest {
protected:
    RemovalFixture() {
        ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        machine.state.tokenUser = kUser;
        standin::InstalledPackage package;
        package.name = L"App";
        package.fullName = L"App_full";
        package.familyName = L"App_family";
        package.users = {kUser, kOther};
        machine.state.packages.push_back(package);
    }
    ~RemovalFixture() override { ::CoUninitialize(); }

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
