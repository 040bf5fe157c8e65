#include <cstring>

#include "run/RegistryKey.h"
#include "support/LogTest.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::SizeIs;

static_assert(RRF_RT_ANY == 65535);
static_assert(RRF_RT_REG_SZ == 2);

constexpr wchar_t kPath[] = L"SOFTWARE\\Velta";

std::string bytesOf(const std::wstring& text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

// Values of one key, which the record of calls names key#1.
class RegistryValueTest : public LogTest {
protected:
    RegistryValueTest() { machine.trace.clear(); }

    void store(DWORD type, const std::string& bytes) {
        registry.setValue(HKEY_LOCAL_MACHINE, kPath, L"Value", {type, bytes});
    }
    void storeText(const std::wstring& text, DWORD type = REG_SZ) {
        registry.setText(HKEY_LOCAL_MACHINE, kPath, L"Value", text, type);
    }
    std::vector<BYTE> read(DWORD flags = RRF_RT_ANY) {
        std::vector<BYTE> bytes;
        key.readValue(bytes, L"Value", flags);
        return bytes;
    }
    // The text of what reading throws.
    std::string thrownByReading(DWORD flags = RRF_RT_ANY) {
        try {
            read(flags);
        } catch (const std::exception& exception) {
            return exception.what();
        }
        return "(nothing was thrown)";
    }
    // Runs between the question for the size and the reading.
    void beforeTheSecondCall(std::function<void()> action) {
        machine.onCall("RegGetValueW", [this, action] {
            if (++m_calls == 1) action();
        });
    }

    const RegistryKey key{HKEY_LOCAL_MACHINE, kPath};

private:
    int m_calls = 0;
};

TEST_F(RegistryValueTest, IsReadInTwoCallsWithTheSizeThatTheFirstGave) {
    store(REG_BINARY, "12345");

    read();

    EXPECT_THAT(machine.calls(),
                ElementsAre("RegGetValueW(key#1, null, \"Value\", 0xFFFF, null, null, 0->5) = 0",
                            "RegGetValueW(key#1, null, \"Value\", 0xFFFF, null, given, 5->5) = 0"));
}

TEST_F(RegistryValueTest, FlagsGoToBothCalls) {
    storeText(L"text");

    read(RRF_RT_REG_SZ);

    for (const std::string& call : machine.calls({"RegGetValueW"}))
        EXPECT_THAT(call, testing::StartsWith("RegGetValueW(key#1, null, \"Value\", 0x2, null, "));
}

TEST_F(RegistryValueTest, BytesOfEveryTypeWithoutText) {
    const struct {
        const char* name;
        DWORD type;
        std::string bytes;
    } rows[] = {
        {"DWORD", REG_DWORD, std::string("\x01\x02\x03\x04", 4)},
        {"QWORD", REG_QWORD, std::string("\x01\x02\x03\x04\x05\x06\x07\x08", 8)},
        {"binary of an odd size", REG_BINARY, std::string("\x00\xFF\x01", 3)},
        {"none", REG_NONE, "any"},
        {"empty binary", REG_BINARY, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        store(row.type, row.bytes);

        const std::vector<BYTE> bytes = read();

        EXPECT_EQ(std::string(bytes.begin(), bytes.end()), row.bytes);
    }
}

TEST_F(RegistryValueTest, TextEndsWithItsTerminator) {
    const std::wstring text = L"C:\\Users\\bj\u00F6rn \u4E2D\xD83D\xDE00";
    storeText(text);

    const std::vector<BYTE> bytes = read();

    ASSERT_GE(bytes.size(), (text.size() + 1) * sizeof(wchar_t));
    const std::string head(bytes.begin(), bytes.begin() + 2 * static_cast<int>(text.size() + 1));
    EXPECT_EQ(head, bytesOf(text + L'\0'));
    EXPECT_EQ(textOfValue(bytes), text);
}

TEST_F(RegistryValueTest, TextToBeExpandedIsExpandedWhicheverRestrictionIsAskedFor) {
    ::SetEnvironmentVariableW(L"STAND_IN_TEST", L"C:\\Expanded");
    storeText(L"%STAND_IN_TEST%\\AppData", REG_EXPAND_SZ);

    EXPECT_EQ(textOfValue(read(RRF_RT_REG_SZ)), L"C:\\Expanded\\AppData");
    EXPECT_EQ(textOfValue(read(RRF_RT_ANY)), L"C:\\Expanded\\AppData");
}

TEST_F(RegistryValueTest, ListOfTextsGivesItsFirst) {
    store(REG_MULTI_SZ, bytesOf(std::wstring(L"one\0two\0", 9)));

    EXPECT_EQ(textOfValue(read()), L"one");
}

TEST_F(RegistryValueTest, AnotherTypeThanAskedForFailsWithTheSizeMessage) {
    const DWORD types[] = {REG_DWORD, REG_BINARY, REG_MULTI_SZ, REG_NONE};
    for (const DWORD type : types) {
        SCOPED_TRACE(type);
        store(type, bytesOf(L"1\0"));
        machine.trace.clear();

        EXPECT_EQ(thrownByReading(RRF_RT_REG_SZ), "Unknown exception");

        EXPECT_EQ(machine.trace.count("RegGetValueW"), 1U);
    }
    std::string expected;
    for (int i = 0; i < 4; ++i)
        expected += "Exception while reading value size of value \"Value\" with ErrorCode 1630.\n";
    EXPECT_EQ(logText(), expected);
}

TEST_F(RegistryValueTest, MissingValueFailsWithTheSizeMessage) {
    EXPECT_EQ(thrownByReading(), "Unknown exception");

    EXPECT_EQ(logText(), "Exception while reading value size of value \"Value\" with ErrorCode 2.\n");
}

TEST_F(RegistryValueTest, ValueThatVanishesBetweenTheCallsFailsWithTheValueMessage) {
    storeText(L"text");
    beforeTheSecondCall([this] { registry.removeKey(HKEY_LOCAL_MACHINE, kPath); });

    EXPECT_EQ(thrownByReading(), "Unknown exception");

    EXPECT_EQ(logText(), "Exception while reading value \"Value\" with ErrorCode 1018.\n");
}

TEST_F(RegistryValueTest, ValueThatGrowsBetweenTheCallsFailsWithTheValueMessage) {
    store(REG_BINARY, "12345");
    beforeTheSecondCall([this] { store(REG_BINARY, "123456"); });

    EXPECT_EQ(thrownByReading(), "Unknown exception");

    EXPECT_EQ(logText(), "Exception while reading value \"Value\" with ErrorCode 234.\n");
}

TEST_F(RegistryValueTest, ValueThatShrinksBetweenTheCallsKeepsTheFirstSizeAndZerosBehind) {
    storeText(L"a long text");
    beforeTheSecondCall([&] { storeText(L"ab"); });

    const std::vector<BYTE> bytes = read();

    EXPECT_GE(bytes.size(), 12 * sizeof(wchar_t));
    EXPECT_EQ(textOfValue(bytes), L"ab");
    EXPECT_THAT(std::vector<BYTE>(bytes.begin() + 4, bytes.end()), Each(0));
}

TEST_F(RegistryValueTest, OldContentOfTheVectorIsGone) {
    store(REG_BINARY, "12");
    std::vector<BYTE> bytes(100, BYTE{0xAA});

    key.readValue(bytes, L"Value", RRF_RT_ANY);

    EXPECT_THAT(bytes, ElementsAre('1', '2'));
}

TEST_F(RegistryValueTest, VectorKeepsItsContentWhenTheSizeCannotBeRead) {
    std::vector<BYTE> bytes = {1, 2, 3};

    EXPECT_THROW(key.readValue(bytes, L"Value", RRF_RT_ANY), std::exception);

    EXPECT_THAT(bytes, ElementsAre(1, 2, 3));
}

TEST_F(RegistryValueTest, SecondCallIsMadeForASizeOfZeroTooAndTheTextIsEmpty) {
    store(REG_BINARY, "");

    EXPECT_EQ(readText(key, L"Value", RRF_RT_ANY), L"");

    EXPECT_THAT(machine.calls({"RegGetValueW"}), SizeIs(2));
}

TEST_F(RegistryValueTest, MissingTerminatorIsNoMatter) {
    store(REG_SZ, bytesOf(L"unterminated"));

    EXPECT_EQ(readText(key, L"Value", RRF_RT_ANY), L"unterminated");
}

// What stands in the half character, and whether a terminator is supplied, is the system's business.
TEST_F(RegistryValueTest, TextOfAnOddNumberOfBytesIsReadToItsLastWholeCharacterAndNotBeyond) {
    const auto value = replaceImport<decltype(&::RegGetValueW)>(
        "RegGetValueW",
        [](auto, HKEY, LPCWSTR, LPCWSTR, DWORD, LPDWORD, PVOID data, LPDWORD size) -> LSTATUS {
            *size = 7;
            if (data != nullptr) std::memcpy(data, bytesOf(L"oddx").data(), *size);
            return ERROR_SUCCESS;
        });

    EXPECT_EQ(read().size(), 7U);
    EXPECT_EQ(readText(key, L"Value", RRF_RT_ANY), L"odd");
}

TEST_F(RegistryValueTest, ErrorsAreTheStatusOfTheCall) {
    const struct {
        size_t nth;
        const char* line;
    } rows[] = {
        {1, "Exception while reading value size of value \"Value\" with ErrorCode 1450.\n"},
        {2, "Exception while reading value \"Value\" with ErrorCode 1450.\n"},
    };
    storeText(L"text");
    std::string expected;
    for (const auto& row : rows) {
        machine.failNth("RegGetValueW", row.nth, ERROR_NO_SYSTEM_RESOURCES);

        EXPECT_EQ(thrownByReading(), "Unknown exception");

        expected += row.line;
        EXPECT_EQ(logText(), expected);
        machine.faults.clear();
    }
}

TEST_F(RegistryValueTest, KeyIsGoodForFurtherReadsAfterAFailure) {
    EXPECT_EQ(thrownByReading(), "Unknown exception");
    storeText(L"text");

    EXPECT_EQ(readText(key, L"Value", RRF_RT_ANY), L"text");

    EXPECT_EQ(machine.trace.count("RegCloseKey"), 0U);
}

TEST_F(RegistryValueTest, KeyIsClosedOnceWhenAFailureUnwindsIt) {
    const auto readFromAnother = [] {
        const RegistryKey other(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Other");
        std::vector<BYTE> bytes;
        other.readValue(bytes, L"Value", RRF_RT_ANY);
    };

    EXPECT_THROW(readFromAnother(), std::exception);

    EXPECT_THAT(machine.calls({"RegCloseKey"}), ElementsAre("RegCloseKey(key#2) = 0"));
}

TEST_F(RegistryValueTest, ValueWithoutANameIsTheKeysDefault) {
    registry.setText(HKEY_LOCAL_MACHINE, kPath, L"", L"default");

    EXPECT_EQ(readText(key, L"", RRF_RT_ANY), L"default");
}

TEST(TextOfAValue, EndsAtTheFirstNullOrTheEndOfTheBytes) {
    const struct {
        const char* name;
        std::string bytes;
        std::wstring text;
    } rows[] = {
        {"no bytes", "", L""},
        {"one byte", "a", L""},
        {"terminator alone", bytesOf(std::wstring(1, L'\0')), L""},
        {"terminated", bytesOf(std::wstring(L"abc\0", 4)), L"abc"},
        {"not terminated", bytesOf(L"abc"), L"abc"},
        {"odd", bytesOf(L"abc") + "d", L"abc"},
        {"text behind the terminator", bytesOf(std::wstring(L"ab\0cd\0", 6)), L"ab"},
        {"zeros behind", bytesOf(std::wstring(L"ab\0\0\0\0", 6)), L"ab"},
        {"every unit counts", bytesOf(L"\xD800\xFFFF"), L"\xD800\xFFFF"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);

        EXPECT_EQ(textOfValue(std::vector<BYTE>(row.bytes.begin(), row.bytes.end())), row.text);
    }
}

}  // namespace
