#include <string>

#include "platform/Activation.h"
#include "platform/PackageIteration.h"
#include "platform/PackageManager.h"
#include "run/ConfiguratorLog.h"
#include "run/ExecutablePermissions.h"
#include "run/Publishers.h"

namespace {

using Platform::ThrowForHResult;

Platform::String versionText(const ComPointer<IPackage>& package) {
    PackageVersion version = {};
    ThrowForHResult(Platform::idOf(package)->get_Version(&version));
    return Platform::String(std::to_wstring(version.Major) + L"." + std::to_wstring(version.Minor) +
                            L"." + std::to_wstring(version.Build) + L"." +
                            std::to_wstring(version.Revision));
}

Platform::String installPath(const ComPointer<IPackage>& package) {
    ComPointer<IStorageFolder> folder;
    ThrowForHResult(package->get_InstalledLocation(folder.put()));
    return Platform::textOf(Platform::castTo<IStorageItem>(folder), &IStorageItem::get_Path);
}

}  // namespace

bool ExecutablePermissions::findPackage() {
    m_packageFamilyName = {};
    m_packageInstallPath = {};

    const auto matchPackage = [this](const ComPointer<IPackage>& package) {
        const Platform::String version = versionText(package);
        if (Platform::textOf(Platform::idOf(package), &IPackageId::get_Name) != m_productName)
            return;
        if (version != m_version) return;
        m_packageInstallPath = installPath(package);
        m_packageFamilyName = Platform::textOf(Platform::idOf(package), &IPackageId::get_FamilyName);
    };
    try {
        const auto manager = Platform::activate<IPackageManager>(kPackageManagerClass);
        ComPointer<IPackageIterable> packages;
        ThrowForHResult(manager->FindPackagesByNamePublisher(
            m_productName.get(), PublisherDnCurrent.get(), packages.put()));
        // Required: no early exit; the last match wins.
        Platform::forEachPackage(packages, matchPackage);
    } catch (const Platform::AccessDeniedException&) {
        g_configuratorLog->beginLine()
            << "FindPackages failed because access was denied." << std::endl;
    } catch (const Platform::Exception& exception) {
        const std::wstring message = exception.message();
        g_configuratorLog->beginLine()
            << "FindPackages failed. Error message: " << message << std::endl;
    }

    const Platform::String empty;
    return m_packageInstallPath != empty && m_packageFamilyName != empty;
}
