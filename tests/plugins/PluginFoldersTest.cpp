#include "plugins/PluginFolders.h"

#include <new>
#include <stdexcept>

#include "plugins/PluginTest.h"

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

class PluginFoldersTest : public PluginTest {
protected:
    int migrate(const std::vector<std::wstring>& names, bool isSettings = false) {
        return permissions.migratePluginFolders(oldPlugins + L"\\", newPlugins + L"\\", isSettings,
                                                names, migrated);
    }

    // The shell's calls, without what is the same in each.
    std::vector<std::string> shellCalls() { return machine.calls({"SHFileOperationW"}); }

    std::string oldPath(const std::string& name) const { return narrow(oldPlugins) + "\\" + name; }
    std::string newPath(const std::string& name) const { return narrow(newPlugins) + "\\" + name; }

    std::vector<std::wstring> migrated;
};

TEST_F(PluginFoldersTest, NoNamesIsASuccessWithoutALine) {
    EXPECT_EQ(migrate({}), 0);
    EXPECT_EQ(migrate({}, true), 0);

    EXPECT_THAT(migrated, IsEmpty());
    EXPECT_THAT(machine.calls(), IsEmpty());
    EXPECT_EQ(logText(), "");
}

TEST_F(PluginFoldersTest, PluginsAreCopiedInTheOrderOfTheListAndStayWhereTheyWere) {
    addPlugin(L"b", {{L"x.js", "x"}, {L"sub\\y.js", "y"}});
    addPlugin(L"a");
    const auto before = listTree(oldPlugins);

    EXPECT_EQ(migrate({L"b", L"a"}), 0);

    EXPECT_THAT(shellCalls(), ElementsAre(copyCall(oldPath("b"), newPath("b")),
                                          copyCall(oldPath("a"), newPath("a"))));
    EXPECT_THAT(migrated, ElementsAre(L"b", L"a"));
    EXPECT_EQ(listTree(newPlugins), before);
    EXPECT_EQ(listTree(oldPlugins), before);
    EXPECT_EQ(permissions.m_migrationFailureReason, L"");
    EXPECT_EQ(logText(), "");
}

TEST_F(PluginFoldersTest, SettingsGoBelowPluginData) {
    addPlugin(L"a", {{L"LocalStorage\\x", "x"}});

    EXPECT_EQ(migrate({L"a"}, true), 0);

    EXPECT_THAT(shellCalls(), ElementsAre(copyCall(oldPath("a"), newPath("a") + "\\PluginData")));
    EXPECT_THAT(listTree(newPlugins), ElementsAre(Pair(L"a\\", ""), Pair(L"a\\PluginData\\", ""),
                                                  Pair(L"a\\PluginData\\LocalStorage\\", ""),
                                                  Pair(L"a\\PluginData\\LocalStorage\\x", "x")));
}

TEST_F(PluginFoldersTest, MissingParentsAreMadeWithoutAQuestion) {
    addPlugin(L"a");
    removeTree(rxp);

    EXPECT_EQ(migrate({L"a"}), 0);

    EXPECT_EQ(readFile(newPlugins + L"\\a\\main.js"), "code");
}

TEST_F(PluginFoldersTest, HiddenAndReadOnlyFilesAreCopiedToo) {
    addPlugin(L"a", {{L"hidden", "h"}, {L"read only", "r"}});
    setAttributes(oldPlugins + L"\\a\\hidden", FILE_ATTRIBUTE_HIDDEN);
    setAttributes(oldPlugins + L"\\a\\read only", FILE_ATTRIBUTE_READONLY);

    EXPECT_EQ(migrate({L"a"}), 0);

    EXPECT_EQ(readFile(newPlugins + L"\\a\\hidden"), "h");
    EXPECT_EQ(readFile(newPlugins + L"\\a\\read only"), "r");
}

TEST_F(PluginFoldersTest, AMissingFolderFailsAndTheRestIsNotTried) {
    addPlugin(L"a");
    addPlugin(L"c");

    EXPECT_EQ(migrate({L"a", L"b", L"c"}), 1);

    const std::vector<std::string> calls = shellCalls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[2], deleteCall(newPath("a")));
    EXPECT_THAT(migrated, ElementsAre(L"a"));  // the copy is gone, its name stays
    EXPECT_THAT(listTree(newPlugins), IsEmpty());
}

TEST_F(PluginFoldersTest, AFailureIsLoggedWithTheGrownPathsAndKeptAsTheReason) {
    addPlugin(L"a");
    machine.failNext("SHFileOperationW", 1026);

    EXPECT_EQ(migrate({L"a"}), 1);

    EXPECT_EQ(logText(), "Failed to copy a from " + oldPath("a") + "\0 to "s + newPath("a") +
                             "\0 SHFileOperation error: 1026\n"s);
    EXPECT_EQ(permissions.m_migrationFailureReason, L"Failed to copy a SHFileOperation error: 1026");
}

TEST_F(PluginFoldersTest, AFailureOfSettingsIsResultTwo) {
    addPlugin(L"a");
    machine.failNext("SHFileOperationW", 5);

    EXPECT_EQ(migrate({L"a"}, true), 2);

    EXPECT_EQ(logText(), "Failed to copy a from " + oldPath("a") + "\0 to "s + newPath("a") +
                             "\\PluginData\0 SHFileOperation error: 5\n"s);
    EXPECT_EQ(permissions.m_migrationFailureReason, L"Failed to copy a SHFileOperation error: 5");
}

TEST_F(PluginFoldersTest, EveryReturnValueButZeroIsAFailureAndKeepsItsSign) {
    addPlugin(L"a");
    std::string expected;
    for (const int code :
         {1, 2, 5, 32, 0x75, 124, 1026, 65536, 2147483647, -1, -2147024891, -2147483647 - 1}) {
        machine.faults.clear();
        machine.failNext("SHFileOperationW", static_cast<DWORD>(code));

        EXPECT_EQ(migrate({L"a"}), 1);

        expected += "Failed to copy a from " + oldPath("a") + "\0 to "s + newPath("a") +
                    "\0 SHFileOperation error: "s + std::to_string(code) + "\n";
        EXPECT_EQ(logText(), expected);
        EXPECT_EQ(permissions.m_migrationFailureReason,
                  L"Failed to copy a SHFileOperation error: " + std::to_wstring(code));
    }
    EXPECT_EQ(machine.trace.count("SHFileOperationW"), 12u);  // no retry
}

TEST_F(PluginFoldersTest, AbortedOperationsAreNotLookedAt) {
    addPlugin(L"a");
    const auto abort = replaceImport<decltype(&::SHFileOperationW)>(
        "SHFileOperationW", [](auto, LPSHFILEOPSTRUCTW operation) -> int {
            operation->fAnyOperationsAborted = TRUE;
            return 0;
        });

    EXPECT_EQ(migrate({L"a"}), 0);

    EXPECT_THAT(migrated, ElementsAre(L"a"));
}

TEST_F(PluginFoldersTest, EveryFieldThatIsNotNamedIsZero) {
    addPlugin(L"a");
    std::vector<SHFILEOPSTRUCTW> operations;
    const auto watch = replaceImport<decltype(&::SHFileOperationW)>(
        "SHFileOperationW", [&](auto real, LPSHFILEOPSTRUCTW operation) -> int {
            operations.push_back(*operation);
            return real(operation);
        });

    EXPECT_EQ(migrate({L"a"}), 0);
    deleteFolder(newPlugins + L"\\a");

    ASSERT_EQ(operations.size(), 2u);
    for (const SHFILEOPSTRUCTW& operation : operations) {
        EXPECT_EQ(operation.hwnd, nullptr);
        EXPECT_EQ(operation.fAnyOperationsAborted, FALSE);
        EXPECT_EQ(operation.hNameMappings, nullptr);
        EXPECT_EQ(operation.lpszProgressTitle, nullptr);
    }
    EXPECT_EQ(operations[0].fFlags, 1556);
    EXPECT_EQ(operations[1].fFlags, 1044);
    EXPECT_EQ(operations[1].pTo, nullptr);
}

TEST_F(PluginFoldersTest, AFolderOfTheSameNameIsDeletedByTheRollbackWithWhatItHeldBefore) {
    addPlugin(L"a");
    writeFile(newPlugins + L"\\a\\older.js", "older");

    EXPECT_EQ(migrate({L"a", L"missing"}), 1);

    EXPECT_FALSE(exists(newPlugins + L"\\a"));
    EXPECT_EQ(readFile(oldPlugins + L"\\a\\main.js"), "code");
}

TEST_F(PluginFoldersTest, TheFolderWhoseCopyFailedIsNotTakenBack) {
    addPlugin(L"a");
    addPlugin(L"b", {{L"1.js", "1"}, {L"2.js", "2"}});
    const HeldOpen held(oldPlugins + L"\\b\\2.js");

    EXPECT_EQ(migrate({L"a", L"b"}), 1);

    EXPECT_FALSE(exists(newPlugins + L"\\a"));
    EXPECT_EQ(readFile(newPlugins + L"\\b\\1.js"), "1");
    EXPECT_EQ(permissions.m_migrationFailureReason, L"Failed to copy b SHFileOperation error: 32");
}

TEST_F(PluginFoldersTest, AnExceptionIsLoggedWithItsTextAndTakesTheCopiesBack) {
    addPlugin(L"a");
    addPlugin(L"b");
    int calls = 0;
    const auto refuse = replaceImport<decltype(&::SHFileOperationW)>(
        "SHFileOperationW", [&](auto real, LPSHFILEOPSTRUCTW operation) -> int {
            if (++calls == 2) throw std::runtime_error("shell gr\xC3\xBCn");
            return real(operation);
        });

    EXPECT_EQ(migrate({L"a", L"b"}), 1);

    EXPECT_EQ(logText(), "Failed to copy b from " + oldPath("b") + "\0 to "s + newPath("b") +
                             "\0 with the reasonshell gr\xC3\xBCn\n"s);
    EXPECT_EQ(permissions.m_migrationFailureReason,
              L"Failed to copy b with the reasonshell gr\u00fcn");
    EXPECT_FALSE(exists(newPlugins + L"\\a"));
    EXPECT_EQ(calls, 3);
}

TEST_F(PluginFoldersTest, AnExceptionOfTheLanguageHasItsOneWording) {
    addPlugin(L"a");
    const auto refuse = replaceImport<decltype(&::SHFileOperationW)>(
        "SHFileOperationW", [](auto, LPSHFILEOPSTRUCTW) -> int { throw std::bad_alloc(); });

    EXPECT_EQ(migrate({L"a"}, true), 2);

    EXPECT_EQ(permissions.m_migrationFailureReason,
              L"Failed to copy a with the reasonbad allocation");
}

TEST_F(PluginFoldersTest, AnExceptionWhoseTextIsNoUtf8LeavesAsARangeError) {
    addPlugin(L"a");
    const auto refuse = replaceImport<decltype(&::SHFileOperationW)>(
        "SHFileOperationW", [](auto, LPSHFILEOPSTRUCTW) -> int { throw std::runtime_error("\xFF"); });

    EXPECT_THROW(migrate({L"a"}), std::range_error);
}

TEST_F(PluginFoldersTest, OtherExceptionsAreNotCaught) {
    addPlugin(L"a");
    const auto refuse = replaceImport<decltype(&::SHFileOperationW)>(
        "SHFileOperationW", [](auto, LPSHFILEOPSTRUCTW) -> int { throw 7; });

    EXPECT_THROW(migrate({L"a"}), int);
    makeFolder(newPlugins + L"\\a");
    EXPECT_THROW(deleteFolder(newPlugins + L"\\a"), int);
}

}  // namespace
