#include <stdexcept>

#include "CatalogueTest.h"
#include "platform/PlatformException.h"
#include "stand-in/Text.h"

namespace {

// What is known when a call fails: nothing, the path, or all of it.
enum class Known { Nothing, Path, All };

struct FailingCall {
    const char* name;
    size_t index;
    Known known;
};

void PrintTo(const FailingCall& row, std::ostream* out) {
    *out << row.name << ":" << row.index;
}

const FailingCall kFailingCalls[] = {
    {"RoGetActivationFactory", 1, Known::Nothing},
    {"IActivationFactory::ActivateInstance", 1, Known::Nothing},
    {"PackageManager::QueryInterface", 1, Known::Nothing},
    {"IPackageManager::FindPackagesByNamePublisher", 1, Known::Nothing},
    {"IIterable<Package>::First", 1, Known::Nothing},
    {"IIterator<Package>::get_HasCurrent", 1, Known::Nothing},
    {"IIterator<Package>::get_Current", 1, Known::Nothing},
    {"IPackage::get_Id", 1, Known::Nothing},
    {"IPackageId::get_Version", 1, Known::Nothing},
    {"IPackage::get_Id", 2, Known::Nothing},
    {"IPackageId::get_Name", 1, Known::Nothing},
    {"IPackage::get_InstalledLocation", 1, Known::Nothing},
    {"StorageFolder::QueryInterface", 1, Known::Nothing},
    {"IStorageItem::get_Path", 1, Known::Nothing},
    {"IPackage::get_Id", 3, Known::Path},
    {"IPackageId::get_FamilyName", 1, Known::Path},
    {"IIterator<Package>::MoveNext", 1, Known::All},
    {"IIterator<Package>::get_Current", 2, Known::All},
    {"IPackageId::get_Version", 2, Known::All},
};

class PackageLookupFailureTest : public CatalogueTest {
protected:
    PackageLookupFailureTest() {
        permissions.m_productName = Platform::String(L"Velta.QK");
        permissions.m_version = Platform::String(L"40.1.0.0");
        addPackage(L"Velta.QK", kCurrentPublisher, {40, 1, 0, 0});
        addPackage(L"Velta.QK", kCurrentPublisher, {39, 0, 0, 0});
        machine.trace.clear();
    }

    void expectFound(Known known) {
        EXPECT_EQ(permissions.m_packageInstallPath.str(),
                  known == Known::Nothing ? L"" : scratch / L"Velta.QK_40.1.0.0_x64");
        EXPECT_EQ(permissions.m_packageFamilyName.str(),
                  known == Known::All ? L"Velta.QK_family" : L"");
    }
};

class PackageLookupFailingCallTest : public PackageLookupFailureTest,
                                     public ::testing::WithParamInterface<FailingCall> {};

TEST_P(PackageLookupFailingCallTest, AccessDeniedHasALineOfItsOwn) {
    machine.failNth(GetParam().name, GetParam().index, kAccessDenied);

    EXPECT_EQ(permissions.findPackage(), GetParam().known == Known::All);

    EXPECT_EQ(logText(), "FindPackages failed because access was denied.\n");
    expectFound(GetParam().known);
}

TEST_P(PackageLookupFailingCallTest, AnyOtherFailureIsLoggedWithItsMessage) {
    machine.failNth(GetParam().name, GetParam().index, kFailure);
    describeFailure(kFailure, L"the catalogue is broken");

    EXPECT_EQ(permissions.findPackage(), GetParam().known == Known::All);

    EXPECT_EQ(logText(), "FindPackages failed. Error message: the catalogue is broken\n");
    expectFound(GetParam().known);
}

INSTANTIATE_TEST_SUITE_P(EachCall, PackageLookupFailingCallTest, ::testing::ValuesIn(kFailingCalls),
                         [](const auto& row) { return std::to_string(row.index); });

TEST_F(PackageLookupFailureTest, WithoutADescriptionTheMessageIsTheSystemsText) {
    machine.failNext("IPackageManager::FindPackagesByNamePublisher", 0x8007000E);
    const std::wstring message = Platform::Exception(E_OUTOFMEMORY, {}).message();
    ASSERT_NE(message, L"");

    EXPECT_FALSE(permissions.findPackage());

    EXPECT_EQ(logText(), "FindPackages failed. Error message: " + standin::toUtf8(message) + "\n");
}

TEST_F(PackageLookupFailureTest, AnInstallPathThatDoesNotExistIsAFailure) {
    removeTree(scratch / L"Velta.QK_40.1.0.0_x64");
    const auto missing = static_cast<HRESULT>(0x80070002);
    const std::wstring message = Platform::Exception(missing, {}).message();

    EXPECT_FALSE(permissions.findPackage());

    EXPECT_EQ(logText(), "FindPackages failed. Error message: " + standin::toUtf8(message) + "\n");
    expectFound(Known::Nothing);
}

TEST_F(PackageLookupFailureTest, AStandardExceptionTravelsToTheCaller) {
    const auto compare = replaceImport<decltype(&::WindowsCompareStringOrdinal)>(
        "WindowsCompareStringOrdinal",
        [](auto, HSTRING, HSTRING, INT32*) -> HRESULT { throw std::runtime_error("not mine"); });

    EXPECT_THROW(permissions.findPackage(), std::runtime_error);

    EXPECT_EQ(logText(), "");
}

}  // namespace
