#include "FileHardeningFixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(FileHardeningTest, EachFileGetsOwnerEntriesLabelAndItsLastOwnerInThisOrder) {
    files = {kSecond};

    EXPECT_TRUE(harden());

    const std::string path = quoted(pathOf(kSecond));
    const std::string inherited =
        "allow S-1-5-80-1-2-3-4-5 0x1F01FF flags 0x10; allow S-1-5-32-545 0x1200A9 flags 0x10]";
    const std::string mine = "allow S-1-5-21-1-2-3-1001 0xFFFFFFFF flags 0x0; ";
    const std::string read = "GetNamedSecurityInfoW(" + path +
                             ", 1, 0x4, null, null, out, null, null) = 0";
    EXPECT_THAT(
        machine.calls({"GetNamedSecurityInfoW", "SetNamedSecurityInfoW", "SetEntriesInAclW"}),
        ElementsAre(
            "SetNamedSecurityInfoW(" + path + ", 1, 0x1, S-1-5-21-1-2-3-1001, null, null, null) = 0",
            read,
            "SetEntriesInAclW(1, [access=0xFFFFFFFF mode=1 inheritance=0x0 multiple=null operation=0 form=0 type=0 S-1-5-21-1-2-3-1001], [" +
                inherited + ", given) = 0",
            "SetNamedSecurityInfoW(" + path + ", 1, 0x4, null, null, [" + mine + inherited +
                ", null) = 0",
            read,
            "SetEntriesInAclW(1, [access=0xA0000000 mode=1 inheritance=0x0 multiple=null operation=0 form=0 type=0 S-1-5-32-545], [" +
                mine + inherited + ", given) = 0",
            "SetNamedSecurityInfoW(" + path +
                ", 1, 0x4, null, null, [allow S-1-5-32-545 0xA0000000 flags 0x0; " + mine +
                inherited + ", null) = 0",
            "SetNamedSecurityInfoW(" + path +
                ", 1, 0x10, null, null, null, [label S-1-16-8192 0x1 flags 0x0]) = 0",
            "SetNamedSecurityInfoW(" + path + ", 1, 0x1, S-1-5-18, null, null, null) = 0"));
    expectLostDescriptors(2);
}

TEST_F(FileHardeningTest, TheFirstFileKeepsItsIntegrityLevelAndEveryOtherGetsTheMediumLabel) {
    EXPECT_TRUE(harden());

    EXPECT_EQ(security(pathOf(kAppServiceClient)), hardened(false));
    EXPECT_EQ(security(pathOf(kSecond)), hardened(true));
    EXPECT_EQ(security(pathOf(kThird)), hardened(true));
    EXPECT_EQ(logText(), fullPathLine(kAppServiceClient) + fullPathLine(kSecond) + kLabelDone +
                             fullPathLine(kThird) + kLabelDone + kDone);
    expectLostDescriptors(6);
}

TEST_F(FileHardeningTest, TheLabelComesBetweenTheGrantsAndTheChangeOfOwner) {
    files = {kSecond};
    std::vector<standin::FileSecurity> seen;
    machine.onCall("ConvertStringSecurityDescriptorToSecurityDescriptorW",
                   [&] { seen.push_back(security(pathOf(kSecond))); });

    EXPECT_TRUE(harden());

    standin::FileSecurity granted = hardened(false);
    granted.owner = kUserSid;
    EXPECT_THAT(seen, ElementsAre(granted));
    expectLostDescriptors(2);
}

TEST_F(FileHardeningTest, TheFirstFileIsToldByItsPointerAndNotByItsText) {
    const std::wstring sameText = kAppServiceClient;
    files = {sameText.c_str()};

    EXPECT_TRUE(harden());

    EXPECT_EQ(security(pathOf(kAppServiceClient)), hardened(true));
    EXPECT_EQ(logText(), fullPathLine(kAppServiceClient) + kLabelDone + kDone);
    expectLostDescriptors(2);
}

TEST_F(FileHardeningTest, ThePositionInTheListDoesNotMatter) {
    files = {kSecond, kAppServiceClient};

    EXPECT_TRUE(harden());

    EXPECT_EQ(security(pathOf(kSecond)), hardened(true));
    EXPECT_EQ(security(pathOf(kAppServiceClient)), hardened(false));
    expectLostDescriptors(4);
}

TEST_F(FileHardeningTest, SixFilesGiveSixPathLinesAndOneLineOfSuccess) {
    files = {kAppServiceClient,       kSecond,           kThird,
             L"\\FerroxMessage5.dll", L"\\VeltaPIP.dll", L"\\FerroxControl.dll"};
    std::string expected;
    for (const wchar_t* file : files) {
        writeFile(pathOf(file), "program");
        expected += fullPathLine(file) + (file == kAppServiceClient ? "" : kLabelDone);
    }

    EXPECT_TRUE(harden());

    EXPECT_EQ(logText(), expected + kDone);
    expectLostDescriptors(12);
}

TEST_F(FileHardeningTest, AnEmptyListSucceedsWithoutACall) {
    EXPECT_TRUE(permissions.hardenPackageFiles({}, user.get(), users.get(), system.get()));

    EXPECT_EQ(logText(), kDone);
    EXPECT_THAT(machine.calls({"GetNamedSecurityInfoW", "SetNamedSecurityInfoW"}), IsEmpty());
}

TEST_F(FileHardeningTest, NoSeparatorIsAddedToTheInstallPath) {
    writeFile(scratch / L"AppQK.exe", "program");
    files = {L"QK.exe"};

    EXPECT_TRUE(harden());

    EXPECT_EQ(logText(), fullPathLine(L"QK.exe") + kLabelDone + kDone);
    EXPECT_FALSE(isUntouched(scratch / L"AppQK.exe"));
    expectLostDescriptors(2);
}

TEST_F(FileHardeningTest, ASecondRunLeavesEverythingAsTheFirstDid) {
    EXPECT_TRUE(harden());
    const standin::FileSecurities once = machine.state.fileSecurity;

    EXPECT_TRUE(harden());

    EXPECT_EQ(machine.state.fileSecurity, once);
    expectLostDescriptors(12);
}

TEST_F(FileHardeningTest, AFileThatDoesNotExistEndsItAtItsOwnerAndLaterFilesStayUntouched) {
    removeTree(pathOf(kSecond));

    EXPECT_FALSE(harden());

    EXPECT_EQ(logText(), fullPathLine(kAppServiceClient) + fullPathLine(kSecond) +
                             "Could not set owner. Error: 2.\n");
    EXPECT_EQ(security(pathOf(kAppServiceClient)), hardened(false));
    EXPECT_EQ(security(pathOf(kThird)), packageSecurity());
    expectLostDescriptors(2);
}

TEST_F(FileHardeningTest, AnInstallPathThatDoesNotExistEndsItAtTheFirstFile) {
    permissions.m_packageInstallPath = Platform::String((scratch / L"missing").c_str());

    EXPECT_FALSE(harden());

    EXPECT_EQ(logText(), "fullpath is " + standin::toUtf8(scratch / L"missing") +
                             "\\LumoraSDKAppServiceClient.exe\nCould not set owner. Error: 3.\n");
    EXPECT_EQ(security(pathOf(kAppServiceClient)), packageSecurity());
}

// The privileges in use are those of a process that was just started.
class UnprivilegedHardening : public FileSecurityTest {};

TEST_F(UnprivilegedHardening, AnOwnerThatThePrivilegesDoNotAllowLeavesTheFileWithTheProcessAccount) {
    writeFile(scratch / L"QK.exe", "program");
    ExecutablePermissions permissions;
    permissions.m_packageInstallPath = Platform::String(scratch.path().c_str());
    const Sid user(kUserSid);
    const Sid users(kUsersSid);
    const Sid system(kSystemSid);

    EXPECT_FALSE(permissions.hardenPackageFiles({L"\\QK.exe"}, user.get(), users.get(), system.get()));

    EXPECT_EQ(logText(), "fullpath is " + standin::toUtf8(scratch / L"QK.exe") + "\n" + kLabelDone +
                             "Could not set owner to system. Error: 1307.\n");
    EXPECT_EQ(security(scratch / L"QK.exe").owner, kUserSid);
    EXPECT_TRUE(security(scratch / L"QK.exe").label.has_value());
    expectLostDescriptors(2);
}

}  // namespace
