#include "security/UserDataFolders.h"

#include <aclapi.h>

#include "FileSecurityFixture.h"

namespace {

using standin::AccessList;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

static_assert(GENERIC_ALL == 0x10000000 && SET_ACCESS == 2 && SUB_CONTAINERS_AND_OBJECTS_INHERIT == 3);
static_assert((OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE) == SUB_CONTAINERS_AND_OBJECTS_INHERIT);
static_assert(TRUSTEE_IS_WELL_KNOWN_GROUP == 5 && ACCESS_ALLOWED_ACE_TYPE == 0);

class FolderGrantTest : public FileSecurityTest {
protected:
    FolderGrantTest() { makeFolder(folder); }

    bool has() {
        machine.trace.clear();
        return HasPermissions(folder.c_str());
    }
    bool set() {
        machine.trace.clear();
        return SetFolderPermissions(folder.c_str());
    }
    std::string setLine(const std::string& outcome) const {
        return "SetNamedSecurityInfo " + outcome +
               " for TQXUWP/SetFolderPermissions, folder =" + standin::toUtf8(folder) + "\n";
    }

    const std::wstring folder = scratch / L"RXP";
};

using HasPermissionsTest = FolderGrantTest;

TEST_F(HasPermissionsTest, TheListIsWalkedInOrderAndItsDescriptorReleasedBeforehand) {
    setList(folder, AccessList{{kAllow, 0, 0x1F01FF, kUsersSid},
                               {kAllow, 3, 0x10000000, kAnyPackageSid},
                               {kAllow, 3, 0x10000000, kUserSid}});

    EXPECT_TRUE(has());

    EXPECT_THAT(machine.calls(),
                ElementsAre("GetNamedSecurityInfoW(" + quoted(folder) +
                                ", 1, 0x4, null, null, out, null, memory#1) = 0",
                            "LocalFree(memory#1) = null", "LocalAlloc(0x0, 68) = memory#2",
                            "CreateWellKnownSid(84, null, given, 68->16) = 1",
                            R"(ConvertSidToStringSidW(S-1-15-2-1, "S-1-15-2-1") = 1)",
                            "GetAce(given, 0, out) = 1", "IsValidSid(S-1-5-32-545) = 1",
                            R"(ConvertSidToStringSidW(S-1-5-32-545, "S-1-5-32-545") = 1)",
                            "LocalFree(memory#4) = null", "GetAce(given, 1, out) = 1",
                            "IsValidSid(S-1-15-2-1) = 1",
                            R"(ConvertSidToStringSidW(S-1-15-2-1, "S-1-15-2-1") = 1)",
                            "LocalFree(memory#5) = null", "LocalFree(memory#3) = null",
                            "LocalFree(memory#2) = null"));
    EXPECT_EQ(logText(), "");
}

TEST_F(HasPermissionsTest, OnlyAnAllowedEntryOfTheGroupWithTheBitIsTheGrant) {
    struct {
        const char* name;
        std::optional<AccessList> list;
        bool has;
    } const rows[] = {
        {"no list", std::nullopt, false},
        {"empty list", AccessList{}, false},
        {"the grant", AccessList{{kAllow, 3, 0x10000000, kAnyPackageSid}}, true},
        {"without inheritance", AccessList{{kAllow, 0, 0x10000000, kAnyPackageSid}}, true},
        {"inherited", AccessList{{kAllow, 0x13, 0x10000000, kAnyPackageSid}}, true},
        {"more bits", AccessList{{kAllow, 3, 0x101F01FF, kAnyPackageSid}}, true},
        {"every right but the bit", AccessList{{kAllow, 3, 0xEFFFFFFF, kAnyPackageSid}}, false},
        {"denied", AccessList{{kDeny, 3, 0x10000000, kAnyPackageSid}}, false},
        {"audited", AccessList{{SYSTEM_AUDIT_ACE_TYPE, 3, 0x10000000, kAnyPackageSid}}, false},
        {"other trustee", AccessList{{kAllow, 3, 0x10000000, kUsersSid}}, false},
        {"longer SID", AccessList{{kAllow, 3, 0x10000000, L"S-1-15-2-11"}}, false},
        {"SID that goes on", AccessList{{kAllow, 3, 0x10000000, L"S-1-15-2-1-1"}}, false},
        {"SID cut short", AccessList{{kAllow, 3, 0x10000000, L"S-1-15-2"}}, false},
        {"second entry of the group",
         AccessList{{kAllow, 0, 0x1200A9, kAnyPackageSid}, {kAllow, 3, 0x10000000, kAnyPackageSid}},
         true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        setList(folder, row.list);

        EXPECT_EQ(has(), row.has);
    }
    EXPECT_EQ(logText(), "");
}

TEST_F(HasPermissionsTest, EntriesOfOtherTypesArePassedOverSilently) {
    setList(folder, AccessList{{kDeny, 0, 0x10000000, kAnyPackageSid}});

    EXPECT_FALSE(has());

    EXPECT_EQ(machine.trace.count("GetAce"), 1u);
    EXPECT_EQ(machine.trace.count("IsValidSid"), 0u);
    EXPECT_EQ(logText(), "");
}

TEST_F(HasPermissionsTest, AListThatCannotBeReadIsLoggedAndGivesFalse) {
    removeTree(folder);

    EXPECT_FALSE(has());

    EXPECT_EQ(logText(), "GetNamedSecurityInfo failed for TQXUWP/HasPermissions\n");
    EXPECT_EQ(machine.trace.count("LocalAlloc"), 0u);
}

TEST_F(HasPermissionsTest, AGroupWhoseSidCannotBeMadeThrows) {
    machine.failNext("CreateWellKnownSid", ERROR_INVALID_PARAMETER);

    EXPECT_THROW(has(), std::exception);

    EXPECT_EQ(logText(), "Can't create well known sid 84. Last error is: 87.\n");
    mounted.expectLeaks({"memory#2"});
}

TEST_F(HasPermissionsTest, AGroupWhoseSidHasNoTextIsLoggedAndGivesFalse) {
    setList(folder, AccessList{{kAllow, 3, 0x10000000, kAnyPackageSid}});
    machine.failNext("ConvertSidToStringSidW", ERROR_NOT_ENOUGH_MEMORY);

    EXPECT_FALSE(has());

    EXPECT_EQ(logText(), "ConvertSidToStringSid (WinBuiltinAnyPackageSid) failed for TQXUWP\n");
    EXPECT_EQ(machine.trace.count("GetAce"), 0u);
}

TEST_F(HasPermissionsTest, AnEntryThatFailsIsLoggedAndTheWalkGoesOn) {
    struct {
        const char* call;
        size_t count;
        const char* line;
    } const rows[] = {
        {"GetAce", 1, "GetAce(pOldDACL) failed for TQXUWP\n"},
        {"IsValidSid", 1, "IsValidSid failed for TQXUWP\n"},
        {"ConvertSidToStringSidW", 2, "ConvertSidToStringSid (sid iteration) failed for TQXUWP\n"},
    };
    std::string expected;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.call);
        setList(folder, AccessList{{kAllow, 3, 0x10000000, kAnyPackageSid},
                                   {kAllow, 3, 0x10000000, kAnyPackageSid}});
        machine.failNth(row.call, row.count, ERROR_INVALID_PARAMETER);
        expected += row.line;

        EXPECT_TRUE(has());

        EXPECT_EQ(machine.trace.count("GetAce"), 2u);
        EXPECT_EQ(logText(), expected);
    }
}

TEST_F(HasPermissionsTest, AnEntryThatFailsIsNotTheGrant) {
    for (const char* call : {"GetAce", "IsValidSid"}) {
        SCOPED_TRACE(call);
        setList(folder, AccessList{{kAllow, 3, 0x10000000, kAnyPackageSid}});
        machine.failNext(call, ERROR_INVALID_PARAMETER);

        EXPECT_FALSE(has());
    }
}

using SetFolderPermissionsTest = FolderGrantTest;

TEST_F(SetFolderPermissionsTest, FullAccessIsSetForAllApplicationPackagesAndWhatIsMadeInTheFolder) {
    setList(folder, AccessList{{kAllow, 0x13, 0x1F01FF, kSystemSid}});

    EXPECT_TRUE(set());

    EXPECT_THAT(
        machine.calls({"GetNamedSecurityInfoW", "SetNamedSecurityInfoW", "SetEntriesInAclW",
                       "LocalAlloc", "CreateWellKnownSid"}),
        ElementsAre(
            "GetNamedSecurityInfoW(" + quoted(folder) +
                ", 1, 0x4, null, null, out, null, memory#1) = 0",
            "LocalAlloc(0x0, 68) = memory#2", "CreateWellKnownSid(84, null, given, 68->16) = 1",
            "SetEntriesInAclW(1, [access=0x10000000 mode=2 inheritance=0x3 multiple=null operation=0 form=0 type=5 S-1-15-2-1], [allow S-1-5-18 0x1F01FF flags 0x13], given) = 0",
            "SetNamedSecurityInfoW(" + quoted(folder) +
                ", 1, 0x4, null, null, [allow S-1-15-2-1 0x10000000 flags 0x3; allow S-1-5-18 0x1F01FF flags 0x13], null) = 0"));
    EXPECT_EQ(logText(), setLine("succeeded"));
}

TEST_F(SetFolderPermissionsTest, TheDescriptorIsReleasedBeforeTheListIsUsed) {
    EXPECT_TRUE(set());

    const std::vector<std::string> calls = machine.calls(
        {"LocalFree", "LocalAlloc", "SetEntriesInAclW"});
    ASSERT_EQ(calls.size(), 5u);
    EXPECT_EQ(calls[0], "LocalFree(memory#1) = null");
    EXPECT_EQ(calls[1], "LocalAlloc(0x0, 68) = memory#2");
}

TEST_F(SetFolderPermissionsTest, OtherTrusteesKeepTheirEntriesAndTheGroupsOwnEarlierOnesGo) {
    setList(folder, AccessList{{kDeny, 0, 0x2, kAnyPackageSid},
                               {kDeny, 0, 0x1, kUserSid},
                               {kAllow, 0, 0x1200A9, kAnyPackageSid},
                               {kAllow, 3, 0x1F01FF, kUsersSid},
                               {kAllow, 3, 0x2, kAnyPackageSid},
                               {kAllow, 0x13, 0x1200A9, kAnyPackageSid}});

    EXPECT_TRUE(set());

    EXPECT_EQ(listText(folder),
              "[deny S-1-5-21-1-2-3-1001 0x1 flags 0x0; allow S-1-15-2-1 0x10000000 flags 0x3; "
              "allow S-1-5-32-545 0x1F01FF flags 0x3; allow S-1-15-2-1 0x1200A9 flags 0x13]");
    EXPECT_TRUE(has());
}

TEST_F(SetFolderPermissionsTest, AnEntryWithoutTheBitIsReplacedByTheFullOne) {
    setList(folder, AccessList{{kAllow, 3, 0x1F01FF, kAnyPackageSid}});
    EXPECT_FALSE(has());

    EXPECT_TRUE(set());

    EXPECT_EQ(listText(folder), "[allow S-1-15-2-1 0x10000000 flags 0x3]");
}

TEST_F(SetFolderPermissionsTest, AFolderWithoutAListHandsNoneToTheMerge) {
    setList(folder, std::nullopt);

    EXPECT_TRUE(set());

    EXPECT_THAT(
        machine.calls({"SetEntriesInAclW"}),
        ElementsAre(
            "SetEntriesInAclW(1, [access=0x10000000 mode=2 inheritance=0x3 multiple=null operation=0 form=0 type=5 S-1-15-2-1], null, given) = 0"));
    EXPECT_EQ(listText(folder), "[allow S-1-15-2-1 0x10000000 flags 0x3]");
}

TEST_F(SetFolderPermissionsTest, AListThatCannotBeReadIsLogged) {
    removeTree(folder);

    EXPECT_FALSE(set());

    EXPECT_EQ(logText(), "GetNamedSecurityInfo failed for TQXUWP/SetFolderPermissions\n");
    EXPECT_EQ(machine.trace.count("LocalAlloc"), 0u);
}

TEST_F(SetFolderPermissionsTest, MemoryThatIsRefusedIsNotLogged) {
    machine.failNext("LocalAlloc", ERROR_NOT_ENOUGH_MEMORY);

    EXPECT_FALSE(set());

    EXPECT_EQ(logText(), "");
    EXPECT_EQ(machine.trace.count("CreateWellKnownSid"), 0u);
    EXPECT_TRUE(isUntouched(folder));
}

TEST_F(SetFolderPermissionsTest, AGroupWhoseSidCannotBeMadeIsLoggedAndItsMemoryReleased) {
    machine.failNext("CreateWellKnownSid", ERROR_INVALID_PARAMETER);

    EXPECT_FALSE(set());

    EXPECT_EQ(logText(), "CreateWellKnownSid failed for TQXUWP/SetFolderPermissions\n");
    EXPECT_TRUE(isUntouched(folder));
}

TEST_F(SetFolderPermissionsTest, AMergeThatFailsIsLoggedAndTheFolderStays) {
    machine.failNext("SetEntriesInAclW", ERROR_INVALID_ACL);

    EXPECT_FALSE(set());

    EXPECT_EQ(logText(), "SetEntriesInAcl failed for TQXUWP/SetFolderPermissions\n");
    EXPECT_EQ(machine.trace.count("SetNamedSecurityInfoW"), 0u);
    EXPECT_TRUE(isUntouched(folder));
}

TEST_F(SetFolderPermissionsTest, AListThatCannotBeWrittenIsLoggedWithTheFolder) {
    setSecurity(folder, lockedSecurity());

    EXPECT_FALSE(set());

    EXPECT_EQ(logText(), setLine("failed"));
    EXPECT_EQ(security(folder), lockedSecurity());
}

}  // namespace
