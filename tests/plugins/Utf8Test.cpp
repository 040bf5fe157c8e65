#include <stdexcept>

#include "plugins/PluginStatusFile.h"
#include "plugins/PluginTest.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Utf8Test = MachineTest;

struct Row {
    const char* name;
    std::wstring wide;
    std::string utf8;
};

const Row kPairs[] = {
    {"empty", L"", ""},
    {"ASCII", L"abc", "abc"},
    {"two bytes", L"\u00e9\u07ff", "\xC3\xA9\xDF\xBF"},
    {"three bytes", L"\u0800\u4e2d\uffff", "\xE0\xA0\x80\xE4\xB8\xAD\xEF\xBF\xBF"},
    {"four bytes", L"\xD83D\xDE00\xD800\xDC00\xDBFF\xDFFF",
     "\xF0\x9F\x98\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
    {"NUL inside", std::wstring(L"a\0b", 3), std::string("a\0b", 3)},
    {"byte order mark", L"\uFEFFa",
     "\xEF\xBB\xBF"
     "a"},
};

TEST_F(Utf8Test, WideTextIsEncoded) {
    for (const Row& row : kPairs) {
        SCOPED_TRACE(row.name);

        EXPECT_EQ(wideToUtf8(row.wide, row.wide.size()), row.utf8);
    }
}

TEST_F(Utf8Test, Utf8IsDecoded) {
    for (const Row& row : kPairs) {
        SCOPED_TRACE(row.name);

        EXPECT_EQ(utf8ToWide(row.utf8), row.wide);
    }
}

TEST_F(Utf8Test, AnUnpairedSurrogateGivesAnEmptyText) {
    for (const wchar_t* text : {L"a\xD800", L"\xDC00 b", L"a\xD800 b", L"\xDC00\xD800"})
        EXPECT_EQ(wideToUtf8(text, std::wcslen(text)), "");
}

TEST_F(Utf8Test, OnlyTheGivenLengthIsEncoded) {
    EXPECT_EQ(wideToUtf8(L"abcdef", 3), "abc");
    EXPECT_EQ(wideToUtf8(L"ab\xD800", 2), "ab");
    EXPECT_EQ(wideToUtf8(L"a\xD83D\xDE00", 2), "");
}

TEST_F(Utf8Test, NothingToEncodeMakesNoCall) {
    EXPECT_EQ(wideToUtf8(L"abc", 0), "");
    EXPECT_EQ(wideToUtf8(L"", 3), "");

    EXPECT_THAT(machine.calls(), IsEmpty());
}

TEST_F(Utf8Test, EncodingAsksForTheSizeFirstAndRefusesInvalidText) {
    wideToUtf8(L"a\u00e9", 2);

    EXPECT_THAT(
        machine.calls({"WideCharToMultiByte"}),
        ElementsAre("WideCharToMultiByte(65001, 0x80, \"a\xC3\xA9\", 2, null, 0, 0x0, null) = 3",
                    "WideCharToMultiByte(65001, 0x80, \"a\xC3\xA9\", 2, given, 3, 0x0, null) = 3"));
}

TEST_F(Utf8Test, AFailedCallGivesAnEmptyText) {
    for (const size_t failing : {1u, 2u}) {
        machine.faults.clear();
        machine.failNth("WideCharToMultiByte", failing, ERROR_INVALID_PARAMETER);

        EXPECT_EQ(wideToUtf8(L"abc", 3), "");

        EXPECT_THAT(machine.faults.unfired(), IsEmpty());
    }
}

TEST_F(Utf8Test, BadUtf8IsARangeError) {
    struct Bad {
        const char* name;
        const char* bytes;
    };
    const Bad rows[] = {
        {"lone continuation", "\x80"},
        {"lone continuation behind text", "ab\xBF"},
        {"missing continuation of two", "\xC3 a"},
        {"missing continuation of three", "\xE4\xB8 a"},
        {"missing continuation of four", "\xF0\x9F\x98 a"},
        {"cut after one of two", "ab\xC3"},
        {"cut after one of three", "ab\xE4"},
        {"cut after two of three", "ab\xE4\xB8"},
        {"cut after one of four", "ab\xF0"},
        {"cut after three of four", "ab\xF0\x9F\x98"},
        {"lead instead of a continuation", "\xC3\xC3\xA9"},
        {"overlong of two", "\xC0\xAF"},
        {"overlong of two, greatest", "\xC1\xBF"},
        {"overlong of three", "\xE0\x80\xAF"},
        {"overlong of three, greatest", "\xE0\x9F\xBF"},
        {"overlong of four", "\xF0\x80\x80\xAF"},
        {"overlong of four, greatest", "\xF0\x8F\xBF\xBF"},
        {"beyond the last code", "\xF4\x90\x80\x80"},
        {"far beyond the last code", "\xF7\xBF\xBF\xBF"},
        {"lead of five", "\xF8\x88\x80\x80\x80"},
        {"lead of six", "\xFC\x84\x80\x80\x80\x80"},
        {"never a byte of UTF-8", "\xFE\xFF"},
    };
    for (const Bad& row : rows) {
        SCOPED_TRACE(row.name);
        try {
            utf8ToWide(row.bytes);
            ADD_FAILURE() << "was taken";
        } catch (const std::range_error& error) {
            EXPECT_STREQ(error.what(), "bad conversion");
        }
    }
}

TEST_F(Utf8Test, AnEncodedSurrogateIsTakenAsItIs) {
    EXPECT_EQ(utf8ToWide("\xED\xA0\x80"), L"\xD800");
    EXPECT_EQ(utf8ToWide("\xED\xBF\xBF"
                         "a"),
              L"\xDFFF"
              L"a");
    EXPECT_EQ(utf8ToWide("\xED\xA0\xBD\xED\xB8\x80"), L"\xD83D\xDE00");
}

}  // namespace
