// The example installer, as a user runs it: msiexec without a window. The configurator that it
// starts runs on a stand-in machine.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "stand-in/Windows.h"

#include <msi.h>

#include <stdexcept>

#include "end_to_end/RunStage.h"
#include "stand-in/PrivateRegistry.h"
#include "stand-in/Text.h"
#include "support/Files.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// What the command ends with. It is `program` of the system's folder.
DWORD runSystemProgram(const std::wstring& program, const std::wstring& arguments) {
    wchar_t folder[MAX_PATH];
    ::GetSystemDirectoryW(folder, MAX_PATH);
    std::wstring commandLine = std::wstring(folder) + L'\\' + program + L' ' + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started = {};
    if (!::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                          &startup, &started)) {
        throw std::runtime_error("the installer does not start");
    }
    ::WaitForSingleObject(started.hProcess, INFINITE);
    DWORD exitCode = 0;
    ::GetExitCodeProcess(started.hProcess, &exitCode);
    ::CloseHandle(started.hThread);
    ::CloseHandle(started.hProcess);
    return exitCode;
}

class InstallerTest : public ::testing::Test, protected RunStage {
protected:
    InstallerTest() {
        makeTypicalWorld(world);
        writeFile(product() + L"\\stand-in.dll", readFile(buildFolder() + L"\\stand-in.dll"));
        std::string step;
        for (const std::wstring& line : {world.installer() + L"\\LSDKConfigurator.exe", m_machineFile,
                                         m_files / L"trace.jsonl", world.path(L"admin")}) {
            step += standin::toUtf8(line) + "\n";
        }
        writeFile(product() + L"\\step.txt", step);
    }
    ~InstallerTest() override {
        if (!m_installed.empty()) msiexec(L"/x", m_installed);
    }

    DWORD msiexec(const std::wstring& verb, const std::wstring& version,
                  const std::wstring& properties = L"") {
        const std::wstring installer = buildFolder() + L"\\installer\\" + version + L".msi";
        return runSystemProgram(L"msiexec.exe", verb + L" \"" + installer + L"\" /qn INSTALLDIR=" +
                                                    product() + L' ' + properties);
    }
    DWORD install(const std::wstring& properties = L"", const std::wstring& version = kVersion) {
        standin::writeMachine(m_machineFile, world.state);
        const DWORD exitCode = msiexec(L"/i", version, properties);
        if (exitCode == 0) m_installed = version;
        world.state = standin::readMachine(m_machineFile);
        return exitCode;
    }
    // What the system knows to be installed of the example's versions, which have this code in common.
    std::vector<std::wstring> installedVersions() {
        standin::unmapRegistry();
        std::vector<std::wstring> versions;
        wchar_t code[39];
        while (::MsiEnumRelatedProductsW(L"{6B1D2C55-3C5E-4B7E-9C0B-0F6A5B1E7D42}", 0,
                                         static_cast<DWORD>(versions.size()), code) == ERROR_SUCCESS) {
            wchar_t version[32] = {};
            DWORD capacity = 32;
            ::MsiGetProductInfoW(code, L"VersionString", version, &capacity);
            versions.emplace_back(version);
        }
        standin::mapRegistry(registry.root());
        return versions;
    }
    std::wstring product() const { return world.path(L"Product"); }
    std::string log() const { return readFile(logFile()); }

    static inline const std::wstring kVersion = L"40.1.0.0";
    static inline const std::wstring kNextVersion = L"40.2.0.0";

private:
    ScratchFolder m_files;
    const std::wstring m_machineFile = m_files / L"machine.json";
    std::wstring m_installed;  // version; empty: none
};

TEST_F(InstallerTest, RunsTheConfiguratorWithItsArgumentsAndSucceedsWithIt) {
    EXPECT_EQ(install(), 0u);

    EXPECT_THAT(log(), HasSubstr("\"40.1.0.0\" \"Velta.QK\" \"QK.exe\" \"ZRKL\" \"false\" "));
    EXPECT_THAT(log(), HasSubstr("isEnterpriseDeployment from arg is:0"));
    EXPECT_EQ(world.state.packages.size(), 1u);
    EXPECT_TRUE(exists(world.newPackage(kAnna) + L"\\LocalState\\mig_status.json"));
    EXPECT_TRUE(exists(product() + L"\\LSDKConfigurator.exe"));
    EXPECT_TRUE(exists(product() + L"\\LSDKConfiguratorHelper.exe"));
}

TEST_F(InstallerTest, HandsOnThatAllUsersAreMeant) {
    EXPECT_EQ(install(L"ENTERPRISE=true"), 0u);

    EXPECT_THAT(log(), HasSubstr("isEnterpriseDeployment from arg is:1"));
}

TEST_F(InstallerTest, ANameWithABlankStaysOneArgument) {
    EXPECT_EQ(install(L"APPEXECUTABLE=\"QK app.exe\""), 0u);

    EXPECT_THAT(log(), HasSubstr("\"Velta.QK\" \"QK app.exe\" \"ZRKL\" \"false\" "));
}

// Any user can start one: it must not choose the moment of a run with all rights.
TEST_F(InstallerTest, ARepairDoesNotRunTheConfigurator) {
    ASSERT_EQ(install(), 0u);
    const std::string before = log();

    EXPECT_EQ(msiexec(L"/i", kVersion, L"REINSTALL=ALL REINSTALLMODE=amus"), 0u);

    EXPECT_EQ(log(), before);
}

TEST_F(InstallerTest, AnUpgradeRunsTheConfiguratorAgainAndReplacesTheVersionBefore) {
    ASSERT_EQ(install(), 0u);
    EXPECT_THAT(installedVersions(), ElementsAre(L"40.1.0"));
    world.state.packages.at(0).version.minor = 2;

    EXPECT_EQ(install(L"", kNextVersion), 0u);

    EXPECT_THAT(log(), HasSubstr("\"40.2.0.0\" \"Velta.QK\" \"QK.exe\" \"ZRKL\" \"false\" "));
    EXPECT_TRUE(exists(product() + L"\\LSDKConfigurator.exe"));
    EXPECT_THAT(installedVersions(), ElementsAre(L"40.2.0"));
}

TEST_F(InstallerTest, FailsWithTheConfiguratorAndTakesItsFilesBackButLeavesTheLog) {
    std::erase_if(world.state.packages,
                  [](const auto& package) { return package.version.major == 40; });

    EXPECT_NE(install(), 0u);

    EXPECT_THAT(log(), HasSubstr("\"40.1.0.0\" \"Velta.QK\" \"QK.exe\" \"ZRKL\" \"false\" "));
    EXPECT_FALSE(exists(product() + L"\\LSDKConfigurator.exe"));
    EXPECT_FALSE(exists(product() + L"\\LSDKConfiguratorHelper.exe"));
}

}  // namespace
