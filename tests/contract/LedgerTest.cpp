#include "support/MachineTest.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using LedgerTest = MachineTest;

TEST_F(LedgerTest, WhatIsStillOutIsALeakByName) {
    HKEY key = nullptr;
    ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\a", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                      &key, nullptr);
    HSTRING text = nullptr;
    HSTRING copy = nullptr;
    ::WindowsCreateString(L"text", 4, &text);
    ::WindowsDuplicateString(text, &copy);
    HANDLE token = nullptr;
    ::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token);
    WIN32_FIND_DATAW found = {};
    const HANDLE search = ::FindFirstFileW(L"C:\\*", &found);
    void* const memory = ::LocalAlloc(LMEM_FIXED, 10);

    const auto leaks = machine.ledger.leaks();
    ::LocalFree(memory);
    ::FindClose(search);
    ::CloseHandle(token);
    ::WindowsDeleteString(copy);
    ::WindowsDeleteString(text);
    ::RegCloseKey(key);

    EXPECT_THAT(leaks, ElementsAre("key#1", "string#1 (2)", "token#1", "search#1", "memory#1"));
    EXPECT_THAT(machine.ledger.leaks(), IsEmpty());
}

TEST_F(LedgerTest, AllocatingFunctionsHandOutMemory) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ::ConvertStringSecurityDescriptorToSecurityDescriptorW(L"S:(ML;;NW;;;ME)", SDDL_REVISION_1,
                                                           &descriptor, nullptr);
    BYTE sid[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof(sid);
    ::CreateWellKnownSid(WinLocalSystemSid, nullptr, sid, &size);
    wchar_t* text = nullptr;
    ::ConvertSidToStringSidW(sid, &text);
    PSECURITY_DESCRIPTOR ofFolder = nullptr;
    ::GetNamedSecurityInfoW(scratch.path().c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                            nullptr, nullptr, nullptr, nullptr, &ofFolder);

    const auto leaks = machine.ledger.leaks();
    ::LocalFree(descriptor);
    ::LocalFree(text);
    ::LocalFree(ofFolder);

    EXPECT_THAT(leaks, ElementsAre("memory#1", "memory#2", "memory#3"));
}

TEST_F(LedgerTest, SecondReleasesAreNotedAndHarmNothing) {
    void* const memory = ::LocalAlloc(LMEM_FIXED, 10);
    ::LocalFree(memory);
    ::LocalFree(memory);
    HSTRING text = nullptr;
    ::WindowsCreateString(L"text", 4, &text);
    ::WindowsDeleteString(text);
    ::WindowsDeleteString(text);
    WIN32_FIND_DATAW found = {};
    const HANDLE search = ::FindFirstFileW(L"C:\\*", &found);
    ::FindClose(search);
    const BOOL closedAgain = ::FindClose(search);

    EXPECT_FALSE(closedAgain);
    EXPECT_THAT(machine.ledger.doubleReleases(), ElementsAre("memory#1", "string#1", "search#1"));
    mounted.expectDoubleReleases({"memory#1", "string#1", "search#1"});
    mounted.expectMisuse({"FindClose(search#1) = 0, error 6: search#1 was given back before"});
}

TEST_F(LedgerTest, AHandleUsedAfterItsEndIsNoted) {
    HKEY key = nullptr;
    ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\a", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                      &key, nullptr);
    ::RegCloseKey(key);
    ::RegCopyTreeW(key, nullptr, HKEY_USERS);

    EXPECT_THAT(
        machine.ledger.misuse(),
        ElementsAre("RegCopyTreeW(key#1, null, HKEY_USERS) = 6: key#1 was given back before"));
    mounted.expectMisuse(machine.ledger.misuse());
}

TEST_F(LedgerTest, AStringUsedAfterItsEndIsNoted) {
    HSTRING text = nullptr;
    ::WindowsCreateString(L"text", 4, &text);
    ::WindowsDeleteString(text);
    machine.failNext("WindowsDuplicateString", static_cast<DWORD>(E_OUTOFMEMORY));
    HSTRING copy = nullptr;
    ::WindowsDuplicateString(text, &copy);

    EXPECT_THAT(machine.ledger.misuse(),
                ElementsAre("WindowsDuplicateString with string#1, which was released"));
    mounted.expectMisuse(machine.ledger.misuse());
}

TEST_F(LedgerTest, FreedMemoryIsOverwritten) {
    auto* const bytes = static_cast<volatile unsigned char*>(::LocalAlloc(LMEM_FIXED, 64));
    bytes[40] = 1;
    unsigned char seen = 0;
    machine.failNext("LocalFree", 1);  // the block stays, as a failed release leaves it

    ::LocalFree(const_cast<unsigned char*>(bytes));
    seen = bytes[40];
    ::LocalFree(const_cast<unsigned char*>(bytes));

    EXPECT_EQ(seen, 1);
    EXPECT_NE(bytes[40], 1);
}

TEST_F(LedgerTest, HandlesOfOthersAreLeftAlone) {
    const HANDLE event = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);

    const DWORD waited = ::WaitForSingleObject(event, 0);
    const BOOL closed = ::CloseHandle(event);

    EXPECT_EQ(waited, WAIT_OBJECT_0);
    EXPECT_TRUE(closed);
    EXPECT_THAT(machine.calls(), IsEmpty());
}

}  // namespace
