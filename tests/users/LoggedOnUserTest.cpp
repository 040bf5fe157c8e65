#include "users/ProfilesTest.h"

namespace {

using ::testing::IsEmpty;

class LoggedOnUserTest : public ProfilesTest {};

TEST_F(LoggedOnUserTest, SidIsReadOnce) {
    logOn(kAnn);

    EXPECT_EQ(getLoggedOnUserSid(), kAnn);
    EXPECT_EQ(newLog(), "Logged on user SID : S-1-5-21-10-20-30-1001\n");

    logOn(kBob);
    machine.trace.clear();
    EXPECT_EQ(getLoggedOnUserSid(), kAnn);
    EXPECT_EQ(newLog(), "");
    EXPECT_THAT(machine.calls(), IsEmpty());
}

TEST_F(LoggedOnUserTest, SidIsReadWithEveryTypeAllowed) {
    logOn(kAnn);

    getLoggedOnUserSid();

    const std::vector<std::string> calls = machine.calls({"RegCreateKeyExW", "RegGetValueW"});
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0],
              "RegCreateKeyExW(HKEY_LOCAL_MACHINE, \"SOFTWARE\\Microsoft\\Windows\\"
              "CurrentVersion\\Authentication\\LogonUI\", 0, null, 0x0, 0xF003F, null, "
              "key#1, null) = 0");
    EXPECT_THAT(calls[1], ::testing::StartsWith(
                              "RegGetValueW(key#1, null, \"SelectedUserSID\", 0xFFFF, null, "));
}

TEST_F(LoggedOnUserTest, UnknownSidIsAskedForAgain) {
    EXPECT_EQ(getLoggedOnUserSid(), L"");
    EXPECT_EQ(newLog(),
              "Exception while reading value size of value \"SelectedUserSID\" with ErrorCode 2.\n"
              "Caught std::exception while reading loggedOnUserSID with reason Unknown exception\n");

    logOn(kBob);
    EXPECT_EQ(getLoggedOnUserSid(), kBob);
    EXPECT_EQ(newLog(), "Logged on user SID : S-1-5-21-10-20-30-1002\n");
}

TEST_F(LoggedOnUserTest, EmptySidIsAskedForAgain) {
    logOn(L"");
    EXPECT_EQ(getLoggedOnUserSid(), L"");
    EXPECT_EQ(newLog(), "Logged on user SID : \n");

    logOn(kBob);
    EXPECT_EQ(getLoggedOnUserSid(), kBob);
}

TEST_F(LoggedOnUserTest, RefusedKeyGivesNoSid) {
    logOn(kAnn);
    registry.restrictAccess(HKEY_LOCAL_MACHINE, kLogonUi);

    EXPECT_EQ(getLoggedOnUserSid(), L"");

    EXPECT_EQ(logText(),
              "Exception while opening key \"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\"
              "Authentication\\LogonUI\" with ErrorCode 5.\n"
              "Caught std::exception while reading loggedOnUserSID with reason Unknown exception\n");
}

}  // namespace
