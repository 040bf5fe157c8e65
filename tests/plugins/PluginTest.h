#pragma once

#include <initializer_list>
#include <map>
#include <string>

#include "run/ExecutablePermissions.h"
#include "support/LogTest.h"

// A user with a roaming and a local folder, and a program that knows the package and is about to
// move the plug-ins. The roaming plug-in folder stands, as the step before leaves it.
class PluginTest : public LogTest {
protected:
    PluginTest() {
        ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        makeFolder(newPlugins);
        makeFolder(localState);
        permissions.m_rxpAppDataPath = appData + L"\\Roaming\\Velta\\RXP";
        permissions.m_packageFamilyName = Platform::String(L"Pkg_abc");
        permissions.m_version = Platform::String(L"39.1.0");
        permissions.m_sapCode = Platform::String(L"OWN");
        machine.trace.clear();
    }
    ~PluginTest() override { ::CoUninitialize(); }

    // One run of the step, as a process of its own would make it.
    void run(const std::wstring& sapCode = L"OWN") {
        ExecutablePermissions fresh;
        fresh.m_rxpAppDataPath = permissions.m_rxpAppDataPath;
        fresh.m_packageFamilyName = permissions.m_packageFamilyName;
        fresh.m_version = permissions.m_version;
        fresh.m_sapCode = Platform::String(sapCode);
        fresh.migratePlugins();
    }

    // Files in a plug-in's old folder, or in its old settings folder, by their path there.
    using FilesByName = std::map<std::wstring, std::string>;
    void addPlugin(const std::wstring& name, const FilesByName& files = {{L"main.js", "code"}}) {
        addFiles(oldPlugins + L"\\" + name, files);
    }
    void addSettings(const std::wstring& name,
                     const FilesByName& files = {{L"settings.json", "settings"}}) {
        addFiles(oldSettings + L"\\" + name, files);
    }

    // Text without characters beyond ASCII, as logs and traces have it.
    static std::string narrow(const std::wstring& text) { return {text.begin(), text.end()}; }

    // The status file of a run that succeeded; names as they stand in it.
    static std::string success(const std::string& migrated) {
        return R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":[)" + migrated +
               R"(],"failed":[]}})";
    }

    // Calls on the shell as the trace has them.
    static std::string copyCall(const std::string& from, const std::string& to) {
        return "SHFileOperationW(window=null, func=2, from=\"" + from + "\\0\\0\", to=\"" + to +
               "\\0\\0\", flags=0x614) = 0";
    }
    static std::string deleteCall(const std::string& path) {
        return "SHFileOperationW(window=null, func=3, from=\"" + path +
               "\\0\\0\", to=null, flags=0x414) = 0";
    }

    void writeStatus(std::string_view bytes) { writeFile(statusFile, bytes); }
    std::string statusText() { return readFile(statusFile); }

    const std::wstring appData = scratch / L"AppData";
    const std::wstring localState = appData + L"\\Local\\Packages\\Pkg_abc\\LocalState";
    const std::wstring oldPlugins = localState + L"\\plugins";
    const std::wstring oldSettings = localState + L"\\plugin_settings";
    const std::wstring rxp = appData + L"\\Roaming\\Velta\\RXP";
    const std::wstring newPlugins = rxp + L"\\Plugins\\External";
    const std::wstring newSettings = rxp + L"\\PluginsStorage\\OWN\\External";
    const std::wstring statusFile = newPlugins + L"\\.pluginsMigrationStatus.json";
    ExecutablePermissions permissions;

private:
    static void addFiles(const std::wstring& folder, const FilesByName& files) {
        makeFolder(folder);
        for (const auto& [path, bytes] : files)
            writeFile(folder + L"\\" + path, bytes);
    }
};
