#include <algorithm>

#include "plugins/PluginTest.h"

using ::testing::IsEmpty;

namespace {

// Three plug-ins with settings and both storages, and one copy that fails.
class PluginFailuresTest : public PluginTest {
protected:
    using Tree = std::map<std::wstring, std::string>;

    // Copies by their place in the run, the first of each kind. Deletes stand between the storages.
    static constexpr size_t kPlugins = 1;
    static constexpr size_t kSettings = 4;
    static constexpr size_t kLocalStorages = 7;
    static constexpr size_t kSecureStorages = 13;

    PluginFailuresTest() {
        for (const wchar_t* name : {L"a", L"b", L"c"}) {
            addPlugin(name, {{L"main.js", "code"}, {L"sub\\x.js", "x"}});
            addSettings(name, {{L"settings.json", "settings"},
                               {L"LocalStorage\\l", "local"},
                               {L"SecureStorage\\k", "secure"}});
        }
        m_before = listTree(localState);
    }

    // All that is in the new places but the status file.
    Tree newTree() const {
        Tree tree = listTree(rxp);
        tree.erase(L"Plugins\\External\\.pluginsMigrationStatus.json");
        return tree;
    }
    Tree emptyNewTree() const { return {{L"Plugins\\", ""}, {L"Plugins\\External\\", ""}}; }
    // The parents of the settings stay when these have been taken back.
    Tree newTreeAfterRollback() const {
        Tree tree = emptyNewTree();
        for (const wchar_t* folder :
             {L"PluginsStorage\\", L"PluginsStorage\\OWN\\", L"PluginsStorage\\OWN\\External\\"})
            tree[folder];
        return tree;
    }
    Tree completeNewTree() const {
        Tree tree = newTreeAfterRollback();
        for (const std::wstring name : {L"a", L"b", L"c"}) {
            const std::wstring plugin = L"Plugins\\External\\" + name + L"\\";
            const std::wstring settings = L"PluginsStorage\\OWN\\External\\" + name + L"\\";
            for (const std::wstring& folder :
                 {plugin, plugin + L"sub\\", settings, settings + L"PluginData\\",
                  settings + L"LocalStorage\\", settings + L"SecureStorage\\"})
                tree[folder];
            tree[plugin + L"main.js"] = "code";
            tree[plugin + L"sub\\x.js"] = "x";
            tree[settings + L"PluginData\\settings.json"] = "settings";
            tree[settings + L"LocalStorage\\l"] = "local";
            tree[settings + L"SecureStorage\\k"] = "secure";
        }
        return tree;
    }

    static std::string listText(std::initializer_list<const char*> names) {
        std::string text;
        for (const char* name : names)
            text += (text.empty() ? "\"" : ",\"") + std::string(name) + "\"";
        return "[" + text + "]";
    }
    static std::string record(int status, const std::string& migrated, const std::string& failed,
                              const std::string& reason) {
        return R"({"OWN":{"appVersion":"39.1.0","status":)" + std::to_string(status) +
               R"(,"migrated":)" + migrated + R"(,"failed":)" + failed + R"(,"reason":")" + reason +
               "\"}}";
    }

    // Nothing is lost, and the next run completes what this one could not.
    void expectOldTreeWholeAndNextRunComplete() {
        EXPECT_EQ(listTree(localState), m_before);
        machine.faults.clear();

        run();

        EXPECT_EQ(newTree(), completeNewTree());
        EXPECT_THAT(listTree(localState), IsEmpty());
        EXPECT_EQ(statusText(), R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":)"
                                R"(["a","b","c"],"failed":[]}})");
    }

private:
    Tree m_before;
};

TEST_F(PluginFailuresTest, WithoutAFailureAllIsMoved) {
    expectOldTreeWholeAndNextRunComplete();
}

TEST_F(PluginFailuresTest, FirstPluginFails) {
    machine.failNth("SHFileOperationW", kPlugins, 5);

    run();

    EXPECT_EQ(newTree(), emptyNewTree());
    EXPECT_EQ(statusText(), record(1, listText({}), listText({"a", "b", "c"}),
                                   "Failed to copy a SHFileOperation error: 5"));
    EXPECT_EQ(machine.trace.count("SHFileOperationW"), 1u);
    expectOldTreeWholeAndNextRunComplete();
}

TEST_F(PluginFailuresTest, MiddlePluginFails) {
    machine.failNth("SHFileOperationW", kPlugins + 1, 5);

    run();

    EXPECT_EQ(newTree(), emptyNewTree());
    EXPECT_EQ(statusText(), record(1, listText({"a"}), listText({"b", "c"}),
                                   "Failed to copy b SHFileOperation error: 5"));
    expectOldTreeWholeAndNextRunComplete();
}

TEST_F(PluginFailuresTest, LastPluginFails) {
    machine.failNth("SHFileOperationW", kPlugins + 2, 5);

    run();

    EXPECT_EQ(newTree(), emptyNewTree());
    EXPECT_EQ(statusText(), record(1, listText({"a", "b"}), listText({"c"}),
                                   "Failed to copy c SHFileOperation error: 5"));
    expectOldTreeWholeAndNextRunComplete();
}

TEST_F(PluginFailuresTest, FirstSettingsFail) {
    machine.failNth("SHFileOperationW", kSettings, 5);

    run();

    EXPECT_EQ(newTree(), emptyNewTree());
    EXPECT_EQ(statusText(), record(2, listText({"a", "b", "c"}), listText({}),
                                   "Failed to copy a SHFileOperation error: 5"));
    expectOldTreeWholeAndNextRunComplete();
}

TEST_F(PluginFailuresTest, MiddleSettingsFail) {
    machine.failNth("SHFileOperationW", kSettings + 1, 5);

    run();

    EXPECT_EQ(newTree(), newTreeAfterRollback());
    EXPECT_EQ(statusText(), record(2, listText({"a", "b", "c"}), listText({}),
                                   "Failed to copy b SHFileOperation error: 5"));
    expectOldTreeWholeAndNextRunComplete();
}

TEST_F(PluginFailuresTest, LastSettingsFail) {
    machine.failNth("SHFileOperationW", kSettings + 2, 5);

    run();

    EXPECT_EQ(newTree(), newTreeAfterRollback());
    EXPECT_EQ(statusText(), record(2, listText({"a", "b", "c"}), listText({}),
                                   "Failed to copy c SHFileOperation error: 5"));
    expectOldTreeWholeAndNextRunComplete();
}

// In all of these the reason stays empty, so that the next run finds a whole record, of a failure.
class StorageFailuresTest : public PluginFailuresTest,
                            public ::testing::WithParamInterface<size_t> {};

TEST_P(StorageFailuresTest, AFailedStorageTakesAllBack) {
    machine.failNth("SHFileOperationW", GetParam(), 5);

    run();

    EXPECT_EQ(newTree(), newTreeAfterRollback());
    EXPECT_EQ(statusText(), record(2, listText({"a", "b", "c"}), listText({}), ""));
    expectOldTreeWholeAndNextRunComplete();
}

INSTANTIATE_TEST_SUITE_P(LocalStorage, StorageFailuresTest, ::testing::Values(7, 8, 9));
INSTANTIATE_TEST_SUITE_P(SecureStorage, StorageFailuresTest, ::testing::Values(13, 14, 15));

TEST_F(PluginFailuresTest, SecureStorageFailsWithoutALineForStoragesAlreadyMoved) {
    machine.failNth("SHFileOperationW", kSecureStorages, 5);

    run();

    const std::string text = logText();
    const size_t failure = text.find("Failed to copy aSecureStorage");
    ASSERT_NE(failure, std::string::npos);
    EXPECT_EQ(text.find("LocalStorage", failure), std::string::npos);
}

TEST_F(PluginFailuresTest, WhatAPartialCopyLeftStaysInTheNewPlace) {
    {
        const HeldOpen held(oldPlugins + L"\\b\\main.js");

        run();
    }

    Tree expected = emptyNewTree();
    expected[L"Plugins\\External\\b\\"];
    expected[L"Plugins\\External\\b\\sub\\"];
    expected[L"Plugins\\External\\b\\sub\\x.js"] = "x";
    EXPECT_EQ(newTree(), expected);
    EXPECT_EQ(statusText(), record(1, listText({"a"}), listText({"b", "c"}),
                                   "Failed to copy b SHFileOperation error: 32"));

    // The next run's copy lands inside the folder that was left.
    run();

    EXPECT_EQ(readFile(newPlugins + L"\\b\\b\\main.js"), "code");
    EXPECT_EQ(readFile(newPlugins + L"\\a\\main.js"), "code");
    EXPECT_THAT(listTree(localState), IsEmpty());
}

TEST_F(PluginFailuresTest, WhatPartialSettingsLeftStaysInTheNewPlace) {
    const HeldOpen held(oldSettings + L"\\c\\LocalStorage\\l");

    run();

    Tree expected = newTreeAfterRollback();
    const std::wstring left = L"PluginsStorage\\OWN\\External\\c\\";
    expected[left];
    expected[left + L"PluginData\\"];
    expected[left + L"PluginData\\LocalStorage\\"];
    expected[left + L"PluginData\\SecureStorage\\"];
    expected[left + L"PluginData\\SecureStorage\\k"] = "secure";
    expected[left + L"PluginData\\settings.json"] = "settings";
    EXPECT_EQ(newTree(), expected);
}

TEST_F(PluginFailuresTest, AFileInTheWayOfAPluginFailsItsCopy) {
    writeFile(newPlugins + L"\\b", "in the way");

    run();

    EXPECT_EQ(readFile(newPlugins + L"\\b"), "in the way");
    EXPECT_EQ(statusText(), record(1, listText({"a"}), listText({"b", "c"}),
                                   "Failed to copy b SHFileOperation error: 126"));
    removeTree(newPlugins + L"\\b");
    expectOldTreeWholeAndNextRunComplete();
}

TEST_F(PluginFailuresTest, APluginThatVanishesAfterItWasListedFails) {
    machine.onCall("FindClose", [&] {
        if (exists(oldPlugins + L"\\b")) removeTree(oldPlugins + L"\\b");
    });

    run();

    EXPECT_EQ(newTree(), emptyNewTree());
    EXPECT_NE(statusText().find(R"("failed":["b","c"],"reason":"Failed to copy b SHFile)"),
              std::string::npos);
    EXPECT_EQ(readFile(oldPlugins + L"\\a\\main.js"), "code");
    EXPECT_EQ(readFile(oldPlugins + L"\\c\\main.js"), "code");
}

TEST_F(PluginFailuresTest, ARunThatFailsAgainStartsFromTheStart) {
    machine.failNth("SHFileOperationW", kSettings + 1, 5);
    run();
    machine.faults.clear();
    machine.failNth("SHFileOperationW", kPlugins, 6);

    run();

    EXPECT_EQ(newTree(), newTreeAfterRollback());
    EXPECT_EQ(statusText(), record(1, listText({}), listText({"a", "b", "c"}),
                                   "Failed to copy a SHFileOperation error: 6"));
    expectOldTreeWholeAndNextRunComplete();
}

}  // namespace
