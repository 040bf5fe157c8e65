#include <array>
#include <cstdio>

#include "FileCopyModel.h"
#include "PluginStatusModel.h"
#include "RunModel.h"

namespace {

constexpr int kPluginCopyFailed = 1;
constexpr int kPluginSettingsFailed = 2;
constexpr unsigned long kHidden = 2;

using Names = std::vector<std::string>;

// A path list of the shell, as the trace and the log show it: the path and a NUL of its own.
std::string ended(const std::string& path) {
    return path + "\\0";
}

std::string appDataRoot(std::string path) {
    for (int i = 0; i < 3; ++i)
        path = path.substr(0, path.find_last_of("\\/"));
    return path;
}

class PluginMigrationModel {
public:
    PluginMigrationModel(TraceReader& trace, RunFacts& facts)
        : m_trace(trace),
          m_facts(facts),
          m_localState(appDataRoot(facts.rxpAppDataPath) + "\\Local\\Packages\\" +
                       facts.packageFamilyName + "\\LocalState"),
          m_newPlugins(facts.rxpAppDataPath + "\\Plugins\\External\\"),
          m_statusFile(m_newPlugins + ".pluginsMigrationStatus.json") {}

    void run() {
        m_facts.plugins.isHidden = m_facts.isPluginStatusHidden;
        m_trace.line("migrationStatusFileFullPath = " + m_statusFile);
        PluginStatusModel status(m_trace, m_facts, m_statusFile);
        status.discardStale();
        if (!status.isMigrationNeeded()) return;
        m_facts.plugins.isNeeded = true;
        m_record.result = copyAll();
        m_facts.plugins.result = m_record.result;
        setHidden(false);
        status.write(m_record);
        setHidden(true);
        finish();
    }

private:
    int copyAll() {
        m_trace.line("pluginsOldLocation = " + m_oldPlugins);
        m_trace.line("pluginsNewLocation = " + m_newPlugins);
        m_record.plugins = list(m_oldPlugins);
        if (!copyFolders(m_oldPlugins, m_newPlugins, "", m_record.plugins, m_record.migrated))
            return kPluginCopyFailed;

        m_trace.line("pluginSettingsOldLocation = " + m_oldSettings);
        m_trace.line("pluginSettingsNewLocation = " + m_newSettings);
        m_settings = list(m_oldSettings);
        if (!copyFolders(m_oldSettings, m_newSettings, "\\PluginData", m_settings,
                         m_migratedSettings) ||
            !moveStorage("LocalStorage") || !moveStorage("SecureStorage")) {
            return kPluginSettingsFailed;
        }
        return 0;
    }

    // The folders of a location, in the order of the file system.
    Names list(const std::string& location) {
        Names names;
        if (!m_trace.ok("PathFileExistsW", {quoted(location)})) return names;
        const standin::Call* entry = &m_trace.call("FindFirstFileW", {quoted(location + "*")});
        if (entry->failed) return names;
        const std::string search = entry->result;
        while (!entry->failed) {
            const std::string name = unquoted(entry->arguments[1]);
            if (name != "." && name != ".." && !name.empty() && isFolder(location + name))
                names.push_back(name);
            entry = &m_trace.call("FindNextFileW", {search});
        }
        m_trace.call("FindClose", {search});
        return names;
    }

    // What was not there before the run has come from another package's folder of the same name.
    bool isFolder(const std::string& path) const {
        if (m_facts.isFile(path)) return false;
        const std::string tail = path.substr(m_localState.size() - std::string("\\LocalState").size());
        for (const auto& [other, isFolder] : m_facts.entries)
            if (isFolder && other.ends_with(tail)) return true;
        return false;
    }

    bool copyFolders(const std::string& oldLocation, const std::string& newLocation,
                     const std::string& below, const Names& names, Names& migrated) {
        for (const std::string& name : names) {
            if (!copy(name, oldLocation + name, newLocation + name + below, &m_record.reason)) {
                deleteFolders(newLocation, migrated);
                return false;
            }
            migrated.push_back(name);
        }
        return true;
    }

    bool moveStorage(const std::string& storage) {
        Names copied;
        for (const std::string& name : m_settings) {
            const std::string from = m_oldSettings + name + "\\" + storage;
            if (!m_trace.ok("PathFileExistsW", {quoted(from)})) continue;
            const std::string to = m_newSettings + name;
            m_trace.line("old storageFolder path = " + ended(from));
            m_trace.line("new storageFolder path = " + ended(to));
            if (!copy(name + storage, from, to, nullptr)) {
                deleteFolders(m_newSettings, m_migratedSettings);
                return false;
            }
            copied.push_back(name);
        }
        for (const std::string& name : copied) {
            const std::string duplicate = m_newSettings + name + "\\PluginData\\" + storage;
            m_trace.line("migrated storageFolder to be deleted = " + duplicate);
            deleteFolder(duplicate);
        }
        return true;
    }

    bool copy(const std::string& what, const std::string& from, const std::string& to,
              std::string* reason) {
        return shell({"window=null", "func=2", "from=" + quoted(ended(ended(from))),
                      "to=" + quoted(ended(ended(to))), "flags=0x614"},
                     [&](const std::string& why) {
                         if (reason != nullptr) *reason = "Failed to copy " + what + why;
                         m_trace.line("Failed to copy " + what + " from " + ended(from) + " to " +
                                      ended(to) + why);
                     });
    }

    void deleteFolder(const std::string& path) {
        if (!m_trace.ok("PathFileExistsW", {quoted(path)})) return;
        shell(
            {"window=null", "func=3", "from=" + quoted(ended(ended(path))), "to=null", "flags=0x414"},
            [&](const std::string& why) { m_trace.line("Failed to delete " + ended(path) + why); });
    }

    void deleteFolders(const std::string& root, const Names& names) {
        for (const std::string& name : names)
            deleteFolder(root + name);
    }

    // One call on the shell together with its report, which the program guards; what it prepares
    // for the call is outside.
    template <typename Report>
    bool shell(const std::array<std::string, 5>& arguments, Report report) {
        m_trace.passOver();
        try {
            const standin::Call& operation = m_trace.call(
                "SHFileOperationW",
                {arguments[0], arguments[1], arguments[2], arguments[3], arguments[4]});
            if (!operation.failed) return true;
            report(" SHFileOperation error: " + operation.result);
        } catch (const StandardException& exception) {
            report(" with the reason" + exception.what);
        }
        return false;
    }

    // A failed read shows no attribute.
    void setHidden(bool isHidden) {
        const std::string file = quoted(m_statusFile);
        if (!m_trace.ok("PathFileExistsW", {file})) return;
        const standin::Call& read = m_trace.call("GetFileAttributesW", {file});
        if (read.failed) return;
        const unsigned long attributes = std::stoul(read.result, nullptr, 16);
        bool& state = m_facts.plugins.isHidden;
        state = (attributes & kHidden) != 0;
        if (state == isHidden) return;
        std::array<char, 16> wanted = {};
        std::snprintf(wanted.data(), wanted.size(), "0x%lX", attributes ^ kHidden);
        if (m_trace.ok("SetFileAttributesW", {file, wanted.data()})) state = isHidden;
    }

    void finish() {
        if (m_record.result == 0) {
            m_trace.line("Migration succeeded, delete old plugins and plugin settings folders");
            deleteFolder(m_oldPlugins);
            deleteFolder(m_oldSettings);
        } else if (m_record.result == kPluginSettingsFailed) {
            m_trace.line(
                "Migrating plugin settings failed, delete migrated plugins from new location");
            deleteFolders(m_newPlugins, m_record.migrated);
        }
    }

    TraceReader& m_trace;
    RunFacts& m_facts;
    const std::string m_localState;
    const std::string m_newPlugins;
    const std::string m_statusFile;
    const std::string m_oldPlugins = m_localState + "\\plugins\\";
    const std::string m_oldSettings = m_localState + "\\plugin_settings\\";
    const std::string m_newSettings = m_facts.rxpAppDataPath + "\\PluginsStorage\\" +
                                      m_facts.arguments[4] + "\\External\\";
    PluginRecord m_record;
    Names m_settings;
    Names m_migratedSettings;
};

}  // namespace

void readPluginMigration(TraceReader& trace, RunFacts& facts) {
    PluginMigrationModel(trace, facts).run();
}
