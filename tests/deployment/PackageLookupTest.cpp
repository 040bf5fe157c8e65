#include <stdexcept>

#include "CatalogueTest.h"
#include "stand-in/Text.h"

namespace {

using ::testing::ElementsAre;

class PackageLookupTest : public CatalogueTest {
protected:
    PackageLookupTest() { ask(L"Velta.QK", L"40.1.0.0"); }

    void ask(const wchar_t* name, const wchar_t* version) {
        permissions.m_productName = Platform::String(name);
        permissions.m_version = Platform::String(version);
        machine.trace.clear();
    }

    void expectNothingFound() {
        EXPECT_EQ(permissions.m_packageInstallPath.str(), L"");
        EXPECT_EQ(permissions.m_packageFamilyName.str(), L"");
    }
};

TEST_F(PackageLookupTest, RecordsInstallPathAndFamilyNameOfThePackage) {
    addPackage(L"Velta.QK", kCurrentPublisher, {40, 1, 0, 0});

    EXPECT_TRUE(permissions.findPackage());

    EXPECT_EQ(permissions.m_packageInstallPath.str(), scratch / L"Velta.QK_40.1.0.0_x64");
    EXPECT_EQ(permissions.m_packageFamilyName.str(), L"Velta.QK_family");
    EXPECT_EQ(logText(), "");
}

TEST_F(PackageLookupTest, CallsComeInTheStatedOrder) {
    addPackage(L"Velta.QK", kCurrentPublisher, {40, 1, 0, 0});
    const std::string folder = standin::toUtf8(scratch / L"Velta.QK_40.1.0.0_x64");
    const std::string publisher = standin::toUtf8(kCurrentPublisher);

    permissions.findPackage();

    std::vector<std::string> calls;
    for (const standin::Call& call : machine.trace.all()) {
        const bool handlesStrings = call.name.starts_with("Windows") &&
                                    call.name != "WindowsCompareStringOrdinal";
        const bool isSystemsOwn = call.name == "ActivationFactory::QueryInterface";
        if (!handlesStrings && !isSystemsOwn) calls.push_back(call.text());
    }
    EXPECT_THAT(
        calls,
        ElementsAre(
            "RoGetActivationFactory(\"Windows.Management.Deployment.PackageManager\", {00000035-0000-0000-C000-000000000046}, ActivationFactory#1) = 0",
            "IActivationFactory::ActivateInstance(ActivationFactory#1) = 0",
            "PackageManager::QueryInterface(PackageManager#1, {9A7D4B65-5E8F-4FC7-A2E5-7F6925CB8B53}) = 0",
            "IPackageManager::FindPackagesByNamePublisher(PackageManager#1, \"Velta.QK\", \"" +
                publisher + "\") = 0",
            "IIterable<Package>::First(Iterable#1) = 0",
            "IIterator<Package>::get_HasCurrent(Iterator#1) = 0",
            "IIterator<Package>::get_Current(Iterator#1) = 0", "IPackage::get_Id(Package#1) = 0",
            "IPackageId::get_Version(PackageId#1) = 0", "IPackage::get_Id(Package#1) = 0",
            "IPackageId::get_Name(PackageId#2) = 0",
            "WindowsCompareStringOrdinal(\"Velta.QK\", \"Velta.QK\", 0) = 0",
            "WindowsCompareStringOrdinal(\"40.1.0.0\", \"40.1.0.0\", 0) = 0",
            "IPackage::get_InstalledLocation(Package#1) = 0",
            "StorageFolder::QueryInterface(StorageFolder#1, {4207A996-CA2F-42F7-BDE8-8B10457A7F30}) = 0",
            "IStorageItem::get_Path(StorageFolder#1) = 0", "IPackage::get_Id(Package#1) = 0",
            "IPackageId::get_FamilyName(PackageId#3) = 0",
            "IIterator<Package>::MoveNext(Iterator#1) = 0",
            "WindowsCompareStringOrdinal(\"" + folder + "\", \"\", 1) = 0",
            "WindowsCompareStringOrdinal(\"Velta.QK_family\", \"\", 1) = 0"));
}

TEST_F(PackageLookupTest, NoSuchPackageIsNoFailureToLog) {
    EXPECT_FALSE(permissions.findPackage());

    expectNothingFound();
    EXPECT_EQ(logText(), "");
}

TEST_F(PackageLookupTest, AnotherVersionIsPassedOver) {
    addPackage(L"Velta.QK", kCurrentPublisher, {40, 1, 0, 1});

    EXPECT_FALSE(permissions.findPackage());

    expectNothingFound();
    EXPECT_EQ(logText(), "");
}

TEST_F(PackageLookupTest, PackagesOfOtherUsersCount) {
    addPackage(L"Velta.QK", kCurrentPublisher, {40, 1, 0, 0}).users = {kOtherUser};

    EXPECT_TRUE(permissions.findPackage());
}

TEST_F(PackageLookupTest, ANameThatDiffersInCaseIsListedAndRejected) {
    addPackage(L"velta.qk", kCurrentPublisher, {40, 1, 0, 0});

    EXPECT_FALSE(permissions.findPackage());

    expectNothingFound();
    EXPECT_EQ(machine.trace.count("IPackageId::get_Name"), 1U);
}

TEST_F(PackageLookupTest, TheVersionTextIsFormedBeforeTheNameIsLookedAt) {
    addPackage(L"velta.qk", kCurrentPublisher, {40, 1, 0, 0});

    permissions.findPackage();

    EXPECT_THAT(machine.calls({"IPackageId::get_Version", "IPackageId::get_Name",
                               "WindowsCompareStringOrdinal"}),
                ElementsAre("IPackageId::get_Version(PackageId#1) = 0",
                            "IPackageId::get_Name(PackageId#2) = 0",
                            "WindowsCompareStringOrdinal(\"velta.qk\", \"Velta.QK\", 1) = 0",
                            "WindowsCompareStringOrdinal(\"\", \"\", 0) = 0"));
}

TEST_F(PackageLookupTest, VersionsAreComparedAsTextsOfFourPlainNumbers) {
    addPackage(L"Velta.QK", kCurrentPublisher, {40, 1, 0, 65535});
    const struct {
        const wchar_t* asked;
        bool isFound;
    } rows[] = {
        {L"40.1.0.65535", true},   {L"40.1.0", false},
        {L"40.1.0.065535", false}, {L"40.1.0.0", false},
        {L"040.1.0.65535", false}, {L"40.1.0.65535.0", false},
        {L" 40.1.0.65535", false}, {L"", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(standin::toUtf8(row.asked));
        ask(L"Velta.QK", row.asked);

        EXPECT_EQ(permissions.findPackage(), row.isFound);
    }
    EXPECT_EQ(logText(), "");
}

TEST_F(PackageLookupTest, TheLastOfTwoMatchesWins) {
    addPackage(L"Velta.QK", kCurrentPublisher, {40, 1, 0, 0});
    standin::InstalledPackage& second = addPackage(L"Velta.QK", kCurrentPublisher, {40, 1, 0, 0});
    second.familyName = L"second family";
    second.installPath = scratch / L"second";
    makeFolder(second.installPath);

    EXPECT_TRUE(permissions.findPackage());

    EXPECT_EQ(permissions.m_packageInstallPath.str(), scratch / L"second");
    EXPECT_EQ(permissions.m_packageFamilyName.str(), L"second family");
    EXPECT_EQ(machine.trace.count("IStorageItem::get_Path"), 2U);
}

TEST_F(PackageLookupTest, AMatchIsKeptWhenLaterPackagesDoNotMatch) {
    addPackage(L"Velta.QK", kCurrentPublisher, {40, 1, 0, 0});
    addPackage(L"Velta.QK", kCurrentPublisher, {41, 0, 0, 0});

    EXPECT_TRUE(permissions.findPackage());

    EXPECT_EQ(permissions.m_packageInstallPath.str(), scratch / L"Velta.QK_40.1.0.0_x64");
    EXPECT_EQ(machine.trace.count("IPackageId::get_Version"), 2U);
}

TEST_F(PackageLookupTest, ThePublishersLegacyNameIsNotSeen) {
    addPackage(L"Velta.QK", kLegacyPublisher, {40, 1, 0, 0});

    EXPECT_FALSE(permissions.findPackage());

    EXPECT_EQ(machine.trace.count("IPackageId::get_Version"), 0U);
}

TEST_F(PackageLookupTest, WhatAnEarlierCallFoundIsGoneWhenALaterOneFails) {
    addPackage(L"Velta.QK", kCurrentPublisher, {40, 1, 0, 0});
    ASSERT_TRUE(permissions.findPackage());
    machine.failNext("RoGetActivationFactory", kAccessDenied);

    EXPECT_FALSE(permissions.findPackage());

    expectNothingFound();
}

TEST_F(PackageLookupTest, AnEmptyFamilyNameIsNoPackage) {
    addPackage(L"Velta.QK", kCurrentPublisher, {40, 1, 0, 0}).familyName = L"";

    EXPECT_FALSE(permissions.findPackage());

    EXPECT_EQ(permissions.m_packageInstallPath.str(), scratch / L"Velta.QK_40.1.0.0_x64");
    EXPECT_EQ(logText(), "");
}

TEST_F(PackageLookupTest, AnEmptyPackageNameMatchesAnEmptyArgument) {
    ask(L"", L"40.1.0.0");
    addPackage(L"", kCurrentPublisher, {40, 1, 0, 0});

    EXPECT_TRUE(permissions.findPackage());
}

}  // namespace
