#include "OlderPackagesFixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A call of the search or of the walk; with three packages, so many of them were seen by then.
struct FailingCall {
    const char* name;
    size_t index;
    uint16_t seen;
};

void PrintTo(const FailingCall& row, std::ostream* out) {
    *out << row.name << ":" << row.index;
}

const FailingCall kWalk[] = {
    {"IPackageManager::FindPackagesByUserSecurityIdNamePublisher", 1, 0},
    {"IIterable<Package>::First", 1, 0},
    {"IIterator<Package>::get_HasCurrent", 1, 0},
    {"IIterator<Package>::get_Current", 1, 0},
    {"IIterator<Package>::MoveNext", 1, 1},
    {"IIterator<Package>::get_Current", 2, 1},
    {"IIterator<Package>::MoveNext", 2, 2},
    {"IIterator<Package>::get_Current", 3, 2},
    {"IIterator<Package>::MoveNext", 3, 3},
};

class OlderPackageSearchFailureTest : public OlderPackagesFixture {
protected:
    OlderPackageSearchFailureTest() { addThree(); }
};

class OlderPackageWalkFailureTest : public OlderPackageSearchFailureTest,
                                    public ::testing::WithParamInterface<FailingCall> {
protected:
    // A line for each package that was seen.
    static std::string lines(const char* text) {
        std::string all;
        for (int i = 1; i <= GetParam().seen; ++i)
            all += text + ("Velta.LC.QK_" + std::to_string(i)) + ".0.0.0_x64\n";
        return all;
    }
};

TEST_P(OlderPackageWalkFailureTest, AccessDeniedEndsTheDirectForm) {
    machine.failNth(GetParam().name, GetParam().index, kAccessDenied);

    EXPECT_FALSE(uninstall());

    EXPECT_EQ(logText(), kDirectLines + lines("Uninstalling ") +
                             "FindPackagesForUser failed because access was denied.\n");
}

TEST_P(OlderPackageWalkFailureTest, AnyOtherFailureIsLoggedWithItsMessage) {
    machine.failNth(GetParam().name, GetParam().index, kFailure);

    EXPECT_FALSE(uninstall());

    EXPECT_EQ(logText(), kDirectLines + lines("Uninstalling ") +
                             "FindPackagesForUser failed. Error message: " +
                             messageOf(static_cast<HRESULT>(kFailure)) + "\n");
}

TEST_P(OlderPackageWalkFailureTest, NoCompanionIsStartedForWhatWasListedByThen) {
    makeDeElevated();
    machine.failNth(GetParam().name, GetParam().index, kAccessDenied);

    EXPECT_FALSE(uninstall());

    EXPECT_EQ(logText(), kDeElevatedLines + lines("Adding package in packagesToUninstall list: ") +
                             "FindPackagesForUser failed because access was denied.\n");
    EXPECT_EQ(machine.trace.count("GetShellWindow"), 0U);
}

INSTANTIATE_TEST_SUITE_P(EachCall, OlderPackageWalkFailureTest, ::testing::ValuesIn(kWalk),
                         [](const auto& row) { return std::to_string(row.index); });

// Required: the line names the search for a user whatever was called.
TEST_F(OlderPackageSearchFailureTest, AnEnterpriseDeploymentLogsTheOtherSearchsName) {
    makeEnterprise();
    machine.failNext("IPackageManager::FindPackagesByNamePublisher", kAccessDenied);

    EXPECT_FALSE(uninstall());

    EXPECT_EQ(logText(),
              std::string(kDirectLines) + "FindPackagesForUser failed because access was denied.\n");
}

TEST_F(OlderPackageSearchFailureTest, WithoutAPackageManagerTheSidsAreNotEvenRead) {
    for (const char* const call : {"RoGetActivationFactory", "IActivationFactory::ActivateInstance",
                                   "PackageManager::QueryInterface"}) {
        SCOPED_TRACE(call);
        machine.failNext(call, kFailure);
        describeFailure(kFailure, L"no manager");
        const size_t before = logText().size();

        EXPECT_FALSE(uninstall());

        EXPECT_EQ(logText().substr(before),
                  "FindPackagesForUser failed. Error message: no manager\n");
    }
}

TEST_F(OlderPackageSearchFailureTest, TheMessageIsTheDescriptionThatCameWithTheFailure) {
    machine.failNth("IIterator<Package>::MoveNext", 1, kFailure);
    machine.onCall("IIterator<Package>::MoveNext",
                   [this] { describeFailure(kFailure, L"the catalogue is broken"); });

    EXPECT_FALSE(uninstall());

    EXPECT_THAT(
        logText(),
        ::testing::EndsWith("FindPackagesForUser failed. Error message: the catalogue is broken\n"));
}

TEST_F(OlderPackageSearchFailureTest, WhatWasRemovedBeforeTheFailureStaysRemoved) {
    machine.failNth("IIterator<Package>::MoveNext", 2, kAccessDenied);

    uninstall();

    EXPECT_THAT(leftPackages(), ElementsAre("Velta.LC.QK_1.0.0.0_x64: 1", "Velta.LC.QK_2.0.0.0_x64: 1",
                                            "Velta.LC.QK_3.0.0.0_x64: 2"));
}

TEST_F(OlderPackageSearchFailureTest, ANameThatCannotBeReadIsLeftOutOfTheCompanionsList) {
    makeDeElevated();
    machine.failNth("IPackageId::get_FullName", 2, kAccessDenied);

    EXPECT_FALSE(uninstall());

    const auto starts = machine.calls({"CreateProcessWithTokenW"});
    ASSERT_EQ(starts.size(), 1U);
    EXPECT_THAT(
        starts[0],
        ::testing::HasSubstr(
            "\"LSDKConfiguratorHelper.exe Velta.LC.QK_1.0.0.0_x64 Velta.LC.QK_3.0.0.0_x64\""));
    EXPECT_THAT(logText(), ::testing::HasSubstr("UninstallApp failed because access was denied.\n"));
}

}  // namespace
