#include "platform/PlatformException.h"
#include "support/ScopedImport.h"
#include "users/ProfilesTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

class UserProfilesTest : public ProfilesTest {};

TEST(UserSidTest, HasFourDashesBehindItsFirstCharacter) {
    const struct {
        const wchar_t* sid;
        bool isValid;
    } rows[] = {
        {L"S-1-5-21-1-2-3-1001", true},
        {L"S-1-5-21-1", true},
        {L"S-1-12-1-1-2-3-4", true},
        {L"S-1-5-21-", true},
        {L"S-1---", true},
        {L"S-1-5-21-text", true},
        {L"S-1-5-21-1-2-3-1001.bak", true},
        {L"S-1-5-21", false},
        {L"S-1-5-18", false},
        {L"S-1-5-", false},
        {L"S-1--", false},
        {L"S-1-", false},
        {L"S-1", false},
        {L"", false},
        {L"s-1-5-21-1-2-3-1001", false},
        {L"S-2-5-21-1-2-3-1001", false},
        {L"S-11-5-21-1-2-3-1001", false},
        {L" S-1-5-21-1-2-3-1001", false},
        {L"-S-1-5-21-1-2-3", false},
        {L"S\u20101\u20105\u201021\u20101", false},
        {L".DEFAULT", false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(isValidUserSid(row.sid), row.isValid) << std::wstring(row.sid);
    }
}

TEST_F(UserProfilesTest, AccountsWithAProfileFolderAreListed) {
    addProfile(kAnn, L"Ann");
    addProfile(kBob, L"Bob");

    EXPECT_THAT(getUserProfiles(),
                UnorderedElementsAre(Pair(kAnn, scratch / L"Ann"), Pair(kBob, scratch / L"Bob")));

    EXPECT_EQ(shortLog(),
              "For user : S-1-5-21-10-20-30-1001 getting profile dir.\n"
              "For Valid User SID : S-1-5-21-10-20-30-1001 getting profile dir.\n"
              "Profile dir is : ~\\Ann.\n"
              "For user : S-1-5-21-10-20-30-1002 getting profile dir.\n"
              "For Valid User SID : S-1-5-21-10-20-30-1002 getting profile dir.\n"
              "Profile dir is : ~\\Bob.\n");
}

TEST_F(UserProfilesTest, ServiceAccountsAreOnlyMentioned) {
    setProfilePath(L"S-1-5-18", scratch.path());
    setProfilePath(L"s-1-5-21-1-2-3-4", scratch.path());

    EXPECT_THAT(getUserProfiles(), IsEmpty());

    EXPECT_EQ(logText(),
              "For user : S-1-5-18 getting profile dir.\n"
              "For user : s-1-5-21-1-2-3-4 getting profile dir.\n");
}

TEST_F(UserProfilesTest, WithoutMemoryForTheFolderTheUserIsNotListed) {
    const std::wstring folder(100, L'a');
    addProfile(kAnn, folder);
    // Of the program's texts only those of this folder are so long.
    const size_t wanted = ((scratch / folder).size() + 1) * sizeof(wchar_t);

    size_t failing = 0;
    size_t count = 0;
    do {
        ++failing;
        count = 0;
        const UserProfileMap* profiles = nullptr;
        {
            const auto scarce = replaceImport<decltype(&::malloc)>(
                "malloc", [&](auto real, size_t size) {
                    return size == wanted && ++count == failing ? nullptr : real(size);
                });
            profiles = &getUserProfiles();
        }
        if (count >= failing) {
            EXPECT_THAT(*profiles, IsEmpty()) << "allocation " << failing;
        }
    } while (count >= failing && !HasFailure());

    EXPECT_GT(failing, 1u);
    EXPECT_THAT(getUserProfiles(), ElementsAre(Pair(kAnn, scratch / folder)));
}

TEST_F(UserProfilesTest, DeletedProfileFolderIsSkipped) {
    setProfilePath(kAnn, scratch / L"gone");

    EXPECT_THAT(getUserProfiles(), IsEmpty());

    EXPECT_EQ(shortLog(),
              "For user : S-1-5-21-10-20-30-1001 getting profile dir.\n"
              "For Valid User SID : S-1-5-21-10-20-30-1001 getting profile dir.\n"
              "Profile dir is : ~\\gone.\n"
              "Skipping since directory ~\\gone is not present.\n");
}

TEST_F(UserProfilesTest, FileInPlaceOfTheProfileFolderIsSkipped) {
    writeFile(scratch / L"file", "text");
    setProfilePath(kAnn, scratch / L"file");

    EXPECT_THAT(getUserProfiles(), IsEmpty());

    EXPECT_THAT(shortLog(),
                ::testing::EndsWith("Skipping since directory ~\\file is not present.\n"));
}

TEST_F(UserProfilesTest, EmptyProfilePathIsSkipped) {
    setProfilePath(kAnn, L"");

    EXPECT_THAT(getUserProfiles(), IsEmpty());

    EXPECT_EQ(logText(),
              "For user : S-1-5-21-10-20-30-1001 getting profile dir.\n"
              "For Valid User SID : S-1-5-21-10-20-30-1001 getting profile dir.\n"
              "Profile dir is : .\n"
              "Skipping since directory  is not present.\n");
}

TEST_F(UserProfilesTest, MissingProfilePathIsLoggedAndTheScanGoesOn) {
    registry.makeKey(HKEY_LOCAL_MACHINE, profileKey(kAnn));
    addProfile(kBob, L"Bob");

    EXPECT_THAT(getUserProfiles(), ElementsAre(Pair(kBob, scratch / L"Bob")));

    EXPECT_EQ(shortLog(),
              "For user : S-1-5-21-10-20-30-1001 getting profile dir.\n"
              "For Valid User SID : S-1-5-21-10-20-30-1001 getting profile dir.\n"
              "Exception while reading value size of value \"ProfileImagePath\" with ErrorCode 2.\n"
              "For user : S-1-5-21-10-20-30-1001 getting profile dir failed with : Unknown exception\n"
              "For user : S-1-5-21-10-20-30-1002 getting profile dir.\n"
              "For Valid User SID : S-1-5-21-10-20-30-1002 getting profile dir.\n"
              "Profile dir is : ~\\Bob.\n");
}

TEST_F(UserProfilesTest, RefusedProfileKeyIsLoggedAndTheScanGoesOn) {
    addProfile(kAnn, L"Ann");
    addProfile(kBob, L"Bob");
    registry.restrictAccess(HKEY_LOCAL_MACHINE, profileKey(kAnn));

    EXPECT_THAT(getUserProfiles(), ElementsAre(Pair(kBob, scratch / L"Bob")));

    EXPECT_THAT(
        logText(),
        ::testing::HasSubstr(
            "For Valid User SID : S-1-5-21-10-20-30-1001 getting profile dir.\n"
            "Exception while opening key \"S-1-5-21-10-20-30-1001\" with ErrorCode 5.\n"
            "For user : S-1-5-21-10-20-30-1001 getting profile dir failed with : Unknown exception\n"
            "For user : S-1-5-21-10-20-30-1002 getting profile dir.\n"));
}

TEST_F(UserProfilesTest, ProfilePathIsReadWhateverItsType) {
    const std::wstring folder = scratch / L"Ann";
    const auto bytesOf = [](const std::wstring& text) {
        return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
    };
    const struct {
        const char* name;
        RegistryValue value;
    } rows[] = {
        {"unterminated", {REG_SZ, bytesOf(folder)}},
        {"more text behind the null", {REG_SZ, bytesOf(folder + L'\0' + L"more" + L'\0')}},
        {"odd size", {REG_SZ, bytesOf(folder + L'\0') + 'x'}},
        {"list of texts", {REG_MULTI_SZ, bytesOf(folder + L'\0' + L"more" + L'\0' + L'\0')}},
        {"binary", {REG_BINARY, bytesOf(folder)}},
        {"no type", {REG_NONE, bytesOf(folder + L'\0')}},
        {"to be expanded", {REG_EXPAND_SZ, bytesOf(L"%PROFILE_TEST%\\Ann" + std::wstring(1, L'\0'))}},
    };
    makeFolder(folder);
    ::SetEnvironmentVariableW(L"PROFILE_TEST", scratch.path().c_str());
    int number = 0;
    for (const auto& row : rows) {
        const std::wstring sid = L"S-1-5-21-1-" + std::to_wstring(number++);
        registry.setValue(HKEY_LOCAL_MACHINE, profileKey(sid), L"ProfileImagePath", row.value);
    }

    const UserProfileMap& profiles = getUserProfiles();

    number = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto profile = profiles.find(L"S-1-5-21-1-" + std::to_wstring(number++));
        ASSERT_NE(profile, profiles.end());
        EXPECT_EQ(profile->second, folder);
    }
}

TEST_F(UserProfilesTest, ProfilePathOfSomeOtherSizeIsNoFolder) {
    registry.setValue(HKEY_LOCAL_MACHINE, profileKey(kAnn), L"ProfileImagePath",
                      {REG_DWORD, std::string("\x21\0\x22\0", 4)});
    registry.setValue(HKEY_LOCAL_MACHINE, profileKey(kBob), L"ProfileImagePath", {REG_BINARY, ""});
    registry.setValue(HKEY_LOCAL_MACHINE, profileKey(kCarol), L"ProfileImagePath", {REG_BINARY, "C"});

    EXPECT_THAT(getUserProfiles(), IsEmpty());

    const std::string text = logText();
    EXPECT_THAT(text, ::testing::HasSubstr("Profile dir is : !\".\nSkipping since directory !\" is"));
    EXPECT_THAT(text, ::testing::HasSubstr("1002 getting profile dir.\nProfile dir is : .\n"));
    EXPECT_THAT(text, ::testing::HasSubstr("1003 getting profile dir.\nProfile dir is : .\n"));
}

TEST_F(UserProfilesTest, FilledMapIsReturnedWithoutAnotherScan) {
    addProfile(kAnn, L"Ann");
    getUserProfiles();
    addProfile(kBob, L"Bob");
    machine.trace.clear();

    EXPECT_THAT(getUserProfiles(), ElementsAre(Pair(kAnn, scratch / L"Ann")));

    EXPECT_THAT(machine.calls(), IsEmpty());
}

TEST_F(UserProfilesTest, EmptyMapIsScannedAgain) {
    EXPECT_THAT(getUserProfiles(), IsEmpty());
    EXPECT_EQ(logText(), "");
    addProfile(kBob, L"Bob");

    EXPECT_THAT(getUserProfiles(), ElementsAre(Pair(kBob, scratch / L"Bob")));
}

TEST_F(UserProfilesTest, RefusedProfileListGivesNoProfiles) {
    addProfile(kAnn, L"Ann");
    registry.restrictAccess(HKEY_LOCAL_MACHINE, kProfileList);

    EXPECT_THAT(getUserProfiles(), IsEmpty());

    EXPECT_EQ(logText(),
              "Exception while opening key \"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\"
              "ProfileList\" with ErrorCode 5.\n"
              "Caught std::exception with reason Unknown exception.\n");
}

TEST_F(UserProfilesTest, PlatformExceptionEndsTheScanAndKeepsWhatWasFound) {
    addProfile(kAnn, L"Ann");
    addProfile(kBob, L"Bob");
    int reads = 0;
    const auto read = replaceImport<decltype(&::RegGetValueW)>(
        "RegGetValueW", [&](auto real, auto... arguments) -> LSTATUS {
            if (++reads > 2) Platform::ThrowForHResult(HRESULT(0xA0001234));
            return real(arguments...);
        });

    EXPECT_THAT(getUserProfiles(), ElementsAre(Pair(kAnn, scratch / L"Ann")));

    EXPECT_THAT(logText(), ::testing::EndsWith("1002 getting profile dir.\n"
                                               "Caught Platform::Exception with reason .\n"));
}

TEST_F(UserProfilesTest, PlatformExceptionIsLoggedWithItsMessage) {
    addProfile(kAnn, L"Ann");
    machine.state.errorObject = {static_cast<int32_t>(E_ACCESSDENIED), L"", L"Not now."};
    const auto read = replaceImport<decltype(&::RegGetValueW)>(
        "RegGetValueW", [&](auto, auto...) -> LSTATUS {
            Platform::ThrowForHResult(E_ACCESSDENIED);
            return ERROR_SUCCESS;
        });

    EXPECT_THAT(getUserProfiles(), IsEmpty());

    EXPECT_THAT(logText(), ::testing::EndsWith("Caught Platform::Exception with reason Not now..\n"));
}

TEST_F(UserProfilesTest, AnyOtherExceptionEndsTheScan) {
    addProfile(kAnn, L"Ann");
    addProfile(kBob, L"Bob");
    const auto read = replaceImport<decltype(&::RegGetValueW)>(
        "RegGetValueW", [&](auto, auto...) -> LSTATUS { throw 1; });

    EXPECT_THAT(getUserProfiles(), IsEmpty());

    EXPECT_EQ(logText(),
              "For user : S-1-5-21-10-20-30-1001 getting profile dir.\n"
              "For Valid User SID : S-1-5-21-10-20-30-1001 getting profile dir.\n"
              "Caught unknown Exception with unknown reason.\n");
}

TEST_F(UserProfilesTest, KeysAreOpenedInFullReadAndClosedInTurn) {
    addProfile(kAnn, L"Ann");

    getUserProfiles();

    const std::string value = "RegGetValueW(key#2, null, \"ProfileImagePath\", 0xFFFF, null, ";
    const std::vector<std::string> calls = shortCalls(
        {"RegCreateKeyExW", "RegGetValueW", "GetFileAttributesW", "RegCloseKey"});
    ASSERT_EQ(calls.size(), 7u);
    EXPECT_EQ(calls[0],
              "RegCreateKeyExW(HKEY_LOCAL_MACHINE, \"SOFTWARE\\Microsoft\\Windows "
              "NT\\CurrentVersion\\ProfileList\", 0, null, 0x0, 0xF003F, null, key#1, "
              "null) = 0");
    EXPECT_EQ(calls[1],
              "RegCreateKeyExW(key#1, \"S-1-5-21-10-20-30-1001\", 0, null, 0x0, 0xF003F, "
              "null, key#2, null) = 0");
    EXPECT_THAT(calls[2], ::testing::StartsWith(value));
    EXPECT_THAT(calls[3], ::testing::StartsWith(value));
    EXPECT_THAT(calls[4], ::testing::StartsWith("GetFileAttributesW(\"~\\Ann\") = "));
    EXPECT_EQ(calls[5], "RegCloseKey(key#2) = 0");
    EXPECT_EQ(calls[6], "RegCloseKey(key#1) = 0");
}

}  // namespace
