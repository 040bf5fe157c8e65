#include "platform/Owners.h"

#include "support/MachineTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The machine counts what is given back, and when: the fixture fails a test that leaves something
// out or gives it back twice.
class Owners : public MachineTest {
protected:
    HANDLE openFile() {
        writeFile(scratch / L"file.txt", "text");
        const HANDLE file = ::CreateFileW((scratch / L"file.txt").c_str(), GENERIC_READ,
                                          FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
        machine.trace.clear();
        return file;
    }
    HANDLE openSearch() {
        WIN32_FIND_DATAW found = {};
        const HANDLE search = ::FindFirstFileW((scratch / L"*").c_str(), &found);
        machine.trace.clear();
        return search;
    }
};

TEST_F(Owners, FileHandleIsClosedAtTheEndOfTheScope) {
    {
        const FileHandle file(openFile());
        EXPECT_TRUE(file.isValid());
        EXPECT_THAT(machine.calls(), IsEmpty());
    }
    EXPECT_THAT(machine.calls(), ElementsAre("CloseHandle(file#1) = 1"));
}

TEST_F(Owners, FindHandleIsClosedByFindClose) {
    { const FindHandle search(openSearch()); }
    EXPECT_THAT(machine.calls(), ElementsAre("FindClose(search#1) = 1"));
}

TEST_F(Owners, NullAndInvalidHandleAreEmptyAndNeverClosed) {
    for (const HANDLE empty : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        const FileHandle file(empty);
        const FindHandle search(empty);

        EXPECT_FALSE(file.isValid());
        EXPECT_FALSE(search.isValid());
    }
    EXPECT_THAT(machine.calls(), IsEmpty());
}

TEST_F(Owners, CloseClosesNowAndNotAgainAtTheEnd) {
    {
        FileHandle file(openFile());

        EXPECT_TRUE(file.close());

        EXPECT_FALSE(file.isValid());
        EXPECT_THAT(machine.calls(), ElementsAre("CloseHandle(file#1) = 1"));
    }
    EXPECT_EQ(machine.trace.count("CloseHandle"), 1U);
}

TEST_F(Owners, FailedCloseLeavesItsErrorAndIsNotTriedAgain) {
    const HANDLE handle = openSearch();
    {
        FindHandle search(handle);
        machine.failNext("FindClose", ERROR_INVALID_HANDLE);

        const bool isClosed = search.close();

        EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_HANDLE});
        EXPECT_FALSE(isClosed);
    }
    EXPECT_EQ(machine.trace.count("FindClose"), 1U);
    EXPECT_THAT(machine.ledger.leaks(), ElementsAre("search#1"));
    ::FindClose(handle);
}

TEST_F(Owners, LocalMemoryIsFreedAtTheEndOfTheScope) {
    {
        const LocalMemory<void> memory(::LocalAlloc(LMEM_FIXED, 16));
        machine.trace.clear();
    }
    EXPECT_THAT(machine.calls(), ElementsAre("LocalFree(memory#1) = null"));
}

TEST_F(Owners, LocalMemoryCanBeFreedEarlier) {
    LocalMemory<void> memory(::LocalAlloc(LMEM_FIXED, 16));

    memory.reset();

    EXPECT_EQ(machine.trace.count("LocalFree"), 1U);
}

TEST_F(Owners, NoMemoryIsNotFreed) {
    { const LocalMemory<wchar_t> memory(nullptr); }
    EXPECT_THAT(machine.calls(), IsEmpty());
}

TEST_F(Owners, LibraryIsFreedAtTheEndOfTheScope) {
    {
        const LibraryHandle library(::LoadLibraryW(L"kernel32.dll"));
        EXPECT_TRUE(library);
        machine.trace.clear();
    }
    EXPECT_THAT(machine.calls(), ElementsAre("FreeLibrary(library#1) = 1"));
}

TEST_F(Owners, NoLibraryIsNotFreed) {
    { const LibraryHandle library(nullptr); }
    EXPECT_THAT(machine.calls(), IsEmpty());
}

}  // namespace
