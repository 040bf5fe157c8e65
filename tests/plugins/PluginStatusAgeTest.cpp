#include "plugins/PluginTest.h"

using ::testing::ElementsAre;

namespace {

// A status file of an older application, and whether it is thrown away.
class PluginStatusAgeTest : public PluginTest {
protected:
    PluginStatusAgeTest() { permissions.m_migrationStatusFileFullPath = statusFile; }

    static std::string entry(const std::string& sapCode, const std::string& version) {
        return "\"" + sapCode + "\":{\"appVersion\":\"" + version +
               "\",\"status\":0,\"migrated\":[],\"failed\":[]}";
    }

    // True: the file was deleted.
    bool isDiscarded(const std::string& bytes) {
        writeStatus(bytes);
        permissions.discardStaleMigrationStatus();
        const bool isGone = !exists(statusFile);
        EXPECT_EQ(isGone ? bytes : statusText(), bytes);
        return isGone;
    }
};

TEST_F(PluginStatusAgeTest, WithoutAFileNothingHappens) {
    permissions.discardStaleMigrationStatus();

    EXPECT_FALSE(exists(statusFile));
    EXPECT_EQ(machine.trace.count("PathFileExistsW"), 1u);
    EXPECT_EQ(machine.calls().size(), 1u);
    EXPECT_EQ(logText(), "");
}

TEST_F(PluginStatusAgeTest, AFileFromBeforeMajorVersion39IsDiscarded) {
    struct Row {
        const char* version;
        bool isDiscarded;
    };
    const Row rows[] = {
        {"38.0.2", true},      {"38", true},
        {"38.", true},         {"0.1", true},
        {"-1.0", true},        {"-2147483648.0", true},
        {"38abc.1", true},     {"0x30.1", true},  // base 10: reads 0
        {"+38.9", true},       {"\\u0020\\t38.9", true},
        {"39.0.0", false},     {"39", false},
        {"40.1", false},       {"390", false},
        {"2147483647", false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.version);

        EXPECT_EQ(isDiscarded("{" + entry("ZRKL", row.version) + "}"), row.isDiscarded);
    }
    EXPECT_EQ(logText(), "");
}

TEST_F(PluginStatusAgeTest, TheBetaCodeIsNotTested) {
    struct Row {
        const char* sapCode;
        bool isDiscarded;
    };
    const Row rows[] = {{"ZRKL", true}, {"ZRKLDV", true}, {"ZRKLPR", true}, {"ZRKLBE", false},
                        {"OWN", false}, {"zrkl", false},  {"ZRKLXX", false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.sapCode);

        EXPECT_EQ(isDiscarded("{" + entry(row.sapCode, "38.0.2") + "}"), row.isDiscarded);
    }
}

TEST_F(PluginStatusAgeTest, OneStaleEntryTakesAllOthersAlong) {
    EXPECT_TRUE(isDiscarded("{" + entry("ZRKLBE", "40.0") + "," + entry("OWN", "40.0") + "," +
                            entry("ZRKLDV", "40.0") + "," + entry("ZRKL", "38.0") + "}"));
}

TEST_F(PluginStatusAgeTest, AVersionWithoutANumberIsLoggedAndCountsAsNotOlder) {
    struct Row {
        const char* version;
        const char* major;
        const char* reason;
    };
    const Row rows[] = {
        {"", "", "invalid stoi argument"},
        {".5", "", "invalid stoi argument"},
        {"abc.38", "abc", "invalid stoi argument"},
        {"-", "-", "invalid stoi argument"},
        {"v38", "v38", "invalid stoi argument"},
        {"2147483648.1", "2147483648", "stoi argument out of range"},
        {"-2147483649", "-2147483649", "stoi argument out of range"},
        {"99999999999999999999.0", "99999999999999999999", "stoi argument out of range"},
    };
    std::string expected;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.version);

        EXPECT_FALSE(isDiscarded("{" + entry("ZRKL", row.version) + "}"));

        expected += "Failed to convert majorVersion (" + std::string(row.major) +
                    ") into int with the reason" + row.reason + "\n";
        EXPECT_EQ(logText(), expected);
    }
}

TEST_F(PluginStatusAgeTest, AfterAVersionWithoutANumberTheNextCodeIsTested) {
    EXPECT_TRUE(isDiscarded("{" + entry("ZRKL", "38.0") + "," + entry("ZRKLPR", "pr") + "," +
                            entry("ZRKLDV", "dv") + "}"));

    EXPECT_EQ(logText(),
              "Failed to convert majorVersion (dv) into int with the reasoninvalid stoi argument\n"
              "Failed to convert majorVersion (pr) into int with the reasoninvalid stoi argument\n");
}

TEST_F(PluginStatusAgeTest, TheFirstStaleCodeEndsTheTest) {
    EXPECT_TRUE(isDiscarded("{" + entry("ZRKL", "none") + "," + entry("ZRKLDV", "38") + "}"));

    EXPECT_EQ(logText(), "");
    EXPECT_EQ(machine.trace.count("IMapView::HasKey"), 2u);  // the code, its version
}

TEST_F(PluginStatusAgeTest, AnEntryWithoutAVersionIsNotOlder) {
    EXPECT_FALSE(isDiscarded("{\"ZRKL\":{},\"ZRKLDV\":{\"status\":1}}"));

    EXPECT_EQ(logText(), "");
}

TEST_F(PluginStatusAgeTest, TextThatDoesNotParseIsLeftAlone) {
    for (const char* text : {"", "{", "x", "[]", "{\"ZRKL\": {\"appVersion\":\"38\"}}"})
        EXPECT_FALSE(isDiscarded(text)) << text;
}

TEST_F(PluginStatusAgeTest, TheFileIsClosedBeforeItIsDeleted) {
    EXPECT_TRUE(isDiscarded("{" + entry("ZRKL", "38.0") + "}"));

    const std::string path(statusFile.begin(), statusFile.end());
    const auto calls = machine.calls({"PathFileExistsW", "_wfopen", "_close", "DeleteFileW"});
    EXPECT_EQ(calls.front(), "PathFileExistsW(\"" + path + "\") = 1");
    EXPECT_EQ(calls.back(), "DeleteFileW(\"" + path + "\") = 1");
}

TEST_F(PluginStatusAgeTest, AFileThatCannotBeDeletedStaysAndNothingIsLogged) {
    writeStatus("{" + entry("ZRKL", "38.0") + "}");
    const HeldOpen held(statusFile, GENERIC_READ, FILE_SHARE_READ);

    permissions.discardStaleMigrationStatus();

    EXPECT_TRUE(exists(statusFile));
    EXPECT_EQ(machine.trace.count("DeleteFileW"), 1u);
    EXPECT_EQ(logText(), "");
}

TEST_F(PluginStatusAgeTest, AFileThatCannotBeReadIsLeftAlone) {
    writeStatus("{" + entry("ZRKL", "38.0") + "}");
    const HeldOpen held(statusFile);

    permissions.discardStaleMigrationStatus();

    EXPECT_TRUE(exists(statusFile));
    EXPECT_EQ(machine.trace.count("DeleteFileW"), 0u);
}

TEST_F(PluginStatusAgeTest, WithoutADocumentNothingIsOlder) {
    EXPECT_FALSE(permissions.isOlderThanMinimumVersion({}, permissions.m_sapCodeRelease));
}

TEST_F(PluginStatusAgeTest, AStaleFileLetsTheMigrationRunAgain) {
    addPlugin(L"a");
    writeStatus("{" + entry("ZRKL", "38.0") + "," + entry("OWN", "40.0") + "}");

    run();

    EXPECT_TRUE(exists(newPlugins + L"\\a\\main.js"));
    EXPECT_EQ(statusText(),
              R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":["a"],"failed":[]}})");
}

}  // namespace
