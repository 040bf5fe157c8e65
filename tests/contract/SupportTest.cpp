#include <gtest/gtest-spi.h>

#include "support/MachineTest.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

// Functions of their own: within one function the compiler takes the import table for constant.
[[gnu::noinline]] void* allocate() {
    return ::LocalAlloc(LMEM_FIXED, 1);
}
[[gnu::noinline]] void release(void* memory) {
    ::LocalFree(memory);
}

TEST(FilesSupportTest, ATreeIsListedWithItsContent) {
    const ScratchFolder scratch;
    writeFile(scratch / L"b\\Grüße.txt", std::string("a\0b", 3));
    makeFolder(scratch / L"empty");

    EXPECT_THAT(listTree(scratch.path()),
                ElementsAre(Pair(L"b\\", ""), Pair(L"b\\Grüße.txt", std::string("a\0b", 3)),
                            Pair(L"empty\\", "")));
}

TEST(FilesSupportTest, AScratchFolderGoesWithProtectedContentAndWithoutFollowingLinks) {
    const ScratchFolder outside;
    writeFile(outside / L"stays.txt", "text");
    std::wstring path;
    {
        const ScratchFolder scratch;
        path = scratch.path();
        writeFile(scratch / L"sub\\read-only", "text");
        setAttributes(scratch / L"sub\\read-only", FILE_ATTRIBUTE_READONLY);
        makeSymbolicLink(unixPath(outside.path()), scratch / L"link");
        EXPECT_TRUE(exists(scratch / L"link\\stays.txt"));
    }

    EXPECT_FALSE(exists(path));
    EXPECT_EQ(readFile(outside / L"stays.txt"), "text");
}

TEST(FilesSupportTest, AScratchFolderGoesWithPathsBeyondTheUsualLength) {
    std::wstring path;
    {
        const ScratchFolder scratch;
        path = scratch.path();
        writeFile(scratch / (std::wstring(200, L'a') + L"\\" + std::wstring(200, L'b')), "text");
    }

    EXPECT_FALSE(exists(path));
}

TEST(FilesSupportTest, ALinkToTheFullDeviceFailsOnWriting) {
    const ScratchFolder scratch;
    makeSymbolicLink("/dev/full", scratch / L"full");
    const HANDLE file = ::CreateFileW((scratch / L"full").c_str(), GENERIC_WRITE, 0, nullptr,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;

    const BOOL isWritten = ::WriteFile(file, "x", 1, &written, nullptr);
    const DWORD error = ::GetLastError();
    ::CloseHandle(file);

    EXPECT_FALSE(isWritten);
    EXPECT_EQ(error, ERROR_DISK_FULL);
}

TEST_F(MachineTest, HelpersLeaveNoCallsBehind) {
    writeFile(scratch / L"a\\b.txt", "text");
    readFile(scratch / L"a\\b.txt");
    listTree(scratch.path());
    { const HeldOpen held(scratch / L"a\\b.txt"); }
    registry.setText(HKEY_LOCAL_MACHINE, L"SOFTWARE\\a", L"name", L"text");
    EXPECT_EQ(registry.text(HKEY_LOCAL_MACHINE, L"SOFTWARE\\a", L"name"), L"text");
    removeTree(scratch / L"a");

    EXPECT_THAT(machine.calls(), IsEmpty());
}

TEST(MountedMachineTest, ALeakFailsTheTest) {
    EXPECT_NONFATAL_FAILURE(
        {
            const MountedMachine mounted;
            allocate();
        },
        "still out");
}

TEST(MountedMachineTest, ASecondReleaseFailsTheTest) {
    EXPECT_NONFATAL_FAILURE(
        {
            const MountedMachine mounted;
            void* const memory = allocate();
            release(memory);
            release(memory);
        },
        "released twice");
}

TEST(MountedMachineTest, AFaultThatNeverFiredFailsTheTest) {
    EXPECT_NONFATAL_FAILURE(
        {
            MountedMachine mounted;
            mounted.get().failNext("CopyFileW", 5);
        },
        "faults that never fired");
}

TEST(MountedMachineTest, EachBeginsEmpty) {
    {
        MountedMachine mounted;
        mounted.get().state.tokenUser = L"S-1-5-18";
        ::GetProcessHeap();
    }
    MountedMachine mounted;

    EXPECT_EQ(mounted.get().state.tokenUser, L"");
    EXPECT_THAT(mounted.get().calls(), IsEmpty());
}

}  // namespace
