#include <optional>

#include "run/ExecutablePermissions.h"
#include "support/LogTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

static_assert((TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY) == 40);
static_assert(SE_PRIVILEGE_ENABLED == 2);
static_assert(sizeof(TOKEN_PRIVILEGES) == 16);

constexpr const wchar_t* kPrivileges[] = {L"SeTakeOwnershipPrivilege", L"SeBackupPrivilege",
                                          L"SeRestorePrivilege"};

// The process's own token, changed and asked by the test.
class OwnToken {
public:
    OwnToken() {
        const standin::Untraced untraced;
        ::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &m_token);
    }
    ~OwnToken() {
        const standin::Untraced untraced;
        ::CloseHandle(m_token);
    }
    OwnToken(const OwnToken&) = delete;
    OwnToken& operator=(const OwnToken&) = delete;

    void disableAll() {
        const standin::Untraced untraced;
        ::AdjustTokenPrivileges(m_token, TRUE, nullptr, 0, nullptr, nullptr);
    }
    void remove(const wchar_t* name) {
        const standin::Untraced untraced;
        TOKEN_PRIVILEGES privileges = {};
        privileges.PrivilegeCount = 1;
        privileges.Privileges[0] = {idOf(name), SE_PRIVILEGE_REMOVED};
        ::AdjustTokenPrivileges(m_token, FALSE, &privileges, 0, nullptr, nullptr);
    }
    bool isEnabled(const wchar_t* name) const {
        const standin::Untraced untraced;
        alignas(TOKEN_PRIVILEGES) BYTE buffer[4096] = {};
        DWORD size = 0;
        ::GetTokenInformation(m_token, TokenPrivileges, buffer, sizeof(buffer), &size);
        const auto* const held = reinterpret_cast<const TOKEN_PRIVILEGES*>(buffer);
        const LUID wanted = idOf(name);
        for (DWORD i = 0; i < held->PrivilegeCount; ++i) {
            const LUID_AND_ATTRIBUTES& privilege = held->Privileges[i];
            if (privilege.Luid.LowPart == wanted.LowPart)
                return (privilege.Attributes & SE_PRIVILEGE_ENABLED) != 0;
        }
        return false;
    }

private:
    static LUID idOf(const wchar_t* name) {
        LUID id = {};
        ::LookupPrivilegeValueW(nullptr, name, &id);
        return id;
    }

    HANDLE m_token = nullptr;
};

class Privileges : public LogTest {
protected:
    std::vector<bool> enabledOnes() const {
        std::vector<bool> enabled;
        for (const wchar_t* name : kPrivileges)
            enabled.push_back(token.isEnabled(name));
        return enabled;
    }

    OwnToken token;
    std::optional<ExecutablePermissions> record{std::in_place};
};

TEST_F(Privileges, AreEnabledOneByOneOnTheTokenThatStaysOpen) {
    token.disableAll();
    machine.trace.clear();

    EXPECT_EQ(record->enablePrivileges(), 1);

    EXPECT_THAT(
        machine.calls({"GetCurrentProcess", "OpenProcessToken", "LookupPrivilegeValueW",
                       "AdjustTokenPrivileges", "CloseHandle"}),
        ElementsAre(
            testing::StartsWith("GetCurrentProcess() = "), "OpenProcessToken(-1, 0x28, token#1) = 1",
            "LookupPrivilegeValueW(null, \"SeTakeOwnershipPrivilege\", out) = 1",
            "AdjustTokenPrivileges(token#1, 0, [\"SeTakeOwnershipPrivilege\" attributes 0x2], 16, null, null) = 1",
            "LookupPrivilegeValueW(null, \"SeBackupPrivilege\", out) = 1",
            "AdjustTokenPrivileges(token#1, 0, [\"SeBackupPrivilege\" attributes 0x2], 16, null, null) = 1",
            "LookupPrivilegeValueW(null, \"SeRestorePrivilege\", out) = 1",
            "AdjustTokenPrivileges(token#1, 0, [\"SeRestorePrivilege\" attributes 0x2], 16, null, null) = 1"));
    EXPECT_THAT(enabledOnes(), ElementsAre(true, true, true));
    EXPECT_EQ(machine.ledger.nameOf(record->m_token), "token#1");
    EXPECT_EQ(logText(), "Starting\n");
}

TEST_F(Privileges, TokenThatLacksOnePassesAndTheOthersAreEnabled) {
    token.disableAll();
    token.remove(L"SeBackupPrivilege");
    std::vector<DWORD> errors;
    machine.onCall("AdjustTokenPrivileges", [&] { errors.push_back(::GetLastError()); });

    EXPECT_EQ(record->enablePrivileges(), 1);

    ASSERT_THAT(errors, SizeIs(3));
    EXPECT_EQ(errors[1], DWORD{ERROR_NOT_ALL_ASSIGNED});
    EXPECT_THAT(enabledOnes(), ElementsAre(true, false, true));
    EXPECT_EQ(logText(), "Starting\n");
}

TEST_F(Privileges, TokenThatCannotBeOpenedIsLoggedWithoutALineEnd) {
    machine.failNext("OpenProcessToken", ERROR_ACCESS_DENIED);

    EXPECT_EQ(record->enablePrivileges(), 0);

    EXPECT_EQ(machine.trace.count("LookupPrivilegeValueW"), 0U);
    EXPECT_EQ(withoutTimes(readFile(logPath())), "Starting\n");
    EXPECT_EQ(logText(), "Starting\nOpenProcessToken failed. GetLastError returned:5");
}

TEST_F(Privileges, TokenThatCannotBeOpenedIsNullAndNotClosed) {
    const auto open = replaceImport<decltype(&::OpenProcessToken)>(
        "OpenProcessToken", [](auto, HANDLE, DWORD, PHANDLE place) -> BOOL {
            *place = reinterpret_cast<HANDLE>(0x1234);
            ::SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        });

    EXPECT_EQ(record->enablePrivileges(), 0);

    EXPECT_EQ(record->m_token, nullptr);
    record.reset();
    EXPECT_EQ(machine.trace.count("CloseHandle"), 0U);
}

TEST_F(Privileges, UnknownNameEndsTheStepAndThePrivilegesBeforeStayEnabled) {
    const struct {
        size_t nth;
        const char* line;
        std::vector<bool> enabled;
    } rows[] = {
        {1,
         "LookupPrivilegeValue Error 1313 for privilege SeTakeOwnershipPrivilege.\n",
         {false, false, false}},
        {2, "LookupPrivilegeValue Error 1313 for privilege SeBackupPrivilege.\n", {true, false, false}},
        {3, "LookupPrivilegeValue Error 1313 for privilege SeRestorePrivilege.\n", {true, true, false}},
    };
    std::string expected;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        token.disableAll();
        machine.trace.clear();
        machine.faults.clear();
        machine.failNth("LookupPrivilegeValueW", row.nth, ERROR_NO_SUCH_PRIVILEGE);
        record.emplace();

        EXPECT_EQ(record->enablePrivileges(), 0);

        EXPECT_EQ(machine.trace.count("LookupPrivilegeValueW"), row.nth);
        EXPECT_EQ(machine.trace.count("AdjustTokenPrivileges"), row.nth - 1);
        EXPECT_EQ(enabledOnes(), row.enabled);
        EXPECT_NE(record->m_token, nullptr);
        expected += std::string("Starting\n") + row.line;
        EXPECT_EQ(logText(), expected);
    }
}

TEST_F(Privileges, RefusedAdjustmentEndsTheStepAndThePrivilegesBeforeStayEnabled) {
    const struct {
        size_t nth;
        const char* line;
        std::vector<bool> enabled;
    } rows[] = {
        {1,
         "AdjustTokenPrivileges Error 5 for privilege SeTakeOwnershipPrivilege.\n",
         {false, false, false}},
        {2, "AdjustTokenPrivileges Error 5 for privilege SeBackupPrivilege.\n", {true, false, false}},
        {3, "AdjustTokenPrivileges Error 5 for privilege SeRestorePrivilege.\n", {true, true, false}},
    };
    std::string expected;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        token.disableAll();
        machine.trace.clear();
        machine.faults.clear();
        machine.failNth("AdjustTokenPrivileges", row.nth, ERROR_ACCESS_DENIED);
        record.emplace();

        EXPECT_EQ(record->enablePrivileges(), 0);

        EXPECT_EQ(machine.trace.count("AdjustTokenPrivileges"), row.nth);
        EXPECT_EQ(enabledOnes(), row.enabled);
        expected += std::string("Starting\n") + row.line;
        EXPECT_EQ(logText(), expected);
    }
}

// A log line asks the clock, which may change the last error.
TEST_F(Privileges, ErrorsAreThoseOfTheCallAndNotOfTheLogLine) {
    const struct {
        const char* call;
        const char* text;
    } rows[] = {
        {"OpenProcessToken", "Starting\nOpenProcessToken failed. GetLastError returned:5"},
        {"LookupPrivilegeValueW",
         "[]Starting\nLookupPrivilegeValue Error 5 for privilege SeTakeOwnershipPrivilege.\n"},
        {"AdjustTokenPrivileges",
         "Starting\nAdjustTokenPrivileges Error 5 for privilege SeTakeOwnershipPrivilege.\n"},
    };
    machine.onCall("GetSystemTimeAsFileTime", [] { ::SetLastError(ERROR_INVALID_HANDLE); });
    std::string expected;
    for (const auto& row : rows) {
        machine.faults.clear();
        machine.failNext(row.call, ERROR_ACCESS_DENIED);
        record.emplace();

        record->enablePrivileges();

        expected += row.text;
        EXPECT_EQ(logText(), expected);
    }
}

TEST_F(Privileges, TokenIsClosedOnceAtTheEndOfTheRecord) {
    record->enablePrivileges();

    record.reset();

    EXPECT_THAT(machine.calls({"CloseHandle"}), ElementsAre("CloseHandle(token#1) = 1"));
    EXPECT_THAT(machine.ledger.leaks(), IsEmpty());
}

}  // namespace
