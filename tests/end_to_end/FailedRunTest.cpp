#include "end_to_end/RunTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr DWORD kFailure = 0xFFFFFFFF;

// From the first line of the hardening on: what a run does not reach that ends before it.
std::string upTo(const std::string& log, const std::string& line) {
    return log.substr(0, log.find(line));
}

// Runs of the typical machine in which something fails, and the run that follows.
class FailedRunTest : public RunTest {
protected:
    FailedRunTest() { makeTypicalWorld(world); }

    std::wstring statusFile() const {
        return world.newPackage(kAnna) + L"\\LocalState\\mig_status.json";
    }
    std::wstring plugins() const { return world.newPackage(kAnna) + L"\\LocalState\\plugins"; }
    std::wstring newPlugins() const {
        return world.roaming(kAnna) + L"\\Velta\\RXP\\Plugins\\External";
    }
    std::string pluginStatus() const {
        return readFile(newPlugins() + L"\\.pluginsMigrationStatus.json");
    }
    bool hasCrashDumpKey() const {
        return registry.hasKey(
            HKEY_LOCAL_MACHINE,
            L"SOFTWARE\\Microsoft\\Windows\\Windows Error Reporting\\LocalDumps\\QK.exe");
    }
    size_t packageCount() const { return world.state.packages.size(); }
    void expectLog(const std::string& expected) {
        expectSameLog(withSortedUsers(log()), withSortedUsers(expected));
    }
};

TEST_F(FailedRunTest, ComThatDoesNotStartEndsTheRunBehindThePrivileges) {
    const standin::LaunchResult result = run(kTypicalArguments, "CoInitializeEx:1=0x80010106");

    EXPECT_EQ(result.exitCode, kFailure);
    EXPECT_TRUE(result.endedNormally);
    expectLog(
        "(no time)Error initializing COM code 0x80010106.\n"
        "Starting with : \"{world}\\Installer\\LSDKConfigurator.exe\" \"40.1.0.0\" \"Velta.QK\" \"QK.exe\" \"ZRKL\" \n"
        "Starting\n");
    EXPECT_FALSE(exists(statusFile()));
}

TEST_F(FailedRunTest, ATokenThatCannotBeOpenedEndsTheRunAndItsLineHasNoEnd) {
    const standin::LaunchResult result = run(kTypicalArguments, "OpenProcessToken:1=5");

    EXPECT_EQ(result.exitCode, kFailure);
    expectLog(
        "Starting with : \"{world}\\Installer\\LSDKConfigurator.exe\" \"40.1.0.0\" \"Velta.QK\" \"QK.exe\" \"ZRKL\" \n"
        "Starting\n"
        "OpenProcessToken failed. GetLastError returned:5");
}

TEST_F(FailedRunTest, AListedFileThatCannotBeCopiedIsRecordedAndTheRunSucceeds) {
    standin::LaunchResult result;
    {
        const HeldOpen held(world.oldPackage(kAnna) + L"\\Settings\\settings.dat");
        result = run(kTypicalArguments);
    }

    EXPECT_EQ(result.exitCode, 0u);
    expectLog(goldenWith(
        "typical.log",
        {{"Copied file '{anna old}\\Settings\\settings.dat' to '{anna new}\\Settings\\settings.dat'\n",
          "ERROR: Could not copy '{anna old}\\Settings\\settings.dat' to '{anna new}\\Settings\\settings.dat'. Error: 32\n"},
         {"App Data Migration Complete: SUCCESS\n",
          "App Data Migration Complete: Some app data could not be migrated.\nApp Data Migration: FAILED\n"}}));
    EXPECT_EQ(readFile(world.newPackage(kAnna) + L"\\Settings\\settings.dat"), "");
    EXPECT_THAT(readFile(statusFile()), HasSubstr("    \"status\":\"error\",\n"));
    EXPECT_THAT(readFile(statusFile()), HasSubstr("    \"failed\": [\"settings.dat\"]\n"));
}

// Required: a migration that has failed does not keep the older package.
TEST_F(FailedRunTest, TheOlderPackageIsRemovedThoughTheMigrationHasFailed) {
    run(kTypicalArguments, "CopyFileW:1+=112;RegCopyTreeW:1+=5");

    EXPECT_THAT(readFile(statusFile()), HasSubstr("    \"status\":\"error\",\n"));
    ASSERT_EQ(world.state.packages.size(), 1u);
    EXPECT_EQ(world.state.packages[0].fullName, L"Velta.QK_40.1.0.0_x64__kt83f9rd2xj6a");
}

TEST_F(FailedRunTest, AStatusFileThatSaysErrorEndsLaterMigrationsToo) {
    run(kTypicalArguments, "CopyFileW:2=5");
    ASSERT_THAT(readFile(statusFile()), HasSubstr("\"error\""));
    const auto before = listTree(world.newPackage(kAnna));

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    expectSameLog(withSortedUsers(lastLog()), withSortedUsers(golden("second-run.log")));
    expectSameTree(listTree(world.newPackage(kAnna)), before);
}

TEST_F(FailedRunTest, AMigrationThatCannotWriteItsStatusFileIsRepeatedByTheNextRun) {
    makeFolder(statusFile());

    run(kTypicalArguments);
    const std::string firstLog = lastLog();
    removeTree(statusFile());
    run(kTypicalArguments);

    EXPECT_THAT(
        firstLog,
        HasSubstr("Could not create status file '{anna new}\\LocalState\\mig_status.json'. Error code: 5\n"
                  "Migration completed for the user  '{anna}\n"
                  "App Data Migration Complete: SUCCESS\n"));
    EXPECT_THAT(
        lastLog(),
        HasSubstr(
            "Copied file '{anna old}\\LocalState\\preferences.json' to '{anna new}\\LocalState\\preferences.json' (Overwritten) \n"));
    EXPECT_TRUE(exists(statusFile()));
}

TEST_F(FailedRunTest, WithoutAShellTheOlderPackageStaysAndTheRunSucceeds) {
    world.state.desktop->hasShell = false;

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(packageCount(), 2u);
    EXPECT_THAT(
        log(), HasSubstr("Launching Process as DeElevated\n"
                         "Privilege lowering failed! Could not get Shell window or any user window\n"
                         "caling CreateProcessDeElevated failed with Error:"));
}

TEST_F(FailedRunTest, WithoutACompanionTheOlderPackageStaysAndTheRunSucceeds) {
    removeTree(world.installer() + L"\\LSDKConfiguratorHelper.exe");

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(packageCount(), 2u);
    EXPECT_THAT(log(), HasSubstr("Calling PU_CreateProcessWithTokenW:  \n"
                                 "PU_CreateProcessWithTokenW failed with error:  2\n"
                                 "caling CreateProcessDeElevated failed with Error:"));
}

TEST_F(FailedRunTest, APackageOfAnotherVersionEndsTheRunBehindTheMigration) {
    const standin::LaunchResult result = run(L"40.1.0 Velta.QK QK.exe ZRKL");

    EXPECT_EQ(result.exitCode, kFailure);
    expectLog(upTo(goldenWith("typical.log", {{"\"40.1.0.0\"", "\"40.1.0\""}}), "fullpath is ") +
              "Couldn't find package install path\n");
    EXPECT_TRUE(exists(statusFile()));
}

TEST_F(FailedRunTest, AMissingPackageFileEndsTheRunBeforeFoldersPlugInsAndCrashDumps) {
    removeTree(world.installFolder() + L"\\LogSession.dll");

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, kFailure);
    expectLog(
        upTo(golden("typical.log"), "fullpath is {install}\\FerroxMessage5.dll")
            .substr(
                0,
                golden("typical.log")
                    .find("SetMediumIntegrityLabelToFile executed successfully\nfullpath is {install}\\FerroxMessage5.dll")) +
        "Could not set owner. Error: 2.\n");
    EXPECT_FALSE(exists(world.roaming(kAnna) + L"\\Velta\\MeshSync"));
    EXPECT_TRUE(exists(plugins()));
    EXPECT_FALSE(hasCrashDumpKey());
}

TEST_F(FailedRunTest, AContainerThatIsNotRegisteredFailsOnlyTheExemption) {
    world.state.network->containers.clear();

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    expectLog(goldenWith(
        "typical.log",
        {{"found Velta.QK_40.1.0.0_x64__kt83f9rd2xj6a velta.qk_kt83f9rd2xj6a Quick[]SetNamed",
          "Unable to find SID for appVelta.QK_kt83f9rd2xj6a[]Enabling the localhost has failed, but we don't want to fail the install process\nSetNamed"}}));
}

TEST_F(FailedRunTest, APlugInThatCannotBeCopiedIsRecordedAndTheNextRunMovesIt) {
    run(kTypicalArguments, "SHFileOperationW:2=1026");
    const std::string firstLog = lastLog();
    const std::string firstStatus = pluginStatus();
    const bool firstIsBack = !exists(newPlugins() + L"\\F\u00FCller");
    const auto oldAfterFailure = listTree(plugins());

    const standin::LaunchResult second = run(kTypicalArguments);

    EXPECT_THAT(
        firstLog,
        HasSubstr("Failed to copy Ruler from {anna new}\\LocalState\\plugins\\Ruler{NUL} to {world}\\anna\\AppData\\Roaming\\Velta\\RXP\\Plugins\\External\\Ruler{NUL} SHFileOperation error: 1026\n"
                  "rootKey at: "));
    EXPECT_EQ(
        firstStatus,
        "{\"ZRKLBE\":{\"appVersion\":\"40.0.0.0\",\"status\":0,\"migrated\":[],\"failed\":[]},"
        "\"ZRKL\":{\"appVersion\":\"40.1.0.0\",\"status\":1,\"migrated\":[\"F\xC3\xBCller\"],\"failed\":[\"Ruler\"],\"reason\":\"Failed to copy Ruler SHFileOperation error: 1026\"}}");
    EXPECT_TRUE(firstIsBack);
    EXPECT_EQ(oldAfterFailure.count(L"Ruler\\main.js"), 1u);
    EXPECT_EQ(second.exitCode, 0u);
    EXPECT_EQ(readFile(newPlugins() + L"\\Ruler\\main.js"), "ruler");
    EXPECT_FALSE(exists(plugins()));
    EXPECT_THAT(pluginStatus(), HasSubstr("\"ZRKLBE\":{\"appVersion\":\"40.1.0.0\",\"status\":0"));
}

TEST_F(FailedRunTest, ACrashDumpKeyThatCannotBeOpenedFailsTheWholeRun) {
    registry.makeKey(HKEY_LOCAL_MACHINE,
                     L"SOFTWARE\\Microsoft\\Windows\\Windows Error Reporting\\LocalDumps\\QK.exe");
    registry.restrictAccess(
        HKEY_LOCAL_MACHINE,
        L"SOFTWARE\\Microsoft\\Windows\\Windows Error Reporting\\LocalDumps\\QK.exe",
        L"D:P(A;;KR;;;WD)");

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, kFailure);
    expectLog(goldenWith(
        "typical.log",
        {{"rootKey at: SOFTWARE\\Microsoft\\Windows\\Windows Error Reporting\\LocalDumps\\QK.exe\n",
          "Exception while opening key \"SOFTWARE\\Microsoft\\Windows\\Windows Error Reporting\\LocalDumps\\QK.exe\" with ErrorCode 5.\n"
          "Setting registry values for UWPCR failed with: Unknown exception\n"}}));
}

TEST_F(FailedRunTest, AFolderNameThatTheLogCannotEncodeEndsTheLogAndNotTheRun) {
    writeFile(world.oldPackage(kAnna) + L"\\LocalState\\\u65E5\u672C\\a.qk", "text");

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    const std::string beginning = upTo(golden("typical.log"), "Migration registry entries");
    expectLog(beginning + "Recursively copying '{anna old}\\LocalState\\");
    EXPECT_EQ(readFile(world.newPackage(kAnna) + L"\\LocalState\\\u65E5\u672C\\a.qk"), "text");
    EXPECT_TRUE(hasCrashDumpKey());
}

TEST_F(FailedRunTest, ALogThatCannotBeOpenedChangesNothingButTheLog) {
    writeFile(world.installer() + L"\\lsdkConfiguratorLog.txt", "");
    standin::LaunchResult result;
    {
        const HeldOpen held(world.installer() + L"\\lsdkConfiguratorLog.txt", GENERIC_READ,
                            FILE_SHARE_READ);
        result = run(kTypicalArguments);
    }

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(log(), "");
    EXPECT_TRUE(exists(statusFile()));
    EXPECT_EQ(packageCount(), 1u);
}

TEST_F(FailedRunTest, TheRunOfTheLoggedOnUserRemovesTheOlderPackageItself) {
    world.state.tokenUser = kAnna.sid;

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(packageCount(), 1u);
    EXPECT_THAT(log(), HasSubstr("current user SID {anna}\n"
                                 "shouldLaunchRemovalInDeElevatedMode : 0\n"
                                 "Uninstalling Velta.LC.QK_39.4.0.0_x64__qzw4mhtrvb2ne\n"
                                 "fullpath is {install}\\LumoraSDKAppServiceClient.exe\n"));
}

TEST_F(FailedRunTest, TheRunAfterAFailedHardeningDoesWhatWasLeftUndone) {
    const std::wstring file = world.installFolder() + L"\\LogSession.dll";
    removeTree(file);
    run(kTypicalArguments);
    writeFile(file, "program");

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    const std::string typical = golden("typical.log");
    const std::string second = golden("second-run.log");
    const std::string hardening = "fullpath is {install}\\LumoraSDKAppServiceClient.exe";
    expectSameLog(withSortedUsers(lastLog()),
                  withSortedUsers(upTo(second, hardening) + typical.substr(typical.find(hardening))));
    EXPECT_FALSE(exists(plugins()));
    EXPECT_TRUE(hasCrashDumpKey());
}

TEST_F(FailedRunTest, TheRunAfterOneWithoutACompanionRemovesTheOlderPackage) {
    const std::wstring companion = world.installer() + L"\\LSDKConfiguratorHelper.exe";
    const std::string program = readFile(companion);
    removeTree(companion);
    run(kTypicalArguments);
    writeFile(companion, program);

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(packageCount(), 1u);
}

}  // namespace
