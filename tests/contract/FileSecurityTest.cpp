#include <memory>
#include <stdexcept>

#include "contract/BothSystems.h"
#include "stand-in/FileSecurity.h"
#include "support/Security.h"

namespace {

using standin::AccessEntry;
using standin::AccessList;
using standin::FileSecurity;
using standin::securityOf;
using standin::setSecurity;
using standin::textOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr wchar_t kSystem[] = L"S-1-5-18";
constexpr wchar_t kUsers[] = L"S-1-5-32-545";
constexpr wchar_t kUser[] = L"S-1-5-21-1-2-3-1001";

struct LocalFreer {
    void operator()(void* memory) const { ::LocalFree(memory); }
};
template <typename T>
using Local = std::unique_ptr<T, LocalFreer>;

EXPLICIT_ACCESS_W change(ACCESS_MODE mode, DWORD mask, PSID sid, DWORD inheritance = NO_INHERITANCE) {
    EXPLICIT_ACCESS_W access = {};
    access.grfAccessPermissions = mask;
    access.grfAccessMode = mode;
    access.grfInheritance = inheritance;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.ptstrName = static_cast<wchar_t*>(sid);
    return access;
}

DWORD readList(const std::wstring& path, PACL* list, PSECURITY_DESCRIPTOR* descriptor) {
    return ::GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                   nullptr, list, nullptr, descriptor);
}

DWORD setOwner(std::wstring path, PSID owner) {
    return ::SetNamedSecurityInfoW(path.data(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, owner,
                                   nullptr, nullptr, nullptr);
}

class FileSecurityOnBothSystems : public BothSystems {};
ON_BOTH_SYSTEMS(FileSecurityOnBothSystems);

TEST_P(FileSecurityOnBothSystems, APathThatLeadsNowhereIsToldApart) {
    const Sid system(kSystem);
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;

    EXPECT_EQ(readList(scratch / L"missing.txt", &list, &descriptor), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(readList(scratch / L"missing\\file.txt", &list, &descriptor), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(readList(scratch / L"a?b", &list, &descriptor), ERROR_INVALID_NAME);
    EXPECT_EQ(setOwner(scratch / L"missing.txt", system.get()), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(setOwner(scratch / L"missing\\file.txt", system.get()), ERROR_PATH_NOT_FOUND);
}

TEST_P(FileSecurityOnBothSystems, ANullPathIsAnInvalidParameter) {
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;

    EXPECT_EQ(::GetNamedSecurityInfoW(nullptr, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                      nullptr, &list, nullptr, &descriptor),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(::SetNamedSecurityInfoW(nullptr, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                      nullptr, nullptr, nullptr),
              ERROR_INVALID_PARAMETER);
}

TEST_P(FileSecurityOnBothSystems, AnOwnerThatIsMissingIsRefused) {
    writeFile(scratch / L"a.txt", "text");

    EXPECT_EQ(setOwner(scratch / L"a.txt", nullptr), ERROR_INVALID_SECURITY_DESCR);
}

TEST_P(FileSecurityOnBothSystems, TheListOfAFileThatAnotherHoldsOpenCanBeRead) {
    writeFile(scratch / L"a.txt", "text");
    const HeldOpen held(scratch / L"a.txt");
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;

    ASSERT_EQ(readList(scratch / L"a.txt", &list, &descriptor), ERROR_SUCCESS);

    const Local<void> owner(descriptor);
    EXPECT_TRUE(::IsValidSecurityDescriptor(descriptor));
    EXPECT_TRUE(::IsValidAcl(list));
}

TEST_P(FileSecurityOnBothSystems, TheListLiesInsideTheDescriptor) {
    writeFile(scratch / L"a.txt", "text");
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_EQ(readList(scratch / L"a.txt", &list, &descriptor), ERROR_SUCCESS);
    const Local<void> owner(descriptor);

    const auto* const first = static_cast<const BYTE*>(descriptor);
    const auto* const inside = reinterpret_cast<const BYTE*>(list);

    EXPECT_GT(inside, first);
    EXPECT_LE(inside + list->AclSize, first + ::GetSecurityDescriptorLength(descriptor));
}

TEST_P(FileSecurityOnBothSystems, AChangeOfNoListGivesAListOfOneEntry) {
    const Sid users(kUsers);
    EXPLICIT_ACCESS_W access = change(GRANT_ACCESS, 0xA0000000, users.get());
    PACL list = nullptr;

    ASSERT_EQ(::SetEntriesInAclW(1, &access, nullptr, &list), ERROR_SUCCESS);

    const Local<ACL> owner(list);
    void* raw = nullptr;
    ASSERT_EQ(list->AceCount, 1);
    ASSERT_TRUE(::GetAce(list, 0, &raw));
    auto* const entry = static_cast<ACCESS_ALLOWED_ACE*>(raw);
    EXPECT_EQ(entry->Header.AceType, ACCESS_ALLOWED_ACE_TYPE);
    EXPECT_EQ(entry->Header.AceFlags, 0);
    EXPECT_EQ(entry->Mask, 0xA0000000);
    EXPECT_TRUE(::EqualSid(&entry->SidStart, users.get()));
}

TEST_P(FileSecurityOnBothSystems, SettingReplacesTheOnlyEntryOfTheTrustee) {
    const Sid users(kUsers);
    EXPLICIT_ACCESS_W access = change(SET_ACCESS, FILE_READ_DATA, users.get());
    PACL old = nullptr;
    ASSERT_EQ(::SetEntriesInAclW(1, &access, nullptr, &old), ERROR_SUCCESS);
    const Local<ACL> oldOwner(old);
    access = change(SET_ACCESS, GENERIC_ALL, users.get(), SUB_CONTAINERS_AND_OBJECTS_INHERIT);
    PACL list = nullptr;

    ASSERT_EQ(::SetEntriesInAclW(1, &access, old, &list), ERROR_SUCCESS);

    const Local<ACL> owner(list);
    void* raw = nullptr;
    ASSERT_EQ(list->AceCount, 1);
    ASSERT_TRUE(::GetAce(list, 0, &raw));
    auto* const entry = static_cast<ACCESS_ALLOWED_ACE*>(raw);
    EXPECT_EQ(entry->Header.AceFlags, OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE);
    EXPECT_EQ(entry->Mask, GENERIC_ALL);
}

TEST_P(FileSecurityOnBothSystems, AnEntryBehindTheLastIsNotThere) {
    const Sid users(kUsers);
    EXPLICIT_ACCESS_W access = change(GRANT_ACCESS, GENERIC_ALL, users.get());
    PACL list = nullptr;
    ASSERT_EQ(::SetEntriesInAclW(1, &access, nullptr, &list), ERROR_SUCCESS);
    const Local<ACL> owner(list);
    void* raw = nullptr;

    EXPECT_FALSE(::GetAce(list, 1, &raw));

    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST_P(FileSecurityOnBothSystems, NoChangeOfNoListIsNoList) {
    ACL before = {};
    PACL list = &before;

    EXPECT_EQ(::SetEntriesInAclW(0, nullptr, nullptr, &list), ERROR_SUCCESS);

    EXPECT_EQ(list, nullptr);
}

// What the real system beneath has not got right.
class FileSecurityTest : public MachineTest {
protected:
    FileSecurityTest() { writeFile(file, "text"); }

    const FileSecurity& stateOf(const std::wstring& path) {
        return machine.state.fileSecurity.at(path);
    }

    const std::wstring file = scratch / L"a.txt";
};

TEST_F(FileSecurityTest, AnUntouchedFileHasWhatTheFolderAboveGivesIt) {
    EXPECT_EQ(textOf(securityOf(machine.state.fileSecurity, file)),
              "owner S-1-5-32-544\n"
              "list [allow S-1-5-18 0x1F01FF flags 0x10; allow S-1-5-32-544 0x1F01FF flags 0x10; "
              "allow S-1-5-32-545 0x1200A9 flags 0x10]\n"
              "no label\n");
    EXPECT_EQ(textOf(securityOf(machine.state.fileSecurity, scratch.path()).accessList),
              "[allow S-1-5-18 0x1F01FF flags 0x13; allow S-1-5-32-544 0x1F01FF flags 0x13; "
              "allow S-1-5-32-545 0x1200A9 flags 0x13]");
}

TEST_F(FileSecurityTest, OwnerListAndLabelAreReadAsListed) {
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

TEST_F(FileSecurityTest, AMachineFileShowsItReadably) {
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

TEST_F(FileSecurityTest, AMachineFileWithWrongSecurityIsRefused) {
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

TEST_F(FileSecurityTest, AFileWithoutAListGivesNone) {
    setSecurity(machine.state.fileSecurity, file, {kUser, std::nullopt, std::nullopt});
    ACL before = {};
    PACL list = &before;
    PSECURITY_DESCRIPTOR descriptor = nullptr;

    EXPECT_EQ(readList(file, &list, &descriptor), ERROR_SUCCESS);

    const Local<void> release(descriptor);
    EXPECT_EQ(list, nullptr);
}

TEST_F(FileSecurityTest, APathIsKnownHoweverItIsSpelled) {
    setSecurity(machine.state.fileSecurity, scratch / L"sub\\..\\A.TXT", {kUser, {}, {}});

    EXPECT_EQ(stateOf(file).owner, kUser);
    EXPECT_EQ(securityOf(machine.state.fileSecurity, L"\\\\?\\" + file).owner, kUser);
    EXPECT_EQ(securityOf(machine.state.fileSecurity, scratch.path() + L"/a.txt").owner, kUser);
}

TEST_F(FileSecurityTest, AnOwnerFromTheOwnTokenNeedsNoPrivilege) {
    machine.state.tokenUser = kUser;

    EXPECT_EQ(setOwner(file, Sid(kUser).get()), ERROR_SUCCESS);

    EXPECT_EQ(stateOf(file).owner, kUser);
}

TEST_F(FileSecurityTest, AnotherOwnerNeedsThePrivilegeToRestore) {
    EXPECT_EQ(setOwner(file, Sid(kSystem).get()), static_cast<DWORD>(ERROR_INVALID_OWNER));
    EXPECT_TRUE(machine.state.fileSecurity.empty());

    const EnabledPrivileges enabled({SE_RESTORE_NAME});

    EXPECT_EQ(setOwner(file, Sid(kSystem).get()), ERROR_SUCCESS);
    EXPECT_EQ(stateOf(file).owner, kSystem);
}

TEST_F(FileSecurityTest, AnOwnerIsTakenByRightOrByPrivilege) {
    const FileSecurity closed = {kSystem, AccessList{}, std::nullopt};
    setSecurity(machine.state.fileSecurity, file, closed);
    machine.state.tokenUser = kUser;
    EXPECT_EQ(setOwner(file, Sid(kUser).get()), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(stateOf(file), closed);

    const EnabledPrivileges enabled({SE_TAKE_OWNERSHIP_NAME});

    EXPECT_EQ(setOwner(file, Sid(kUser).get()), ERROR_SUCCESS);
}

TEST_F(FileSecurityTest, AListIsChangedByTheOwnerOrByRight) {
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

TEST_F(FileSecurityTest, OnlyAnIntegrityLabelIsALabel) {
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

TEST_F(FileSecurityTest, ADescriptorThatNobodyAskedForCanNeverBeReleased) {
    PACL list = nullptr;

    EXPECT_EQ(readList(file, &list, nullptr), ERROR_SUCCESS);

    mounted.expectLeaks({"lost descriptor#1"});
}

TEST_F(FileSecurityTest, AListThatIsWalkedAfterItsDescriptorIsGoneIsFoundOut) {
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

TEST_F(FileSecurityTest, ADamagedListIsRefused) {
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
