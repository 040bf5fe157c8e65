#include <utility>

#include "platform/PlatformException.h"
#include "plugins/PluginTest.h"

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

class PluginMigrationTest : public PluginTest {
protected:
    static std::string bytes(const std::wstring& text) { return {text.begin(), text.end()}; }

    std::string firstLine() const {
        return "migrationStatusFileFullPath = " + bytes(statusFile) + "\n";
    }
    std::string pluginLines() const {
        return "pluginsOldLocation = " + bytes(oldPlugins) +
               "\\\npluginsNewLocation = " + bytes(newPlugins) + "\\\n";
    }
    std::string settingsLines() const {
        return "pluginSettingsOldLocation = " + bytes(oldSettings) +
               "\\\npluginSettingsNewLocation = " + bytes(newSettings) + "\\\n";
    }
    static std::string successLine() {
        return "Migration succeeded, delete old plugins and plugin settings folders\n";
    }
    static std::string rollbackLine() {
        return "Migrating plugin settings failed, delete migrated plugins from new location\n";
    }

    static std::string success(const std::string& migrated) {
        return R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":[)" + migrated +
               R"(],"failed":[]}})";
    }

    DWORD statusAttributes() const { return attributesOf(statusFile) & FILE_ATTRIBUTE_HIDDEN; }
};

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
    const std::string settings = bytes(newSettings) + "\\a";
    const auto storageLines = [&](const std::string& storage) {
        return "old storageFolder path = " + bytes(oldSettings) + "\\a\\" + storage +
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
    EXPECT_NE(logText().find("pluginsOldLocation = " + bytes(scratch / L"server") +
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

TEST_F(PluginMigrationTest, OldFoldersThatCannotBeDeletedAreLoggedAndBothAreTried) {
    addPlugin(L"a");
    addSettings(L"a");
    const HeldOpen heldPlugin(oldPlugins + L"\\a\\main.js", GENERIC_READ, FILE_SHARE_READ);
    const HeldOpen heldSettings(oldSettings + L"\\a\\settings.json", GENERIC_READ, FILE_SHARE_READ);

    run();

    EXPECT_EQ(statusText(), success(R"("a")"));
    EXPECT_EQ(logText(), firstLine() + pluginLines() + settingsLines() + successLine() +
                             "Failed to delete " + bytes(oldPlugins) +
                             "\\\0 SHFileOperation error: 32\n"s + "Failed to delete " +
                             bytes(oldSettings) + "\\\0 SHFileOperation error: 32\n"s);
    EXPECT_EQ(readFile(newPlugins + L"\\a\\main.js"), "code");
}

TEST_F(PluginMigrationTest, AnUnwritableFileIsLoggedAndTheOldFoldersGoAllTheSame) {
    addPlugin(L"a");
    makeFolder(statusFile);

    run();

    EXPECT_EQ(logText(), firstLine() + "Failed to create " + bytes(statusFile) + "\n" +
                             pluginLines() + settingsLines() + "Failed to open " + bytes(statusFile) +
                             " for reading and writing migration result\n" + successLine());
    EXPECT_FALSE(exists(oldPlugins));
    EXPECT_EQ(readFile(newPlugins + L"\\a\\main.js"), "code");
}

TEST_F(PluginMigrationTest, AfterAnUnwritableFileTheNextRunMigratesAnEmptyOldLocation) {
    addPlugin(L"a");
    makeFolder(statusFile);
    run();
    removeTree(statusFile);

    run();

    EXPECT_EQ(statusText(), success(""));
    EXPECT_EQ(readFile(newPlugins + L"\\a\\main.js"), "code");
}

TEST_F(PluginMigrationTest, AFileThatCouldNotBeMadeButThenCanBeWrittenEndsInANullReference) {
    addPlugin(L"a");
    removeTree(newPlugins);

    EXPECT_THROW(run(), Platform::NullReferenceException);

    EXPECT_EQ(statusText(), "");
    EXPECT_EQ(readFile(oldPlugins + L"\\a\\main.js"), "code");
    EXPECT_EQ(logText(), firstLine() + "Failed to create " + bytes(statusFile) + "\n" +
                             pluginLines() + settingsLines());
}

TEST_F(PluginMigrationTest, TheFileThatWasMadeJustNowBecomesHidden) {
    run();

    EXPECT_EQ(statusAttributes(), DWORD{FILE_ATTRIBUTE_HIDDEN});
    const std::string path = bytes(statusFile);
    EXPECT_THAT(machine.calls({"SetFileAttributesW"}),
                ElementsAre("SetFileAttributesW(\"" + path + "\", 0x22) = 1"));
}

TEST_F(PluginMigrationTest, TheHiddenAttributeIsLiftedAroundTheWriteAndTheOthersAreKept) {
    writeStatus(R"({"OWN":{"status":1}})");
    setAttributes(statusFile, FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE);
    machine.trace.clear();

    run();

    const std::string path = bytes(statusFile);
    std::vector<std::string> calls = machine.calls(
        {"PathFileExistsW", "GetFileAttributesW", "SetFileAttributesW", "_wfopen", "DeleteFileW"});
    std::erase_if(calls, [&](const std::string& call) {
        return call.find(".pluginsMigrationStatus.json\"") == std::string::npos;
    });
    EXPECT_THAT(calls, ElementsAre("PathFileExistsW(\"" + path + "\") = 1",
                                   "_wfopen(\"" + path + "\", \"r\") = given",
                                   "_wfopen(\"" + path + "\", \"r\") = given",
                                   "PathFileExistsW(\"" + path + "\") = 1",
                                   "GetFileAttributesW(\"" + path + "\") = 0x22",
                                   "SetFileAttributesW(\"" + path + "\", 0x20) = 1",
                                   "_wfopen(\"" + path + "\", \"w\") = given",
                                   "PathFileExistsW(\"" + path + "\") = 1",
                                   "GetFileAttributesW(\"" + path + "\") = 0x20",
                                   "SetFileAttributesW(\"" + path + "\", 0x22) = 1"));
    EXPECT_EQ(statusText(), success(""));
}

TEST_F(PluginMigrationTest, AHiddenFileIsHiddenAgainAfterAFailure) {
    addPlugin(L"a");
    writeStatus(R"({"OWN":{"status":1}})");
    setAttributes(statusFile, FILE_ATTRIBUTE_HIDDEN);
    machine.failNext("SHFileOperationW", 5);

    run();

    EXPECT_EQ(statusAttributes(), DWORD{FILE_ATTRIBUTE_HIDDEN});
    EXPECT_NE(statusText().find(R"("status":1)"), std::string::npos);
}

TEST_F(PluginMigrationTest, AFailedAttributeReadShowsNoAttributeAndNothingIsSet) {
    machine.failFrom("GetFileAttributesW", 1, ERROR_ACCESS_DENIED);

    run();

    EXPECT_EQ(machine.trace.count("GetFileAttributesW"), 2u);
    EXPECT_EQ(machine.trace.count("SetFileAttributesW"), 0u);
    EXPECT_EQ(statusAttributes(), 0u);
    EXPECT_EQ(statusText(), success(""));
}

TEST_F(PluginMigrationTest, AFailedAttributeWriteChangesNothingElse) {
    addPlugin(L"a");
    machine.failNext("SetFileAttributesW", ERROR_ACCESS_DENIED);

    run();

    EXPECT_EQ(statusAttributes(), 0u);
    EXPECT_EQ(statusText(), success(R"("a")"));
    EXPECT_FALSE(exists(oldPlugins));
    EXPECT_EQ(logText(), firstLine() + pluginLines() + settingsLines() + successLine());
}

TEST_F(PluginMigrationTest, AFileThatVanishesBeforeTheWriteIsMadeAnewAndHidden) {
    addPlugin(L"a");
    bool isFirst = true;
    machine.onCall("SHFileOperationW", [&] {
        if (std::exchange(isFirst, false)) removeTree(statusFile);
    });

    run();

    EXPECT_EQ(statusText(), success(R"("a")"));
    EXPECT_EQ(statusAttributes(), DWORD{FILE_ATTRIBUTE_HIDDEN});
}

TEST_F(PluginMigrationTest, TheFileIsWrittenBeforeTheRollback) {
    addPlugin(L"a");
    addSettings(L"s");
    machine.failNth("SHFileOperationW", 2, 7);
    std::string atRollback;
    int calls = 0;
    machine.onCall("SHFileOperationW", [&] {
        if (++calls == 3) atRollback = statusText();
    });

    run();

    const std::string record = R"({"OWN":{"appVersion":"39.1.0","status":2,"migrated":["a"],"failed":[],)"
                               R"("reason":"Failed to copy s SHFileOperation error: 7"}})";
    EXPECT_EQ(atRollback, record);
    EXPECT_EQ(statusText(), record);
    EXPECT_FALSE(exists(newPlugins + L"\\a"));
    EXPECT_EQ(logText(), firstLine() + pluginLines() + settingsLines() + "Failed to copy s from " +
                             bytes(oldSettings) + "\\s\0 to "s + bytes(newSettings) +
                             "\\s\\PluginData\0 SHFileOperation error: 7\n"s + rollbackLine());
}

TEST_F(PluginMigrationTest, ARollbackThatCannotDeleteIsLogged) {
    addPlugin(L"a");
    addSettings(L"s");
    machine.failNth("SHFileOperationW", 2, 7);
    machine.failNth("SHFileOperationW", 3, 32);

    run();

    EXPECT_TRUE(exists(newPlugins + L"\\a"));
    EXPECT_NE(logText().find(rollbackLine() + "Failed to delete " + bytes(newPlugins) +
                             "\\a\0 SHFileOperation error: 32\n"s),
              std::string::npos);
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
              "migrationStatusFileFullPath = " + bytes(scratch.path()) + "\\");
}

}  // namespace
