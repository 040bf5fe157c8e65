#include "contract/BothSystems.h"
#include "contract/FileSecurityCalls.h"

namespace {

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

}  // namespace
