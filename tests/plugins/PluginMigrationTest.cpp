#include "plugins/PluginMigrationLines.h"

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

using PluginMigrationTest = PluginMigrationLines;

TEST_F(PluginMigrationTest, AUserWithoutPluginsGetsARecordOfSuccess) {
    run();

    EXPECT_EQ(statusText(), success(""));
    EXPECT_EQ(machine.trace.count("SHFileOperationW"), 0u);
    EXPECT_EQ(logText(), firstLine() + pluginLines() + settingsLines() + successLine());
}

TEST_F(PluginMigrationTest, PluginsSettingsAndStoragesAreMoved) {
    addPlugin(L"a", {{L"main.js", "a"}, {L"sub\\x.js", "x"}});
    addPlugin(L"b", {{L"main.js", "b"}});
    addSettings(L"a",
                {{L"settings.json", "s"}, {L"LocalStorage\\l", "l"}, {L"SecureStorage\\k", "k"}});

    run();

    EXPECT_THAT(listTree(newPlugins),
                ElementsAre(Pair(L".pluginsMigrationStatus.json", success(R"("a","b")")),
                            Pair(L"a\\", ""), Pair(L"a\\main.js", "a"), Pair(L"a\\sub\\", ""),
                            Pair(L"a\\sub\\x.js", "x"), Pair(L"b\\", ""), Pair(L"b\\main.js", "b")));
    EXPECT_THAT(listTree(newSettings),
                ElementsAre(Pair(L"a\\", ""), Pair(L"a\\LocalStorage\\", ""),
                            Pair(L"a\\LocalStorage\\l", "l"), Pair(L"a\\PluginData\\", ""),
                            Pair(L"a\\PluginData\\settings.json", "s"),
                            Pair(L"a\\SecureStorage\\", ""), Pair(L"a\\SecureStorage\\k", "k")));
    EXPECT_THAT(listTree(localState), IsEmpty());
    const std::string settings = narrow(newSettings) + "\\a";
    const auto storageLines = [&](const std::string& storage) {
        return "old storageFolder path = " + narrow(oldSettings) + "\\a\\" + storage +
               "\0\nnew storageFolder path = "s + settings +
               "\0\nmigrated storageFolder to be deleted = "s + settings + "\\PluginData\\" +
               storage + "\n";
    };
    EXPECT_EQ(logText(), firstLine() + pluginLines() + settingsLines() + storageLines("LocalStorage") +
                             storageLines("SecureStorage") + successLine());
}

TEST_F(PluginMigrationTest, PluginsWithoutASettingsFolderAreMoved) {
    addPlugin(L"a");

    run();

    EXPECT_EQ(statusText(), success(R"("a")"));
    EXPECT_FALSE(exists(oldPlugins));
    EXPECT_FALSE(exists(rxp + L"\\PluginsStorage"));
}

TEST_F(PluginMigrationTest, SettingsAndPluginsAreIndependentOfEachOther) {
    addPlugin(L"without settings");
    addSettings(L"without plugin");

    run();

    EXPECT_TRUE(exists(newPlugins + L"\\without settings\\main.js"));
    EXPECT_TRUE(exists(newSettings + L"\\without plugin\\PluginData\\settings.json"));
    EXPECT_FALSE(exists(oldSettings));
    EXPECT_EQ(statusText(), success(R"("without settings")"));
}

TEST_F(PluginMigrationTest, SettingsWithoutLocalStorageStillHaveTheirSecureStorageMoved) {
    addSettings(L"a", {{L"SecureStorage\\k", "k"}});

    run();

    EXPECT_THAT(listTree(newSettings),
                ElementsAre(Pair(L"a\\", ""), Pair(L"a\\PluginData\\", ""),
                            Pair(L"a\\SecureStorage\\", ""), Pair(L"a\\SecureStorage\\k", "k")));
}

TEST_F(PluginMigrationTest, EmptyFoldersAreMovedToo) {
    addPlugin(L"empty", {});
    addSettings(L"empty", {});

    run();

    EXPECT_TRUE(exists(newPlugins + L"\\empty"));
    EXPECT_TRUE(exists(newSettings + L"\\empty\\PluginData"));
}

TEST_F(PluginMigrationTest, FilesBesideTheFoldersAreNotMovedAndGoWithTheOldLocation) {
    addPlugin(L"a");
    writeFile(oldPlugins + L"\\loose.txt", "loose");

    run();

    EXPECT_FALSE(exists(newPlugins + L"\\loose.txt"));
    EXPECT_FALSE(exists(oldPlugins));
}

TEST_F(PluginMigrationTest, TheLocalStateFolderAndWhatElseIsInItStay) {
    addPlugin(L"a");
    writeFile(localState + L"\\other\\x", "x");

    run();

    EXPECT_THAT(listTree(localState), ElementsAre(Pair(L"other\\", ""), Pair(L"other\\x", "x")));
}

TEST_F(PluginMigrationTest, ASecondRunAfterSuccessWritesOneLineAndTouchesNothing) {
    addPlugin(L"a");
    run();
    addPlugin(L"late");
    const auto before = listTree(appData);
    const std::string logBefore = logText();
    machine.trace.clear();

    run();

    EXPECT_EQ(logText(), logBefore + firstLine());
    EXPECT_EQ(listTree(appData), before);
    EXPECT_THAT(machine.calls({"SHFileOperationW", "SetFileAttributesW", "FindFirstFileW",
                               "GetFileAttributesW", "IJsonObject::SetNamedValue"}),
                IsEmpty());
}

TEST_F(PluginMigrationTest, ARunThatIsNotNeededLeavesThePathsEmpty) {
    writeStatus(success(""));

    permissions.migratePlugins();

    EXPECT_EQ(permissions.m_migrationStatusFileFullPath, statusFile);
    EXPECT_EQ(permissions.m_pluginsOldLocation, L"");
    EXPECT_EQ(permissions.m_pluginsNewLocation, L"");
    EXPECT_EQ(permissions.m_pluginSettingsOldLocation, L"");
}

TEST_F(PluginMigrationTest, AfterAPluginFailureTheSettingsLocationsStayEmpty) {
    addPlugin(L"a");
    addSettings(L"a");
    machine.failNext("SHFileOperationW", 5);

    permissions.migratePlugins();

    EXPECT_EQ(permissions.m_pluginsOldLocation, oldPlugins + L"\\");
    EXPECT_EQ(permissions.m_pluginSettingsOldLocation, L"");
    EXPECT_EQ(permissions.m_pluginSettingsNewLocation, L"");
    EXPECT_THAT(permissions.m_pluginSettings, IsEmpty());
}

TEST_F(PluginMigrationTest, ListsOfTheRunAreKept) {
    addPlugin(L"a");
    addSettings(L"b");

    permissions.migratePlugins();

    EXPECT_THAT(permissions.m_plugins, ElementsAre(L"a"));
    EXPECT_THAT(permissions.m_migratedPlugins, ElementsAre(L"a"));
    EXPECT_THAT(permissions.m_pluginSettings, ElementsAre(L"b"));
    EXPECT_THAT(permissions.m_migratedPluginSettings, ElementsAre(L"b"));
}

TEST_F(PluginMigrationTest, ReleaseSuccessKeepsTheOtherBuildsFromMigrating) {
    addPlugin(L"a");
    run(L"ZRKL");
    addPlugin(L"b");

    for (const wchar_t* sapCode : {L"ZRKLDV", L"ZRKLPR", L"ZRKLBE", L"ZRKL"})
        run(sapCode);

    EXPECT_TRUE(exists(oldPlugins + L"\\b"));
    run(L"OWN");
    EXPECT_FALSE(exists(oldPlugins));
}

TEST_F(PluginMigrationTest, AnotherBuildSharesThePluginFolderAndTheFile) {
    addPlugin(L"a");
    run(L"ZRKLBE");
    addPlugin(L"b");
    addSettings(L"b");

    run(L"OWN");

    EXPECT_TRUE(exists(newPlugins + L"\\a\\main.js"));
    EXPECT_TRUE(exists(newPlugins + L"\\b\\main.js"));
    EXPECT_TRUE(exists(newSettings + L"\\b\\PluginData\\settings.json"));
    EXPECT_EQ(statusText(),
              R"({"ZRKLBE":{"appVersion":"39.1.0","status":0,"migrated":["a"],"failed":[]},)"
              R"("OWN":{"appVersion":"39.1.0","status":0,"migrated":["b"],"failed":[]}})");
}

TEST_F(PluginMigrationTest, ARedirectedRoamingFolderMigratesNothingAndComplainsOfNothing) {
    addPlugin(L"a");
    const std::wstring redirected = scratch / L"server\\Roaming\\Velta\\RXP";
    makeFolder(redirected + L"\\Plugins\\External");
    permissions.m_rxpAppDataPath = redirected;

    run();

    EXPECT_TRUE(exists(oldPlugins + L"\\a\\main.js"));
    EXPECT_EQ(readFile(redirected + L"\\Plugins\\External\\.pluginsMigrationStatus.json"),
              success(""));
    EXPECT_NE(logText().find("pluginsOldLocation = " + narrow(scratch / L"server") +
                             "\\Local\\Packages\\Pkg_abc\\LocalState\\plugins\\\n"),
              std::string::npos);
}

TEST_F(PluginMigrationTest, OldLocationsThatAreFilesMigrateNothingAndStay) {
    writeFile(oldPlugins, "a file");
    writeFile(oldSettings, "a file");

    run();

    EXPECT_EQ(statusText(), success(""));
    EXPECT_THAT(listTree(localState),
                ElementsAre(Pair(L"plugin_settings", "a file"), Pair(L"plugins", "a file")));
}

TEST_F(PluginMigrationTest, AFolderOfTheSameNameGetsThePluginInside) {
    addPlugin(L"a");
    writeFile(newPlugins + L"\\a\\older.js", "older");

    run();

    EXPECT_EQ(readFile(newPlugins + L"\\a\\older.js"), "older");
    EXPECT_EQ(readFile(newPlugins + L"\\a\\a\\main.js"), "code");
}

TEST_F(PluginMigrationTest, PluginDataThatExistsGetsTheSettingsOneLevelDeeper) {
    addSettings(L"a");
    writeFile(newSettings + L"\\a\\PluginData\\older", "older");

    run();

    EXPECT_THAT(
        listTree(newSettings),
        ElementsAre(Pair(L"a\\", ""), Pair(L"a\\PluginData\\", ""), Pair(L"a\\PluginData\\a\\", ""),
                    Pair(L"a\\PluginData\\a\\settings.json", "settings"),
                    Pair(L"a\\PluginData\\older", "older")));
}

TEST_F(PluginMigrationTest, ARoamingPathBeyondLatinCharactersEndsTheLogButNotTheMigration) {
    const std::wstring user = scratch / L"\u4e2d\u6587";
    permissions.m_rxpAppDataPath = user + L"\\Roaming\\Velta\\RXP";
    makeFolder(permissions.m_rxpAppDataPath + L"\\Plugins\\External");
    writeFile(user + L"\\Local\\Packages\\Pkg_abc\\LocalState\\plugins\\a\\main.js", "code");

    run();

    const std::wstring moved = permissions.m_rxpAppDataPath + L"\\Plugins\\External\\";
    EXPECT_EQ(readFile(moved + L"a\\main.js"), "code");
    EXPECT_EQ(readFile(moved + L".pluginsMigrationStatus.json"), success(R"("a")"));
    log.reset();
    EXPECT_EQ(withoutTimes(readFile(logPath())),
              "migrationStatusFileFullPath = " + narrow(scratch.path()) + "\\");
}

}  // namespace
