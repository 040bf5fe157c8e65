#include "end_to_end/RunTest.h"
#include "stand-in/FileSecurity.h"
#include "stand-in/Text.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr wchar_t kStatusFile[] = L"\\LocalState\\mig_status.json";
constexpr wchar_t kEnterpriseArguments[] = L"40.1.0.0 Velta.QK QK.exe ZRKL true";

class WholeRunTest : public RunTest {
protected:
    std::vector<std::wstring> installedPackages() const {
        std::vector<std::wstring> names;
        for (const standin::InstalledPackage& package : world.state.packages)
            names.push_back(package.fullName);
        return names;
    }
    std::wstring rxp() const { return world.roaming(kAnna) + L"\\Velta\\RXP"; }
    std::string pluginStatus() const {
        return readFile(rxp() + L"\\Plugins\\External\\.pluginsMigrationStatus.json");
    }

    // What the old package's tree becomes in the new one.
    static std::map<std::wstring, std::string> carriedOver(std::map<std::wstring, std::string> tree,
                                                           const std::string& status) {
        tree.erase(L"LocalState\\stray.txt");
        tree.erase(L"LocalState\\VCPLocalLogs\\");
        tree.erase(L"LocalState\\VCPLocalLogs\\session.log");
        tree[L"LocalState\\mig_status.json"] = status;
        return tree;
    }
    static std::string statusText(const std::string& isEnterprise) {
        return "{\n"
               "    \"status\":\"success\",\n"
               "    \"isEnterpriseDeployment\":\"" +
               isEnterprise +
               "\",\n"
               "    \"copied\": [\"preferences.json\" ,\"settings.dat\" ,\"drafts\" ,\"empty\" ,\"Skizzen f\xC3\xBCr sp\xC3\xA4ter\" ,\"MRURegistryEntries\" ,\"FALRegistryEntries\"],\n"
               "    \"failed\": []\n"
               "}\n";
    }
};

TEST_F(WholeRunTest, TypicalRunWritesTheLogWordForWord) {
    makeTypicalWorld(world);

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_TRUE(result.endedNormally);
    expectSameLog(withSortedUsers(log()), withSortedUsers(golden("typical.log")));
}

TEST_F(WholeRunTest, TypicalRunCarriesTheUsersDataOverAndLeavesTheOldPackagesDataAsItWas) {
    makeTypicalWorld(world);
    const auto oldTree = listTree(world.oldPackage(kAnna));

    run(kTypicalArguments);

    EXPECT_EQ(readFile(world.newPackage(kAnna) + kStatusFile), statusText("false"));
    expectSameTree(listTree(world.oldPackage(kAnna)), oldTree);
    expectSameTree(listTree(world.newPackage(kAnna)), carriedOver(oldTree, statusText("false")));
    EXPECT_FALSE(exists(world.localAppData(kBjorn) + L"\\Packages\\Velta.QK_kt83f9rd2xj6a"));
}

TEST_F(WholeRunTest, TypicalRunHandsTheOlderPackageToTheCompanionAsTheUserAtTheDesktop) {
    makeTypicalWorld(world);

    run(kTypicalArguments);

    EXPECT_THAT(installedPackages(), ElementsAre(L"Velta.QK_40.1.0.0_x64__kt83f9rd2xj6a"));
}

TEST_F(WholeRunTest, TypicalRunHardensEachFileAndKeepsTheFirstOnesLevel) {
    makeTypicalWorld(world);

    run(kTypicalArguments);

    const standin::AccessList granted = {{0, 0, 0xFFFFFFFF, kAdministratorSid},
                                         {0, 0, 0xA0000000, L"S-1-5-32-545"}};
    for (const wchar_t* file :
         {L"LumoraSDKAppServiceClient.exe", L"TraceRelay2.exe", L"LogSession.dll",
          L"FerroxMessage5.dll", L"VeltaPIP.dll", L"FerroxControl.dll", L"ucrtbased.dll"}) {
        SCOPED_TRACE(standin::toUtf8(file));
        const standin::FileSecurity security = standin::securityOf(
            world.state.fileSecurity, world.installFolder() + L"\\" + file);
        EXPECT_EQ(security.owner, L"S-1-5-18");
        ASSERT_TRUE(security.accessList);
        for (const standin::AccessEntry& entry : granted) {
            EXPECT_THAT(*security.accessList, ::testing::Contains(entry))
                << standin::textOf(security);
        }
        EXPECT_EQ(security.label.has_value(), std::wstring(file) != L"LumoraSDKAppServiceClient.exe");
        if (security.label) {
            EXPECT_EQ(security.label->sid, L"S-1-16-8192");
        }
    }
}

TEST_F(WholeRunTest, TypicalRunAddsTheContainersSidBehindTheOnesThatAreExemptAlready) {
    makeTypicalWorld(world);

    run(kTypicalArguments);

    EXPECT_THAT(world.state.network->exempt,
                ElementsAre(standin::ExemptSid{L"S-1-15-2-9-9-9-9-9-9-9"},
                            standin::ExemptSid{L"S-1-15-2-1-2-3-4-5-6-7"}));
}

TEST_F(WholeRunTest, TypicalRunMovesThePlugInsAndRecordsTheSuccessForAllBuilds) {
    makeTypicalWorld(world);

    run(kTypicalArguments);

    auto tree = listTree(rxp());
    tree.erase(L"Plugins\\External\\.pluginsMigrationStatus.json");
    const std::map<std::wstring, std::string> expected = {
        {L"Plugins\\", ""},
        {L"Plugins\\External\\", ""},
        {L"Plugins\\External\\Ruler\\", ""},
        {L"Plugins\\External\\Ruler\\main.js", "ruler"},
        {L"Plugins\\External\\Ruler\\icons\\", ""},
        {L"Plugins\\External\\Ruler\\icons\\ruler.png", "png"},
        {L"Plugins\\External\\F\u00FCller\\", ""},
        {L"Plugins\\External\\F\u00FCller\\main.js", "ink"},
        {L"PluginsStorage\\", ""},
        {L"PluginsStorage\\ZRKL\\", ""},
        {L"PluginsStorage\\ZRKL\\External\\", ""},
        {L"PluginsStorage\\ZRKL\\External\\Ruler\\", ""},
        {L"PluginsStorage\\ZRKL\\External\\Ruler\\LocalStorage\\", ""},
        {L"PluginsStorage\\ZRKL\\External\\Ruler\\LocalStorage\\data.bin", "local"},
        {L"PluginsStorage\\ZRKL\\External\\Ruler\\PluginData\\", ""},
        {L"PluginsStorage\\ZRKL\\External\\Ruler\\PluginData\\settings.json", "{\"unit\":\"mm\"}"},
        {L"PluginsStorage\\ZRKL\\External\\Ruler\\SecureStorage\\", ""},
        {L"PluginsStorage\\ZRKL\\External\\Ruler\\SecureStorage\\key.bin", "secure"},
    };
    expectSameTree(tree, expected);
    EXPECT_FALSE(exists(world.newPackage(kAnna) + L"\\LocalState\\plugins"));
    EXPECT_FALSE(exists(world.newPackage(kAnna) + L"\\LocalState\\plugin_settings"));
    const std::string moved =
        "{\"appVersion\":\"40.1.0.0\",\"status\":0,\"migrated\":[\"F\xC3\xBCller\",\"Ruler\"],\"failed\":[]}";
    EXPECT_EQ(pluginStatus(), "{\"ZRKLBE\":" + moved + ",\"ZRKL\":" + moved +
                                  ",\"ZRKLDV\":" + moved + ",\"ZRKLPR\":" + moved + "}");
    EXPECT_NE(attributesOf(rxp() + L"\\Plugins\\External\\.pluginsMigrationStatus.json") &
                  FILE_ATTRIBUTE_HIDDEN,
              0u);
}

TEST_F(WholeRunTest, SecondRunMovesNothingAndAddsTheSidAgain) {
    makeTypicalWorld(world);
    run(kTypicalArguments);
    const auto annaBefore = listTree(world.profile(kAnna));

    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0u);
    expectSameLog(withSortedUsers(lastLog()), withSortedUsers(golden("second-run.log")));
    expectSameTree(listTree(world.profile(kAnna)), annaBefore);
    EXPECT_THAT(world.state.network->exempt,
                ElementsAre(standin::ExemptSid{L"S-1-15-2-9-9-9-9-9-9-9"},
                            standin::ExemptSid{L"S-1-15-2-1-2-3-4-5-6-7"},
                            standin::ExemptSid{L"S-1-15-2-1-2-3-4-5-6-7"}));
}

TEST_F(WholeRunTest, EnterpriseRunWritesTheLogWordForWord) {
    makeEnterpriseWorld(world);

    const standin::LaunchResult result = run(kEnterpriseArguments);

    EXPECT_EQ(result.exitCode, 0u);
    expectSameLog(withSortedUsers(log()), withSortedUsers(golden("enterprise.log")));
}

TEST_F(WholeRunTest, EnterpriseRunMovesFolderContentsAndLeavesEmptyShells) {
    makeEnterpriseWorld(world);
    const auto oldTree = listTree(world.oldPackage(kChen));

    run(kEnterpriseArguments);

    for (const WorldUser& user : {kAnna, kBjorn, kChen}) {
        SCOPED_TRACE(standin::toUtf8(user.name));
        expectSameTree(listTree(world.newPackage(user)), carriedOver(oldTree, statusText("true")));
        const std::map<std::wstring, std::string> left = {
            {L"LocalState\\", ""},
            {L"LocalState\\VCPLocalLogs\\", ""},
            {L"LocalState\\VCPLocalLogs\\session.log", "not carried over"},
            {L"LocalState\\drafts\\", ""},
            {L"LocalState\\drafts\\VCPLocalLogs\\", ""},
            {L"LocalState\\drafts\\nested\\", ""},
            {L"LocalState\\drafts\\nested\\deep\\", ""},
            {L"LocalState\\preferences.json", "{\"theme\":\"dark\"}"},
            {L"LocalState\\stray.txt", "stays behind"},
            {L"Settings\\", ""},
            {L"Settings\\settings.dat", std::string("regf\0\1\2", 7)},
        };
        expectSameTree(listTree(world.oldPackage(user)), left);
    }
}

TEST_F(WholeRunTest, EnterpriseRunRemovesTheOlderPackageForEverybody) {
    makeEnterpriseWorld(world);

    run(kEnterpriseArguments);

    EXPECT_THAT(installedPackages(), ElementsAre(L"Velta.QK_40.1.0.0_x64__kt83f9rd2xj6a"));
}

TEST_F(WholeRunTest, SecondEnterpriseRunMovesNothing) {
    makeEnterpriseWorld(world);
    run(kEnterpriseArguments);
    std::map<std::wstring, std::map<std::wstring, std::string>> before;
    for (const WorldUser& user : {kAnna, kBjorn, kChen})
        before[user.sid] = listTree(world.profile(user));

    const standin::LaunchResult result = run(kEnterpriseArguments);

    EXPECT_EQ(result.exitCode, 0u);
    for (const WorldUser& user : {kAnna, kBjorn, kChen}) {
        const std::string name = standin::toUtf8(user.name);
        EXPECT_THAT(lastLog(), HasSubstr("Migration status file '{" + name +
                                         " new}\\LocalState\\mig_status.json' exists. for user sid {" +
                                         name + "} App Data Migration not needed.\n"));
        expectSameTree(listTree(world.profile(user)), before[user.sid]);
    }
    EXPECT_THAT(lastLog(), HasSubstr("App Data Migration not needed for any one.\n"));
}

}  // namespace
