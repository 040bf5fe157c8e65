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

TEST_F(PluginSizesTest, FiveHundredPluginsAreMovedInTheOrderOfTheList) {
    makeFolder(oldPlugins);
    runUnix("cd '" + unixPath(oldPlugins) +
            "'; for i in $(seq 500); do mkdir plugin$i; echo $i > plugin$i/main.js; done");

    permissions.migratePlugins();

    ASSERT_THAT(permissions.m_plugins, SizeIs(500));
    EXPECT_EQ(permissions.m_migratedPlugins, permissions.m_plugins);
    for (const std::wstring& name : permissions.m_plugins) {
        const std::string number(name.begin() + 6, name.end());
        EXPECT_EQ(readFile(newPlugins + L"\\" + name + L"\\main.js"), number + "\n");
    }
    EXPECT_FALSE(exists(oldPlugins));
    std::string names;
    for (const std::wstring& name : permissions.m_plugins)
        names += (names.empty() ? "\"" : ",\"") + std::string(name.begin(), name.end()) + "\"";
    EXPECT_EQ(statusText(), R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":[)" + names +
                                R"(],"failed":[]}})");
    runUnix("rm -r '" + unixPath(newPlugins) + "'");
}

TEST_F(PluginSizesTest, APluginOfTenThousandFilesIsMoved) {
    makeFolder(oldPlugins + L"\\large");
    runUnix("cd '" + unixPath(oldPlugins + L"\\large") +
            "'; for i in $(seq 100); do mkdir $i; for k in $(seq 100); do echo $i.$k > $i/$k; done; "
            "done; cp -r ../large '" +
            unixPath(scratch / L"expected") + "'");

    run();

    EXPECT_FALSE(exists(oldPlugins));
    EXPECT_EQ(statusText(),
              R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":["large"],"failed":[]}})");
    const std::string moved = unixPath(newPlugins + L"\\large");
    const std::string expected = unixPath(scratch / L"expected");
    runUnix("diff -r '" + moved + "' '" + expected + "' && touch '" +
            unixPath(scratch / L"the same") + "'");
    EXPECT_TRUE(exists(scratch / L"the same"));
    runUnix("rm -r '" + moved + "' '" + expected + "'");
}

}  // namespace
