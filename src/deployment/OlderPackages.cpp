#include <cwchar>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "deployment/DeElevatedLaunch.h"
#include "platform/Activation.h"
#include "platform/AsyncWait.h"
#include "platform/PackageIteration.h"
#include "platform/PackageManager.h"
#include "run/ConfiguratorLog.h"
#include "run/ExecutablePermissions.h"
#include "run/Publishers.h"
#include "users/UserProfiles.h"

constexpr std::string_view g_makerName = "Velta";

namespace {

using Platform::ThrowForHResult;

// Required: the marker goes behind as many characters as the maker's name has, whatever they are.
Platform::String olderPackageName(const Platform::String& packageName) {
    std::wstring name = packageName.text();
    const size_t position = g_makerName.size();
    // The text is what the caller logs; libraries word it differently.
    if (position > name.size()) throw std::out_of_range("invalid string position");
    name.insert(position, L".LC");
    return Platform::String(name);
}

// What one call of uninstallOlderPackageApp knows.
struct Removal {
    ComPointer<IPackageManager> manager;
    bool isEnterpriseDeployment = false;
    bool shouldLaunchRemovalInDeElevatedMode = false;
    std::vector<std::wstring> packagesToUninstall;
};

ComPointer<IPackageIterable> findOlderPackages(const Removal& removal, const Platform::String& name,
                                               const std::wstring& loggedOnSid) {
    ComPointer<IPackageIterable> packages;
    if (removal.isEnterpriseDeployment) {
        ThrowForHResult(removal.manager->FindPackagesByNamePublisher(
            name.get(), PublisherDnLegacy.get(), packages.put()));
    } else {
        const Platform::String sid(loggedOnSid);
        ThrowForHResult(removal.manager->FindPackagesByUserSecurityIdNamePublisher(
            sid.get(), name.get(), PublisherDnLegacy.get(), packages.put()));
    }
    return packages;
}

// False: the operation ended with an error in its result, which is logged.
bool removePackage(const Removal& removal, const Platform::String& fullName,
                   const Platform::String& familyName) {
    g_configuratorLog->beginLine() << "Uninstalling " << fullName.text() << std::endl;
    const RemovalOptions options = removal.isEnterpriseDeployment ? RemovalOptions::RemoveForAllUsers
                                                                  : RemovalOptions::None;
    ComPointer<IDeploymentOperation> operation;
    ThrowForHResult(Platform::castTo<IPackageManager2>(removal.manager)
                        ->RemovePackageWithOptionsAsync(fullName.get(), options, operation.put()));
    const Concurrency::task task = Concurrency::create_task(operation);
    task.wait();

    // Required: before the result is looked at, so a cancelled removal is deprovisioned too; its
    // own outcome is not waited for.
    if (removal.isEnterpriseDeployment) {
        ComPointer<IDeploymentOperation> deprovisioning;
        ThrowForHResult(
            Platform::castTo<IPackageManager8>(removal.manager)
                ->DeprovisionPackageForAllUsersAsync(familyName.get(), deprovisioning.put()));
    }

    const ComPointer<IDeploymentResult> result = task.get();
    HRESULT code = S_OK;
    ThrowForHResult(result->get_ExtendedErrorCode(&code));
    if (code == S_OK) return true;
    const Platform::String errorText = Platform::textOf(result, &IDeploymentResult::get_ErrorText);
    g_configuratorLog->beginLine()
        << "UninstallApp failed. Error message: " << errorText.text() << std::endl;
    return false;
}

// False: the package could not be removed; logged.
bool handlePackage(Removal& removal, const ComPointer<IPackage>& package) {
    try {
        const Platform::String fullName = Platform::textOf(Platform::idOf(package),
                                                           &IPackageId::get_FullName);
        const Platform::String familyName = Platform::textOf(Platform::idOf(package),
                                                             &IPackageId::get_FamilyName);
        if (!removal.shouldLaunchRemovalInDeElevatedMode)
            return removePackage(removal, fullName, familyName);
        g_configuratorLog->beginLine()
            << "Adding package in packagesToUninstall list: " << fullName.text() << std::endl;
        removal.packagesToUninstall.emplace_back(fullName.text());
        return true;
    } catch (const Platform::AccessDeniedException&) {
        g_configuratorLog->beginLine()
            << "UninstallApp failed because access was denied." << std::endl;
    } catch (const Platform::Exception& exception) {
        const std::wstring message = exception.message();
        g_configuratorLog->beginLine()
            << "UninstallApp failed. Error message: " << message << std::endl;
    }
    return false;
}

}  // namespace

bool ExecutablePermissions::uninstallOlderPackageApp(const Platform::String& packageName) {
    bool result = true;
    Removal removal;
    removal.isEnterpriseDeployment = m_isEnterpriseDeployment;
    try {
        removal.manager = Platform::activate<IPackageManager>(kPackageManagerClass);
        const Platform::String name = olderPackageName(packageName);
        const std::wstring loggedOnSid = getLoggedOnUserSid();
        g_configuratorLog->beginLine() << "current user SID " << m_currentUserSidString << std::endl;
        removal.shouldLaunchRemovalInDeElevatedMode = !m_isEnterpriseDeployment &&
                                                      ::_wcsicmp(m_currentUserSidString.c_str(),
                                                                 loggedOnSid.c_str()) != 0;
        g_configuratorLog->beginLine() << "shouldLaunchRemovalInDeElevatedMode : "
                                       << removal.shouldLaunchRemovalInDeElevatedMode << std::endl;
        Platform::forEachPackage(findOlderPackages(removal, name, loggedOnSid),
                                 [&](const ComPointer<IPackage>& package) {
                                     if (!handlePackage(removal, package)) result = false;
                                 });
    } catch (const Platform::AccessDeniedException&) {
        // Required: these lines name FindPackagesForUser whatever was called.
        g_configuratorLog->beginLine()
            << "FindPackagesForUser failed because access was denied." << std::endl;
        return false;
    } catch (const Platform::Exception& exception) {
        const std::wstring message = exception.message();
        g_configuratorLog->beginLine()
            << "FindPackagesForUser failed. Error message: " << message << std::endl;
        return false;
    }

    if (!removal.packagesToUninstall.empty()) {
        // Required: "deploment", as spelled; a companion that cannot be started does not turn the result.
        g_configuratorLog->beginLine()
            << "Not enterprise deploment: Calling LaunchProcessDeElevated" << std::endl;
        if (LaunchProcessDeElevated(removal.packagesToUninstall))
            g_configuratorLog->beginLine()
                << "LaunchProcessDeElevated executed successfully." << std::endl;
    }
    return result;
}
