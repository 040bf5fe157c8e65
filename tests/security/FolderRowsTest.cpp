#include <sstream>

#include "UserFoldersFixture.h"
#include "run/ExecutablePermissions.h"

namespace {

using ::testing::ElementsAre;

// The rows of folders, as the steps of the run go through them.
class FolderRowsTest : public UserFoldersTest {
protected:
    bool grantForAppContainer() {
        readUsers();
        return grantAppContainerFolderAccess(user.get(), permissions.m_isEnterpriseDeployment);
    }
    bool prepare() {
        readUsers();
        return permissions.prepareUserDataFolders(user.get());
    }

    // The new lines that tell of folders, without what is the same in all of them: "set RXP",
    // "already RXP", "pass RXP", "blocked RXP".
    std::vector<std::string> folderLines(const std::wstring& base) {
        const std::pair<const char*, std::string> kinds[] = {
            {"set", "AppX permissions set on data directory ( "},
            {"already", "AppX permissions already set on data directory ( "},
            {"pass", "User profile outFolder for default account = "},
            {"blocked", "Unable to create directory at "},
        };
        std::vector<std::string> found;
        std::istringstream lines(newLog());
        for (std::string line; std::getline(lines, line);) {
            for (const auto& [kind, start] : kinds) {
                const std::string head = start + standin::toUtf8(base) + "\\Velta\\";
                if (!line.starts_with(head)) continue;
                const std::string rest = line.substr(head.size());
                found.push_back(kind + (" " + rest.substr(0, rest.find(" )"))));
            }
        }
        return found;
    }

    // Without users everything happens in the running account's folder, where a file can stand in the way.
    void block(const std::wstring& folder) {
        writeFile(ownRoaming + L"\\Velta\\" + folder, "in the way");
    }

    const Sid user{kUserSid};
    ExecutablePermissions permissions;
};

using AppContainerFoldersTest = FolderRowsTest;

TEST_F(AppContainerFoldersTest, FourRowsAreGrantedInOrderAndOneHasItsDefaultPass) {
    addAnna();

    EXPECT_TRUE(grantForAppContainer());

    EXPECT_THAT(folderLines(roaming(kAnna)),
                ElementsAre("set MeshSync", "set MeshSync\\TQX", "set Lumora Cloud Libraries",
                            "already Lumora Cloud Libraries", "pass Lumora Cloud Libraries",
                            "set LCX Welcome"));
}

TEST_F(AppContainerFoldersTest, AnEnterpriseDeploymentHasADefaultPassInEachRow) {
    addAnna();
    permissions.m_isEnterpriseDeployment = true;

    EXPECT_TRUE(grantForAppContainer());

    EXPECT_THAT(
        folderLines(roaming(kAnna)),
        ElementsAre("set MeshSync", "already MeshSync", "pass MeshSync", "set MeshSync\\TQX",
                    "already MeshSync\\TQX", "pass MeshSync\\TQX", "set Lumora Cloud Libraries",
                    "already Lumora Cloud Libraries", "pass Lumora Cloud Libraries",
                    "set LCX Welcome", "already LCX Welcome", "pass LCX Welcome"));
}

TEST_F(AppContainerFoldersTest, AFolderInTheMiddleHasTheGrantOfItsOwnRow) {
    addAnna();

    EXPECT_TRUE(grantForAppContainer());

    EXPECT_TRUE(isUntouched(roaming(kAnna) + L"\\Velta"));
    EXPECT_TRUE(isGranted(roaming(kAnna) + L"\\Velta\\MeshSync"));
    EXPECT_TRUE(isGranted(roaming(kAnna) + L"\\Velta\\MeshSync\\TQX"));
}

TEST_F(AppContainerFoldersTest, ASecondRunFindsEverythingGranted) {
    addAnna();
    EXPECT_TRUE(grantForAppContainer());
    const standin::FileSecurities once = machine.state.fileSecurity;

    EXPECT_TRUE(grantForAppContainer());

    EXPECT_EQ(machine.state.fileSecurity, once);
    EXPECT_EQ(machine.trace.count("SetNamedSecurityInfoW"), 0u);
}

TEST_F(AppContainerFoldersTest, AllRowsAreRunAndTheFirstThreeDecide) {
    struct {
        const wchar_t* blocked;
        bool result;
        std::vector<std::string> lines;
    } const rows[] = {
        {L"MeshSync",
         false,
         {"blocked MeshSync", "blocked MeshSync", "set Lumora Cloud Libraries", "set LCX Welcome"}},
        {L"MeshSync\\TQX",
         false,
         {"set MeshSync", "blocked MeshSync\\TQX", "set Lumora Cloud Libraries", "set LCX Welcome"}},
        {L"Lumora Cloud Libraries",
         false,
         {"set MeshSync", "set MeshSync\\TQX", "blocked Lumora Cloud Libraries", "set LCX Welcome"}},
        {L"LCX Welcome",
         true,
         {"set MeshSync", "set MeshSync\\TQX", "set Lumora Cloud Libraries", "blocked LCX Welcome"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(standin::toUtf8(row.blocked));
        removeTree(ownRoaming);
        machine.state.fileSecurity.clear();
        block(row.blocked);

        EXPECT_EQ(grantForAppContainer(), row.result);

        EXPECT_EQ(folderLines(ownRoaming), row.lines);
    }
}

using PreparedFoldersTest = FolderRowsTest;

TEST_F(PreparedFoldersTest, FourRowsAreGrantedAndTheLoggedOnUsersFolderIsRecorded) {
    addAnna();
    addBjorn();

    EXPECT_TRUE(prepare());

    EXPECT_EQ(permissions.m_rxpAppDataPath, roaming(kAnna) + L"\\Velta\\RXP");
    for (const TestUser& one : {kAnna, kBjorn}) {
        EXPECT_THAT(folderLines(roaming(one)), ElementsAre("set WPI", "set WPI\\WPIC", "set RXP",
                                                           "set RXP\\Plugins\\External"));
        EXPECT_TRUE(isUntouched(roaming(one) + L"\\Velta\\RXP\\Plugins"));
    }
    EXPECT_TRUE(newLog().ends_with(
        "AppData roaming Velta RXP path = " + standin::toUtf8(permissions.m_rxpAppDataPath) + "\n"));
}

TEST_F(PreparedFoldersTest, AnEnterpriseDeploymentHandsItsFlagToEachRow) {
    addAnna();
    permissions.m_isEnterpriseDeployment = true;

    EXPECT_TRUE(prepare());

    EXPECT_THAT(folderLines(roaming(kAnna)),
                ElementsAre("set WPI", "already WPI", "pass WPI", "set WPI\\WPIC",
                            "already WPI\\WPIC", "pass WPI\\WPIC", "set RXP", "already RXP",
                            "pass RXP", "set RXP\\Plugins\\External",
                            "already RXP\\Plugins\\External", "pass RXP\\Plugins\\External"));
}

TEST_F(PreparedFoldersTest, TheFallbacksFolderIsRecorded) {
    EXPECT_TRUE(prepare());

    EXPECT_EQ(permissions.m_rxpAppDataPath, ownRoaming + L"\\Velta\\RXP");
}

TEST_F(PreparedFoldersTest, ALoggedOnSidThatNoUserHasLeavesTheFolderEmpty) {
    addAnna();
    logOn(kChen.sid);

    EXPECT_TRUE(prepare());

    EXPECT_EQ(permissions.m_rxpAppDataPath, L"");
    EXPECT_TRUE(newLog().ends_with("AppData roaming Velta RXP path = \n"));
}

TEST_F(PreparedFoldersTest, ALoggedOnUserWhoFailedEmptiesTheFolder) {
    addAnna();
    writeFile(roaming(kAnna) + L"\\Velta\\RXP", "in the way");
    permissions.m_rxpAppDataPath = L"before";

    EXPECT_TRUE(prepare());

    EXPECT_EQ(permissions.m_rxpAppDataPath, L"");
    EXPECT_TRUE(newLog().ends_with("AppData roaming Velta RXP path = \n"));
}

TEST_F(PreparedFoldersTest, TheFirstTwoRowsAreLoggedAndPassedOverTheOthersEndIt) {
    struct {
        const wchar_t* blocked;
        bool result;
        std::vector<std::string> lines;
        std::vector<std::string> failures;
    } const rows[] = {
        {L"WPI",
         true,
         {"blocked WPI", "blocked WPI", "set RXP", "set RXP\\Plugins\\External"},
         {"Grant permission for WPI failed. GetLastError returned:4321",
          "Grant permission for WPIC failed. GetLastError returned:4321"}},
        {L"WPI\\WPIC",
         true,
         {"set WPI", "blocked WPI\\WPIC", "set RXP", "set RXP\\Plugins\\External"},
         {"Grant permission for WPIC failed. GetLastError returned:4321"}},
        {L"RXP",
         false,
         {"set WPI", "set WPI\\WPIC", "blocked RXP"},
         {"Grant permission for RXP failed. GetLastError returned:4321"}},
        {L"RXP\\Plugins",
         false,
         {"set WPI", "set WPI\\WPIC", "set RXP", "blocked RXP\\Plugins"},
         {"Create and Grant permission for Plugins and External folders failed. GetLastError returned:4321"}},
    };
    // The number is that of the last call before, which is the writing of the log; the next line's own calls come too late.
    machine.onCall("_write", [] { ::SetLastError(4321); });
    machine.onCall("GetSystemTimeAsFileTime", [] { ::SetLastError(1234); });
    for (const auto& row : rows) {
        SCOPED_TRACE(standin::toUtf8(row.blocked));
        removeTree(ownRoaming);
        machine.state.fileSecurity.clear();
        block(row.blocked);

        EXPECT_EQ(prepare(), row.result);

        EXPECT_EQ(folderLines(ownRoaming), row.lines);
        std::vector<std::string> failures;
        std::istringstream lines(newLog());
        for (std::string line; std::getline(lines, line);) {
            if (line.find("GetLastError") != std::string::npos) failures.push_back(line);
        }
        EXPECT_EQ(failures, row.failures);
        EXPECT_EQ(newLog().find("AppData roaming Velta RXP path") != std::string::npos, row.result);
    }
}

TEST_F(PreparedFoldersTest, AnExceptionOutsideTheUsersIsNotCaught) {
    machine.failNext("CreateWellKnownSid", ERROR_INVALID_PARAMETER);

    EXPECT_THROW(prepare(), std::exception);

    mounted.expectLeaks({"memory#3"});
}

}  // namespace
