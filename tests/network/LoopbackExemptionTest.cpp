#include "network/LoopbackExemption.h"
#include "platform/NetworkIsolation.h"

#include "IsolationTest.h"

namespace {

using standin::ExemptSid;
using ::testing::ElementsAre;

using LoopbackExemptionTest = IsolationTest;

TEST_F(LoopbackExemptionTest, AddsTheContainerToAnEmptyList) {
    EXPECT_TRUE(enableLoopback(kFamily));

    EXPECT_THAT(machine.state.network->exempt, ElementsAre(ExemptSid{kSid, 0}));
}

// Required: the line has no end; the next entry continues it.
TEST_F(LoopbackExemptionTest, WhatWasFoundIsLoggedWithoutALineEnd) {
    enableLoopback(kFamily);
    g_configuratorLog->beginLine() << "next" << std::endl;

    EXPECT_EQ(logText(), "found Velta.QK_1a2b3c whole Velta.QK_1a2b3c Velta.QK_1a2b3c shown[]next\n");
}

TEST_F(LoopbackExemptionTest, TheCallsComeInOrderAndEverythingIsGivenBack) {
    machine.state.network->exempt = {{kOtherSid, 4}, {kStaleSid, 0}};

    EXPECT_TRUE(enableLoopback(kFamily));

    EXPECT_THAT(
        isolationCalls(),
        ElementsAre(
            "LoadLibraryW(\"Firewallapi.dll\") = library#1",
            "GetProcAddress(library#1, \"NetworkIsolationEnumAppContainers\") = given",
            "GetProcAddress(library#1, \"NetworkIsolationSetAppContainerConfig\") = given",
            "GetProcAddress(library#1, \"NetworkIsolationGetAppContainerConfig\") = given",
            "GetProcAddress(library#1, \"NetworkIsolationFreeAppContainers\") = given",
            "NetworkIsolationEnumAppContainers(2, 1, out) = 0",
            "NetworkIsolationGetAppContainerConfig(2, out) = 0",
            "NetworkIsolationSetAppContainerConfig(3, [S-1-15-2-9-9-9-9-9-9-9 attributes 0x4; S-1-15-2-8-8-8-8-8-8-8 attributes 0x0; S-1-15-2-1-2-3-4-5-6-7 attributes 0x0]) = 0",
            "HeapFree(given, 0x0, heap#2) = 1", "HeapFree(given, 0x0, heap#3) = 1",
            "HeapFree(given, 0x0, heap#1) = 1",
            "NetworkIsolationFreeAppContainers(containers#1) = 0", "FreeLibrary(library#1) = 1"));
}

TEST_F(LoopbackExemptionTest, WhatIsExemptAlreadyStaysInItsOrder) {
    machine.state.network->exempt = {{kOtherSid, 4}, {kStaleSid, 7}};

    EXPECT_TRUE(enableLoopback(kFamily));

    EXPECT_THAT(machine.state.network->exempt,
                ElementsAre(ExemptSid{kOtherSid, 4}, ExemptSid{kStaleSid, 7}, ExemptSid{kSid, 0}));
}

// Required: nobody looks whether the SID is there already.
TEST_F(LoopbackExemptionTest, SecondRunAddsTheSidAgain) {
    EXPECT_TRUE(enableLoopback(kFamily));
    EXPECT_TRUE(enableLoopback(kFamily));

    EXPECT_THAT(machine.state.network->exempt, ElementsAre(ExemptSid{kSid, 0}, ExemptSid{kSid, 0}));
}

TEST_F(LoopbackExemptionTest, TheNameIsComparedWithoutRegardToCase) {
    EXPECT_TRUE(enableLoopback(L"vELTA.qk_1A2B3C"));

    EXPECT_THAT(machine.state.network->exempt, ElementsAre(ExemptSid{kSid, 0}));
    EXPECT_EQ(logText(), "found Velta.QK_1a2b3c whole Velta.QK_1a2b3c Velta.QK_1a2b3c shown");
}

TEST_F(LoopbackExemptionTest, OfTwoContainersOfOneNameTheFirstIsExempted) {
    add(kFamily, kOtherSid);

    EXPECT_TRUE(enableLoopback(kFamily));

    EXPECT_THAT(machine.state.network->exempt, ElementsAre(ExemptSid{kSid, 0}));
    EXPECT_EQ(machine.trace.count("_wcsicmp"), 1U);
}

TEST_F(LoopbackExemptionTest, TheWalkStopsAtTheMatch) {
    machine.state.network->containers.clear();
    add(L"before", kOtherSid);
    add(kFamily, kSid);
    add(L"behind", kStaleSid);

    EXPECT_TRUE(enableLoopback(kFamily));

    EXPECT_EQ(machine.trace.count("_wcsicmp"), 2U);
}

TEST_F(LoopbackExemptionTest, TheDisplayNameDoesNotMatch) {
    machine.state.network->containers.clear();
    add(L"another", kOtherSid).displayName = kFamily;

    EXPECT_FALSE(enableLoopback(kFamily));
}

TEST_F(LoopbackExemptionTest, MissingTextsCountAsEmpty) {
    machine.state.network->containers = {{std::nullopt, std::nullopt, std::nullopt, kOtherSid},
                                         {kFamily, std::nullopt, std::nullopt, kSid}};

    EXPECT_TRUE(enableLoopback(kFamily));

    EXPECT_EQ(logText(), "found  Velta.QK_1a2b3c ");
    EXPECT_THAT(machine.state.network->exempt, ElementsAre(ExemptSid{kSid, 0}));
}

TEST_F(LoopbackExemptionTest, AnEmptyFamilyNameMatchesAMissingOne) {
    machine.state.network->containers = {{std::nullopt, std::nullopt, std::nullopt, kOtherSid}};

    EXPECT_TRUE(enableLoopback(L""));

    EXPECT_EQ(logText(), "found   ");
    EXPECT_THAT(machine.state.network->exempt, ElementsAre(ExemptSid{kOtherSid, 0}));
}

// An empty list may be none at all.
DWORD WINAPI listNoContainers(DWORD, DWORD* count, INET_FIREWALL_APP_CONTAINER** list) {
    *count = 0;
    *list = nullptr;
    return ERROR_SUCCESS;
}
DWORD WINAPI listNoExemptions(DWORD* count, SID_AND_ATTRIBUTES** list) {
    *count = 0;
    *list = nullptr;
    return ERROR_SUCCESS;
}

// Whoever looks the function up in a library gets this one.
template <typename Function>
auto supply(std::string_view name, Function* function) {
    return replaceImport<decltype(&::GetProcAddress)>(
        "GetProcAddress", [=](auto real, HMODULE library, LPCSTR wanted) -> FARPROC {
            if (wanted != name) return real(library, wanted);
            return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
        });
}

TEST_F(LoopbackExemptionTest, WithoutAListOfContainersNoneIsFoundAndNothingIsGivenBack) {
    const auto empty = supply("NetworkIsolationEnumAppContainers", &listNoContainers);

    EXPECT_FALSE(enableLoopback(kFamily));

    EXPECT_EQ(logText(), "Unable to find SID for appVelta.QK_1a2b3c");
    EXPECT_EQ(machine.trace.count("NetworkIsolationFreeAppContainers"), 0U);
}

TEST_F(LoopbackExemptionTest, WithoutAListOfExemptionsTheContainerIsTheFirst) {
    const auto empty = supply("NetworkIsolationGetAppContainerConfig", &listNoExemptions);

    EXPECT_TRUE(enableLoopback(kFamily));

    EXPECT_THAT(machine.state.network->exempt, ElementsAre(ExemptSid{kSid, 0}));
    EXPECT_EQ(machine.trace.count("HeapFree"), 0U);
}

TEST_F(LoopbackExemptionTest, FindsOneAmongTenThousand) {
    machine.state.network->containers.clear();
    for (int i = 0; i < 10'000; ++i)
        add(L"container " + std::to_wstring(i), kOtherSid);
    add(kFamily, kSid);
    for (int i = 0; i < 1'000; ++i)
        machine.state.network->exempt.push_back({L"S-1-15-2-" + std::to_wstring(i), 0});

    EXPECT_TRUE(enableLoopback(kFamily));

    EXPECT_EQ(machine.state.network->exempt.size(), 1'001U);
    EXPECT_EQ(machine.state.network->exempt.back(), (ExemptSid{kSid, 0}));
    EXPECT_EQ(machine.trace.count("_wcsicmp"), 10'001U);
    EXPECT_EQ(machine.trace.count("NetworkIsolationEnumAppContainers"), 1U);
}

}  // namespace
