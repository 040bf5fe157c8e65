#include "PackageManager.h"

#include <algorithm>

#include "../PackageState.h"
#include "../services/ProcessToken.h"
#include "Object.h"
#include "PackageRemoval.h"
#include "Packages.h"

namespace standin {

namespace {

// Names are compared without regard to case; the publisher enters the family name through a hash of its very text.
bool isNamed(const InstalledPackage& package, HSTRING name, HSTRING publisher) {
    return isSameIgnoringCase(package.name, textOf(name)) && package.publisher == textOf(publisher);
}

// Empty text as user means the one that asks.
bool isInstalledFor(const InstalledPackage& package, HSTRING user) {
    const std::wstring asked = textOf(user);
    const std::wstring sid = asked.empty() ? processToken().sids.front() : asked;
    return std::any_of(package.users.begin(), package.users.end(),
                       [&](const std::wstring& one) { return isSameIgnoringCase(one, sid); });
}

class PackageManager
    : public RuntimeObject<abi::IPackageManager, abi::IPackageManager2, abi::IPackageManager8> {
public:
    PackageManager() : RuntimeObject("PackageManager") {}

    HRESULT STDMETHODCALLTYPE FindPackagesByNamePublisher(HSTRING name, HSTRING publisher,
                                                          abi::Packages** packages) override {
        return callMethod(identity(), "IPackageManager::FindPackagesByNamePublisher",
                          {hstringText(name), hstringText(publisher)}, [&] {
                              return givePackages(
                                  [&](const InstalledPackage& package) {
                                      return isNamed(package, name, publisher);
                                  },
                                  packages);
                          });
    }
    HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityIdNamePublisher(
        HSTRING user, HSTRING name, HSTRING publisher, abi::Packages** packages) override {
        return callMethod(identity(), "IPackageManager::FindPackagesByUserSecurityIdNamePublisher",
                          {hstringText(user), hstringText(name), hstringText(publisher)}, [&] {
                              return givePackages(
                                  [&](const InstalledPackage& package) {
                                      return isNamed(package, name, publisher) &&
                                             isInstalledFor(package, user);
                                  },
                                  packages);
                          });
    }

    HRESULT STDMETHODCALLTYPE RemovePackageWithOptionsAsync(
        HSTRING fullName, UINT32 options, abi::IDeploymentOperation** operation) override {
        return callMethod(identity(), "IPackageManager2::RemovePackageWithOptionsAsync",
                          {hstringText(fullName), hexText(options)},
                          [&] { return startRemoval(fullName, options, operation); });
    }
    HRESULT STDMETHODCALLTYPE DeprovisionPackageForAllUsersAsync(
        HSTRING familyName, abi::IDeploymentOperation** operation) override {
        return callMethod(identity(), "IPackageManager8::DeprovisionPackageForAllUsersAsync",
                          {hstringText(familyName)},
                          [&] { return startDeprovisioning(familyName, operation); });
    }

    HRESULT STDMETHODCALLTYPE AddPackageAsync(IUnknown*, IUnknown*, UINT32, IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE UpdatePackageAsync(IUnknown*, IUnknown*, UINT32, IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE RemovePackageAsync(HSTRING, IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE StagePackageAsync(IUnknown*, IUnknown*, IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE RegisterPackageAsync(IUnknown*, IUnknown*, UINT32, IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE FindPackages(abi::Packages**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityId(HSTRING, abi::Packages**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE FindUsers(HSTRING, IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetPackageState(HSTRING, INT32) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FindPackageByPackageFullName(HSTRING, abi::IPackage**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CleanupPackageForUserAsync(HSTRING, HSTRING, IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE FindPackagesByPackageFamilyName(HSTRING, abi::Packages**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityIdPackageFamilyName(HSTRING, HSTRING,
                                                                            abi::Packages**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE FindPackageByUserSecurityIdPackageFullName(HSTRING, HSTRING,
                                                                         abi::IPackage**) override {
        return E_NOTIMPL;
    }

    using Operation = abi::IDeploymentOperation;
    HRESULT STDMETHODCALLTYPE StagePackageWithOptionsAsync(IUnknown*, IUnknown*, UINT32,
                                                           Operation**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE RegisterPackageByFullNameAsync(HSTRING, IUnknown*, UINT32,
                                                             Operation**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE FindPackagesWithPackageTypes(UINT32, abi::Packages**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityIdWithPackageTypes(HSTRING, UINT32,
                                                                           abi::Packages**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE FindPackagesByNamePublisherWithPackageTypes(HSTRING, HSTRING, UINT32,
                                                                          abi::Packages**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityIdNamePublisherWithPackageTypes(
        HSTRING, HSTRING, HSTRING, UINT32, abi::Packages**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE FindPackagesByPackageFamilyNameWithPackageTypes(HSTRING, UINT32,
                                                                              abi::Packages**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityIdPackageFamilyNameWithPackageTypes(
        HSTRING, HSTRING, UINT32, abi::Packages**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE StageUserDataAsync(HSTRING, Operation**) override {
        return E_NOTIMPL;
    }

private:
    bool offers(REFIID iid) const override {
        return !IsEqualIID(iid, abi::kIid<abi::IPackageManager8>) ||
               Machine::get().state.hasPackageManager8;
    }
};

}  // namespace

IInspectable* makePackageManager() {
    return static_cast<abi::IPackageManager*>(makeObject<PackageManager>());
}

}  // namespace standin
