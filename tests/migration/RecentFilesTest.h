#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "migration/MigratorTest.h"

// A stored value in a test's message: its type, and its bytes with those that are no letters escaped.
inline void PrintTo(const RegistryValue& value, std::ostream* out) {
    *out << "type " << value.type << ", " << value.bytes.size() << " bytes "
         << ::testing::PrintToString(value.bytes);
}

// A test with the recent-files lists of Ann's packages, in the classes root and in her hive.
class RecentFilesTest : public MigratorTest {
protected:
    struct View {
        HKEY hive;
        std::wstring base;
        std::string label;  // as the log has it, before the base path
    };
    const View classes = {
        HKEY_CLASSES_ROOT,
        L"Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\SystemAppData",
        "HKEY_CLASSES_ROOT\\"};
    const View hive = {HKEY_USERS, kAnn + (L"\\SOFTWARE\\Classes\\" + classes.base), "HKEY_USERS\\"};

    static constexpr wchar_t kRecent[] = L"MostRecentlyUsed";
    static constexpr wchar_t kFuture[] = L"ManagedByApp";

    // A list's key, or that of an entry in it.
    static std::wstring listOf(const View& view, const std::wstring& package,
                               const std::wstring& list, const std::wstring& entry = L"") {
        const std::wstring key = view.base + L"\\" + package + L"\\PersistedStorageItemTable\\" +
                                 list;
        return entry.empty() ? key : key + L"\\" + entry;
    }
    static std::wstring oldList(const View& view, const std::wstring& list,
                                const std::wstring& entry = L"") {
        return listOf(view, kOldName, list, entry);
    }
    static std::wstring newList(const View& view, const std::wstring& list,
                                const std::wstring& entry = L"") {
        return listOf(view, kNewName, list, entry);
    }

    // An entry of the old package; each of its three values names the package once.
    void addEntry(const View& view, const std::wstring& list, const std::wstring& entry) {
        const std::wstring key = oldList(view, list, entry);
        registry.setText(view.hive, key, L"FilePath", std::wstring(L"C:\\") + kOldName + L"\\a.qk");
        registry.setText(view.hive, key, L"Metadata", std::wstring(kOldName) + L"!App");
        registry.setText(view.hive, key, L"PackageFamilyName", kOldName);
    }

    static std::string bytesOf(const std::wstring& text) {
        return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
    }
    // What is stored for a text that was handed over with half its terminator.
    static RegistryValue rewritten(const std::wstring& text) {
        return {REG_EXPAND_SZ, bytesOf(text) + std::string(3, '\0')};
    }
    void expectRewritten(const View& view, const std::wstring& list, const std::wstring& entry) {
        const std::wstring key = newList(view, list, entry);
        EXPECT_EQ(registry.value(view.hive, key, L"FilePath"),
                  rewritten(std::wstring(L"C:\\") + kNewName + L"\\a.qk"));
        EXPECT_EQ(registry.value(view.hive, key, L"Metadata"),
                  rewritten(std::wstring(kNewName) + L"!App"));
        EXPECT_EQ(registry.value(view.hive, key, L"PackageFamilyName"), rewritten(kNewName));
    }

    static std::string narrow(const std::wstring& text) { return {text.begin(), text.end()}; }

    // Lines of the log.
    static std::string copiedTo(const View& view) {
        return "Registry entries copied to " + view.label + narrow(view.base) +
               "\\Velta.QK_kt83f9rd2xj6a.\n";
    }
    static std::string rewrittenEntry(const std::string& entry) {
        const auto line = [&](const std::string& value, const std::string& text) {
            return "Updated MRU registry entry for value " + value + " under key " + entry +
                   ". New value: " + text + "\n";
        };
        return line("FilePath", "C:\\Velta.QK_kt83f9rd2xj6a\\a.qk") +
               line("Metadata", "Velta.QK_kt83f9rd2xj6a!App") +
               line("PackageFamilyName", "Velta.QK_kt83f9rd2xj6a");
    }
    static std::string updated(const std::wstring& list) {
        return "MRU Registry entries updated for subkey " + narrow(list) + "\n";
    }
    static std::string couldNotOpen(const std::wstring& key, int error) {
        return "Exception while opening key \"" + narrow(key) + "\" with ErrorCode " +
               std::to_string(error) + ".\n";
    }
    static std::string couldNotRead(const View& view, const std::wstring& list) {
        return "Error reading MRU registry entries from key " + view.label +
               narrow(oldList(view, list)) + "\n";
    }
};
