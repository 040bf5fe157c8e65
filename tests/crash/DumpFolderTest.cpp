#include "CrashDumpsFixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using DumpFolderTest = CrashDumpsTest;

// A folder that is there: what it holds, and whether it is written again.
TEST_F(DumpFolderTest, TheFolderIsReadExpandedAndWrittenWhereItDiffers) {
    const std::wstring expanded =
        L"C:\\Users\\anna\\AppData\\Local\\Packages\\Velta.QK_kt83f9rd2xj6a\\AC\\Dumps";
    struct {
        const char* name;
        DWORD type;
        std::wstring text;
        bool isWritten;
    } const rows[] = {
        {"wanted text, expandable", REG_EXPAND_SZ, kFolder, true},
        {"wanted text, not expandable", REG_SZ, kFolder, false},
        {"its expansion", REG_SZ, expanded, true},
        {"another folder", REG_EXPAND_SZ, L"%TEMP%\\Dumps", true},
        {"in other letters", REG_SZ, L"%LocalAppData%" + std::wstring(kFolder + 14), true},
        {"its beginning", REG_SZ, std::wstring(kFolder, 20), true},
        {"more text", REG_SZ, std::wstring(kFolder) + L"2", true},
        {"text behind a null", REG_SZ, std::wstring(kFolder) + std::wstring(L"\0x", 2), false},
        {"wanted text behind a null", REG_SZ, std::wstring(1, L'\0') + kFolder, true},
        {"no text", REG_SZ, L"", true},
        {"no text, expandable", REG_EXPAND_SZ, L"", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        storeFolder(row.type, row.text);
        const auto before = value(L"DumpFolder");

        EXPECT_TRUE(registerDumps());

        EXPECT_EQ(value(L"DumpFolder"), row.isWritten ? kDumpFolder : before);
        EXPECT_EQ(written().empty() || written()[0] != "\"DumpFolder\"", !row.isWritten);
    }
}

TEST_F(DumpFolderTest, TheFolderIsAskedForAsPlainText) {
    storeFolder(REG_SZ, kFolder);

    EXPECT_TRUE(registerDumps());

    EXPECT_THAT(
        machine.calls({"RegGetValueW"}),
        ElementsAre(R"(RegGetValueW(key#1, null, "DumpFolder", 0x2, null, null, 0->114) = 0)",
                    R"(RegGetValueW(key#1, null, "DumpFolder", 0x2, null, given, 114->112) = 0)"));
}

TEST_F(DumpFolderTest, AFolderWhoseVariableIsUnknownIsNotExpandedAndStays) {
    ::SetEnvironmentVariableW(L"LOCALAPPDATA", nullptr);
    storeFolder(REG_EXPAND_SZ, kFolder);

    EXPECT_TRUE(registerDumps());

    EXPECT_EQ(written().size(), 3u);
    EXPECT_EQ(value(L"DumpFolder"), kDumpFolder);
}

TEST_F(DumpFolderTest, AFolderOfAnotherTypeEndsItWithLaterValuesUnhandled) {
    for (const DWORD type :
         std::initializer_list<DWORD>{REG_DWORD, REG_BINARY, REG_MULTI_SZ, REG_NONE}) {
        SCOPED_TRACE(type);
        const std::string before = logText();
        const RegistryValue stored = {type, std::string("\1\0\0\0", 4)};
        store(L"DumpFolder", stored);
        const auto folder = value(L"DumpFolder");

        EXPECT_FALSE(registerDumps());

        EXPECT_EQ(
            logText().substr(before.size()),
            keyLine +
                "Exception while reading value size of value \"DumpFolder\" with ErrorCode 1630.\n"
                "Setting registry value (DumpFolder) for UWPCR failed with: Unknown exception\n");
        EXPECT_EQ(value(L"DumpFolder"), folder);
        EXPECT_EQ(value(L"DumpCount"), std::nullopt);
        EXPECT_THAT(written(), IsEmpty());
    }
}

TEST_F(DumpFolderTest, AFolderThatCannotBeReadEndsIt) {
    storeFolder(REG_SZ, kFolder);
    machine.failNth("RegGetValueW", 2, ERROR_MORE_DATA);

    EXPECT_FALSE(registerDumps());

    EXPECT_EQ(logText(),
              keyLine +
                  "Exception while reading value \"DumpFolder\" with ErrorCode 234.\n"
                  "Setting registry value (DumpFolder) for UWPCR failed with: Unknown exception\n");
    EXPECT_THAT(written(), IsEmpty());
}

}  // namespace
