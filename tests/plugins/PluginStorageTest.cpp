#include <stdexcept>
#include <utility>

#include "plugins/PluginFolders.h"
#include "plugins/PluginTest.h"

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

// Storage folders, after the settings have been copied.
class PluginStorageTest : public PluginTest {
protected:
    // A plug-in's settings with these storage folders, and their copy in the new place.
    void addCopied(const std::wstring& name, std::initializer_list<std::wstring> storages) {
        FilesByName files = {{L"settings.json", "settings"}};
        for (const std::wstring& storage : storages)
            files[storage + L"\\data"] = "data";
        addSettings(name, files);
        for (const auto& [path, content] : files)
            writeFile(newSettings + L"\\" + name + L"\\PluginData\\" + path, content);
    }

    int migrate(const std::wstring& storage, const std::vector<std::wstring>& names,
                const std::vector<std::wstring>& migrated) {
        return migrateStorageFolder(oldSettings + L"\\", newSettings + L"\\", storage, names,
                                    migrated);
    }

    // The lines before a copy: both paths have grown by then.
    std::string copyLines(const std::string& name, const std::string& storage) const {
        return "old storageFolder path = " + narrow(oldSettings) + "\\" + name + "\\" + storage +
               "\0\nnew storageFolder path = "s + narrow(newSettings) + "\\" + name + "\0\n"s;
    }
    std::string deleteLine(const std::string& name, const std::string& storage) const {
        return "migrated storageFolder to be deleted = " + narrow(newSettings) + "\\" + name +
               "\\PluginData\\" + storage + "\n";
    }
};

TEST_F(PluginStorageTest, NoNamesIsASuccessWithoutALine) {
    EXPECT_EQ(migrate(L"LocalStorage", {}, {}), 0);

    EXPECT_THAT(machine.calls(), IsEmpty());
    EXPECT_EQ(logText(), "");
}

TEST_F(PluginStorageTest, StorageEndsUpBesideThePluginData) {
    addCopied(L"a", {L"LocalStorage"});
    const auto before = listTree(oldSettings);

    EXPECT_EQ(migrate(L"LocalStorage", {L"a"}, {L"a"}), 0);

    EXPECT_THAT(listTree(newSettings),
                ElementsAre(Pair(L"a\\", ""), Pair(L"a\\LocalStorage\\", ""),
                            Pair(L"a\\LocalStorage\\data", "data"), Pair(L"a\\PluginData\\", ""),
                            Pair(L"a\\PluginData\\settings.json", "settings")));
    EXPECT_EQ(listTree(oldSettings), before);
    EXPECT_EQ(logText(), copyLines("a", "LocalStorage") + deleteLine("a", "LocalStorage"));
}

TEST_F(PluginStorageTest, AllCopiesComeBeforeTheFirstDelete) {
    addCopied(L"a", {L"SecureStorage"});
    addCopied(L"b", {});
    addCopied(L"c", {L"SecureStorage"});

    EXPECT_EQ(migrate(L"SecureStorage", {L"c", L"b", L"a"}, {L"c", L"b", L"a"}), 0);

    EXPECT_EQ(logText(), copyLines("c", "SecureStorage") + copyLines("a", "SecureStorage") +
                             deleteLine("c", "SecureStorage") + deleteLine("a", "SecureStorage"));
    const std::string from = narrow(oldSettings) + "\\";
    const std::string to = narrow(newSettings) + "\\";
    EXPECT_THAT(machine.calls({"SHFileOperationW"}),
                ElementsAre(copyCall(from + "c\\SecureStorage", to + "c"),
                            copyCall(from + "a\\SecureStorage", to + "a"),
                            deleteCall(to + "c\\PluginData\\SecureStorage"),
                            deleteCall(to + "a\\PluginData\\SecureStorage")));
}

TEST_F(PluginStorageTest, APluginWithoutTheStorageGetsNoLineAndNoCall) {
    addCopied(L"a", {L"SecureStorage"});

    EXPECT_EQ(migrate(L"LocalStorage", {L"a"}, {L"a"}), 0);

    EXPECT_EQ(machine.trace.count("SHFileOperationW"), 0u);
    EXPECT_EQ(logText(), "");
}

TEST_F(PluginStorageTest, AFailedCopyTakesAllSettingsBack) {
    addCopied(L"a", {L"LocalStorage"});
    addCopied(L"b", {L"LocalStorage"});
    addCopied(L"c", {});
    machine.failNth("SHFileOperationW", 2, static_cast<DWORD>(-7));

    EXPECT_EQ(migrate(L"LocalStorage", {L"a", L"b", L"c"}, {L"a", L"b", L"c"}), 2);

    EXPECT_THAT(listTree(newSettings), IsEmpty());
    EXPECT_EQ(logText(), copyLines("a", "LocalStorage") + copyLines("b", "LocalStorage") +
                             "Failed to copy bLocalStorage from " + narrow(oldSettings) +
                             "\\b\\LocalStorage\0 to "s + narrow(newSettings) +
                             "\\b\0 SHFileOperation error: -7\n"s);
    EXPECT_EQ(permissions.m_migrationFailureReason, L"");
}

TEST_F(PluginStorageTest, OnlyTheNamedFoldersAreTakenBack) {
    addCopied(L"a", {L"LocalStorage"});
    addCopied(L"b", {L"LocalStorage"});
    machine.failNext("SHFileOperationW", 5);

    EXPECT_EQ(migrate(L"LocalStorage", {L"a", L"b"}, {L"b"}), 2);

    EXPECT_TRUE(exists(newSettings + L"\\a"));
    EXPECT_FALSE(exists(newSettings + L"\\b"));
}

TEST_F(PluginStorageTest, AFileThatIsHeldOpenFailsTheCopy) {
    addCopied(L"a", {L"LocalStorage"});
    const HeldOpen held(oldSettings + L"\\a\\LocalStorage\\data");

    EXPECT_EQ(migrate(L"LocalStorage", {L"a"}, {L"a"}), 2);

    EXPECT_THAT(listTree(newSettings), IsEmpty());
}

TEST_F(PluginStorageTest, AnExceptionIsLoggedWithItsTextAndTakesAllSettingsBack) {
    addCopied(L"a", {L"LocalStorage"});
    bool hasThrown = false;
    const auto refuse = replaceImport<decltype(&::SHFileOperationW)>(
        "SHFileOperationW", [&](auto real, LPSHFILEOPSTRUCTW operation) -> int {
            if (!std::exchange(hasThrown, true)) throw std::runtime_error("because");
            return real(operation);
        });

    EXPECT_EQ(migrate(L"LocalStorage", {L"a"}, {L"a"}), 2);

    EXPECT_EQ(logText(), copyLines("a", "LocalStorage") + "Failed to copy aLocalStorage from " +
                             narrow(oldSettings) + "\\a\\LocalStorage\0 to "s +
                             narrow(newSettings) + "\\a\0 with the reasonbecause\n"s);
    EXPECT_THAT(listTree(newSettings), IsEmpty());
}

TEST_F(PluginStorageTest, AFailedDeleteOfTheDuplicateIsLoggedAndNoFailure) {
    addCopied(L"a", {L"LocalStorage"});
    addCopied(L"b", {L"LocalStorage"});
    const HeldOpen held(newSettings + L"\\a\\PluginData\\LocalStorage\\data", GENERIC_READ,
                        FILE_SHARE_READ);

    EXPECT_EQ(migrate(L"LocalStorage", {L"a", L"b"}, {L"a", L"b"}), 0);

    EXPECT_EQ(logText(), copyLines("a", "LocalStorage") + copyLines("b", "LocalStorage") +
                             deleteLine("a", "LocalStorage") + "Failed to delete " +
                             narrow(newSettings) +
                             "\\a\\PluginData\\LocalStorage\0 SHFileOperation error: 32\n"s +
                             deleteLine("b", "LocalStorage"));
    EXPECT_TRUE(exists(newSettings + L"\\a\\LocalStorage\\data"));
    EXPECT_TRUE(exists(newSettings + L"\\a\\PluginData\\LocalStorage\\data"));
    EXPECT_FALSE(exists(newSettings + L"\\b\\PluginData\\LocalStorage"));
}

}  // namespace
