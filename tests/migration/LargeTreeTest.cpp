#include "migration/FolderCopy.h"

#include <map>

#include "migration/MigratorTest.h"

namespace {

using Tree = std::map<std::wstring, std::string>;

class LargeTreeTest : public MigratorTest {
protected:
    const std::wstring from = scratch / L"from\\plug";
    const std::wstring to = scratch / L"to";
};

// Nine levels below the folder itself, two hundred folders, ten files in each.
TEST_F(LargeTreeTest, LargeTreeIsCopiedWhole) {
    constexpr int kFolders = 200;
    constexpr int kLevels = 9;
    int folders = 0;
    for (int chain = 0; folders < kFolders; ++chain) {
        std::wstring folder = from;
        for (int level = 1; level <= kLevels && folders < kFolders; ++level, ++folders) {
            folder += L"\\d" + std::to_wstring(chain) + L"." + std::to_wstring(level);
            for (int file = 0; file < 10; ++file) {
                const std::string text = std::to_string(folders) + "/" + std::to_string(file);
                std::string bytes;
                for (int i = 0; i < file * 37; ++i)
                    bytes += text;
                writeFile(folder + L"\\f" + std::to_wstring(file) + L".dat", bytes);
            }
        }
    }
    const Tree source = listTree(from);
    ASSERT_EQ(source.size(), 2200u);
    machine.trace.stop();

    EXPECT_TRUE(copyFolderRecursively(from.c_str(), to.c_str(), false));

    EXPECT_TRUE(listTree(to + L"\\plug") == source);
    EXPECT_TRUE(listTree(from) == source);
    EXPECT_THAT(newLog(), ::testing::Not(::testing::HasSubstr("Error")));
}

TEST_F(LargeTreeTest, LargeTreeIsMovedWhole) {
    constexpr int kFolders = 20;
    for (int folder = 0; folder < kFolders; ++folder) {
        for (int file = 0; file < 10; ++file) {
            writeFile(from + L"\\" + std::to_wstring(folder) + L"\\" + std::to_wstring(file),
                      std::to_string(folder * file));
        }
    }
    const Tree source = listTree(from);

    EXPECT_TRUE(copyFolderRecursively(from.c_str(), to.c_str(), true));

    EXPECT_TRUE(listTree(to + L"\\plug") == source);
    EXPECT_EQ(listTree(from).size(), size_t{kFolders});
}

}  // namespace
