#include <cwchar>

#include "migration/MigratorTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr bool kSuccess = true;

class StatusFileTest : public MigratorTest {
protected:
    StatusFileTest() { makeFolder(inNew(L"LocalState")); }

    const std::wstring path = inNew(L"LocalState\\mig_status.json");

    // The list of copied items as it stands in the text.
    std::string copiedLine(const Items& items) {
        AppDataMigrator& migrator = start();
        migrator.copiedItems[kAnn] = items;
        const std::string text = migrator.buildStatusText(kAnn, kSuccess);
        const size_t begin = text.find("    \"copied\"");
        return text.substr(begin, text.find('\n', begin) - begin);
    }
};

const std::string kPath =
    "~\\Ann\\Local\\Packages\\Velta.QK_kt83f9rd2xj6a\\LocalState\\mig_status.json";

TEST_F(StatusFileTest, FileHoldsTheseBytes) {
    AppDataMigrator& migrator = start();
    migrator.copiedItems[kAnn] = {L"preferences.json", L"settings.dat", L"MRURegistryEntries",
                                  L"FALRegistryEntries"};

    EXPECT_TRUE(migrator.writeStatusFile(kAnn, kSuccess));

    EXPECT_EQ(readFile(path),
              "{\n"
              "    \"status\":\"success\",\n"
              "    \"isEnterpriseDeployment\":\"false\",\n"
              "    \"copied\": [\"preferences.json\" ,\"settings.dat\" "
              ",\"MRURegistryEntries\" ,\"FALRegistryEntries\"],\n"
              "    \"failed\": []\n"
              "}\n");
    EXPECT_EQ(newLog(), "Wrote migration status file " + kPath + "\n");
}

TEST_F(StatusFileTest, FailureIsToldByTheStatusWordAlone) {
    AppDataMigrator& migrator = start();
    migrator.copiedItems[kAnn] = {L"a"};

    std::string text = migrator.buildStatusText(kAnn, kSuccess);

    text.replace(text.find("success"), 7, "error");
    EXPECT_EQ(migrator.buildStatusText(kAnn, !kSuccess), text);
}

TEST_F(StatusFileTest, EnterpriseIsAQuotedWord) {
    AppDataMigrator& migrator = start(true);
    migrator.failedItems[kAnn] = {L"plug", L"FALRegistryEntries"};

    EXPECT_EQ(migrator.buildStatusText(kAnn, !kSuccess),
              "{\n"
              "    \"status\":\"error\",\n"
              "    \"isEnterpriseDeployment\":\"true\",\n"
              "    \"copied\": [],\n"
              "    \"failed\": [\"plug\" ,\"FALRegistryEntries\"]\n"
              "}\n");
}

TEST_F(StatusFileTest, EmptyListsHaveNothingBetweenTheBrackets) {
    AppDataMigrator& migrator = start();

    EXPECT_EQ(migrator.buildStatusText(kAnn, kSuccess),
              "{\n"
              "    \"status\":\"success\",\n"
              "    \"isEnterpriseDeployment\":\"false\",\n"
              "    \"copied\": [],\n"
              "    \"failed\": []\n"
              "}\n");
    EXPECT_TRUE(migrator.copiedItems.contains(kAnn));
    EXPECT_TRUE(migrator.failedItems.contains(kAnn));
}

TEST_F(StatusFileTest, ListsAreThoseOfTheUser) {
    AppDataMigrator& migrator = start();
    migrator.copiedItems = {{kAnn, {L"of Ann"}}, {kBob, {L"of Bob"}}};
    migrator.failedItems = {{kBob, {L"failed"}}};

    const std::string text = migrator.buildStatusText(kBob, kSuccess);

    EXPECT_THAT(text, HasSubstr("\"copied\": [\"of Bob\"],\n    \"failed\": [\"failed\"]\n"));
}

TEST_F(StatusFileTest, SeparatorStandsOnlyBetweenItems) {
    EXPECT_EQ(copiedLine({L"a"}), "    \"copied\": [\"a\"],");
    EXPECT_EQ(copiedLine({L"a", L"b", L"a"}), "    \"copied\": [\"a\" ,\"b\" ,\"a\"],");
    EXPECT_EQ(copiedLine({L"", L""}), "    \"copied\": [\"\" ,\"\"],");
}

TEST_F(StatusFileTest, ItemsAreNotEscaped) {
    EXPECT_EQ(copiedLine({L"a\"b\\c/d\te;f,g"}), "    \"copied\": [\"a\"b\\c/d\te;f,g\"],");
}

TEST_F(StatusFileTest, ItemsAreUtf8) {
    EXPECT_EQ(copiedLine({L"\u00E9t\u00E9", L"\u4E2D\u6587", L"\xD83D\xDE00", L"\uFEFF", L"\x7F"}),
              "    \"copied\": [\"\xC3\xA9t\xC3\xA9\" ,\"\xE4\xB8\xAD\xE6\x96\x87\" "
              ",\"\xF0\x9F\x98\x80\" ,\"\xEF\xBB\xBF\" ,\"\x7F\"],");
}

// Required: the terminator counts, so 510 bytes of text are the most.
TEST_F(StatusFileTest, ItemOfMoreThan510BytesIsWrittenEmpty) {
    for (const size_t size : {509u, 510u}) {
        EXPECT_EQ(copiedLine({L"before", std::wstring(size, L'x'), L"after"}),
                  "    \"copied\": [\"before\" ,\"" + std::string(size, 'x') + "\" ,\"after\"],")
            << size;
    }
    for (const size_t size : {511u, 512u, 513u, 5000u}) {
        EXPECT_EQ(copiedLine({L"before", std::wstring(size, L'x'), L"after"}),
                  "    \"copied\": [\"before\" ,\"\" ,\"after\"],")
            << size;
    }
}

TEST_F(StatusFileTest, BytesAreCountedNotCharacters) {
    std::string text;
    for (int i = 0; i < 170; ++i)
        text += "\xE4\xB8\xAD";
    ASSERT_EQ(text.size(), 510u);

    EXPECT_EQ(copiedLine({std::wstring(170, L'\u4E2D')}), "    \"copied\": [\"" + text + "\"],");
    EXPECT_EQ(copiedLine({std::wstring(170, L'\u4E2D') + L"x"}), "    \"copied\": [\"\"],");
    EXPECT_EQ(copiedLine({std::wstring(255, L'\u00E9') + L"x"}), "    \"copied\": [\"\"],");
}

TEST_F(StatusFileTest, UnpairedSurrogateMakesTheItemEmpty) {
    EXPECT_EQ(copiedLine({L"a", L"b\xD800", L"\xDC00z", L"c"}),
              "    \"copied\": [\"a\" ,\"\" ,\"\" ,\"c\"],");
}

TEST_F(StatusFileTest, FailedConversionMakesTheItemEmpty) {
    AppDataMigrator& migrator = start();
    migrator.copiedItems[kAnn] = {L"first", L"second"};
    machine.failNth("WideCharToMultiByte", 2, ERROR_INVALID_PARAMETER);

    EXPECT_THAT(migrator.buildStatusText(kAnn, kSuccess),
                HasSubstr("    \"copied\": [\"\" ,\"second\"],\n"));
}

TEST_F(StatusFileTest, MeasureThatFailsAloneCountsAsAShortItem) {
    AppDataMigrator& migrator = start();
    migrator.copiedItems[kAnn] = {L"first", L"second"};
    machine.failNth("WideCharToMultiByte", 1, ERROR_INVALID_PARAMETER);

    EXPECT_THAT(migrator.buildStatusText(kAnn, kSuccess),
                HasSubstr("    \"copied\": [\"first\" ,\"second\"],\n"));
}

TEST_F(StatusFileTest, HalfAConversionIsNotUsed) {
    AppDataMigrator& migrator = start();
    migrator.copiedItems[kAnn] = {L"first"};
    const auto convert = replaceImport<decltype(&::WideCharToMultiByte)>(
        "WideCharToMultiByte",
        [](auto real, UINT page, DWORD flags, LPCWCH text, int length, LPSTR bytes, int size,
           LPCCH replacement, LPBOOL used) -> int {
            const int count = real(page, flags, text, length, bytes, size, replacement, used);
            return bytes != nullptr && page == CP_UTF8 && used == nullptr ? 0 : count;
        });

    EXPECT_THAT(migrator.buildStatusText(kAnn, kSuccess), HasSubstr("    \"copied\": [\"\"],\n"));
}

TEST_F(StatusFileTest, ItemIsMeasuredThenConvertedAsValidUtf8) {
    AppDataMigrator& migrator = start();
    migrator.copiedItems[kAnn] = {L"item", std::wstring(600, L'x')};

    migrator.buildStatusText(kAnn, kSuccess);

    std::vector<standin::Call> calls;
    for (const standin::Call& call : machine.trace.all()) {
        if (call.name == "WideCharToMultiByte") calls.push_back(call);
    }
    ASSERT_EQ(calls.size(), 3u);  // the long item is measured only
    for (const standin::Call& call : calls) {
        EXPECT_EQ(call.arguments[0], "65001");
        EXPECT_EQ(call.arguments[1], "0x80");
    }
    EXPECT_EQ(calls[0].arguments[4], "null");
    EXPECT_EQ(calls[0].arguments[5], "0");
    EXPECT_EQ(calls[0].result, "5");
    EXPECT_EQ(calls[1].arguments[5], "512");
    EXPECT_EQ(calls[2].arguments[5], "0");
}

TEST_F(StatusFileTest, PathIsInLocalStateOfTheNewPackage) {
    const AppDataMigrator& migrator = start();
    PathBuffer buffer;

    migrator.statusFilePath(kAnn, buffer);

    EXPECT_EQ(buffer, path);
}

TEST_F(StatusFileTest, TextIsWrittenInOneCall) {
    AppDataMigrator& migrator = start();

    migrator.writeStatusFile(kAnn, kSuccess);

    const std::string text = readFile(path);
    const std::vector<std::string> calls = shortCalls({"CreateFileW", "WriteFile", "CloseHandle"});
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0],
              "CreateFileW(\"" + kPath + "\", 0x40000000, 0x0, null, 2, 0x80, null) = file#1");
    EXPECT_THAT(calls[1], ::testing::StartsWith("WriteFile(file#1, \"{\\u000A"));
    EXPECT_THAT(calls[1], ::testing::EndsWith("\\u000A}\\u000A\", " + std::to_string(text.size()) +
                                              ", null, null) = 1"));
    EXPECT_EQ(calls[2], "CloseHandle(file#1) = 1");
}

TEST_F(StatusFileTest, FileIsClosedBehindTheLine) {
    AppDataMigrator& migrator = start();

    migrator.writeStatusFile(kAnn, kSuccess);

    std::vector<std::string> order;
    for (const standin::Call& call : machine.trace.all()) {
        if (call.name == "WriteFile" || call.name == "_write" || call.name == "CloseHandle")
            order.push_back(call.name);
    }
    EXPECT_THAT(order, ElementsAre("WriteFile", "_write", "CloseHandle"));
}

TEST_F(StatusFileTest, NobodyCanOpenTheFileDuringTheWrite) {
    AppDataMigrator& migrator = start();
    DWORD error = ERROR_SUCCESS;
    machine.onCall("WriteFile", [&] {
        const standin::Untraced untraced;
        const HANDLE other = ::CreateFileW(path.c_str(), GENERIC_READ,
                                           FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                           OPEN_EXISTING, 0, nullptr);
        error = ::GetLastError();
        if (other != INVALID_HANDLE_VALUE) ::CloseHandle(other);
    });

    migrator.writeStatusFile(kAnn, kSuccess);

    EXPECT_EQ(error, DWORD{ERROR_SHARING_VIOLATION});
}

TEST_F(StatusFileTest, OldFileIsReplaced) {
    writeFile(path, std::string(1000, 'x'));
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.writeStatusFile(kAnn, kSuccess));

    EXPECT_EQ(readFile(path), migrator.buildStatusText(kAnn, kSuccess));
}

TEST_F(StatusFileTest, FileThatCannotBeMadeIsLogged) {
    removeTree(inNew(L"LocalState"));
    AppDataMigrator& migrator = start();

    EXPECT_FALSE(migrator.writeStatusFile(kAnn, kSuccess));

    EXPECT_EQ(newLog(), "Could not create status file '" + kPath + "'. Error code: 3\n");
    EXPECT_FALSE(exists(inNew(L"LocalState")));
    EXPECT_THAT(machine.calls({"WriteFile", "CloseHandle", "CreateDirectoryW"}), IsEmpty());
}

TEST_F(StatusFileTest, FolderOfTheFilesNameIsLogged) {
    makeFolder(path);
    AppDataMigrator& migrator = start();

    EXPECT_FALSE(migrator.writeStatusFile(kAnn, kSuccess));

    EXPECT_EQ(newLog(), "Could not create status file '" + kPath + "'. Error code: 5\n");
}

// Required: the line of the written file follows that of the failed write.
TEST_F(StatusFileTest, FailedWriteIsLoggedAndSoIsTheWrittenFile) {
    makeSymbolicLink("/dev/full", path);
    AppDataMigrator& migrator = start();

    EXPECT_TRUE(migrator.writeStatusFile(kAnn, kSuccess));

    EXPECT_EQ(newLog(), "Could not write to status file '" + kPath + "'. Error code: 112\n" +
                            "Wrote migration status file " + kPath + "\n");
    EXPECT_EQ(machine.trace.count("CloseHandle"), 1u);
}

TEST_F(StatusFileTest, FailedWriteLeavesAnEmptyFileThatCounts) {
    AppDataMigrator& migrator = start();
    machine.failNext("WriteFile", ERROR_DISK_FULL);

    EXPECT_TRUE(migrator.writeStatusFile(kAnn, kSuccess));

    EXPECT_EQ(readFile(path), "");
    EXPECT_TRUE(migrator.run());
    EXPECT_THAT(migrator.users, IsEmpty());
}

TEST_F(StatusFileTest, FailedCloseIsRaised) {
    EXPECT_EXIT(
        {
            AppDataMigrator& migrator = start();
            machine.failNext("CloseHandle", ERROR_DISK_FULL);
            migrator.writeStatusFile(kAnn, kSuccess);
        },
        ::testing::ExitedWithCode(static_cast<int>(0x80070070)), "");
}

}  // namespace
