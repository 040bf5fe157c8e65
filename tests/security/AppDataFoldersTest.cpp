#include "UserFoldersFixture.h"

namespace {

using ::testing::ElementsAre;

static_assert(CSIDL_PROGRAM_FILES_COMMON == 0x2B && FILE_ATTRIBUTE_DIRECTORY == 16);

class AppDataFoldersTest : public UserFoldersTest {
protected:
    AppDataFoldersTest() {
        makeFolder(base);
        machine.trace.clear();
    }

    bool ensureFolders(const FolderComponents& components) {
        return ensureAppDataDirPermissions(base, components, out);
    }

    const std::wstring base = scratch / L"Roaming";
};

TEST_F(AppDataFoldersTest, MissingFoldersAreMadeAndOnlyTheLastGetsTheGrant) {
    EXPECT_TRUE(ensureFolders({L"Velta", L"MeshSync", L"TQX"}));

    EXPECT_EQ(out, base + L"\\Velta\\MeshSync\\TQX");
    EXPECT_TRUE(isGranted(base + L"\\Velta\\MeshSync\\TQX"));
    EXPECT_TRUE(exists(base + L"\\Velta\\MeshSync"));
    EXPECT_TRUE(isUntouched(base + L"\\Velta\\MeshSync"));
    EXPECT_TRUE(isUntouched(base + L"\\Velta"));
    EXPECT_TRUE(isUntouched(base));
    EXPECT_EQ(logText(), grantedLines(base + L"\\Velta\\MeshSync\\TQX"));
}

TEST_F(AppDataFoldersTest, EachFolderIsLookedForBeforeItIsMade) {
    makeFolder(base + L"\\Velta");

    EXPECT_TRUE(ensureFolders({L"Velta", L"RXP"}));

    const std::string path = standin::toUtf8(base);
    EXPECT_THAT(machine.calls({"FindFirstFileW", "FindClose", "CreateDirectoryW"}),
                ElementsAre("FindFirstFileW(\"" + path + "\", \"Roaming\") = search#1",
                            "FindClose(search#1) = 1",
                            "FindFirstFileW(\"" + path + "\\Velta\", \"Velta\") = search#2",
                            "FindClose(search#2) = 1",
                            "FindFirstFileW(\"" + path + "\\Velta\\RXP\", out) = -1, error 2",
                            "CreateDirectoryW(\"" + path + "\\Velta\\RXP\", null) = 1"));
}

TEST_F(AppDataFoldersTest, AFolderThatHasTheGrantIsLeftAlone) {
    makeFolder(base + L"\\Velta");
    setList(base + L"\\Velta", standin::AccessList{{kAllow, 0, 0x10000000, kAnyPackageSid}});
    const standin::FileSecurities before = machine.state.fileSecurity;

    EXPECT_TRUE(ensureFolders({L"Velta"}));

    EXPECT_EQ(out, base + L"\\Velta");
    EXPECT_EQ(machine.state.fileSecurity, before);
    EXPECT_EQ(machine.trace.count("SetNamedSecurityInfoW"), 0u);
    EXPECT_EQ(logText(), alreadyGrantedLine(base + L"\\Velta"));
}

TEST_F(AppDataFoldersTest, AGrantThatLacksTheBitIsReplaced) {
    makeFolder(base + L"\\Velta");
    setList(base + L"\\Velta", standin::AccessList{{kAllow, 3, 0x1F01FF, kAnyPackageSid},
                                                   {kAllow, 3, 0x1200A9, kUsersSid}});

    EXPECT_TRUE(ensureFolders({L"Velta"}));

    EXPECT_EQ(listText(base + L"\\Velta"),
              "[allow S-1-15-2-1 0x10000000 flags 0x3; allow S-1-5-32-545 0x1200A9 flags 0x3]");
    EXPECT_EQ(logText(), grantedLines(base + L"\\Velta"));
}

TEST_F(AppDataFoldersTest, AListThatCannotBeReadIsTriedAgainByTheGrant) {
    machine.failNext("GetNamedSecurityInfoW", ERROR_ACCESS_DENIED);

    EXPECT_TRUE(ensureFolders({L"Velta"}));

    EXPECT_EQ(logText(), "GetNamedSecurityInfo failed for TQXUWP/HasPermissions\n" +
                             grantedLines(base + L"\\Velta"));
}

TEST_F(AppDataFoldersTest, AGrantThatFailsIsLoggedAndGivesFalse) {
    makeFolder(base + L"\\Velta");
    setSecurity(base + L"\\Velta", lockedSecurity());

    EXPECT_FALSE(ensureFolders({L"Velta"}));

    const std::string path = standin::toUtf8(base) + "\\Velta";
    EXPECT_EQ(out, L"before");
    EXPECT_EQ(logText(),
              "SetNamedSecurityInfo failed for TQXUWP/SetFolderPermissions, folder =" + path +
                  "\nUnable to set AppX permissions on data directory ( " + path + " )  \n");
}

TEST_F(AppDataFoldersTest, TheBaseFolderIsNeverMade) {
    removeTree(base);

    EXPECT_FALSE(ensureFolders({L"Velta"}));

    EXPECT_FALSE(exists(base));
    EXPECT_EQ(machine.trace.count("CreateDirectoryW"), 0u);
    EXPECT_EQ(out, L"before");
    EXPECT_EQ(logText(), noBaseLine(base));
}

TEST_F(AppDataFoldersTest, ABaseThatIsAFileDoesNotExist) {
    removeTree(base);
    writeFile(base, "text");

    EXPECT_FALSE(ensureFolders({L"Velta"}));

    EXPECT_EQ(logText(), noBaseLine(base));
}

TEST_F(AppDataFoldersTest, AFileInTheWayOfAFolderEndsTheChain) {
    struct {
        const wchar_t* file;
        const wchar_t* absent;
    } const rows[] = {{L"\\Velta", L"\\Velta\\MeshSync"},
                      {L"\\Velta\\MeshSync", L"\\Velta\\MeshSync\\TQX"},
                      {L"\\Velta\\MeshSync\\TQX", L"\\other"}};
    std::string expected;
    for (const auto& row : rows) {
        SCOPED_TRACE(standin::toUtf8(row.file));
        removeTree(base);
        writeFile(base + row.file, "in the way");
        expected += notCreatedLine(base + row.file);

        EXPECT_FALSE(ensureFolders({L"Velta", L"MeshSync", L"TQX"}));

        EXPECT_EQ(readFile(base + row.file), "in the way");
        EXPECT_FALSE(exists(base + row.absent));
        EXPECT_EQ(out, L"before");
        EXPECT_EQ(logText(), expected);
    }
    EXPECT_TRUE(machine.state.fileSecurity.empty());
}

TEST_F(AppDataFoldersTest, APathThatIsTooLongEndsTheChain) {
    FolderComponents components = {L"Velta", std::wstring(247 - base.size(), L'a')};

    EXPECT_FALSE(ensureFolders(components));

    EXPECT_TRUE(exists(base + L"\\Velta"));
    EXPECT_EQ(logText(), notCreatedLine(join(base, components)));
}

using CommonFilesTest = UserFoldersTest;

TEST_F(CommonFilesTest, TheFoldersAreMadeBelowTheMachinesCommonFiles) {
    EXPECT_TRUE(grantCommonFilesAccess({L"Velta", L"RXP"}));

    EXPECT_TRUE(isGranted(commonFiles + L"\\Velta\\RXP"));
    EXPECT_TRUE(isUntouched(commonFiles + L"\\Velta"));
    EXPECT_THAT(
        machine.calls({"SHGetFolderPathW"}),
        ElementsAre("SHGetFolderPathW(null, 0x2B, null, 0, " + quoted(commonFiles) + ") = 0"));
    EXPECT_EQ(logText(), grantedLines(commonFiles + L"\\Velta\\RXP"));
}

TEST_F(CommonFilesTest, ALocationThatIsNotToldIsLoggedAndTheEmptyTextUsed) {
    machine.state.folders[CSIDL_PROGRAM_FILES_COMMON] = {L"", E_FAIL};

    EXPECT_FALSE(grantCommonFilesAccess({L"Velta", L"RXP"}));

    EXPECT_EQ(logText(),
              "Unable to locate Program Files\\Common Files (CSIDL_PROGRAM_FILES_COMMON) \n" +
                  noBaseLine(L""));
}

TEST_F(CommonFilesTest, WhatAFailureLeavesAsLocationIsUsed) {
    const auto locate = replaceImport<decltype(&::SHGetFolderPathW)>(
        "SHGetFolderPathW",
        [](auto real, HWND window, int csidl, HANDLE token, DWORD flags, LPWSTR path) -> HRESULT {
            real(window, csidl, token, flags, path);
            return E_FAIL;
        });

    EXPECT_TRUE(grantCommonFilesAccess({L"Velta", L"RXP"}));

    EXPECT_EQ(logText(),
              "Unable to locate Program Files\\Common Files (CSIDL_PROGRAM_FILES_COMMON) \n" +
                  grantedLines(commonFiles + L"\\Velta\\RXP"));
}

TEST_F(CommonFilesTest, AGroupWhoseSidCannotBeMadeIsNotCaught) {
    machine.failNext("CreateWellKnownSid", ERROR_INVALID_PARAMETER);

    EXPECT_THROW(grantCommonFilesAccess({L"Velta", L"RXP"}), std::exception);

    EXPECT_EQ(logText(), "Can't create well known sid 84. Last error is: 87.\n");
    mounted.expectLeaks({"memory#2"});
}

}  // namespace
