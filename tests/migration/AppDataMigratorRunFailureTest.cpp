#include <new>

#include "migration/MigrationRunTest.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class AppDataMigratorRunFailureTest : public MigrationRunTest {};

TEST_F(AppDataMigratorRunFailureTest, TargetRootThatCannotBeMadeFailsAndTheStepsGoOn) {
    fillOld();
    writeFile(inNew(L""), "a file");
    AppDataMigrator& migrator = start();

    EXPECT_FALSE(migrator.run());

    const std::string lines = newLog();
    EXPECT_THAT(lines, ::testing::StartsWith(began(kAnnSid) + hasOld() +
                                             "ERROR: Migration target folder '" + newFolder() +
                                             "' does not exist. App Data Migration failed.\n" +
                                             copyStarted("LocalState\\preferences.json") +
                                             "Could not create sub directories for " + newFolder() +
                                             "\\LocalState\\preferences.json'. Error code: 183\n"));
    EXPECT_THAT(lines, EndsWith(registryLines(kAnnSid) + "Could not create status file '" +
                                newFolder() + "\\LocalState\\mig_status.json'. Error code: 3\n" +
                                ended(kAnnSid) + kIncomplete));
    EXPECT_EQ(migrator.failedItems.at(kAnn),
              (Items{L"preferences.json", L"settings.dat", L"empty", L"projects"}));
}

TEST_F(AppDataMigratorRunFailureTest, TargetRootAloneThatCannotBeMadeIsAFailure) {
    AppDataMigrator& migrator = start();
    machine.failNext("CreateDirectoryW", ERROR_ACCESS_DENIED);

    EXPECT_FALSE(migrator.run());

    EXPECT_THAT(migrator.failedItems[kAnn], IsEmpty());
    EXPECT_THAT(newLog(), EndsWith(kIncomplete));
}

TEST_F(AppDataMigratorRunFailureTest, FailedFileTurnsTheResultAndStandsInTheStatusFile) {
    fillOld();
    makeFolder(inNew(L"Settings\\settings.dat"));
    AppDataMigrator& migrator = start();

    EXPECT_FALSE(migrator.run());

    EXPECT_EQ(readFile(statusFile()),
              statusText("error",
                         "\"preferences.json\" ,\"empty\" ,\"projects\" ,\"MRURegistryEntries\" "
                         ",\"FALRegistryEntries\"",
                         "\"settings.dat\""));
    EXPECT_THAT(newLog(), EndsWith(wroteStatus() + ended(kAnnSid) + kIncomplete));
}

TEST_F(AppDataMigratorRunFailureTest, FailedSubFolderTurnsTheResultAndStandsInTheStatusFile) {
    fillOld();
    writeFile(inNew(L"LocalState\\empty"), "a file");
    AppDataMigrator& migrator = start();

    EXPECT_FALSE(migrator.run());

    EXPECT_EQ(readFile(statusFile()), statusText("error",
                                                 "\"preferences.json\" ,\"settings.dat\" ,\"projects\" "
                                                 ",\"MRURegistryEntries\" ,\"FALRegistryEntries\"",
                                                 "\"empty\""));
}

TEST_F(AppDataMigratorRunFailureTest, LocalStateThatCannotBeListedTurnsTheResultAlone) {
    fillOld();
    AppDataMigrator& migrator = start();
    const HeldOpen held(inOld(L"LocalState"));

    EXPECT_FALSE(migrator.run());

    EXPECT_EQ(readFile(statusFile()), statusText("error",
                                                 "\"preferences.json\" ,\"settings.dat\" "
                                                 ",\"MRURegistryEntries\" ,\"FALRegistryEntries\"",
                                                 ""));
}

TEST_F(AppDataMigratorRunFailureTest, FailedRegistryGroupTurnsTheResultAndStandsInTheStatusFile) {
    fillOld();
    registry.makeKey(classes.hive, oldList(classes, kFuture, L"entry without values"));
    AppDataMigrator& migrator = start();

    EXPECT_FALSE(migrator.run());

    EXPECT_EQ(readFile(statusFile()),
              statusText("error",
                         "\"preferences.json\" ,\"settings.dat\" ,\"empty\" ,\"projects\" "
                         ",\"MRURegistryEntries\"",
                         "\"FALRegistryEntries\""));
}

TEST_F(AppDataMigratorRunFailureTest, StatusFileThatCannotBeMadeTurnsNothing) {
    fillOld();
    AppDataMigrator& migrator = start();
    machine.failNth("CreateFileW", 3, ERROR_ACCESS_DENIED);  // behind the two listed files

    EXPECT_TRUE(migrator.run());

    EXPECT_FALSE(exists(statusFile()));
    EXPECT_THAT(newLog(), EndsWith("mig_status.json'. Error code: 5\n" + ended(kAnnSid) + kComplete));
}

TEST_F(AppDataMigratorRunFailureTest, FailedUserDoesNotStopTheNext) {
    addUser(kBob, L"Bob");
    fillOld(L"Ann");
    fillOld(L"Bob");
    makeFolder(inNew(L"LocalState\\preferences.json", L"Ann"));
    AppDataMigrator& migrator = start(kEnterprise);

    EXPECT_FALSE(migrator.run());

    EXPECT_THAT(readFile(statusFile(L"Ann")), HasSubstr("\"status\":\"error\""));
    EXPECT_THAT(readFile(statusFile(L"Bob")), HasSubstr("\"status\":\"success\""));
    EXPECT_EQ(readFile(inNew(L"LocalState\\preferences.json", L"Bob")), "preferences");
    const std::string lines = newLog();
    EXPECT_THAT(lines, HasSubstr(ended(kAnnSid) + began(kBobSid, "Bob")));
    EXPECT_THAT(lines, EndsWith(ended(kBobSid) + kIncomplete));
}

TEST_F(AppDataMigratorRunFailureTest, ExceptionLeavesTheRun) {
    AppDataMigrator& migrator = start();
    const auto attributes = replaceImport<decltype(&::GetFileAttributesW)>(
        "GetFileAttributesW", [](auto, LPCWSTR) -> DWORD { throw std::bad_alloc(); });

    EXPECT_THROW(migrator.run(), std::bad_alloc);
}

}  // namespace
