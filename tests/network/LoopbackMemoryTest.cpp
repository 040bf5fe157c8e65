#include <cstdlib>
#include <new>

#include "IsolationTest.h"
#include "network/LoopbackExemption.h"

namespace {

// The size of a block that is not to be had; 0 for none.
size_t g_scarceSize = 0;

}  // namespace

void* operator new(size_t size) {
    void* const block = size == g_scarceSize ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, size_t) noexcept {
    std::free(block);
}

namespace {

using LoopbackMemoryTest = IsolationTest;

TEST_F(LoopbackMemoryTest, WithoutMemoryForTheNewListEverythingIsGivenBack) {
    constexpr size_t kExempt = 999;
    machine.state.network->exempt.assign(kExempt, {kOtherSid, 0});

    g_scarceSize = (kExempt + 1) * sizeof(SID_AND_ATTRIBUTES);
    EXPECT_THROW(enableLoopback(kFamily), std::bad_alloc);
    g_scarceSize = 0;

    EXPECT_EQ(machine.trace.count("NetworkIsolationSetAppContainerConfig"), 0U);
    EXPECT_EQ(machine.trace.count("HeapFree"), kExempt + 1);
    EXPECT_EQ(machine.trace.count("NetworkIsolationFreeAppContainers"), 1U);
    EXPECT_EQ(machine.trace.count("FreeLibrary"), 1U);
    EXPECT_EQ(logText(), "found Velta.QK_1a2b3c whole Velta.QK_1a2b3c Velta.QK_1a2b3c shown");
}

}  // namespace
