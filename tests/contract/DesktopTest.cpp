#include "stand-in/Launcher.h"
#include "support/MachineTest.h"
#include "support/Programs.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr DWORD kTokenRights = TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_ASSIGN_PRIMARY;

class DesktopTest : public MachineTest {
protected:
    DesktopTest() { machine.state.desktop.emplace(); }
    ~DesktopTest() override {
        for (const HANDLE handle : {m_copy, m_token, process.hProcess, process.hThread}) {
            if (handle != nullptr) ::CloseHandle(handle);
        }
    }

    // A copy of the process's token.
    HANDLE token(DWORD rights = kTokenRights, TOKEN_TYPE type = TokenPrimary) {
        EXPECT_TRUE(::OpenProcessToken(::GetCurrentProcess(), TOKEN_DUPLICATE, &m_token));
        EXPECT_TRUE(
            ::DuplicateTokenEx(m_token, rights, nullptr, SecurityImpersonation, type, &m_copy));
        return m_copy;
    }

    // The function is bound late, as it is everywhere.
    BOOL start(HANDLE with, const wchar_t* commandLine, const wchar_t* folder = nullptr) {
        const HMODULE library = ::LoadLibraryW(L"Advapi32.dll");
        const auto create = reinterpret_cast<decltype(&::CreateProcessWithTokenW)>(
            reinterpret_cast<void*>(::GetProcAddress(library, "CreateProcessWithTokenW")));
        std::wstring writable = commandLine == nullptr ? L"" : commandLine;
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        const BOOL started = create(with, 0, nullptr,
                                    commandLine == nullptr ? nullptr : writable.data(), 0, nullptr,
                                    folder, &startup, &process);
        const DWORD error = ::GetLastError();
        ::FreeLibrary(library);
        ::SetLastError(error);
        return started;
    }
    DWORD startError(HANDLE with, const wchar_t* commandLine, const wchar_t* folder = nullptr) {
        return start(with, commandLine, folder) ? ERROR_SUCCESS : ::GetLastError();
    }
    DWORD exitCode() {
        DWORD code = 0;
        EXPECT_TRUE(::GetExitCodeProcess(process.hProcess, &code));
        return code;
    }

    PROCESS_INFORMATION process = {};

private:
    HANDLE m_token = nullptr;
    HANDLE m_copy = nullptr;
};

BOOL CALLBACK countWindow(HWND, LPARAM count) {
    return ++*reinterpret_cast<int*>(count) < 3 ? TRUE : FALSE;
}

TEST_F(DesktopTest, TheShellHasAWindowAndAProcessWithAToken) {
    DWORD id = 0;
    const HWND window = ::GetShellWindow();
    ASSERT_NE(window, nullptr);
    EXPECT_NE(::GetWindowThreadProcessId(window, &id), 0U);
    EXPECT_EQ(id, machine.state.desktop->shellProcess);

    const HANDLE shell = ::OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, id);
    HANDLE shellToken = nullptr;

    EXPECT_TRUE(::OpenProcessToken(shell, TOKEN_DUPLICATE, &shellToken));
    EXPECT_TRUE(::CloseHandle(shellToken));
    EXPECT_TRUE(::CloseHandle(shell));
}

TEST_F(DesktopTest, WithoutAShellThereIsNoWindow) {
    machine.state.desktop->hasShell = false;

    EXPECT_EQ(::GetShellWindow(), nullptr);
}

TEST_F(DesktopTest, AShellThatGoesAwayHasNoProcess) {
    machine.state.desktop->shellProcess = 0;
    DWORD id = 17;

    EXPECT_EQ(::GetWindowThreadProcessId(::GetShellWindow(), &id), 0U);

    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_WINDOW_HANDLE});
    EXPECT_EQ(id, 17U);
    EXPECT_EQ(::OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, 0), nullptr);
}

TEST_F(DesktopTest, WindowsAreVisitedUntilTheCallbackHasEnough) {
    machine.state.desktop->otherWindows = 5;
    int count = 0;

    EXPECT_FALSE(::EnumWindows(countWindow, reinterpret_cast<LPARAM>(&count)));

    EXPECT_EQ(count, 3);
}

TEST_F(DesktopTest, AllWindowsAreVisited) {
    machine.state.desktop->otherWindows = 1;
    int count = 0;

    EXPECT_TRUE(::EnumWindows(countWindow, reinterpret_cast<LPARAM>(&count)));

    EXPECT_EQ(count, 2);
}

TEST_F(DesktopTest, ATokenMustBeAPrimaryOneWithTheRights) {
    machine.state.desktop->pretended.emplace();

    EXPECT_EQ(startError(nullptr, L"program"), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(startError(token(TOKEN_QUERY | TOKEN_DUPLICATE), L"program"),
              DWORD{ERROR_ACCESS_DENIED});
}

TEST_F(DesktopTest, ATokenForImpersonationStartsNothing) {
    machine.state.desktop->pretended.emplace();

    EXPECT_EQ(startError(token(kTokenRights, TokenImpersonation), L"program"),
              DWORD{ERROR_BAD_TOKEN_TYPE});
}

TEST_F(DesktopTest, APretendedProgramRunsUntilSomebodyWaits) {
    machine.state.desktop->pretended = {0, 0xFFFFFFF9};
    EXPECT_TRUE(start(token(), L"program argument"));

    EXPECT_EQ(exitCode(), DWORD{STILL_ACTIVE});
    EXPECT_EQ(::WaitForSingleObject(process.hProcess, 0), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(::WaitForSingleObject(process.hProcess, INFINITE), DWORD{WAIT_OBJECT_0});

    EXPECT_EQ(exitCode(), 0xFFFFFFF9U);
}

TEST_F(DesktopTest, APretendedStartMayFail) {
    machine.state.desktop->pretended = {ERROR_FILE_NOT_FOUND, 0};

    EXPECT_EQ(startError(token(), L"program"), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(DesktopTest, WrongArgumentsAreRefused) {
    machine.state.desktop->pretended.emplace();
    const HANDLE good = token();

    EXPECT_EQ(startError(good, nullptr), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(startError(good, L"program", (scratch / L"missing").c_str()), DWORD{ERROR_DIRECTORY});
}

TEST_F(DesktopTest, HandlesOfAProcessThatStayOpenAreLeaks) {
    mounted.expectLeaks({"process#1", "thread#1"});
    machine.state.desktop->pretended.emplace();

    EXPECT_TRUE(start(token(), L"program"));

    process = {};
}

TEST_F(DesktopTest, ARealProgramIsLookedForBesideThisOne) {
    EXPECT_TRUE(start(token(), L"probe.exe", scratch.path().c_str()));
    EXPECT_EQ(::WaitForSingleObject(process.hProcess, INFINITE), DWORD{WAIT_OBJECT_0});

    EXPECT_EQ(exitCode(), 0xFEDCBA98U);
}

TEST_F(DesktopTest, ARealProgramThatIsMissingDoesNotStart) {
    EXPECT_EQ(startError(token(), L"no-such-program.exe"), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(DesktopTest, TheMachinesOwnCompanionChangesTheMachine) {
    for (const wchar_t* const name : {L"A", L"a name"}) {
        standin::InstalledPackage package;
        package.fullName = name;
        package.users = {L"S-1-5-21-1", L"S-1-5-21-2"};
        machine.state.packages.push_back(package);
    }
    machine.state.tokenUser = L"S-1-5-21-1";
    machine.state.desktop->user = L"S-1-5-21-2";
    standin::writeMachine(scratch / L"machine.json", machine.state);
    machine.attachFile(scratch / L"machine.json");
    const std::wstring program = L'"' +
                                 programBeside(L"stand-in\\companion\\LSDKConfiguratorHelper.exe") +
                                 L"\" A unknown \"a name\"";

    EXPECT_TRUE(start(token(), program.c_str()));
    ::WaitForSingleObject(process.hProcess, INFINITE);

    EXPECT_EQ(exitCode(), 1U);
    for (const standin::InstalledPackage& package : machine.state.packages)
        EXPECT_THAT(package.users, ElementsAre(L"S-1-5-21-1"));
    EXPECT_FALSE(standin::readTrace(scratch / L"machine.json.companion.jsonl").empty());
}

TEST_F(DesktopTest, AProgramStartedAsSomebodyElseHasThatUsersToken) {
    machine.state.tokenUser = L"S-1-5-21-1";
    machine.runAs(L"S-1-5-21-2");
    BYTE buffer[128] = {};
    DWORD size = 0;

    ASSERT_TRUE(::GetTokenInformation(token(), TokenUser, buffer, sizeof(buffer), &size));

    wchar_t* text = nullptr;
    ASSERT_TRUE(::ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid, &text));
    EXPECT_STREQ(text, L"S-1-5-21-2");
    ::LocalFree(text);
}

}  // namespace
