#include "CrashDumpsFixture.h"

#include <dbghelp.h>

namespace {

using ::testing::ElementsAre;

static_assert(KEY_ALL_ACCESS == 983103 && REG_OPTION_NON_VOLATILE == 0);
static_assert(REG_SZ == 1 && REG_EXPAND_SZ == 2 && REG_DWORD == 4 && RRF_RT_REG_SZ == 2);
static_assert((MiniDumpWithHandleData | MiniDumpWithUnloadedModules | MiniDumpFilterModulePaths |
               MiniDumpWithProcessThreadData | MiniDumpWithoutOptionalData |
               MiniDumpIgnoreInaccessibleMemory | MiniDumpFilterTriage) == 1181092);

TEST_F(CrashDumpsTest, AMachineWithoutTheKeyGetsAllFourValues) {
    EXPECT_TRUE(registerDumps());

    EXPECT_EQ(value(L"DumpFolder"), kDumpFolder);
    EXPECT_EQ(value(L"DumpCount"), kDumpCount);
    EXPECT_EQ(value(L"DumpType"), kDumpType);
    EXPECT_EQ(value(L"CustomDumpFlags"), kCustomDumpFlags);
    EXPECT_EQ(logText(), keyLine);
}

TEST_F(CrashDumpsTest, EachValueIsAskedForAndWrittenInOrder) {
    EXPECT_TRUE(registerDumps());

    // 55 characters; the terminating zero is not counted.
    const std::string folderArguments = [] {
        std::string hex = "[";
        for (const wchar_t* character = kFolder; *character != 0; ++character) {
            char two[8];
            std::snprintf(two, sizeof(two), "%02X 00 ", static_cast<unsigned>(*character));
            hex += two;
        }
        hex.back() = ']';
        return hex + ", 110";
    }();
    EXPECT_THAT(
        machine.calls({"RegCreateKeyExW", "RegQueryValueExW", "RegGetValueW", "RegSetValueExW",
                       "RegCloseKey"}),
        ElementsAre("RegCreateKeyExW(HKEY_LOCAL_MACHINE, \"" + standin::toUtf8(key) +
                        "\", 0, null, 0x0, 0xF003F, null, key#1, null) = 0",
                    R"(RegQueryValueExW(key#1, "DumpFolder", null, out, null, null) = 2)",
                    R"(RegSetValueExW(key#1, "DumpFolder", 0, 2, )" + folderArguments + ") = 0",
                    R"(RegQueryValueExW(key#1, "DumpCount", null, out, null, null) = 2)",
                    R"(RegSetValueExW(key#1, "DumpCount", 0, 4, [02 00 00 00], 4) = 0)",
                    R"(RegQueryValueExW(key#1, "DumpType", null, out, null, null) = 2)",
                    R"(RegSetValueExW(key#1, "DumpType", 0, 4, [00 00 00 00], 4) = 0)",
                    R"(RegQueryValueExW(key#1, "CustomDumpFlags", null, out, null, null) = 2)",
                    R"(RegSetValueExW(key#1, "CustomDumpFlags", 0, 4, [A4 05 12 00], 4) = 0)",
                    "RegCloseKey(key#1) = 0"));
}

TEST_F(CrashDumpsTest, ASecondRunWritesOnlyTheFolderAgainAndChangesNothing) {
    EXPECT_TRUE(registerDumps());

    EXPECT_TRUE(registerDumps());

    EXPECT_THAT(written(), ElementsAre("\"DumpFolder\""));
    EXPECT_EQ(value(L"DumpFolder"), kDumpFolder);
    EXPECT_EQ(logText(), keyLine + keyLine);
}

TEST_F(CrashDumpsTest, WhatAMachineHasAlreadyStaysWhateverItHolds) {
    struct {
        const char* name;
        RegistryValue stored;
    } const rows[] = {
        {"another number", {REG_DWORD, std::string("\x0A\0\0\0", 4)}},
        {"a text", {REG_SZ, bytesOf(L"ten\0")}},
        {"bytes", {REG_BINARY, std::string("\x01\0\x02", 3)}},
        {"nothing", {REG_NONE, ""}},
        {"a longer number", {REG_QWORD, std::string("\x02\0\0\0\0\0\0\0", 8)}},
    };
    for (const wchar_t* name : {L"DumpCount", L"DumpType", L"CustomDumpFlags"}) {
        for (const auto& row : rows) {
            SCOPED_TRACE(standin::toUtf8(name) + ": " + row.name);
            registry.removeKey(HKEY_LOCAL_MACHINE, key);
            store(name, row.stored);
            const auto before = value(name);

            EXPECT_TRUE(registerDumps());

            EXPECT_EQ(value(name), before);
            EXPECT_EQ(written().size(), 3u);
        }
    }
}

TEST_F(CrashDumpsTest, OtherValuesOfTheKeyStay) {
    store(L"Other", kDumpCount);
    store(L"", kDumpType);

    EXPECT_TRUE(registerDumps());

    EXPECT_EQ(value(L"Other"), kDumpCount);
    EXPECT_EQ(value(L""), kDumpType);
}

TEST_F(CrashDumpsTest, ARefusedWriteGoesUnnoticed) {
    machine.failFrom("RegSetValueExW", 1, ERROR_ACCESS_DENIED);

    EXPECT_TRUE(registerDumps());

    EXPECT_EQ(written().size(), 4u);
    EXPECT_EQ(value(L"DumpFolder"), std::nullopt);
    EXPECT_EQ(logText(), keyLine);
}

TEST_F(CrashDumpsTest, AValueThatCannotBeAskedForCountsAsMissing) {
    store(L"DumpCount", {REG_DWORD, std::string("\x0A\0\0\0", 4)});
    machine.failNth("RegQueryValueExW", 2, ERROR_ACCESS_DENIED);

    EXPECT_TRUE(registerDumps());

    EXPECT_EQ(value(L"DumpCount"), kDumpCount);
}

TEST_F(CrashDumpsTest, AKeyThatCannotBeOpenedEndsIt) {
    registry.makeKey(HKEY_LOCAL_MACHINE, key);
    registry.restrictAccess(HKEY_LOCAL_MACHINE, key);

    EXPECT_FALSE(registerDumps());

    EXPECT_EQ(logText(), "Exception while opening key \"" + standin::toUtf8(key) +
                             "\" with ErrorCode 5.\n"
                             "Setting registry values for UWPCR failed with: Unknown exception\n");
    EXPECT_EQ(machine.trace.count("RegQueryValueExW"), 0u);
    EXPECT_EQ(machine.trace.count("RegCloseKey"), 0u);
}

TEST_F(CrashDumpsTest, AnExecutableNameWithABackslashIsAPathBelowTheKey) {
    permissions.m_executableName = Platform::String(L"bin\\QK.exe");

    EXPECT_TRUE(registerDumps());

    EXPECT_TRUE(registry.value(HKEY_LOCAL_MACHINE, std::wstring(kLocalDumps) + L"bin\\QK.exe",
                               L"DumpCount"));
    EXPECT_EQ(logText(), "rootKey at: " + standin::toUtf8(kLocalDumps) + "bin\\QK.exe\n");
}

TEST_F(CrashDumpsTest, AnEmptyExecutableNameIsTheKeyItself) {
    permissions.m_executableName = Platform::String();

    EXPECT_TRUE(registerDumps());

    std::wstring above = kLocalDumps;
    above.pop_back();
    EXPECT_EQ(registry.value(HKEY_LOCAL_MACHINE, above, L"DumpCount"), kDumpCount);
}

TEST_F(CrashDumpsTest, AnExecutableNameThatIsTooLongForAKeyEndsIt) {
    permissions.m_executableName = Platform::String(std::wstring(256, L'Q').c_str());

    EXPECT_FALSE(registerDumps());

    EXPECT_EQ(logText(), "Exception while opening key \"" + standin::toUtf8(kLocalDumps) +
                             std::string(256, 'Q') +
                             "\" with ErrorCode 87.\n"
                             "Setting registry values for UWPCR failed with: Unknown exception\n");
}

TEST_F(CrashDumpsTest, AnEmptyFamilyNameLeavesTwoBackslashesInTheFolder) {
    permissions.m_packageFamilyName = Platform::String();

    EXPECT_TRUE(registerDumps());

    EXPECT_EQ(registry.text(HKEY_LOCAL_MACHINE, key, L"DumpFolder"),
              L"%LOCALAPPDATA%\\Packages\\\\AC\\Dumps");
}

}  // namespace
