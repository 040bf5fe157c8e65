#include <cstdio>

#include "platform/PlatformException.h"
#include "plugins/PluginStatusFile.h"
#include "plugins/PluginTest.h"

using ::testing::ElementsAre;

namespace {

class PluginStatusWritingTest : public PluginTest {
protected:
    PluginStatusWritingTest() { permissions.m_migrationStatusFileFullPath = statusFile; }

    // The file's text after this outcome was added to what was there.
    std::string written(int result) {
        permissions.isMigrationNeeded();
        permissions.writeMigrationStatus(result);
        return statusText();
    }
};

TEST_F(PluginStatusWritingTest, SuccessIsRecordedWithWhatWasMigrated) {
    permissions.m_plugins = {L"b", L"a"};
    permissions.m_migratedPlugins = {L"b", L"a"};
    permissions.m_migrationFailureReason = L"not recorded";

    EXPECT_EQ(written(0),
              R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":["b","a"],"failed":[]}})");
}

TEST_F(PluginStatusWritingTest, FailedIsEmptyForStatusZeroWhateverTheListsSay) {
    permissions.m_plugins = {L"a", L"b"};
    permissions.m_migratedPlugins = {L"a"};

    EXPECT_EQ(written(0),
              R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":["a"],"failed":[]}})");
}

TEST_F(PluginStatusWritingTest, AFailureIsRecordedWithTheRestAndTheReason) {
    permissions.m_plugins = {L"a", L"b", L"c"};
    permissions.m_migratedPlugins = {L"a"};
    permissions.m_migrationFailureReason = L"Failed to copy b";

    EXPECT_EQ(written(1),
              R"({"OWN":{"appVersion":"39.1.0","status":1,"migrated":["a"],"failed":["b","c"],)"
              R"("reason":"Failed to copy b"}})");
}

TEST_F(PluginStatusWritingTest, AFailureOfStorageHasAnEmptyReasonAndNoFailedPlugin) {
    permissions.m_plugins = {L"a"};
    permissions.m_migratedPlugins = {L"a"};

    EXPECT_EQ(
        written(2),
        R"({"OWN":{"appVersion":"39.1.0","status":2,"migrated":["a"],"failed":[],"reason":""}})");
}

TEST_F(PluginStatusWritingTest, EntriesOfOtherCodesAreKeptAsTheyWere) {
    writeStatus(
        R"({"ZRKLBE":{"appVersion":"12","status":1,"own":[1.5,null,true]},"X":3,"OWN":{"status":2}})");

    EXPECT_EQ(written(0), R"({"ZRKLBE":{"appVersion":"12","status":1,"own":[1.5,null,true]},"X":3,)"
                          R"("OWN":{"appVersion":"39.1.0","status":0,"migrated":[],"failed":[]}})");
}

TEST_F(PluginStatusWritingTest, KeysMayBeWrittenInAnyOrder) {
    machine.state.json.reversesKeys = true;
    writeStatus(R"({"KEPT":{"a":1,"b":2}})");

    EXPECT_EQ(written(0), R"({"OWN":{"failed":[],"migrated":[],"status":0,"appVersion":"39.1.0"},)"
                          R"("KEPT":{"b":2,"a":1}})");
}

TEST_F(PluginStatusWritingTest, SuccessOfTheReleaseCodeStandsForAllBuilds) {
    permissions.m_sapCode = Platform::String(L"ZRKL");
    permissions.m_migratedPlugins = {L"a"};
    const std::string entry = R"({"appVersion":"39.1.0","status":0,"migrated":["a"],"failed":[]})";

    EXPECT_EQ(written(0), "{\"ZRKL\":" + entry + ",\"ZRKLDV\":" + entry + ",\"ZRKLPR\":" + entry +
                              ",\"ZRKLBE\":" + entry + "}");
}

TEST_F(PluginStatusWritingTest, AFailureOfTheReleaseCodeStandsForItselfAlone) {
    permissions.m_sapCode = Platform::String(L"ZRKL");
    writeStatus(R"({"ZRKLBE":{"status":0}})");

    EXPECT_EQ(written(2), R"({"ZRKLBE":{"status":0},"ZRKL":{"appVersion":"39.1.0","status":2,)"
                          R"("migrated":[],"failed":[],"reason":""}})");
}

TEST_F(PluginStatusWritingTest, OtherCodesGainNoSiblings) {
    for (const wchar_t* sapCode : {L"ZRKLDV", L"ZRKLPR", L"ZRKLBE", L"zrkl", L"OTHER"}) {
        permissions.m_sapCode = Platform::String(sapCode);
        writeStatus("");
        const std::wstring wide(sapCode);

        EXPECT_EQ(written(0),
                  "{\"" + std::string(wide.begin(), wide.end()) +
                      R"(":{"appVersion":"39.1.0","status":0,"migrated":[],"failed":[]}})");
    }
}

TEST_F(PluginStatusWritingTest, TheFileIsUtf8WithoutMarkAndWithoutLineEnd) {
    permissions.m_migratedPlugins = {L"\u00e9\u4e2d\xD83D\xDE00", L"two words", L"\"\\\n"};

    EXPECT_EQ(written(0),
              "{\"OWN\":{\"appVersion\":\"39.1.0\",\"status\":0,\"migrated\":["
              "\"\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80\",\"two words\",\"\\\"\\\\\\n\"],"
              "\"failed\":[]}}");
}

TEST_F(PluginStatusWritingTest, ANameThatIsNoUtf16LeavesTheFileEmpty) {
    writeStatus(R"({"KEPT":{"status":0}})");
    permissions.m_migratedPlugins = {L"a", L"b\xD800"};

    EXPECT_EQ(written(0), "");

    EXPECT_EQ(logText(), "");
}

TEST_F(PluginStatusWritingTest, AnEmptyVersionAndAnEmptyCodeAreRecordedAsTheyStand) {
    permissions.m_version = Platform::String(L"");
    permissions.m_sapCode = Platform::String(L"");

    EXPECT_EQ(written(0), R"({"":{"appVersion":"","status":0,"migrated":[],"failed":[]}})");
}

TEST_F(PluginStatusWritingTest, AFileThatCannotBeOpenedForWritingIsLoggedAndKept) {
    writeStatus(R"({"KEPT":{"status":0}})");
    permissions.isMigrationNeeded();
    const HeldOpen held(statusFile, GENERIC_READ, FILE_SHARE_READ);
    machine.trace.clear();

    permissions.writeMigrationStatus(0);

    EXPECT_EQ(logText(), "Failed to open " + narrow(statusFile) +
                             " for reading and writing migration result\n");
    EXPECT_EQ(statusText(), R"({"KEPT":{"status":0}})");
    EXPECT_EQ(machine.trace.count("IJsonObject::SetNamedValue"), 0u);
}

TEST_F(PluginStatusWritingTest, AFileThatIsStillHiddenCannotBeOpenedForWriting) {
    writeStatus("{}");
    permissions.isMigrationNeeded();
    setAttributes(statusFile, FILE_ATTRIBUTE_HIDDEN);

    permissions.writeMigrationStatus(0);

    EXPECT_EQ(logText(), "Failed to open " + narrow(statusFile) +
                             " for reading and writing migration result\n");
    EXPECT_EQ(statusText(), "{}");
}

TEST_F(PluginStatusWritingTest, TheFileIsCutBeforeItsNewTextExists) {
    writeStatus("{}");
    permissions.isMigrationNeeded();
    std::string atFirstCall = "never called";
    machine.onCall("IActivationFactory::ActivateInstance", [&] { atFirstCall = statusText(); });

    permissions.writeMigrationStatus(0);

    EXPECT_EQ(atFirstCall, "");
}

TEST_F(PluginStatusWritingTest, AWriteThatFailsIsNotLogged) {
    permissions.isMigrationNeeded();
    removeTree(statusFile);
    makeSymbolicLink("/dev/full", statusFile);

    permissions.writeMigrationStatus(0);

    EXPECT_EQ(logText(), "");
}

TEST_F(PluginStatusWritingTest, WithoutADocumentAnOutcomeCannotBeRecorded) {
    permissions.m_migrationStatus.reset();

    EXPECT_THROW(permissions.writeMigrationStatus(0), Platform::NullReferenceException);

    EXPECT_EQ(statusText(), "");
}

TEST_F(PluginStatusWritingTest, EntriesAreObjectsOfTheirOwn) {
    permissions.m_sapCode = Platform::String(L"ZRKL");
    permissions.isMigrationNeeded();
    machine.trace.clear();

    permissions.writeMigrationStatus(0);

    EXPECT_THAT(machine.calls({"WindowsCompareStringOrdinal"}),
                ElementsAre("WindowsCompareStringOrdinal(\"ZRKL\", \"ZRKL\", 0) = 0"));
    // Per entry one object, and an array each for "migrated" and "failed".
    EXPECT_EQ(machine.trace.count("IActivationFactory::ActivateInstance"), 12u);
}

TEST_F(PluginStatusWritingTest, FailedPluginsAreThoseThatWereNotMigrated) {
    using Names = std::vector<std::wstring>;
    struct Lists {
        Names plugins;
        Names migrated;
        Names failed;
    };
    const Lists rows[] = {
        {{}, {}, {}},
        {{L"a", L"b", L"c"}, {}, {L"a", L"b", L"c"}},
        {{L"a", L"b", L"c"}, {L"b"}, {L"a", L"c"}},
        {{L"c", L"b", L"a"}, {L"b"}, {L"c", L"a"}},
        {{L"a", L"b"}, {L"a", L"b"}, {}},
        {{L"a"}, {L"A"}, {L"a"}},
        {{L"a", L"b", L"a"}, {L"a"}, {L"b", L"a"}},
        {{L"a", L"b", L"a"}, {L"a", L"a"}, {L"b"}},
        {{L"a"}, {L"x", L"a", L"a"}, {}},
        {{std::wstring(L"a\0b", 3), L"a"}, {L"a"}, {std::wstring(L"a\0b", 3)}},
    };
    for (const Lists& row : rows)
        EXPECT_EQ(computeFailedPlugins(row.plugins, row.migrated), row.failed);
}

TEST_F(PluginStatusWritingTest, AFileThatCannotBeClosedIsNotLogged) {
    addPlugin(L"a");
    const auto close = replaceImport<decltype(&::fclose)>("fclose", [](auto real, FILE* file) -> int {
        real(file);
        return EOF;
    });

    run();

    EXPECT_EQ(statusText(), success("\"a\""));
    EXPECT_EQ(logText().find("Failed"), std::string::npos);
}

}  // namespace
