#include "platform/ProcessEnd.h"

#include <cstdlib>
#include <exception>

#include "support/ScopedImport.h"

namespace {

using ::testing::ExitedWithCode;

ExitedWithCode endedWith(unsigned code) {
    return ExitedWithCode(static_cast<int>(code));
}

TEST(FailFast, EndsTheProcessWithTheFastFailCode) {
    EXPECT_EXIT(failFast(FAST_FAIL_RANGE_CHECK_FAILURE), endedWith(0xC0000409), "");
}

TEST(FailFast, NoHandlerAndNoExitFunctionRuns) {
    const auto body = [] {
        std::atexit([] { ::ExitProcess(1); });
        std::set_terminate([] { ::ExitProcess(2); });
        try {
            failFast(FAST_FAIL_FATAL_APP_EXIT);
        } catch (...) {
            ::ExitProcess(3);
        }
    };

    EXPECT_EXIT(body(), endedWith(0xC0000409), "");
}

void raiseWith(DWORD error) {
    ::SetLastError(error);
    raiseLastError();
}

TEST(RaiseLastError, APositiveErrorBecomesAWin32HResult) {
    EXPECT_EXIT(raiseWith(ERROR_INVALID_HANDLE), endedWith(0x80070006), "");
}

TEST(RaiseLastError, OfAPositiveErrorOnlyTheLowerHalfCounts) {
    EXPECT_EXIT(raiseWith(0x00120005), endedWith(0x80070005), "");
}

TEST(RaiseLastError, ANegativeErrorStaysAsItIs) {
    EXPECT_EXIT(raiseWith(0x80004005), endedWith(0x80004005), "");
}

TEST(RaiseLastError, NoHandlerOfTheLanguageSeesIt) {
    const auto body = [] {
        try {
            raiseWith(ERROR_INVALID_HANDLE);
        } catch (...) {
            ::ExitProcess(1);
        }
    };

    EXPECT_EXIT(body(), endedWith(0x80070006), "");
}

struct Raised {
    DWORD code;
    DWORD flags;
    DWORD argumentCount;
};

TEST(RaiseLastError, ExceptionCannotBeContinued) {
    constexpr DWORD kLanguagesOwn = 0x00474343;
    const auto raise = replaceImport<decltype(&::RaiseException)>(
        "RaiseException",
        [](auto real, DWORD code, DWORD flags, DWORD count, const ULONG_PTR* arguments) -> void {
            if ((code & 0x00FFFFFF) == kLanguagesOwn) return real(code, flags, count, arguments);
            throw Raised{code, flags, count};
        });

    try {
        raiseWith(ERROR_INVALID_HANDLE);
    } catch (const Raised& raised) {
        EXPECT_EQ(raised.code, 0x80070006U);
        EXPECT_EQ(raised.flags, DWORD{EXCEPTION_NONCONTINUABLE});
        EXPECT_EQ(raised.argumentCount, 0U);
        return;
    }
    FAIL() << "nothing was raised";
}

// A debugger can have the program go on all the same.
TEST(RaiseLastError, WhereTheRaiseReturnsTheProcessEndsByFastFail) {
    const auto body = [] {
        const auto raise = replaceImport<decltype(&::RaiseException)>(
            "RaiseException", [](auto, DWORD, DWORD, DWORD, const ULONG_PTR*) -> void {});
        raiseWith(ERROR_INVALID_HANDLE);
    };

    EXPECT_EXIT(body(), endedWith(0xC0000409), "");
}

}  // namespace
