#include <string_view>

#include "stand-in/ErrorInfo.h"
#include "stand-in/NetworkIsolationAbi.h"
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
    EXPECT_EQ(bytes[40], 0xDD);
}

TEST_F(LedgerTest, ADeletedStringIsOverwrittenWithItsLastReference) {
    HSTRING text = nullptr;
    HSTRING copy = nullptr;
    ::WindowsCreateString(L"text", 4, &text);
    ::WindowsDuplicateString(text, &copy);
    const std::wstring_view raw(::WindowsGetStringRawBuffer(text, nullptr), 4);

    ::WindowsDeleteString(copy);
    const std::wstring whileOneIsLeft(raw);
    ::WindowsDeleteString(text);

    EXPECT_EQ(whileOneIsLeft, L"text");
    EXPECT_EQ(raw, std::wstring(4, L'\xDDDD'));
}

TEST_F(LedgerTest, FreedTextsOfAnErrorAreOverwritten) {
    machine.state.errorObject = {E_ACCESSDENIED, L"description", L"restricted"};
    IRestrictedErrorInfo* info = nullptr;
    BSTR description = nullptr;
    BSTR restricted = nullptr;
    BSTR capability = nullptr;
    HRESULT error = S_OK;
    ::GetRestrictedErrorInfo(&info);
    info->GetErrorDetails(&description, &error, &restricted, &capability);
    info->Release();

    ::SysFreeString(description);

    EXPECT_EQ(std::wstring_view(description, 11), std::wstring(11, L'\xDDDD'));
    EXPECT_STREQ(restricted, L"restricted");
    ::SysFreeString(restricted);
}

TEST_F(LedgerTest, FreedBlocksOfTheProcessHeapAreOverwritten) {
    machine.state.network.emplace().exempt = {{L"S-1-15-2-1", 0x0A0B0C0D}};
    const HMODULE library = ::LoadLibraryW(L"Firewallapi.dll");
    const auto read = reinterpret_cast<decltype(&NetworkIsolationGetAppContainerConfig)>(
        reinterpret_cast<void*>(::GetProcAddress(library, "NetworkIsolationGetAppContainerConfig")));
    DWORD count = 0;
    SID_AND_ATTRIBUTES* exempt = nullptr;
    read(&count, &exempt);
    const auto* const sid = static_cast<const BYTE*>(exempt->Sid);
    const volatile DWORD& attributes = exempt->Attributes;

    ::HeapFree(::GetProcessHeap(), 0, exempt->Sid);
    const BYTE freedRevision = *sid;
    const DWORD keptAttributes = attributes;
    ::HeapFree(::GetProcessHeap(), 0, exempt);
    const DWORD freedAttributes = attributes;
    ::FreeLibrary(library);

    EXPECT_EQ(freedRevision, 0xDD);
    EXPECT_EQ(keptAttributes, 0x0A0B0C0DU);
    EXPECT_EQ(freedAttributes, 0xDDDDDDDDU);
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
