#include "migration/FolderCopy.h"

#include <cwchar>

#include "migration/MigratorTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::FieldsAre;
using ::testing::IsEmpty;

class FolderListingTest : public MigratorTest {
protected:
    FolderListing listing;
};

// What the code of a raised exception ends up as, seen without ending the process.
struct Raised {
    DWORD code;
    DWORD flags;
};

TEST_F(FolderListingTest, EntriesAreListedInTheSystemsOrder) {
    writeFile(scratch / L"f\\b.txt", "");
    makeFolder(scratch / L"f\\a folder");
    writeFile(scratch / L"f\\.hidden", "");
    writeFile(scratch / L"f\\\u00E9t\u00E9 \u4E2D \xD83D\xDE00.txt", "");
    setAttributes(scratch / L"f\\.hidden", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);

    EXPECT_TRUE(enumerateFolder((scratch / L"f").c_str(), listing));

    EXPECT_THAT(listing, ElementsAre(FieldsAre(L".hidden", false), FieldsAre(L"a folder", true),
                                     FieldsAre(L"b.txt", false),
                                     FieldsAre(L"\u00E9t\u00E9 \u4E2D \xD83D\xDE00.txt", false)));
    EXPECT_EQ(shortCalls({"FindFirstFileW"}).front(),
              "FindFirstFileW(\"~\\f\\*\", \".\") = search#1");
    EXPECT_THAT(machine.calls({"FindClose"}), ElementsAre("FindClose(search#1) = 1"));
}

TEST_F(FolderListingTest, OnlyTheTwoDotEntriesAreLeftOut) {
    makeFolder(scratch / L"f");
    ::CreateDirectoryW((L"\\\\?\\" + (scratch / L"f\\...")).c_str(), nullptr);
    makeFolder(scratch / L"f\\..a");
    writeFile(scratch / L"f\\.b", "");

    EXPECT_TRUE(enumerateFolder((scratch / L"f").c_str(), listing));

    EXPECT_THAT(listing,
                ::testing::UnorderedElementsAre(FieldsAre(L"...", true), FieldsAre(L"..a", true),
                                                FieldsAre(L".b", false)));
    ::RemoveDirectoryW((L"\\\\?\\" + (scratch / L"f\\...")).c_str());
}

TEST_F(FolderListingTest, NameWithAnUnpairedSurrogateIsListed) {
    writeFile(scratch / L"f\\name", "");
    const auto next = replaceImport<decltype(&::FindNextFileW)>(
        "FindNextFileW", [](auto real, HANDLE search, LPWIN32_FIND_DATAW found) -> BOOL {
            const BOOL hasFound = real(search, found);
            if (hasFound && std::wcscmp(found->cFileName, L"name") == 0)
                std::wcscpy(found->cFileName, L"na\xD800me");
            return hasFound;
        });

    EXPECT_TRUE(enumerateFolder((scratch / L"f").c_str(), listing));

    EXPECT_THAT(listing, ElementsAre(FieldsAre(L"na\xD800me", false)));
}

TEST_F(FolderListingTest, EntriesAreAddedBehindThoseThatAreThere) {
    writeFile(scratch / L"f\\a", "");
    listing = {{L"before", true}};

    EXPECT_TRUE(enumerateFolder((scratch / L"f").c_str(), listing));

    EXPECT_THAT(listing, ElementsAre(FieldsAre(L"before", true), FieldsAre(L"a", false)));
}

TEST_F(FolderListingTest, EmptyFolderIsNoFailure) {
    makeFolder(scratch / L"f");

    EXPECT_TRUE(enumerateFolder((scratch / L"f").c_str(), listing));

    EXPECT_THAT(listing, IsEmpty());
    EXPECT_EQ(logText(), "");
}

TEST_F(FolderListingTest, MissingFolderIsAFailure) {
    EXPECT_FALSE(enumerateFolder((scratch / L"f").c_str(), listing));

    EXPECT_EQ(shortLog(), "Error enumerating files in '~\\f'. Error code: 3\n");
    EXPECT_THAT(machine.calls({"FindClose"}), IsEmpty());
}

TEST_F(FolderListingTest, LockedFolderIsAFailure) {
    makeFolder(scratch / L"f");
    const HeldOpen held(scratch / L"f");

    EXPECT_FALSE(enumerateFolder((scratch / L"f").c_str(), listing));

    EXPECT_EQ(shortLog(), "Error enumerating files in '~\\f'. Error code: 32\n");
}

TEST_F(FolderListingTest, ListingThatBreaksOffCountsAsComplete) {
    for (const wchar_t* name : {L"f\\a", L"f\\b", L"f\\c"})
        writeFile(scratch / name, "");
    machine.failNth("FindNextFileW", 3, ERROR_ACCESS_DENIED);  // the dot entries come first

    EXPECT_TRUE(enumerateFolder((scratch / L"f").c_str(), listing));

    EXPECT_THAT(listing, ElementsAre(FieldsAre(L"a", false)));
    EXPECT_EQ(logText(), "");
    EXPECT_EQ(machine.trace.count("FindClose"), 1u);
}

TEST_F(FolderListingTest, FailedCloseIsRaisedWithACodeMadeOfItsError) {
    const struct {
        DWORD error;
        DWORD code;
    } rows[] = {
        {ERROR_INVALID_HANDLE, 0x80070006},
        {ERROR_ACCESS_DENIED, 0x80070005},
        {0x12345, 0x80072345},
        {0x7FFFFFFF, 0x8007FFFF},
        {0x80004005, 0x80004005},
        {0xFFFFFFFF, 0xFFFFFFFF},
        {0, 0},
    };
    makeFolder(scratch / L"f");
    const auto raise = replaceImport<decltype(&::RaiseException)>(
        "RaiseException",
        [](auto real, DWORD code, DWORD flags, DWORD count, const ULONG_PTR* arguments) -> void {
            const bool isOfTheRuntime = (code & 0xFFFFFF) == 0x474343;
            if (isOfTheRuntime) return real(code, flags, count, arguments);
            throw Raised{code, flags};
        });
    for (const auto& row : rows) {
        SCOPED_TRACE(row.error);
        const size_t closedBefore = machine.trace.count("FindClose");
        machine.failNth("FindClose", 1, row.error);
        try {
            enumerateFolder((scratch / L"f").c_str(), listing);
            ADD_FAILURE() << "nothing was raised";
        } catch (const Raised& raised) {
            EXPECT_EQ(raised.code, row.code);
        }
        // The search counts as closed: it is not closed again on the way out.
        EXPECT_EQ(machine.trace.count("FindClose"), closedBefore + 1);
    }
    mounted.expectLeaks(
        {"search#1", "search#2", "search#3", "search#4", "search#5", "search#6", "search#7"});
}

TEST_F(FolderListingTest, FailedCloseEndsTheProcessWithThatCode) {
    makeFolder(scratch / L"f");

    EXPECT_EXIT(
        {
            makeFolder(scratch / L"f");
            machine.failNext("FindClose", ERROR_INVALID_HANDLE);
            enumerateFolder((scratch / L"f").c_str(), listing);
        },
        ::testing::ExitedWithCode(static_cast<int>(0x80070006)), "");
}

TEST_F(FolderListingTest, NoHandlerOfTheLanguageSeesTheFailedClose) {
    EXPECT_EXIT(
        {
            makeFolder(scratch / L"f");
            machine.failNext("FindClose", ERROR_ACCESS_DENIED);
            try {
                enumerateFolder((scratch / L"f").c_str(), listing);
            } catch (...) {
            }
        },
        ::testing::ExitedWithCode(static_cast<int>(0x80070005)), "");
}

}  // namespace
