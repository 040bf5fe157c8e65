#include "run/ConfiguratorRun.h"
#include "stand-in/Text.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// The sixth element of the command line. These runs end at the account, behind the flag's line.
class EnterpriseFlag : public ConfiguratorRun {
protected:
    EnterpriseFlag() { machine.failFrom("GetTokenInformation", 1, ERROR_ACCESS_DENIED); }

    void expectFlag(const std::string& flag) {
        EXPECT_THAT(log(), HasSubstr("\nisEnterpriseDeployment from arg is:" + flag + "\n"));
    }
};

TEST_F(EnterpriseFlag, IsFalseForFiveElementsAndNothingIsCompared) {
    runTypically();

    expectFlag("0");
    EXPECT_EQ(machine.trace.count("_wcsicmp"), 0U);
}

TEST_F(EnterpriseFlag, IsComparedWithoutRegardToCase) {
    runTypically(L"tRue");

    EXPECT_THAT(machine.calls({"_wcsicmp"}), ElementsAre(R"(_wcsicmp("tRue", "true") = 0)"));
}

TEST_F(EnterpriseFlag, IsTrueForAnyMixOfUpperAndLowerCase) {
    for (const wchar_t* text : {L"true", L"TRUE", L"True", L"tRue", L"trUE"}) {
        SCOPED_TRACE(testing::PrintToString(text));

        runTypically(text);

        expectFlag("1");
        removeTree(logPath());
        machine.isComSecuritySet = false;
    }
}

TEST_F(EnterpriseFlag, IsFalseForEverythingElse) {
    for (const wchar_t* text : {L"", L"1", L"yes", L"false", L"true ", L" true", L"truee", L"tru",
                                L"\"true\"", L"tr\u00FCe"}) {
        SCOPED_TRACE(testing::PrintToString(text));

        runTypically(text);

        expectFlag("0");
        removeTree(logPath());
        machine.isComSecuritySet = false;
    }
}

TEST_F(EnterpriseFlag, ElementsBehindAreIgnored) {
    run({L"exe", L"40.1.0.0", L"Velta.QK", L"QK.exe", L"ZRKL", L"no", L"true", L"true"});

    EXPECT_THAT(log(), StartsWith("Starting with : \"exe\" \"40.1.0.0\" \"Velta.QK\" \"QK.exe\" "
                                  "\"ZRKL\" \"no\" \"true\" \"true\" \n"));
    expectFlag("0");
}

// The flag where it is used.
class EnterpriseRun : public ConfiguratorRun {
protected:
    EnterpriseRun() {
        addProfile(scratch, registry);
        makeFolder(m_localState);
    }

    std::string migrationStatus() const { return readFile(m_localState + L"\\mig_status.json"); }

private:
    std::wstring m_localState = scratch / (L"anna\\Local\\Packages\\" + std::wstring(kFamilyName) +
                                           L"\\LocalState");
};

TEST_F(EnterpriseRun, FlagReachesTheMigrationTheRemovalAndTheFolders) {
    EXPECT_EQ(runTypically(L"true"), 0);

    EXPECT_THAT(migrationStatus(), HasSubstr("\"isEnterpriseDeployment\":\"true\""));
    EXPECT_EQ(machine.trace.count("IPackageManager::FindPackagesByUserSecurityIdNamePublisher"), 0U);
    EXPECT_EQ(machine.trace.count("IPackageManager::FindPackagesByNamePublisher"), 2U);
    EXPECT_THAT(log(),
                HasSubstr("User profile outFolder for default account = " +
                          standin::toUtf8(scratch / L"anna\\Roaming\\Velta\\MeshSync") + "\n"));
}

TEST_F(EnterpriseRun, WithoutTheFlagTheyServeTheLoggedOnUser) {
    EXPECT_EQ(runTypically(L"1"), 0);

    EXPECT_THAT(migrationStatus(), HasSubstr("\"isEnterpriseDeployment\":\"false\""));
    EXPECT_EQ(machine.trace.count("IPackageManager::FindPackagesByUserSecurityIdNamePublisher"), 1U);
    EXPECT_EQ(machine.trace.count("IPackageManager::FindPackagesByNamePublisher"), 1U);
}

}  // namespace
