// The stack protector of the product, which this program is linked with.
#include <gtest/gtest.h>

#include <cstdint>

#include "platform/Windows.h"

extern "C" uintptr_t __stack_chk_guard;  // NOLINT(bugprone-reserved-identifier)

namespace {

using ::testing::ExitedWithCode;

// Hides from the compiler where a pointer leads and how long the way is.
[[gnu::noinline]] void overrun(size_t length) {
    char frame[16];
    char* volatile hidden = frame;
    char* const begin = hidden;
    for (size_t i = 0; i < length; ++i)
        begin[i] = 0;
}

TEST(StackGuard, AFunctionThatOverranItsFrameDoesNotReturn) {
    EXPECT_EXIT((overrun(40), ::ExitProcess(0)), ExitedWithCode(static_cast<int>(0xC0000409)), "");
}

TEST(StackGuard, AFunctionThatFillsItsFrameReturns) {
    EXPECT_EXIT((overrun(16), ::ExitProcess(0)), ExitedWithCode(0), "");
}

// Two random halves: one run in two thousand million has one that is zero.
TEST(StackGuard, IsSeededAtTheStart) {
    EXPECT_NE(__stack_chk_guard, 0xFF0A0D0000000000);
    EXPECT_NE(__stack_chk_guard >> 32, 0U);
    EXPECT_NE(__stack_chk_guard & 0xFFFFFFFF, 0U);
}

}  // namespace
