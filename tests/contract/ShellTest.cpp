#include "support/MachineTest.h"

using ::testing::ElementsAre;
using ::testing::Pair;

namespace {

class ShellTest : public MachineTest {
protected:
    int copy(const std::wstring& from, const std::wstring& to) {
        return operate(FO_COPY, scratch / from, scratch / to);
    }
    int remove(const std::wstring& path) { return operate(FO_DELETE, scratch / path, L""); }

    // A folder whose deepest file has a path of that length.
    void makeDeepFile(const std::wstring& folder, size_t length) {
        std::wstring path = scratch / folder;
        while (path.size() + 50 < length)
            path += L"\\" + std::wstring(40, L'd');
        path += L"\\" + std::wstring(length - path.size() - 1, L'f');
        writeFile(path, "deep");
    }

private:
    static int operate(UINT function, std::wstring from, std::wstring to) {
        from.push_back(L'\0');
        to.push_back(L'\0');
        SHFILEOPSTRUCTW operation = {};
        operation.wFunc = function;
        operation.pFrom = from.c_str();
        operation.pTo = function == FO_COPY ? to.c_str() : nullptr;
        operation.fFlags = FOF_SILENT | FOF_NOCONFIRMATION | FOF_NOCONFIRMMKDIR | FOF_NOERRORUI;
        return ::SHFileOperationW(&operation);
    }
};

TEST_F(ShellTest, CopyToAMissingPlaceIsTheFolderItself) {
    writeFile(scratch / L"a\\sub\\x.txt", "x");

    EXPECT_EQ(copy(L"a", L"new\\b"), 0);

    EXPECT_THAT(listTree(scratch / L"new"),
                ElementsAre(Pair(L"b\\", ""), Pair(L"b\\sub\\", ""), Pair(L"b\\sub\\x.txt", "x")));
}

TEST_F(ShellTest, CopyToAFolderGoesInsideAndOverwrites) {
    writeFile(scratch / L"a\\x.txt", "new");
    writeFile(scratch / L"b\\a\\x.txt", "old");
    writeFile(scratch / L"b\\a\\y.txt", "kept");

    EXPECT_EQ(copy(L"a", L"b"), 0);

    EXPECT_THAT(listTree(scratch / L"b"),
                ElementsAre(Pair(L"a\\", ""), Pair(L"a\\x.txt", "new"), Pair(L"a\\y.txt", "kept")));
}

TEST_F(ShellTest, CopyOfAFileThatIsHeldOpenFails) {
    writeFile(scratch / L"a\\sub\\x.txt", "x");
    const HeldOpen held(scratch / L"a\\sub\\x.txt");

    EXPECT_EQ(copy(L"a", L"b"), ERROR_SHARING_VIOLATION);
}

TEST_F(ShellTest, CopyOntoAFileThatIsHeldOpenFails) {
    writeFile(scratch / L"a\\x.txt", "x");
    writeFile(scratch / L"b\\a\\x.txt", "held");
    const HeldOpen held(scratch / L"b\\a\\x.txt", GENERIC_READ, FILE_SHARE_READ);

    EXPECT_EQ(copy(L"a", L"b"), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(readFile(scratch / L"b\\a\\x.txt"), "held");
}

TEST_F(ShellTest, FilesThatOthersOnlyReadAreCopied) {
    writeFile(scratch / L"a\\x.txt", "x");
    const HeldOpen held(scratch / L"a\\x.txt", GENERIC_READ, FILE_SHARE_READ);

    EXPECT_EQ(copy(L"a", L"b"), 0);
}

TEST_F(ShellTest, AFileInTheWayOfAFolderFailsTheCopy) {
    writeFile(scratch / L"a\\sub\\x.txt", "x");
    writeFile(scratch / L"b\\a\\sub", "in the way");

    EXPECT_EQ(copy(L"a", L"b"), 0x7E);
    EXPECT_EQ(readFile(scratch / L"b\\a\\sub"), "in the way");
}

TEST_F(ShellTest, AFolderInTheWayOfAFileFailsTheCopy) {
    writeFile(scratch / L"a\\x.txt", "x");
    makeFolder(scratch / L"b\\a\\x.txt");

    EXPECT_EQ(copy(L"a", L"b"), 0x80);
}

TEST_F(ShellTest, CopyOfNothingFails) {
    EXPECT_NE(copy(L"missing", L"b"), 0);
    EXPECT_FALSE(exists(scratch / L"b"));
}

TEST_F(ShellTest, CopyOfPathsThatAreTooLongFails) {
    makeDeepFile(L"a", 259);

    EXPECT_EQ(copy(L"a", L"b"), 0);
    EXPECT_EQ(copy(L"a", L"longer"), 0x79);
    EXPECT_FALSE(exists(scratch / L"longer"));
}

TEST_F(ShellTest, DeleteOfATreeWithAPathThatIsTooLongFailsAndHarmsNothingElse) {
    makeDeepFile(L"a", 260);
    writeFile(scratch / L"current\\x.txt", "x");
    ASSERT_TRUE(::SetCurrentDirectoryW((scratch / L"current").c_str()));

    const int code = remove(L"a");

    EXPECT_TRUE(::SetCurrentDirectoryW(L"C:\\"));
    EXPECT_EQ(code, 0x79);
    EXPECT_TRUE(exists(scratch / L"a"));
    EXPECT_EQ(readFile(scratch / L"current\\x.txt"), "x");
}

TEST_F(ShellTest, DeleteTakesAWholeFolderWithAFinalBackslashToo) {
    writeFile(scratch / L"a\\sub\\x.txt", "x");
    writeFile(scratch / L"b\\y.txt", "y");

    EXPECT_EQ(remove(L"a\\"), 0);

    EXPECT_THAT(listTree(scratch.path()), ElementsAre(Pair(L"b\\", ""), Pair(L"b\\y.txt", "y")));
}

TEST_F(ShellTest, DeleteOfAFileThatIsHeldOpenFails) {
    writeFile(scratch / L"a\\x.txt", "x");
    const HeldOpen held(scratch / L"a\\x.txt", GENERIC_READ, FILE_SHARE_READ);

    EXPECT_EQ(remove(L"a"), ERROR_SHARING_VIOLATION);

    EXPECT_TRUE(exists(scratch / L"a\\x.txt"));
}

}  // namespace
