#include "stand-in/NetworkIsolationAbi.h"
#include "support/MachineTest.h"

using standin::ExemptSid;
using standin::abi::FirewallAppContainer;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr wchar_t kSid[] = L"S-1-15-2-1-2-3";

std::wstring textOf(PSID sid) {
    wchar_t* text = nullptr;
    if (!::ConvertSidToStringSidW(sid, &text)) return L"invalid";
    std::wstring copy = text;
    ::LocalFree(text);
    return copy;
}

class NetworkIsolationTest : public MachineTest {
protected:
    NetworkIsolationTest() {
        machine.state.network.emplace();
        machine.state.network->containers = {{L"name", L"shown", L"whole", kSid},
                                             {std::nullopt, std::nullopt, std::nullopt, L""}};
        machine.state.network->exempt = {{L"S-1-15-2-7", 4}};
    }

    template <typename Function>
    static Function* find(HMODULE module, const char* name) {
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
    }

    HMODULE load() {
        const HMODULE library = ::LoadLibraryW(L"FIREWALLAPI.dll");
        enumerate = find<decltype(NetworkIsolationEnumAppContainers)>(
            library, "NetworkIsolationEnumAppContainers");
        getConfig = find<decltype(NetworkIsolationGetAppContainerConfig)>(
            library, "NetworkIsolationGetAppContainerConfig");
        setConfig = find<decltype(NetworkIsolationSetAppContainerConfig)>(
            library, "NetworkIsolationSetAppContainerConfig");
        giveBack = find<decltype(NetworkIsolationFreeAppContainers)>(
            library, "NetworkIsolationFreeAppContainers");
        return library;
    }

    decltype(NetworkIsolationEnumAppContainers)* enumerate = nullptr;
    decltype(NetworkIsolationGetAppContainerConfig)* getConfig = nullptr;
    decltype(NetworkIsolationSetAppContainerConfig)* setConfig = nullptr;
    decltype(NetworkIsolationFreeAppContainers)* giveBack = nullptr;
    DWORD count = 0;
    FirewallAppContainer* containers = nullptr;
    SID_AND_ATTRIBUTES* exempt = nullptr;
};

TEST_F(NetworkIsolationTest, ListsTheContainers) {
    const HMODULE library = load();

    EXPECT_EQ(enumerate(2, &count, &containers), 0U);

    ASSERT_EQ(count, 2U);
    EXPECT_STREQ(containers[0].appContainerName, L"name");
    EXPECT_STREQ(containers[0].displayName, L"shown");
    EXPECT_STREQ(containers[0].packageFullName, L"whole");
    EXPECT_EQ(textOf(containers[0].appContainerSid), kSid);
    EXPECT_EQ(containers[1].appContainerName, nullptr);
    EXPECT_EQ(containers[1].appContainerSid, nullptr);
    giveBack(containers);
    ::FreeLibrary(library);
}

TEST_F(NetworkIsolationTest, WhatWasGivenBackCannotBeRead) {
    const HMODULE library = load();
    enumerate(0, &count, &containers);
    const wchar_t* const text = containers[0].packageFullName;

    giveBack(containers);

    MEMORY_BASIC_INFORMATION memory = {};
    for (const void* const place :
         {static_cast<const void*>(containers), static_cast<const void*>(text)}) {
        ASSERT_NE(::VirtualQuery(place, &memory, sizeof(memory)), 0U);
        EXPECT_EQ(memory.Protect, static_cast<DWORD>(PAGE_NOACCESS));
    }
    ::FreeLibrary(library);
}

TEST_F(NetworkIsolationTest, ContainersThatAreNotGivenBackAreALeak) {
    mounted.expectLeaks({"containers#1"});
    const HMODULE library = load();

    enumerate(2, &count, &containers);

    ::FreeLibrary(library);
}

TEST_F(NetworkIsolationTest, ContainersThatAreGivenBackTwiceAreNoted) {
    mounted.expectDoubleReleases({"containers#1"});
    mounted.expectMisuse({"NetworkIsolationFreeAppContainers of what is not out"});
    const HMODULE library = load();
    enumerate(2, &count, &containers);

    giveBack(containers);
    EXPECT_NE(giveBack(containers), 0U);

    ::FreeLibrary(library);
}

TEST_F(NetworkIsolationTest, TheExemptListIsHeapMemoryOfTheCaller) {
    const HMODULE library = load();

    EXPECT_EQ(getConfig(&count, &exempt), 0U);

    ASSERT_EQ(count, 1U);
    EXPECT_EQ(textOf(exempt[0].Sid), L"S-1-15-2-7");
    EXPECT_EQ(exempt[0].Attributes, 4U);
    EXPECT_TRUE(::HeapFree(::GetProcessHeap(), 0, exempt[0].Sid));
    EXPECT_TRUE(::HeapFree(::GetProcessHeap(), 0, exempt));
    ::FreeLibrary(library);
}

TEST_F(NetworkIsolationTest, HeapMemoryIsCountedAndWatched) {
    mounted.expectLeaks({"heap#2"});
    mounted.expectDoubleReleases({"heap#1"});
    mounted.expectMisuse({"HeapFree of heap#2 to another heap",
                          "HeapFree(given, 0x0, heap#1) = 0, error 87: heap#1 was given back before"});
    const HMODULE library = load();
    getConfig(&count, &exempt);
    void* const sid = exempt[0].Sid;
    const HANDLE other = ::HeapCreate(0, 0, 0);

    EXPECT_FALSE(::HeapFree(other, 0, sid));
    EXPECT_TRUE(::HeapFree(::GetProcessHeap(), 0, exempt));
    EXPECT_FALSE(::HeapFree(::GetProcessHeap(), 0, exempt));

    ::HeapDestroy(other);
    ::FreeLibrary(library);
}

TEST_F(NetworkIsolationTest, AnEmptyExemptListIsAllocatedToo) {
    machine.state.network->exempt.clear();
    const HMODULE library = load();

    EXPECT_EQ(getConfig(&count, &exempt), 0U);

    EXPECT_EQ(count, 0U);
    EXPECT_TRUE(::HeapFree(::GetProcessHeap(), 0, exempt));
    ::FreeLibrary(library);
}

TEST_F(NetworkIsolationTest, TheExemptListBecomesWhatIsSet) {
    const HMODULE library = load();
    PSID sid = nullptr;
    ::ConvertStringSidToSidW(kSid, &sid);
    SID_AND_ATTRIBUTES wanted[] = {{sid, 1}, {sid, 0}};

    EXPECT_EQ(setConfig(2, wanted), 0U);

    EXPECT_THAT(machine.state.network->exempt, ElementsAre(ExemptSid{kSid, 1}, ExemptSid{kSid, 0}));
    EXPECT_THAT(
        machine.calls({"NetworkIsolationSetAppContainerConfig"}),
        ElementsAre(
            "NetworkIsolationSetAppContainerConfig(2, [S-1-15-2-1-2-3 attributes 0x1; S-1-15-2-1-2-3 attributes 0x0]) = 0"));
    EXPECT_EQ(setConfig(0, nullptr), 0U);
    EXPECT_THAT(machine.state.network->exempt, IsEmpty());
    ::LocalFree(sid);
    ::FreeLibrary(library);
}

TEST_F(NetworkIsolationTest, WrongArgumentsAreRefused) {
    const HMODULE library = load();
    BYTE noSid[64] = {0xDD};
    SID_AND_ATTRIBUTES invalid[] = {{noSid, 0}};
    SID_AND_ATTRIBUTES none[] = {{nullptr, 0}};

    EXPECT_EQ(enumerate(3, &count, &containers), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(enumerate(2, nullptr, &containers), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(enumerate(2, &count, nullptr), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(getConfig(nullptr, &exempt), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(getConfig(&count, nullptr), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(setConfig(1, nullptr), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(setConfig(1, invalid), DWORD{ERROR_INVALID_SID});
    EXPECT_EQ(setConfig(1, none), DWORD{ERROR_INVALID_SID});

    EXPECT_THAT(machine.state.network->exempt, ElementsAre(ExemptSid{L"S-1-15-2-7", 4}));
    ::FreeLibrary(library);
}

TEST_F(NetworkIsolationTest, AFunctionMayBeMissing) {
    machine.state.network->missingFunctions = {"NetworkIsolationEnumAppContainers"};
    const HMODULE library = load();

    EXPECT_EQ(enumerate, nullptr);
    EXPECT_NE(getConfig, nullptr);
    EXPECT_EQ(::GetProcAddress(library, "CopyFileW"), nullptr);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_PROC_NOT_FOUND});
    ::FreeLibrary(library);
}

TEST_F(NetworkIsolationTest, FunctionsOfALibraryThatWasUnloadedAreMisused) {
    mounted.expectDoubleReleases({"library#1"});
    mounted.expectMisuse({"NetworkIsolationEnumAppContainers of a library that is not loaded",
                          "NetworkIsolationFreeAppContainers of a library that is not loaded"});
    const HMODULE library = load();
    ::FreeLibrary(library);

    enumerate(2, &count, &containers);
    giveBack(containers);

    EXPECT_FALSE(::FreeLibrary(library));
}

TEST_F(NetworkIsolationTest, AMachineWithoutItHasWhatTheSystemHas) {
    const bool isThere = ::GetFileAttributesW(L"C:\\windows\\system32\\Firewallapi.dll") !=
                         INVALID_FILE_ATTRIBUTES;
    machine.state.network.reset();

    const HMODULE library = ::LoadLibraryW(L"Firewallapi.dll");

    EXPECT_EQ(library != nullptr, isThere);
    if (library != nullptr) ::FreeLibrary(library);
}

}  // namespace
