#include <stdexcept>

#include "contract/FileSecurityCalls.h"
#include "stand-in/FileSecurity.h"
#include "support/MachineTest.h"

namespace {

using standin::AccessEntry;
using standin::AccessList;
using standin::FileSecurity;
using standin::securityOf;
using standin::setSecurity;
using standin::textOf;
using ::testing::HasSubstr;

// What the real system beneath has not got right.
class FileSecurityRulesTest : public MachineTest {
protected:
    FileSecurityRulesTest() { writeFile(file, "text"); }

    const FileSecurity& stateOf(const std::wstring& path) {
        return machine.state.fileSecurity.at(path);
    }

    const std::wstring file = scratch / L"a.txt";
};

TEST_F(FileSecurityRulesTest, AnUntouchedFileHasWhatTheFolderAboveGivesIt) {
    EXPECT_EQ(textOf(securityOf(machine.state.fileSecurity, file)),
              "owner S-1-5-32-544\n"
              "list [allow S-1-5-18 0x1F01FF flags 0x10; allow S-1-5-32-544 0x1F01FF flags 0x10; "
              "allow S-1-5-32-545 0x1200A9 flags 0x10]\n"
              "no label\n");
    EXPECT_EQ(textOf(securityOf(machine.state.fileSecurity, scratch.path()).accessList),
              "[allow S-1-5-18 0x1F01FF flags 0x13; allow S-1-5-32-544 0x1F01FF flags 0x13; "
              "allow S-1-5-32-545 0x1200A9 flags 0x13]");
}

TEST_F(FileSecurityRulesTest, OwnerListAndLabelAreReadAsListed) {
    const FileSecurity security = {
        kUser,
        AccessList{{ACCESS_DENIED_ACE_TYPE, 0, 2, kUsers},
                   {ACCESS_ALLOWED_ACE_TYPE, 3, GENERIC_ALL, kUser}},
        AccessEntry{SYSTEM_MANDATORY_LABEL_ACE_TYPE, 0, 1, L"S-1-16-8192"}};
    machine.state.tokenUser = kUser;
    setSecurity(machine.state.fileSecurity, file, security);
    PSID owner = nullptr;
    PACL list = nullptr;
    PACL label = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;

    const DWORD status = ::GetNamedSecurityInfoW(
        file.c_str(), SE_FILE_OBJECT,
        OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION, &owner,
        nullptr, &list, &label, &descriptor);

    ASSERT_EQ(status, ERROR_SUCCESS);
    const Local<void> release(descriptor);
    EXPECT_TRUE(::EqualSid(owner, Sid(kUser).get()));
    EXPECT_TRUE(::SetNamedSecurityInfoW(const_cast<wchar_t*>(file.c_str()), SE_FILE_OBJECT,
                                        DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION,
                                        nullptr, nullptr, list, label) == ERROR_SUCCESS);
    EXPECT_EQ(stateOf(file), security);
}

TEST_F(FileSecurityRulesTest, AMachineFileShowsItReadably) {
    machine.state.fileSecurity[L"C:\\App\\QK.exe"] = {
        kSystem, AccessList{{ACCESS_ALLOWED_ACE_TYPE, 3, GENERIC_ALL, kUsers}},
        AccessEntry{SYSTEM_MANDATORY_LABEL_ACE_TYPE, 0, 1, L"S-1-16-8192"}};
    machine.state.fileSecurity[L"C:\\open"] = {kUser, std::nullopt, std::nullopt};

    const std::string json = standin::toJson(machine.state);

    EXPECT_THAT(json, HasSubstr(R"("fileSecurity": [
    {
      "path": "C:\\App\\QK.exe",
      "owner": "S-1-5-18",
      "list": [
        {
          "type": "allow",
          "sid": "S-1-5-32-545",
          "mask": "0x10000000",
          "flags": "0x3"
        }
      ],
      "label": {
        "type": "label",
        "sid": "S-1-16-8192",
        "mask": "0x1",
        "flags": "0x0"
      }
    },
    {
      "path": "C:\\open",
      "owner": "S-1-5-21-1-2-3-1001"
    }
  ])"));
    EXPECT_EQ(standin::machineFromJson(json).fileSecurity, machine.state.fileSecurity);
}

TEST_F(FileSecurityRulesTest, AMachineFileWithWrongSecurityIsRefused) {
    const auto withEntry = [](const std::string& entry) {
        return R"({"fileSecurity": [{"path": "C:\\a", "owner": "S-1-5-18", "list": [)" + entry +
               "]}]}";
    };
    EXPECT_NO_THROW(standin::machineFromJson(
        withEntry(R"({"type": "deny", "sid": "S-1-5-18", "mask": "7", "flags": "0"})")));

    EXPECT_THROW(standin::machineFromJson(withEntry("{}")), std::runtime_error);
    EXPECT_THROW(standin::machineFromJson(withEntry(
                     R"({"type": "permit", "sid": "S-1-5-18", "mask": "7", "flags": "0"})")),
                 std::runtime_error);
    EXPECT_THROW(standin::machineFromJson(withEntry(
                     R"({"type": "deny", "sid": "S-1-5-18", "mask": "many", "flags": "0"})")),
                 std::runtime_error);
}

TEST_F(FileSecurityRulesTest, AFileWithoutAListGivesNone) {
    setSecurity(machine.state.fileSecurity, file, {kUser, std::nullopt, std::nullopt});
    ACL before = {};
    PACL list = &before;
    PSECURITY_DESCRIPTOR descriptor = nullptr;

    EXPECT_EQ(readList(file, &list, &descriptor), ERROR_SUCCESS);

    const Local<void> release(descriptor);
    EXPECT_EQ(list, nullptr);
}

TEST_F(FileSecurityRulesTest, APathIsKnownHoweverItIsSpelled) {
    setSecurity(machine.state.fileSecurity, scratch / L"sub\\..\\A.TXT", {kUser, {}, {}});

    EXPECT_EQ(stateOf(file).owner, kUser);
    EXPECT_EQ(securityOf(machine.state.fileSecurity, L"\\\\?\\" + file).owner, kUser);
    EXPECT_EQ(securityOf(machine.state.fileSecurity, scratch.path() + L"/a.txt").owner, kUser);
}

TEST_F(FileSecurityRulesTest, AnOwnerFromTheOwnTokenNeedsNoPrivilege) {
    machine.state.tokenUser = kUser;

    EXPECT_EQ(setOwner(file, Sid(kUser).get()), ERROR_SUCCESS);

    EXPECT_EQ(stateOf(file).owner, kUser);
}

TEST_F(FileSecurityRulesTest, AnotherOwnerNeedsThePrivilegeToRestore) {
    EXPECT_EQ(setOwner(file, Sid(kSystem).get()), static_cast<DWORD>(ERROR_INVALID_OWNER));
    EXPECT_TRUE(machine.state.fileSecurity.empty());

    const EnabledPrivileges enabled({SE_RESTORE_NAME});

    EXPECT_EQ(setOwner(file, Sid(kSystem).get()), ERROR_SUCCESS);
    EXPECT_EQ(stateOf(file).owner, kSystem);
}

TEST_F(FileSecurityRulesTest, AnOwnerIsTakenByRightOrByPrivilege) {
    const FileSecurity closed = {kSystem, AccessList{}, std::nullopt};
    setSecurity(machine.state.fileSecurity, file, closed);
    machine.state.tokenUser = kUser;
    EXPECT_EQ(setOwner(file, Sid(kUser).get()), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(stateOf(file), closed);

    const EnabledPrivileges enabled({SE_TAKE_OWNERSHIP_NAME});

    EXPECT_EQ(setOwner(file, Sid(kUser).get()), ERROR_SUCCESS);
}

TEST_F(FileSecurityRulesTest, AListIsChangedByTheOwnerOrByRight) {
    machine.state.tokenUser = kUser;
    const auto setList = [&] {
        return ::SetNamedSecurityInfoW(const_cast<wchar_t*>(file.c_str()), SE_FILE_OBJECT,
                                       DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr);
    };
    const auto withList = [&](const wchar_t* owner, const AccessList& list) {
        setSecurity(machine.state.fileSecurity, file, {owner, list, std::nullopt});
    };

    withList(kSystem, {});
    EXPECT_EQ(setList(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    withList(kSystem, {{ACCESS_ALLOWED_ACE_TYPE, INHERIT_ONLY_ACE, GENERIC_ALL, kUser}});
    EXPECT_EQ(setList(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    withList(kSystem, {{ACCESS_DENIED_ACE_TYPE, 0, WRITE_DAC, kUsers},
                       {ACCESS_ALLOWED_ACE_TYPE, 0, GENERIC_ALL, kUser}});
    EXPECT_EQ(setList(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    withList(kSystem, {{ACCESS_ALLOWED_ACE_TYPE, 0, GENERIC_ALL, kUser}});
    EXPECT_EQ(setList(), ERROR_SUCCESS);
    withList(kUser, {});
    EXPECT_EQ(setList(), ERROR_SUCCESS);
    EXPECT_EQ(stateOf(file).accessList, std::nullopt);
}

TEST_F(FileSecurityRulesTest, OnlyAnIntegrityLabelIsALabel) {
    const Sid users(kUsers);
    EXPLICIT_ACCESS_W access = change(GRANT_ACCESS, GENERIC_ALL, users.get());
    PACL list = nullptr;
    ASSERT_EQ(::SetEntriesInAclW(1, &access, nullptr, &list), ERROR_SUCCESS);
    const Local<ACL> owner(list);

    const DWORD status = ::SetNamedSecurityInfoW(const_cast<wchar_t*>(file.c_str()), SE_FILE_OBJECT,
                                                 LABEL_SECURITY_INFORMATION, nullptr, nullptr,
                                                 nullptr, list);

    EXPECT_EQ(status, 1299u);
    EXPECT_TRUE(machine.state.fileSecurity.empty());
}

TEST_F(FileSecurityRulesTest, ADescriptorThatNobodyAskedForCanNeverBeReleased) {
    PACL list = nullptr;

    EXPECT_EQ(readList(file, &list, nullptr), ERROR_SUCCESS);

    mounted.expectLeaks({"lost descriptor#1"});
}

TEST_F(FileSecurityRulesTest, AListThatIsWalkedAfterItsDescriptorIsGoneIsFoundOut) {
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_EQ(readList(file, &list, &descriptor), ERROR_SUCCESS);
    const Sid users(kUsers);
    EXPLICIT_ACCESS_W access = change(GRANT_ACCESS, GENERIC_ALL, users.get());
    PACL merged = nullptr;
    void* raw = nullptr;

    ::LocalFree(descriptor);

    EXPECT_EQ(list->AceCount, 0xDDDD);
    ::GetAce(list, 0, &raw);
    EXPECT_EQ(::SetEntriesInAclW(1, &access, list, &merged), static_cast<DWORD>(ERROR_INVALID_ACL));
    EXPECT_FALSE(::IsValidSid(list));
    mounted.expectMisuse({"GetAce with memory#1, which was released",
                          "SetEntriesInAclW with memory#1, which was released",
                          "IsValidSid with memory#1, which was released"});
}

TEST_F(FileSecurityRulesTest, ADamagedListIsRefused) {
    ACL damaged = {ACL_REVISION, 0, sizeof(ACL), 3, 0};
    const Sid users(kUsers);
    EXPLICIT_ACCESS_W access = change(GRANT_ACCESS, GENERIC_ALL, users.get());
    PACL merged = nullptr;

    EXPECT_EQ(::SetEntriesInAclW(1, &access, &damaged, &merged),
              static_cast<DWORD>(ERROR_INVALID_ACL));
    EXPECT_EQ(::SetNamedSecurityInfoW(const_cast<wchar_t*>(file.c_str()), SE_FILE_OBJECT,
                                      DACL_SECURITY_INFORMATION, nullptr, nullptr, &damaged, nullptr),
              static_cast<DWORD>(ERROR_INVALID_ACL));
}

}  // namespace
