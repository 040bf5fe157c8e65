#include "RemovalFixture.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using RemovalTest = RemovalFixture;

TEST_F(RemovalTest, TakesThePackageFromTheActingUserAlone) {
    EXPECT_EQ(ended(started()), Completed);

    EXPECT_THAT(package().users, ElementsAre(kOther));
}

TEST_F(RemovalTest, TheActingUserNeedNotBeTheOneOfTheState) {
    machine.runAs(kOther);

    ended(started());

    EXPECT_THAT(package().users, ElementsAre(kUser));
}

TEST_F(RemovalTest, ForAllUsersTakesItFromAll) {
    ended(started(kForAllUsers));

    EXPECT_THAT(machine.state.packages, IsEmpty());
}

TEST_F(RemovalTest, AProvisionedPackageStaysUntilItIsDeprovisioned) {
    package().isProvisioned = true;
    ended(started(kForAllUsers));
    ASSERT_EQ(machine.state.packages.size(), 1U);
    const Text family(L"app_FAMILY");
    {
        Reference operation;
        EXPECT_EQ(
            manager(kIid<standin::abi::IPackageManager8>).call<6>(family.get(), operation.put()),
            S_OK);
        EXPECT_TRUE(package().isProvisioned);
    }

    EXPECT_THAT(machine.state.packages, IsEmpty());
}

TEST_F(RemovalTest, DeprovisioningLeavesThePackageToItsUsers) {
    package().isProvisioned = true;
    const Text family(L"App_family");
    Reference operation;

    manager(kIid<standin::abi::IPackageManager8>).call<6>(family.get(), operation.put());
    ended(operation);

    EXPECT_FALSE(package().isProvisioned);
    EXPECT_THAT(package().users, ElementsAre(kUser, kOther));
}

TEST_F(RemovalTest, APackageThatIsNotThereMakesTheOperationFail) {
    package().users = {kOther};

    const Reference operation = started();

    EXPECT_EQ(ended(operation), Error);
    EXPECT_EQ(errorOf(operation), static_cast<HRESULT>(0x80073CF1));
}

TEST_F(RemovalTest, WrongArgumentsAreRefused) {
    Reference operation;
    const Text name(L"App_full");
    EXPECT_EQ(remove(L"", 0, operation), E_INVALIDARG);
    EXPECT_EQ(remove(L"App_full", 1, operation), E_INVALIDARG);
    EXPECT_EQ(manager(kIid<standin::abi::IPackageManager2>)
                  .call<6>(name.get(), UINT32{0}, static_cast<void**>(nullptr)),
              E_POINTER);
    const Text nothing(L"");
    EXPECT_EQ(manager(kIid<standin::abi::IPackageManager8>).call<6>(nothing.get(), operation.put()),
              E_INVALIDARG);
    EXPECT_EQ(operation.get(), nullptr);
}

TEST_F(RemovalTest, AnOlderSystemHasNoInterfaceForDeprovisioning) {
    machine.state.hasPackageManager8 = false;

    EXPECT_EQ(manager(kIid<standin::abi::IPackageManager8>).get(), nullptr);

    EXPECT_NE(manager(kIid<standin::abi::IPackageManager2>).get(), nullptr);
}

TEST_F(RemovalTest, ARefusedCallGivesNoOperation) {
    plan(RemovalOutcome::Kind::Refused, E_ACCESSDENIED, L"not you");
    Reference operation;

    EXPECT_EQ(remove(L"App_full", 0, operation), E_ACCESSDENIED);

    EXPECT_EQ(operation.get(), nullptr);
    EXPECT_EQ(machine.state.errorObject->restrictedDescription, L"not you");
}

}  // namespace
