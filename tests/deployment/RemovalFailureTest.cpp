#include "OlderPackagesFixture.h"
#include "platform/AsyncWait.h"

namespace {

using standin::RemovalOutcome;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kDenied[] = "UninstallApp failed because access was denied.\n";
constexpr char kBroken[] = "UninstallApp failed. Error message: it is broken\n";

// Three packages, of which the second cannot be removed.
struct SecondFails {
    const char* name;
    RemovalOutcome outcome;
    const char* line;
    size_t usersLeft = 2;
};

void PrintTo(const SecondFails& row, std::ostream* out) {
    *out << row.name;
}

constexpr auto kDeniedCode = static_cast<int32_t>(kAccessDenied);
constexpr auto kFailureCode = static_cast<int32_t>(kFailure);

const SecondFails kSecondFails[] = {
    {"CallRefused", {RemovalOutcome::Kind::Refused, kFailureCode, L"it is broken", false}, kBroken},
    {"CallDenied", {RemovalOutcome::Kind::Refused, kDeniedCode, L"", false}, kDenied},
    {"OperationFailed", {RemovalOutcome::Kind::Failed, kFailureCode, L"it is broken", false}, kBroken},
    {"OperationFailedAtOnce",
     {RemovalOutcome::Kind::Failed, kFailureCode, L"it is broken", true},
     kBroken},
    {"OperationDenied", {RemovalOutcome::Kind::Failed, kDeniedCode, L"", false}, kDenied},
    {"ErrorInTheResult",
     {RemovalOutcome::Kind::DoneWithError, kFailureCode, L"it is broken", false},
     kBroken},
    {"ErrorInTheResultAtOnce",
     {RemovalOutcome::Kind::DoneWithError, kFailureCode, L"it is broken", true},
     kBroken},
    // Required: in a result the code does not say which line it is.
    {"DeniedInTheResult",
     {RemovalOutcome::Kind::DoneWithError, kDeniedCode, L"it is broken", false},
     kBroken},
    {"ErrorInTheResultWithoutText",
     {RemovalOutcome::Kind::DoneWithError, kFailureCode, L"", false},
     "UninstallApp failed. Error message: \n"},
    {"ResultsDenied", {RemovalOutcome::Kind::ResultsLost, kDeniedCode, L"", false}, kDenied, 1},
};

class SecondRemovalFailsTest : public OlderPackagesFixture,
                               public ::testing::WithParamInterface<SecondFails> {
protected:
    SecondRemovalFailsTest() {
        addThree();
        machine.state.packages[1].removal = GetParam().outcome;
    }

    static std::string expectedLog() {
        return std::string(kDirectLines) + "Uninstalling Velta.LC.QK_1.0.0.0_x64\n" +
               "Uninstalling Velta.LC.QK_2.0.0.0_x64\n" + GetParam().line +
               "Uninstalling Velta.LC.QK_3.0.0.0_x64\n";
    }
};

TEST_P(SecondRemovalFailsTest, TheOthersAreRemovedAllTheSame) {
    EXPECT_FALSE(uninstall());

    EXPECT_EQ(logText(), expectedLog());
    EXPECT_THAT(leftPackages(),
                ElementsAre("Velta.LC.QK_1.0.0.0_x64: 1",
                            "Velta.LC.QK_2.0.0.0_x64: " + std::to_string(GetParam().usersLeft),
                            "Velta.LC.QK_3.0.0.0_x64: 1"));
}

INSTANTIATE_TEST_SUITE_P(EachWay, SecondRemovalFailsTest, ::testing::ValuesIn(kSecondFails),
                         [](const auto& row) { return row.param.name; });

// A call of the package step that fails for the second of three packages.
struct FailingCall {
    const char* name;
    size_t index;
    bool isBeforeTheRemoval;
};

void PrintTo(const FailingCall& row, std::ostream* out) {
    *out << row.name << ":" << row.index;
}

const FailingCall kFailingCalls[] = {
    {"IPackage::get_Id", 3, true},
    {"IPackageId::get_FullName", 2, true},
    {"IPackage::get_Id", 4, true},
    {"IPackageId::get_FamilyName", 2, true},
    {"PackageManager::QueryInterface", 3, false},
    {"IPackageManager2::RemovePackageWithOptionsAsync", 2, false},
    {"IAsyncOperationWithProgress::put_Completed", 2, false},
    {"IAsyncOperationWithProgress::GetResults", 2, false},
    {"IDeploymentResult::get_ExtendedErrorCode", 2, false},
};

class RemovalFailingCallTest : public OlderPackagesFixture,
                               public ::testing::WithParamInterface<FailingCall> {
protected:
    RemovalFailingCallTest() { addThree(); }

    std::string expectedLog(const std::string& line) const {
        return std::string(kDirectLines) + "Uninstalling Velta.LC.QK_1.0.0.0_x64\n" +
               (GetParam().isBeforeTheRemoval ? "" : "Uninstalling Velta.LC.QK_2.0.0.0_x64\n") +
               line + "Uninstalling Velta.LC.QK_3.0.0.0_x64\n";
    }
};

TEST_P(RemovalFailingCallTest, AccessDeniedHasALineOfItsOwn) {
    machine.failNth(GetParam().name, GetParam().index, kAccessDenied);

    EXPECT_FALSE(uninstall());

    EXPECT_EQ(logText(), expectedLog(kDenied));
}

TEST_P(RemovalFailingCallTest, AnyOtherFailureIsLoggedWithItsMessage) {
    machine.failNth(GetParam().name, GetParam().index, kFailure);

    EXPECT_FALSE(uninstall());

    EXPECT_EQ(logText(), expectedLog("UninstallApp failed. Error message: " +
                                     messageOf(static_cast<HRESULT>(kFailure)) + "\n"));
}

INSTANTIATE_TEST_SUITE_P(EachCall, RemovalFailingCallTest, ::testing::ValuesIn(kFailingCalls),
                         [](const auto& row) { return std::to_string(row.index); });

class RemovalFailureTest : public OlderPackagesFixture {
protected:
    void makeSecond(RemovalOutcome::Kind kind, int32_t error = 0, const wchar_t* text = L"") {
        machine.state.packages[1].removal = {kind, error, text, false};
    }
    size_t deprovisionings() const {
        return machine.trace.count("IPackageManager8::DeprovisionPackageForAllUsersAsync");
    }
};

TEST_F(RemovalFailureTest, AnErrorTextThatCannotBeReadIsAFailureOfItsOwn) {
    addThree();
    makeSecond(RemovalOutcome::Kind::DoneWithError, kFailureCode, L"never seen");
    machine.failNext("IDeploymentResult::get_ErrorText", kAccessDenied);

    EXPECT_FALSE(uninstall());

    EXPECT_EQ(logText(), std::string(kDirectLines) +
                             "Uninstalling Velta.LC.QK_1.0.0.0_x64\n"
                             "Uninstalling Velta.LC.QK_2.0.0.0_x64\n" +
                             kDenied + "Uninstalling Velta.LC.QK_3.0.0.0_x64\n");
}

TEST_F(RemovalFailureTest, AnErrorCodeThatCannotBeReadIsTheFailure) {
    addThree();
    makeSecond(RemovalOutcome::Kind::Failed, kFailureCode, L"never seen");
    machine.failNext("IAsyncInfo::get_ErrorCode", kAccessDenied);

    EXPECT_FALSE(uninstall());

    EXPECT_THAT(logText(), ::testing::HasSubstr(kDenied));
}

TEST_F(RemovalFailureTest, AnEmptyFullNameIsTheSystemsToRefuse) {
    addOlder(1).fullName = L"";
    addOlder(2);

    EXPECT_FALSE(uninstall());

    EXPECT_EQ(logText(), std::string(kDirectLines) + "Uninstalling \n" +
                             "UninstallApp failed. Error message: " + messageOf(E_INVALIDARG) +
                             "\nUninstalling Velta.LC.QK_2.0.0.0_x64\n");
}

TEST_F(RemovalFailureTest, ACancelledRemovalLeavesTheFunctionAsStandardException) {
    addThree();
    makeSecond(RemovalOutcome::Kind::Canceled);

    try {
        uninstall();
        ADD_FAILURE() << "no exception";
    } catch (const std::exception& exception) {
        EXPECT_NE(dynamic_cast<const Concurrency::task_canceled*>(&exception), nullptr);
        EXPECT_STREQ(exception.what(), "Unknown exception");
    }

    EXPECT_EQ(logText(), std::string(kDirectLines) +
                             "Uninstalling Velta.LC.QK_1.0.0.0_x64\n"
                             "Uninstalling Velta.LC.QK_2.0.0.0_x64\n");
    EXPECT_THAT(leftPackages(), ElementsAre("Velta.LC.QK_1.0.0.0_x64: 1", "Velta.LC.QK_2.0.0.0_x64: 2",
                                            "Velta.LC.QK_3.0.0.0_x64: 2"));
}

// Required: deprovisioning stands between waiting, which a cancelled removal passes, and its result.
TEST_F(RemovalFailureTest, ACancelledRemovalIsDeprovisionedBeforeItThrows) {
    addOlder(1).removal.kind = RemovalOutcome::Kind::Canceled;
    makeEnterprise();

    EXPECT_THROW(uninstall(), Concurrency::task_canceled);

    EXPECT_EQ(deprovisionings(), 1U);
    EXPECT_THAT(leftPackages(), ElementsAre("Velta.LC.QK_1.0.0.0_x64: 2"));
}

TEST_F(RemovalFailureTest, WhatCouldNotBeRemovedIsNotDeprovisioned) {
    const RemovalOutcome outcomes[] = {
        {RemovalOutcome::Kind::Refused, kDeniedCode, L"", false},
        {RemovalOutcome::Kind::Failed, kDeniedCode, L"", false},
        {RemovalOutcome::Kind::ResultsLost, kDeniedCode, L"", false},
    };
    for (const RemovalOutcome& outcome : outcomes) {
        machine.state.packages.clear();
        addOlder(1).removal = outcome;
        makeEnterprise();

        EXPECT_FALSE(uninstall());

        EXPECT_EQ(deprovisionings(), 0U);
    }
}

// Required: the result's code is looked at only after the deprovisioning.
TEST_F(RemovalFailureTest, AnErrorInTheResultDoesNotKeepFromDeprovisioning) {
    addOlder(1).removal = {RemovalOutcome::Kind::DoneWithError, kFailureCode, L"it is broken", false};
    makeEnterprise();

    EXPECT_FALSE(uninstall());

    EXPECT_EQ(deprovisionings(), 1U);
    EXPECT_THAT(leftPackages(), ElementsAre("Velta.LC.QK_1.0.0.0_x64: 2"));
    EXPECT_THAT(logText(), ::testing::EndsWith(kBroken));
}

// Required: false although the package is gone.
TEST_F(RemovalFailureTest, AnOlderSystemCannotDeprovisionAndThatCountsAsFailure) {
    machine.state.hasPackageManager8 = false;
    addOlder(1);
    addOlder(2);
    makeEnterprise();

    EXPECT_FALSE(uninstall());

    const std::string line = "UninstallApp failed. Error message: " +
                             messageOf(static_cast<HRESULT>(kNoInterface)) + "\n";
    EXPECT_EQ(logText(), std::string(kDirectLines) + "Uninstalling Velta.LC.QK_1.0.0.0_x64\n" +
                             line + "Uninstalling Velta.LC.QK_2.0.0.0_x64\n" + line);
    EXPECT_THAT(leftPackages(),
                ElementsAre("Velta.LC.QK_1.0.0.0_x64: 0+", "Velta.LC.QK_2.0.0.0_x64: 0+"));
}

TEST_F(RemovalFailureTest, TheDirectFormNeedsNoNewerSystem) {
    machine.state.hasPackageManager8 = false;
    addOlder(1);

    EXPECT_TRUE(uninstall());
}

TEST_F(RemovalFailureTest, ARefusedDeprovisioningCountsAsFailure) {
    addOlder(1);
    makeEnterprise();
    machine.failNext("IPackageManager8::DeprovisionPackageForAllUsersAsync", kAccessDenied);

    EXPECT_FALSE(uninstall());

    EXPECT_EQ(logText(),
              std::string(kDirectLines) + "Uninstalling Velta.LC.QK_1.0.0.0_x64\n" + kDenied);
    EXPECT_EQ(machine.trace.count("IDeploymentResult::get_ExtendedErrorCode"), 0U);
}

TEST_F(RemovalFailureTest, NobodyWaitsForTheDeprovisioning) {
    addOlder(1);
    makeEnterprise();

    EXPECT_TRUE(uninstall());

    EXPECT_THAT(
        machine.calls({"IAsyncOperationWithProgress::put_Completed",
                       "IAsyncOperationWithProgress::GetResults"}),
        ElementsAre("IAsyncOperationWithProgress::put_Completed(DeploymentOperation#1, handler) = 0",
                    "IAsyncOperationWithProgress::GetResults(DeploymentOperation#1) = 0"));
}

}  // namespace
