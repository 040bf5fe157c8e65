#include "migration/RecentFilesTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class RegistryMigrationTest : public RecentFilesTest {
protected:
    Items copied(const AppDataMigrator& migrator) const { return itemsOf(migrator.copiedItems); }
    Items failed(const AppDataMigrator& migrator) const { return itemsOf(migrator.failedItems); }

private:
    static Items itemsOf(const AppDataMigrator::UserItems& items) {
        const auto found = items.find(kAnn);
        return found == items.end() ? Items{} : found->second;
    }
};

TEST_F(RegistryMigrationTest, BothListsAreCopiedAndRewrittenInBothViews) {
    addEntry(classes, kRecent, L"c1");
    addEntry(hive, kRecent, L"u1");
    addEntry(classes, kFuture, L"c2");
    addEntry(hive, kFuture, L"u2");
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateRegistryEntries(kAnn));

    expectRewritten(classes, kRecent, L"c1");
    expectRewritten(hive, kRecent, L"u1");
    expectRewritten(classes, kFuture, L"c2");
    expectRewritten(hive, kFuture, L"u2");
    EXPECT_THAT(copied(migrator), ElementsAre(L"MRURegistryEntries", L"FALRegistryEntries"));
    EXPECT_THAT(failed(migrator), IsEmpty());
    // Required: the lines of the second list say MRU too.
    EXPECT_EQ(newLog(), copiedTo(classes) + rewrittenEntry("c1") + updated(kRecent) +
                            copiedTo(hive) + rewrittenEntry("u1") + updated(kRecent) +
                            copiedTo(classes) + rewrittenEntry("c2") + updated(kFuture) +
                            copiedTo(hive) + rewrittenEntry("u2") + updated(kFuture));
}

TEST_F(RegistryMigrationTest, PathsOfTheKeysAreThose) {
    AppDataMigrator& migrator = start();

    migrator.migrateRegistryEntries(kAnn);

    const std::string base =
        "Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\SystemAppData\\";
    const std::string user = "S-1-5-21-10-20-30-1001\\SOFTWARE\\Classes\\";
    const std::string oldPath = "Velta.LC.QK_qzw4mhtrvb2ne\\PersistedStorageItemTable\\";
    std::vector<std::string> opened;
    for (const standin::Call& call : machine.trace.all()) {
        if (call.name == "RegCreateKeyExW") opened.push_back(call.arguments[0] + call.arguments[1]);
    }
    ASSERT_EQ(opened.size(), 20u);
    EXPECT_EQ(opened[0], "HKEY_CLASSES_ROOT\"" + base + oldPath + "MostRecentlyUsed\"");
    EXPECT_EQ(opened[5], "HKEY_USERS\"" + user + base + oldPath + "MostRecentlyUsed\"");
    EXPECT_EQ(opened[10], "HKEY_CLASSES_ROOT\"" + base + oldPath + "ManagedByApp\"");
    EXPECT_EQ(opened[15], "HKEY_USERS\"" + user + base + oldPath + "ManagedByApp\"");
}

TEST_F(RegistryMigrationTest, KeysAreOpenedCopiedAndClosedInThisOrder) {
    const AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateClassesRootEntries(kRecent));

    const auto opening = [&](const std::string& root, const std::wstring& path, int number) {
        return "RegCreateKeyExW(" + root + ", \"" + narrow(path) +
               "\", 0, null, 0x0, 0xF003F, null, key#" + std::to_string(number) + ", null) = 0";
    };
    EXPECT_THAT(
        machine.calls({"RegCreateKeyExW", "RegCopyTreeW", "RegCloseKey", "RegSetValueExW"}),
        ElementsAre(opening("HKEY_CLASSES_ROOT", oldList(classes, kRecent), 1),
                    opening("HKEY_CLASSES_ROOT", classes.base + L"\\" + kNewName, 2),
                    opening("key#2", L"PersistedStorageItemTable", 3),
                    opening("key#3", L"MostRecentlyUsed", 4), "RegCopyTreeW(key#1, null, key#4) = 0",
                    opening("HKEY_CLASSES_ROOT", newList(classes, kRecent), 5),
                    "RegCloseKey(key#5) = 0", "RegCloseKey(key#4) = 0", "RegCloseKey(key#3) = 0",
                    "RegCloseKey(key#2) = 0", "RegCloseKey(key#1) = 0"));
}

TEST_F(RegistryMigrationTest, OldKeyThatDoesNotExistIsMadeAndCountsAsCopied) {
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateRegistryEntries(kAnn));

    for (const View& view : {classes, hive}) {
        for (const wchar_t* list : {kRecent, kFuture}) {
            EXPECT_THAT(registry.subKeys(view.hive, oldList(view, list)), IsEmpty());
            EXPECT_THAT(registry.subKeys(view.hive, newList(view, list)), IsEmpty());
        }
    }
    EXPECT_THAT(copied(migrator), ElementsAre(L"MRURegistryEntries", L"FALRegistryEntries"));
    EXPECT_EQ(newLog(), copiedTo(classes) + updated(kRecent) + copiedTo(hive) + updated(kRecent) +
                            copiedTo(classes) + updated(kFuture) + copiedTo(hive) + updated(kFuture));
}

TEST_F(RegistryMigrationTest, WholeTreeIsCopiedAndTheOldOneStays) {
    addEntry(classes, kRecent, L"entry");
    const std::wstring key = oldList(classes, kRecent, L"entry");
    registry.setValue(classes.hive, key, L"Flags", {REG_BINARY, std::string("\0\1\2", 3)});
    registry.setText(classes.hive, key + L"\\inner\\deeper", L"FilePath", kOldName);
    registry.setText(classes.hive, oldList(classes, kRecent), L"FilePath", kOldName);
    const AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateClassesRootEntries(kRecent));

    const std::wstring copy = newList(classes, kRecent, L"entry");
    const RegistryValue untouched = {REG_SZ, bytesOf(kOldName) + std::string(2, '\0')};
    EXPECT_EQ(registry.value(classes.hive, copy, L"Flags"),
              (RegistryValue{REG_BINARY, std::string("\0\1\2", 3)}));
    // Only the direct entries are rewritten.
    EXPECT_EQ(registry.value(classes.hive, copy + L"\\inner\\deeper", L"FilePath"), untouched);
    EXPECT_EQ(registry.value(classes.hive, newList(classes, kRecent), L"FilePath"), untouched);
    EXPECT_EQ(registry.value(classes.hive, key, L"PackageFamilyName"), untouched);
}

TEST_F(RegistryMigrationTest, EntriesOfTheNewPackageStay) {
    addEntry(classes, kRecent, L"b");
    registry.setText(classes.hive, newList(classes, kRecent, L"a"), L"FilePath", L"kept");
    registry.setText(classes.hive, newList(classes, kRecent, L"a"), L"Metadata", L"kept");
    registry.setText(classes.hive, newList(classes, kRecent, L"a"), L"PackageFamilyName", L"kept");
    registry.setText(classes.hive, newList(classes, kRecent, L"b"), L"FilePath", L"overwritten");
    const AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateClassesRootEntries(kRecent));

    EXPECT_EQ(registry.text(classes.hive, newList(classes, kRecent, L"a"), L"FilePath"), L"kept");
    expectRewritten(classes, kRecent, L"b");
}

TEST_F(RegistryMigrationTest, UserWithoutHiveHasNothingToMigrate) {
    AppDataMigrator& migrator = start();
    registry.unloadHive(kAnn);

    EXPECT_TRUE(migrator.migrateRegistryEntries(kAnn));

    EXPECT_FALSE(registry.hasKey(HKEY_USERS, kAnn));
    EXPECT_THAT(copied(migrator), ElementsAre(L"MRURegistryEntries", L"FALRegistryEntries"));
    EXPECT_EQ(newLog(), copiedTo(classes) + updated(kRecent) +
                            couldNotOpen(oldList(hive, kRecent), 87) + couldNotRead(hive, kRecent) +
                            copiedTo(classes) + updated(kFuture) +
                            couldNotOpen(oldList(hive, kFuture), 87) + couldNotRead(hive, kFuture));
}

TEST_F(RegistryMigrationTest, SourceThatCannotBeOpenedCountsAsNothingToMigrate) {
    addEntry(classes, kRecent, L"entry");
    registry.restrictAccess(classes.hive, oldList(classes, kRecent));
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.migrateClassesRootEntries(kRecent));

    EXPECT_EQ(newLog(), couldNotOpen(oldList(classes, kRecent), 5) + couldNotRead(classes, kRecent));
    EXPECT_FALSE(registry.hasKey(classes.hive, newList(classes, kRecent)));
}

TEST_F(RegistryMigrationTest, TargetChainThatCannotBeOpenedIsAFailure) {
    const std::wstring package = classes.base + L"\\" + kNewName;
    const struct {
        std::wstring refused;
        std::wstring name;
    } rows[] = {
        {package, package},
        {package + L"\\PersistedStorageItemTable", L"PersistedStorageItemTable"},
        {package + L"\\PersistedStorageItemTable\\MostRecentlyUsed", L"MostRecentlyUsed"},
    };
    addEntry(classes, kRecent, L"entry");
    for (const auto& row : rows) {
        SCOPED_TRACE(narrow(row.name));
        registry.removeKey(classes.hive, package);
        registry.makeKey(classes.hive, row.refused);
        registry.restrictAccess(classes.hive, row.refused, L"D:P(A;;KR;;;WD)(A;;SDWD;;;WD)");
        AppDataMigrator& migrator = start();

        EXPECT_FALSE(migrator.migrateRegistryEntries(kAnn));

        EXPECT_THAT(newLog(), ::testing::StartsWith(couldNotOpen(row.name, 5) +
                                                    "Error copying MRU registry entries.\n" +
                                                    copiedTo(hive) + updated(kRecent)));
        EXPECT_EQ(failed(migrator).front(), L"MRURegistryEntries");
        registry.restrictAccess(classes.hive, row.refused, L"D:P(A;OICI;KA;;;WD)");
    }
}

TEST_F(RegistryMigrationTest, RefusedTreeCopyIsAFailureWithoutRewriting) {
    addEntry(classes, kRecent, L"entry");
    addEntry(hive, kRecent, L"entry");
    const std::wstring inTheWay = newList(classes, kRecent, L"entry");
    registry.makeKey(classes.hive, inTheWay);
    registry.restrictAccess(classes.hive, inTheWay);
    AppDataMigrator& migrator = start();

    EXPECT_FALSE(migrator.migrateRegistryEntries(kAnn));

    EXPECT_THAT(newLog(), ::testing::StartsWith("ERROR: Failed to copy registry subtree to "
                                                "HKEY_CLASSES_ROOT\\" +
                                                narrow(classes.base) +
                                                "\\Velta.QK_kt83f9rd2xj6a. Error code: 5\n" +
                                                copiedTo(hive) + rewrittenEntry("entry")));
    expectRewritten(hive, kRecent, L"entry");
    EXPECT_THAT(failed(migrator), ElementsAre(L"MRURegistryEntries"));
    EXPECT_THAT(copied(migrator), ElementsAre(L"FALRegistryEntries"));
}

TEST_F(RegistryMigrationTest, CodeOfTheTreeCopyIsLoggedInDecimal) {
    const AppDataMigrator& migrator = start();
    machine.failNext("RegCopyTreeW", 1018);

    EXPECT_FALSE(migrator.migrateUserHiveEntries(kAnn, kFuture));

    EXPECT_EQ(newLog(), "ERROR: Failed to copy registry subtree to HKEY_USERS\\" +
                            narrow(hive.base) + "\\Velta.QK_kt83f9rd2xj6a. Error code: 1018\n");
    // The source, and the three keys of the target.
    EXPECT_EQ(machine.trace.count("RegCreateKeyExW"), 4u);
}

TEST_F(RegistryMigrationTest, CopyThatCannotBeOpenedAgainIsAFailure) {
    addEntry(classes, kRecent, L"entry");
    const AppDataMigrator& migrator = start();
    machine.failNth("RegCreateKeyExW", 5, ERROR_ACCESS_DENIED);

    EXPECT_FALSE(migrator.migrateClassesRootEntries(kRecent));

    // Required: no blank between the label and the text behind it.
    EXPECT_EQ(newLog(), copiedTo(classes) + couldNotOpen(newList(classes, kRecent), 5) +
                            "Caught exception while updating MRU registry entries for "
                            "HKEY_CLASSES_ROOT\\with the error Unknown exception\n");
    EXPECT_EQ(registry.text(classes.hive, newList(classes, kRecent, L"entry"), L"FilePath"),
              std::wstring(L"C:\\") + kOldName + L"\\a.qk");
}

TEST_F(RegistryMigrationTest, EntryThatCannotBeOpenedIsAFailureAndTheOthersGoOn) {
    for (const wchar_t* entry : {L"a", L"b", L"c"})
        addEntry(classes, kRecent, entry);
    machine.onCall("RegCopyTreeW",
                   [&] { registry.restrictAccess(classes.hive, newList(classes, kRecent, L"b")); });
    const AppDataMigrator& migrator = start();

    EXPECT_FALSE(migrator.migrateClassesRootEntries(kRecent));

    EXPECT_EQ(newLog(), copiedTo(classes) + rewrittenEntry("a") + couldNotOpen(L"b", 5) +
                            "Error opening registry key for b\n" + rewrittenEntry("c"));
    expectRewritten(classes, kRecent, L"c");
}

TEST_F(RegistryMigrationTest, GroupsFailAndSucceedOnTheirOwn) {
    addEntry(hive, kFuture, L"entry");
    registry.setValue(hive.hive, oldList(hive, kFuture, L"entry"), L"Metadata", {REG_BINARY, "x"});
    AppDataMigrator& migrator = start();

    EXPECT_FALSE(migrator.migrateRegistryEntries(kAnn));

    EXPECT_THAT(copied(migrator), ElementsAre(L"MRURegistryEntries"));
    EXPECT_THAT(failed(migrator), ElementsAre(L"FALRegistryEntries"));
}

TEST_F(RegistryMigrationTest, HiveThatVanishesInMidRunFailsTheGroupUnderWay) {
    addEntry(hive, kRecent, L"entry");
    AppDataMigrator& migrator = start();
    machine.onCall("RegCopyTreeW", [&] {
        if (machine.trace.count("RegCopyTreeW") == 2) registry.unloadHive(kAnn);
    });

    EXPECT_FALSE(migrator.migrateRegistryEntries(kAnn));

    EXPECT_THAT(failed(migrator), ElementsAre(L"MRURegistryEntries"));
    EXPECT_THAT(copied(migrator), ElementsAre(L"FALRegistryEntries"));
    EXPECT_EQ(newLog(), copiedTo(classes) + updated(kRecent) + copiedTo(hive) +
                            couldNotOpen(newList(hive, kRecent), 87) +
                            "Caught exception while updating MRU registry entries for "
                            "HKEY_USERS\\with the error Unknown exception\n" +
                            copiedTo(classes) + updated(kFuture) +
                            couldNotOpen(oldList(hive, kFuture), 87) + couldNotRead(hive, kFuture));
}

TEST_F(RegistryMigrationTest, HiveThatVanishesBeforeTheCopyFailsTheGroup) {
    addEntry(hive, kRecent, L"entry");
    const AppDataMigrator& migrator = start();
    machine.onCall("RegCreateKeyExW", [&] {
        if (machine.trace.count("RegCreateKeyExW") == 1) registry.unloadHive(kAnn);
    });

    EXPECT_FALSE(migrator.migrateUserHiveEntries(kAnn, kRecent));

    EXPECT_EQ(newLog(), couldNotOpen(hive.base + L"\\" + kNewName, 87) +
                            "Error copying MRU registry entries.\n");
}

}  // namespace
