#include <new>

#include "IsolationTest.h"
#include "network/LoopbackExemption.h"
#include "support/ScopedImport.h"

namespace {

using LoopbackMemoryTest = IsolationTest;

TEST_F(LoopbackMemoryTest, WithoutMemoryForTheNewListEverythingIsGivenBack) {
    constexpr size_t kExempt = 999;
    machine.state.network->exempt.assign(kExempt, {kOtherSid, 0});

    {
        constexpr size_t kNewList = (kExempt + 1) * sizeof(SID_AND_ATTRIBUTES);
        const auto scarce = replaceImport<decltype(&::malloc)>(
            "malloc", [](auto real, size_t size) { return size == kNewList ? nullptr : real(size); });

        EXPECT_THROW(enableLoopback(kFamily), std::bad_alloc);
    }

    EXPECT_EQ(machine.trace.count("NetworkIsolationSetAppContainerConfig"), 0U);
    EXPECT_EQ(machine.trace.count("HeapFree"), kExempt + 1);
    EXPECT_EQ(machine.trace.count("NetworkIsolationFreeAppContainers"), 1U);
    EXPECT_EQ(machine.trace.count("FreeLibrary"), 1U);
    EXPECT_EQ(logText(), "found Velta.QK_1a2b3c whole Velta.QK_1a2b3c Velta.QK_1a2b3c shown");
}

}  // namespace
