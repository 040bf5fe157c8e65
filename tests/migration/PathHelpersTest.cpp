#include "migration/PathHelpers.h"

#include <cwchar>

#include "migration/LongPaths.h"
#include "support/MachineTest.h"
#include "support/ScopedImport.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr int kFastFail = static_cast<int>(0xC0000409);

class PathHelpersTest : public MachineTest {};

TEST_F(PathHelpersTest, ComponentsAreJoinedByTheSystemsRules) {
    const struct {
        const wchar_t* first;
        const wchar_t* second;
        const wchar_t* third;
        const wchar_t* expected;
    } rows[] = {
        {L"C:\\a", L"b", L"c", L"C:\\a\\b\\c"},
        {L"C:\\a\\", L"b", L"c", L"C:\\a\\b\\c"},
        {L"C:\\a", L"\\b", L"c\\d", L"C:\\a\\b\\c\\d"},
        {L"C:", L"b", L"c", L"C:\\b\\c"},
        {L"C:\\a", L"", L"c", L"C:\\a\\c"},
        {L"C:\\a", L"b", L"", L"C:\\a\\b"},
        {L"", L"b", L"c", L"b\\c"},
        {L"C:\\a", L"..", L"c", L"C:\\c"},
        {L"C:\\a", L"b b;", L"\u00E9\u4E2D\xD83D\xDE00", L"C:\\a\\b b;\\\u00E9\u4E2D\xD83D\xDE00"},
        {L"C:\\a", L"\xD800", L"x", L"C:\\a\\\xD800\\x"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.expected, row.expected + std::wcslen(row.expected)));
        PathBuffer path;

        joinPath(path, row.first, row.second, row.third);

        EXPECT_STREQ(path, row.expected);
    }
}

TEST_F(PathHelpersTest, FirstPathIsCopiedAndEachComponentAppendedWithinTheBuffer) {
    PathBuffer path;

    joinPath(path, L"C:\\a", L"b", L"c");

    EXPECT_THAT(machine.calls({"wcscpy_s", "PathCchAppend"}),
                ElementsAre(R"(wcscpy_s("C:\a", 260, "C:\a") = 0)",
                            R"(PathCchAppend("C:\a\b", 260, "b") = 0)",
                            R"(PathCchAppend("C:\a\b\c", 260, "c") = 0)"));
}

TEST_F(PathHelpersTest, PathsOfUpTo259CharactersFit) {
    for (const size_t length : {258u, 259u}) {
        SCOPED_TRACE(length);
        const std::wstring whole = pathOfLength(L"C:", length);
        PathBuffer copied;
        PathBuffer joined;

        joinPath(copied, whole.c_str(), L"");
        const size_t separator = whole.rfind(L'\\');
        joinPath(joined, whole.substr(0, separator).c_str(), whole.substr(separator + 1).c_str());

        EXPECT_EQ(copied, whole);
        EXPECT_EQ(joined, whole);
    }
}

// The calls of the runtime are its own here: the path helper itself must end the process.
TEST_F(PathHelpersTest, FirstPathOf260CharactersEndsTheProcess) {
    const std::wstring path = pathOfLength(L"C:", 260);

    EXPECT_EXIT(
        {
            const standin::Untraced untraced;
            PathBuffer buffer;
            joinPath(buffer, path.c_str(), L"x");
        },
        ::testing::ExitedWithCode(kFastFail), "");
}

TEST_F(PathHelpersTest, FirstPathOf32000CharactersEndsTheProcess) {
    const std::wstring path(32000, L'a');

    EXPECT_EXIT(
        {
            const standin::Untraced untraced;
            PathBuffer buffer;
            joinPath(buffer, path.c_str(), L"x");
        },
        ::testing::ExitedWithCode(kFastFail), "");
}

TEST_F(PathHelpersTest, ComponentThatDoesNotFitIsNotLookedAt) {
    const std::wstring first = pathOfLength(L"C:", 250);
    for (const size_t componentLength : {9u, 10u, 300u}) {
        SCOPED_TRACE(componentLength);
        PathBuffer path;
        machine.trace.clear();

        joinPath(path, first.c_str(), std::wstring(componentLength, L'b').c_str(), L"c");

        const auto& calls = machine.trace.all();
        ASSERT_EQ(calls.size(), 3u);
        EXPECT_EQ(calls[1].result, "0x800700CE");
        EXPECT_EQ(calls[2].name, "PathCchAppend");
        EXPECT_EQ(calls[2].arguments[2], "\"c\"");
        EXPECT_LT(std::wcslen(path), 260u);
    }
}

TEST_F(PathHelpersTest, TextIsAppendedAsItStands) {
    PathBuffer path = L"C:\\a";

    appendText(path, L"\\..");

    EXPECT_STREQ(path, L"C:\\a\\..");
}

TEST_F(PathHelpersTest, TextMayFillTheBuffer) {
    const std::wstring start = pathOfLength(L"C:", 257);
    PathBuffer path;
    copyPath(path, start.c_str());

    appendText(path, L"\\*");

    EXPECT_EQ(path, start + L"\\*");
}

TEST_F(PathHelpersTest, AppendedTextThatDoesNotFitEndsTheProcess) {
    const std::wstring start = pathOfLength(L"C:", 258);

    EXPECT_EXIT(
        {
            const standin::Untraced untraced;
            PathBuffer path;
            copyPath(path, start.c_str());
            appendText(path, L"\\*");
        },
        ::testing::ExitedWithCode(kFastFail), "");
}

TEST_F(PathHelpersTest, TrailingSeparatorStillMakesTheWholeChain) {
    EXPECT_TRUE(createSubDirectories(scratch / L"a\\b\\"));

    EXPECT_THAT(listTree(scratch.path()),
                ElementsAre(::testing::Pair(L"a\\", ""), ::testing::Pair(L"a\\b\\", "")));
}

TEST_F(PathHelpersTest, OnlyMissingFoldersAreMadeWithDefaultSecurity) {
    makeFolder(scratch / L"a");

    EXPECT_TRUE(createSubDirectories(scratch / L"a/b\\c"));

    const std::string folder(scratch.path().begin(), scratch.path().end());
    EXPECT_THAT(machine.calls({"CreateDirectoryW"}),
                ElementsAre("CreateDirectoryW(\"" + folder + "\\a/b\", null) = 1",
                            "CreateDirectoryW(\"" + folder + "\\a/b\\c\", null) = 1"));
    EXPECT_EQ(attributesOf(scratch / L"a\\b\\c"), DWORD{FILE_ATTRIBUTE_DIRECTORY});
}

TEST_F(PathHelpersTest, EveryPrefixIsTestedThenMade) {
    const struct {
        const wchar_t* path;
        std::vector<std::wstring> prefixes;
    } rows[] = {
        {L"C:\\a\\b", {L"C:", L"C:\\a", L"C:\\a\\b"}},
        {L"C:\\a\\b\\", {L"C:", L"C:\\a", L"C:\\a\\b", L"C:\\a\\b\\"}},
        {L"a/b", {L"a", L"a/b"}},
        {L"a//b", {L"a", L"a/", L"a//b"}},
        {L"a", {L"a"}},
        {L"", {L""}},
        // A separator at the very start is no place to split.
        {L"\\a\\b", {L"\\a", L"\\a\\b"}},
        {L"/", {L"/"}},
        {L"\\\\server\\share", {L"\\", L"\\\\server", L"\\\\server\\share"}},
    };
    std::vector<std::wstring> tested;
    std::vector<std::wstring> made;
    const auto attributes = replaceImport<decltype(&::GetFileAttributesW)>(
        "GetFileAttributesW", [&](auto, LPCWSTR path) -> DWORD {
            tested.emplace_back(path);
            return INVALID_FILE_ATTRIBUTES;
        });
    const auto create = replaceImport<decltype(&::CreateDirectoryW)>(
        "CreateDirectoryW", [&](auto, LPCWSTR path, LPSECURITY_ATTRIBUTES) -> BOOL {
            EXPECT_EQ(tested.back(), path);
            made.emplace_back(path);
            return TRUE;
        });
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.path, row.path + std::wcslen(row.path)));
        tested.clear();
        made.clear();

        EXPECT_TRUE(createSubDirectories(row.path));

        EXPECT_THAT(tested, ElementsAreArray(row.prefixes));
        EXPECT_THAT(made, ElementsAreArray(row.prefixes));
    }
}

TEST_F(PathHelpersTest, ExistingDriveNeedsNoCreation) {
    EXPECT_TRUE(createSubDirectories(scratch.path()));

    EXPECT_THAT(machine.calls({"CreateDirectoryW"}), IsEmpty());
    EXPECT_THAT(machine.calls({"GetFileAttributesW"}).front(),
                ::testing::StartsWith("GetFileAttributesW(\"C:\")"));
}

TEST_F(PathHelpersTest, FileInTheWayEndsTheChainWithTheSystemsReason) {
    writeFile(scratch / L"a\\file", "text");

    const bool isMade = createSubDirectories(scratch / L"a\\file\\b\\c");

    EXPECT_EQ(::GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_FALSE(isMade);
    EXPECT_EQ(machine.calls({"CreateDirectoryW"}).size(), 1u);
}

TEST_F(PathHelpersTest, FirstFolderThatCannotBeMadeEndsTheChain) {
    machine.failNth("CreateDirectoryW", 2, ERROR_ACCESS_DENIED);

    const bool isMade = createSubDirectories(scratch / L"a\\b\\c");

    EXPECT_EQ(::GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_FALSE(isMade);
    EXPECT_THAT(listTree(scratch.path()), ElementsAre(::testing::Pair(L"a\\", "")));
}

// A folder leaves room for a short file name: 247 characters.
TEST_F(PathHelpersTest, FolderPathsEndAtTheSystemsLimit) {
    const std::wstring longest = pathOfLength(scratch.path(), 247);

    EXPECT_TRUE(createSubDirectories(longest));
    EXPECT_TRUE(exists(longest));

    for (const size_t length : {248u, 258u, 259u, 260u, 300u}) {
        SCOPED_TRACE(length);
        const std::wstring tooLong = pathOfLength(scratch / L"x", length);
        const bool isMade = createSubDirectories(tooLong);
        EXPECT_EQ(::GetLastError(), DWORD{ERROR_FILENAME_EXCED_RANGE});
        EXPECT_FALSE(isMade);
        EXPECT_FALSE(exists(tooLong));
    }
}

TEST_F(PathHelpersTest, FolderPathsHaveNoLimitOfTheirOwn) {
    machine.state.hasPathLimits = false;
    for (const size_t length : {258u, 259u, 260u, 300u}) {
        const std::wstring path = pathOfLength(scratch.path(), length);

        EXPECT_TRUE(createSubDirectories(path)) << length;

        EXPECT_EQ(attributesOf(path), DWORD{FILE_ATTRIBUTE_DIRECTORY}) << length;
    }
}

}  // namespace
