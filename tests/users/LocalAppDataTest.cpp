#include <cwchar>

#include "users/ProfilesTest.h"

namespace {

using ::testing::EndsWith;
using ::testing::IsEmpty;

constexpr bool kEnterprise = true;
constexpr bool kSingleUser = false;

// Ann has a profile folder; the profiles have been read.
class LocalAppDataTest : public ProfilesTest {
protected:
    LocalAppDataTest() {
        setOwnProfile(L"C:\\Users\\Admin");
        addProfile(kAnn, L"Ann");
        getUserProfiles();
        newLog();
    }
};

const std::string kOwnProfile =
    "Users Profile (CSIDL_PROFILE) succeded and its value is: C:\\Users\\Admin\n";
const std::string kTrying =
    "Trying to fetch local appdata folder on user SID : S-1-5-21-10-20-30-1001 with ProfilePath : "
    "~\\Ann\n";
// Ann's hive holds neither value, or is not there.
std::string notFoundIn(const std::string& key, const std::string& firstLine) {
    return firstLine +
           "Caught std::exception while reading Local AppData folder with Key "
           "S-1-5-21-10-20-30-1001\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\" +
           key + " with reason Unknown exception\nNO AppData in " + key + "\n";
}
std::string noValueIn(const std::string& key) {
    return notFoundIn(
        key, "Exception while reading value size of value \"Local AppData\" with ErrorCode 2.\n");
}
std::string noHiveFor(const std::string& key) {
    return notFoundIn(key,
                      "Exception while opening key \"S-1-5-21-10-20-30-1001\\Software\\"
                      "Microsoft\\Windows\\CurrentVersion\\Explorer\\" +
                          key + "\" with ErrorCode 87.\n");
}

TEST_F(LocalAppDataTest, ShellFoldersValueIsReturnedAsItStands) {
    // It names another profile, and stays all the same.
    setFolder(kAnn, kShellFoldersKey, L"Local AppData", L"C:\\Users\\Admin\\AppData\\Local");
    setFolder(kAnn, kUserShellFoldersKey, L"Local AppData", L"C:\\other");

    for (const bool deployment : {kSingleUser, kEnterprise}) {
        EXPECT_EQ(getLocalAppDataFolder(kAnn, deployment), L"C:\\Users\\Admin\\AppData\\Local");

        EXPECT_EQ(newLog(), kOwnProfile + kTrying +
                                "AppData in Shell Folders = C:\\Users\\Admin\\AppData\\Local\n");
    }
}

TEST_F(LocalAppDataTest, UserShellFoldersValueIsPutBelowTheUsersProfile) {
    setFolder(kAnn, kUserShellFoldersKey, L"Local AppData", L"C:\\Users\\Admin\\AppData\\Local");

    EXPECT_EQ(getLocalAppDataFolder(kAnn, kSingleUser), scratch / L"Ann\\AppData\\Local");

    EXPECT_EQ(newLog(), kOwnProfile + kTrying + noValueIn("Shell Folders") +
                            "AppData in User Shell Folders = C:\\Users\\Admin\\AppData\\Local\n");
}

TEST_F(LocalAppDataTest, UserShellFoldersValueIsPutBelowTheUsersProfileInAnEnterprise) {
    setFolder(kAnn, kUserShellFoldersKey, L"Local AppData", L"C:\\Users\\Admin\\AppData\\Local");

    EXPECT_EQ(getLocalAppDataFolder(kAnn, kEnterprise), scratch / L"Ann\\AppData\\Local");

    EXPECT_EQ(newLog(), kOwnProfile + kTrying + noValueIn("Shell Folders") +
                            "AppData in User Shell Folders = C:\\Users\\Admin\\AppData\\Local\n"
                            "AppData in Folders before profile replace = C:\\Users\\Admin\n"
                            "AppData in Folders after replace = ~\\Ann\\AppData\\Local\n");
}

TEST_F(LocalAppDataTest, UserWithoutHiveHasNoFolderOnASingleUsersMachine) {
    makeFolder(scratch / L"Ann\\AppData\\Local");

    EXPECT_EQ(getLocalAppDataFolder(kAnn, kSingleUser), L"");

    EXPECT_EQ(newLog(),
              kOwnProfile + kTrying + noHiveFor("Shell Folders") + noHiveFor("User Shell Folders"));
}

TEST_F(LocalAppDataTest, UserWithoutHiveGetsTheUsualFolderInAnEnterprise) {
    makeFolder(scratch / L"Ann\\AppData\\Local");

    EXPECT_EQ(getLocalAppDataFolder(kAnn, kEnterprise), scratch / L"Ann\\AppData\\Local");

    EXPECT_EQ(newLog(), kOwnProfile + kTrying + noHiveFor("Shell Folders") +
                            noHiveFor("User Shell Folders") +
                            "fetching AppData Local failed and assuming it as the default one = "
                            "~\\Ann\\AppData\\Local\n");
}

TEST_F(LocalAppDataTest, UsualFolderThatDoesNotExistIsNone) {
    EXPECT_EQ(getLocalAppDataFolder(kAnn, kEnterprise), L"");

    EXPECT_EQ(newLog(),
              kOwnProfile + kTrying + noHiveFor("Shell Folders") + noHiveFor("User Shell Folders") +
                  "fetching AppData Local failed and assuming it as the default one = \n");
}

TEST_F(LocalAppDataTest, UsualFolderMayBeAFile) {
    writeFile(scratch / L"Ann\\AppData\\Local", "text");

    EXPECT_EQ(getLocalAppDataFolder(kAnn, kEnterprise), scratch / L"Ann\\AppData\\Local");
}

TEST_F(LocalAppDataTest, EmptyShellFoldersValueIsTheAnswer) {
    setFolder(kAnn, kShellFoldersKey, L"Local AppData", L"");
    setFolder(kAnn, kUserShellFoldersKey, L"Local AppData", L"C:\\other");

    EXPECT_EQ(getLocalAppDataFolder(kAnn, kEnterprise), L"");

    EXPECT_EQ(newLog(), kOwnProfile + kTrying + "AppData in Shell Folders = \n");
}

TEST_F(LocalAppDataTest, UnknownUserHasNoFolderAndNoHiveIsRead) {
    setFolder(kBob, kShellFoldersKey, L"Local AppData", L"C:\\x");
    machine.trace.clear();

    EXPECT_EQ(getLocalAppDataFolder(kBob, kEnterprise), L"");
    EXPECT_EQ(getLocalAppDataFolder(L"", kSingleUser), L"");

    EXPECT_EQ(newLog(), kOwnProfile + kOwnProfile);
    EXPECT_THAT(machine.calls({"RegCreateKeyExW"}), IsEmpty());
}

TEST_F(LocalAppDataTest, SidIsLookedUpWithItsCase) {
    EXPECT_EQ(getLocalAppDataFolder(L"s-1-5-21-10-20-30-1001", kEnterprise), L"");

    EXPECT_EQ(newLog(), kOwnProfile);
}

TEST_F(LocalAppDataTest, UnknownOwnProfileStopsTheSingleUserRewriteOnly) {
    setOwnProfile(L"", static_cast<HRESULT>(0x80070002));
    setFolder(kAnn, kUserShellFoldersKey, L"Local AppData", L"C:\\Users\\Admin\\AppData\\Local");

    EXPECT_EQ(getLocalAppDataFolder(kAnn, kSingleUser), L"C:\\Users\\Admin\\AppData\\Local");

    EXPECT_EQ(newLog(), "Unable to locate Users Profile (CSIDL_PROFILE) \n" + kTrying +
                            noValueIn("Shell Folders") +
                            "AppData in User Shell Folders = C:\\Users\\Admin\\AppData\\Local\n");
    EXPECT_EQ(getLocalAppDataFolder(kAnn, kEnterprise), scratch / L"Ann\\AppData\\Local");
}

TEST_F(LocalAppDataTest, PathLeftByAFailedCallIsNotTheOwnProfile) {
    setFolder(kAnn, kUserShellFoldersKey, L"Local AppData", L"C:\\Users\\Admin\\AppData\\Local");
    const auto place = replaceImport<decltype(&::SHGetFolderPathW)>(
        "SHGetFolderPathW", [](auto, HWND, int, HANDLE, DWORD, LPWSTR path) -> HRESULT {
            std::wcscpy(path, L"C:\\Users\\Admin");
            return E_FAIL;
        });

    EXPECT_EQ(getLocalAppDataFolder(kAnn, kSingleUser), L"C:\\Users\\Admin\\AppData\\Local");
}

TEST_F(LocalAppDataTest, AnyResultThatIsNotNegativeTellsTheOwnProfile) {
    setFolder(kAnn, kUserShellFoldersKey, L"Local AppData", L"C:\\Users\\Admin\\AppData\\Local");
    const auto place = replaceImport<decltype(&::SHGetFolderPathW)>(
        "SHGetFolderPathW", [](auto, HWND, int, HANDLE, DWORD, LPWSTR path) -> HRESULT {
            std::wcscpy(path, L"C:\\Users\\Admin");
            return S_FALSE;
        });

    EXPECT_EQ(getLocalAppDataFolder(kAnn, kSingleUser), scratch / L"Ann\\AppData\\Local");

    EXPECT_THAT(newLog(), ::testing::StartsWith(kOwnProfile));
}

TEST_F(LocalAppDataTest, OwnProfileIsAskedForIntoAClearedBuffer) {
    bool isCleared = true;
    const auto place = replaceImport<decltype(&::SHGetFolderPathW)>(
        "SHGetFolderPathW",
        [&](auto real, HWND window, int folder, HANDLE token, DWORD flags, LPWSTR path) -> HRESULT {
            for (int i = 0; i < MAX_PATH; ++i)
                isCleared = isCleared && path[i] == L'\0';
            return real(window, folder, token, flags, path);
        });

    getLocalAppDataFolder(kAnn, kSingleUser);

    EXPECT_TRUE(isCleared);
    EXPECT_THAT(
        machine.calls({"SHGetFolderPathW"}),
        ::testing::ElementsAre("SHGetFolderPathW(null, 0x28, null, 0, \"C:\\Users\\Admin\") = 0"));
}

TEST_F(LocalAppDataTest, ExceptionOfAnyKindIsLoggedAndKeepsTheResult) {
    setFolder(kAnn, kUserShellFoldersKey, L"Local AppData", L"C:\\Users\\Admin\\AppData\\Local");
    int reads = 0;
    const auto read = replaceImport<decltype(&::RegGetValueW)>(
        "RegGetValueW", [&](auto real, auto... arguments) -> LSTATUS {
            if (++reads == 2) throw 1;
            return real(arguments...);
        });

    EXPECT_EQ(getLocalAppDataFolder(kAnn, kEnterprise), L"");

    EXPECT_THAT(newLog(), EndsWith("NO AppData in Shell Folders\n"
                                   "fetching AppData Local failed for user = "
                                   "S-1-5-21-10-20-30-1001\n"));
}

TEST_F(LocalAppDataTest, ExceptionBehindTheFallbackKeepsWhatWasAssumed) {
    const auto exists = replaceImport<decltype(&::PathFileExistsW)>(
        "PathFileExistsW", [](auto, LPCWSTR) -> BOOL { throw 1; });

    EXPECT_EQ(getLocalAppDataFolder(kAnn, kEnterprise), scratch / L"Ann\\AppData\\Local");

    EXPECT_THAT(newLog(), EndsWith("NO AppData in User Shell Folders\n"
                                   "fetching AppData Local failed for user = "
                                   "S-1-5-21-10-20-30-1001\n"));
}

using FirstLocalAppDataTest = ProfilesTest;

TEST_F(FirstLocalAppDataTest, ReadsTheProfilesBeforeTheOwnProfile) {
    setOwnProfile(L"C:\\Users\\Admin");
    setProfilePath(kAnn, L"C:\\no such folder");

    EXPECT_EQ(getLocalAppDataFolder(kAnn, kEnterprise), L"");

    EXPECT_EQ(logText(),
              "For user : S-1-5-21-10-20-30-1001 getting profile dir.\n"
              "For Valid User SID : S-1-5-21-10-20-30-1001 getting profile dir.\n"
              "Profile dir is : C:\\no such folder.\n"
              "Skipping since directory C:\\no such folder is not present.\n" +
                  kOwnProfile);
    EXPECT_THAT(machine.calls({"RegCreateKeyExW"}),
                ::testing::Each(::testing::Not(::testing::HasSubstr("HKEY_USERS"))));
}

}  // namespace
