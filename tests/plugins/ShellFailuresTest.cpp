#include "plugins/PluginTest.h"

using ::testing::IsEmpty;

namespace {

// Two plug-ins with settings and both storages; of the 14 calls on the shell each one fails in turn.
class ShellFailuresTest : public PluginTest {
protected:
    static constexpr size_t kShellCalls = 14;

    void expectNothingLostWhen(bool isLasting) {
        for (size_t n = 1; n <= kShellCalls; ++n) {
            SCOPED_TRACE(n);
            makeFolders();
            machine.faults.clear();
            if (isLasting) {
                machine.failFrom("SHFileOperationW", n, 1);
            } else {
                machine.failNth("SHFileOperationW", n, 1);
            }

            run();

            EXPECT_THAT(machine.faults.unfired(), IsEmpty());
            for (const std::wstring name : {L"a", L"b"}) {
                expectSomewhere(oldPlugins, newPlugins, name + L"\\main.js");
                expectSomewhere(oldSettings, newSettings, name + L"\\LocalStorage\\l");
                expectSomewhere(oldSettings, newSettings, name + L"\\SecureStorage\\k");
            }
        }
    }

private:
    void makeFolders() {
        removeTree(appData);
        makeFolder(newPlugins);
        for (const wchar_t* name : {L"a", L"b"}) {
            addPlugin(name);
            addSettings(name, {{L"LocalStorage\\l", "local"}, {L"SecureStorage\\k", "secure"}});
        }
    }
    static void expectSomewhere(const std::wstring& oldPlace, const std::wstring& newPlace,
                                const std::wstring& path) {
        EXPECT_TRUE(exists(oldPlace + L"\\" + path) || exists(newPlace + L"\\" + path));
    }
};

TEST_F(ShellFailuresTest, ASingleFailureLosesNothing) {
    expectNothingLostWhen(false);
}

TEST_F(ShellFailuresTest, AFailureThatLastsLosesNothing) {
    expectNothingLostWhen(true);
}

}  // namespace
