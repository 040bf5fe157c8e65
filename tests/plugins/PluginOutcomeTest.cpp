#include <utility>

#include "platform/PlatformException.h"
#include "plugins/PluginMigrationLines.h"

using namespace std::string_literals;
using ::testing::ElementsAre;

namespace {

// The end of a run: the record, its hidden attribute, what is deleted.
class PluginOutcomeTest : public PluginMigrationLines {
protected:
    DWORD statusAttributes() const { return attributesOf(statusFile) & FILE_ATTRIBUTE_HIDDEN; }

    static std::string rollbackLine() {
        return "Migrating plugin settings failed, delete migrated plugins from new location\n";
    }
};

TEST_F(PluginOutcomeTest, OldFoldersThatCannotBeDeletedAreLoggedAndBothAreTried) {
    addPlugin(L"a");
    addSettings(L"a");
    const HeldOpen heldPlugin(oldPlugins + L"\\a\\main.js", GENERIC_READ, FILE_SHARE_READ);
    const HeldOpen heldSettings(oldSettings + L"\\a\\settings.json", GENERIC_READ, FILE_SHARE_READ);

    run();

    EXPECT_EQ(statusText(), success(R"("a")"));
    EXPECT_EQ(logText(), firstLine() + pluginLines() + settingsLines() + successLine() +
                             "Failed to delete " + narrow(oldPlugins) +
                             "\\\0 SHFileOperation error: 32\n"s + "Failed to delete " +
                             narrow(oldSettings) + "\\\0 SHFileOperation error: 32\n"s);
    EXPECT_EQ(readFile(newPlugins + L"\\a\\main.js"), "code");
}

TEST_F(PluginOutcomeTest, AnUnwritableFileIsLoggedAndTheOldFoldersGoAllTheSame) {
    addPlugin(L"a");
    makeFolder(statusFile);

    run();

    EXPECT_EQ(logText(), firstLine() + "Failed to create " + narrow(statusFile) + "\n" +
                             pluginLines() + settingsLines() + "Failed to open " + narrow(statusFile) +
                             " for reading and writing migration result\n" + successLine());
    EXPECT_FALSE(exists(oldPlugins));
    EXPECT_EQ(readFile(newPlugins + L"\\a\\main.js"), "code");
}

// Required: the shell's return value alone decides, whatever it has done.
TEST_F(PluginOutcomeTest, WhatTheShellCallsCopiedCountsAsCopiedAndItsOldFolderGoes) {
    addPlugin(L"a");
    {
        const auto idle = replaceImport<decltype(&::SHFileOperationW)>(
            "SHFileOperationW", [](auto real, LPSHFILEOPSTRUCTW operation) -> int {
                return operation->wFunc == FO_COPY ? 0 : real(operation);
            });

        run();
    }

    EXPECT_EQ(statusText(), success(R"("a")"));
    EXPECT_FALSE(exists(oldPlugins));
    EXPECT_FALSE(exists(newPlugins + L"\\a"));
}

// Required: a listing that breaks off counts as complete.
TEST_F(PluginOutcomeTest, WhatABrokenListingDoesNotNameGoesWithTheOldLocation) {
    addPlugin(L"a");
    addPlugin(L"b");
    machine.failNth("FindNextFileW", 3, ERROR_SHARING_VIOLATION);  // behind ".", ".." and "a"

    run();

    EXPECT_EQ(statusText(), success(R"("a")"));
    EXPECT_FALSE(exists(oldPlugins));
    EXPECT_FALSE(exists(newPlugins + L"\\b"));
}

// Required: an unreadable location counts as an empty one.
TEST_F(PluginOutcomeTest, PluginsInALocationThatCannotBeReadGoWithIt) {
    addPlugin(L"a");
    machine.failNext("FindFirstFileW", ERROR_ACCESS_DENIED);

    run();

    EXPECT_EQ(statusText(), success(""));
    EXPECT_FALSE(exists(oldPlugins));
    EXPECT_FALSE(exists(newPlugins + L"\\a"));
}

TEST_F(PluginOutcomeTest, AfterAnUnwritableFileTheNextRunMigratesAnEmptyOldLocation) {
    addPlugin(L"a");
    makeFolder(statusFile);
    run();
    removeTree(statusFile);

    run();

    EXPECT_EQ(statusText(), success(""));
    EXPECT_EQ(readFile(newPlugins + L"\\a\\main.js"), "code");
}

TEST_F(PluginOutcomeTest, AFileThatCouldNotBeMadeButThenCanBeWrittenEndsInANullReference) {
    addPlugin(L"a");
    removeTree(newPlugins);

    EXPECT_THROW(run(), Platform::NullReferenceException);

    EXPECT_EQ(statusText(), "");
    EXPECT_EQ(readFile(oldPlugins + L"\\a\\main.js"), "code");
    EXPECT_EQ(logText(), firstLine() + "Failed to create " + narrow(statusFile) + "\n" +
                             pluginLines() + settingsLines());
}

TEST_F(PluginOutcomeTest, TheFileThatWasMadeJustNowBecomesHidden) {
    run();

    EXPECT_EQ(statusAttributes(), DWORD{FILE_ATTRIBUTE_HIDDEN});
    const std::string path = narrow(statusFile);
    EXPECT_THAT(machine.calls({"SetFileAttributesW"}),
                ElementsAre("SetFileAttributesW(\"" + path + "\", 0x22) = 1"));
}

TEST_F(PluginOutcomeTest, TheFileThatWasMadeJustNowBecomesHiddenAfterAFailureToo) {
    addPlugin(L"a");
    machine.failNext("SHFileOperationW", 5);

    run();

    EXPECT_EQ(statusAttributes(), DWORD{FILE_ATTRIBUTE_HIDDEN});
}

TEST_F(PluginOutcomeTest, TheHiddenAttributeIsLiftedAroundTheWriteAndTheOthersAreKept) {
    writeStatus(R"({"OWN":{"status":1}})");
    setAttributes(statusFile, FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE);
    machine.trace.clear();

    run();

    const std::string path = narrow(statusFile);
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

TEST_F(PluginOutcomeTest, AHiddenFileIsHiddenAgainAfterAFailure) {
    addPlugin(L"a");
    writeStatus(R"({"OWN":{"status":1}})");
    setAttributes(statusFile, FILE_ATTRIBUTE_HIDDEN);
    machine.failNext("SHFileOperationW", 5);

    run();

    EXPECT_EQ(statusAttributes(), DWORD{FILE_ATTRIBUTE_HIDDEN});
    EXPECT_NE(statusText().find(R"("status":1)"), std::string::npos);
}

TEST_F(PluginOutcomeTest, AFailedAttributeReadShowsNoAttributeAndNothingIsSet) {
    machine.failFrom("GetFileAttributesW", 1, ERROR_ACCESS_DENIED);

    run();

    EXPECT_EQ(machine.trace.count("GetFileAttributesW"), 2u);
    EXPECT_EQ(machine.trace.count("SetFileAttributesW"), 0u);
    EXPECT_EQ(statusAttributes(), 0u);
    EXPECT_EQ(statusText(), success(""));
}

TEST_F(PluginOutcomeTest, AFailedAttributeWriteChangesNothingElse) {
    addPlugin(L"a");
    machine.failNext("SetFileAttributesW", ERROR_ACCESS_DENIED);

    run();

    EXPECT_EQ(statusAttributes(), 0u);
    EXPECT_EQ(statusText(), success(R"("a")"));
    EXPECT_FALSE(exists(oldPlugins));
    EXPECT_EQ(logText(), firstLine() + pluginLines() + settingsLines() + successLine());
}

TEST_F(PluginOutcomeTest, AFileThatVanishesBeforeTheWriteIsMadeAnewAndHidden) {
    addPlugin(L"a");
    bool isFirst = true;
    machine.onCall("SHFileOperationW", [&] {
        if (std::exchange(isFirst, false)) removeTree(statusFile);
    });

    run();

    EXPECT_EQ(statusText(), success(R"("a")"));
    EXPECT_EQ(statusAttributes(), DWORD{FILE_ATTRIBUTE_HIDDEN});
}

TEST_F(PluginOutcomeTest, TheFileIsWrittenBeforeTheRollback) {
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
                             narrow(oldSettings) + "\\s\0 to "s + narrow(newSettings) +
                             "\\s\\PluginData\0 SHFileOperation error: 7\n"s + rollbackLine());
}

TEST_F(PluginOutcomeTest, AfterAPluginFailureNothingMoreIsSaidOrDeleted) {
    addPlugin(L"a");
    addPlugin(L"b");
    addSettings(L"a");
    machine.failNth("SHFileOperationW", 2, 7);

    run();

    EXPECT_EQ(logText(), firstLine() + pluginLines() + "Failed to copy b from " + narrow(oldPlugins) +
                             "\\b\0 to "s + narrow(newPlugins) + "\\b\0 SHFileOperation error: 7\n"s);
    EXPECT_EQ(machine.trace.count("SHFileOperationW"), 3u);  // the third took a back
    EXPECT_EQ(statusText(),
              R"({"OWN":{"appVersion":"39.1.0","status":1,"migrated":["a"],"failed":["b"],)"
              R"("reason":"Failed to copy b SHFileOperation error: 7"}})");
}

TEST_F(PluginOutcomeTest, ARollbackThatCannotDeleteIsLogged) {
    addPlugin(L"a");
    addSettings(L"s");
    machine.failNth("SHFileOperationW", 2, 7);
    machine.failNth("SHFileOperationW", 3, 32);

    run();

    EXPECT_TRUE(exists(newPlugins + L"\\a"));
    EXPECT_NE(logText().find(rollbackLine() + "Failed to delete " + narrow(newPlugins) +
                             "\\a\0 SHFileOperation error: 32\n"s),
              std::string::npos);
}

}  // namespace
