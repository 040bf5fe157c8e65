#include "run/RegistryKey.h"

#include "support/LogTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

static_assert(KEY_ALL_ACCESS == 983103);
static_assert(REG_OPTION_NON_VOLATILE == 0);

constexpr wchar_t kPath[] = L"SOFTWARE\\Velta";

// The text of the exception that opening the key throws.
std::string thrownByOpening(HKEY root, const wchar_t* path) {
    try {
        const RegistryKey key(root, path);
    } catch (const std::exception& exception) {
        return exception.what();
    }
    return "(nothing was thrown)";
}

class RegistryKeyTest : public LogTest {};

TEST_F(RegistryKeyTest, IsOpenedForFullAccessAndClosedAtTheEndOfTheScope) {
    registry.makeKey(HKEY_LOCAL_MACHINE, kPath);

    { const RegistryKey key(HKEY_LOCAL_MACHINE, kPath); }

    EXPECT_THAT(machine.calls(),
                ElementsAre("RegCreateKeyExW(HKEY_LOCAL_MACHINE, \"SOFTWARE\\Velta\", 0, null, 0x0, "
                            "0xF003F, null, key#1, null) = 0",
                            "RegCloseKey(key#1) = 0"));
    EXPECT_EQ(logText(), "");
}

TEST_F(RegistryKeyTest, OpeningCreatesWhatIsMissing) {
    const RegistryKey key(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Velta\\QK\\Deep");

    EXPECT_TRUE(registry.hasKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Velta\\QK\\Deep"));
    EXPECT_EQ(logText(), "");
}

TEST_F(RegistryKeyTest, OpensBelowAnotherKeyAndKeepsThePathAsGiven) {
    registry.setText(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Velta\\QK", L"Name", L"value");
    const RegistryKey outer(HKEY_LOCAL_MACHINE, kPath);
    const wchar_t* const path = L"QK";

    const RegistryKey inner(outer.m_key, path);

    EXPECT_EQ(inner.m_name, path);
    EXPECT_EQ(readText(inner, L"Name", RRF_RT_ANY), L"value");
    EXPECT_THAT(machine.calls({"RegCreateKeyExW"})[1], StartsWith("RegCreateKeyExW(key#1, \"QK\", "));
}

TEST_F(RegistryKeyTest, OpensBelowEveryRootThatTheRunUses) {
    registry.loadHive(L"S-1-5-21-1");

    const RegistryKey machineKey(HKEY_LOCAL_MACHINE, kPath);
    const RegistryKey userKey(HKEY_USERS, L"S-1-5-21-1\\Velta");
    const RegistryKey classKey(HKEY_CLASSES_ROOT, L"Velta");

    EXPECT_TRUE(registry.hasKey(HKEY_USERS, L"S-1-5-21-1\\Velta"));
    EXPECT_TRUE(registry.hasKey(HKEY_CLASSES_ROOT, L"Velta"));
}

TEST_F(RegistryKeyTest, RefusedOpeningIsLoggedAndThrowsWithoutAMessage) {
    registry.makeKey(HKEY_LOCAL_MACHINE, kPath);
    registry.restrictAccess(HKEY_LOCAL_MACHINE, kPath);

    EXPECT_EQ(thrownByOpening(HKEY_LOCAL_MACHINE, kPath), "Unknown exception");

    EXPECT_EQ(logText(), "Exception while opening key \"SOFTWARE\\Velta\" with ErrorCode 5.\n");
    EXPECT_EQ(machine.trace.count("RegCloseKey"), 0U);
}

TEST_F(RegistryKeyTest, KeyThatMayOnlyBeReadIsRefusedToo) {
    registry.makeKey(HKEY_LOCAL_MACHINE, kPath);
    registry.restrictAccess(HKEY_LOCAL_MACHINE, kPath, L"D:P(A;;KR;;;WD)");

    EXPECT_EQ(thrownByOpening(HKEY_LOCAL_MACHINE, kPath), "Unknown exception");

    EXPECT_EQ(logText(), "Exception while opening key \"SOFTWARE\\Velta\" with ErrorCode 5.\n");
}

TEST_F(RegistryKeyTest, PathsThatTheRegistryDoesNotTakeAreLoggedAsTheyStand) {
    const std::wstring tooLong = L"SOFTWARE\\" + std::wstring(256, L'n');

    EXPECT_EQ(thrownByOpening(HKEY_LOCAL_MACHINE, L"\\SOFTWARE\\Velta"), "Unknown exception");
    EXPECT_EQ(thrownByOpening(HKEY_LOCAL_MACHINE, tooLong.c_str()), "Unknown exception");

    EXPECT_EQ(logText(),
              "Exception while opening key \"\\SOFTWARE\\Velta\" with ErrorCode 161.\n"
              "Exception while opening key \"SOFTWARE\\" +
                  std::string(256, 'n') + "\" with ErrorCode 87.\n");
}

TEST_F(RegistryKeyTest, StatusIsLoggedInDecimal) {
    machine.failNext("RegCreateKeyExW", ERROR_KEY_DELETED);

    EXPECT_EQ(thrownByOpening(HKEY_LOCAL_MACHINE, kPath), "Unknown exception");

    EXPECT_EQ(logText(), "Exception while opening key \"SOFTWARE\\Velta\" with ErrorCode 1018.\n");
}

TEST_F(RegistryKeyTest, FailedCloseIsNotNoticed) {
    {
        const RegistryKey key(HKEY_LOCAL_MACHINE, kPath);
        machine.failNext("RegCloseKey", ERROR_INVALID_HANDLE);
    }

    EXPECT_EQ(machine.trace.count("RegCloseKey"), 1U);
    EXPECT_EQ(logText(), "");
    mounted.expectLeaks({"key#1"});
}

TEST_F(RegistryKeyTest, ReadingFromAMissingSubkeyCreatesItAndFailsWithTheSizeMessage) {
    const RegistryKey key(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Missing");
    std::vector<BYTE> bytes;

    EXPECT_THROW(key.readValue(bytes, L"Value", RRF_RT_ANY), std::exception);

    EXPECT_TRUE(registry.hasKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Missing"));
    EXPECT_EQ(logText(), "Exception while reading value size of value \"Value\" with ErrorCode 2.\n");
}

}  // namespace
