#include "migration/FolderCopy.h"

#include <cwchar>
#include <map>

#include "migration/MigratorTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr bool kKeepSource = false;
constexpr bool kDeleteSource = true;

using Tree = std::map<std::wstring, std::string>;

// Copies "from\plug" of the scratch folder into its folder "to".
class FolderCopyTest : public MigratorTest {
protected:
    const std::wstring from = scratch / L"from\\plug";
    const std::wstring to = scratch / L"to";

    bool copy(bool deleteSource = kKeepSource) {
        newLog();
        machine.trace.clear();
        return copyFolderRecursively(from.c_str(), to.c_str(), deleteSource);
    }
};

const std::string kCopying = "Recursively copying '~\\from\\plug' into '~\\to'\n";

TEST_F(FolderCopyTest, TreeIsCopiedUnderTheFoldersOwnName) {
    writeFile(from + L"\\a.txt", "a");
    writeFile(from + L"\\sub\\b.txt", "b");
    writeFile(from + L"\\sub\\deeper\\c \u4E2D.txt", std::string("c\0c", 3));
    makeFolder(from + L"\\empty");

    EXPECT_TRUE(copy());

    const Tree source = listTree(from);
    EXPECT_EQ(source.size(), 6u);
    EXPECT_EQ(listTree(to + L"\\plug"), source);
}

TEST_F(FolderCopyTest, EachFolderIsLoggedInListingOrder) {
    writeFile(from + L"\\b\\x", "");
    makeFolder(from + L"\\b\\deeper");
    makeFolder(from + L"\\a");
    makeFolder(from + L"\\c");

    EXPECT_TRUE(copy());

    EXPECT_EQ(newLog(), kCopying +
                            "Recursively copying '~\\from\\plug\\a' into '~\\to\\plug'\n"
                            "Recursively copying '~\\from\\plug\\b' into '~\\to\\plug'\n"
                            "Recursively copying '~\\from\\plug\\b\\deeper' into "
                            "'~\\to\\plug\\b'\n"
                            "Recursively copying '~\\from\\plug\\c' into '~\\to\\plug'\n");
}

TEST_F(FolderCopyTest, OneTestOneListingAndOneCopyForEachEntry) {
    makeFolder(to);
    writeFile(from + L"\\a.txt", "a");
    writeFile(from + L"\\sub\\b.txt", "b");

    copy();

    std::vector<std::string> calls;
    for (std::string& call :
         shortCalls({"GetFileAttributesW", "CreateDirectoryW", "FindFirstFileW", "FindClose",
                     "CopyFileW", "CreateFileW", "DeleteFileW", "RemoveDirectoryW"})) {
        const bool isParent = call.starts_with("GetFileAttributesW") && call.ends_with("= 0x10");
        if (!isParent) calls.push_back(std::move(call));
    }
    const std::string missing = " = 0xFFFFFFFF, error 2";
    EXPECT_THAT(
        calls,
        ElementsAre(
            "GetFileAttributesW(\"~\\to\\plug\")" + missing,
            "GetFileAttributesW(\"~\\to\\plug\")" + missing,
            "CreateDirectoryW(\"~\\to\\plug\", null) = 1",
            "FindFirstFileW(\"~\\from\\plug\\*\", \".\") = search#1", "FindClose(search#1) = 1",
            "CopyFileW(\"~\\from\\plug\\a.txt\", \"~\\to\\plug\\a.txt\", 0) = 1",
            "GetFileAttributesW(\"~\\to\\plug\\sub\")" + missing,
            "GetFileAttributesW(\"~\\to\\plug\\sub\")" + missing,
            "CreateDirectoryW(\"~\\to\\plug\\sub\", null) = 1",
            "FindFirstFileW(\"~\\from\\plug\\sub\\*\", \".\") = search#2", "FindClose(search#2) = 1",
            "CopyFileW(\"~\\from\\plug\\sub\\b.txt\", \"~\\to\\plug\\sub\\b.txt\", 0) = 1"));
}

TEST_F(FolderCopyTest, ExistingFilesAreOverwrittenAndOthersStay) {
    writeFile(from + L"\\a.txt", "new");
    writeFile(to + L"\\plug\\a.txt", "old and longer");
    writeFile(to + L"\\plug\\other.txt", "other");

    EXPECT_TRUE(copy());

    EXPECT_EQ(listTree(to),
              (Tree{{L"plug\\", ""}, {L"plug\\a.txt", "new"}, {L"plug\\other.txt", "other"}}));
    EXPECT_EQ(newLog(), kCopying);
    EXPECT_THAT(machine.calls({"CreateDirectoryW"}), IsEmpty());
}

TEST_F(FolderCopyTest, HiddenFilesAreCopiedWithTheirAttribute) {
    writeFile(from + L"\\a.txt", "a");
    setAttributes(from + L"\\a.txt", FILE_ATTRIBUTE_HIDDEN);

    EXPECT_TRUE(copy());

    EXPECT_EQ(attributesOf(to + L"\\plug\\a.txt") & FILE_ATTRIBUTE_HIDDEN,
              DWORD{FILE_ATTRIBUTE_HIDDEN});
}

TEST_F(FolderCopyTest, SourceWithoutBackslashIsRefused) {
    for (const wchar_t* source : {L"plug", L"", L"C:/from/plug"}) {
        newLog();
        machine.trace.clear();

        EXPECT_FALSE(copyFolderRecursively(source, to.c_str(), kKeepSource));

        const std::string name(source, source + std::wcslen(source));
        EXPECT_EQ(newLog(), "Unexpected directory to copy " + name + "\n");
        EXPECT_THAT(machine.calls({"CreateDirectoryW", "FindFirstFileW"}), IsEmpty());
    }
}

TEST_F(FolderCopyTest, FolderThatCannotBeMadeIsAFailure) {
    writeFile(from + L"\\a.txt", "a");
    writeFile(to + L"\\plug", "a file");

    EXPECT_FALSE(copy());

    EXPECT_EQ(newLog(), kCopying + "Error creating folder '~\\to\\plug'. Error code: 183\n");
    EXPECT_THAT(machine.calls({"FindFirstFileW", "CopyFileW"}), IsEmpty());
}

TEST_F(FolderCopyTest, FolderThatCannotBeListedIsAFailureThatLeavesTheNewFolder) {
    makeFolder(from);
    const HeldOpen held(from);

    EXPECT_FALSE(copy());

    EXPECT_EQ(newLog(), kCopying + "Error enumerating files in '~\\from\\plug'. Error code: 32\n");
    EXPECT_TRUE(exists(to + L"\\plug"));
}

TEST_F(FolderCopyTest, FileThatCannotBeCopiedIsLoggedAndTheOthersGoOn) {
    for (const wchar_t* name : {L"\\a.txt", L"\\b.txt", L"\\c.txt"})
        writeFile(from + name, "text");
    const HeldOpen held(from + L"\\b.txt");

    EXPECT_TRUE(copy());

    EXPECT_EQ(newLog(), kCopying +
                            "Error copying '~\\from\\plug\\b.txt' to '~\\to\\plug\\b.txt'. "
                            "Error code: 32\n");
    EXPECT_EQ(listTree(to + L"\\plug"), (Tree{{L"a.txt", "text"}, {L"c.txt", "text"}}));
}

TEST_F(FolderCopyTest, InnerFolderThatCannotBeMadeIsNotReported) {
    writeFile(from + L"\\sub\\b.txt", "b");
    writeFile(from + L"\\z.txt", "z");
    writeFile(to + L"\\plug\\sub", "a file");

    EXPECT_TRUE(copy());

    EXPECT_EQ(newLog(), kCopying +
                            "Recursively copying '~\\from\\plug\\sub' into '~\\to\\plug'\n"
                            "Error creating folder '~\\to\\plug\\sub'. Error code: 183\n");
    EXPECT_EQ(readFile(to + L"\\plug\\sub"), "a file");
    EXPECT_EQ(readFile(to + L"\\plug\\z.txt"), "z");
}

TEST_F(FolderCopyTest, InnerFolderThatCannotBeListedIsNotReported) {
    writeFile(from + L"\\sub\\b.txt", "b");
    writeFile(from + L"\\z.txt", "z");
    const HeldOpen held(from + L"\\sub");

    EXPECT_TRUE(copy());

    EXPECT_EQ(newLog(), kCopying +
                            "Recursively copying '~\\from\\plug\\sub' into '~\\to\\plug'\n"
                            "Error enumerating files in '~\\from\\plug\\sub'. Error code: 32\n");
    EXPECT_EQ(readFile(to + L"\\plug\\z.txt"), "z");
}

TEST_F(FolderCopyTest, FilesAndFoldersThatVanishInMidCopyAreLogged) {
    writeFile(from + L"\\a.txt", "a");
    makeFolder(from + L"\\b");
    writeFile(from + L"\\c.txt", "c");
    machine.onCall("FindClose", [&] {
        if (exists(from + L"\\a.txt")) removeTree(from + L"\\a.txt");
        if (exists(from + L"\\b")) removeTree(from + L"\\b");
    });

    EXPECT_TRUE(copy());

    EXPECT_EQ(newLog(), kCopying +
                            "Error copying '~\\from\\plug\\a.txt' to '~\\to\\plug\\a.txt'. "
                            "Error code: 2\n"
                            "Recursively copying '~\\from\\plug\\b' into '~\\to\\plug'\n"
                            "Error enumerating files in '~\\from\\plug\\b'. Error code: 3\n");
    EXPECT_EQ(readFile(to + L"\\plug\\c.txt"), "c");
}

TEST_F(FolderCopyTest, NameWithAnUnpairedSurrogateReachesTheCopyUnchanged) {
    writeFile(from + L"\\name", "text");
    const auto next = replaceImport<decltype(&::FindNextFileW)>(
        "FindNextFileW", [](auto real, HANDLE search, LPWIN32_FIND_DATAW found) -> BOOL {
            const BOOL hasFound = real(search, found);
            if (hasFound && std::wcscmp(found->cFileName, L"name") == 0)
                std::wcscpy(found->cFileName, L"na\xD800me");
            return hasFound;
        });
    std::vector<std::wstring> paths;
    const auto copyCall = replaceImport<decltype(&::CopyFileW)>(
        "CopyFileW", [&](auto, LPCWSTR source, LPCWSTR target, BOOL) -> BOOL {
            paths = {source, target};
            return TRUE;
        });

    EXPECT_TRUE(copy());

    EXPECT_THAT(paths, ElementsAre(from + L"\\na\xD800me", to + L"\\plug\\na\xD800me"));
}

TEST_F(FolderCopyTest, TrailingBackslashCopiesIntoTheTargetItself) {
    writeFile(from + L"\\a.txt", "a");

    EXPECT_TRUE(copyFolderRecursively((from + L"\\").c_str(), to.c_str(), kKeepSource));

    EXPECT_EQ(listTree(to), (Tree{{L"a.txt", "a"}}));
}

TEST_F(FolderCopyTest, CopiedFilesAreDeletedAndFoldersStay) {
    writeFile(from + L"\\a.txt", "a");
    writeFile(from + L"\\sub\\b.txt", "b");

    EXPECT_TRUE(copy(kDeleteSource));

    EXPECT_EQ(listTree(from), (Tree{{L"sub\\", ""}}));
    EXPECT_EQ(listTree(to + L"\\plug"),
              (Tree{{L"a.txt", "a"}, {L"sub\\", ""}, {L"sub\\b.txt", "b"}}));
    EXPECT_THAT(shortCalls({"CopyFileW", "DeleteFileW", "RemoveDirectoryW"}),
                ElementsAre("CopyFileW(\"~\\from\\plug\\a.txt\", \"~\\to\\plug\\a.txt\", 0) = 1",
                            "DeleteFileW(\"~\\from\\plug\\a.txt\") = 1",
                            "CopyFileW(\"~\\from\\plug\\sub\\b.txt\", "
                            "\"~\\to\\plug\\sub\\b.txt\", 0) = 1",
                            "DeleteFileW(\"~\\from\\plug\\sub\\b.txt\") = 1"));
}

TEST_F(FolderCopyTest, FileThatWasNotCopiedIsNotDeleted) {
    writeFile(from + L"\\a.txt", "a");
    writeFile(from + L"\\b.txt", "b");
    makeFolder(to + L"\\plug\\a.txt");

    EXPECT_TRUE(copy(kDeleteSource));

    EXPECT_EQ(listTree(from), (Tree{{L"a.txt", "a"}}));
    EXPECT_EQ(newLog(), kCopying +
                            "Error copying '~\\from\\plug\\a.txt' to '~\\to\\plug\\a.txt'. "
                            "Error code: 5\n");
}

TEST_F(FolderCopyTest, FileThatCannotBeDeletedIsNotLogged) {
    writeFile(from + L"\\a.txt", "a");
    writeFile(from + L"\\b.txt", "b");
    setAttributes(from + L"\\a.txt", FILE_ATTRIBUTE_READONLY);

    EXPECT_TRUE(copy(kDeleteSource));

    EXPECT_EQ(newLog(), kCopying);
    EXPECT_EQ(listTree(from), (Tree{{L"a.txt", "a"}}));
    EXPECT_EQ(readFile(to + L"\\plug\\b.txt"), "b");
}

}  // namespace
