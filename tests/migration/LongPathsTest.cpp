#include <algorithm>

#include "migration/FolderCopy.h"
#include "migration/LongPathsTest.h"

namespace {

using ::testing::ElementsAre;

constexpr bool kKeepSource = false;
constexpr int kFastFail = static_cast<int>(0xC0000409);

TEST_F(LongPathsTest, ListedFileOf258And259CharactersIsCopied) {
    for (const size_t length : {258u, 259u}) {
        SCOPED_TRACE(length);
        const std::wstring folder = folderOfLength(length - 13);
        writeFile(folder + L"\\settings.dat", "settings");
        AppDataMigrator& migrator = start();
        migrator.sourceFolders[kAnn][1] = folder;
        migrator.targetFolders[kAnn][1] = scratch / (L"t" + std::to_wstring(length));

        EXPECT_TRUE(migrator.copyFile(kAnn, {1, L"settings.dat", false}));

        EXPECT_EQ(readFile(migrator.targetFolders[kAnn][1] + L"\\settings.dat"), "settings");
    }
}

TEST_F(LongPathsTest, ListedFileIsCopiedToATargetOf258And259Characters) {
    for (const size_t length : {258u, 259u}) {
        SCOPED_TRACE(length);
        writeFile(inOld(L"Settings\\settings.dat"), "settings");
        AppDataMigrator& migrator = start();
        const std::wstring folder = pathOfLength(scratch / L"t", length - 13);
        migrator.targetFolders[kAnn][1] = folder;

        EXPECT_TRUE(migrator.copyFile(kAnn, {1, L"settings.dat", false}));

        EXPECT_EQ(readFile(folder + L"\\settings.dat"), "settings");
    }
}

TEST_F(LongPathsTest, ListedFileOf260CharactersAndMoreIsNotReached) {
    for (const size_t length : {260u, 261u, 300u}) {
        SCOPED_TRACE(length);
        // The folder is as long as it must be for the file's path; it need not be there.
        const std::wstring folder = pathOfLength(scratch / L"t", std::min<size_t>(length - 13, 259));
        AppDataMigrator& migrator = start();
        migrator.sourceFolders[kAnn][1] = folder;

        EXPECT_TRUE(migrator.copyFile(kAnn, {1, L"settings.dat", false}));

        EXPECT_EQ(machine.trace.count("CopyFileW"), 0u);
        expectShortPaths();
    }
}

TEST_F(LongPathsTest, FolderOfAListedFileOf260CharactersEndsTheProcess) {
    EXPECT_EXIT(
        {
            AppDataMigrator& migrator = start();
            migrator.sourceFolders[kAnn][1] = pathOfLength(L"C:", 260);
            const standin::Untraced untraced;
            migrator.copyFile(kAnn, {1, L"settings.dat", false});
        },
        ::testing::ExitedWithCode(kFastFail), "");
}

TEST_F(LongPathsTest, FileInAFolderIsCopiedUpTo259CharactersAndTheRestGoesOn) {
    const std::wstring folder = folderOfLength(240);
    writeFile(folder + L"\\" + std::wstring(17, L'b'), "258");
    writeFile(folder + L"\\" + std::wstring(18, L'b'), "259");
    writeFile(folder + L"\\" + std::wstring(19, L'b'), "260");
    writeFile(folder + L"\\" + std::wstring(60, L'b'), "300");
    writeFile(folder + L"\\z", "short");
    const std::wstring target = scratch / L"to";
    newLog();
    machine.trace.clear();

    EXPECT_TRUE(copyFolderRecursively(folder.c_str(), target.c_str(), kKeepSource));

    const std::wstring copy = target + folder.substr(folder.rfind(L'\\'));
    EXPECT_EQ(readFile(copy + L"\\" + std::wstring(17, L'b')), "258");
    EXPECT_EQ(readFile(copy + L"\\" + std::wstring(18, L'b')), "259");
    EXPECT_EQ(readFile(copy + L"\\z"), "short");
    EXPECT_EQ(listTree(copy).size(), 3u);
    expectShortPaths();
    // The two that are too long are failures inside the folder.
    const std::string lines = newLog();
    size_t failures = 0;
    for (size_t at = lines.find("Error copying '"); at != std::string::npos;
         at = lines.find("Error copying '", at + 1))
        ++failures;
    EXPECT_EQ(failures, 2u);
}

TEST_F(LongPathsTest, FileIsCopiedIntoATargetOfUpTo259Characters) {
    const std::wstring source = scratch / L"from\\plug";
    const std::wstring target = pathOfLength(scratch / L"t", 235);  // 240 with "plug"
    writeFile(source + L"\\" + std::wstring(17, L'b'), "258");
    writeFile(source + L"\\" + std::wstring(18, L'b'), "259");
    writeFile(source + L"\\" + std::wstring(19, L'b'), "260");
    writeFile(source + L"\\z", "short");

    EXPECT_TRUE(copyFolderRecursively(source.c_str(), target.c_str(), kKeepSource));

    const std::wstring copy = target + L"\\plug";
    EXPECT_EQ(listTree(copy), (std::map<std::wstring, std::string>{{std::wstring(17, L'b'), "258"},
                                                                   {std::wstring(18, L'b'), "259"},
                                                                   {L"z", "short"}}));
}

TEST_F(LongPathsTest, FileThatCouldNotBeReachedIsNotDeleted) {
    const std::wstring folder = folderOfLength(240);
    const std::wstring unreachable = folder + L"\\" + std::wstring(19, L'b');
    writeFile(unreachable, "260");
    writeFile(folder + L"\\z", "short");

    EXPECT_TRUE(copyFolderRecursively(folder.c_str(), (scratch / L"to").c_str(), true));

    EXPECT_TRUE(exists(unreachable));
    EXPECT_FALSE(exists(folder + L"\\z"));
}

TEST_F(LongPathsTest, FolderOf247CharactersIsMadeAndALongerOneIsAFailure) {
    makeFolder(scratch / L"from\\plug");
    const std::wstring fitting = pathOfLength(scratch / L"t", 242);
    const std::wstring tooLong = pathOfLength(scratch / L"t", 243);

    EXPECT_TRUE(copyFolderRecursively((scratch / L"from\\plug").c_str(), fitting.c_str(), false));
    newLog();
    EXPECT_FALSE(copyFolderRecursively((scratch / L"from\\plug").c_str(), tooLong.c_str(), false));

    EXPECT_TRUE(exists(fitting + L"\\plug"));
    EXPECT_THAT(newLog(), ::testing::EndsWith("\\plug'. Error code: 206\n"));
}

TEST_F(LongPathsTest, TargetParentOf260CharactersEndsTheProcess) {
    const std::wstring target = pathOfLength(L"C:", 260);

    EXPECT_EXIT(
        {
            const standin::Untraced untraced;
            copyFolderRecursively(L"C:\\no such folder", target.c_str(), kKeepSource);
        },
        ::testing::ExitedWithCode(kFastFail), "");
}

TEST_F(LongPathsTest, FolderOf257CharactersIsListed) {
    machine.state.hasPathLimits = false;
    const std::wstring folder = folderOfLength(257);
    writeFile(folder + L"\\a", "");
    FolderListing listing;

    EXPECT_TRUE(enumerateFolder(folder.c_str(), listing));

    EXPECT_THAT(listing, ElementsAre(::testing::FieldsAre(L"a", false)));
}

TEST_F(LongPathsTest, FolderOf258CharactersAndMoreEndsTheProcess) {
    const std::wstring folder = pathOfLength(L"C:", 258);

    EXPECT_EXIT(
        {
            const standin::Untraced untraced;
            FolderListing listing;
            enumerateFolder(folder.c_str(), listing);
        },
        ::testing::ExitedWithCode(kFastFail), "");
}

TEST_F(LongPathsTest, FolderOf260CharactersEndsTheProcess) {
    const std::wstring folder = pathOfLength(L"C:", 260);

    EXPECT_EXIT(
        {
            const standin::Untraced untraced;
            FolderListing listing;
            enumerateFolder(folder.c_str(), listing);
        },
        ::testing::ExitedWithCode(kFastFail), "");
}

// The inner folder's path fits the buffer, its search pattern does not.
TEST_F(LongPathsTest, InnerFolderOf258CharactersEndsTheProcessInMidCopy) {
    const std::wstring folder = pathOfLength(sharedFolder() + L"\\s", 240);
    makeFolder(folder + L"\\" + std::wstring(17, L'b'));
    const std::wstring target = sharedFolder() + L"\\to";

    EXPECT_EXIT(copyFolderRecursively(folder.c_str(), target.c_str(), kKeepSource),
                ::testing::ExitedWithCode(kFastFail), "");

    EXPECT_TRUE(exists(target + folder.substr(folder.rfind(L'\\')) + L"\\" + std::wstring(17, L'b')));
}

}  // namespace
