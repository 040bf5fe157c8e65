#include "support/MachineTest.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using TraceTest = MachineTest;

HKEY openKey(HKEY root, const wchar_t* path) {
    HKEY key = nullptr;
    ::RegCreateKeyExW(root, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    return key;
}

TEST_F(TraceTest, CallsStandInOrderWithArgumentsResultAndLastError) {
    ::CopyFileW(L"C:\\no such file", L"C:\\b c", FALSE);
    ::GetFileAttributesW(L"C:\\");
    ::DeleteFileW(L"C:\\no such file");

    EXPECT_THAT(machine.calls(),
                ElementsAre(R"(CopyFileW("C:\no such file", "C:\b c", 0) = 0, error 2)",
                            R"(GetFileAttributesW("C:\") = 0x10)",
                            R"(DeleteFileW("C:\no such file") = 0, error 2)"));
}

TEST_F(TraceTest, HandlesAreNumberedByKindInOrderOfOpening) {
    const HKEY first = openKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\First");
    const HKEY second = openKey(first, L"Second");
    ::RegCloseKey(second);
    ::RegCloseKey(first);

    EXPECT_THAT(
        machine.calls(),
        ElementsAre(
            R"(RegCreateKeyExW(HKEY_LOCAL_MACHINE, "SOFTWARE\First", 0, null, 0x0, 0xF003F, null, key#1, null) = 0)",
            R"(RegCreateKeyExW(key#1, "Second", 0, null, 0x0, 0xF003F, null, key#2, null) = 0)",
            "RegCloseKey(key#2) = 0", "RegCloseKey(key#1) = 0"));
}

TEST_F(TraceTest, AFailedCallShowsNoOutputs) {
    HKEY key = nullptr;
    ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"\\leading", 0, nullptr, 0, KEY_READ, nullptr, &key,
                      nullptr);

    EXPECT_THAT(
        machine.calls(),
        ElementsAre(
            R"(RegCreateKeyExW(HKEY_LOCAL_MACHINE, "\leading", 0, null, 0x0, 0x20019, null, out, null) = 161)"));
}

TEST_F(TraceTest, RegistryDataIsShownByteForByte) {
    const HKEY key = openKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Data");
    machine.trace.clear();
    const wchar_t text[] = L"ab";
    ::RegSetValueExW(key, L"name", 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE*>(text), 5);
    ::RegCloseKey(key);

    EXPECT_THAT(machine.calls({"RegSetValueExW"}),
                ElementsAre(R"(RegSetValueExW(key#1, "name", 0, 2, [61 00 62 00 00], 5) = 0)"));
}

TEST_F(TraceTest, SizesInAndOutAreBothShown) {
    registry.setText(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Data", L"name", L"text");
    const HKEY key = openKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Data");
    DWORD size = 0;
    ::RegGetValueW(key, nullptr, L"name", RRF_RT_ANY, nullptr, nullptr, &size);
    wchar_t text[10] = {};
    ::RegGetValueW(key, nullptr, L"name", RRF_RT_REG_SZ, nullptr, text, &size);
    ::RegCloseKey(key);

    EXPECT_THAT(machine.calls({"RegGetValueW"}),
                ElementsAre(R"(RegGetValueW(key#1, null, "name", 0xFFFF, null, null, 0->12) = 0)",
                            R"(RegGetValueW(key#1, null, "name", 0x2, null, given, 12->10) = 0)"));
}

TEST_F(TraceTest, WrittenBytesAreShownAsText) {
    const std::wstring path = scratch / L"a.txt";
    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    ::WriteFile(file, "a\r\n", 3, &written, nullptr);
    ::CloseHandle(file);

    EXPECT_THAT(machine.calls({"WriteFile", "CloseHandle"}),
                ElementsAre(R"(WriteFile(file#1, "a\u000D\u000A", 3, given, null) = 1)",
                            "CloseHandle(file#1) = 1"));
}

TEST_F(TraceTest, ShellListsAreShownUpToTheirDoubleZero) {
    SHFILEOPSTRUCTW operation = {};
    operation.wFunc = FO_COPY;
    operation.pFrom = L"C:\\missing folder\0C:\\second\0";
    operation.pTo = L"C:\\target\0";
    operation.fFlags = FOF_SILENT | FOF_NOCONFIRMATION | FOF_NOERRORUI;
    ::SHFileOperationW(&operation);

    EXPECT_THAT(
        machine.calls(),
        ElementsAre(
            R"(SHFileOperationW(window=null, func=2, from="C:\missing folder\0C:\second\0\0", to="C:\target\0\0", flags=0x414) = 1026)"));
}

TEST_F(TraceTest, PrivilegesAreShownByName) {
    TOKEN_PRIVILEGES state = {};
    state.PrivilegeCount = 1;
    state.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    ::LookupPrivilegeValueW(nullptr, L"SeBackupPrivilege", &state.Privileges[0].Luid);
    ::AdjustTokenPrivileges(nullptr, FALSE, &state, sizeof(state), nullptr, nullptr);

    EXPECT_THAT(
        machine.calls(),
        ElementsAre(
            R"(LookupPrivilegeValueW(null, "SeBackupPrivilege", out) = 1)",
            R"(AdjustTokenPrivileges(null, 0, ["SeBackupPrivilege" attributes 0x2], 16, null, null) = 0, error 6)"));
}

TEST_F(TraceTest, AccessEntriesAreShownFieldByField) {
    BYTE sid[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof(sid);
    ::CreateWellKnownSid(WinBuiltinUsersSid, nullptr, sid, &size);
    EXPLICIT_ACCESS_W entry = {};
    entry.grfAccessPermissions = GENERIC_READ;
    entry.grfAccessMode = GRANT_ACCESS;
    entry.grfInheritance = CONTAINER_INHERIT_ACE | OBJECT_INHERIT_ACE;
    entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    entry.Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
    entry.Trustee.ptstrName = reinterpret_cast<wchar_t*>(sid);
    PACL list = nullptr;
    ::SetEntriesInAclW(1, &entry, nullptr, &list);
    std::wstring path = scratch.path();
    ::SetNamedSecurityInfoW(path.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, sid, nullptr,
                            list, nullptr);
    ::LocalFree(list);

    const std::string folder(scratch.path().begin(), scratch.path().end());
    EXPECT_THAT(
        machine.calls({"SetEntriesInAclW", "SetNamedSecurityInfoW", "LocalFree"}),
        ElementsAre(
            "SetEntriesInAclW(1, [access=0x80000000 mode=1 inheritance=0x3 multiple=null operation=0 form=0 type=5 "
            "S-1-5-32-545], null, given) = 0",
            "SetNamedSecurityInfoW(\"" + folder +
                "\", 1, 0x4, S-1-5-32-545, null, [allow S-1-5-32-545 0x80000000 flags 0x3], null) = 0",
            "LocalFree(memory#1) = null"));
}

TEST_F(TraceTest, PlatformStringsAreShownAsText) {
    HSTRING text = nullptr;
    HSTRING copy = nullptr;
    ::WindowsCreateString(L"Grüße", 5, &text);
    ::WindowsDuplicateString(text, &copy);
    ::WindowsDeleteString(copy);
    ::WindowsDeleteString(text);

    EXPECT_THAT(machine.calls(), ElementsAre(R"(WindowsCreateString("Grüße", 5, "Grüße") = 0)",
                                             R"(WindowsDuplicateString("Grüße", "Grüße") = 0)",
                                             R"(WindowsDeleteString("Grüße") = 0)",
                                             R"(WindowsDeleteString("Grüße") = 0)"));
}

TEST_F(TraceTest, HooksKeepTheLastErrorAsTheCallLeftIt) {
    ::SetLastError(4711);
    ::GetProcessHeap();
    const DWORD keptBySuccess = ::GetLastError();
    ::DeleteFileW(L"C:\\no such file");
    const DWORD setByFailure = ::GetLastError();
    ::SetLastError(4712);
    ::LocalFree(nullptr);
    const DWORD keptByServedCall = ::GetLastError();

    EXPECT_EQ(keptBySuccess, 4711u);
    EXPECT_EQ(setByFailure, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(keptByServedCall, 4712u);
}

TEST_F(TraceTest, ACallMadeWithinAnotherStandsBehindIt) {
    machine.onCall("GetSystemTimeAsFileTime", [] { ::GetProcessHeap(); });
    FILETIME now = {};

    ::GetSystemTimeAsFileTime(&now);

    ASSERT_EQ(machine.trace.all().size(), 2u);
    EXPECT_EQ(machine.trace.all()[0].name, "GetSystemTimeAsFileTime");
    EXPECT_EQ(machine.trace.all()[1].name, "GetProcessHeap");
}

TEST_F(TraceTest, LateBoundFunctionsAreCallsToo) {
    const HMODULE library = ::LoadLibraryW(L"Advapi32.dll");
    const FARPROC found = ::GetProcAddress(library, "CreateProcessWithTokenW");
    const auto create = reinterpret_cast<decltype(&::CreateProcessWithTokenW)>(
        reinterpret_cast<void*>(found));
    wchar_t commandLine[] = L"\"no such program\" -x";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    machine.failNext("CreateProcessWithTokenW", ERROR_ACCESS_DENIED);
    const BOOL created = create(nullptr, 0, nullptr, commandLine, 0, nullptr, L"C:\\", &startup,
                                &process);
    ::FreeLibrary(library);

    EXPECT_FALSE(created);
    EXPECT_THAT(
        machine.calls(),
        ElementsAre(
            R"(LoadLibraryW("Advapi32.dll") = library#1)",
            R"(GetProcAddress(library#1, "CreateProcessWithTokenW") = given)",
            R"(CreateProcessWithTokenW(null, 0x0, null, ""no such program" -x", 0x0, null, "C:\", [size=104 desktop=null flags=0x0 show=0], given) = 0, error 5 (injected))",
            "FreeLibrary(library#1) = 1"));
}

TEST_F(TraceTest, NothingIsNotedWhileStoppedOrUntraced) {
    machine.trace.stop();
    ::GetProcessHeap();
    machine.trace.start();
    {
        const standin::Untraced untraced;
        ::GetProcessHeap();
    }

    EXPECT_THAT(machine.calls(), IsEmpty());
}

TEST_F(TraceTest, ThrownExceptionsOfTheProgramAreNoCalls) {
    try {
        throw 1;
    } catch (int) {
    }

    EXPECT_THAT(machine.calls({"RaiseException"}), IsEmpty());
}

}  // namespace
