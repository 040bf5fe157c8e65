#include <map>

#include "UserFoldersFixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

static_assert(CSIDL_PROFILE == 0x28 && CSIDL_APPDATA == 0x1A);

// One row of the folders that the app container works with.
struct Row {
    const char* name;
    FolderComponents components;
    bool forceDefaultPass;
};

void PrintTo(const Row& row, std::ostream* stream) {
    *stream << row.name;
}

const Row kRows[] = {
    {"MeshSync", {L"Velta", L"MeshSync"}, false},
    {"TQX", {L"Velta", L"MeshSync", L"TQX"}, false},
    {"CloudLibraries", {L"Velta", L"Lumora Cloud Libraries"}, true},
    {"Welcome", {L"Velta", L"LCX Welcome"}, false},
    {"WPI", {L"Velta", L"WPI"}, false},
    {"WPIC", {L"Velta", L"WPI", L"WPIC"}, false},
    {"RXP", {L"Velta", L"RXP"}, false},
    {"ExternalPlugins", {L"Velta", L"RXP", L"Plugins", L"External"}, false},
};

// The three kinds of users, for each row, in a single-user and in an enterprise deployment.
class ThreeUsersTest : public UserFoldersTest,
                       public ::testing::WithParamInterface<std::tuple<Row, bool>> {
protected:
    ThreeUsersTest() {
        // Where the reading account's profile would usually be; there is no such folder.
        ::SetEnvironmentVariableW(L"USERPROFILE", kReader);
        machine.state.folders[CSIDL_PROFILE] = {kReader};
        addAnna();
        addBjorn();
        addChen();
    }

    // The log's part of each user; the order of users is of no significance.
    static std::map<std::string, std::string> partsByUser(const std::string& lines) {
        constexpr char kStart[] = "Setting Permissions on user SID : ";
        std::map<std::string, std::string> parts;
        size_t start = lines.find(kStart);
        parts[""] = lines.substr(0, start);
        while (start != std::string::npos) {
            const size_t end = lines.find(kStart, start + 1);
            const std::string part = lines.substr(start, end - start);
            parts[part.substr(sizeof(kStart) - 1, kAnna.sid.size())] = part;
            start = end;
        }
        return parts;
    }

    std::string expectedAnna() const {
        const std::wstring folder = join(roaming(kAnna), row.components);
        std::string lines = userLine(kAnna) + foundLine("Shell Folders", roaming(kAnna)) +
                            grantedLines(folder);
        if (hasDefaultPass) lines += alreadyGrantedLine(folder) + defaultPassLine(folder);
        return lines;
    }
    std::string expectedBjorn() const {
        std::string lines = userLine(kBjorn) + noValueLines(kBjorn, kShellFolders) +
                            foundLine("User Shell Folders", kReaderRoaming);
        if (isEnterprise) {
            lines +=
                "AppData in Folders before profile replace = C:\\Users\\installer\n"
                "AppData in Folders after replace = " +
                standin::toUtf8(roaming(kBjorn)) + "\n";
        }
        lines += grantedLines(join(roaming(kBjorn), row.components));
        if (hasDefaultPass) lines += noBaseLine(kReaderRoaming) + defaultPassLine(L"");
        return lines;
    }
    std::string expectedChen() const {
        const std::string lines = userLine(kChen) + noKeyLines(kChen, kShellFolders) +
                                  noKeyLines(kChen, kUserShellFolders);
        if (!isEnterprise) return lines + "Empty folder\n";
        return lines + "fetching AppData Local failed and assuming it as the default one = " +
               standin::toUtf8(roaming(kChen)) + "\n" +
               grantedLines(join(roaming(kChen), row.components));
    }

    static constexpr wchar_t kReader[] = L"C:\\Users\\installer";
    static constexpr wchar_t kReaderRoaming[] = L"C:\\Users\\installer\\AppData\\Roaming";

    const Row row = std::get<0>(GetParam());
    const bool isEnterprise = std::get<1>(GetParam());
    const bool hasDefaultPass = isEnterprise || row.forceDefaultPass;
};

TEST_P(ThreeUsersTest, EachGetsTheFolderThatIsTheirs) {
    readUsers();

    EXPECT_TRUE(ensure(row.components, isEnterprise, row.forceDefaultPass));

    auto parts = partsByUser(newLog());
    EXPECT_EQ(parts.size(), 4u);
    EXPECT_EQ(parts[""],
              "Current user: S-1-5-21-1-2-3-1001\n"
              "Users Profile (CSIDL_PROFILE) succeded : C:\\Users\\installer\n");
    EXPECT_EQ(parts[standin::toUtf8(kAnna.sid)], expectedAnna());
    EXPECT_EQ(parts[standin::toUtf8(kBjorn.sid)], expectedBjorn());
    EXPECT_EQ(parts[standin::toUtf8(kChen.sid)], expectedChen());

    EXPECT_TRUE(isGranted(join(roaming(kAnna), row.components)));
    EXPECT_TRUE(isGranted(join(roaming(kBjorn), row.components)));
    EXPECT_EQ(isGranted(join(roaming(kChen), row.components)), isEnterprise);
    EXPECT_EQ(machine.state.fileSecurity.size(), isEnterprise ? 3u : 2u);
    EXPECT_EQ(out, join(roaming(kAnna), row.components));
}

INSTANTIATE_TEST_SUITE_P(Rows, ThreeUsersTest,
                         ::testing::Combine(::testing::ValuesIn(kRows), ::testing::Bool()),
                         [](const auto& test) {
                             return std::string(std::get<0>(test.param).name) +
                                    (std::get<1>(test.param) ? "Enterprise" : "SingleUser");
                         });

using UserDataFoldersTest = UserFoldersTest;

TEST_F(UserDataFoldersTest, OwnFoldersAreAskedForWithoutWindowTokenOrFlags) {
    readUsers();

    EXPECT_TRUE(ensure({L"Velta"}));

    EXPECT_THAT(machine.calls({"SHGetFolderPathW"}),
                ElementsAre("SHGetFolderPathW(null, 0x28, null, 0, " + quoted(ownProfile) + ") = 0",
                            "SHGetFolderPathW(null, 0x1A, null, 0, " + quoted(ownRoaming) + ") = 0"));
}

TEST_F(UserDataFoldersTest, AForcedDefaultPassFindsTheSameFolderGrantedAlready) {
    addAnna();
    readUsers();

    EXPECT_TRUE(ensure({L"Velta"}, false, true));

    const std::wstring folder = roaming(kAnna) + L"\\Velta";
    EXPECT_EQ(newLog(), startLines() + userLine(kAnna) +
                            foundLine("Shell Folders", roaming(kAnna)) + grantedLines(folder) +
                            alreadyGrantedLine(folder) + defaultPassLine(folder));
}

TEST_F(UserDataFoldersTest, ADefaultPassTakesTheFolderAsItWasRead) {
    addBjorn();
    readUsers();

    EXPECT_TRUE(ensure({L"Velta"}, false, true));

    EXPECT_TRUE(isGranted(roaming(kBjorn) + L"\\Velta"));
    EXPECT_TRUE(isGranted(ownRoaming + L"\\Velta"));
    EXPECT_EQ(newLog(), startLines() + userLine(kBjorn) + noValueLines(kBjorn, kShellFolders) +
                            foundLine("User Shell Folders", ownRoaming) +
                            grantedLines(roaming(kBjorn) + L"\\Velta") +
                            grantedLines(ownRoaming + L"\\Velta") +
                            defaultPassLine(ownRoaming + L"\\Velta"));
}

TEST_F(UserDataFoldersTest, ADefaultPassThatFailsChangesNothingInTheResult) {
    addBjorn();
    writeFile(ownRoaming + L"\\Velta", "in the way");
    logOn(kBjorn.sid);
    readUsers();

    EXPECT_TRUE(ensure({L"Velta"}, false, true));

    EXPECT_EQ(out, roaming(kBjorn) + L"\\Velta");
    EXPECT_EQ(newLog(), startLines() + userLine(kBjorn) + noValueLines(kBjorn, kShellFolders) +
                            foundLine("User Shell Folders", ownRoaming) +
                            grantedLines(roaming(kBjorn) + L"\\Velta") +
                            notCreatedLine(ownRoaming + L"\\Velta") + defaultPassLine(L""));
}

TEST_F(UserDataFoldersTest, AnEnterpriseUserWithoutHiveAndFolderStaysWithoutFolder) {
    addChen();
    removeTree(roaming(kChen));
    readUsers();

    EXPECT_TRUE(ensure({L"Velta"}, true));

    EXPECT_EQ(newLog(), startLines() + userLine(kChen) + noKeyLines(kChen, kShellFolders) +
                            noKeyLines(kChen, kUserShellFolders) +
                            "fetching AppData Local failed and assuming it as the default one = \n"
                            "Empty folder\n" +
                            fallbackLine(ownRoaming) + grantedLines(ownRoaming + L"\\Velta"));
}

TEST_F(UserDataFoldersTest, WithoutAnyFolderOfAUserTheRunningAccountsIsTakenOnce) {
    addChen();
    readUsers();

    EXPECT_TRUE(ensure({L"Velta", L"RXP"}));

    EXPECT_EQ(out, ownRoaming + L"\\Velta\\RXP");
    EXPECT_TRUE(isGranted(ownRoaming + L"\\Velta\\RXP"));
    EXPECT_EQ(machine.trace.count("SHGetFolderPathW"), 2u);
    EXPECT_EQ(newLog(), startLines() + userLine(kChen) + noKeyLines(kChen, kShellFolders) +
                            noKeyLines(kChen, kUserShellFolders) + "Empty folder\n" +
                            fallbackLine(ownRoaming) + grantedLines(ownRoaming + L"\\Velta\\RXP"));
}

TEST_F(UserDataFoldersTest, AFallbackThatFailsDecidesTheResult) {
    removeTree(ownRoaming);
    readUsers();

    EXPECT_FALSE(ensure({L"Velta"}));

    EXPECT_EQ(out, L"before");
    EXPECT_EQ(newLog(), startLines() + fallbackLine(ownRoaming) + noBaseLine(ownRoaming));
}

TEST_F(UserDataFoldersTest, AFallbackThatIsNotToldIsLoggedAndGivesFalse) {
    machine.state.folders[CSIDL_APPDATA] = {L"", E_FAIL};
    readUsers();

    EXPECT_FALSE(ensure({L"Velta"}));

    EXPECT_EQ(newLog(),
              startLines() + "Unable to locate Roaming AppData directory (CSIDL_APPDATA) \n");
    EXPECT_EQ(machine.trace.count("FindFirstFileW"), 0u);
}

TEST_F(UserDataFoldersTest, AnyUserWithAFolderKeepsTheFallbackAway) {
    addAnna();
    addChen();
    readUsers();

    EXPECT_TRUE(ensure({L"Velta"}));

    EXPECT_TRUE(isUntouched(ownRoaming + L"\\Velta"));
    EXPECT_EQ(machine.trace.count("SHGetFolderPathW"), 1u);
}

TEST_F(UserDataFoldersTest, TheFolderOfSomeoneWhoIsNotLoggedOnIsNotReported) {
    addAnna();
    logOn(kBjorn.sid);
    readUsers();

    EXPECT_TRUE(ensure({L"Velta"}));

    EXPECT_EQ(out, L"before");
    EXPECT_TRUE(isGranted(roaming(kAnna) + L"\\Velta"));
}

TEST_F(UserDataFoldersTest, ALoggedOnUserWithoutAFolderLeavesTheReportAsItWas) {
    addAnna();
    addChen();
    logOn(kChen.sid);
    readUsers();

    EXPECT_TRUE(ensure({L"Velta"}));

    EXPECT_EQ(out, L"before");
}

TEST_F(UserDataFoldersTest, ALoggedOnSidInOtherLettersIsSomeoneElse) {
    addAnna();
    logOn(L"s" + kAnna.sid.substr(1));
    readUsers();

    EXPECT_TRUE(ensure({L"Velta"}));

    EXPECT_EQ(out, L"before");
}

}  // namespace
