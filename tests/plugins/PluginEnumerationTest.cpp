#include "plugins/PluginEnumeration.h"

#include "plugins/PluginTest.h"

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

namespace {

class PluginEnumerationTest : public PluginTest {
protected:
    std::vector<std::wstring> enumerate(const std::wstring& location) {
        std::vector<std::wstring> names;
        enumeratePluginFolders(location, names);
        return names;
    }
    std::vector<std::wstring> enumerate() { return enumerate(oldPlugins + L"\\"); }

    // A folder with a name that only the verbatim form of a path can express.
    void addVerbatim(const std::wstring& name) {
        makeFolder(oldPlugins);
        makeFolder(L"\\\\?\\" + oldPlugins + L"\\" + name);
    }
    void removeVerbatim(const std::wstring& name) {
        removeTree(L"\\\\?\\" + oldPlugins + L"\\" + name);
    }
};

TEST_F(PluginEnumerationTest, MissingLocationLeavesTheListAndIsNotSearched) {
    std::vector<std::wstring> names = {L"before"};

    enumeratePluginFolders(oldPlugins + L"\\", names);

    EXPECT_THAT(names, ElementsAre(L"before"));
    EXPECT_THAT(machine.calls(), SizeIs(1));
    EXPECT_EQ(machine.trace.count("PathFileExistsW"), 1u);
    EXPECT_EQ(logText(), "");
}

TEST_F(PluginEnumerationTest, EmptyLocationGivesNothing) {
    makeFolder(oldPlugins);

    EXPECT_THAT(enumerate(), IsEmpty());

    EXPECT_EQ(logText(), "");
}

TEST_F(PluginEnumerationTest, AllBelowTheLocationIsSearchedAndTheSearchIsClosed) {
    addPlugin(L"a");

    enumerate();

    const std::string location = narrow(oldPlugins) + "\\";
    EXPECT_THAT(machine.calls({"PathFileExistsW", "FindFirstFileW", "FindClose"}),
                ElementsAre("PathFileExistsW(\"" + location + "\") = 1",
                            "FindFirstFileW(\"" + location + "*\", \".\") = search#1",
                            "FindClose(search#1) = 1"));
}

TEST_F(PluginEnumerationTest, NamesAreAppended) {
    addPlugin(L"a");
    std::vector<std::wstring> names = {L"before"};

    enumeratePluginFolders(oldPlugins + L"\\", names);

    EXPECT_THAT(names, ElementsAre(L"before", L"a"));
}

TEST_F(PluginEnumerationTest, FilesAreNotListed) {
    addPlugin(L"a");
    writeFile(oldPlugins + L"\\file.txt", "not a plug-in");

    EXPECT_THAT(enumerate(), ElementsAre(L"a"));
}

TEST_F(PluginEnumerationTest, OnlyOneLevelIsListed) {
    addPlugin(L"a", {{L"inner\\deeper\\x.js", "x"}});

    EXPECT_THAT(enumerate(), ElementsAre(L"a"));
}

TEST_F(PluginEnumerationTest, NamesThatBeginWithAPointAreListed) {
    addPlugin(L".a");
    addVerbatim(L"...");

    EXPECT_THAT(enumerate(), UnorderedElementsAre(L"...", L".a"));

    removeVerbatim(L"...");
}

TEST_F(PluginEnumerationTest, NamesOfEverySortAreListed) {
    const std::vector<std::wstring> plain = {L"with blank",   L"semi;colon",   L"\u00e9\u00fc",
                                             L"\u4e2d\u6587", L"\xD83D\xDE00", L"a.b.c"};
    for (const std::wstring& name : plain)
        addPlugin(name);
    addVerbatim(L"point.");
    addVerbatim(L"blank ");
    std::vector<std::wstring> all = plain;
    all.insert(all.end(), {L"point.", L"blank "});

    EXPECT_THAT(enumerate(), ::testing::UnorderedElementsAreArray(all));

    removeVerbatim(L"point.");
    removeVerbatim(L"blank ");
}

TEST_F(PluginEnumerationTest, AHiddenFolderIsListed) {
    addPlugin(L"a");
    setAttributes(oldPlugins + L"\\a", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);

    EXPECT_THAT(enumerate(), ElementsAre(L"a"));
}

TEST_F(PluginEnumerationTest, ALinkToAFolderIsListed) {
    makeFolder(oldPlugins);
    makeFolder(scratch / L"elsewhere");
    makeSymbolicLink(unixPath(scratch / L"elsewhere"), oldPlugins + L"\\link");

    EXPECT_THAT(enumerate(), ElementsAre(L"link"));
}

TEST_F(PluginEnumerationTest, FiveHundredFoldersAreListed) {
    makeFolder(oldPlugins);
    for (int i = 0; i < 500; ++i)
        makeFolder(oldPlugins + L"\\plugin " + std::to_wstring(i));

    EXPECT_THAT(enumerate(), SizeIs(500));
}

TEST_F(PluginEnumerationTest, ALocationThatIsAFileGivesNothing) {
    writeFile(oldPlugins, "a file");

    EXPECT_THAT(enumerate(), IsEmpty());

    EXPECT_EQ(logText(), "");
}

TEST_F(PluginEnumerationTest, ALocationThatCannotBeListedGivesNothing) {
    addPlugin(L"a");
    const HeldOpen held(oldPlugins);

    EXPECT_THAT(enumerate(), IsEmpty());

    EXPECT_EQ(machine.trace.count("FindFirstFileW"), 1u);
    EXPECT_EQ(machine.trace.count("FindClose"), 0u);
    EXPECT_EQ(logText(), "");
}

TEST_F(PluginEnumerationTest, AFailureOnTheWayCountsAsTheEnd) {
    addPlugin(L"a");
    addPlugin(L"b");
    addPlugin(L"c");
    machine.failNth("FindNextFileW", 4, ERROR_ACCESS_DENIED);  // ".", "..", a and b came before

    EXPECT_THAT(enumerate(), ElementsAre(L"a", L"b"));

    EXPECT_EQ(machine.trace.count("FindClose"), 1u);
    EXPECT_EQ(logText(), "");
}

TEST_F(PluginEnumerationTest, OddEntriesAreSiftedAndTheRestKeepsTheOrderOfTheFileSystem) {
    struct Entry {
        const wchar_t* name;
        DWORD attributes;
    };
    constexpr DWORD kFolder = FILE_ATTRIBUTE_DIRECTORY;
    const Entry entries[] = {
        {L"z", kFolder},
        {L"..", kFolder},
        {L"", kFolder},
        {L"file", FILE_ATTRIBUTE_ARCHIVE},
        {L"\xD800 alone", kFolder},
        {L"..b", kFolder},
        {L".", kFolder},
        {L"a", kFolder | FILE_ATTRIBUTE_REPARSE_POINT},
        {L"Z", kFolder | FILE_ATTRIBUTE_READONLY},
    };
    makeFolder(oldPlugins);
    size_t next = 0;
    const auto give = [&](WIN32_FIND_DATAW* found) {
        *found = {};
        if (next == std::size(entries)) return FALSE;
        found->dwFileAttributes = entries[next].attributes;
        std::wcscpy(found->cFileName, entries[next].name);
        ++next;
        return TRUE;
    };
    const auto first = replaceImport<decltype(&::FindFirstFileW)>(
        "FindFirstFileW", [&](auto real, LPCWSTR pattern, LPWIN32_FIND_DATAW found) -> HANDLE {
            const HANDLE search = real(pattern, found);
            give(found);
            return search;
        });
    const auto following = replaceImport<decltype(&::FindNextFileW)>(
        "FindNextFileW", [&](auto, HANDLE, LPWIN32_FIND_DATAW found) -> BOOL { return give(found); });

    EXPECT_THAT(enumerate(), ElementsAre(L"z", L"\xD800 alone", L"..b", L"a", L"Z"));
}

TEST_F(PluginEnumerationTest, AppDataRootIsThePathWithoutItsLastThreeElements) {
    struct Row {
        const wchar_t* path;
        const wchar_t* root;
    };
    const Row rows[] = {
        {L"C:\\Users\\A\\AppData\\Roaming\\Velta\\RXP", L"C:\\Users\\A\\AppData"},
        {L"C:\\Users\\A\\AppData\\Roaming\\Velta\\RXP\\", L"C:\\Users\\A\\AppData\\Roaming"},
        {L"\\\\server\\share\\Redirected\\Velta\\RXP", L"\\\\server\\share"},
        {L"C:/Users/A/AppData/Roaming/Velta/RXP", L"C:/Users/A/AppData"},
        {L"C:\\Users/A\\AppData/Roaming\\Velta/RXP", L"C:\\Users/A\\AppData"},
        {L"a\\b\\c\\d", L"a"},
        {L"a\\b\\c", L"a"},
        {L"a\\b", L"a"},
        {L"a", L"a"},
        {L"", L""},
        {L"\\a\\b", L""},
        {L"\\a", L""},
        {L"\\\\\\\\", L"\\"},
        {L"\\\\\\", L""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(row.path)));
        permissions.m_rxpAppDataPath = row.path;

        EXPECT_EQ(permissions.getAppDataRoot(), row.root);

        EXPECT_EQ(permissions.m_rxpAppDataPath, row.path);
    }
    EXPECT_THAT(machine.calls(), IsEmpty());
}

}  // namespace
