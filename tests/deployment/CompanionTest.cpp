#include <algorithm>

#include "stand-in/Launcher.h"
#include "support/MachineTest.h"
#include "support/Programs.h"

namespace {

using standin::RemovalOutcome;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr wchar_t kUser[] = L"S-1-5-21-111-222-333-1001";
constexpr wchar_t kOtherUser[] = L"S-1-5-21-111-222-333-1002";

// Runs the product's companion on a machine with the packages A, B and C.
class CompanionTest : public ::testing::Test {
protected:
    CompanionTest() {
        state.tokenUser = kUser;
        for (const wchar_t* const name : {L"A", L"B", L"C"})
            state.packages.push_back(packageNamed(name));
    }

    static standin::InstalledPackage packageNamed(const std::wstring& name) {
        standin::InstalledPackage package;
        package.name = name;
        package.fullName = name;
        package.users = {kUser, kOtherUser};
        return package;
    }

    DWORD run(const std::wstring& arguments, const std::string& faults = "") {
        standin::Launch launch;
        launch.program = programBeside(L"LSDKConfiguratorHelper.exe");
        launch.commandTail = arguments;
        launch.machineFile = scratch / L"machine.json";
        launch.traceFile = scratch / L"trace.jsonl";
        launch.workingFolder = scratch.path();
        launch.faults = faults;
        standin::writeMachine(launch.machineFile, state);
        const standin::LaunchResult result = standin::launch(launch);
        state = standin::readMachine(launch.machineFile);
        calls = standin::readTrace(launch.traceFile);

        EXPECT_TRUE(result.endedNormally);
        EXPECT_THAT(result.leaks, IsEmpty());
        EXPECT_THAT(result.doubleReleases, IsEmpty());
        EXPECT_THAT(result.misuse, IsEmpty());
        EXPECT_THAT(result.unfiredFaults, IsEmpty());
        return result.exitCode;
    }

    std::vector<std::string> linesOf(std::string_view name) const {
        std::vector<std::string> lines;
        for (const standin::Call& call : calls) {
            if (call.name == name) lines.push_back(call.text());
        }
        return lines;
    }

    // Packages that the user still has.
    std::vector<std::wstring> left() const {
        std::vector<std::wstring> names;
        for (const standin::InstalledPackage& package : state.packages) {
            if (std::find(package.users.begin(), package.users.end(), kUser) != package.users.end())
                names.push_back(package.fullName);
        }
        return names;
    }

    ScratchFolder scratch;
    standin::MachineState state;
    std::vector<standin::Call> calls;
};

TEST_F(CompanionTest, EndsWithZeroWhenAllPackagesAreGone) {
    EXPECT_EQ(run(L"A B C"), 0U);

    EXPECT_THAT(left(), IsEmpty());
}

TEST_F(CompanionTest, RemovesWhatItIsGivenAndForItsUserAlone) {
    EXPECT_EQ(run(L"B"), 0U);

    EXPECT_THAT(left(), ElementsAre(L"A", L"C"));
    EXPECT_THAT(state.packages[1].users, ElementsAre(kOtherUser));
    EXPECT_THAT(
        linesOf("IPackageManager2::RemovePackageWithOptionsAsync"),
        ElementsAre(
            "IPackageManager2::RemovePackageWithOptionsAsync(PackageManager#1, \"B\", 0x0) = 0"));
}

TEST_F(CompanionTest, WithoutArgumentsNothingIsDone) {
    EXPECT_EQ(run(L""), 0U);

    EXPECT_THAT(left(), ElementsAre(L"A", L"B", L"C"));
    EXPECT_THAT(linesOf("RoGetActivationFactory"), IsEmpty());
}

TEST_F(CompanionTest, GoesOnAfterEachKindOfFailureAndCountsIt) {
    const struct {
        const char* name;
        RemovalOutcome::Kind kind;
        bool staysInstalled;
    } rows[] = {
        {"refused", RemovalOutcome::Kind::Refused, true},
        {"failed", RemovalOutcome::Kind::Failed, true},
        {"cancelled", RemovalOutcome::Kind::Canceled, true},
        {"error in the result", RemovalOutcome::Kind::DoneWithError, true},
        {"results lost", RemovalOutcome::Kind::ResultsLost, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        state.packages = {packageNamed(L"A"), packageNamed(L"B"), packageNamed(L"C")};
        state.packages[1].removal = {row.kind, static_cast<int32_t>(0x80070005), L"", false};

        EXPECT_EQ(run(L"A B C"), 1U);

        const std::vector<std::wstring> expected(row.staysInstalled ? 1 : 0, L"B");
        EXPECT_EQ(left(), expected);
    }
}

TEST_F(CompanionTest, CountsEachFailure) {
    for (const size_t i : {size_t{0}, size_t{2}})
        state.packages[i].removal = {RemovalOutcome::Kind::Failed, static_cast<int32_t>(0x80073CFA),
                                     L"", true};

    EXPECT_EQ(run(L"A B C"), 2U);

    EXPECT_THAT(left(), ElementsAre(L"A", L"C"));
}

TEST_F(CompanionTest, APackageThatTheUserDoesNotHaveIsGone) {
    state.packages[1].users = {kOtherUser};

    EXPECT_EQ(run(L"B unknown"), 0U);

    EXPECT_THAT(state.packages[1].users, ElementsAre(kOtherUser));
}

TEST_F(CompanionTest, NamesWithBlanksArriveWhole) {
    state.packages.push_back(packageNamed(L"a name with blanks"));
    state.packages.push_back(packageNamed(L"name"));

    EXPECT_EQ(run(L"\"a name with blanks\""), 0U);

    EXPECT_THAT(left(), ElementsAre(L"A", L"B", L"C", L"name"));
}

TEST_F(CompanionTest, NamesWithoutQuotesFallApart) {
    state.packages.push_back(packageNamed(L"x name"));

    EXPECT_EQ(run(L"x name"), 0U);

    EXPECT_THAT(
        linesOf("IPackageManager2::RemovePackageWithOptionsAsync"),
        ElementsAre(
            "IPackageManager2::RemovePackageWithOptionsAsync(PackageManager#1, \"x\", 0x0) = 0",
            "IPackageManager2::RemovePackageWithOptionsAsync(PackageManager#2, \"name\", 0x0) = 0"));
    EXPECT_THAT(left(), ElementsAre(L"A", L"B", L"C", L"x name"));
}

TEST_F(CompanionTest, NamesOutsideAsciiArriveWhole) {
    const std::wstring name = L"Pak\u00E9t_\u4E2D\U0001F600";
    state.packages.push_back(packageNamed(name));

    EXPECT_EQ(run(name), 0U);

    EXPECT_THAT(left(), ElementsAre(L"A", L"B", L"C"));
}

TEST_F(CompanionTest, AnEmptyNameIsAFailure) {
    EXPECT_EQ(run(L"\"\" A"), 1U);

    EXPECT_THAT(left(), ElementsAre(L"B", L"C"));
}

TEST_F(CompanionTest, WithoutAPackageManagerEveryPackageFails) {
    EXPECT_EQ(run(L"A B C", "RoGetActivationFactory:1+=0x80040154"), 3U);

    EXPECT_THAT(left(), ElementsAre(L"A", L"B", L"C"));
}

TEST_F(CompanionTest, EveryCallThatFailsForOnePackageCountsOnce) {
    for (const char* const call :
         {"RoGetActivationFactory", "IActivationFactory::ActivateInstance",
          "PackageManager::QueryInterface", "WindowsDuplicateString",
          "IPackageManager2::RemovePackageWithOptionsAsync",
          "IAsyncOperationWithProgress::put_Completed", "IAsyncOperationWithProgress::GetResults",
          "IDeploymentResult::get_ExtendedErrorCode"}) {
        SCOPED_TRACE(call);
        state.packages = {packageNamed(L"A"), packageNamed(L"B"), packageNamed(L"C")};

        EXPECT_EQ(run(L"A B C", std::string(call) + ":1=0x8007000E"), 1U);

        EXPECT_THAT(left(), ::testing::AnyOf(IsEmpty(), ElementsAre(L"A")));
    }
}

TEST_F(CompanionTest, EntersTheMultiThreadedApartmentAndLeavesIt) {
    run(L"A");

    EXPECT_THAT(linesOf("CoInitializeEx"), ElementsAre("CoInitializeEx(null, 0x0) = 0"));
    EXPECT_THAT(linesOf("CoUninitialize"), ElementsAre("CoUninitialize() = void"));
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls.back().name, "CoUninitialize");
}

TEST_F(CompanionTest, WritesNothing) {
    state.packages[1].removal.kind = RemovalOutcome::Kind::Refused;
    state.packages[1].removal.error = static_cast<int32_t>(0x80070005);

    run(L"A B C");

    for (const char* const call : {"CreateFileW", "WriteFile", "_wfopen", "_write",
                                   "RegCreateKeyExW", "RegSetValueExW", "CreateDirectoryW"}) {
        EXPECT_THAT(linesOf(call), IsEmpty());
    }
    EXPECT_EQ(listTree(scratch.path()).size(), 2U);  // the machine and the trace
}

}  // namespace
