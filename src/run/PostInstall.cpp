#include <vector>

#include "platform/Windows.h"
#include "run/ConfiguratorLog.h"
#include "run/ExecutablePermissions.h"
#include "security/FileHardening.h"

#include <shlwapi.h>

namespace {

constexpr wchar_t kDebugRuntime[] = L"\\ucrtbased.dll";

// The files to harden, relative to the install folder; the debug runtime only where it is installed.
std::vector<const wchar_t*> filesToHarden(const Platform::String& installPath) {
    std::vector<const wchar_t*> files = {kAppServiceClient,   L"\\TraceRelay2.exe",
                                         L"\\LogSession.dll", L"\\FerroxMessage5.dll",
                                         L"\\VeltaPIP.dll",   L"\\FerroxControl.dll"};
    const Platform::String debugRuntime = installPath + Platform::String(kDebugRuntime);
    if (::PathFileExistsW(debugRuntime.text())) files.push_back(kDebugRuntime);
    return files;
}

}  // namespace

int ExecutablePermissions::runPostInstall() {
    if (!findPackage()) {
        g_configuratorLog->beginLine() << "Couldn't find package install path" << std::endl;
        return 0;
    }
    const std::vector<const wchar_t*> files = filesToHarden(m_packageInstallPath);
    return 1;
}
