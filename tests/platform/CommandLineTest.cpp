#include "platform/CommandLine.h"

#include <shellapi.h>

#include "support/MachineTest.h"

namespace {

// The arguments of this very program; the system's own reading of its command line has the same for
// what a test runner passes.
TEST(CommandLine, ArgumentsAreThoseOfTheProcess) {
    int expectedCount = 0;
    wchar_t** const expected = ::CommandLineToArgvW(::GetCommandLineW(), &expectedCount);
    ASSERT_NE(expected, nullptr);

    int count = 0;
    wchar_t** const values = Platform::Details::GetCmdArguments(&count);

    ASSERT_EQ(count, expectedCount);
    for (int i = 0; i < count; ++i)
        EXPECT_STREQ(values[i], expected[i]);
    ::LocalFree(expected);
}

}  // namespace
