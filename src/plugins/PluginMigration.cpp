#include "platform/Windows.h"
#include "plugins/MigrationResult.h"
#include "plugins/PluginEnumeration.h"
#include "plugins/PluginFolders.h"
#include "run/ConfiguratorLog.h"
#include "run/ExecutablePermissions.h"

#include <shlwapi.h>

namespace {

// Sets or clears the hidden attribute of the file, where there is one that differs.
void setHidden(const std::wstring& path, bool isHidden) {
    if (!::PathFileExistsW(path.c_str())) return;
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return;
    if (((attributes & FILE_ATTRIBUTE_HIDDEN) != 0) != isHidden)
        ::SetFileAttributesW(path.c_str(), attributes ^ FILE_ATTRIBUTE_HIDDEN);
}

// Lets go of the document at the end of the scope: the runtime that made it is gone before the record that holds it.
struct DocumentLifetime {
    ComPointer<IJsonObject>& document;

    ~DocumentLifetime() { document.reset(); }
};

}  // namespace

void ExecutablePermissions::migratePlugins() {
    const DocumentLifetime lifetime{m_migrationStatus};
    const std::wstring localState = getAppDataRoot() + L"\\Local\\Packages\\" +
                                    m_packageFamilyName.text() + L"\\LocalState";
    m_migrationStatusFileFullPath = m_rxpAppDataPath + L"\\Plugins\\External\\" +
                                    m_pluginsMigrationStatusFileName;
    g_configuratorLog->beginLine()
        << "migrationStatusFileFullPath = " << m_migrationStatusFileFullPath << std::endl;
    discardStaleMigrationStatus();
    if (!isMigrationNeeded()) return;

    const int result = copyPlugins(localState);
    setHidden(m_migrationStatusFileFullPath, false);
    writeMigrationStatus(
        result);  // Required: before the rollback, so it may name folders removed below.
    setHidden(m_migrationStatusFileFullPath, true);
    if (result == MigrationSucceeded) {
        g_configuratorLog->beginLine()
            << "Migration succeeded, delete old plugins and plugin settings folders" << std::endl;
        deleteFolder(m_pluginsOldLocation);
        deleteFolder(m_pluginSettingsOldLocation);
    } else if (result == PluginSettingsFailed) {
        g_configuratorLog->beginLine()
            << "Migrating plugin settings failed, delete migrated plugins from new location"
            << std::endl;
        deleteMigratedFolders(m_pluginsNewLocation, m_migratedPlugins);
    }
}

int ExecutablePermissions::copyPlugins(const std::wstring& localState) {
    m_pluginsOldLocation = localState + L"\\plugins\\";
    m_pluginsNewLocation = m_rxpAppDataPath + L"\\Plugins\\External\\";
    g_configuratorLog->beginLine() << "pluginsOldLocation = " << m_pluginsOldLocation << std::endl;
    g_configuratorLog->beginLine() << "pluginsNewLocation = " << m_pluginsNewLocation << std::endl;
    enumeratePluginFolders(m_pluginsOldLocation, m_plugins);
    int result = migratePluginFolders(m_pluginsOldLocation, m_pluginsNewLocation, false, m_plugins,
                                      m_migratedPlugins);
    if (result != MigrationSucceeded) return result;

    m_pluginSettingsOldLocation = localState + L"\\plugin_settings\\";
    m_pluginSettingsNewLocation = m_rxpAppDataPath + L"\\PluginsStorage\\" + m_sapCode.text() +
                                  L"\\External\\";
    g_configuratorLog->beginLine()
        << "pluginSettingsOldLocation = " << m_pluginSettingsOldLocation << std::endl;
    g_configuratorLog->beginLine()
        << "pluginSettingsNewLocation = " << m_pluginSettingsNewLocation << std::endl;
    enumeratePluginFolders(m_pluginSettingsOldLocation, m_pluginSettings);
    result = migratePluginFolders(m_pluginSettingsOldLocation, m_pluginSettingsNewLocation, true,
                                  m_pluginSettings, m_migratedPluginSettings);
    if (result != MigrationSucceeded) return result;

    for (const std::wstring& storageFolderName :
         {m_localStorageFolderName, m_secureStorageFolderName}) {
        result = migrateStorageFolder(m_pluginSettingsOldLocation, m_pluginSettingsNewLocation,
                                      storageFolderName, m_pluginSettings, m_migratedPluginSettings);
        if (result != MigrationSucceeded) return result;
    }
    return MigrationSucceeded;
}
