#include "stand-in/FileSecurity.h"
#include "support/MachineTest.h"
#include "support/Security.h"

namespace {

using standin::AccessList;
using standin::textOf;

constexpr wchar_t kTrustee[] = L"S-1-15-2-1";
constexpr wchar_t kOther[] = L"S-1-5-32-545";

constexpr BYTE kAllow = ACCESS_ALLOWED_ACE_TYPE;
constexpr BYTE kDeny = ACCESS_DENIED_ACE_TYPE;

struct Change {
    ACCESS_MODE mode;
    DWORD mask;
    DWORD inheritance = NO_INHERITANCE;
};

// How SetEntriesInAclW merges; the real system beneath does it in a way of its own.
class AccessListTest : public MachineTest {
protected:
    // The list after the changes, all of the same trustee, made in one call.
    std::string merged(const AccessList& before, const std::vector<Change>& changes) {
        const Sid trustee(kTrustee);
        std::vector<EXPLICIT_ACCESS_W> accesses;
        for (const Change& change : changes) {
            EXPLICIT_ACCESS_W& access = accesses.emplace_back();
            access.grfAccessPermissions = change.mask;
            access.grfAccessMode = change.mode;
            access.grfInheritance = change.inheritance;
            access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
            access.Trustee.ptstrName = static_cast<wchar_t*>(trustee.get());
        }
        const std::wstring file = scratch / L"a.txt";
        writeFile(file, "text");
        standin::setSecurity(machine.state.fileSecurity, file, {L"S-1-5-32-544", before, {}});
        PACL list = nullptr;
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        ::GetNamedSecurityInfoW(file.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                nullptr, &list, nullptr, &descriptor);
        PACL result = nullptr;
        status = ::SetEntriesInAclW(static_cast<ULONG>(accesses.size()), accesses.data(), list,
                                    &result);
        machine.state.fileSecurity.clear();
        ::SetNamedSecurityInfoW(const_cast<wchar_t*>(file.c_str()), SE_FILE_OBJECT,
                                DACL_SECURITY_INFORMATION, nullptr, nullptr, result, nullptr);
        ::LocalFree(result);
        ::LocalFree(descriptor);
        return textOf(standin::securityOf(machine.state.fileSecurity, file).accessList);
    }
    std::string merged(const AccessList& before, const Change& change) {
        return merged(before, std::vector{change});
    }

    DWORD status = 0;
};

TEST_F(AccessListTest, AGrantStandsBeforeOtherGrantsAndBehindRefusals) {
    EXPECT_EQ(merged({{kDeny, 0, 0x1, kOther}, {kAllow, 0, 0x2, kOther}}, {GRANT_ACCESS, 0x4}),
              "[deny S-1-5-32-545 0x1 flags 0x0; allow S-1-15-2-1 0x4 flags 0x0; "
              "allow S-1-5-32-545 0x2 flags 0x0]");
}

TEST_F(AccessListTest, AGrantIsCombinedWithWhatTheTrusteeHas) {
    EXPECT_EQ(
        merged({{kAllow, 0, 0x2, kOther}, {kAllow, 0, 0x1, kTrustee}, {kAllow, 0, 0x8, kTrustee}},
               {GRANT_ACCESS, 0x4}),
        "[allow S-1-15-2-1 0xD flags 0x0; allow S-1-5-32-545 0x2 flags 0x0]");
}

TEST_F(AccessListTest, AGrantTakesItsRightsOutOfTheTrusteesRefusals) {
    EXPECT_EQ(merged({{kDeny, 0, 0x7, kTrustee}, {kDeny, 0, 0x7, kOther}}, {GRANT_ACCESS, 0x4}),
              "[deny S-1-15-2-1 0x3 flags 0x0; deny S-1-5-32-545 0x7 flags 0x0; "
              "allow S-1-15-2-1 0x4 flags 0x0]");
    EXPECT_EQ(merged({{kDeny, 0, 0x4, kTrustee}}, {GRANT_ACCESS, 0x6}),
              "[allow S-1-15-2-1 0x6 flags 0x0]");
}

TEST_F(AccessListTest, AGrantWithOtherInheritanceIsAnEntryOfItsOwn) {
    EXPECT_EQ(merged({{kAllow, 3, 0x1, kTrustee}}, {GRANT_ACCESS, 0x4}),
              "[allow S-1-15-2-1 0x4 flags 0x0; allow S-1-15-2-1 0x1 flags 0x3]");
}

TEST_F(AccessListTest, InheritedEntriesStayAsTheyAreAndBehindAllOthers) {
    const AccessList before = {{kDeny, INHERITED_ACE, 0x4, kTrustee},
                               {kAllow, INHERITED_ACE, 0x1, kTrustee}};
    const std::string inherited = "deny S-1-15-2-1 0x4 flags 0x10; allow S-1-15-2-1 0x1 flags 0x10]";

    EXPECT_EQ(merged(before, {GRANT_ACCESS, 0x4}), "[allow S-1-15-2-1 0x4 flags 0x0; " + inherited);
    EXPECT_EQ(merged(before, {SET_ACCESS, 0x4}), "[allow S-1-15-2-1 0x4 flags 0x0; " + inherited);
    EXPECT_EQ(merged(before, {DENY_ACCESS, 0x4}), "[deny S-1-15-2-1 0x4 flags 0x0; " + inherited);
    EXPECT_EQ(merged(before, {REVOKE_ACCESS, 0}), "[" + inherited);
}

TEST_F(AccessListTest, SettingLeavesOneEntryOfTheTrustee) {
    EXPECT_EQ(merged({{kDeny, 0, 0x1, kTrustee},
                      {kAllow, 0, 0x2, kTrustee},
                      {kAllow, 3, 0x10000000, kTrustee},
                      {kAllow, 0, 0x8, kOther}},
                     {SET_ACCESS, 0x10000000, SUB_CONTAINERS_AND_OBJECTS_INHERIT}),
              "[allow S-1-15-2-1 0x10000000 flags 0x3; allow S-1-5-32-545 0x8 flags 0x0]");
}

TEST_F(AccessListTest, ARefusalStandsInFrontAndTakesItsRightsOutOfTheTrusteesGrants) {
    EXPECT_EQ(merged({{kDeny, 0, 0x1, kOther}, {kDeny, 0, 0x2, kTrustee}, {kAllow, 0, 0x5, kTrustee}},
                     {DENY_ACCESS, 0x4}),
              "[deny S-1-15-2-1 0x6 flags 0x0; deny S-1-5-32-545 0x1 flags 0x0; "
              "allow S-1-15-2-1 0x1 flags 0x0]");
}

TEST_F(AccessListTest, RevokingRemovesAllEntriesOfTheTrustee) {
    EXPECT_EQ(
        merged({{kDeny, 0, 0x1, kTrustee}, {kAllow, 0, 0x2, kTrustee}, {kAllow, 0, 0x8, kOther}},
               {REVOKE_ACCESS, 0}),
        "[allow S-1-5-32-545 0x8 flags 0x0]");
}

TEST_F(AccessListTest, ChangesOfOneCallAreMadeInTheirOrder) {
    EXPECT_EQ(
        merged({}, std::vector<Change>{{GRANT_ACCESS, 0x1}, {SET_ACCESS, 0x2}, {GRANT_ACCESS, 0x4}}),
        "[allow S-1-15-2-1 0x6 flags 0x0]");
}

TEST_F(AccessListTest, AListThatIsOutOfOrderIsPutInOrder) {
    EXPECT_EQ(
        merged(
            {{kAllow, INHERITED_ACE, 0x1, kOther}, {kAllow, 0, 0x2, kOther}, {kDeny, 0, 0x4, kOther}},
            {GRANT_ACCESS, 0x8}),
        "[deny S-1-5-32-545 0x4 flags 0x0; allow S-1-15-2-1 0x8 flags 0x0; "
        "allow S-1-5-32-545 0x2 flags 0x0; allow S-1-5-32-545 0x1 flags 0x10]");
}

TEST_F(AccessListTest, AWrongChangeIsRefused) {
    const Sid trustee(kTrustee);
    EXPLICIT_ACCESS_W access = {};
    access.grfAccessMode = GRANT_ACCESS;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    PACL result = nullptr;

    EXPECT_EQ(::SetEntriesInAclW(1, &access, nullptr, &result), ERROR_INVALID_PARAMETER) << "no SID";
    access.Trustee.ptstrName = static_cast<wchar_t*>(trustee.get());
    EXPECT_EQ(::SetEntriesInAclW(1, &access, nullptr, nullptr), ERROR_INVALID_PARAMETER)
        << "no place for the result";
    EXPECT_EQ(::SetEntriesInAclW(1, nullptr, nullptr, &result), ERROR_INVALID_PARAMETER)
        << "no changes";
    access.grfAccessMode = NOT_USED_ACCESS;
    EXPECT_EQ(::SetEntriesInAclW(1, &access, nullptr, &result), ERROR_INVALID_PARAMETER) << "no mode";
    access.grfAccessMode = GRANT_ACCESS;
    access.Trustee.MultipleTrusteeOperation = TRUSTEE_IS_IMPERSONATE;
    EXPECT_EQ(::SetEntriesInAclW(1, &access, nullptr, &result), ERROR_INVALID_PARAMETER)
        << "two trustees";
    EXPECT_EQ(result, nullptr);
}

}  // namespace
