#include "plugins/PluginTest.h"

using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

// Many, large and oddly named plug-ins.
class PluginSizesTest : public PluginTest {
protected:
    // A plug-in's folder with a name that only the verbatim form of a path can express.
    void addVerbatim(const std::wstring& name) {
        makeFolder(oldPlugins);
        const std::wstring folder = L"\\\\?\\" + oldPlugins + L"\\" + name;
        makeFolder(folder);
        writeFile(folder + L"\\main.js", "code");
    }

    static void inFolder(const std::wstring& folder, const std::string& command) {
        runUnix("cd '" + unixPath(folder) + "' && " + command);
    }
    void keepCopyOfOldPlugins() { inFolder(oldPlugins, "cp -r . '" + unixPath(m_copy) + "'"); }
    // Both are gone afterwards.
    void expectNewPluginsLikeTheCopy() {
        removeTree(statusFile);
        const std::wstring verdict = scratch / L"the same";
        inFolder(newPlugins, "diff -r . '" + unixPath(m_copy) + "' && touch '" + unixPath(verdict) +
                                 "'; rm -r * '" + unixPath(m_copy) + "'");
        EXPECT_TRUE(exists(verdict));
    }

private:
    const std::wstring m_copy = scratch / L"copy";
};

TEST_F(PluginSizesTest, NamesOfEverySortAreMoved) {
    const std::vector<std::wstring> names = {
        L"with blank",
        L".leading point",
        L"a.b.c",
        L"semi;colon,and'quote",
        L"\u00e9\u00fc",
        L"\u4e2d\u6587",
        L"\xD83D\xDE00",
        L"%APPDATA%",
        L"Plugin-1_(2)[3]",
        L"&^!@#$",
        L"  leading blanks",
    };
    for (const std::wstring& name : names) {
        addPlugin(name);
        addSettings(name, {{L"settings.json", "s"}, {L"LocalStorage\\l", "l"}});
    }

    run();

    for (const std::wstring& name : names) {
        SCOPED_TRACE(::testing::PrintToString(name));
        EXPECT_EQ(readFile(newPlugins + L"\\" + name + L"\\main.js"), "code");
        EXPECT_EQ(readFile(newSettings + L"\\" + name + L"\\PluginData\\settings.json"), "s");
        EXPECT_EQ(readFile(newSettings + L"\\" + name + L"\\LocalStorage\\l"), "l");
    }
    EXPECT_THAT(listTree(localState), IsEmpty());
    EXPECT_NE(statusText().find(R"("  leading blanks")"), std::string::npos);
    EXPECT_NE(statusText().find("\"\xE4\xB8\xAD\xE6\x96\x87\""), std::string::npos);
    EXPECT_NE(statusText().find("\"\xF0\x9F\x98\x80\""), std::string::npos);
}

TEST_F(PluginSizesTest, ANameThatHoldsABlankMakesTheNextRunMigrateAgain) {
    addPlugin(L"with blank");
    run();
    addPlugin(L"b");

    run();

    EXPECT_TRUE(exists(newPlugins + L"\\b"));
    EXPECT_EQ(statusText(),
              R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":["b"],"failed":[]}})");
}

TEST_F(PluginSizesTest, ANameThatOnlyAVerbatimPathCanExpressFailsAndNothingIsLost) {
    addPlugin(L"a");
    addVerbatim(L"point.");

    run();

    EXPECT_EQ(readFile(oldPlugins + L"\\a\\main.js"), "code");
    EXPECT_EQ(readFile(L"\\\\?\\" + oldPlugins + L"\\point.\\main.js"), "code");
    EXPECT_FALSE(exists(newPlugins + L"\\a"));
    EXPECT_NE(statusText().find(R"("status":1,"migrated":["a"],"failed":["point."])"),
              std::string::npos);
    removeTree(L"\\\\?\\" + oldPlugins + L"\\point.");
}

TEST_F(PluginSizesTest, ANameThatIsNoUtf16IsMovedAndLeavesTheRecordEmpty) {
    addPlugin(L"a");
    const auto odd = replaceImport<decltype(&::FindNextFileW)>(
        "FindNextFileW", [](auto real, HANDLE search, LPWIN32_FIND_DATAW found) -> BOOL {
            const BOOL isFound = real(search, found);
            if (isFound && found->cFileName[0] == L'a') found->cFileName[1] = L'\xD800';
            return isFound;
        });
    const auto copy = replaceImport<decltype(&::SHFileOperationW)>(
        "SHFileOperationW", [](auto, LPSHFILEOPSTRUCTW) -> int { return 0; });

    run();

    EXPECT_EQ(statusText(), "");
}

TEST_F(PluginSizesTest, SettingsThatAreTooDeepForTheirNewPlaceFailAndNothingIsLost) {
    addPlugin(L"a");
    const std::wstring folder = std::wstring(100, L'd') + L"\\";
    const size_t prefix = (oldSettings + L"\\b\\" + folder).size();
    addSettings(L"b", {{folder + std::wstring(255 - prefix, L'f'), "deep"}});
    const auto before = listTree(localState);

    run();

    EXPECT_EQ(listTree(localState), before);
    EXPECT_FALSE(exists(newPlugins + L"\\a"));
    EXPECT_EQ(statusText(), R"({"OWN":{"appVersion":"39.1.0","status":2,"migrated":["a"],"failed":[],)"
                            R"("reason":"Failed to copy b SHFileOperation error: 121"}})");
}

TEST_F(PluginSizesTest, FiveHundredPluginsAreMovedInTheOrderOfTheList) {
    makeFolder(oldPlugins);
    inFolder(
        oldPlugins,
        "for i in $(seq 500); do mkdir plugin$i; done; for i in 1 250 500; do echo $i > plugin$i/main.js; done");
    keepCopyOfOldPlugins();

    permissions.migratePlugins();

    ASSERT_THAT(permissions.m_plugins, SizeIs(500));
    EXPECT_EQ(permissions.m_migratedPlugins, permissions.m_plugins);
    EXPECT_EQ(machine.trace.count("SHFileOperationW"), 501u);
    std::string names;
    for (const std::wstring& name : permissions.m_plugins)
        names += (names.empty() ? "\"" : ",\"") + std::string(name.begin(), name.end()) + "\"";
    EXPECT_EQ(statusText(), R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":[)" + names +
                                R"(],"failed":[]}})");
    EXPECT_FALSE(exists(oldPlugins));
    expectNewPluginsLikeTheCopy();
}

TEST_F(PluginSizesTest, APluginOfTenThousandFilesIsOneCopyAndOneDelete) {
    makeFolder(oldPlugins + L"\\large");
    inFolder(
        oldPlugins + L"\\large",
        "for i in $(seq 100); do mkdir $i; for k in $(seq 100); do echo $i.$k > $i/$k; done; done");
    keepCopyOfOldPlugins();
    // Through Wine the shell would take a minute or more for so many.
    const auto quickShell = replaceImport<decltype(&::SHFileOperationW)>(
        "SHFileOperationW", [](auto, LPSHFILEOPSTRUCTW operation) -> int {
            const std::string from = "'" + unixPath(operation->pFrom) + "'";
            const std::wstring to = operation->pTo == nullptr ? L"" : operation->pTo;
            if (operation->wFunc == FO_DELETE) {
                runUnix("rm -r " + from);
            } else {
                const std::wstring parent = to.substr(0, to.find_last_of(L'\\'));
                runUnix("cp -r " + from + " '" + unixPath(parent) + "'");
            }
            return 0;
        });

    run();

    EXPECT_EQ(statusText(),
              R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":["large"],"failed":[]}})");
    EXPECT_FALSE(exists(oldPlugins));
    EXPECT_EQ(machine.trace.count("FindFirstFileW"), 1u);  // nothing inside a plug-in is looked at
    expectNewPluginsLikeTheCopy();
}

}  // namespace
