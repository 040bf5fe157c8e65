#include "migration/FolderCopy.h"
#include "migration/LongPathsTest.h"
#include "stand-in/Launcher.h"

namespace {

constexpr bool kKeepSource = false;

// Folders that the copy comes back to, as the system folds or refuses the names in them.
class EndlessFolderTest : public LongPathsTest {
protected:
    std::wstring traceFile() { return sharedFolder() + L"\\trace.jsonl"; }

    // To be run in a process that dies of it.
    void copyUntilDeath(const std::wstring& folder, const std::wstring& target) {
        machine.trace.writeTo(traceFile());
        copyFolderRecursively(folder.c_str(), target.c_str(), kKeepSource);
        ::DeleteFileW(kReturned);
    }

    // Wine has no exit code for a stack overflow, so the code alone proves nothing.
    static bool isStackOverflow(int exitCode) {
        return exitCode == static_cast<int>(0xC00000FD) || exitCode == 0;
    }

    // The trace of the dead process: it never left the copy, and did not spend long in it.
    void expectDeathInMidCopy() {
        size_t listings = 0;
        for (const standin::Call& call : standin::readTrace(traceFile())) {
            if (call.name == "FindFirstFileW") ++listings;
            EXPECT_NE(call.name, "DeleteFileW") << "the copy returned";
        }
        EXPECT_GT(listings, 100u);
        EXPECT_LT(listings, 20000u);
    }

private:
    static constexpr wchar_t kReturned[] = L"C:\\the copy returned";
};

// A sub-folder whose path does not fit leads the copy back to the folder that it came from. The
// target grows by that folder's name until the system refuses it.
TEST_F(EndlessFolderTest, CopyEndsWhereTheTargetGrowsTooLong) {
    const std::wstring folder = pathOfLength(scratch / L"s", 195) + L"\\plug";
    makeFolder(folder + L"\\" + std::wstring(60, L'b'));
    writeFile(folder + L"\\z", "z");
    const auto before = listTree(scratch / L"s");
    newLog();
    machine.trace.clear();

    EXPECT_TRUE(copyFolderRecursively(folder.c_str(), (scratch / L"to").c_str(), kKeepSource));

    EXPECT_LT(machine.trace.count("FindFirstFileW"), 60u);
    EXPECT_THAT(newLog(), ::testing::EndsWith("'. Error code: 206\n"));
    expectShortPaths();
    // The copies of the one file fill the target, and nothing else has changed.
    for (const auto& [path, bytes] : listTree(scratch / L"to"))
        EXPECT_EQ(bytes, path.ends_with(L"\\") ? "" : "z");
    EXPECT_TRUE(listTree(scratch / L"s") == before);
}

// A longer name of the folder leaps over the lengths that the system refuses: the target stays
// where it is, and the copy goes on until the stack is used up.
TEST_F(EndlessFolderTest, CopyThatStaysWhereItIsEndsTheProcessSoon) {
    const std::wstring folder = pathOfLength(sharedFolder() + L"\\s", 140) + L"\\" +
                                std::wstring(59, L'l');
    const std::wstring target = pathOfLength(sharedFolder() + L"\\t", 200);
    makeFolder(folder + L"\\" + std::wstring(60, L'b'));

    EXPECT_EXIT(copyUntilDeath(folder, target), isStackOverflow, "");

    expectDeathInMidCopy();
    EXPECT_EQ(attributesOf(target), DWORD{FILE_ATTRIBUTE_DIRECTORY});
}

TEST_F(EndlessFolderTest, CopyWithoutTheSystemsLimitsEndsTheProcessSoon) {
    const std::wstring folder = pathOfLength(sharedFolder() + L"\\s", 195) + L"\\plug";
    makeFolder(folder + L"\\" + std::wstring(60, L'b'));

    EXPECT_EXIT(
        {
            machine.state.hasPathLimits = false;
            copyUntilDeath(folder, sharedFolder() + L"\\to");
        },
        isStackOverflow, "");

    expectDeathInMidCopy();
}

TEST_F(EndlessFolderTest, FolderOfThreePointsEndsTheProcessSoon) {
    const std::wstring folder = sharedFolder() + L"\\from\\plug";
    const std::wstring threePoints = L"\\\\?\\" + folder + L"\\...";
    makeFolder(folder);
    ::CreateDirectoryW(threePoints.c_str(), nullptr);

    EXPECT_EXIT(copyUntilDeath(folder, sharedFolder() + L"\\to"), isStackOverflow, "");

    expectDeathInMidCopy();
    ::RemoveDirectoryW(threePoints.c_str());
}

}  // namespace
