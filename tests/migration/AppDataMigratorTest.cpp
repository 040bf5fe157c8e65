#include "migration/MigratorTest.h"

#include <type_traits>

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr bool kEnterprise = true;
constexpr bool kSingleUser = false;

class AppDataMigratorTest : public MigratorTest {};

TEST_F(AppDataMigratorTest, FixedNamesAreThose) {
    const AppDataMigrator& migrator = start();

    EXPECT_EQ(migrator.packagesFolderName, L"Packages");
    EXPECT_EQ(migrator.packageNameBase, L"Velta.LC.QK");
    EXPECT_EQ(migrator.devSuffix, L".Dev");
    EXPECT_EQ(migrator.preReleaseSuffix, L".PreRelease");
    EXPECT_EQ(migrator.betaSuffix, L".Beta");
    EXPECT_EQ(migrator.oldPublisherId, L"qzw4mhtrvb2ne");
    EXPECT_EQ(migrator.newPublisherId, L"kt83f9rd2xj6a");
    EXPECT_EQ(
        migrator.classesAppModelKey,
        L"Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\SystemAppData");
    EXPECT_EQ(migrator.usersAppModelKey,
              L"SOFTWARE\\Classes\\Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\"
              L"AppModel\\SystemAppData");
    EXPECT_EQ(migrator.persistedStorageKey, L"PersistedStorageItemTable");
    EXPECT_EQ(migrator.mruKey, L"MostRecentlyUsed");
    EXPECT_EQ(migrator.falKey, L"ManagedByApp");
    EXPECT_EQ(migrator.statusFileName, L"mig_status.json");
    EXPECT_EQ(migrator.autosavedFilesName, L"autosavedFiles");
    EXPECT_EQ(migrator.autosavedUntitledFilesName, L"autosavedUntitledFiles");
    EXPECT_TRUE(std::has_virtual_destructor_v<AppDataMigrator>);
}

TEST_F(AppDataMigratorTest, SingleUserIsTheOneWhoIsLoggedOn) {
    addUser(kBob, L"Bob");

    const AppDataMigrator migrator(L"Velta.QK", kSingleUser);

    EXPECT_FALSE(migrator.isEnterpriseDeployment);
    ASSERT_EQ(migrator.users.size(), 1u);
    const auto& [sid, roots] = *migrator.users.begin();
    EXPECT_EQ(sid, kAnn);
    EXPECT_EQ(roots.sourceRoot, inOld(L""));
    EXPECT_EQ(roots.targetRoot, inNew(L""));
    EXPECT_THAT(migrator.copiedItems, IsEmpty());
    EXPECT_THAT(migrator.failedItems, IsEmpty());
    EXPECT_EQ(shortLog(),
              "Build Type '3\n"
              "old package name 'Velta.LC.QK_qzw4mhtrvb2ne' new package name 'Velta.QK_kt83f9rd2xj6a\n"
              "Logged on user SID : S-1-5-21-10-20-30-1001\n"
              "For user : S-1-5-21-10-20-30-1001 getting profile dir.\n"
              "For Valid User SID : S-1-5-21-10-20-30-1001 getting profile dir.\n"
              "Profile dir is : ~\\Ann.\n"
              "For user : S-1-5-21-10-20-30-1002 getting profile dir.\n"
              "For Valid User SID : S-1-5-21-10-20-30-1002 getting profile dir.\n"
              "Profile dir is : ~\\Bob.\n"
              "Users Profile (CSIDL_PROFILE) succeded and its value is: C:\\Users\\Admin\n"
              "Trying to fetch local appdata folder on user SID : S-1-5-21-10-20-30-1001 with "
              "ProfilePath : ~\\Ann\n"
              "AppData in Shell Folders = ~\\Ann\\Local\n");
}

TEST_F(AppDataMigratorTest, EveryUserHasFourFoldersOnEachSide) {
    const AppDataMigrator& migrator = start();

    EXPECT_THAT(migrator.sourceFolders,
                ElementsAre(Pair(
                    kAnn, ElementsAre(Pair(0, inOld(L"LocalState")), Pair(1, inOld(L"Settings")),
                                      Pair(2, inOld(L"LocalCache")), Pair(3, inOld(L"TempState"))))));
    EXPECT_THAT(migrator.targetFolders,
                ElementsAre(Pair(
                    kAnn, ElementsAre(Pair(0, inNew(L"LocalState")), Pair(1, inNew(L"Settings")),
                                      Pair(2, inNew(L"LocalCache")), Pair(3, inNew(L"TempState"))))));
}

TEST_F(AppDataMigratorTest, MakingItTouchesNoFile) {
    const AppDataMigrator migrator(L"Velta.QK", kEnterprise);

    EXPECT_THAT(machine.calls({"CreateDirectoryW", "CreateFileW", "CopyFileW", "DeleteFileW",
                               "FindFirstFileW", "RegSetValueExW"}),
                IsEmpty());
    EXPECT_THAT(machine.calls({"GetFileAttributesW"}), ::testing::SizeIs(1));  // of the profile
}

TEST_F(AppDataMigratorTest, EnterpriseTakesEveryUserWithAFolderInOrderOfTheSid) {
    // A shorter number sorts behind a longer one: code units are compared.
    addUser(L"S-1-5-21-10-20-30-999", L"Zoe");
    addUser(kBob, L"Bob");
    addProfile(kCarol, L"Carol");  // without a hive, with the usual folder
    makeFolder(scratch / L"Carol\\AppData\\Local");
    addProfile(L"S-1-5-21-10-20-30-1004", L"Dan");  // without any folder

    const AppDataMigrator migrator(L"Velta.QK", kEnterprise);

    EXPECT_TRUE(migrator.isEnterpriseDeployment);
    std::vector<std::wstring> sids;
    for (const auto& [sid, roots] : migrator.users)
        sids.push_back(sid);
    EXPECT_THAT(sids, ElementsAre(kAnn, kBob, kCarol, L"S-1-5-21-10-20-30-999"));
    EXPECT_EQ(migrator.users.at(kCarol).sourceRoot,
              scratch / (std::wstring(L"Carol\\AppData\\Local\\Packages\\") + kOldName));
    EXPECT_EQ(migrator.users.at(kBob).targetRoot, inNew(L"", L"Bob"));
    EXPECT_EQ(migrator.sourceFolders.size(), 4u);
    EXPECT_EQ(migrator.targetFolders.at(kCarol).size(), 4u);
}

TEST_F(AppDataMigratorTest, SidsAreOrderedByCodeUnit) {
    AppDataMigrator& migrator = start();
    migrator.users = {{L"\uFFFD", {}}, {L"\xD83D\xDE00", {}}, {L"b", {}}, {L"B", {}}, {L"Ba", {}}};

    std::vector<std::wstring> sids;
    for (const auto& [sid, roots] : migrator.users)
        sids.push_back(sid);

    EXPECT_THAT(sids, ElementsAre(L"B", L"Ba", L"b", L"\xD83D\xDE00", L"\uFFFD"));
}

TEST_F(AppDataMigratorTest, UnknownLoggedOnUserLeavesNobody) {
    logOn(L"");

    const AppDataMigrator migrator(L"Velta.QK", kSingleUser);

    EXPECT_THAT(migrator.users, IsEmpty());
    EXPECT_THAT(migrator.sourceFolders, IsEmpty());
    EXPECT_THAT(migrator.targetFolders, IsEmpty());
    EXPECT_THAT(
        shortLog(),
        EndsWith("Users Profile (CSIDL_PROFILE) succeded and its value is: C:\\Users\\Admin\n"));
}

TEST_F(AppDataMigratorTest, UnreadableLoggedOnUserLeavesNobody) {
    registry.restrictAccess(HKEY_LOCAL_MACHINE, kLogonUi);

    AppDataMigrator& migrator = start();

    EXPECT_THAT(migrator.users, IsEmpty());
    EXPECT_TRUE(migrator.run());
    EXPECT_EQ(newLog(), "App Data Migration not needed for any one.\n");
}

TEST_F(AppDataMigratorTest, EmptyProfileListLeavesNobody) {
    registry.removeKey(HKEY_LOCAL_MACHINE, profileKey(kAnn));

    const AppDataMigrator migrator(L"Velta.QK", kEnterprise);

    EXPECT_THAT(migrator.users, IsEmpty());
    EXPECT_THAT(migrator.sourceFolders, IsEmpty());
    EXPECT_EQ(
        shortLog(),
        "Build Type '3\n"
        "old package name 'Velta.LC.QK_qzw4mhtrvb2ne' new package name 'Velta.QK_kt83f9rd2xj6a\n");
}

TEST_F(AppDataMigratorTest, UserWithoutHiveIsLeftOutOnASingleUsersMachine) {
    registry.unloadHive(kAnn);
    makeFolder(scratch / L"Ann\\AppData\\Local");

    const AppDataMigrator migrator(L"Velta.QK", kSingleUser);

    EXPECT_THAT(migrator.users, IsEmpty());
    EXPECT_THAT(shortLog(), EndsWith("NO AppData in User Shell Folders\n"));
}

TEST_F(AppDataMigratorTest, UserWhoIsAddedAgainIsOverwritten) {
    AppDataMigrator& migrator = start();
    migrator.users[kAnn] = {L"before", L"before"};

    migrator.addUser(kAnn);

    EXPECT_EQ(migrator.users.size(), 1u);
    EXPECT_EQ(migrator.users.at(kAnn).sourceRoot, inOld(L""));
    EXPECT_EQ(migrator.users.at(kAnn).targetRoot, inNew(L""));
}

TEST_F(AppDataMigratorTest, UserWithoutAFolderIsNotAdded) {
    AppDataMigrator& migrator = start();

    migrator.addUser(kCarol);

    EXPECT_EQ(migrator.users.size(), 1u);
    EXPECT_EQ(newLog(),
              "Users Profile (CSIDL_PROFILE) succeded and its value is: C:\\Users\\Admin\n");
}

TEST_F(AppDataMigratorTest, FolderIndexThatIsThereKeepsItsPath) {
    AppDataMigrator& migrator = start();

    migrator.addFolderPaths(0, L"Other");
    migrator.addFolderPaths(4, L"Other");

    EXPECT_EQ(migrator.sourceFolders.at(kAnn).at(0), inOld(L"LocalState"));
    EXPECT_EQ(migrator.targetFolders.at(kAnn).at(0), inNew(L"LocalState"));
    EXPECT_EQ(migrator.sourceFolders.at(kAnn).at(4), inOld(L"Other"));
    EXPECT_EQ(migrator.targetFolders.at(kAnn).at(4), inNew(L"Other"));
}

TEST_F(AppDataMigratorTest, ExceptionLeavesTheConstructor) {
    const auto place = replaceImport<decltype(&::SHGetFolderPathW)>(
        "SHGetFolderPathW", [](auto, auto...) -> HRESULT { throw std::bad_alloc(); });

    EXPECT_THROW(AppDataMigrator(L"Velta.QK", kSingleUser), std::bad_alloc);
}

TEST_F(AppDataMigratorTest, EndingItDoesNothingToTheMachine) {
    std::optional<AppDataMigrator> migrator(std::in_place, L"Velta.QK", kSingleUser);
    newLog();
    machine.trace.clear();

    migrator.reset();

    EXPECT_THAT(machine.calls(), IsEmpty());
    EXPECT_EQ(newLog(), "");
}

TEST_F(AppDataMigratorTest, LocalAppDataFolderOf259CharactersIsTaken) {
    const std::wstring folder = pathOfLength(scratch.path(), 259);
    setFolder(kAnn, kShellFoldersKey, L"Local AppData", folder);

    const AppDataMigrator migrator(L"Velta.QK", kSingleUser);

    // What a component that does not fit leaves behind is the system's business.
    ASSERT_EQ(migrator.users.size(), 1u);
    EXPECT_LT(migrator.users.at(kAnn).sourceRoot.size(), 260u);
    EXPECT_EQ(migrator.sourceFolders.at(kAnn).size(), 4u);
}

TEST_F(AppDataMigratorTest, LocalAppDataFolderOf260CharactersEndsTheProcess) {
    setFolder(kAnn, kShellFoldersKey, L"Local AppData", pathOfLength(scratch.path(), 260));

    EXPECT_EXIT(AppDataMigrator(L"Velta.QK", kSingleUser),
                ::testing::ExitedWithCode(static_cast<int>(0xC0000409)), "");
}

}  // namespace
