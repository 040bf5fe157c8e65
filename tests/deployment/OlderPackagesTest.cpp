#include <stdexcept>

#include "OlderPackagesFixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using OlderPackagesTest = OlderPackagesFixture;

TEST_F(OlderPackagesTest, WithoutAnOlderPackageNothingIsDone) {
    EXPECT_TRUE(uninstall());

    EXPECT_EQ(logText(), kDirectLines);
    EXPECT_EQ(machine.trace.count("GetShellWindow"), 0U);
}

TEST_F(OlderPackagesTest, TheDirectFormRemovesForTheLoggedOnUserAlone) {
    addOlder(1);

    EXPECT_TRUE(uninstall());

    EXPECT_THAT(leftPackages(), ElementsAre("Velta.LC.QK_1.0.0.0_x64: 1"));
    EXPECT_EQ(machine.state.packages[0].users[0], kOtherUser);
    EXPECT_EQ(logText(), std::string(kDirectLines) + "Uninstalling Velta.LC.QK_1.0.0.0_x64\n");
}

TEST_F(OlderPackagesTest, TheDirectFormMakesItsCallsInOrder) {
    addOlder(1);
    const std::string publisher = standin::toUtf8(kLegacyPublisher);

    uninstall();

    std::vector<std::string> methods;
    for (const standin::Call& call : machine.trace.all()) {
        if (call.name.find("::") != std::string::npos) methods.push_back(call.text());
    }
    EXPECT_THAT(
        methods,
        ElementsAre(
            "ActivationFactory::QueryInterface(ActivationFactory#1, {00000035-0000-0000-C000-000000000046}) = 0",
            "IActivationFactory::ActivateInstance(ActivationFactory#1) = 0",
            "PackageManager::QueryInterface(PackageManager#1, {9A7D4B65-5E8F-4FC7-A2E5-7F6925CB8B53}) = 0",
            "IPackageManager::FindPackagesByUserSecurityIdNamePublisher(PackageManager#1, \"S-1-5-21-111-222-333-1001\", \"Velta.LC.QK\", \"" +
                publisher + "\") = 0",
            "IIterable<Package>::First(Iterable#1) = 0",
            "IIterator<Package>::get_HasCurrent(Iterator#1) = 0",
            "IIterator<Package>::get_Current(Iterator#1) = 0", "IPackage::get_Id(Package#1) = 0",
            "IPackageId::get_FullName(PackageId#1) = 0", "IPackage::get_Id(Package#1) = 0",
            "IPackageId::get_FamilyName(PackageId#2) = 0",
            "PackageManager::QueryInterface(PackageManager#1, {F7AAD08D-0840-46F2-B5D8-CAD47693A095}) = 0",
            "IPackageManager2::RemovePackageWithOptionsAsync(PackageManager#1, \"Velta.LC.QK_1.0.0.0_x64\", 0x0) = 0",
            "IAsyncOperationWithProgress::put_Completed(DeploymentOperation#1, handler) = 0",
            "IAsyncOperationWithProgress::GetResults(DeploymentOperation#1) = 0",
            "IDeploymentResult::get_ExtendedErrorCode(DeploymentResult#1) = 0",
            "IIterator<Package>::MoveNext(Iterator#1) = 0"));
}

TEST_F(OlderPackagesTest, AnEnterpriseDeploymentRemovesForAllAndThenDeprovisions) {
    addOlder(1);
    makeEnterprise();

    EXPECT_TRUE(uninstall());

    EXPECT_THAT(leftPackages(), IsEmpty());
    EXPECT_THAT(
        machine.calls({"IPackageManager::FindPackagesByNamePublisher",
                       "IPackageManager::FindPackagesByUserSecurityIdNamePublisher",
                       "IPackageManager2::RemovePackageWithOptionsAsync",
                       "IAsyncOperationWithProgress::put_Completed",
                       "IAsyncOperationWithProgress::GetResults", "PackageManager::QueryInterface",
                       "IPackageManager8::DeprovisionPackageForAllUsersAsync",
                       "IDeploymentResult::get_ExtendedErrorCode"}),
        ElementsAre(
            "PackageManager::QueryInterface(PackageManager#1, {9A7D4B65-5E8F-4FC7-A2E5-7F6925CB8B53}) = 0",
            "IPackageManager::FindPackagesByNamePublisher(PackageManager#1, \"Velta.LC.QK\", \"" +
                standin::toUtf8(kLegacyPublisher) + "\") = 0",
            "PackageManager::QueryInterface(PackageManager#1, {F7AAD08D-0840-46F2-B5D8-CAD47693A095}) = 0",
            "IPackageManager2::RemovePackageWithOptionsAsync(PackageManager#1, \"Velta.LC.QK_1.0.0.0_x64\", 0x80000) = 0",
            "IAsyncOperationWithProgress::put_Completed(DeploymentOperation#1, handler) = 0",
            "IAsyncOperationWithProgress::GetResults(DeploymentOperation#1) = 0",
            "PackageManager::QueryInterface(PackageManager#1, {B8575330-1298-4EE2-80EE-7F659C5D2782}) = 0",
            "IPackageManager8::DeprovisionPackageForAllUsersAsync(PackageManager#1, \"Velta.LC.QK_family\") = 0",
            "IDeploymentResult::get_ExtendedErrorCode(DeploymentResult#1) = 0"));
}

TEST_F(OlderPackagesTest, AnEnterpriseDeploymentDoesNotCompareTheSids) {
    logOn(kOtherUser);
    addOlder(1);
    makeEnterprise();

    EXPECT_TRUE(uninstall());

    EXPECT_EQ(logText(),
              "Logged on user SID : S-1-5-21-111-222-333-1002\n"
              "current user SID S-1-5-21-111-222-333-1001\n"
              "shouldLaunchRemovalInDeElevatedMode : 0\n"
              "Uninstalling Velta.LC.QK_1.0.0.0_x64\n");
    EXPECT_EQ(machine.trace.count("_wcsicmp"), 0U);
}

TEST_F(OlderPackagesTest, EachRemovalIsFinishedBeforeTheNextBegins) {
    addThree();

    EXPECT_TRUE(uninstall());

    EXPECT_THAT(
        machine.calls({"IPackageManager2::RemovePackageWithOptionsAsync",
                       "IAsyncOperationWithProgress::GetResults"}),
        ElementsAre(
            "IPackageManager2::RemovePackageWithOptionsAsync(PackageManager#1, \"Velta.LC.QK_1.0.0.0_x64\", 0x0) = 0",
            "IAsyncOperationWithProgress::GetResults(DeploymentOperation#1) = 0",
            "IPackageManager2::RemovePackageWithOptionsAsync(PackageManager#1, \"Velta.LC.QK_2.0.0.0_x64\", 0x0) = 0",
            "IAsyncOperationWithProgress::GetResults(DeploymentOperation#2) = 0",
            "IPackageManager2::RemovePackageWithOptionsAsync(PackageManager#1, \"Velta.LC.QK_3.0.0.0_x64\", 0x0) = 0",
            "IAsyncOperationWithProgress::GetResults(DeploymentOperation#3) = 0"));
    EXPECT_EQ(logText(), std::string(kDirectLines) +
                             "Uninstalling Velta.LC.QK_1.0.0.0_x64\n"
                             "Uninstalling Velta.LC.QK_2.0.0.0_x64\n"
                             "Uninstalling Velta.LC.QK_3.0.0.0_x64\n");
}

TEST_F(OlderPackagesTest, AnOperationThatHasEndedBeforeItIsWaitedForIsDoneToo) {
    addOlder(1).removal.endsAtOnce = true;

    EXPECT_TRUE(uninstall());

    EXPECT_THAT(leftPackages(), ElementsAre("Velta.LC.QK_1.0.0.0_x64: 1"));
}

TEST_F(OlderPackagesTest, OtherPublishersAndNamesAreLeftAlone) {
    addPackage(L"Velta.LC.QK", L"CN=Somebody", {1, 0, 0, 0});
    addPackage(L"Velta.LC.QK", kCurrentPublisher, {1, 0, 0, 0});
    addPackage(L"Velta.QK", kLegacyPublisher, {1, 0, 0, 0});

    EXPECT_TRUE(uninstall());

    EXPECT_EQ(machine.state.packages.size(), 3U);
    EXPECT_EQ(logText(), kDirectLines);
}

TEST_F(OlderPackagesTest, PackagesOfOtherUsersAreLeftAlone) {
    addOlder(1).users = {kOtherUser};

    EXPECT_TRUE(uninstall());

    EXPECT_EQ(logText(), kDirectLines);
}

TEST_F(OlderPackagesTest, SidsThatDifferOnlyInCaseAreTheSameUser) {
    permissions.m_currentUserSidString = L"s-1-5-21-111-222-333-1001";
    addOlder(1);

    EXPECT_TRUE(uninstall());

    EXPECT_EQ(logText(),
              "Logged on user SID : S-1-5-21-111-222-333-1001\n"
              "current user SID s-1-5-21-111-222-333-1001\n"
              "shouldLaunchRemovalInDeElevatedMode : 0\n"
              "Uninstalling Velta.LC.QK_1.0.0.0_x64\n");
}

// Required: the marker goes behind five characters, whatever they are.
TEST_F(OlderPackagesTest, TheMarkerIsInsertedByPosition) {
    const struct {
        const wchar_t* name;
        const char* older;
    } rows[] = {{L"Velta.QK", "\"Velta.LC.QK\""},
                {L"Another", "\"Anoth.LCer\""},
                {L"Velta", "\"Velta.LC\""},
                {L"12345", "\"12345.LC\""}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.older);

        EXPECT_TRUE(uninstall(row.name));

        const std::vector<standin::Call>& calls = machine.trace.all();
        const auto search = std::find_if(calls.begin(), calls.end(), [](const auto& call) {
            return call.name == "IPackageManager::FindPackagesByUserSecurityIdNamePublisher";
        });
        ASSERT_NE(search, calls.end());
        EXPECT_EQ(search->arguments[2], row.older);
    }
}

TEST_F(OlderPackagesTest, ANameShorterThanTheMakersEndsInAStandardException) {
    for (const wchar_t* const name : {L"Velt", L"V", L""}) {
        try {
            uninstall(name);
            ADD_FAILURE() << "no exception";
        } catch (const std::out_of_range& exception) {
            EXPECT_STREQ(exception.what(), "invalid string position");
        }
        EXPECT_EQ(machine.trace.count("IActivationFactory::ActivateInstance"), 1U);
    }
    EXPECT_EQ(logText(), "");
}

TEST_F(OlderPackagesTest, TheDeElevatedFormHandsAllNamesToTheCompanion) {
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

TEST_F(OlderPackagesTest, TheDeElevatedFormReadsTheFamilyNameToo) {
    makeDeElevated();
    addOlder(1);

    uninstall();

    EXPECT_THAT(machine.calls({"IPackageId::get_FullName", "IPackageId::get_FamilyName"}),
                ElementsAre("IPackageId::get_FullName(PackageId#1) = 0",
                            "IPackageId::get_FamilyName(PackageId#2) = 0"));
}

TEST_F(OlderPackagesTest, TheDeElevatedFormWithoutPackagesStartsNothing) {
    makeDeElevated();

    EXPECT_TRUE(uninstall());

    EXPECT_EQ(logText(), kDeElevatedLines);
    EXPECT_EQ(machine.trace.count("GetShellWindow"), 0U);
}

TEST_F(OlderPackagesTest, ACompanionThatDoesNotStartIsNoFailure) {
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

TEST_F(OlderPackagesTest, ACompanionThatFailsIsNoFailure) {
    makeDeElevated();
    addOlder(1);
    machine.state.desktop->pretended->exitCode = 7;

    EXPECT_TRUE(uninstall());

    EXPECT_THAT(logText(), ::testing::EndsWith("Exit code of helper process 7\n"
                                               "Launching Process as DeElevated SUCCESSFUL\n"
                                               "LaunchProcessDeElevated executed successfully.\n"));
}

TEST_F(OlderPackagesTest, AnEmptyFullNameIsHandedOnAsItIs) {
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

TEST_F(OlderPackagesTest, WithoutALoggedOnSidTheSearchIsMadeWithAnEmptyOne) {
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

TEST_F(OlderPackagesTest, WithoutAnySidAtAllTheFormIsDirect) {
    registry.removeKey(HKEY_LOCAL_MACHINE,
                       L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI");
    permissions.m_currentUserSidString = L"";

    EXPECT_TRUE(uninstall());

    EXPECT_THAT(logText(), ::testing::EndsWith("current user SID \n"
                                               "shouldLaunchRemovalInDeElevatedMode : 0\n"));
}

}  // namespace
