#include "platform/StandardExceptions.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <typeinfo>

namespace {

TEST(UnknownExceptionTest, HasNoMessageOfItsOwn) {
    const UnknownException exception;

    EXPECT_STREQ(exception.what(), "Unknown exception");
    EXPECT_STREQ(textOf(exception), "Unknown exception");
}

// The log has one wording for what the language itself raises, whatever the runtime library says.
TEST(TextOfAnException, IsTheLogsWordingForWhatTheLanguageRaises) {
    EXPECT_STREQ(textOf(std::bad_alloc()), "bad allocation");
    EXPECT_STREQ(textOf(std::bad_array_new_length()), "bad array new length");
    EXPECT_STREQ(textOf(std::bad_cast()), "bad cast");
}

TEST(TextOfAnException, IsItsMessageOtherwise) {
    EXPECT_STREQ(textOf(std::out_of_range("invalid string position")), "invalid string position");
    EXPECT_STREQ(textOf(std::runtime_error("")), "");
}

TEST(TextOfAnException, IsFoundForWhatWasReallyThrown) {
    std::string text;
    try {
        throw std::bad_alloc();
    } catch (const std::exception& exception) {
        text = textOf(exception);
    }

    EXPECT_EQ(text, "bad allocation");
}

}  // namespace
