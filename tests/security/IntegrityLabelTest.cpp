#include "FileSecurityFixture.h"
#include "security/AclPrimitives.h"

namespace {

using standin::AccessList;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::StartsWith;

class IntegrityLabelTest : public FileSecurityTest {
protected:
    IntegrityLabelTest() {
        writeFile(file, "program");
        machine.trace.clear();
    }

    bool setLabel() { return SetMediumIntegrityLabelToFile(file.c_str()); }

    const std::wstring file = scratch / L"QK.exe";
};

TEST_F(IntegrityLabelTest, TheMediumLabelAloneIsWritten) {
    EXPECT_TRUE(setLabel());

    EXPECT_THAT(
        machine.calls({"ConvertStringSecurityDescriptorToSecurityDescriptorW",
                       "GetSecurityDescriptorSacl", "SetNamedSecurityInfoW", "LocalFree"}),
        ElementsAre(
            R"t(ConvertStringSecurityDescriptorToSecurityDescriptorW("S:(ML;;NW;;;ME)", 1, memory#1, null) = 1)t",
            "GetSecurityDescriptorSacl(memory#1, 1, out, 0) = 1",
            "SetNamedSecurityInfoW(" + quoted(file) +
                ", 1, 0x10, null, null, null, [label S-1-16-8192 0x1 flags 0x0]) = 0",
            "LocalFree(memory#1) = null"));
    EXPECT_EQ(logText(), "SetMediumIntegrityLabelToFile executed successfully\n");
}

TEST_F(IntegrityLabelTest, OwnerAndListStayAndAnEarlierLabelDoesNot) {
    standin::FileSecurity before = {
        kUserSid, AccessList{{kAllow, 0, GENERIC_ALL, kUserSid}},
        standin::AccessEntry{SYSTEM_MANDATORY_LABEL_ACE_TYPE, 0, 3, L"S-1-16-12288"}};
    setSecurity(file, before);

    EXPECT_TRUE(setLabel());

    before.label = {SYSTEM_MANDATORY_LABEL_ACE_TYPE, 0, 1, L"S-1-16-8192"};
    EXPECT_EQ(security(file), before);
}

TEST_F(IntegrityLabelTest, ATextThatIsNotConvertedEndsIt) {
    machine.failNext("ConvertStringSecurityDescriptorToSecurityDescriptorW", 1705);

    EXPECT_FALSE(setLabel());

    EXPECT_EQ(
        logText(),
        "ConvertStringSecurityDescriptorToSecurityDescriptor failed. GetLastError returned: 1705\n");
    EXPECT_EQ(machine.trace.count("LocalFree"), 0u);
    EXPECT_TRUE(isUntouched(file));
}

TEST_F(IntegrityLabelTest, AFailureToFindTheLabelLogsTheErrorThatTheReleaseLeft) {
    machine.failNext("GetSecurityDescriptorSacl", ERROR_ACCESS_DENIED);
    machine.onCall("LocalFree", [] { ::SetLastError(ERROR_INVALID_HANDLE); });

    EXPECT_FALSE(setLabel());

    EXPECT_EQ(logText(), "GetSecurityDescriptorSacl failed. GetLastError returned: 6\n");
    EXPECT_EQ(machine.trace.count("SetNamedSecurityInfoW"), 0u);
}

TEST_F(IntegrityLabelTest, ADescriptorWithoutASystemListIsReleasedAndEndsIt) {
    const auto convert =
        replaceImport<decltype(&::ConvertStringSecurityDescriptorToSecurityDescriptorW)>(
            "ConvertStringSecurityDescriptorToSecurityDescriptorW",
            [](auto real, LPCWSTR, DWORD revision, PSECURITY_DESCRIPTOR* descriptor,
               PULONG size) -> BOOL { return real(L"O:SY", revision, descriptor, size); });

    EXPECT_FALSE(setLabel());

    EXPECT_EQ(logText(), "GetSecurityDescriptorSacl failed and pSacl is invalid\n");
    // Whether the list that is not there is a default one is not told.
    EXPECT_THAT(machine.calls({"GetSecurityDescriptorSacl", "SetNamedSecurityInfoW", "LocalFree"}),
                ElementsAre(AllOf(StartsWith("GetSecurityDescriptorSacl(memory#1, 0, out, "),
                                  EndsWith(") = 1")),
                            "LocalFree(memory#1) = null"));
}

TEST_F(IntegrityLabelTest, ALabelThatCannotBeWrittenIsLoggedAfterTheRelease) {
    removeTree(file);

    EXPECT_FALSE(setLabel());

    EXPECT_EQ(
        logText(),
        "SetNamedSecurityInfo with SECURITY_INFORMATION type LABEL_SECURITY_INFORMATION failed. Error: 2.\n");
    const std::vector<std::string> ends = machine.calls(
        {"SetNamedSecurityInfoW", "LocalFree", "GetSystemTimeAsFileTime"});
    ASSERT_EQ(ends.size(), 3u);
    EXPECT_EQ(ends[1], "LocalFree(memory#1) = null");
}

}  // namespace
