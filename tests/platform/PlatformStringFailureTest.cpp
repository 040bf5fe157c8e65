#include "platform/PlatformException.h"
#include "platform/PlatformString.h"
#include "support/MachineTest.h"

namespace {

using Platform::OutOfMemoryException;
using Platform::String;

constexpr DWORD kOutOfMemory = 0x8007000E;

// What these tests leave over would be found by the machine's ledger.
class PlatformStringFailure : public MachineTest {};

TEST_F(PlatformStringFailure, FailedReferenceThrowsAndNothingIsDuplicated) {
    machine.failNext("WindowsCreateStringReference", kOutOfMemory);

    EXPECT_THROW(String(L"text"), OutOfMemoryException);

    EXPECT_EQ(machine.trace.count("WindowsDuplicateString"), 0U);
}

TEST_F(PlatformStringFailure, FailedDuplicateOfTheReferenceThrows) {
    machine.failNext("WindowsDuplicateString", kOutOfMemory);

    EXPECT_THROW(String(std::wstring(L"text")), OutOfMemoryException);
}

TEST_F(PlatformStringFailure, FailedCopyThrowsAndTheOriginalStays) {
    const String original(L"text");
    machine.failNext("WindowsDuplicateString", kOutOfMemory);

    EXPECT_THROW(String{original}, OutOfMemoryException);

    EXPECT_STREQ(original.text(), L"text");
}

TEST_F(PlatformStringFailure, FailedAssignmentKeepsTheTextBefore) {
    const String source(L"new");
    String target(L"old");
    machine.failNext("WindowsDuplicateString", kOutOfMemory);

    EXPECT_THROW(target = source, OutOfMemoryException);

    EXPECT_STREQ(target.text(), L"old");
}

TEST_F(PlatformStringFailure, FailedConcatenationThrows) {
    const String left(L"left");
    const String right(L"right");
    machine.failNext("WindowsConcatString", kOutOfMemory);

    EXPECT_THROW(static_cast<void>(left + right), OutOfMemoryException);
}

TEST_F(PlatformStringFailure, FailedComparisonThrows) {
    const String left(L"left");
    const String right(L"right");
    machine.failNext("WindowsCompareStringOrdinal", 0x80070057);

    EXPECT_THROW(static_cast<void>(left == right), Platform::InvalidArgumentException);
}

}  // namespace
