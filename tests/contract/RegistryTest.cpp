#include "contract/BothSystems.h"

namespace {

LSTATUS create(HKEY root, const std::wstring& path, HKEY* opened = nullptr) {
    HKEY key = nullptr;
    const LSTATUS status = ::RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                             nullptr, &key, nullptr);
    if (opened != nullptr) {
        *opened = key;
    } else if (status == ERROR_SUCCESS) {
        ::RegCloseKey(key);
    }
    return status;
}

class RegistryOnBothSystems : public BothSystems {};
ON_BOTH_SYSTEMS(RegistryOnBothSystems);

TEST_P(RegistryOnBothSystems, OpeningCreatesTheWholePath) {
    EXPECT_EQ(create(HKEY_LOCAL_MACHINE, L"SOFTWARE\\a\\b"), ERROR_SUCCESS);
    EXPECT_TRUE(registry.hasKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\a\\b"));
}

TEST_P(RegistryOnBothSystems, ALeadingBackslashIsABadPath) {
    EXPECT_EQ(create(HKEY_LOCAL_MACHINE, L"\\SOFTWARE\\a"), ERROR_BAD_PATHNAME);
}

TEST_P(RegistryOnBothSystems, AProtectedKeyCannotBeOpened) {
    registry.makeKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\a");
    registry.restrictAccess(HKEY_LOCAL_MACHINE, L"SOFTWARE\\a");

    EXPECT_EQ(create(HKEY_LOCAL_MACHINE, L"SOFTWARE\\a"), ERROR_ACCESS_DENIED);
}

TEST_P(RegistryOnBothSystems, KeysOfALoadedHiveCanBeCreated) {
    registry.loadHive(L"S-1-5-21-1-2-3-1001");

    EXPECT_EQ(create(HKEY_USERS, L"S-1-5-21-1-2-3-1001\\Software\\a"), ERROR_SUCCESS);
}

TEST_P(RegistryOnBothSystems, TheClassesAreThoseOfTheMachine) {
    EXPECT_EQ(create(HKEY_CLASSES_ROOT, L"a class"), ERROR_SUCCESS);
    EXPECT_TRUE(registry.hasKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Classes\\a class"));
}

class RegistryTest : public MachineTest {};

TEST_F(RegistryTest, NothingIsCreatedDirectlyBelowUsersOrMachine) {
    EXPECT_EQ(create(HKEY_USERS, L"S-1-5-21-1-2-3-1001"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(create(HKEY_LOCAL_MACHINE, L"a"), ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(registry.hasKey(HKEY_USERS, L"S-1-5-21-1-2-3-1001"));
    EXPECT_FALSE(registry.hasKey(HKEY_LOCAL_MACHINE, L"a"));
}

TEST_F(RegistryTest, NothingIsCreatedBelowAHiveThatIsNotLoaded) {
    registry.loadHive(L"S-1-5-21-1-2-3-1001");
    registry.unloadHive(L"S-1-5-21-1-2-3-1001");

    EXPECT_EQ(create(HKEY_USERS, L"S-1-5-21-1-2-3-1001\\Software\\a"), ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(registry.hasKey(HKEY_USERS, L"S-1-5-21-1-2-3-1001"));
}

TEST_F(RegistryTest, WhatExistsDirectlyBelowUsersOrMachineOpens) {
    registry.loadHive(L"S-1-5-21-1-2-3-1001");

    EXPECT_EQ(create(HKEY_USERS, L"S-1-5-21-1-2-3-1001"), ERROR_SUCCESS);
    EXPECT_EQ(create(HKEY_LOCAL_MACHINE, L"SOFTWARE"), ERROR_SUCCESS);
}

TEST_F(RegistryTest, AKeyNameMayHave255CharactersAndNoMore) {
    EXPECT_EQ(create(HKEY_LOCAL_MACHINE, L"SOFTWARE\\" + std::wstring(255, L'a') + L"\\b"),
              ERROR_SUCCESS);
    EXPECT_EQ(create(HKEY_LOCAL_MACHINE, L"SOFTWARE\\" + std::wstring(256, L'a') + L"\\b"),
              ERROR_INVALID_PARAMETER);
}

TEST(PrivateRegistryTest, TheRealRootsAreBackAfterwards) {
    { const ScratchRegistry registry; }

    HKEY key = nullptr;
    const LSTATUS status = ::RegOpenKeyExW(
        HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", 0, KEY_READ, &key);
    ::RegCloseKey(key);

    EXPECT_EQ(status, ERROR_SUCCESS);
}

TEST(PrivateRegistryTest, NothingOfItRemains) {
    std::wstring root;
    {
        ScratchRegistry registry;
        root = registry.root();
        registry.makeKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\a");
        registry.restrictAccess(HKEY_LOCAL_MACHINE, L"SOFTWARE\\a");
    }

    HKEY key = nullptr;
    EXPECT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, root.c_str(), 0, KEY_READ, &key),
              ERROR_FILE_NOT_FOUND);
}

}  // namespace
