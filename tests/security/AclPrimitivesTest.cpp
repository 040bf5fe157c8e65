#include "security/AclPrimitives.h"

#include <aclapi.h>

#include "FileSecurityFixture.h"

namespace {

using standin::AccessList;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The numbers that the platform is asked with.
static_assert(SECURITY_MAX_SID_SIZE == 68 && LMEM_FIXED == 0);
static_assert(WinLocalSystemSid == 22 && WinBuiltinUsersSid == 27 && WinBuiltinAnyPackageSid == 84);
static_assert(SE_FILE_OBJECT == 1 && GRANT_ACCESS == 1 && NO_INHERITANCE == 0 && SDDL_REVISION_1 == 1);
static_assert(OWNER_SECURITY_INFORMATION == 1 && DACL_SECURITY_INFORMATION == 4 &&
              LABEL_SECURITY_INFORMATION == 16);
static_assert(NO_MULTIPLE_TRUSTEE == 0 && TRUSTEE_IS_SID == 0 && TRUSTEE_IS_UNKNOWN == 0);

class WellKnownSidTest : public FileSecurityTest {};

TEST_F(WellKnownSidTest, TheSidStandsInMemoryOfItsOwnThatTheDestructorReleases) {
    struct {
        WELL_KNOWN_SID_TYPE type;
        const wchar_t* text;
        int size;
    } const rows[] = {{WinLocalSystemSid, kSystemSid, 12},
                      {WinBuiltinUsersSid, kUsersSid, 16},
                      {WinBuiltinAnyPackageSid, kAnyPackageSid, 16}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        machine.trace.clear();
        machine.ledger.clear();
        {
            const WellKnownSid sid(row.type);

            EXPECT_TRUE(::EqualSid(sid.m_sid, Sid(row.text).get()));
            EXPECT_TRUE(sid.m_owned);
        }
        EXPECT_THAT(machine.calls({"LocalAlloc", "CreateWellKnownSid", "LocalFree"}),
                    ElementsAre("LocalAlloc(0x0, 68) = memory#1",
                                "CreateWellKnownSid(" + std::to_string(row.type) +
                                    ", null, given, 68->" + std::to_string(row.size) + ") = 1",
                                "LocalFree(memory#1) = null"));
    }
    EXPECT_EQ(logText(), "");
}

TEST_F(WellKnownSidTest, MemoryThatIsRefusedIsLoggedAndThrownWithoutAMessage) {
    machine.failNext("LocalAlloc", ERROR_NOT_ENOUGH_MEMORY);

    try {
        const WellKnownSid sid(WinLocalSystemSid);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::exception& exception) {
        EXPECT_STREQ(exception.what(), "Unknown exception");
    }

    EXPECT_EQ(logText(), "Can't allocate 68 for PSID.\n");
    EXPECT_EQ(machine.trace.count("CreateWellKnownSid"), 0u);
    EXPECT_EQ(machine.trace.count("LocalFree"), 0u);
}

TEST_F(WellKnownSidTest, ASidThatCannotBeMadeIsThrownAndItsMemoryStaysAllocated) {
    int number = 127;  // the last value that the enumeration can have; no SID has it

    try {
        const WellKnownSid sid(static_cast<WELL_KNOWN_SID_TYPE>(number));
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::exception& exception) {
        EXPECT_STREQ(exception.what(), "Unknown exception");
    }

    EXPECT_EQ(logText(), "Can't create well known sid 127. Last error is: 87.\n");
    mounted.expectLeaks({"memory#1"});
}

class GrantAccessToFileTest : public FileSecurityTest {
protected:
    GrantAccessToFileTest() { writeFile(file, "program"); }

    DWORD grant(DWORD mask = 0xA0000000) {
        return GrantAccessToFile(file.c_str(), users.get(), mask);
    }

    const std::wstring file = scratch / L"QK.exe";
    const Sid users{kUsersSid};
};

TEST_F(GrantAccessToFileTest, ANullPathIsRefusedWithoutALineOrACall) {
    const Sid sid(kUsersSid);
    machine.trace.clear();

    EXPECT_EQ(GrantAccessToFile(nullptr, sid.get(), 1), 87u);

    EXPECT_THAT(machine.calls(), IsEmpty());
    EXPECT_EQ(logText(), "");
}

TEST_F(GrantAccessToFileTest, OneEntryIsMergedIntoTheListAndTheListAloneIsWritten) {
    setList(file, AccessList{{kAllow, INHERITED_ACE, 0x1F01FF, kSystemSid}});
    machine.trace.clear();

    EXPECT_EQ(grant(0xFFFFFFFF), 0u);

    EXPECT_THAT(
        machine.calls(),
        ElementsAre(
            "GetNamedSecurityInfoW(" + quoted(file) + ", 1, 0x4, null, null, out, null, null) = 0",
            "SetEntriesInAclW(1, [access=0xFFFFFFFF mode=1 inheritance=0x0 multiple=null operation=0 form=0 type=0 S-1-5-32-545], [allow S-1-5-18 0x1F01FF flags 0x10], given) = 0",
            "SetNamedSecurityInfoW(" + quoted(file) +
                ", 1, 0x4, null, null, [allow S-1-5-32-545 0xFFFFFFFF flags 0x0; allow S-1-5-18 0x1F01FF flags 0x10], null) = 0",
            "LocalFree(memory#1) = null"));
    EXPECT_EQ(listText(file),
              "[allow S-1-5-32-545 0xFFFFFFFF flags 0x0; allow S-1-5-18 0x1F01FF flags 0x10]");
    EXPECT_EQ(logText(), "");
    expectLostDescriptors(1);
}

TEST_F(GrantAccessToFileTest, EarlierEntriesAndRightsStay) {
    setList(file, AccessList{{kDeny, 0, 0x10, kUserSid},
                             {kAllow, 0, 0x20, kUserSid},
                             {kAllow, 0, 0x4, kUsersSid},
                             {kAllow, INHERITED_ACE, 0x1, kUsersSid}});

    EXPECT_EQ(grant(), 0u);

    EXPECT_EQ(listText(file),
              "[deny S-1-5-21-1-2-3-1001 0x10 flags 0x0; allow S-1-5-32-545 0xA0000004 flags 0x0; "
              "allow S-1-5-21-1-2-3-1001 0x20 flags 0x0; allow S-1-5-32-545 0x1 flags 0x10]");
    EXPECT_EQ(security(file).owner, kUserSid);
    expectLostDescriptors(1);
}

TEST_F(GrantAccessToFileTest, ASecondGrantOfTheSameAccessSucceedsAndChangesNothing) {
    EXPECT_EQ(grant(), 0u);
    const standin::FileSecurity once = security(file);

    EXPECT_EQ(grant(), 0u);

    EXPECT_EQ(security(file), once);
    EXPECT_EQ(logText(), "");
    expectLostDescriptors(2);
}

TEST_F(GrantAccessToFileTest, AFileWithoutAListGetsAListOfOneEntry) {
    setList(file, std::nullopt);

    EXPECT_EQ(grant(), 0u);

    EXPECT_EQ(listText(file), "[allow S-1-5-32-545 0xA0000000 flags 0x0]");
    expectLostDescriptors(1);
}

TEST_F(GrantAccessToFileTest, AFileThatDoesNotExistGivesTheStatusOfTheReading) {
    EXPECT_EQ(GrantAccessToFile((scratch / L"missing.exe").c_str(), users.get(), 1), 2u);
    EXPECT_EQ(GrantAccessToFile((scratch / L"missing\\QK.exe").c_str(), users.get(), 1), 3u);

    EXPECT_EQ(logText(), "GetNamedSecurityInfo Error 2\nGetNamedSecurityInfo Error 3\n");
    EXPECT_EQ(machine.trace.count("SetEntriesInAclW"), 0u);
    EXPECT_EQ(machine.trace.count("SetNamedSecurityInfoW"), 0u);
}

TEST_F(GrantAccessToFileTest, AnEntryThatCannotBeMergedGivesThatStatusAndLeavesTheFile) {
    BYTE damaged[SECURITY_MAX_SID_SIZE] = {};

    EXPECT_EQ(GrantAccessToFile(file.c_str(), damaged, 1), 87u);

    EXPECT_EQ(logText(), "SetEntriesInAcl Error 87\n");
    EXPECT_EQ(machine.trace.count("SetNamedSecurityInfoW"), 0u);
    EXPECT_EQ(machine.trace.count("LocalFree"), 0u);
    EXPECT_TRUE(isUntouched(file));
    expectLostDescriptors(1);
}

TEST_F(GrantAccessToFileTest, AListThatAFailedMergeLeftBehindIsReleased) {
    const auto merge = replaceImport<decltype(&::SetEntriesInAclW)>(
        "SetEntriesInAclW",
        [](auto real, ULONG count, PEXPLICIT_ACCESS_W entries, PACL old, PACL* list) -> DWORD {
            real(count, entries, old, list);
            return ERROR_NOT_ENOUGH_MEMORY;
        });

    EXPECT_EQ(grant(), 8u);

    EXPECT_EQ(logText(), "SetEntriesInAcl Error 8\n");
    EXPECT_THAT(machine.calls({"LocalFree"}), ElementsAre("LocalFree(memory#1) = null"));
    EXPECT_TRUE(isUntouched(file));
    expectLostDescriptors(1);
}

TEST_F(GrantAccessToFileTest, AListThatCannotBeWrittenGivesThatStatusAndIsReleased) {
    setSecurity(file, lockedSecurity());

    EXPECT_EQ(grant(), 5u);

    EXPECT_EQ(logText(), "SetNamedSecurityInfo Error 5\n");
    EXPECT_THAT(machine.calls({"LocalFree"}), ElementsAre("LocalFree(memory#1) = null"));
    EXPECT_EQ(security(file), lockedSecurity());
    expectLostDescriptors(1);
}

TEST_F(GrantAccessToFileTest, AMergeThatGivesNoListLeavesNothingToRelease) {
    const auto merge = replaceImport<decltype(&::SetEntriesInAclW)>(
        "SetEntriesInAclW", [](auto, ULONG, PEXPLICIT_ACCESS_W, PACL, PACL* list) -> DWORD {
            *list = nullptr;
            return ERROR_SUCCESS;
        });

    EXPECT_EQ(grant(), 0u);

    EXPECT_THAT(machine.calls({"SetNamedSecurityInfoW", "LocalFree"}),
                ElementsAre("SetNamedSecurityInfoW(" + quoted(file) +
                            ", 1, 0x4, null, null, null, null) = 0"));
    expectLostDescriptors(1);
}

}  // namespace
