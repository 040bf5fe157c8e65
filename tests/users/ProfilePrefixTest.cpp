#include "users/ProfilesTest.h"

namespace {

class ProfilePrefixTest : public ProfilesTest {};

constexpr bool kEnterprise = true;
constexpr bool kSingleUser = false;
constexpr wchar_t kName[] = L"C:\\Users\\Name";

TEST_F(ProfilePrefixTest, EnterpriseReplacesUpToTheBackslashThatFollows) {
    const struct {
        const wchar_t* folder;
        const char* replaced;
        const wchar_t* expected;
    } rows[] = {
        {L"C:\\Users\\Admin\\AppData\\Local", "C:\\Users\\Admin", L"C:\\Users\\Name\\AppData\\Local"},
        {L"C:\\Users\\Admin\\", "C:\\Users\\Admin", L"C:\\Users\\Name\\"},
        {L"C:\\Windows\\system32\\config\\systemprofile\\AppData\\Local", "C:\\Windows",
         L"C:\\Users\\Name\\system32\\config\\systemprofile\\AppData\\Local"},
        {L"D:\\Data\\Admin\\Local", "D:\\Data\\Admin", L"C:\\Users\\Name\\Local"},
        {L"C:\\AppData\\Local", "C:\\AppData", L"C:\\Users\\Name\\Local"},
        // A backslash seven characters behind the hit counts, one six characters behind it does not.
        {L"C:\\123456\\rest\\x", "C:\\123456", L"C:\\Users\\Name\\rest\\x"},
        {L"C:\\12345\\rest\\x", "C:\\12345\\rest", L"C:\\Users\\Name\\x"},
        {L"C:\\Users\\\\AppData", "C:\\Users\\", L"C:\\Users\\Name\\AppData"},
        // The hit is the letter U, of a word that was not expanded or that stands behind slashes.
        {L"%USERPROFILE%\\AppData\\Local", "%USERPROFILE%", L"C:\\Users\\Name\\AppData\\Local"},
        {L"C:/Users/Admin\\AppData\\Local", "C:/Users/Admin", L"C:\\Users\\Name\\AppData\\Local"},
        // The hit is the letter e of the name.
        {L"C:Name\\AppData\\Local", "C:Name\\AppData", L"C:\\Users\\Name\\Local"},
        {L"C:\\\u00DCbungen\\Admin\\AppData",
         "C:\\\xDC"
         "bungen",
         L"C:\\Users\\Name\\Admin\\AppData"},
        {L"C:\\Users\\Name\\AppData", "C:\\Users\\Name", L"C:\\Users\\Name\\AppData"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.replaced);
        std::wstring folder = row.folder;

        replaceProfilePrefix(kEnterprise, L"C:\\Users\\Admin", kName, folder);

        EXPECT_EQ(folder, row.expected);
        const std::string now(folder.begin(), folder.end());
        EXPECT_EQ(newLog(), std::string("AppData in Folders before profile replace = ") +
                                row.replaced + "\nAppData in Folders after replace = " + now + "\n");
    }
}

TEST_F(ProfilePrefixTest, EnterpriseLeavesAFolderAlone) {
    const struct {
        const char* reason;
        const wchar_t* folder;
    } rows[] = {
        {"empty", L""},
        {"begins with a backslash", L"\\\\server\\share\\Name\\AppData"},
        {"begins with U", L"Users\\Name\\AppData\\Local"},
        {"begins with s", L"srv\\Users\\Name\\AppData"},
        {"begins with e", L"e:\\Users\\Name\\AppData"},
        {"begins with r", L"relative\\Users\\Name\\AppData"},
        {"none of the characters", L"D:/Local/AppData"},
        {"no backslash at all", L"C:/Users/Name/AppData"},
        {"ends before the place to search from", L"C:\\U\\x"},
        {"ends at the place to search from", L"C:\\Users\\"},
        {"no backslash from there on", L"C:\\Users\\Name"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.reason);
        std::wstring folder = row.folder;

        replaceProfilePrefix(kEnterprise, L"C:\\Users\\Admin", kName, folder);

        EXPECT_EQ(folder, row.folder);
    }
    EXPECT_EQ(logText(), "");
}

TEST_F(ProfilePrefixTest, EnterpriseLooksAtTheFolderAlone) {
    std::wstring sameProfiles = L"C:\\Users\\Admin\\AppData";
    std::wstring noProfiles = L"C:\\Users\\Admin\\AppData";

    replaceProfilePrefix(kEnterprise, kName, kName, sameProfiles);
    replaceProfilePrefix(kEnterprise, L"", L"", noProfiles);

    EXPECT_EQ(sameProfiles, L"C:\\Users\\Name\\AppData");
    EXPECT_EQ(noProfiles, L"\\AppData");
}

TEST_F(ProfilePrefixTest, SingleUserReplacesAsManyCharactersAsTheOwnProfileHas) {
    const struct {
        const char* name;
        const wchar_t* current;
        const wchar_t* profile;
        const wchar_t* folder;
        const wchar_t* expected;
    } rows[] = {
        {"the real prefix", L"C:\\Users\\Admin", kName, L"C:\\Users\\Admin\\AppData\\Local",
         L"C:\\Users\\Name\\AppData\\Local"},
        {"the whole folder", L"C:\\Users\\Admin", kName, L"C:\\Users\\Admin", kName},
        {"shorter than the real prefix", L"C:\\Users\\Al", kName,
         L"C:\\Users\\Albert\\AppData\\Local", L"C:\\Users\\Namebert\\AppData\\Local"},
        {"longer than the real prefix", L"C:\\Users\\Administrator", kName,
         L"C:\\Users\\Bo\\AppData\\Local", L"C:\\Users\\Namecal"},
        {"as long as the folder", L"C:\\Users\\Adm", kName, L"C:\\Data\\Name", kName},
        {"longer than the folder", L"C:\\Users\\Administrator", kName, L"C:\\Data", kName},
        {"another drive that is a letter of the own profile", L"C:\\Users\\Admin", kName,
         L"d:\\Data\\Local\\Storage", L"C:\\Users\\NameStorage"},
        {"a share", L"C:\\Users\\Al", kName, L"\\\\server\\share\\Local",
         L"C:\\Users\\Nameare\\Local"},
        {"a letter in the middle of the own profile", L"C:\\Users\\Admin", kName,
         L"sub\\folder\\of\\nobody", L"C:\\Users\\Namenobody"},
        {"profiles that differ in case", L"C:\\USERS\\NAME", kName, L"C:\\USERS\\NAME\\AppData",
         L"C:\\Users\\Name\\AppData"},
        {"an own profile of one character", L"C", kName, L"C:\\AppData", L"C:\\Users\\Name:\\AppData"},
        {"an empty user's profile", L"C:\\Users\\Admin", L"", L"C:\\Users\\Admin\\AppData",
         L"\\AppData"},
        {"non-ASCII", L"C:\\\u0416", L"C:\\\u4E2D", L"\u0416-\u00E9-\u4E2D", L"C:\\\u4E2D\u4E2D"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::wstring folder = row.folder;

        replaceProfilePrefix(kSingleUser, row.current, row.profile, folder);

        EXPECT_EQ(folder, row.expected);
    }
    EXPECT_EQ(logText(), "");
}

TEST_F(ProfilePrefixTest, SingleUserLeavesAFolderAlone) {
    const struct {
        const char* reason;
        const wchar_t* current;
        const wchar_t* profile;
        const wchar_t* folder;
    } rows[] = {
        {"own profile unknown", L"", kName, L"C:\\Users\\Admin\\AppData"},
        {"empty folder", L"C:\\Users\\Admin", kName, L""},
        {"first character not in the own profile", L"C:\\Users\\Admin", kName,
         L"X:\\Users\\Admin\\AppData"},
        {"first character in another case", L"C:\\Users\\Admin", kName, L"c:\\Users\\Admin\\AppData"},
        {"not expanded", L"C:\\Users\\Admin", kName, L"%USERPROFILE%\\AppData"},
        {"same profile", kName, kName, L"C:\\Users\\Name\\AppData"},
        {"same profile, other folder", kName, kName, L"C:\\Users\\Admin\\AppData"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.reason);
        std::wstring folder = row.folder;

        replaceProfilePrefix(kSingleUser, row.current, row.profile, folder);

        EXPECT_EQ(folder, row.folder);
    }
    EXPECT_EQ(logText(), "");
}

}  // namespace
