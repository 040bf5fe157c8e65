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

}  // namespace
