#include "OlderPackagesFixture.h"

namespace {

using ::testing::ElementsAre;

using DeElevatedRemovalTest = OlderPackagesFixture;

TEST_F(DeElevatedRemovalTest, TheDeElevatedFormHandsAllNamesToTheCompanion) {
    makeDeElevated();
    addThree();

    EXPECT_TRUE(uninstall());

    EXPECT_EQ(logText(), std::string(kDeElevatedLines) +
                             "Adding package in packagesToUninstall list: Velta.LC.QK_1.0.0.0_x64\n"
                             "Adding package in packagesToUninstall list: Velta.LC.QK_2.0.0.0_x64\n"
                             "Adding package in packagesToUninstall list: Velta.LC.QK_3.0.0.0_x64\n"
                             "Not enterprise deploment: Calling LaunchProcessDeElevated\n"
                             "Launching Process as DeElevated\n"
                             "Calling OpenProcessToken:  \n"
                             "Calling PU_CreateProcessWithTokenW:  \n"
                             "Waiting for the child process to finish \n"
                             "Done Waiting \n"
                             "Exit code of helper process 0\n"
                             "Launching Process as DeElevated SUCCESSFUL\n"
                             "LaunchProcessDeElevated executed successfully.\n");
    EXPECT_EQ(machine.trace.count("CreateProcessWithTokenW"), 1U);
    EXPECT_EQ(machine.trace.count("IPackageManager2::RemovePackageWithOptionsAsync"), 0U);
    EXPECT_THAT(
        machine.calls({"IPackageManager::FindPackagesByUserSecurityIdNamePublisher"}),
        ElementsAre(
            "IPackageManager::FindPackagesByUserSecurityIdNamePublisher(PackageManager#1, \"S-1-5-21-111-222-333-1002\", \"Velta.LC.QK\", \"" +
            standin::toUtf8(kLegacyPublisher) + "\") = 0"));
}

TEST_F(DeElevatedRemovalTest, TheDeElevatedFormReadsTheFamilyNameToo) {
    makeDeElevated();
    addOlder(1);

    uninstall();

    EXPECT_THAT(machine.calls({"IPackageId::get_FullName", "IPackageId::get_FamilyName"}),
                ElementsAre("IPackageId::get_FullName(PackageId#1) = 0",
                            "IPackageId::get_FamilyName(PackageId#2) = 0"));
}

TEST_F(DeElevatedRemovalTest, TheDeElevatedFormWithoutPackagesStartsNothing) {
    makeDeElevated();

    EXPECT_TRUE(uninstall());

    EXPECT_EQ(logText(), kDeElevatedLines);
    EXPECT_EQ(machine.trace.count("GetShellWindow"), 0U);
}

TEST_F(DeElevatedRemovalTest, ACompanionThatDoesNotStartIsNoFailure) {
    makeDeElevated();
    addOlder(1);
    machine.state.desktop->hasShell = false;

    EXPECT_TRUE(uninstall());

    const std::string text = logText();
    EXPECT_THAT(text,
                ::testing::HasSubstr(
                    "Privilege lowering failed! Could not get Shell window or any user window\n"));
    EXPECT_EQ(text.find("LaunchProcessDeElevated executed successfully."), std::string::npos);
}

TEST_F(DeElevatedRemovalTest, ACompanionThatFailsIsNoFailure) {
    makeDeElevated();
    addOlder(1);
    machine.state.desktop->pretended->exitCode = 7;

    EXPECT_TRUE(uninstall());

    EXPECT_THAT(logText(), ::testing::EndsWith("Exit code of helper process 7\n"
                                               "Launching Process as DeElevated SUCCESSFUL\n"
                                               "LaunchProcessDeElevated executed successfully.\n"));
}

TEST_F(DeElevatedRemovalTest, AnEmptyFullNameIsHandedOnAsItIs) {
    makeDeElevated();
    addOlder(1).fullName = L"";
    addOlder(2);

    EXPECT_TRUE(uninstall());

    EXPECT_THAT(logText(), ::testing::HasSubstr("Adding package in packagesToUninstall list: \n"));
    const auto starts = machine.calls({"CreateProcessWithTokenW"});
    ASSERT_EQ(starts.size(), 1U);
    EXPECT_THAT(starts[0],
                ::testing::HasSubstr("\"LSDKConfiguratorHelper.exe  Velta.LC.QK_2.0.0.0_x64\""));
}

TEST_F(DeElevatedRemovalTest, WithoutALoggedOnSidTheSearchIsMadeWithAnEmptyOne) {
    registry.removeKey(HKEY_LOCAL_MACHINE,
                       L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI");

    EXPECT_TRUE(uninstall());

    EXPECT_THAT(logText(), ::testing::EndsWith("current user SID S-1-5-21-111-222-333-1001\n"
                                               "shouldLaunchRemovalInDeElevatedMode : 1\n"));
    EXPECT_THAT(
        machine.calls({"IPackageManager::FindPackagesByUserSecurityIdNamePublisher"}),
        ElementsAre(
            "IPackageManager::FindPackagesByUserSecurityIdNamePublisher(PackageManager#1, \"\", \"Velta.LC.QK\", \"" +
            standin::toUtf8(kLegacyPublisher) + "\") = 0"));
}

TEST_F(DeElevatedRemovalTest, WithoutAnySidAtAllTheFormIsDirect) {
    registry.removeKey(HKEY_LOCAL_MACHINE,
                       L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI");
    permissions.m_currentUserSidString = L"";

    EXPECT_TRUE(uninstall());

    EXPECT_THAT(logText(), ::testing::EndsWith("current user SID \n"
                                               "shouldLaunchRemovalInDeElevatedMode : 0\n"));
}

}  // namespace
