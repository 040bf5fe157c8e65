#include <vector>

#include "network/LoopbackExemption.h"
#include "platform/Windows.h"
#include "run/ConfiguratorLog.h"
#include "run/ExecutablePermissions.h"
#include "security/AclPrimitives.h"
#include "security/FileHardening.h"
#include "security/UserDataFolders.h"

#include <shlwapi.h>

namespace {

constexpr wchar_t kDebugRuntime[] = L"\\ucrtbased.dll";

}  // namespace

int ExecutablePermissions::runPostInstall() {
    if (!findPackage()) {
        g_configuratorLog->beginLine() << "Couldn't find package install path" << std::endl;
        return 0;
    }
    const PSID userSid = m_tokenUser->User.Sid;
    std::vector<const wchar_t*> files = {kAppServiceClient,   L"\\TraceRelay2.exe",
                                         L"\\LogSession.dll", L"\\FerroxMessage5.dll",
                                         L"\\VeltaPIP.dll",   L"\\FerroxControl.dll"};
    const Platform::String debugRuntime = m_packageInstallPath + Platform::String(kDebugRuntime);
    if (::PathFileExistsW(debugRuntime.text())) files.push_back(kDebugRuntime);
    const WellKnownSid users(WinBuiltinUsersSid);
    const WellKnownSid system(WinLocalSystemSid);
    if (!hardenPackageFiles(files, userSid, users.m_sid, system.m_sid)) return 0;
    if (!grantAppContainerFolderAccess(userSid, m_isEnterpriseDeployment)) return 0;
    if (!enableLoopback(m_packageFamilyName.text())) {
        g_configuratorLog->beginLine()
            << "Enabling the localhost has failed, but we don't want to fail the install process"
            << std::endl;
    }
    if (!grantCommonFilesAccess({L"Velta", L"RXP"})) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine()
            << "Grant permission for Program Files\\Common Files\\Velta\\RXP failed. GetLastError returned: "
            << error << std::endl;
    }
    if (prepareUserDataFolders(userSid)) migratePlugins();
    return registerCrashDumps();
}
