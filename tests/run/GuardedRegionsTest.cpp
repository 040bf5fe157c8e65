#include <new>
#include <stdexcept>

#include "platform/PlatformException.h"
#include "platform/StandardExceptions.h"
#include "run/ConfiguratorRun.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr int kProfile = 0x28;

// The steps behind the account in a run whose post-install stage succeeds.
std::vector<std::string> stepsBehindTheAccount(std::initializer_list<const char*> guarded) {
    std::vector<std::string> steps = {"first line", "privileges", "enterprise flag", "account"};
    steps.insert(steps.end(), guarded.begin(), guarded.end());
    steps.insert(steps.end(), {"package lookup", "debug runtime", "users SID", "system SID", "files",
                               "container folders", "loopback", "common files", "user folders",
                               "plug-ins", "crash dumps", "end of COM", "end of the token"});
    return steps;
}

// The migrator and the removal of older packages: what fails there, and where the run goes on.
class GuardedRegions : public ConfiguratorRun {
protected:
    // The first question for the profile folder, which the migrator's constructor asks, throws.
    template <typename Exception>
    auto failInTheConstructor(const Exception& exception) {
        return replaceImport<decltype(&::SHGetFolderPathW)>(
            "SHGetFolderPathW",
            [exception, isFirst = true](auto real, HWND window, int csidl, HANDLE token,
                                        DWORD flags, LPWSTR path) mutable -> HRESULT {
                if (csidl == kProfile && std::exchange(isFirst, false)) throw exception;
                return real(window, csidl, token, flags, path);
            });
    }
    // The question for a user's status file, with which the migration begins, throws.
    template <typename Exception>
    auto failInTheMigration(const Exception& exception) {
        addProfile(scratch, registry);
        return replaceImport<decltype(&::GetFileAttributesW)>(
            "GetFileAttributesW", [exception](auto real, LPCWSTR path) -> DWORD {
                if (std::wstring_view(path).ends_with(L"mig_status.json")) throw exception;
                return real(path);
            });
    }
};

TEST_F(GuardedRegions, AMigratorThatCannotBeMadeSkipsMigrationAndRemovalAndTheRunGoesOn) {
    const auto failure = failInTheConstructor(std::bad_alloc());

    EXPECT_EQ(runTypically(), 0);

    EXPECT_THAT(log(), HasSubstr("\nAppDataMigrator object creation failed with: bad allocation\n"));
    EXPECT_EQ(steps(), stepsBehindTheAccount({"migrator"}));
}

TEST_F(GuardedRegions, AMigratorThatCannotBeMadeDoesNotDecideTheExitCode) {
    const auto failure = failInTheConstructor(std::length_error("string too long"));
    machine.state.packages.clear();

    EXPECT_EQ(runTypically(), -1);

    EXPECT_THAT(log(), HasSubstr("\nAppDataMigrator object creation failed with: string too long\n"));
    EXPECT_THAT(log(), HasSubstr("\nCouldn't find package install path\n"));
}

TEST_F(GuardedRegions, AFailedMigrationIsLoggedAndOlderPackagesAreRemoved) {
    addProfile(scratch, registry);
    writeFile(scratch / (L"anna\\Local\\Packages\\" + std::wstring(kFamilyName)), "in the way");

    EXPECT_EQ(runTypically(), 0);

    EXPECT_THAT(log(), HasSubstr("\nApp Data Migration: FAILED\n"));
    EXPECT_EQ(steps(), stepsBehindTheAccount({"migrator", "migration", "older packages"}));
}

TEST_F(GuardedRegions, AMigrationThatThrowsIsLoggedAndOlderPackagesAreRemoved) {
    const auto failure = failInTheMigration(UnknownException());

    EXPECT_EQ(runTypically(), 0);

    EXPECT_THAT(log(), HasSubstr("\nApp Data Migration failed with: Unknown exception\n"));
    EXPECT_THAT(log(), Not(HasSubstr("App Data Migration: FAILED")));
    EXPECT_EQ(steps(), stepsBehindTheAccount({"migrator", "older packages"}));
}

TEST_F(GuardedRegions, AFailedRemovalIsLoggedAndTheRunGoesOn) {
    machine.failNext("IPackageManager::FindPackagesByUserSecurityIdNamePublisher", 0x80070005);

    EXPECT_EQ(runTypically(), 0);

    EXPECT_THAT(log(), HasSubstr("\nFindPackagesForUser failed because access was denied.\n"
                                 "Uninstallation of older package failed.\n"));
    EXPECT_EQ(steps(), stepsBehindTheAccount({"migrator", "migration", "older packages"}));
}

TEST_F(GuardedRegions, ARemovalThatThrowsIsLoggedAndTheRunGoesOn) {
    machine.state.packages.front().name = L"QK";  // shorter than the maker's name

    EXPECT_EQ(run({L"exe", L"40.1.0.0", L"QK", L"QK.exe", L"ZRKL"}), 0);

    EXPECT_THAT(log(),
                HasSubstr("\nuninstallOlderPackageApp failed with: invalid string position\n"));
    EXPECT_THAT(log(), Not(HasSubstr("Uninstallation of older package failed.")));
    EXPECT_EQ(steps(), stepsBehindTheAccount({"migrator", "migration"}));
}

TEST_F(GuardedRegions, FailuresOfBothAreBothLogged) {
    addProfile(scratch, registry);
    writeFile(scratch / (L"anna\\Local\\Packages\\" + std::wstring(kFamilyName)), "in the way");
    machine.failNext("IPackageManager::FindPackagesByUserSecurityIdNamePublisher", 0x80070005);

    EXPECT_EQ(runTypically(), 0);

    EXPECT_THAT(log(), HasSubstr("\nApp Data Migration: FAILED\n"));
    EXPECT_THAT(log(), HasSubstr("\nUninstallation of older package failed.\n"));
}

TEST_F(GuardedRegions, RemovalIsAskedForThePackageNameOfTheCommandLine) {
    runTypically();

    EXPECT_THAT(machine.calls({"IPackageManager::FindPackagesByUserSecurityIdNamePublisher"}),
                ElementsAre(HasSubstr("\"Velta.LC.QK\"")));
}

TEST_F(GuardedRegions, APlatformExceptionPassesThroughAllOfThem) {
    const auto failure = failInTheMigration(Platform::FailureException(E_FAIL, {}));

    EXPECT_THROW(runTypically(), Platform::FailureException);

    EXPECT_THAT(log(), Not(HasSubstr("failed with: ")));
    EXPECT_THAT(steps(), ElementsAre("first line", "privileges", "enterprise flag", "account",
                                     "migrator", "end of COM", "end of the token"));
}

TEST_F(GuardedRegions, APlatformExceptionOfTheConstructorPassesThroughToo) {
    const auto failure = failInTheConstructor(Platform::AccessDeniedException(E_ACCESSDENIED, {}));

    EXPECT_THROW(runTypically(), Platform::AccessDeniedException);

    EXPECT_THAT(log(), Not(HasSubstr("failed with: ")));
    EXPECT_THAT(steps(), Not(Contains("package lookup")));
}

TEST_F(GuardedRegions, AnExceptionOfThePostInstallStageIsOutsideOfThem) {
    machine.failNext("CreateWellKnownSid", ERROR_INVALID_PARAMETER);

    EXPECT_THROW(runTypically(), UnknownException);

    EXPECT_THAT(log(), Not(HasSubstr("failed with: ")));
    EXPECT_THAT(log(), testing::EndsWith("\nCan't create well known sid 27. Last error is: 87.\n"));
    EXPECT_THAT(machine.ledger.leaks(), ElementsAre("memory#1", "memory#2"));
    machine.ledger.clear();  // the buffer of a SID that cannot be made is never released
}

}  // namespace
