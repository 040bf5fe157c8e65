#include "FileHardeningFixture.h"

namespace {

using standin::AccessList;

// The steps of one file, as far as it has come.
struct State {
    bool isOwned = false;
    bool isGrantedToUser = false;
    bool isGrantedToUsers = false;
    bool isLabelled = false;
};

struct Failure {
    const char* name;
    const char* call;  // fails for the second file
    size_t count;
    DWORD error;
    std::string lines;
    State reached;
    size_t lostDescriptors;
};

void PrintTo(const Failure& failure, std::ostream* stream) {
    *stream << failure.name;
}

class FileHardeningFailure : public FileHardeningTest,
                             public ::testing::WithParamInterface<Failure> {};

TEST_P(FileHardeningFailure, LeavesTheFileAsFarAsItHasComeAndLaterFilesUntouched) {
    machine.failNth(GetParam().call, GetParam().count, GetParam().error);

    EXPECT_FALSE(harden());

    EXPECT_EQ(logText(), fullPathLine(kAppServiceClient) + fullPathLine(kSecond) + GetParam().lines);
    standin::FileSecurity expected = packageSecurity();
    const State& reached = GetParam().reached;
    AccessList& list = *expected.accessList;
    if (reached.isOwned) expected.owner = kUserSid;
    if (reached.isGrantedToUser) list.insert(list.begin(), {kAllow, 0, 0xFFFFFFFF, kUserSid});
    if (reached.isGrantedToUsers) list.insert(list.begin(), {kAllow, 0, 0xA0000000, kUsersSid});
    if (reached.isLabelled) expected.label = hardened(true).label;
    EXPECT_EQ(security(pathOf(kAppServiceClient)), hardened(false));
    EXPECT_EQ(security(pathOf(kSecond)), expected);
    EXPECT_EQ(security(pathOf(kThird)), packageSecurity());
    expectLostDescriptors(GetParam().lostDescriptors);
}

const State kOwned = {.isOwned = true};
const State kGrantedToUser = {.isOwned = true, .isGrantedToUser = true};
const State kGranted = {.isOwned = true, .isGrantedToUser = true, .isGrantedToUsers = true};
const State kLabelled = {true, true, true, true};

const Failure kFailures[] = {
    {"Owner", "SetNamedSecurityInfoW", 5, 1307, "Could not set owner. Error: 1307.\n", {}, 2},
    {"FirstGrantReadsNoList", "GetNamedSecurityInfoW", 3, 5,
     "GetNamedSecurityInfo Error 5\nFailed to add all permissions to admin user. Error: 5.\n",
     kOwned, 2},
    {"FirstGrantMergesNothing", "SetEntriesInAclW", 3, 1336,
     "SetEntriesInAcl Error 1336\nFailed to add all permissions to admin user. Error: 1336.\n",
     kOwned, 3},
    {"FirstGrantWritesNothing", "SetNamedSecurityInfoW", 6, 19,
     "SetNamedSecurityInfo Error 19\nFailed to add all permissions to admin user. Error: 19.\n",
     kOwned, 3},
    {"SecondGrantReadsNoList", "GetNamedSecurityInfoW", 4, 5,
     "GetNamedSecurityInfo Error 5\nFailed to add read and execute permission to all users. Error: 5.\n",
     kGrantedToUser, 3},
    {"SecondGrantMergesNothing", "SetEntriesInAclW", 4, 8,
     "SetEntriesInAcl Error 8\nFailed to add read and execute permission to all users. Error: 8.\n",
     kGrantedToUser, 4},
    {"SecondGrantWritesNothing", "SetNamedSecurityInfoW", 7, 32,
     "SetNamedSecurityInfo Error 32\nFailed to add read and execute permission to all users. Error: 32.\n",
     kGrantedToUser, 4},
    {"LabelTextIsNotConverted", "ConvertStringSecurityDescriptorToSecurityDescriptorW", 1, 1705,
     "ConvertStringSecurityDescriptorToSecurityDescriptor failed. GetLastError returned: 1705\n"
     "SetMediumIntegrityLabelToFile failed to set integrity level. Error: 0.\n",
     kGranted, 4},
    {"LabelIsNotWritten", "SetNamedSecurityInfoW", 8, 1299,
     "SetNamedSecurityInfo with SECURITY_INFORMATION type LABEL_SECURITY_INFORMATION failed. Error: 1299.\n"
     "SetMediumIntegrityLabelToFile failed to set integrity level. Error: 0.\n",
     kGranted, 4},
    {"LastOwner", "SetNamedSecurityInfoW", 9, 5,
     std::string(kLabelDone) + "Could not set owner to system. Error: 5.\n", kLabelled, 4},
};

INSTANTIATE_TEST_SUITE_P(Step, FileHardeningFailure, ::testing::ValuesIn(kFailures),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
