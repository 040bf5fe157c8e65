#include "UserFoldersFixture.h"
#include "platform/PlatformException.h"

namespace {

// What goes wrong for one user, and what the machine may hold in place of a folder.
using UserFolderFailuresTest = UserFoldersTest;

TEST_F(UserFolderFailuresTest, ASidWithoutATextIsLoggedAsEmptyAndTheWalkGoesOn) {
    addAnna();
    readUsers();
    BYTE damaged[SECURITY_MAX_SID_SIZE] = {};

    EXPECT_TRUE(ensureUserFolderPermissions(damaged, false, {L"Velta"}, false, out));

    const std::string lines = newLog();
    EXPECT_EQ(lines.substr(0, lines.find('\n') + 1), "Current user: \n");
    EXPECT_EQ(out, roaming(kAnna) + L"\\Velta");
}

TEST_F(UserFolderFailuresTest, AnOwnProfileThatIsNotToldLeavesFoldersUnrewritten) {
    addBjorn();
    machine.state.folders[CSIDL_PROFILE] = {L"", E_FAIL};
    readUsers();

    EXPECT_TRUE(ensure({L"Velta"}));

    EXPECT_EQ(newLog(),
              "Current user: S-1-5-21-1-2-3-1001\n"
              "Unable to locate Users Profile (CSIDL_PROFILE) \n" +
                  userLine(kBjorn) + noValueLines(kBjorn, kShellFolders) +
                  foundLine("User Shell Folders", ownRoaming) +
                  grantedLines(ownRoaming + L"\\Velta"));
    EXPECT_FALSE(exists(roaming(kBjorn) + L"\\Velta"));
}

TEST_F(UserFolderFailuresTest, WhatAFailureLeavesAsOwnProfileIsUsed) {
    addBjorn();
    readUsers();
    const auto locate = replaceImport<decltype(&::SHGetFolderPathW)>(
        "SHGetFolderPathW",
        [](auto real, HWND window, int csidl, HANDLE token, DWORD flags, LPWSTR path) -> HRESULT {
            real(window, csidl, token, flags, path);
            return E_FAIL;
        });

    EXPECT_TRUE(ensure({L"Velta"}));

    EXPECT_TRUE(isGranted(roaming(kBjorn) + L"\\Velta"));
}

TEST_F(UserFolderFailuresTest, AUserWhoseFolderIsMissingCountsAsHandled) {
    addAnna();
    removeTree(roaming(kAnna));
    readUsers();

    EXPECT_TRUE(ensure({L"Velta"}));

    EXPECT_EQ(newLog(), startLines() + userLine(kAnna) + foundLine("Shell Folders", roaming(kAnna)) +
                            noBaseLine(roaming(kAnna)) + failedUserLine(kAnna));
    EXPECT_FALSE(exists(roaming(kAnna)));
}

TEST_F(UserFolderFailuresTest, TheFolderOfALoggedOnUserWhoFailedIsEmpty) {
    addAnna();
    writeFile(roaming(kAnna) + L"\\Velta", "in the way");
    readUsers();

    EXPECT_TRUE(ensure({L"Velta", L"RXP"}));

    EXPECT_EQ(out, L"");
    EXPECT_EQ(newLog(), startLines() + userLine(kAnna) + foundLine("Shell Folders", roaming(kAnna)) +
                            notCreatedLine(roaming(kAnna) + L"\\Velta") + failedUserLine(kAnna));
}

TEST_F(UserFolderFailuresTest, AFailedUserDoesNotKeepTheOthersFromTheirs) {
    addAnna();
    addBjorn();
    addChen();
    setSecurity(roaming(kAnna) + L"\\Velta", lockedSecurity());
    makeFolder(roaming(kAnna) + L"\\Velta");
    readUsers();

    EXPECT_TRUE(ensure({L"Velta"}, true));

    EXPECT_EQ(security(roaming(kAnna) + L"\\Velta"), lockedSecurity());
    EXPECT_TRUE(isGranted(roaming(kChen) + L"\\Velta"));
}

// Exceptions of every kind end only the user whose folder they come from; they come when the folder is made.
class UserFolderExceptionTest : public UserFoldersTest {
protected:
    UserFolderExceptionTest() {
        addAnna();
        readUsers();
    }

    template <typename Throw>
    auto throwForUsers(Throw thrower) {
        return replaceImport<decltype(&::CreateDirectoryW)>(
            "CreateDirectoryW",
            [this, thrower](auto real, LPCWSTR path, LPSECURITY_ATTRIBUTES security) -> BOOL {
                if (std::wstring_view(path).starts_with(profile(kAnna))) thrower();
                return real(path, security);
            });
    }

    // The user does not count as handled, so the running account's folder is taken.
    void expectOnlyFallback(const std::string& reason) {
        EXPECT_TRUE(ensure({L"Velta"}));

        EXPECT_EQ(out, ownRoaming + L"\\Velta");
        EXPECT_EQ(newLog(), startLines() + userLine(kAnna) +
                                foundLine("Shell Folders", roaming(kAnna)) + reason +
                                failedUserLine(kAnna) + fallbackLine(ownRoaming) +
                                grantedLines(ownRoaming + L"\\Velta"));
    }
};

TEST_F(UserFolderExceptionTest, AStandardExceptionIsCaught) {
    machine.failNext("CreateWellKnownSid", ERROR_INVALID_PARAMETER);

    expectOnlyFallback("Can't create well known sid 84. Last error is: 87.\n");

    mounted.expectLeaks({"memory#3"});
}

TEST_F(UserFolderExceptionTest, APlatformExceptionIsCaught) {
    const auto create = throwForUsers([] { Platform::ThrowForHResult(E_ACCESSDENIED); });

    expectOnlyFallback("");
}

TEST_F(UserFolderExceptionTest, WhateverElseIsThrownIsCaught) {
    const auto create = throwForUsers([] { throw 42; });

    expectOnlyFallback("");
}

TEST_F(UserFolderExceptionTest, AUserWhoWasHandledStaysHandled) {
    // The first pass makes the folder; the default pass throws.
    const auto search = replaceImport<decltype(&::FindFirstFileW)>(
        "FindFirstFileW",
        [count = 0](auto real, LPCWSTR path, LPWIN32_FIND_DATAW found) mutable -> HANDLE {
            if (++count == 3) throw 42;
            return real(path, found);
        });

    EXPECT_TRUE(ensure({L"Velta"}, false, true));

    EXPECT_EQ(out, roaming(kAnna) + L"\\Velta");
    EXPECT_EQ(newLog(), startLines() + userLine(kAnna) + foundLine("Shell Folders", roaming(kAnna)) +
                            grantedLines(roaming(kAnna) + L"\\Velta") + failedUserLine(kAnna));
}

TEST_F(UserFolderFailuresTest, AnExceptionOfTheFallbackIsNotCaught) {
    readUsers();
    machine.failNext("CreateWellKnownSid", ERROR_INVALID_PARAMETER);

    EXPECT_THROW(ensure({L"Velta"}), std::exception);

    mounted.expectLeaks({"memory#3"});
}

// Values that no shell has written.
class OddFolderValueTest : public UserFoldersTest {
protected:
    std::string logFor(const std::wstring& value) {
        addUser(kAnna);
        addHive(kAnna, kShellFolders, value);
        readUsers();
        EXPECT_TRUE(ensure({L"Velta"}, false, true));
        return newLog();
    }

    static void storeWithoutTerminator(const std::wstring& path, std::wstring text) {
        const standin::Untraced untraced;
        const auto size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
        text += L'#';  // a zero here would be taken for the terminator and stored too
        HKEY key = nullptr;
        ASSERT_EQ(::RegOpenKeyExW(HKEY_USERS, path.c_str(), 0, KEY_SET_VALUE, &key), ERROR_SUCCESS);
        EXPECT_EQ(::RegSetValueExW(key, L"AppData", 0, REG_SZ,
                                   reinterpret_cast<const BYTE*>(text.data()), size),
                  ERROR_SUCCESS);
        ::RegCloseKey(key);
    }
};

TEST_F(OddFolderValueTest, AnEmptyFolderIsNoFolderAndHasNoDefaultPass) {
    EXPECT_EQ(logFor(L""), startLines() + userLine(kAnna) + foundLine("Shell Folders", L"") +
                               "Empty folder\n" + fallbackLine(ownRoaming) +
                               grantedLines(ownRoaming + L"\\Velta"));
}

TEST_F(OddFolderValueTest, ARelativeFolderIsLookedForAsItStands) {
    EXPECT_EQ(logFor(L"no such\\Roaming"),
              startLines() + userLine(kAnna) + foundLine("Shell Folders", L"no such\\Roaming") +
                  noBaseLine(L"no such\\Roaming") + failedUserLine(kAnna) +
                  noBaseLine(L"no such\\Roaming") + defaultPassLine(L""));
}

TEST_F(OddFolderValueTest, AFolderThatIsLongerThanAPathMayBeDoesNotExist) {
    const std::wstring folder = L"C:\\" + std::wstring(300, L'a');

    EXPECT_EQ(logFor(folder), startLines() + userLine(kAnna) + foundLine("Shell Folders", folder) +
                                  noBaseLine(folder) + failedUserLine(kAnna) + noBaseLine(folder) +
                                  defaultPassLine(L""));
}

TEST_F(OddFolderValueTest, AFolderOfAnotherTypeIsItsBytesAsText) {
    addUser(kAnna);
    registry.loadHive(kAnna.sid);
    registry.setValue(HKEY_USERS, kAnna.sid + kExplorerKey + kShellFolders, L"AppData",
                      {REG_DWORD, std::string("x\0y\0", 4)});
    readUsers();

    EXPECT_TRUE(ensure({L"Velta"}));

    EXPECT_EQ(newLog(), startLines() + userLine(kAnna) + foundLine("Shell Folders", L"xy") +
                            noBaseLine(L"xy") + failedUserLine(kAnna));
}

TEST_F(OddFolderValueTest, AFolderWithoutATerminatorIsReadToItsEnd) {
    addAnna();
    storeWithoutTerminator(kAnna.sid + kExplorerKey + kShellFolders, roaming(kAnna));
    readUsers();

    EXPECT_TRUE(ensure({L"Velta"}));

    EXPECT_EQ(out, roaming(kAnna) + L"\\Velta");
}

TEST_F(UserFolderFailuresTest, AHiveThatVanishesWhileItIsReadIsLikeOneThatIsNotLoaded) {
    addAnna();
    readUsers();
    machine.onCall("RegCreateKeyExW", [this] { registry.unloadHive(kAnna.sid); });

    EXPECT_TRUE(ensure({L"Velta"}));

    EXPECT_EQ(newLog(), startLines() + userLine(kAnna) +
                            noValueLines(kAnna, kShellFolders, ERROR_KEY_DELETED) +
                            noKeyLines(kAnna, kUserShellFolders) + "Empty folder\n" +
                            fallbackLine(ownRoaming) + grantedLines(ownRoaming + L"\\Velta"));
}

}  // namespace
