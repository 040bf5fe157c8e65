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
};

TEST_F(PluginStatusFileTest, WithoutAFileAnEmptyOneIsMadeAndMigrationIsNeeded) {
    EXPECT_TRUE(permissions.isMigrationNeeded());

    EXPECT_EQ(statusText(), "");
    EXPECT_TRUE(permissions.m_migrationStatus);
    EXPECT_THAT(machine.calls({"_wfopen"}),
                ElementsAre("_wfopen(\"" + narrow(statusFile) + "\", \"r\") = null, error 2",
                            "_wfopen(\"" + narrow(statusFile) + "\", \"w\") = given"));
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
    EXPECT_EQ(logText(), "Failed to create " + narrow(statusFile) + "\n");
}

TEST_F(PluginStatusFileTest, AFileThatIsHeldOpenCountsAsNotToBeMade) {
    writeStatus("{\"OWN\":{\"status\":0}}");
    const HeldOpen held(statusFile);

    EXPECT_TRUE(permissions.isMigrationNeeded());

    EXPECT_FALSE(permissions.m_migrationStatus);
    EXPECT_EQ(logText(), "Failed to create " + narrow(statusFile) + "\n");
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

}  // namespace
