#include "plugins/PluginStatusFile.h"

#include "platform/PlatformException.h"
#include "plugins/PluginTest.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class PluginStatusFileTest : public PluginTest {
protected:
    PluginStatusFileTest() { permissions.m_migrationStatusFileFullPath = statusFile; }

    // What a fresh process says of a file with these bytes.
    bool isNeeded(const std::string& bytes) {
        writeStatus(bytes);
        ExecutablePermissions fresh;
        fresh.m_migrationStatusFileFullPath = statusFile;
        fresh.m_sapCode = Platform::String(L"OWN");
        const bool needed = fresh.isMigrationNeeded();
        EXPECT_EQ(statusText(), bytes);
        return needed;
    }

    // The file's text after this outcome was added to what was there.
    std::string written(int result) {
        permissions.isMigrationNeeded();
        permissions.writeMigrationStatus(result);
        return statusText();
    }

    std::string path() const { return {statusFile.begin(), statusFile.end()}; }
};

TEST_F(PluginStatusFileTest, WithoutAFileAnEmptyOneIsMadeAndMigrationIsNeeded) {
    EXPECT_TRUE(permissions.isMigrationNeeded());

    EXPECT_EQ(statusText(), "");
    EXPECT_TRUE(permissions.m_migrationStatus);
    EXPECT_THAT(machine.calls({"_wfopen"}),
                ElementsAre("_wfopen(\"" + path() + "\", \"r\") = null, error 2",
                            "_wfopen(\"" + path() + "\", \"w\") = given"));
    EXPECT_EQ(logText(), "");
}

TEST_F(PluginStatusFileTest, OnlyAStatusOfZeroIsDone) {
    struct Row {
        const char* text;
        bool isNeeded;
    };
    const Row rows[] = {
        {"", true},
        {"{}", true},
        {"{\"OTHER\":{\"status\":0}}", true},
        {"{\"own\":{\"status\":0}}", true},
        {"{\"OWN\":{}}", true},
        {"{\"OWN\":{\"Status\":0}}", true},
        {"{\"OWN\":{\"status\":0}}", false},
        {"{\"OWN\":{\"status\":0.0}}", false},
        {"{\"OWN\":{\"status\":-0}}", false},
        {"{\"OWN\":{\"status\":-0.0}}", false},
        {"{\"OWN\":{\"status\":0e5}}", false},
        {"{\"OWN\":{\"status\":0E-999}}", false},
        {"{\"OWN\":{\"status\":0.000000}}", false},
        {"{\"OWN\":{\"status\":0.5}}", true},
        {"{\"OWN\":{\"status\":1e-300}}", true},
        {"{\"OWN\":{\"status\":-1}}", true},
        {"{\"OWN\":{\"status\":3}}", true},
        {"{\"OWN\":{\"appVersion\":\"39.0\",\"status\":1,\"migrated\":[],\"failed\":[\"a\"],"
         "\"reason\":\"\"}}",
         true},
        {"{\"OWN\":{\"appVersion\":\"39.0\",\"status\":2,\"migrated\":[\"a\"],\"failed\":[],"
         "\"reason\":\"\"}}",
         true},
        {"{\"OWN\":{\"status\":1},\"OWN\":{\"status\":0}}", false},
        {"{\"OWN\":{\"status\":0},\"OWN\":{\"status\":1}}", true},
        {"{\"\\u004fWN\":{\"status\":0}}", false},
        // Numbers that no double holds are no JSON.
        {"{\"OWN\":{\"status\":0},\"a\":1e999}", true},
        {"{\"OWN\":{\"status\":1e-999}}", true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);

        EXPECT_EQ(isNeeded(row.text), row.isNeeded);
    }
    EXPECT_EQ(logText(), "");
}

TEST_F(PluginStatusFileTest, ReadingStopsAtTheFirstWhiteSpace) {
    const std::string done = "{\"OWN\":{\"status\":0}}";
    for (const char blank : {' ', '\t', '\n', '\v', '\f'}) {
        SCOPED_TRACE(static_cast<int>(blank));

        EXPECT_FALSE(isNeeded(std::string(3, blank) + done));
        EXPECT_FALSE(isNeeded(done + blank + "what stands here is never seen"));
        EXPECT_TRUE(isNeeded("{\"OWN\":" + std::string(1, blank) + "{\"status\":0}}"));
    }
    EXPECT_FALSE(isNeeded("\r\n" + done + "\r\n"));
    EXPECT_TRUE(isNeeded("{\"OWN\":{\"status\":0,\"migrated\":[\"two words\"],\"failed\":[]}}"));
}

TEST_F(PluginStatusFileTest, WhatIsNoWhiteSpaceIsHandedOver) {
    const std::string done = "{\"OWN\":{\"status\":0}}";

    EXPECT_TRUE(isNeeded(done + std::string(1, '\0')));
    EXPECT_TRUE(isNeeded("\xEF\xBB\xBF" + done));
    EXPECT_TRUE(isNeeded("\xC2\xA0" + done));
    EXPECT_FALSE(isNeeded("{\"OWN\":{\"status\":0,\"x\":\"\xC2\xA0\xE4\xB8\xAD\\u0000\"}}"));
}

TEST_F(PluginStatusFileTest, AnEntryWithAReasonIsCutAndTakesTheOthersAlong) {
    writeStatus(R"({"KEPT":{"status":0},"OWN":{"status":1,"reason":"Failed to copy a"}})");

    EXPECT_EQ(written(0), R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":[],"failed":[]}})");
}

TEST_F(PluginStatusFileTest, AFileThatCanBeNeitherOpenedNorMadeIsLoggedAndMigrationIsNeeded) {
    makeFolder(statusFile);

    EXPECT_TRUE(permissions.isMigrationNeeded());

    EXPECT_FALSE(permissions.m_migrationStatus);
    EXPECT_EQ(logText(), "Failed to create " + path() + "\n");
}

TEST_F(PluginStatusFileTest, AFileThatIsHeldOpenCountsAsNotToBeMade) {
    writeStatus("{\"OWN\":{\"status\":0}}");
    const HeldOpen held(statusFile);

    EXPECT_TRUE(permissions.isMigrationNeeded());

    EXPECT_FALSE(permissions.m_migrationStatus);
    EXPECT_EQ(logText(), "Failed to create " + path() + "\n");
}

TEST_F(PluginStatusFileTest, AFailedParseLeavesAnEmptyDocumentWhateverWasHandedBack) {
    using FailedParse = standin::JsonHabits::FailedParse;
    for (const FailedParse habit :
         {FailedParse::EmptyObject, FailedParse::Null, FailedParse::LeftOver}) {
        machine.state.json.failedParse = habit;
        writeStatus("{\"KEPT\":1");

        EXPECT_EQ(written(0),
                  R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":[],"failed":[]}})");
    }
}

TEST_F(PluginStatusFileTest, SuccessIsRecordedWithWhatWasMigrated) {
    permissions.m_plugins = {L"b", L"a"};
    permissions.m_migratedPlugins = {L"b", L"a"};
    permissions.m_migrationFailureReason = L"not recorded";

    EXPECT_EQ(written(0),
              R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":["b","a"],"failed":[]}})");
}

TEST_F(PluginStatusFileTest, FailedIsEmptyForStatusZeroWhateverTheListsSay) {
    permissions.m_plugins = {L"a", L"b"};
    permissions.m_migratedPlugins = {L"a"};

    EXPECT_EQ(written(0),
              R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":["a"],"failed":[]}})");
}

TEST_F(PluginStatusFileTest, AFailureIsRecordedWithTheRestAndTheReason) {
    permissions.m_plugins = {L"a", L"b", L"c"};
    permissions.m_migratedPlugins = {L"a"};
    permissions.m_migrationFailureReason = L"Failed to copy b";

    EXPECT_EQ(written(1),
              R"({"OWN":{"appVersion":"39.1.0","status":1,"migrated":["a"],"failed":["b","c"],)"
              R"("reason":"Failed to copy b"}})");
}

TEST_F(PluginStatusFileTest, AFailureOfStorageHasAnEmptyReasonAndNoFailedPlugin) {
    permissions.m_plugins = {L"a"};
    permissions.m_migratedPlugins = {L"a"};

    EXPECT_EQ(
        written(2),
        R"({"OWN":{"appVersion":"39.1.0","status":2,"migrated":["a"],"failed":[],"reason":""}})");
}

TEST_F(PluginStatusFileTest, EntriesOfOtherCodesAreKeptAsTheyWere) {
    writeStatus(
        R"({"ZRKLBE":{"appVersion":"12","status":1,"own":[1.5,null,true]},"X":3,"OWN":{"status":2}})");

    EXPECT_EQ(written(0), R"({"ZRKLBE":{"appVersion":"12","status":1,"own":[1.5,null,true]},"X":3,)"
                          R"("OWN":{"appVersion":"39.1.0","status":0,"migrated":[],"failed":[]}})");
}

TEST_F(PluginStatusFileTest, KeysMayBeWrittenInAnyOrder) {
    machine.state.json.reversesKeys = true;
    writeStatus(R"({"KEPT":{"a":1,"b":2}})");

    EXPECT_EQ(written(0), R"({"OWN":{"failed":[],"migrated":[],"status":0,"appVersion":"39.1.0"},)"
                          R"("KEPT":{"b":2,"a":1}})");
    EXPECT_FALSE(isNeeded(statusText()));
}

TEST_F(PluginStatusFileTest, SuccessOfTheReleaseCodeStandsForAllBuilds) {
    permissions.m_sapCode = Platform::String(L"ZRKL");
    permissions.m_migratedPlugins = {L"a"};
    const std::string entry = R"({"appVersion":"39.1.0","status":0,"migrated":["a"],"failed":[]})";

    EXPECT_EQ(written(0), "{\"ZRKL\":" + entry + ",\"ZRKLDV\":" + entry + ",\"ZRKLPR\":" + entry +
                              ",\"ZRKLBE\":" + entry + "}");
}

TEST_F(PluginStatusFileTest, AFailureOfTheReleaseCodeStandsForItselfAlone) {
    permissions.m_sapCode = Platform::String(L"ZRKL");
    writeStatus(R"({"ZRKLBE":{"status":0}})");

    EXPECT_EQ(written(2), R"({"ZRKLBE":{"status":0},"ZRKL":{"appVersion":"39.1.0","status":2,)"
                          R"("migrated":[],"failed":[],"reason":""}})");
}

TEST_F(PluginStatusFileTest, OtherCodesGainNoSiblings) {
    for (const wchar_t* sapCode : {L"ZRKLDV", L"ZRKLPR", L"ZRKLBE", L"zrkl", L"OTHER"}) {
        permissions.m_sapCode = Platform::String(sapCode);
        writeStatus("");
        const std::wstring wide(sapCode);

        EXPECT_EQ(written(0),
                  "{\"" + std::string(wide.begin(), wide.end()) +
                      R"(":{"appVersion":"39.1.0","status":0,"migrated":[],"failed":[]}})");
    }
}

TEST_F(PluginStatusFileTest, TheFileIsUtf8WithoutMarkAndWithoutLineEnd) {
    permissions.m_migratedPlugins = {L"\u00e9\u4e2d\xD83D\xDE00", L"two words", L"\"\\\n"};

    EXPECT_EQ(written(0),
              "{\"OWN\":{\"appVersion\":\"39.1.0\",\"status\":0,\"migrated\":["
              "\"\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80\",\"two words\",\"\\\"\\\\\\n\"],"
              "\"failed\":[]}}");
}

TEST_F(PluginStatusFileTest, ANameThatIsNoUtf16LeavesTheFileEmpty) {
    writeStatus(R"({"KEPT":{"status":0}})");
    permissions.m_migratedPlugins = {L"a", L"b\xD800"};

    EXPECT_EQ(written(0), "");

    EXPECT_EQ(logText(), "");
}

TEST_F(PluginStatusFileTest, AnEmptyVersionAndAnEmptyCodeAreRecordedAsTheyStand) {
    permissions.m_version = Platform::String(L"");
    permissions.m_sapCode = Platform::String(L"");

    EXPECT_EQ(written(0), R"({"":{"appVersion":"","status":0,"migrated":[],"failed":[]}})");
}

TEST_F(PluginStatusFileTest, AFileThatCannotBeOpenedForWritingIsLoggedAndKept) {
    writeStatus(R"({"KEPT":{"status":0}})");
    permissions.isMigrationNeeded();
    const HeldOpen held(statusFile, GENERIC_READ, FILE_SHARE_READ);
    machine.trace.clear();

    permissions.writeMigrationStatus(0);

    EXPECT_EQ(logText(), "Failed to open " + path() + " for reading and writing migration result\n");
    EXPECT_EQ(statusText(), R"({"KEPT":{"status":0}})");
    EXPECT_EQ(machine.trace.count("IJsonObject::SetNamedValue"), 0u);
}

TEST_F(PluginStatusFileTest, AFileThatIsStillHiddenCannotBeOpenedForWriting) {
    writeStatus("{}");
    permissions.isMigrationNeeded();
    setAttributes(statusFile, FILE_ATTRIBUTE_HIDDEN);

    permissions.writeMigrationStatus(0);

    EXPECT_EQ(logText(), "Failed to open " + path() + " for reading and writing migration result\n");
    EXPECT_EQ(statusText(), "{}");
}

TEST_F(PluginStatusFileTest, TheFileIsCutBeforeItsNewTextExists) {
    writeStatus("{}");
    permissions.isMigrationNeeded();
    std::string atFirstCall = "never called";
    machine.onCall("IActivationFactory::ActivateInstance", [&] { atFirstCall = statusText(); });

    permissions.writeMigrationStatus(0);

    EXPECT_EQ(atFirstCall, "");
}

TEST_F(PluginStatusFileTest, AWriteThatFailsIsNotLogged) {
    permissions.isMigrationNeeded();
    removeTree(statusFile);
    makeSymbolicLink("/dev/full", statusFile);

    permissions.writeMigrationStatus(0);

    EXPECT_EQ(logText(), "");
}

TEST_F(PluginStatusFileTest, WithoutADocumentAnOutcomeCannotBeRecorded) {
    permissions.m_migrationStatus.reset();

    EXPECT_THROW(permissions.writeMigrationStatus(0), Platform::NullReferenceException);

    EXPECT_EQ(statusText(), "");
}

TEST_F(PluginStatusFileTest, EntriesAreObjectsOfTheirOwn) {
    permissions.m_sapCode = Platform::String(L"ZRKL");
    permissions.isMigrationNeeded();
    machine.trace.clear();

    permissions.writeMigrationStatus(0);

    EXPECT_THAT(machine.calls({"WindowsCompareStringOrdinal"}),
                ElementsAre("WindowsCompareStringOrdinal(\"ZRKL\", \"ZRKL\", 0) = 0"));
    // Per entry one object, and an array each for "migrated" and "failed".
    EXPECT_EQ(machine.trace.count("IActivationFactory::ActivateInstance"), 12u);
}

TEST_F(PluginStatusFileTest, FailedPluginsAreThoseThatWereNotMigrated) {
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

}  // namespace
