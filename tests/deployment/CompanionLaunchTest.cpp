#include "OlderPackagesFixture.h"
#include "stand-in/Launcher.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The de-elevated form with a companion that is really started, on the same machine.
class CompanionLaunchTest : public OlderPackagesFixture {
protected:
    CompanionLaunchTest() {
        makeDeElevated();
        addOlder(1);
        addOlder(2);
        machine.state.desktop->pretended.reset();
        machine.state.desktop->user = kOtherUser;
        standin::writeMachine(machineFile(), machine.state);
        machine.attachFile(machineFile());
    }

    std::wstring machineFile() const { return scratch / L"machine.json"; }

    std::vector<std::string> companionCalls(std::string_view name) const {
        std::vector<std::string> lines;
        for (const standin::Call& call : standin::readTrace(machineFile() + L".companion.jsonl")) {
            if (call.name == name) lines.push_back(call.text());
        }
        return lines;
    }
};

TEST_F(CompanionLaunchTest, RemovesThePackagesForTheUserAtTheDesktop) {
    EXPECT_TRUE(uninstall());

    EXPECT_THAT(logText(), ::testing::EndsWith("Exit code of helper process 0\n"
                                               "Launching Process as DeElevated SUCCESSFUL\n"
                                               "LaunchProcessDeElevated executed successfully.\n"));
    EXPECT_THAT(leftPackages(),
                ElementsAre("Velta.LC.QK_1.0.0.0_x64: 1", "Velta.LC.QK_2.0.0.0_x64: 1"));
    for (const standin::InstalledPackage& package : machine.state.packages)
        EXPECT_THAT(package.users, ElementsAre(kUser));
    EXPECT_THAT(
        companionCalls("IPackageManager2::RemovePackageWithOptionsAsync"),
        ElementsAre(
            "IPackageManager2::RemovePackageWithOptionsAsync(PackageManager#1, \"Velta.LC.QK_1.0.0.0_x64\", 0x0) = 0",
            "IPackageManager2::RemovePackageWithOptionsAsync(PackageManager#2, \"Velta.LC.QK_2.0.0.0_x64\", 0x0) = 0"));
}

TEST_F(CompanionLaunchTest, ItsFailuresAreCountedInTheLogAlone) {
    machine.state.packages[1].removal = {standin::RemovalOutcome::Kind::Failed,
                                         static_cast<int32_t>(kFailure), L"", false};
    machine.changed();

    EXPECT_TRUE(uninstall());

    EXPECT_THAT(logText(), ::testing::HasSubstr("Exit code of helper process 1\n"));
    EXPECT_THAT(leftPackages(),
                ElementsAre("Velta.LC.QK_1.0.0.0_x64: 1", "Velta.LC.QK_2.0.0.0_x64: 2"));
}

}  // namespace
