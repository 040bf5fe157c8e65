#include <gtest/gtest-spi.h>

#include "support/MachineTest.h"
#include "support/ScopedImport.h"

using ::testing::ElementsAre;

namespace {

// Functions of their own: within one function the compiler takes the import table for constant.
[[gnu::noinline]] DWORD attributesSeen() {
    return ::GetFileAttributesW(L"C:\\");
}
[[gnu::noinline]] BOOL deleteSeen(const wchar_t* path) {
    return ::DeleteFileW(path);
}

TEST(ScopedImportTest, TheBodyStandsInUntilTheScopeEnds) {
    {
        const auto replaced = replaceImport<decltype(&::GetFileAttributesW)>(
            "GetFileAttributesW", [](auto, LPCWSTR) -> DWORD { return 42; });
        EXPECT_EQ(attributesSeen(), 42u);
    }

    EXPECT_EQ(attributesSeen(), DWORD{FILE_ATTRIBUTE_DIRECTORY});
}

TEST(ScopedImportTest, TheBodyMayCallWhatWasThereBefore) {
    std::vector<std::wstring> seen;
    const auto inner = replaceImport<decltype(&::DeleteFileW)>(
        "DeleteFileW", [&](auto real, LPCWSTR path) -> BOOL {
            seen.push_back(std::wstring(L"inner ") + path);
            return real(path);
        });
    const auto outer = replaceImport<decltype(&::DeleteFileW)>(
        "DeleteFileW", [&](auto previous, LPCWSTR path) -> BOOL {
            seen.push_back(std::wstring(L"outer ") + path);
            return previous(path);
        });

    const BOOL deleted = deleteSeen(L"C:\\no such file");
    const DWORD error = ::GetLastError();

    EXPECT_FALSE(deleted);
    EXPECT_EQ(error, ERROR_FILE_NOT_FOUND);
    EXPECT_THAT(seen, ElementsAre(L"outer C:\\no such file", L"inner C:\\no such file"));
}

TEST(ScopedImportTest, OverAMountedMachineTheCallIsStillTraced) {
    MountedMachine mounted;
    const auto watched = replaceImport<decltype(&::DeleteFileW)>(
        "DeleteFileW", [](auto machine, LPCWSTR path) -> BOOL { return machine(path); });

    deleteSeen(L"C:\\no such file");

    EXPECT_THAT(mounted.get().calls(), ElementsAre(R"(DeleteFileW("C:\no such file") = 0, error 2)"));
}

TEST(ScopedImportTest, AFunctionThatIsNotImportedFailsTheTest) {
    EXPECT_NONFATAL_FAILURE(
        {
            try {
                const auto replaced = replaceImport<decltype(&::Beep)>(
                    "Beep", [](auto, DWORD, DWORD) -> BOOL { return 1; });
            } catch (const std::logic_error&) {
            }
        },
        "not imported by this program: Beep");
}

TEST(ImportTableTest, UnmountingPutsBackWhatWasThere) {
    const auto slots = standin::findImports(::GetModuleHandleW(nullptr), "DeleteFileW");
    ASSERT_EQ(slots.size(), 1u);
    void* const before = *slots[0];
    {
        const MountedMachine mounted;
        EXPECT_NE(*slots[0], before);
    }

    EXPECT_EQ(*slots[0], before);
}

}  // namespace
