#pragma once

#include <map>
#include <string>

#include "migration/RecentFilesTest.h"

// A test of the whole migration of one or more users, with the lines that it logs.
class MigrationRunTest : public RecentFilesTest {
protected:
    using Tree = std::map<std::wstring, std::string>;

    static constexpr bool kEnterprise = true;
    static inline const std::string kAnnSid = "S-1-5-21-10-20-30-1001";
    static inline const std::string kBobSid = "S-1-5-21-10-20-30-1002";

    // What stands in the old package of a user.
    void fillOld(const std::wstring& user = L"Ann") {
        writeFile(inOld(L"LocalState\\preferences.json", user), "preferences");
        writeFile(inOld(L"LocalState\\other.txt", user), "stays behind");
        writeFile(inOld(L"LocalState\\projects\\deep\\a.qk", user), "a");
        writeFile(inOld(L"LocalState\\VCPLocalLogs\\log.txt", user), "stays behind");
        makeFolder(inOld(L"LocalState\\empty", user));
        writeFile(inOld(L"Settings\\settings.dat", user), "settings");
        writeFile(inOld(L"Settings\\other.dat", user), "stays behind");
        writeFile(inOld(L"LocalCache\\x", user), "stays behind");
        writeFile(inOld(L"TempState\\x", user), "stays behind");
    }
    std::wstring statusFile(const std::wstring& user = L"Ann") const {
        return inNew(L"LocalState\\mig_status.json", user);
    }

    // Lines of the log; those of the registry are of a user who has no recent files.
    std::string registryLines(const std::string& sid) const {
        const std::string user = sid + "\\SOFTWARE\\Classes\\" + narrow(classes.base);
        const std::string copiedToHive = "Registry entries copied to HKEY_USERS\\" + user +
                                         "\\Velta.QK_kt83f9rd2xj6a.\n";
        return copiedTo(classes) + updated(kRecent) + copiedToHive + updated(kRecent) +
               copiedTo(classes) + updated(kFuture) + copiedToHive + updated(kFuture);
    }

    static std::string oldFolder(const std::string& user = "Ann") {
        return "~\\" + user + "\\Local\\Packages\\Velta.LC.QK_qzw4mhtrvb2ne";
    }
    static std::string newFolder(const std::string& user = "Ann") {
        return "~\\" + user + "\\Local\\Packages\\Velta.QK_kt83f9rd2xj6a";
    }
    static std::string began(const std::string& sid, const std::string& user = "Ann") {
        return "Migration started for the user  '" + sid + "\nMigration started with source folder " +
               oldFolder(user) + " Into destination folder " + newFolder(user) + "\n";
    }
    static std::string hasOld(const std::string& user = "Ann") {
        return "Migration source folder '" + oldFolder(user) +
               "' exists. App Data Migration will be attempted.\n";
    }
    static std::string hasNoOld(const std::string& user = "Ann") {
        return "Migration source folder '" + oldFolder(user) +
               "' does not exist. App Data Migration not needed.\n";
    }
    static std::string copyStarted(const std::string& file, const std::string& user = "Ann") {
        return "copyFile started from '" + oldFolder(user) + "\\" + file + "' to '" +
               newFolder(user) + "\\" + file + "\n";
    }
    static std::string copied(const std::string& file, const std::string& user = "Ann") {
        return copyStarted(file, user) + "Copied file '" + oldFolder(user) + "\\" + file +
               "' to '" + newFolder(user) + "\\" + file + "'\n";
    }
    static std::string missing(const std::string& file, const std::string& user = "Ann") {
        return copyStarted(file, user) + "The file to be migrated '" + oldFolder(user) + "\\" +
               file + "' does not exist\n";
    }
    static std::string filesMissing(const std::string& user = "Ann") {
        return missing("LocalState\\preferences.json", user) +
               missing("Settings\\settings.dat", user);
    }
    static std::string copying(const std::string& from, const std::string& to,
                               const std::string& user = "Ann") {
        return "Recursively copying '" + oldFolder(user) + "\\" + from + "' into '" +
               newFolder(user) + "\\" + to + "'\n";
    }
    // The line that is left open, and the beginning of the one that runs on in it.
    static std::string noLocalState(const std::string& user = "Ann") {
        return "Source LocalState folder '" + oldFolder(user) +
               "\\LocalState' does not exist. Nothing to copy.[]";
    }
    static std::string registryBegins(const std::string& sid) {
        return "Migration registry entries for the user  '" + sid + "\n";
    }
    static std::string wroteStatus(const std::string& user = "Ann") {
        return "Wrote migration status file " + newFolder(user) + "\\LocalState\\mig_status.json\n";
    }
    static std::string ended(const std::string& sid) {
        return "Migration completed for the user  '" + sid + "\n";
    }
    static inline const std::string kComplete = "App Data Migration Complete: SUCCESS\n";
    static inline const std::string kIncomplete =
        "App Data Migration Complete: Some app data could not be migrated.\n";

    static std::string statusText(const std::string& status, const std::string& copiedList,
                                  const std::string& failedList,
                                  const std::string& enterprise = "false") {
        return "{\n    \"status\":\"" + status + "\",\n    \"isEnterpriseDeployment\":\"" +
               enterprise + "\",\n    \"copied\": [" + copiedList + "],\n    \"failed\": [" +
               failedList + "]\n}\n";
    }
};
