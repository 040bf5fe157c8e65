#include "migration/MigratorTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr bool kEnterprise = true;

using Tree = std::map<std::wstring, std::string>;

class LocalStateFoldersTest : public MigratorTest {
protected:
    LocalStateFoldersTest() { makeFolder(inOld(L"LocalState")); }

    // A path in LocalState of the old or of the new package.
    std::wstring from(const std::wstring& relative) const {
        return inOld(L"LocalState\\" + relative);
    }
    std::wstring to(const std::wstring& relative) const {
        return inNew(L"LocalState\\" + relative);
    }
};

const std::string kSource = "~\\Ann\\Local\\Packages\\Velta.LC.QK_qzw4mhtrvb2ne\\LocalState";
const std::string kTarget = "~\\Ann\\Local\\Packages\\Velta.QK_kt83f9rd2xj6a\\LocalState";

std::string copying(const std::string& name) {
    return "Recursively copying '" + kSource + "\\" + name + "' into '" + kTarget + "'\n";
}

TEST_F(LocalStateFoldersTest, SubFoldersAreCopiedAndRecordedInListingOrder) {
    writeFile(from(L"projects\\deep\\a.txt"), "a");
    writeFile(from(L"Cache\\b.txt"), "b");
    writeFile(from(L"\u00E9t\u00E9\\c.txt"), "c");
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_THAT(migrator.copiedItems,
                ElementsAre(Pair(kAnn, Items{L"Cache", L"projects", L"\u00E9t\u00E9"})));
    EXPECT_THAT(migrator.failedItems, IsEmpty());
    EXPECT_EQ(listTree(inNew(L"LocalState")), listTree(inOld(L"LocalState")));
    EXPECT_EQ(newLog(), copying("Cache") + copying("projects") + "Recursively copying '" + kSource +
                            "\\projects\\deep' into '" + kTarget + "\\projects'\n" +
                            copying("\xE9t\xE9"));
}

TEST_F(LocalStateFoldersTest, MissingLocalStateLeavesItsLineOpen) {
    removeTree(inOld(L"LocalState"));
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateLocalStateFolders(kAnn));

    log->beginLine() << "next" << std::endl;
    EXPECT_EQ(newLog(),
              "Source LocalState folder '" + kSource + "' does not exist. Nothing to copy.[]next\n");
    EXPECT_THAT(migrator.copiedItems, IsEmpty());
    EXPECT_THAT(migrator.failedItems, IsEmpty());
}

TEST_F(LocalStateFoldersTest, FileInPlaceOfLocalStateCountsAsMissing) {
    removeTree(inOld(L"LocalState"));
    writeFile(inOld(L"LocalState"), "a file");
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_EQ(newLog(),
              "Source LocalState folder '" + kSource + "' does not exist. Nothing to copy.");
}

TEST_F(LocalStateFoldersTest, LocalStateThatCannotBeListedIsAFailureThatIsNotRecorded) {
    AppDataMigrator& migrator = start();
    const HeldOpen held(inOld(L"LocalState"));

    EXPECT_FALSE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_EQ(newLog(), "Error enumerating files in '" + kSource + "'. Error code: 32\n");
    EXPECT_THAT(migrator.copiedItems, IsEmpty());
    EXPECT_THAT(migrator.failedItems, IsEmpty());
}

TEST_F(LocalStateFoldersTest, FilesAreNotItsBusiness) {
    writeFile(from(L"preferences.json"), "x");
    writeFile(from(L"other.txt"), "x");
    writeFile(from(L"VCPLocalLogs.txt"), "x");
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_EQ(newLog(), "");
    EXPECT_THAT(migrator.copiedItems, IsEmpty());
    EXPECT_FALSE(exists(inNew(L"")));
}

TEST_F(LocalStateFoldersTest, LocalLogsAreLeftOutAtTheTopOnly) {
    writeFile(from(L"VCPLocalLogs\\a.txt"), "a");
    writeFile(from(L"other\\VCPLocalLogs\\b.txt"), "b");
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_THAT(migrator.copiedItems, ElementsAre(Pair(kAnn, Items{L"other"})));
    EXPECT_EQ(listTree(inNew(L"LocalState")), (Tree{{L"other\\", ""},
                                                    {L"other\\VCPLocalLogs\\", ""},
                                                    {L"other\\VCPLocalLogs\\b.txt", "b"}}));
}

TEST_F(LocalStateFoldersTest, LocalLogsAreKnownByTheirExactName) {
    makeFolder(from(L"vcplocallogs"));
    makeFolder(from(L"VCPLocalLogs2"));
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_THAT(migrator.copiedItems,
                ElementsAre(Pair(kAnn, Items{L"vcplocallogs", L"VCPLocalLogs2"})));
}

TEST_F(LocalStateFoldersTest, EmptySubFolderIsMadeAndRecorded) {
    makeFolder(from(L"empty"));
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_EQ(listTree(inNew(L"LocalState")), (Tree{{L"empty\\", ""}}));
    EXPECT_THAT(migrator.copiedItems, ElementsAre(Pair(kAnn, Items{L"empty"})));
}

TEST_F(LocalStateFoldersTest, NameThatTheLogCannotHoldIsCarriedOverAllTheSame) {
    writeFile(from(L"\u4E2D\u6587 \xD83D\xDE00\\x.txt"), "x");
    writeFile(from(L"z\\y.txt"), "y");
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_THAT(migrator.copiedItems,
                ElementsAre(Pair(kAnn, Items{L"z", L"\u4E2D\u6587 \xD83D\xDE00"})));
    EXPECT_EQ(listTree(inNew(L"LocalState")), listTree(inOld(L"LocalState")));
}

TEST_F(LocalStateFoldersTest, FailedSubFolderIsRecordedAndTheOthersGoOn) {
    makeFolder(from(L"a"));
    writeFile(from(L"b\\x.txt"), "x");
    makeFolder(from(L"c"));
    makeFolder(from(L"d"));
    writeFile(to(L"b"), "a file");
    AppDataMigrator& migrator = start();
    const HeldOpen held(from(L"c"));

    EXPECT_FALSE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_THAT(migrator.copiedItems, ElementsAre(Pair(kAnn, Items{L"a", L"d"})));
    EXPECT_THAT(migrator.failedItems, ElementsAre(Pair(kAnn, Items{L"b", L"c"})));
    EXPECT_EQ(newLog(), copying("a") + copying("b") + "Error creating folder '" + kTarget +
                            "\\b'. Error code: 183\n" + copying("c") + "Error enumerating files in '" +
                            kSource + "\\c'. Error code: 32\n" + copying("d"));
}

TEST_F(LocalStateFoldersTest, FileThatFailsInsideDoesNotFailTheFolder) {
    writeFile(from(L"a\\x.txt"), "x");
    makeFolder(to(L"a\\x.txt"));
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_THAT(migrator.copiedItems, ElementsAre(Pair(kAnn, Items{L"a"})));
    EXPECT_THAT(migrator.failedItems, IsEmpty());
}

TEST_F(LocalStateFoldersTest, CopyKeepsTheSource) {
    writeFile(from(L"a\\x.txt"), "x");
    AppDataMigrator& migrator = start();

    migrator.migrateLocalStateFolders(kAnn);

    EXPECT_EQ(readFile(from(L"a\\x.txt")), "x");
    EXPECT_THAT(machine.calls({"DeleteFileW", "RemoveDirectoryW"}), IsEmpty());
}

TEST_F(LocalStateFoldersTest, EnterpriseRemovesAFolderOfFilesAlone) {
    writeFile(from(L"files\\x.txt"), "x");
    writeFile(from(L"files\\y.txt"), "y");
    makeFolder(from(L"empty"));
    AppDataMigrator& migrator = start(kEnterprise);

    EXPECT_TRUE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_THAT(listTree(inOld(L"LocalState")), IsEmpty());
    EXPECT_EQ(
        listTree(inNew(L"LocalState")),
        (Tree{{L"empty\\", ""}, {L"files\\", ""}, {L"files\\x.txt", "x"}, {L"files\\y.txt", "y"}}));
    EXPECT_THAT(migrator.copiedItems, ElementsAre(Pair(kAnn, Items{L"empty", L"files"})));
    EXPECT_THAT(shortCalls({"RemoveDirectoryW"}),
                ElementsAre("RemoveDirectoryW(\"" + kSource + "\\empty\") = 1",
                            "RemoveDirectoryW(\"" + kSource + "\\files\") = 1"));
}

TEST_F(LocalStateFoldersTest, EnterpriseKeepsTheEmptyShellOfATree) {
    writeFile(from(L"tree\\x.txt"), "x");
    writeFile(from(L"tree\\inner\\y.txt"), "y");
    AppDataMigrator& migrator = start(kEnterprise);

    EXPECT_TRUE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_EQ(listTree(inOld(L"LocalState")), (Tree{{L"tree\\", ""}, {L"tree\\inner\\", ""}}));
    EXPECT_EQ(readFile(to(L"tree\\inner\\y.txt")), "y");
    EXPECT_THAT(migrator.copiedItems, ElementsAre(Pair(kAnn, Items{L"tree"})));
    EXPECT_THAT(shortCalls({"RemoveDirectoryW"}),
                ElementsAre("RemoveDirectoryW(\"" + kSource + "\\tree\") = 0, error 145"));
}

TEST_F(LocalStateFoldersTest, EnterpriseKeepsAFileThatWasNotCopied) {
    writeFile(from(L"files\\x.txt"), "x");
    writeFile(from(L"files\\y.txt"), "y");
    makeFolder(to(L"files\\x.txt"));
    AppDataMigrator& migrator = start(kEnterprise);

    EXPECT_TRUE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_EQ(listTree(inOld(L"LocalState")), (Tree{{L"files\\", ""}, {L"files\\x.txt", "x"}}));
    EXPECT_THAT(migrator.copiedItems, ElementsAre(Pair(kAnn, Items{L"files"})));
    EXPECT_THAT(migrator.failedItems, IsEmpty());
}

TEST_F(LocalStateFoldersTest, EnterpriseDoesNotRemoveAFailedFolder) {
    makeFolder(from(L"a"));
    writeFile(to(L"a"), "a file");
    AppDataMigrator& migrator = start(kEnterprise);

    EXPECT_FALSE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_TRUE(exists(from(L"a")));
    EXPECT_THAT(machine.calls({"RemoveDirectoryW"}), IsEmpty());
}

TEST_F(LocalStateFoldersTest, EnterpriseLeavesLocalLogsAndFilesWhereTheyAre) {
    writeFile(from(L"VCPLocalLogs\\a.txt"), "a");
    writeFile(from(L"preferences.json"), "p");
    AppDataMigrator& migrator = start(kEnterprise);

    EXPECT_TRUE(migrator.migrateLocalStateFolders(kAnn));

    EXPECT_EQ(
        listTree(inOld(L"LocalState")),
        (Tree{{L"VCPLocalLogs\\", ""}, {L"VCPLocalLogs\\a.txt", "a"}, {L"preferences.json", "p"}}));
}

}  // namespace
