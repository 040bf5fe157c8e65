#include "migration/RecentFilesTest.h"

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;

const std::wstring kNull(1, L'\0');

// The list of recent files in the classes root; each test looks at one of the values of an entry.
class RegistryRewriteTest : public RecentFilesTest {
protected:
    void setOld(const std::wstring& entry, const wchar_t* name, const RegistryValue& value) {
        registry.setValue(classes.hive, oldList(classes, kRecent, entry), name, value);
    }
    std::optional<RegistryValue> newValue(const std::wstring& entry, const wchar_t* name) const {
        return registry.value(classes.hive, newList(classes, kRecent, entry), name);
    }
    bool migrate() { return start().migrateClassesRootEntries(kRecent); }

    const std::wstring oldName = kOldName;
    const std::wstring newName = kNewName;
};

TEST_F(RegistryRewriteTest, TextThatNamesTheOldPackageIsRewritten) {
    const struct {
        const char* name;
        RegistryValue value;
        std::wstring expected;
    } rows[] = {
        {"the name alone", {REG_SZ, bytesOf(oldName + kNull)}, newName},
        {"at the start", {REG_SZ, bytesOf(oldName + L"!App" + kNull)}, newName + L"!App"},
        {"at the end", {REG_SZ, bytesOf(L"C:\\" + oldName + kNull)}, L"C:\\" + newName},
        {"twice: the second one stays",
         {REG_SZ, bytesOf(L"a" + oldName + L"b" + oldName + L"c" + kNull)},
         L"a" + newName + L"b" + oldName + L"c"},
        {"twice in a row", {REG_SZ, bytesOf(oldName + oldName + kNull)}, newName + oldName},
        {"inside a longer word",
         {REG_SZ, bytesOf(L"x" + oldName + L"x" + kNull)},
         L"x" + newName + L"x"},
        {"before a null", {REG_SZ, bytesOf(oldName + kNull + L"rest" + kNull)}, newName},
        {"unterminated", {REG_SZ, bytesOf(L"C:\\" + oldName)}, L"C:\\" + newName},
        {"odd size", {REG_SZ, bytesOf(L"C:\\" + oldName + kNull) + 'x'}, L"C:\\" + newName},
        {"odd size, unterminated", {REG_SZ, bytesOf(L"C:\\" + oldName) + 'x'}, L"C:\\" + newName},
        {"non-ASCII",
         {REG_SZ, bytesOf(L"\u00E9\\" + oldName + L"\\\u00FC" + kNull)},
         L"\u00E9\\" + newName + L"\\\u00FC"},
        {"long",
         {REG_SZ, bytesOf(std::wstring(5000, L'a') + oldName + kNull)},
         std::wstring(5000, L'a') + newName},
    };
    addEntry(classes, kRecent, L"entry");
    for (const auto& row : rows) {
        for (const wchar_t* valueName : {L"FilePath", L"Metadata", L"PackageFamilyName"}) {
            SCOPED_TRACE(row.name);
            setOld(L"entry", valueName, row.value);

            EXPECT_TRUE(migrate());

            EXPECT_EQ(newValue(L"entry", valueName), rewritten(row.expected));
            EXPECT_THAT(newLog(),
                        HasSubstr("Updated MRU registry entry for value " + narrow(valueName) +
                                  " under key entry. New value: " + narrow(row.expected) + "\n"));
        }
    }
}

TEST_F(RegistryRewriteTest, TextThatDoesNotNameTheOldPackageKeepsTypeAndBytes) {
    std::wstring otherCase = oldName;
    otherCase[0] = L'v';
    const struct {
        const char* name;
        RegistryValue value;
    } rows[] = {
        {"some text", {REG_SZ, bytesOf(L"C:\\a.qk" + kNull)}},
        {"empty", {REG_SZ, bytesOf(kNull)}},
        {"no bytes", {REG_SZ, ""}},
        {"another case", {REG_SZ, bytesOf(otherCase + kNull)}},
        {"cut short", {REG_SZ, bytesOf(oldName.substr(0, oldName.size() - 1) + kNull)}},
        {"behind a null", {REG_SZ, bytesOf(L"a" + kNull + oldName + kNull)}},
        {"null inside the name",
         {REG_SZ, bytesOf(oldName.substr(0, 5) + kNull + oldName.substr(5) + kNull)}},
        {"odd size", {REG_SZ, bytesOf(L"C:\\a.qk" + kNull) + 'x'}},
        {"the new name", {REG_SZ, bytesOf(newName + kNull)}},
        {"to be expanded", {REG_EXPAND_SZ, bytesOf(L"%SystemDrive%\\a.qk" + kNull)}},
    };
    addEntry(classes, kRecent, L"entry");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        setOld(L"entry", L"Metadata", row.value);

        EXPECT_TRUE(migrate());

        EXPECT_EQ(newValue(L"entry", L"Metadata"), row.value);
        EXPECT_THAT(newLog(), AllOf(Not(HasSubstr("for value Metadata")),
                                    EndsWith("MRU Registry entries updated for subkey "
                                             "MostRecentlyUsed\n")));
    }
}

// The read expands it, so it is written back expanded.
TEST_F(RegistryRewriteTest, TextToBeExpandedIsWrittenBackExpanded) {
    ::SetEnvironmentVariableW(L"RECENT_TEST", L"D:\\Data");
    ::SetEnvironmentVariableW(L"RECENT_NAME", kOldName);
    addEntry(classes, kRecent, L"entry");
    setOld(L"entry", L"FilePath",
           {REG_EXPAND_SZ, bytesOf(L"%RECENT_TEST%\\" + oldName + L"\\%NO_SUCH%" + kNull)});
    setOld(L"entry", L"Metadata", {REG_EXPAND_SZ, bytesOf(L"%RECENT_NAME%!App" + kNull)});

    EXPECT_TRUE(migrate());

    EXPECT_EQ(newValue(L"entry", L"FilePath"), rewritten(L"D:\\Data\\" + newName + L"\\%NO_SUCH%"));
    EXPECT_EQ(newValue(L"entry", L"Metadata"), rewritten(newName + L"!App"));
}

TEST_F(RegistryRewriteTest, ValueOfAnotherTypeIsAFailureAndStays) {
    const struct {
        const char* name;
        RegistryValue value;
    } rows[] = {
        {"number", {REG_DWORD, std::string("\1\2\3\4", 4)}},
        {"large number", {REG_QWORD, std::string(8, '\1')}},
        {"binary", {REG_BINARY, bytesOf(oldName + kNull)}},
        {"list of texts", {REG_MULTI_SZ, bytesOf(oldName + kNull + kNull)}},
        {"no type", {REG_NONE, bytesOf(oldName + kNull)}},
    };
    addEntry(classes, kRecent, L"entry");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        setOld(L"entry", L"FilePath", row.value);

        EXPECT_FALSE(migrate());

        EXPECT_EQ(newValue(L"entry", L"FilePath"), row.value);
        EXPECT_EQ(newLog(),
                  copiedTo(classes) +
                      "Exception while reading value size of value \"FilePath\" with ErrorCode "
                      "1630.\n"
                      "Error updating MRU registry entry for value FilePath of subkey entry\n" +
                      rewrittenEntry("entry").substr(rewrittenEntry("entry").find('\n') + 1));
    }
}

TEST_F(RegistryRewriteTest, MissingValueIsNamedAndTheRestGoesOn) {
    setOld(L"a", L"Metadata", {REG_SZ, bytesOf(oldName + L"!App" + kNull)});
    setOld(L"a", L"PackageFamilyName", {REG_SZ, bytesOf(oldName + kNull)});
    addEntry(classes, kRecent, L"b");
    AppDataMigrator& migrator = start();

    EXPECT_FALSE(migrator.migrateRegistryEntries(kAnn));

    EXPECT_THAT(newLog(),
                ::testing::StartsWith(
                    copiedTo(classes) +
                    "Exception while reading value size of value \"FilePath\" with ErrorCode 2.\n"
                    "Error updating MRU registry entry for value FilePath of subkey a\n" +
                    rewrittenEntry("a").substr(rewrittenEntry("a").find('\n') + 1) +
                    rewrittenEntry("b") + copiedTo(hive)));  // and no line that says updated
    EXPECT_EQ(newValue(L"a", L"Metadata"), rewritten(newName + L"!App"));
    EXPECT_EQ(newValue(L"a", L"PackageFamilyName"), rewritten(newName));
    EXPECT_EQ(newValue(L"a", L"FilePath"), std::nullopt);
    expectRewritten(classes, kRecent, L"b");
    EXPECT_THAT(migrator.failedItems, ElementsAre(Pair(kAnn, Items{L"MRURegistryEntries"})));
}

TEST_F(RegistryRewriteTest, EmptyEntryFailsInAllThreeValues) {
    registry.makeKey(classes.hive, oldList(classes, kRecent, L"entry"));

    EXPECT_FALSE(migrate());

    std::string lines = copiedTo(classes);
    for (const char* value : {"FilePath", "Metadata", "PackageFamilyName"}) {
        lines += std::string("Exception while reading value size of value \"") + value +
                 "\" with ErrorCode 2.\nError updating MRU registry entry for value " + value +
                 " of subkey entry\n";
    }
    EXPECT_EQ(newLog(), lines);
}

// Required: the type is 2 whatever it was, and the size cuts the terminator in half.
TEST_F(RegistryRewriteTest, HalfTheTerminatorIsHandedOver) {
    addEntry(classes, kRecent, L"entry");

    EXPECT_TRUE(migrate());

    std::string bytes;
    for (const wchar_t unit : newName) {
        char text[8];
        std::snprintf(text, sizeof(text), "%02X 00 ", static_cast<unsigned>(unit));
        bytes += text;
    }
    const std::string size = std::to_string(newName.size() * 2 + 1);
    EXPECT_EQ(
        machine.calls({"RegSetValueExW"}).back(),
        "RegSetValueExW(key#6, \"PackageFamilyName\", 0, 2, [" + bytes + "00], " + size + ") = 0");
}

TEST_F(RegistryRewriteTest, ValueIsReadAsATextAlone) {
    addEntry(classes, kRecent, L"entry");

    migrate();

    const std::vector<std::string> reads = machine.calls({"RegGetValueW"});
    ASSERT_EQ(reads.size(), 6u);
    const char* const names[] = {"FilePath", "Metadata", "PackageFamilyName"};
    for (size_t i = 0; i < reads.size(); ++i) {
        EXPECT_THAT(reads[i], ::testing::StartsWith(std::string("RegGetValueW(key#6, null, \"") +
                                                    names[i / 2] + "\", 0x2, null, "));
    }
}

TEST_F(RegistryRewriteTest, ValueThatShrinksBetweenTheReadsIsTakenAsRead) {
    addEntry(classes, kRecent, L"entry");
    const AppDataMigrator& migrator = start();
    bool isShrunk = false;
    machine.onCall("RegGetValueW", [&] {
        if (isShrunk) return;
        isShrunk = true;
        registry.setText(classes.hive, newList(classes, kRecent, L"entry"), L"FilePath", oldName);
    });

    EXPECT_TRUE(migrator.migrateClassesRootEntries(kRecent));

    EXPECT_EQ(newValue(L"entry", L"FilePath"), rewritten(newName));
}

TEST_F(RegistryRewriteTest, RefusedWriteGoesUnnoticed) {
    addEntry(classes, kRecent, L"entry");
    AppDataMigrator& migrator = start();
    machine.failFrom("RegSetValueExW", 1, ERROR_ACCESS_DENIED);

    EXPECT_TRUE(migrator.migrateClassesRootEntries(kRecent));

    EXPECT_EQ(newLog(), copiedTo(classes) + rewrittenEntry("entry") + updated(kRecent));
    EXPECT_EQ(newValue(L"entry", L"PackageFamilyName"),
              (RegistryValue{REG_SZ, bytesOf(oldName + kNull)}));
}

TEST_F(RegistryRewriteTest, ThousandEntriesAreRewrittenInBothViews) {
    constexpr int kCount = 1000;
    const auto nameOf = [](int number) { return L"entry " + std::to_wstring(number); };
    for (int i = 0; i < kCount; ++i) {
        addEntry(classes, kRecent, nameOf(i));
        addEntry(hive, kRecent, nameOf(i));
    }
    AppDataMigrator& migrator = start();
    machine.trace.stop();

    EXPECT_TRUE(migrator.migrateRegistryEntries(kAnn));

    for (int i = 0; i < kCount; ++i) {
        SCOPED_TRACE(i);
        expectRewritten(classes, kRecent, nameOf(i));
        expectRewritten(hive, kRecent, nameOf(i));
    }
    EXPECT_EQ(registry.subKeys(classes.hive, newList(classes, kRecent)).size(), size_t{kCount});
    EXPECT_THAT(migrator.failedItems, IsEmpty());
}

TEST_F(RegistryRewriteTest, EntriesOfEveryLegalNameAreRewritten) {
    const std::wstring names[] = {
        L" ",
        L" leading and trailing ",
        L".",
        L"..",
        L"trailing point.",
        L"a/b",
        L"C:",
        L"*?<>|\"",
        L"%SystemDrive%",
        L"{B1F1A6D0-0000-0000-0000-000000000000}",
        L"a\tb\nc\x01",
        L"FilePath",
        oldName,
        L"\u00E9t\u00E9",
        L"\u4E2D\u6587",
        L"\xD83D\xDE00",
        L"unpaired \xD800",
        std::wstring(254, L'n'),
    };
    for (const std::wstring& name : names)
        addEntry(classes, kRecent, name);

    EXPECT_TRUE(migrate());

    for (const std::wstring& name : names) {
        SCOPED_TRACE(narrow(name));
        expectRewritten(classes, kRecent, name);
    }
    EXPECT_EQ(registry.subKeys(classes.hive, newList(classes, kRecent)).size(), std::size(names));
}

// A name of 255 characters does not fit the listing with its terminator.
TEST_F(RegistryRewriteTest, EntryOfTheLongestNameIsCopiedButNotRewritten) {
    const std::wstring name(255, L'n');
    addEntry(classes, kRecent, name);
    addEntry(classes, kRecent, L"other");

    EXPECT_TRUE(migrate());

    EXPECT_EQ(newLog(), copiedTo(classes) + rewrittenEntry("other") + updated(kRecent));
    EXPECT_EQ(newValue(name, L"PackageFamilyName"),
              (RegistryValue{REG_SZ, bytesOf(oldName + kNull)}));
}

}  // namespace
