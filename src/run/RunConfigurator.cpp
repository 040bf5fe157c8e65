#include "run/RunConfigurator.h"

#include <cwchar>
#include <exception>
#include <string>

#include "migration/AppDataMigrator.h"
#include "platform/StandardExceptions.h"
#include "run/ConfiguratorLog.h"
#include "run/ExecutablePermissions.h"

namespace {

constexpr int kSuccess = 0;
constexpr int kFailure = -1;

void logArguments(const Platform::Array& args) {
    std::wostream& line = g_configuratorLog->beginLine() << "Starting with : ";
    for (const Platform::String& argument : args)
        line << "\"" << argument.text() << "\" ";
    line << std::endl;
}

// Required: names three arguments while four are needed.
void printUsage() {
    g_configuratorLog->beginLine() << "Incorrect number of arguments passed." << std::endl;
    g_configuratorLog->beginLine() << "Use it like below :" << std::endl;
    g_configuratorLog->beginLine() << "Version Product_Name Executable_name" << std::endl;
    g_configuratorLog->beginLine() << "Example :" << std::endl;
    g_configuratorLog->beginLine() << "0.6.5.7 Velta.QK QK.exe" << std::endl;
}

void runMigration(AppDataMigrator& migrator) {
    try {
        if (!migrator.run())
            g_configuratorLog->beginLine() << "App Data Migration: FAILED" << std::endl;
    } catch (const std::exception& exception) {
        g_configuratorLog->beginLine()
            << "App Data Migration failed with: " << textOf(exception) << std::endl;
    }
}

void removeOlderPackage(ExecutablePermissions& permissions, const Platform::String& packageName) {
    try {
        if (!permissions.uninstallOlderPackageApp(packageName))
            g_configuratorLog->beginLine() << "Uninstallation of older package failed." << std::endl;
    } catch (const std::exception& exception) {
        g_configuratorLog->beginLine()
            << "uninstallOlderPackageApp failed with: " << textOf(exception) << std::endl;
    }
}

// Nothing in here decides the exit code. Without a migrator the older package stays.
void replaceOlderPackage(ExecutablePermissions& permissions, const Platform::String& packageName) {
    try {
        const std::wstring name = packageName.text();
        AppDataMigrator migrator(name, permissions.m_isEnterpriseDeployment);
        runMigration(migrator);
        removeOlderPackage(permissions, packageName);
    } catch (const std::exception& exception) {
        g_configuratorLog->beginLine()
            << "AppDataMigrator object creation failed with: " << textOf(exception) << std::endl;
    }
}

}  // namespace

int runConfigurator(const Platform::Array& args) {
    // Destroyed in reverse at every exit: COM ends, the log closes, then the record goes.
    ExecutablePermissions permissions;
    ConfiguratorLog log;
    logArguments(args);
    if (!permissions.enablePrivileges() || !log.m_comReady) return kFailure;
    if (args.size() < 5) {
        printUsage();
        return kFailure;
    }

    permissions.m_version = args[1];
    permissions.m_productName = args[2];
    permissions.m_executableName = args[3];
    permissions.m_sapCode = args[4];
    const bool isEnterpriseDeployment = args.size() > 5 && ::_wcsicmp(args[5].text(), L"true") == 0;
    g_configuratorLog->beginLine()
        << "isEnterpriseDeployment from arg is:" << isEnterpriseDeployment << std::endl;
    permissions.m_isEnterpriseDeployment = isEnterpriseDeployment;
    if (!permissions.resolveUserToken()) {
        g_configuratorLog->beginLine() << "Couldn't find user Token" << std::endl;
        return kFailure;
    }

    replaceOlderPackage(permissions, args[2]);
    return permissions.runPostInstall() ? kSuccess : kFailure;
}
