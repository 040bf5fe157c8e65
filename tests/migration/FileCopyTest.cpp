#include "migration/MigratorTest.h"

#include <cwchar>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr MigratedFile kPreferences = {0, L"preferences.json", false};
constexpr MigratedFile kSettings = {1, L"settings.dat", false};

class FileCopyTest : public MigratorTest {
protected:
    const std::wstring source = inOld(L"LocalState\\preferences.json");
    const std::wstring target = inNew(L"LocalState\\preferences.json");
};

const std::string kStarted =
    "copyFile started from '~\\Ann\\Local\\Packages\\Velta.LC.QK_qzw4mhtrvb2ne\\LocalState\\"
    "preferences.json' to '~\\Ann\\Local\\Packages\\Velta.QK_kt83f9rd2xj6a\\LocalState\\"
    "preferences.json\n";
const std::string kBothPaths =
    "'~\\Ann\\Local\\Packages\\Velta.LC.QK_qzw4mhtrvb2ne\\LocalState\\preferences.json' to "
    "'~\\Ann\\Local\\Packages\\Velta.QK_kt83f9rd2xj6a\\LocalState\\preferences.json'";
const std::string kTarget =
    "~\\Ann\\Local\\Packages\\Velta.QK_kt83f9rd2xj6a\\LocalState\\preferences.json";
const std::string kAbsent =
    "The file to be migrated '~\\Ann\\Local\\Packages\\Velta.LC.QK_qzw4mhtrvb2ne\\LocalState\\"
    "preferences.json' does not exist\n";

TEST_F(FileCopyTest, PathsOfAFileAreFoundOnBothSides) {
    const AppDataMigrator& migrator = start();
    PathBuffer from;
    PathBuffer to;

    migrator.resolveFilePaths(kAnn, 1, L"settings.dat", from, to);
    EXPECT_EQ(from, inOld(L"Settings\\settings.dat"));
    EXPECT_EQ(to, inNew(L"Settings\\settings.dat"));

    migrator.resolveFilePaths(kAnn, 0, L"", from, to);
    EXPECT_EQ(from, inOld(L"LocalState"));
    EXPECT_EQ(to, inNew(L"LocalState"));
}

TEST_F(FileCopyTest, PathsOfAnUnknownUserOrFolderStayAsTheyAre) {
    AppDataMigrator& migrator = start();
    PathBuffer from = L"from";
    PathBuffer to = L"to";

    migrator.resolveFilePaths(kBob, 0, L"x", from, to);
    migrator.resolveFilePaths(kAnn, 4, L"x", from, to);
    EXPECT_STREQ(from, L"from");
    EXPECT_STREQ(to, L"to");

    migrator.sourceFolders.clear();
    migrator.resolveFilePaths(kAnn, 0, L"x", from, to);
    EXPECT_STREQ(from, L"from");
    EXPECT_EQ(to, inNew(L"LocalState\\x"));
}

TEST_F(FileCopyTest, NewFileIsCopiedIntoANewFolder) {
    writeFile(source, "preferences");
    const AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.copyFile(kAnn, kPreferences));

    EXPECT_EQ(readFile(target), "preferences");
    EXPECT_EQ(readFile(source), "preferences");
    EXPECT_EQ(newLog(), kStarted + "Copied file " + kBothPaths + "\n");
}

TEST_F(FileCopyTest, EmptyFileIsMadeThenCopiedOver) {
    writeFile(source, "preferences");
    makeFolder(inNew(L"LocalState"));
    const AppDataMigrator& migrator = start();

    migrator.copyFile(kAnn, kPreferences);

    const std::string from =
        "\"~\\Ann\\Local\\Packages\\Velta.LC.QK_qzw4mhtrvb2ne\\LocalState\\preferences.json\"";
    EXPECT_THAT(
        shortCalls({"CreateFileW", "CloseHandle", "CopyFileW"}),
        ElementsAre(
            "CreateFileW(\"" + kTarget + "\", 0x40000000, 0x0, null, 2, 0x80, null) = file#1",
            "CloseHandle(file#1) = 1", "CopyFileW(" + from + ", \"" + kTarget + "\", 0) = 1"));
}

TEST_F(FileCopyTest, ExistingFileIsOverwrittenWithoutBeingMadeFirst) {
    writeFile(source, "new");
    writeFile(target, "old and longer");
    const AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.copyFile(kAnn, kPreferences));

    EXPECT_EQ(readFile(target), "new");
    EXPECT_EQ(newLog(), kStarted + "Copied file " + kBothPaths + " (Overwritten) \n");
    const std::string from =
        "\"~\\Ann\\Local\\Packages\\Velta.LC.QK_qzw4mhtrvb2ne\\LocalState\\preferences.json\"";
    EXPECT_THAT(shortCalls({"GetFileAttributesW", "CreateDirectoryW", "CreateFileW", "CopyFileW"}),
                ElementsAre(::testing::StartsWith("GetFileAttributesW(" + from + ")"),
                            ::testing::StartsWith("GetFileAttributesW(\"" + kTarget + "\")"),
                            "CopyFileW(" + from + ", \"" + kTarget + "\", 0) = 1"));
}

TEST_F(FileCopyTest, MissingFileIsNoFailure) {
    const AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.copyFile(kAnn, kPreferences));

    EXPECT_EQ(newLog(), kStarted + kAbsent);
    EXPECT_FALSE(exists(inNew(L"")));
}

TEST_F(FileCopyTest, FolderInPlaceOfTheFileCountsAsMissing) {
    makeFolder(source);
    const AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.copyFile(kAnn, kPreferences));

    EXPECT_EQ(newLog(), kStarted + kAbsent);
}

TEST_F(FileCopyTest, FolderOfTheFilesNameInTheTargetIsAFailure) {
    writeFile(source, "preferences");
    makeFolder(target);
    const AppDataMigrator& migrator = start();

    EXPECT_FALSE(migrator.copyFile(kAnn, kPreferences));

    EXPECT_EQ(newLog(), kStarted + "Could not create a file '" + kTarget + "'. Error code: 5\n");
    EXPECT_THAT(machine.calls({"CopyFileW"}), IsEmpty());
}

TEST_F(FileCopyTest, FileInPlaceOfTheTargetsFolderIsAFailure) {
    writeFile(source, "preferences");
    writeFile(inNew(L"LocalState"), "text");
    const AppDataMigrator& migrator = start();

    EXPECT_FALSE(migrator.copyFile(kAnn, kPreferences));

    EXPECT_EQ(newLog(),
              kStarted + "Could not create sub directories for " + kTarget + "'. Error code: 183\n");
    EXPECT_THAT(machine.calls({"CreateFileW", "CopyFileW"}), IsEmpty());
}

TEST_F(FileCopyTest, LockedSourceIsAFailureThatLeavesTheEmptyFile) {
    writeFile(source, "preferences");
    const AppDataMigrator& migrator = start();
    const HeldOpen held(source);

    EXPECT_FALSE(migrator.copyFile(kAnn, kPreferences));

    EXPECT_EQ(newLog(), kStarted + "ERROR: Could not copy " + kBothPaths + ". Error: 32\n");
    EXPECT_EQ(readFile(target), "");
}

TEST_F(FileCopyTest, LockedTargetIsAFailureAndStaysAsItIs) {
    writeFile(source, "new");
    writeFile(target, "old");
    const AppDataMigrator& migrator = start();
    {
        const HeldOpen held(target);

        EXPECT_FALSE(migrator.copyFile(kAnn, kPreferences));
    }

    EXPECT_EQ(newLog(), kStarted + "ERROR: Could not copy " + kBothPaths + ". Error: 32\n");
    EXPECT_EQ(readFile(target), "old");
}

TEST_F(FileCopyTest, HiddenAndReadOnlyTargetsAreRefused) {
    writeFile(source, "new");
    for (const DWORD attribute : {DWORD{FILE_ATTRIBUTE_HIDDEN}, DWORD{FILE_ATTRIBUTE_READONLY}}) {
        SCOPED_TRACE(attribute);
        writeFile(target, "old");
        setAttributes(target, attribute);
        const AppDataMigrator& migrator = start();

        EXPECT_FALSE(migrator.copyFile(kAnn, kPreferences));

        EXPECT_EQ(newLog(), kStarted + "ERROR: Could not copy " + kBothPaths + ". Error: 5\n");
        EXPECT_EQ(readFile(target), "old");
        setAttributes(target, FILE_ATTRIBUTE_NORMAL);
    }
}

TEST_F(FileCopyTest, SourceThatVanishesBeforeTheCopyIsAFailure) {
    writeFile(source, "preferences");
    const AppDataMigrator& migrator = start();
    machine.onCall("CreateFileW", [&] { removeTree(source); });

    EXPECT_FALSE(migrator.copyFile(kAnn, kPreferences));

    EXPECT_EQ(newLog(), kStarted + "ERROR: Could not copy " + kBothPaths + ". Error: 2\n");
}

TEST_F(FileCopyTest, FailedCloseOfTheEmptyFileIsRaised) {
    writeFile(source, "preferences");
    const AppDataMigrator& migrator = start();

    EXPECT_EXIT(
        {
            machine.failNext("CloseHandle", ERROR_INVALID_HANDLE);
            migrator.copyFile(kAnn, kPreferences);
        },
        ::testing::ExitedWithCode(static_cast<int>(0x80070006)), "");
}

TEST_F(FileCopyTest, TargetWithoutSeparatorNeedsNoFolder) {
    writeFile(source, "preferences");
    AppDataMigrator& migrator = start();
    migrator.targetFolders[kAnn][0] = L"";
    wchar_t before[MAX_PATH];
    ::GetCurrentDirectoryW(MAX_PATH, before);
    ::SetCurrentDirectoryW(scratch.path().c_str());

    const bool isCopied = migrator.copyFile(kAnn, kPreferences);

    ::SetCurrentDirectoryW(before);
    EXPECT_TRUE(isCopied);
    EXPECT_EQ(readFile(scratch / L"preferences.json"), "preferences");
    EXPECT_THAT(machine.calls({"CreateDirectoryW"}), IsEmpty());
}

TEST_F(FileCopyTest, CopiedAndFailedFilesAreRecorded) {
    writeFile(source, "preferences");
    writeFile(inOld(L"Settings\\settings.dat"), "settings");
    makeFolder(inNew(L"Settings\\settings.dat"));
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateFile(kAnn, kPreferences));
    EXPECT_FALSE(migrator.migrateFile(kAnn, kSettings));

    EXPECT_THAT(migrator.copiedItems, ElementsAre(Pair(kAnn, Items{L"preferences.json"})));
    EXPECT_THAT(migrator.failedItems, ElementsAre(Pair(kAnn, Items{L"settings.dat"})));
}

TEST_F(FileCopyTest, MissingFileIsRecordedAsCopied) {
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateFile(kAnn, kSettings));

    EXPECT_THAT(migrator.copiedItems, ElementsAre(Pair(kAnn, Items{L"settings.dat"})));
    EXPECT_THAT(migrator.failedItems, IsEmpty());
}

TEST_F(FileCopyTest, SkippedRowIsPassedOver) {
    writeFile(source, "preferences");
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateFile(kAnn, {0, L"preferences.json", true}));

    EXPECT_THAT(migrator.copiedItems, IsEmpty());
    EXPECT_THAT(migrator.failedItems, IsEmpty());
    EXPECT_THAT(machine.calls(), IsEmpty());
    EXPECT_EQ(newLog(), "");
}

TEST_F(FileCopyTest, FileStaysInTheOldPackageInAnEnterpriseToo) {
    writeFile(source, "preferences");
    AppDataMigrator& migrator = start(true);

    EXPECT_TRUE(migrator.migrateFile(kAnn, kPreferences));

    EXPECT_EQ(readFile(source), "preferences");
    EXPECT_EQ(readFile(target), "preferences");
}

TEST_F(FileCopyTest, ItemsAreRecordedInTheOrderOfCompletion) {
    AppDataMigrator::UserItems items;

    AppDataMigrator::recordItem(kBob, L"b", items);
    AppDataMigrator::recordItem(kAnn, L"z", items);
    AppDataMigrator::recordItem(kAnn, L"a", items);
    AppDataMigrator::recordItem(kAnn, L"z", items);

    EXPECT_THAT(items, ElementsAre(Pair(kAnn, Items{L"z", L"a", L"z"}), Pair(kBob, Items{L"b"})));
}

}  // namespace
