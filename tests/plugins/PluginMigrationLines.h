#pragma once

#include <string>

#include "plugins/PluginTest.h"

// The lines that a run writes, in order.
class PluginMigrationLines : public PluginTest {
protected:
    std::string firstLine() const {
        return "migrationStatusFileFullPath = " + narrow(statusFile) + "\n";
    }
    std::string pluginLines() const {
        return "pluginsOldLocation = " + narrow(oldPlugins) +
               "\\\npluginsNewLocation = " + narrow(newPlugins) + "\\\n";
    }
    std::string settingsLines() const {
        return "pluginSettingsOldLocation = " + narrow(oldSettings) +
               "\\\npluginSettingsNewLocation = " + narrow(newSettings) + "\\\n";
    }
    static std::string successLine() {
        return "Migration succeeded, delete old plugins and plugin settings folders\n";
    }
};
