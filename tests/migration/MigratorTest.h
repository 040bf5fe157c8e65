#pragma once

#include <optional>
#include <string>
#include <vector>

#include "migration/AppDataMigrator.h"
#include "migration/LongPaths.h"
#include "users/ProfilesTest.h"

// A test with the migration of a machine on which Ann is logged on. The release build of the
// product carries her data from one package folder to the other.
class MigratorTest : public ProfilesTest {
protected:
    static constexpr wchar_t kOldName[] = L"Velta.LC.QK_qzw4mhtrvb2ne";
    static constexpr wchar_t kNewName[] = L"Velta.QK_kt83f9rd2xj6a";

    MigratorTest() {
        setOwnProfile(L"C:\\Users\\Admin");
        addUser(kAnn, L"Ann");
        logOn(kAnn);
        // A line that is begun wipes out the last error; who logs one must have taken it before.
        machine.onCall("GetSystemTimeAsFileTime", [] { ::SetLastError(0xDEAD); });
    }

    // An account with a loaded hive and a Local AppData folder, "<name>\Local" of the scratch folder.
    void addUser(const std::wstring& sid, const std::wstring& name) {
        addProfile(sid, name);
        makeFolder(scratch / (name + L"\\Local"));
        setFolder(sid, kShellFoldersKey, L"Local AppData", scratch / (name + L"\\Local"));
    }

    // A path in a user's folder of the old or of the new package.
    std::wstring inOld(const std::wstring& relative, const std::wstring& user = L"Ann") const {
        return inPackage(user, kOldName, relative);
    }
    std::wstring inNew(const std::wstring& relative, const std::wstring& user = L"Ann") const {
        return inPackage(user, kNewName, relative);
    }

    // Makes the migrator, with all lines and calls of its making forgotten.
    AppDataMigrator& start(bool isEnterpriseDeployment = false) {
        m_migrator.emplace(L"Velta.QK", isEnterpriseDeployment);
        newLog();
        machine.trace.clear();
        EXPECT_THAT(machine.ledger.leaks(), ::testing::IsEmpty());
        machine.ledger.clear();  // its numbers begin anew
        return *m_migrator;
    }

    using Items = std::vector<std::wstring>;

private:
    std::wstring inPackage(const std::wstring& user, const std::wstring& package,
                           const std::wstring& relative) const {
        const std::wstring folder = scratch / (user + L"\\Local\\Packages\\" + package);
        return relative.empty() ? folder : folder + L"\\" + relative;
    }

    std::optional<AppDataMigrator> m_migrator;
};
