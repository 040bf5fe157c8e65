#include <optional>

#include "corpus/CorpusFile.h"
#include "migration/AppDataMigrator.h"
#include "run/ExecutablePermissions.h"
#include "run/RegistryKey.h"
#include "stand-in/Text.h"
#include "support/LogTest.h"
#include "users/UserProfiles.h"

namespace {

constexpr wchar_t kSid[] = L"S-1-5-21-10-20-30-1001";
constexpr wchar_t kDumpsKey[] =
    L"SOFTWARE\\Microsoft\\Windows\\Windows Error Reporting\\LocalDumps\\QK.exe";
constexpr char kUnknown[] = "with reason Unknown exception\n";

// What reading a value gives: a text, or the error of the first or of the second question.
struct Reading {
    std::string text;
    int sizeError = 0;
    int readError = 0;

    explicit Reading(const nlohmann::json& item) {
        if (item.is_string()) {
            text = standin::toUtf8(wideText(item));
        } else {
            sizeError = item.value("size error", 0);
            readError = item.value("read error", 0);
            if (sizeError + readError == 0) throw std::runtime_error("no error: " + item.dump());
        }
    }
    bool isText() const { return sizeError + readError == 0; }
    std::string lines(const std::string& value) const {
        if (isText()) return "";
        return "Exception while reading value " + std::string(sizeError ? "size of value " : "") +
               "\"" + value + "\" with ErrorCode " + std::to_string(sizeError + readError) + ".\n";
    }
};

// One value, read in each of the ways in which the program reads one: with any type as a user's
// folder, as a text in a recent-files list, and as the dump folder.
class RegistryValueCases : public LogTest {
protected:
    RegistryValueCases() {
        ::SetEnvironmentVariableW(L"CORPUS", L"expanded");
        registry.loadHive(kSid);
        registry.makeKey(HKEY_LOCAL_MACHINE, kDumpsKey);
        permissions.m_packageFamilyName = Platform::String(L"Pkg_abc");
        permissions.m_executableName = Platform::String(L"QK.exe");
        machine.onCall("RegGetValueW", [this] { changeOnce(); });
    }

    void check(const CorpusCase& item) {
        SCOPED_TRACE(item.at("name").get<std::string>());
        m_case = &item;
        checkFolder(Reading(item.at("any type")));
        checkListEntry(Reading(item.at("as text")));
        checkDumpFolder(Reading(item.at("as text")));
    }

private:
    // Exactly these bytes: the registry adds a terminator if it sees one behind them.
    static void store(HKEY root, const std::wstring& path, const wchar_t* name, DWORD type,
                      const std::string& bytes) {
        const standin::Untraced untraced;
        const std::string guarded = bytes + "\xFF\xFF\xFF\xFF";
        HKEY key = nullptr;
        ASSERT_EQ(::RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                    &key, nullptr),
                  ERROR_SUCCESS);
        EXPECT_EQ(::RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(guarded.data()),
                                   static_cast<DWORD>(bytes.size())),
                  ERROR_SUCCESS);
        ::RegCloseKey(key);
    }

    void storeCase(HKEY root, const std::wstring& path, const wchar_t* name) {
        store(root, path, name, m_case->at("type"), bytesText(m_case->at("bytes")));
        m_change = [=, this](const nlohmann::json& then) {
            store(root, path, name, then.value("type", m_case->at("type").get<DWORD>()),
                  bytesText(then.at("bytes")));
        };
        m_logBefore = logText().size();
    }
    // Between the two questions about the value.
    void changeOnce() {
        if (!m_change || !m_case->contains("then")) return;
        const auto change = std::move(m_change);
        m_change = nullptr;
        change(m_case->at("then"));
    }
    std::string newLog() { return logText().substr(m_logBefore); }

    void checkFolder(const Reading& reading) {
        storeCase(HKEY_USERS, std::wstring(kSid) + kShellFoldersKey, L"AppData");
        std::wstring folder;

        EXPECT_EQ(readAppDataFolder(kSid, kShellFoldersKey, &folder), reading.isText());

        EXPECT_EQ(standin::toUtf8(folder), reading.text);
        const std::string failure = "Caught std::exception while reading AppData folder with Key " +
                                    standin::toUtf8(std::wstring(kSid) + kShellFoldersKey) + " " +
                                    kUnknown;
        EXPECT_EQ(newLog(), reading.isText() ? "" : reading.lines("AppData") + failure);
    }

    void checkListEntry(const Reading& reading) {
        const AppDataMigrator migrator(L"Velta.QK", false);
        const std::wstring path = L"SOFTWARE\\Entry";
        storeCase(HKEY_LOCAL_MACHINE, path, L"FilePath");
        const RegistryKey key(HKEY_LOCAL_MACHINE, path.c_str());

        EXPECT_EQ(migrator.rewriteValue(key, L"FilePath"), reading.isText());

        std::string lines = reading.lines("FilePath");
        if (m_case->contains("rewritten"))
            lines = "Updated MRU registry entry for value FilePath under key SOFTWARE\\Entry. New value: " +
                    m_case->at("rewritten").get<std::string>() + "\n";
        EXPECT_EQ(newLog(), lines);
    }

    // The last step of a run, whose result is that of the run.
    void checkDumpFolder(const Reading& reading) {
        storeCase(HKEY_LOCAL_MACHINE, kDumpsKey, L"DumpFolder");

        const unsigned long exit = permissions.registerCrashDumps() ? 0 : 0xFFFFFFFF;

        EXPECT_EQ(exit, codeOf(m_case->at("exit")));
        std::string lines = "rootKey at: " + standin::toUtf8(kDumpsKey) + "\n";
        if (!reading.isText())
            lines += reading.lines("DumpFolder") +
                     "Setting registry value (DumpFolder) for UWPCR failed with: Unknown exception\n";
        EXPECT_EQ(newLog(), lines);
    }

    ExecutablePermissions permissions;
    const CorpusCase* m_case = nullptr;
    std::function<void(const nlohmann::json&)> m_change;
    size_t m_logBefore = 0;
};

TEST_F(RegistryValueCases, EachIsReadAndLoggedAsWritten) {
    const nlohmann::json corpus = readCorpus("registry_values");
    for (const CorpusCase& item : corpus.at("values"))
        check(item);
}

}  // namespace
