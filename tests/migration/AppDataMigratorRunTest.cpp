#include "migration/MigrationRunTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

class AppDataMigratorRunTest : public MigrationRunTest {};

TEST_F(AppDataMigratorRunTest, SingleUsersDataIsCarriedOver) {
    fillOld();
    AppDataMigrator& migrator = start();
    const Tree before = listTree(inOld(L""));

    EXPECT_TRUE(migrator.run());

    EXPECT_EQ(newLog(), began(kAnnSid) + hasOld() + copied("LocalState\\preferences.json") +
                            copied("Settings\\settings.dat") +
                            copying("LocalState\\empty", "LocalState") +
                            copying("LocalState\\projects", "LocalState") +
                            copying("LocalState\\projects\\deep", "LocalState\\projects") +
                            registryBegins(kAnnSid) + registryLines(kAnnSid) + wroteStatus() +
                            ended(kAnnSid) + kComplete);
    EXPECT_EQ(listTree(inNew(L"")),
              (Tree{{L"LocalState\\", ""},
                    {L"LocalState\\empty\\", ""},
                    {L"LocalState\\mig_status.json",
                     statusText("success",
                                "\"preferences.json\" ,\"settings.dat\" ,\"empty\" ,\"projects\" "
                                ",\"MRURegistryEntries\" ,\"FALRegistryEntries\"",
                                "")},
                    {L"LocalState\\preferences.json", "preferences"},
                    {L"LocalState\\projects\\", ""},
                    {L"LocalState\\projects\\deep\\", ""},
                    {L"LocalState\\projects\\deep\\a.qk", "a"},
                    {L"Settings\\", ""},
                    {L"Settings\\settings.dat", "settings"}}));
    EXPECT_EQ(listTree(inOld(L"")), before);
}

TEST_F(AppDataMigratorRunTest, FilesThenFoldersThenRegistryThenStatus) {
    fillOld();
    AppDataMigrator& migrator = start();

    migrator.run();

    std::vector<std::string> order;
    for (const standin::Call& call : machine.trace.all()) {
        if (call.name != "CopyFileW" && call.name != "RegCopyTreeW" && call.name != "WriteFile")
            continue;
        order.push_back(call.name);
    }
    EXPECT_THAT(order, ElementsAre("CopyFileW", "CopyFileW", "CopyFileW", "RegCopyTreeW",
                                   "RegCopyTreeW", "RegCopyTreeW", "RegCopyTreeW", "WriteFile"));
}

TEST_F(AppDataMigratorRunTest, NobodyNeedsItOnceTheStatusFilesAreThere) {
    addUser(kBob, L"Bob");
    fillOld();
    // Whatever they say, they are not read.
    writeFile(statusFile(), statusText("error", "", "\"settings.dat\""));
    writeFile(statusFile(L"Bob"), "");
    AppDataMigrator& migrator = start(kEnterprise);

    EXPECT_TRUE(migrator.run());

    const auto notNeeded = [](const std::string& sid, const std::string& user) {
        return "Migration status file '" + newFolder(user) +
               "\\LocalState\\mig_status.json' exists. for user sid " + sid +
               " App Data Migration not needed.\n";
    };
    EXPECT_EQ(newLog(), notNeeded(kAnnSid, "Ann") + notNeeded(kBobSid, "Bob") +
                            "App Data Migration not needed for any one.\n");
    EXPECT_THAT(migrator.users, IsEmpty());
    EXPECT_THAT(shortCalls({"GetFileAttributesW"}), ::testing::SizeIs(2));
    EXPECT_THAT(machine.calls({"CreateFileW", "CopyFileW", "FindFirstFileW", "RegCreateKeyExW",
                               "CreateDirectoryW"}),
                IsEmpty());
}

TEST_F(AppDataMigratorRunTest, UserWithAStatusFileIsLeftOutAndTheOtherIsMigrated) {
    addUser(kBob, L"Bob");
    writeFile(statusFile(), "anything");
    makeFolder(inNew(L"LocalState", L"Bob"));
    AppDataMigrator& migrator = start(kEnterprise);

    EXPECT_TRUE(migrator.run());

    EXPECT_THAT(migrator.users, ElementsAre(Pair(kBob, ::testing::_)));
    EXPECT_EQ(readFile(statusFile()), "anything");
    EXPECT_TRUE(exists(statusFile(L"Bob")));
    EXPECT_THAT(newLog(), HasSubstr("App Data Migration not needed.\n" + began(kBobSid, "Bob")));
}

TEST_F(AppDataMigratorRunTest, FolderOfTheStatusFilesNameDoesNotCount) {
    makeFolder(statusFile());
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.run());

    EXPECT_EQ(newLog(),
              began(kAnnSid) + hasNoOld() + filesMissing() + noLocalState() + registryBegins(kAnnSid) +
                  registryLines(kAnnSid) + "Could not create status file '" + newFolder() +
                  "\\LocalState\\mig_status.json'. Error code: 5\n" + ended(kAnnSid) + kComplete);
}

TEST_F(AppDataMigratorRunTest, UserWithoutOldPackageStillGetsAStatusFile) {
    makeFolder(inNew(L"LocalState"));
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.run());

    EXPECT_EQ(newLog(), began(kAnnSid) + hasNoOld() + filesMissing() + noLocalState() +
                            registryBegins(kAnnSid) + registryLines(kAnnSid) + wroteStatus() +
                            ended(kAnnSid) + kComplete);
    EXPECT_EQ(readFile(statusFile()), statusText("success",
                                                 "\"preferences.json\" ,\"settings.dat\" "
                                                 ",\"MRURegistryEntries\" ,\"FALRegistryEntries\"",
                                                 ""));
}

TEST_F(AppDataMigratorRunTest, WithoutALocalStateToWriteToTheNextRunTriesAgain) {
    const std::string lines = began(kAnnSid) + hasNoOld() + filesMissing() + noLocalState() +
                              registryBegins(kAnnSid) + registryLines(kAnnSid) +
                              "Could not create status file '" + newFolder() +
                              "\\LocalState\\mig_status.json'. Error code: 3\n" + ended(kAnnSid) +
                              kComplete;
    for (int run = 0; run < 2; ++run) {
        EXPECT_TRUE(start().run());

        EXPECT_EQ(newLog(), lines);
        EXPECT_THAT(listTree(inNew(L"")), IsEmpty());
    }
}

TEST_F(AppDataMigratorRunTest, SecondRunMovesNothing) {
    fillOld();
    start().run();
    writeFile(inOld(L"LocalState\\preferences.json"), "changed");

    EXPECT_TRUE(start().run());

    EXPECT_EQ(readFile(inNew(L"LocalState\\preferences.json")), "preferences");
}

TEST_F(AppDataMigratorRunTest, UserIsMigratedAgainOnceTheStatusFileIsGone) {
    fillOld();
    start().run();
    removeTree(statusFile());
    writeFile(inOld(L"LocalState\\preferences.json"), "changed");

    EXPECT_TRUE(start().run());

    EXPECT_EQ(readFile(inNew(L"LocalState\\preferences.json")), "changed");
    EXPECT_THAT(newLog(), HasSubstr("(Overwritten) \n"));
}

TEST_F(AppDataMigratorRunTest, EnterpriseMovesTheFoldersOfThreeUsers) {
    addUser(kBob, L"Bob");
    fillOld(L"Ann");
    fillOld(L"Bob");
    // Carol's hive is not loaded; her folder is the usual one.
    addProfile(kCarol, L"Carol");
    const std::wstring packages = scratch / L"Carol\\AppData\\Local\\Packages\\";
    writeFile(packages + kOldName + L"\\LocalState\\projects\\c.qk", "c");
    makeFolder(packages + kNewName + L"\\LocalState");
    AppDataMigrator& migrator = start(kEnterprise);

    EXPECT_TRUE(migrator.run());

    for (const wchar_t* user : {L"Ann", L"Bob"}) {
        SCOPED_TRACE(narrow(user));
        EXPECT_EQ(listTree(inOld(L"LocalState", user)),
                  (Tree{{L"VCPLocalLogs\\", ""},
                        {L"VCPLocalLogs\\log.txt", "stays behind"},
                        {L"other.txt", "stays behind"},
                        {L"preferences.json", "preferences"},
                        {L"projects\\", ""},
                        {L"projects\\deep\\", ""}}));
        EXPECT_EQ(readFile(inNew(L"LocalState\\projects\\deep\\a.qk", user)), "a");
        EXPECT_EQ(readFile(statusFile(user)),
                  statusText("success",
                             "\"preferences.json\" ,\"settings.dat\" ,\"empty\" ,\"projects\" "
                             ",\"MRURegistryEntries\" ,\"FALRegistryEntries\"",
                             "", "true"));
    }
    EXPECT_EQ(readFile(packages + kNewName + L"\\LocalState\\projects\\c.qk"), "c");
    EXPECT_THAT(listTree(packages + kOldName + L"\\LocalState"), IsEmpty());
    EXPECT_EQ(readFile(packages + kNewName + L"\\LocalState\\mig_status.json"),
              statusText("success",
                         "\"preferences.json\" ,\"settings.dat\" ,\"projects\" "
                         ",\"MRURegistryEntries\" ,\"FALRegistryEntries\"",
                         "", "true"));
}

TEST_F(AppDataMigratorRunTest, UsersAreMigratedInOrderOfTheSid) {
    addUser(L"S-1-5-21-10-20-30-999", L"Zoe");
    addUser(kBob, L"Bob");
    AppDataMigrator& migrator = start(kEnterprise);

    migrator.run();

    const std::string lines = newLog();
    const size_t ann = lines.find(began(kAnnSid));
    const size_t bob = lines.find(began(kBobSid, "Bob"));
    const size_t zoe = lines.find(began("S-1-5-21-10-20-30-999", "Zoe"));
    ASSERT_NE(zoe, std::string::npos);
    EXPECT_LT(ann, bob);
    EXPECT_LT(bob, zoe);
}

}  // namespace
