#include "users/ProfilesTest.h"

namespace {

using ::testing::IsEmpty;

// The reading of one folder from a user's hive; the same for either value.
struct FolderReader {
    const char* name;
    bool (*read)(const std::wstring&, const wchar_t*, std::wstring*);
    const wchar_t* valueName;
    const char* failureText;
};
const FolderReader kReaders[] = {
    {"Local AppData", &readLocalAppDataFolder, L"Local AppData",
     "Caught std::exception while reading Local AppData folder with Key "},
    {"AppData", &readAppDataFolder, L"AppData",
     "Caught std::exception while reading AppData folder with Key "},
};

class UserFoldersTest : public ProfilesTest {};

TEST_F(UserFoldersTest, FolderIsReadFromTheUsersHive) {
    for (const FolderReader& reader : kReaders) {
        SCOPED_TRACE(reader.name);
        setFolder(kAnn, kShellFoldersKey, reader.valueName, L"C:\\Users\\Ann\\Folder");
        std::wstring folder = L"before";

        EXPECT_TRUE(reader.read(kAnn, kShellFoldersKey, &folder));

        EXPECT_EQ(folder, L"C:\\Users\\Ann\\Folder");
        registry.removeKey(HKEY_USERS, kAnn + std::wstring(kShellFoldersKey));
    }
    EXPECT_EQ(logText(), "");
}

TEST_F(UserFoldersTest, KeyIsOpenedByUserAndSuffixAndEveryTypeIsAllowed) {
    setFolder(kAnn, kUserShellFoldersKey, L"Local AppData", L"C:\\x");
    std::wstring folder;

    readLocalAppDataFolder(kAnn, kUserShellFoldersKey, &folder);

    const std::vector<std::string> calls = machine.calls({"RegCreateKeyExW", "RegGetValueW"});
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0],
              "RegCreateKeyExW(HKEY_USERS, \"S-1-5-21-10-20-30-1001\\Software\\Microsoft\\Windows\\"
              "CurrentVersion\\Explorer\\User Shell Folders\", 0, null, 0x0, 0xF003F, null, key#1, "
              "null) = 0");
    EXPECT_THAT(calls[2],
                ::testing::StartsWith("RegGetValueW(key#1, null, \"Local AppData\", 0xFFFF, null, "));
}

TEST_F(UserFoldersTest, NoPlaceForTheResultIsAFailureAtOnce) {
    setFolder(kAnn, kShellFoldersKey, L"AppData", L"C:\\x");

    for (const FolderReader& reader : kReaders)
        EXPECT_FALSE(reader.read(kAnn, kShellFoldersKey, nullptr)) << reader.name;

    EXPECT_THAT(machine.calls(), IsEmpty());
    EXPECT_EQ(logText(), "");
}

TEST_F(UserFoldersTest, MissingValueLeavesTheResultAndTheNewKeyBehind) {
    for (const FolderReader& reader : kReaders) {
        SCOPED_TRACE(reader.name);
        registry.loadHive(kAnn);
        std::wstring folder = L"before";

        EXPECT_FALSE(reader.read(kAnn, kShellFoldersKey, &folder));

        EXPECT_EQ(folder, L"before");
        EXPECT_TRUE(registry.hasKey(HKEY_USERS, kAnn + std::wstring(kShellFoldersKey)));
        EXPECT_EQ(newLog(), std::string("Exception while reading value size of value \"") +
                                reader.name + "\" with ErrorCode 2.\n" + reader.failureText +
                                "S-1-5-21-10-20-30-1001\\Software\\Microsoft\\Windows\\CurrentVersion\\"
                                "Explorer\\Shell Folders with reason Unknown exception\n");
    }
}

TEST_F(UserFoldersTest, HiveThatIsNotLoadedIsLogged) {
    std::wstring folder = L"before";

    EXPECT_FALSE(readLocalAppDataFolder(kAnn, kUserShellFoldersKey, &folder));

    EXPECT_EQ(folder, L"before");
    EXPECT_FALSE(registry.hasKey(HKEY_USERS, kAnn));
    EXPECT_EQ(logText(),
              "Exception while opening key \"S-1-5-21-10-20-30-1001\\Software\\Microsoft\\Windows\\"
              "CurrentVersion\\Explorer\\User Shell Folders\" with ErrorCode 87.\n"
              "Caught std::exception while reading Local AppData folder with Key "
              "S-1-5-21-10-20-30-1001\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\"
              "User Shell Folders with reason Unknown exception\n");
}

TEST_F(UserFoldersTest, HiveThatVanishesBetweenOpeningAndReadingIsLogged) {
    setFolder(kAnn, kShellFoldersKey, L"AppData", L"C:\\x");
    machine.onCall("RegCreateKeyExW", [&] { registry.unloadHive(kAnn); });
    std::wstring folder = L"before";

    EXPECT_FALSE(readAppDataFolder(kAnn, kShellFoldersKey, &folder));

    EXPECT_EQ(folder, L"before");
    EXPECT_EQ(logText(),
              "Exception while reading value size of value \"AppData\" with ErrorCode 1018.\n"
              "Caught std::exception while reading AppData folder with Key "
              "S-1-5-21-10-20-30-1001\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\"
              "Shell Folders with reason Unknown exception\n");
}

TEST_F(UserFoldersTest, ValueIsTakenUpToItsFirstNullWhateverItHolds) {
    const auto bytesOf = [](const std::wstring& text) {
        return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
    };
    const std::wstring longPath = L"C:\\" + std::wstring(5000, L'a');
    const struct {
        const char* name;
        RegistryValue value;
        std::wstring expected;
    } rows[] = {
        {"empty", {REG_SZ, std::string(2, '\0')}, L""},
        {"no bytes", {REG_SZ, ""}, L""},
        {"one byte", {REG_BINARY, "C"}, L""},
        {"relative", {REG_SZ, bytesOf(L"sub\\folder" + std::wstring(1, L'\0'))}, L"sub\\folder"},
        {"unterminated", {REG_SZ, bytesOf(L"C:\\x")}, L"C:\\x"},
        {"odd size", {REG_SZ, bytesOf(L"C:\\x") + 'y'}, L"C:\\x"},
        {"null inside", {REG_SZ, bytesOf(L"C:\\x" + std::wstring(1, L'\0') + L"y")}, L"C:\\x"},
        {"too long", {REG_SZ, bytesOf(longPath + L'\0')}, longPath},
        {"number", {REG_DWORD, std::string("A\0\0\0", 4)}, L"A"},
        {"binary", {REG_BINARY, bytesOf(L"C:\\x")}, L"C:\\x"},
    };
    registry.loadHive(kAnn);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        registry.setValue(HKEY_USERS, kAnn + std::wstring(kShellFoldersKey), L"AppData", row.value);
        std::wstring folder = L"before";

        EXPECT_TRUE(readAppDataFolder(kAnn, kShellFoldersKey, &folder));

        EXPECT_EQ(folder, row.expected);
    }
}

TEST_F(UserFoldersTest, ValueIsExpandedInTheProgramsOwnEnvironment) {
    ::SetEnvironmentVariableW(L"USERPROFILE", L"C:\\Users\\Admin");
    setFolder(kAnn, kUserShellFoldersKey, L"Local AppData",
              L"%USERPROFILE%\\AppData\\Local\\%NO_SUCH_NAME%", REG_EXPAND_SZ);
    std::wstring folder;

    EXPECT_TRUE(readLocalAppDataFolder(kAnn, kUserShellFoldersKey, &folder));

    EXPECT_EQ(folder, L"C:\\Users\\Admin\\AppData\\Local\\%NO_SUCH_NAME%");
}

}  // namespace
