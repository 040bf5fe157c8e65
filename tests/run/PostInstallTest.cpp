#include <algorithm>

#include "run/ConfiguratorRun.h"
#include "stand-in/Text.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

static_assert(WinBuiltinUsersSid == 27);
static_assert(WinLocalSystemSid == 22);

constexpr int kAppData = 0x1A;
constexpr int kCommonFiles = 0x2B;

const std::vector<std::string> kAllSteps = {"package lookup", "debug runtime", "users SID",
                                            "system SID",     "files",         "container folders",
                                            "loopback",       "common files",  "user folders",
                                            "plug-ins",       "crash dumps"};

// The last stage of a whole run: its steps in order, and which failures end it.
class PostInstall : public ConfiguratorRun {
protected:
    // The steps of this stage that the run came to.
    std::vector<std::string> stageSteps() const {
        auto all = steps();
        all.erase(all.begin(), std::find(all.begin(), all.end(), "package lookup"));
        all.erase(std::find(all.begin(), all.end(), "end of COM"), all.end());
        return all;
    }
    // All steps up to this one.
    static std::vector<std::string> stepsUpTo(const std::string& last) {
        return {kAllSteps.begin(), std::find(kAllSteps.begin(), kAllSteps.end(), last) + 1};
    }
    static std::vector<std::string> stepsWithout(const std::string& left) {
        auto steps = kAllSteps;
        steps.erase(std::find(steps.begin(), steps.end(), left));
        return steps;
    }

    std::vector<std::string> hardenedFiles() const {
        std::vector<std::string> names;
        const std::string begin = "fullpath is " + standin::toUtf8(scratch / L"Package");
        const std::string text = log();
        for (size_t at = text.find(begin); at != std::string::npos; at = text.find(begin, at + 1)) {
            const size_t name = at + begin.size();
            names.push_back(text.substr(name, text.find('\n', name) - name));
        }
        return names;
    }
    standin::FileSecurity securityOf(const wchar_t* file) const {
        return standin::securityOf(machine.state.fileSecurity, scratch / file);
    }
    bool hasCrashDumpKey() const { return registry.hasKey(HKEY_LOCAL_MACHINE, kCrashDumpKey); }
};

TEST_F(PostInstall, StepsFollowEachOtherAndDecideTheExitCode) {
    EXPECT_EQ(runTypically(), 0);

    EXPECT_EQ(stageSteps(), kAllSteps);
    EXPECT_TRUE(hasCrashDumpKey());
}

TEST_F(PostInstall, APackageThatIsNotFoundEndsTheRun) {
    machine.state.packages.front().version.major = 41;

    EXPECT_EQ(runTypically(), -1);

    EXPECT_THAT(log(), EndsWith("\nCouldn't find package install path\n"));
    EXPECT_EQ(stageSteps(), stepsUpTo("package lookup"));
}

TEST_F(PostInstall, AFailedLookupEndsTheRunWithItsOwnLineBefore) {
    machine.failNext("IPackageManager::FindPackagesByNamePublisher", 0x80070005);

    EXPECT_EQ(runTypically(), -1);

    EXPECT_THAT(log(), EndsWith("\nFindPackages failed because access was denied.\n"
                                "Couldn't find package install path\n"));
}

TEST_F(PostInstall, SixFilesAreHardenedInOrder) {
    runTypically();

    EXPECT_THAT(hardenedFiles(), ElementsAre("\\LumoraSDKAppServiceClient.exe", "\\TraceRelay2.exe",
                                             "\\LogSession.dll", "\\FerroxMessage5.dll",
                                             "\\VeltaPIP.dll", "\\FerroxControl.dll"));
}

TEST_F(PostInstall, DebugRuntimeIsLookedForInTheInstallFolder) {
    runTypically();

    const std::string folder = standin::toUtf8(scratch / L"Package");
    EXPECT_THAT(machine.calls({"WindowsConcatString"}),
                ElementsAre("WindowsConcatString(\"" + folder + "\", \"\\ucrtbased.dll\", \"" +
                            folder + "\\ucrtbased.dll\") = 0"));
    EXPECT_THAT(machine.calls(),
                Contains(HasSubstr("PathFileExistsW(\"" + folder + "\\ucrtbased.dll\") = 0")));
}

TEST_F(PostInstall, DebugRuntimeIsHardenedLastAndGetsTheMediumLabel) {
    writeFile(scratch / L"Package\\ucrtbased.dll", "runtime");

    EXPECT_EQ(runTypically(), 0);

    const auto files = hardenedFiles();
    ASSERT_EQ(files.size(), 7U);
    EXPECT_EQ(files.back(), "\\ucrtbased.dll");
    const auto label = securityOf(L"Package\\ucrtbased.dll").label;
    ASSERT_TRUE(label.has_value());
    EXPECT_EQ(label->sid, L"S-1-16-8192");
    EXPECT_FALSE(securityOf(L"Package\\LumoraSDKAppServiceClient.exe").label.has_value());
}

TEST_F(PostInstall, FilesGetTheAccountTheUsersAndTheSystem) {
    runTypically();

    const standin::FileSecurity security = securityOf(L"Package\\VeltaPIP.dll");
    EXPECT_EQ(security.owner, L"S-1-5-18");
    ASSERT_TRUE(security.accessList.has_value());
    EXPECT_THAT(*security.accessList, Contains(standin::AccessEntry{0, 0, 0xFFFFFFFF, kUserSid}));
    EXPECT_THAT(*security.accessList,
                Contains(standin::AccessEntry{0, 0, 0xA0000000, L"S-1-5-32-545"}));
}

TEST_F(PostInstall, AFileThatCannotBeHardenedEndsTheRunBeforeEverythingElse) {
    removeTree(scratch / L"Package\\FerroxControl.dll");

    EXPECT_EQ(runTypically(), -1);

    EXPECT_THAT(log(), EndsWith("\\FerroxControl.dll\nCould not set owner. Error: 2.\n"));
    EXPECT_EQ(stageSteps(), stepsUpTo("files"));
    EXPECT_FALSE(exists(scratch / L"Roaming\\Velta"));
    EXPECT_FALSE(hasCrashDumpKey());
}

TEST_F(PostInstall, AContainerFolderThatIsNotReadyEndsTheRun) {
    machine.state.folders[kAppData].error = E_FAIL;

    EXPECT_EQ(runTypically(), -1);

    EXPECT_THAT(log(), EndsWith("\nUnable to locate Roaming AppData directory (CSIDL_APPDATA) \n"));
    EXPECT_THAT(stageSteps(), Not(Contains("loopback")));
    EXPECT_FALSE(hasCrashDumpKey());
}

TEST_F(PostInstall, AFailedLoopbackExemptionIsLoggedAndTheRunCanEndWith0) {
    machine.state.network->missingFunctions = {"NetworkIsolationEnumAppContainers"};

    EXPECT_EQ(runTypically(), 0);

    EXPECT_THAT(log(), HasSubstr("[]Enabling the localhost has failed, but we don't want to fail "
                                 "the install process\n"));
    EXPECT_EQ(stageSteps(), kAllSteps);
}

TEST_F(PostInstall, LoopbackIsAskedForTheFamilyName) {
    runTypically();

    EXPECT_THAT(machine.state.network->exempt,
                ElementsAre(standin::ExemptSid{L"S-1-15-2-1-2-3-4-5-6-7"}));
    EXPECT_THAT(log(), Not(HasSubstr("Enabling the localhost has failed")));
}

TEST_F(PostInstall, CommonFilesGetTheMakersFolderAndInItThatOfThePlugIns) {
    runTypically();

    EXPECT_TRUE(exists(scratch / L"Common\\Velta\\RXP"));
}

TEST_F(PostInstall, AFailureInTheCommonFilesIsLoggedAndTheRunCanEndWith0) {
    machine.state.folders[kCommonFiles].path = scratch / L"no such folder";

    EXPECT_EQ(runTypically(), 0);

    EXPECT_THAT(log(), HasSubstr("\nGrant permission for Program Files\\Common Files\\Velta\\RXP "
                                 "failed. GetLastError returned: "));
    EXPECT_EQ(stageSteps(), kAllSteps);
}

TEST_F(PostInstall, ErrorOfTheCommonFilesIsTheOneLeftBehindTheStep) {
    machine.state.folders[kCommonFiles].path = scratch / L"no such folder";
    machine.onCall("_write", [] { ::SetLastError(4711); });
    machine.onCall("GetSystemTimeAsFileTime", [] { ::SetLastError(ERROR_INVALID_HANDLE); });

    runTypically();

    EXPECT_THAT(log(), HasSubstr("\nGrant permission for Program Files\\Common Files\\Velta\\RXP "
                                 "failed. GetLastError returned: 4711\n"));
}

TEST_F(PostInstall, WithoutTheUsersFoldersThePlugInsAreSkippedSilently) {
    writeFile(scratch / L"Roaming\\Velta\\RXP", "in the way");

    EXPECT_EQ(runTypically(), 0);

    EXPECT_EQ(stageSteps(), stepsWithout("plug-ins"));
    EXPECT_THAT(log(), HasSubstr("\nGrant permission for RXP failed. GetLastError returned:"));
    EXPECT_TRUE(hasCrashDumpKey());
}

TEST_F(PostInstall, FailedCrashDumpRegistrationFailsTheRun) {
    registry.makeKey(HKEY_LOCAL_MACHINE, kCrashDumpKey);
    registry.restrictAccess(HKEY_LOCAL_MACHINE, kCrashDumpKey);

    EXPECT_EQ(runTypically(), -1);

    EXPECT_THAT(log(),
                EndsWith("\nSetting registry values for UWPCR failed with: Unknown exception\n"));
    EXPECT_EQ(stageSteps(), kAllSteps);
}

TEST_F(PostInstall, CrashDumpsAreRegisteredWhateverFailedBefore) {
    machine.state.network->missingFunctions = {"NetworkIsolationEnumAppContainers"};
    machine.state.folders[kCommonFiles].path = scratch / L"no such folder";
    writeFile(scratch / L"Roaming\\Velta\\RXP", "in the way");

    EXPECT_EQ(runTypically(), 0);

    EXPECT_TRUE(hasCrashDumpKey());
}

}  // namespace
