#include "TestLogs.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> round(const std::string& line) {
    return {"Current user: S-1", "Setting Permissions on user SID : S-2 with ProfilePath : C:\\u",
            line};
}

TEST(Run, AGoldenRunSucceedsAndSaysWhatWasMigrated) {
    const ::Run run = runOf(goldenLog("typical.log"));

    EXPECT_EQ(run.outcome, Outcome::Succeeded);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.unplacedCount, 0u);
    EXPECT_THAT(run.problems, IsEmpty());
    EXPECT_EQ(run.argument(1), "40.1.0.0");
    EXPECT_EQ(run.filesDone, 7u);
    EXPECT_EQ(run.hasLoopback, true);
    EXPECT_EQ(run.plugins, "migrated");
    ASSERT_EQ(run.packages.size(), 1u);
    EXPECT_EQ(run.packages[0].outcome, "removed by the companion");
    ASSERT_EQ(run.users.size(), 2u);
    const User& anna = run.users.at("S-1-5-21-1-2-3-1001");
    EXPECT_TRUE(anna.isLoggedOn);
    EXPECT_EQ(anna.appData, AppData::Migrated);
    EXPECT_THAT(anna.migrated, Contains("preferences.json"));
    EXPECT_THAT(anna.migrated, Contains("drafts"));
    EXPECT_EQ(anna.foldersOpened, 8u);
    EXPECT_EQ(run.users.at("S-1-5-21-1-2-3-1002").appData, AppData::NotReached);
}

TEST(Run, AGoldenEnterpriseRunMigratesEveryUser) {
    const ::Run run = runOf(goldenLog("enterprise.log"));

    EXPECT_EQ(run.outcome, Outcome::Succeeded);
    EXPECT_EQ(run.unplacedCount, 0u);
    EXPECT_EQ(run.isEnterprise, true);
    ASSERT_EQ(run.users.size(), 3u);
    for (const auto& [sid, user] : run.users)
        EXPECT_EQ(user.appData, AppData::Migrated) << sid;
    ASSERT_EQ(run.packages.size(), 1u);
    EXPECT_TRUE(run.packages[0].isGone);
}

TEST(Run, AGoldenSecondRunFindsAllDone) {
    const ::Run run = runOf(goldenLog("second-run.log"));

    EXPECT_EQ(run.outcome, Outcome::Succeeded);
    EXPECT_EQ(run.unplacedCount, 0u);
    EXPECT_EQ(run.users.at("S-1-5-21-1-2-3-1001").appData, AppData::MigratedBefore);
    EXPECT_EQ(run.plugins, "migrated by a former run");
}

TEST(Run, AFatalLineAtTheEndDecides) {
    const ::Run run = runWith({"fullpath is C:\\a.exe", "GetNamedSecurityInfo Error 5",
                               "Failed to add all permissions to admin user. Error: 5."});

    EXPECT_EQ(run.outcome, Outcome::Failed);
    EXPECT_EQ(run.exitCode, -1);
    ASSERT_NE(run.decider, nullptr);
    EXPECT_EQ(run.decider->id, LineId::FileOwnAccessFailed);
    const Problem* const problem = problemOf(run, LineId::FileOwnAccessFailed);
    ASSERT_NE(problem, nullptr);
    EXPECT_THAT(problem->errors, ElementsAre("5 (ERROR_ACCESS_DENIED)"));
    EXPECT_THAT(problem->reasons,
                ElementsAre("GetNamedSecurityInfo Error 5 = 5 (ERROR_ACCESS_DENIED)"));
}

TEST(Run, TheUsageTextIsAFailure) {
    const ::Run run = runOf(
        logOf({"Starting with : \"a\" ", "Starting", "Incorrect number of arguments passed.",
               "Use it like below :", "Version Product_Name Executable_name",
               "Example :", "0.6.5.7 Velta.QK QK.exe"}));

    EXPECT_EQ(run.outcome, Outcome::Failed);
    EXPECT_EQ(run.decider->id, LineId::Usage);
}

TEST(Run, AFailedStartOfComEndsItAndMakesNumbersHexadecimal) {
    const std::string com = "Error initializing COM code 0x80010106.\r\n";
    const ::Run run = runOf(com + logOf({"Starting with : \"a\" ", "Starting"}));
    const ::Run denied = runOf(com + logOf({"Starting with : \"a\" ", "Starting",
                                            "AdjustTokenPrivileges Error 522 for privilege Se."}));

    EXPECT_EQ(run.outcome, Outcome::Failed);
    EXPECT_EQ(run.decider->id, LineId::ComFailed);
    EXPECT_THAT(run.problems.at(0).errors, ElementsAre("0x80010106 (RPC_E_CHANGED_MODE)"));
    EXPECT_THAT(denied.problems.at(1).errors, ElementsAre("0x522 (ERROR_PRIVILEGE_NOT_HELD)"));
}

TEST(Run, OneThatStopsAnywhereIsCutOff) {
    const ::Run behind = runWith({"Migration started for the user  'S-1"});
    const ::Run within = runOf(logOf(begunRun()) + "[Sat Nov  8 09:06:27 2025] rootKey at: SOFT");
    const ::Run within2 = runOf(logOf(begunRun()) + "[Sat Nov  8 09:06:27 2025] Profile dir is");

    EXPECT_EQ(behind.outcome, Outcome::CutOff);
    EXPECT_FALSE(behind.exitCode);
    EXPECT_EQ(behind.users.at("S-1").appData, AppData::Began);
    EXPECT_THAT(behind.explanation, HasSubstr("still at work"));
    EXPECT_EQ(within.outcome, Outcome::CutOff);
    EXPECT_THAT(within.explanation, HasSubstr("within this line"));
    EXPECT_EQ(within2.outcome, Outcome::CutOff);
    EXPECT_EQ(within2.unplacedCount, 0u);
}

TEST(Run, EveryPrefixOfALogIsPlaced) {
    const std::string log = goldenLog("second-run.log");

    for (size_t size = 100; size < log.size(); size += 37) {
        for (const ::Run& run : runsOf(log.substr(0, size)))
            EXPECT_EQ(run.unplacedCount, 0u) << "the first " << size << " bytes";
    }
}

TEST(Run, OneCutOffIsFollowedByTheNextOnTheSameLine) {
    const std::string log = goldenLog("typical.log");
    for (const size_t size : {size_t{500}, size_t{1001}, size_t{3003}, log.size()}) {
        const std::vector<::Run> runs = runsOf(log.substr(0, size) + logOf(wholeRun()));

        ASSERT_EQ(runs.size(), 2u) << size;
        EXPECT_EQ(runs[0].outcome, size == log.size() ? Outcome::Succeeded : Outcome::CutOff) << size;
        EXPECT_EQ(runs[0].unplacedCount, 0u) << size;
        EXPECT_EQ(runs[1].outcome, Outcome::Succeeded) << size;
        EXPECT_EQ(runs[1].number, 2u);
    }
}

TEST(Run, TheLastLineOfAFailedStartMayHaveNoEnd) {
    const std::vector<::Run> runs = runsOf(
        logOf({"Starting with : \"a\" ", "Starting"}) +
        "[Sat Nov  8 09:06:27 2025] OpenProcessToken failed. GetLastError returned:5" +
        logOf(wholeRun()));

    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(runs[0].outcome, Outcome::Failed);
    EXPECT_EQ(runs[0].decider->id, LineId::ProcessTokenFailed);
}

TEST(Run, AWellKnownSidThatCannotBeMadeEndsTheProcess) {
    EXPECT_EQ(runWith({"Can't create well known sid 27. Last error is: 87."}).outcome,
              Outcome::Crashed);
}

TEST(Run, FoldersThatNobodyCanUseEndItBehindTheFourthRound) {
    std::string log = logOf(begunRun());
    for (int i = 0; i < 4; ++i)
        log += logOf(
            {"Current user: S-1", "Unable to locate Roaming AppData directory (CSIDL_APPDATA) "});

    const ::Run run = runOf(log);

    EXPECT_EQ(run.outcome, Outcome::Failed);
    EXPECT_EQ(run.decider->id, LineId::RoundFallbackFailed);
}

TEST(Run, OfFoldersOnlyTheUserIsTold) {
    std::string log = logOf(begunRun());
    for (int i = 0; i < 4; ++i) {
        log += logOf(round("AppX permissions set on data directory ( C:\\f )  "));
        log += logOf(round("ensure AppDataDir Permissions failed for user = C:\\u"));
    }

    const ::Run run = runOf(log);

    EXPECT_EQ(run.outcome, Outcome::CutOff);
    EXPECT_EQ(run.users.at("S-2").foldersOpened, 4u);
    EXPECT_EQ(run.users.at("S-2").foldersFailed, 4u);
}

TEST(Run, WhatFailedOfAUsersDataIsNamed) {
    const std::string from = "C:\\o\\LocalState", to = "C:\\n\\LocalState";
    const ::Run run = runWith(
        {"Migration started for the user  'S-1",
         "The file to be migrated '" + from + "\\preferences.json' does not exist",
         "ERROR: Could not copy 'C:\\o\\Settings\\settings.dat' to 'C:\\n'. Error: 32",
         "Recursively copying '" + from + "\\drafts' into '" + to + "'",
         "Error copying '" + from + "\\drafts\\a.qk' to '" + to + "\\drafts\\a.qk'. Error code: 5",
         "Recursively copying '" + from + "\\x' into '" + to + "'",
         "Error creating folder '" + to + "\\x'. Error code: 5",
         "Migration registry entries for the user  'S-1", "Registry entries copied to K.",
         "Error updating MRU registry entry for value A of subkey b",
         "Error reading MRU registry entries from key K", "Registry entries copied to K.",
         "MRU Registry entries updated for subkey ManagedByApp", "Registry entries copied to K.",
         "MRU Registry entries updated for subkey ManagedByApp",
         "Migration completed for the user  'S-1"});

    const User& user = run.users.at("S-1");
    EXPECT_THAT(user.missing, ElementsAre("preferences.json"));
    EXPECT_THAT(user.migrated, ElementsAre("drafts", "files chosen before (FALRegistryEntries)"));
    EXPECT_THAT(user.failed, ElementsAre("settings.dat", "drafts\\a.qk", "x",
                                         "recent files (MRURegistryEntries)"));
    EXPECT_THAT(problemOf(run, LineId::FileCopyFailed)->errors,
                ElementsAre("32 (ERROR_SHARING_VIOLATION)"));
}

TEST(Run, PackagesThatStayAreNamed) {
    const ::Run direct = runWith(
        {"Uninstalling P1", "UninstallApp failed because access was denied.", "Uninstalling P2"});
    const ::Run companion = runWith(
        {"Adding package in packagesToUninstall list: P1", "Exit code of helper process 1"});

    EXPECT_FALSE(direct.packages.at(0).isGone);
    EXPECT_TRUE(direct.packages.at(1).isGone);
    EXPECT_FALSE(companion.packages.at(0).isGone);
}

TEST(Run, StepsFollowEachOtherWithTheirTimes) {
    const ::Run run = runOf(goldenLog("typical.log"));

    std::vector<Section> sections;
    for (const Step& step : run.steps)
        sections.push_back(step.section);
    EXPECT_THAT(sections,
                ElementsAre(Section::Start, Section::AppDataPreparation, Section::AppDataMigration,
                            Section::OlderPackage, Section::PackageFiles, Section::FolderAccess,
                            Section::Loopback, Section::UserDataFolders, Section::PlugIns,
                            Section::CrashDumps));
}

TEST(Run, ForeignLinesAreCountedAndDoNotHideTheOthers) {
    const ::Run run = runOf(logOf(begunRun()) + logOf({"who is this", "rootKey at: K"}));

    EXPECT_EQ(run.unplacedCount, 1u);
    EXPECT_EQ(run.unplaced.at(0).text, "who is this");
    EXPECT_EQ(run.outcome, Outcome::Succeeded);
}

}  // namespace
