#include "end_to_end/RunTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr char kPreferences[] = "{\"theme\":\"dark\"}";

// Machines that somebody with an ordinary account has prepared before the elevated run. What the
// program then does is accepted, not wished for: docs/security.md has the reasons.
class HostileMachineTest : public RunTest {
protected:
    HostileMachineTest() {
        makeTypicalWorld(world);
        writeFile(foreign, "foreign");
    }

    // Beneath Wine, deleting a link to a file deletes what it points to and leaves the link.
    void TearDown() override {
        if (!m_link.empty()) runUnix("rm '" + m_link + "'");
    }

    // Puts another name of the foreign file in that place: a link, or with "ln" a hard link.
    void linkForeignTo(const std::wstring& place, const std::string& command = "ln -s") {
        m_link = unixPath(place);
        runUnix(command + " '" + unixPath(foreign) + "' '" + m_link + "'");
    }
    std::wstring newLocalState() const { return world.newPackage(kAnna) + L"\\LocalState"; }
    std::wstring pluginStatus() const {
        return world.roaming(kAnna) +
               L"\\Velta\\RXP\\Plugins\\External\\.pluginsMigrationStatus.json";
    }
    std::wstring companion() const { return world.installer() + L"\\LSDKConfiguratorHelper.exe"; }
    // Any program will do: a configurator that is started as companion finds its arguments wrong,
    // and leaves its own log where it lies.
    void plantCompanionInTheWorkingFolder() {
        writeFile(world.path(L"LSDKConfiguratorHelper.exe"),
                  readFile(world.installer() + L"\\LSDKConfigurator.exe"));
    }
    bool plantedCompanionRan() const { return exists(world.path(L"lsdkConfiguratorLog.txt")); }

    const std::wstring foreign = world.path(L"foreign.txt");  // not the user's

private:
    std::string m_link;
};

TEST_F(HostileMachineTest, AListedFileThatIsALinkIsWrittenWhereItPoints) {
    linkForeignTo(newLocalState() + L"\\preferences.json");

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(readFile(foreign), kPreferences);
}

TEST_F(HostileMachineTest, AListedFileThatIsAHardLinkIsWrittenUnderItsOtherNameToo) {
    linkForeignTo(newLocalState() + L"\\preferences.json", "ln");

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(readFile(foreign), kPreferences);
}

TEST_F(HostileMachineTest, AStatusFileThatIsALinkIsNotWrittenAndKeepsItsUserFromBeingMigrated) {
    linkForeignTo(newLocalState() + L"\\mig_status.json");

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(readFile(foreign), "foreign");
    EXPECT_FALSE(exists(newLocalState() + L"\\preferences.json"));
    EXPECT_EQ(world.state.packages.size(), 1u);  // the older package goes all the same
}

TEST_F(HostileMachineTest, APlugInStatusFileThatIsALinkIsWrittenWhereItPoints) {
    removeTree(pluginStatus());
    linkForeignTo(pluginStatus());

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_THAT(readFile(foreign), ::testing::StartsWith("{\"ZRKL\":{\"appVersion\":\"40.1.0.0\""));
}

TEST_F(HostileMachineTest, ALogThatIsALinkIsAddedToWhereItPoints) {
    linkForeignTo(logFile());

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_THAT(readFile(foreign), ::testing::StartsWith("foreign["));
    EXPECT_THAT(lastLog(), HasSubstr("rootKey at: "));
}

TEST_F(HostileMachineTest, AHiveThatNamesAnotherUsersFolderHasThatUserMigratedOnceAndForAll) {
    world.addOldPackageData(kBjorn);
    registry.setText(
        HKEY_USERS,
        kAnna.sid + L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders",
        L"Local AppData", world.localAppData(kBjorn));

    const standin::LaunchResult ofAnna = run(kTypicalArguments);
    world.setLoggedOn(kBjorn.sid);
    const standin::LaunchResult ofBjorn = run(kTypicalArguments);

    EXPECT_EQ(ofAnna.exitCode, 0u);
    EXPECT_EQ(ofBjorn.exitCode, 0u);
    EXPECT_EQ(readFile(world.newPackage(kBjorn) + L"\\LocalState\\preferences.json"), kPreferences);
    EXPECT_FALSE(exists(newLocalState() + L"\\preferences.json"));
    EXPECT_THAT(
        lastLog(),
        HasSubstr("Migration status file '{bj\xC3\xB6rn new}\\LocalState\\mig_status.json' exists."));
}

TEST_F(HostileMachineTest, AValueWithALineBreakForgesALineOfTheLogAndNothingElse) {
    registry.setText(
        HKEY_USERS,
        kAnna.sid +
            L"\\SOFTWARE\\Classes\\Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\SystemAppData\\Velta.LC.QK_qzw4mhtrvb2ne\\PersistedStorageItemTable\\ManagedByApp\\{7C1F0B6E-0001}",
        L"Metadata", L"Velta.LC.QK_qzw4mhtrvb2ne\n[Sat Nov 21 02:06:27 2026] All is well.");

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(world.state.packages.size(), 1u);
    EXPECT_THAT(log(), HasSubstr("New value: Velta.QK_kt83f9rd2xj6a\n"
                                 "All is well.\n"));
}

TEST_F(HostileMachineTest, ACompanionBesideTheExecutableStandsBeforeOneInTheWorkingFolder) {
    plantCompanionInTheWorkingFolder();

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_FALSE(plantedCompanionRan());
    EXPECT_EQ(world.state.packages.size(), 1u);
}

TEST_F(HostileMachineTest, ACompanionInTheWorkingFolderIsStartedWhereNoneLiesBesideTheExecutable) {
    plantCompanionInTheWorkingFolder();
    removeTree(companion());

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_TRUE(plantedCompanionRan());
    EXPECT_EQ(world.state.packages.size(), 2u);
    EXPECT_THAT(log(), HasSubstr("Exit code of helper process 4294967295\n"));
}

TEST_F(HostileMachineTest, TwoLibrariesAndNoOtherAreLoadedByName) {
    run(kTypicalArguments);

    std::vector<std::string> names;
    for (const standin::Call& call : trace()) {
        if (call.name == "LoadLibraryW") names.push_back(call.arguments.at(0));
    }
    EXPECT_THAT(names, ElementsAre("\"Advapi32.dll\"", "\"Firewallapi.dll\""));
}

TEST_F(HostileMachineTest, ABadPlugInStatusFileEndsEveryRunBehindMigrationAndRemoval) {
    removeTree(pluginStatus());
    writeFile(pluginStatus(), "\xFF");

    const standin::LaunchResult first = run(kTypicalArguments);
    const standin::LaunchResult second = run(kTypicalArguments);

    for (const standin::LaunchResult& result : {first, second}) {
        EXPECT_EQ(result.exitCode, 0xC0000409u);
        EXPECT_FALSE(result.endedNormally);
    }
    EXPECT_EQ(readFile(newLocalState() + L"\\preferences.json"), kPreferences);
    EXPECT_EQ(world.state.packages.size(), 1u);
    EXPECT_EQ(readFile(newLocalState() + L"\\plugins\\Ruler\\main.js"), "ruler");
    EXPECT_EQ(readFile(pluginStatus()), "\xFF");
    EXPECT_FALSE(registry.hasKey(
        HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\Windows Error Reporting\\LocalDumps"));
}

}  // namespace
