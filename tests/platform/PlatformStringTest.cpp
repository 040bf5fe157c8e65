#include "platform/PlatformString.h"

#include <winstring.h>

#include <optional>

#include "support/MachineTest.h"

namespace {

using Platform::String;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::wstring kTextWithNul(L"ab\0cd", 5);

// The machine's ledger checks at the end of each test that every string came back once.
class PlatformString : public MachineTest {};

TEST_F(PlatformString, DefaultIsTheNullHandleAndTheEmptyText) {
    const String text;

    EXPECT_TRUE(text.isEmpty());
    EXPECT_EQ(text.get(), nullptr);
    EXPECT_STREQ(text.text(), L"");
    EXPECT_EQ(text.str(), L"");
}

TEST_F(PlatformString, EmptyTextIsTheNullHandle) {
    EXPECT_EQ(String(L"").get(), nullptr);
    EXPECT_EQ(String(std::wstring()).get(), nullptr);
}

TEST_F(PlatformString, IsMadeByDuplicatingAReferenceToTheText) {
    const String text(L"Velta.QK");

    EXPECT_THAT(machine.calls(),
                ElementsAre("WindowsCreateStringReference(\"Velta.QK\", 8, out, \"Velta.QK\") = 0",
                            "WindowsDuplicateString(\"Velta.QK\", \"Velta.QK\") = 0"));
}

TEST_F(PlatformString, KeepsACopyAndNotTheCallersBuffer) {
    wchar_t buffer[] = L"before";
    const String text(buffer);

    buffer[0] = L'X';

    EXPECT_STREQ(text.text(), L"before");
}

TEST_F(PlatformString, PointerEndsAtTheFirstNul) {
    EXPECT_EQ(String(kTextWithNul.c_str()).str(), L"ab");
}

TEST_F(PlatformString, WideStringKeepsANulInside) {
    const String text(kTextWithNul);

    EXPECT_EQ(text.str(), kTextWithNul);
    EXPECT_STREQ(text.text(), L"ab");
}

TEST_F(PlatformString, TextIsTerminated) {
    const String text(std::wstring(1000, L'x'));

    EXPECT_EQ(text.text()[999], L'x');
    EXPECT_EQ(text.text()[1000], L'\0');
}

TEST_F(PlatformString, KeepsEveryCodeUnit) {
    const std::wstring units = {L'a',
                                wchar_t{0xE9},
                                wchar_t{0x4E2D},
                                wchar_t{0xD83D},
                                wchar_t{0xDE00},
                                wchar_t{0xD800},
                                wchar_t{0xFFFF}};

    EXPECT_EQ(String(units).str(), units);
}

TEST_F(PlatformString, HoldsALongText) {
    const std::wstring text(32'000, L'v');

    EXPECT_EQ(String(text).str(), text);
}

TEST_F(PlatformString, CopySharesTheText) {
    const String original(L"shared");
    machine.trace.clear();

    const String copy(original);

    EXPECT_EQ(copy.get(), original.get());
    EXPECT_THAT(machine.calls(), ElementsAre("WindowsDuplicateString(\"shared\", \"shared\") = 0"));
}

TEST_F(PlatformString, CopyOutlivesTheOriginal) {
    std::optional<String> original(L"text");
    const String copy(*original);

    original.reset();

    EXPECT_STREQ(copy.text(), L"text");
}

TEST_F(PlatformString, MoveLeavesTheEmptyTextAndMakesNoCall) {
    String original(L"text");
    machine.trace.clear();

    const String moved(std::move(original));

    EXPECT_THAT(machine.calls(), IsEmpty());
    EXPECT_STREQ(moved.text(), L"text");
    EXPECT_TRUE(original.isEmpty());  // NOLINT(bugprone-use-after-move)
}

TEST_F(PlatformString, AssignmentReleasesTheTextBefore) {
    const String source(L"new");
    String target(L"old");
    machine.trace.clear();

    target = source;

    EXPECT_STREQ(target.text(), L"new");
    EXPECT_STREQ(source.text(), L"new");
    EXPECT_THAT(machine.calls({"WindowsDuplicateString", "WindowsDeleteString"}),
                ElementsAre("WindowsDuplicateString(\"new\", \"new\") = 0",
                            "WindowsDeleteString(\"old\") = 0"));
}

TEST_F(PlatformString, AssignmentToItselfKeepsTheText) {
    String text(L"text");
    const String& same = text;

    text = same;

    EXPECT_STREQ(text.text(), L"text");
}

TEST_F(PlatformString, PutReleasesTheOldTextAndLeavesTheNullHandle) {
    String text(L"old");
    machine.trace.clear();

    HSTRING* const place = text.put();

    EXPECT_EQ(*place, nullptr);
    EXPECT_TRUE(text.isEmpty());
    EXPECT_THAT(machine.calls(), ElementsAre("WindowsDeleteString(\"old\") = 0"));
}

TEST_F(PlatformString, EndReleasesTheText) {
    std::optional<String> text(L"text");
    machine.trace.clear();

    text.reset();

    EXPECT_THAT(machine.calls(), ElementsAre("WindowsDeleteString(\"text\") = 0"));
}

TEST_F(PlatformString, EqualityIsByCodeUnit) {
    struct Row {
        const char* name;
        std::wstring left;
        std::wstring right;
        bool areEqual;
    };
    const Row rows[] = {
        {"both empty", L"", L"", true},
        {"one empty", L"", L"a", false},
        {"same", L"Velta.QK", L"Velta.QK", true},
        {"another case", L"Velta.QK", L"velta.qk", false},
        {"head of the other", L"40.1.0.0", L"40.1.0", false},
        {"composed and decomposed", L"\u00E9", L"e\u0301", false},
        {"the same up to a NUL", kTextWithNul, L"ab", false},
        {"another text behind a NUL", kTextWithNul, std::wstring(L"ab\0ce", 5), false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const String left(row.left);
        const String right(row.right);

        EXPECT_EQ(left == right, row.areEqual);
        EXPECT_EQ(left != right, !row.areEqual);
    }
}

TEST_F(PlatformString, SumIsOneTextBehindTheOther) {
    struct Row {
        const wchar_t* left;
        const wchar_t* right;
        const wchar_t* sum;
    };
    const Row rows[] = {
        {L"C:\\App", L"\\ucrtbased.dll", L"C:\\App\\ucrtbased.dll"},
        {L"", L"right", L"right"},
        {L"left", L"", L"left"},
        {L"", L"", L""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.sum));
        const String left(row.left);
        const String right(row.right);

        const String sum = left + right;

        EXPECT_EQ(sum.str(), row.sum);
        EXPECT_EQ(left.str(), row.left);
        EXPECT_EQ(right.str(), row.right);
    }
}

TEST_F(PlatformString, SumIsTheSystemsConcatenation) {
    const String left(L"C:\\App");
    const String right(L"\\a.dll");
    machine.trace.clear();

    const String sum = left + right;

    EXPECT_THAT(machine.calls({"WindowsConcatString"}),
                ElementsAre(R"(WindowsConcatString("C:\App", "\a.dll", "C:\App\a.dll") = 0)"));
}

}  // namespace
