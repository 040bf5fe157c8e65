#include "contract/BothSystems.h"

namespace {

class FoldersTest : public MachineTest {};
class FoldersOnBothSystems : public BothSystems {};
ON_BOTH_SYSTEMS(FoldersOnBothSystems);

TEST_P(FoldersOnBothSystems, AFolderThatIsNotListedIsTheRealOne) {
    wchar_t path[MAX_PATH] = {};

    const HRESULT result = ::SHGetFolderPathW(nullptr, CSIDL_WINDOWS, nullptr, SHGFP_TYPE_CURRENT,
                                              path);

    EXPECT_EQ(result, S_OK);
    EXPECT_STREQ(path, L"C:\\windows");
}

TEST_F(FoldersTest, AListedFolderIsServed) {
    machine.state.folders[CSIDL_PROFILE] = {scratch / L"Ann", 0};
    wchar_t path[MAX_PATH] = {};

    const HRESULT result = ::SHGetFolderPathW(nullptr, CSIDL_PROFILE | CSIDL_FLAG_CREATE, nullptr,
                                              0, path);

    EXPECT_EQ(result, S_OK);
    EXPECT_EQ(path, scratch / L"Ann");
}

TEST_F(FoldersTest, AFolderThatFailsLeavesAnEmptyText) {
    machine.state.folders[CSIDL_PROFILE] = {L"", E_ACCESSDENIED};
    wchar_t path[MAX_PATH] = L"before";

    const HRESULT result = ::SHGetFolderPathW(nullptr, CSIDL_PROFILE, nullptr, 0, path);

    EXPECT_EQ(result, E_ACCESSDENIED);
    EXPECT_STREQ(path, L"");
}

}  // namespace
