#include <stdexcept>

#include "plugins/PluginFolders.h"
#include "plugins/PluginTest.h"

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

class PluginFolderDeleteTest : public PluginTest {
protected:
    std::string oldPath(const std::string& name) const { return narrow(oldPlugins) + "\\" + name; }
};

TEST_F(PluginFolderDeleteTest, DeleteOfAMissingFolderDoesNothingAndWritesNothing) {
    deleteFolder(newPlugins + L"\\missing");

    EXPECT_THAT(machine.calls({"SHFileOperationW"}), IsEmpty());
    EXPECT_EQ(machine.trace.count("PathFileExistsW"), 1u);
    EXPECT_EQ(logText(), "");
}

TEST_F(PluginFolderDeleteTest, DeleteTakesTheWholeFolder) {
    addPlugin(L"a", {{L"sub\\x", "x"}});

    deleteFolder(oldPlugins + L"\\");

    EXPECT_FALSE(exists(oldPlugins));
    EXPECT_THAT(machine.calls({"SHFileOperationW"}), ElementsAre(deleteCall(oldPath(""))));
    EXPECT_EQ(logText(), "");
}

TEST_F(PluginFolderDeleteTest, DeleteOfAFileThatIsHeldOpenIsLoggedWithTheGrownPath) {
    addPlugin(L"a");
    const HeldOpen held(oldPlugins + L"\\a\\main.js", GENERIC_READ, FILE_SHARE_READ);

    deleteFolder(oldPlugins + L"\\a");

    EXPECT_EQ(logText(), "Failed to delete " + oldPath("a") + "\0 SHFileOperation error: 32\n"s);
}

TEST_F(PluginFolderDeleteTest, EveryFailedDeleteKeepsItsSign) {
    addPlugin(L"a");
    std::string expected;
    for (const int code : {2, 124, 65536, -1, -2147483647 - 1}) {
        machine.faults.clear();
        machine.failNext("SHFileOperationW", static_cast<DWORD>(code));

        deleteFolder(oldPlugins + L"\\a");

        expected += "Failed to delete " + oldPath("a") + "\0 SHFileOperation error: "s +
                    std::to_string(code) + "\n";
        EXPECT_EQ(logText(), expected);
    }
}

TEST_F(PluginFolderDeleteTest, AnExceptionEndsThatOneDeleteAlone) {
    addPlugin(L"a");
    addPlugin(L"b");
    addPlugin(L"c");
    int calls = 0;
    const auto refuse = replaceImport<decltype(&::SHFileOperationW)>(
        "SHFileOperationW", [&](auto real, LPSHFILEOPSTRUCTW operation) -> int {
            if (++calls == 2) throw std::runtime_error("because");
            return real(operation);
        });

    deleteMigratedFolders(oldPlugins + L"\\", {L"a", L"missing", L"b", L"c"});

    EXPECT_EQ(logText(), "Failed to delete " + oldPath("b") + "\0 with the reasonbecause\n"s);
    EXPECT_THAT(listTree(oldPlugins), ElementsAre(Pair(L"b\\", ""), Pair(L"b\\main.js", "code")));
}

TEST_F(PluginFolderDeleteTest, AFailedDeleteDoesNotStopTheOthers) {
    addPlugin(L"a");
    addPlugin(L"b");
    machine.failNext("SHFileOperationW", 32);

    deleteMigratedFolders(oldPlugins + L"\\", {L"a", L"b"});

    EXPECT_TRUE(exists(oldPlugins + L"\\a"));
    EXPECT_FALSE(exists(oldPlugins + L"\\b"));
    EXPECT_EQ(logText(), "Failed to delete " + oldPath("a") + "\0 SHFileOperation error: 32\n"s);
}

}  // namespace
