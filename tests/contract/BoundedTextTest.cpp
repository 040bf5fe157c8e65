#include "support/MachineTest.h"

namespace {

using BoundedTextTest = MachineTest;

bool isFastFail(int code) {
    return static_cast<unsigned>(code) == 0xC0000409;
}

// Called by address: MinGW's header would else check what it can see of the buffer.
errno_t copy(wchar_t* target, size_t size, const wchar_t* source) {
    return ::wcscpy_s(target, size, source);
}
errno_t append(wchar_t* target, size_t size, const wchar_t* source) {
    return ::wcscat_s(target, size, source);
}

TEST_F(BoundedTextTest, TextThatFitsIsCopiedAndAppended) {
    wchar_t text[6] = {};

    EXPECT_EQ(copy(text, 6, L"abc"), 0);
    EXPECT_EQ(append(text, 6, L"de"), 0);

    EXPECT_STREQ(text, L"abcde");
}

TEST_F(BoundedTextTest, CopyThatDoesNotFitEndsTheProcess) {
    wchar_t text[4] = {};

    EXPECT_EXIT(copy(text, 4, L"abcd"), isFastFail, "");
}

TEST_F(BoundedTextTest, AppendThatDoesNotFitEndsTheProcess) {
    wchar_t text[6] = L"abc";

    EXPECT_EXIT(append(text, 6, L"def"), isFastFail, "");
}

TEST_F(BoundedTextTest, TheClockStandsStillWhenSet) {
    machine.state.clock = 0x0123456789ABCDEF;

    FILETIME time = {};
    ::GetSystemTimeAsFileTime(&time);

    EXPECT_EQ(time.dwHighDateTime, 0x01234567u);
    EXPECT_EQ(time.dwLowDateTime, 0x89ABCDEFu);
}

}  // namespace
