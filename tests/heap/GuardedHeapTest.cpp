#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <thread>

#include "stand-in/Text.h"
#include "support/ScopedImport.h"

namespace {

using ::testing::ExitedWithCode;

const ExitedWithCode kDiesOfAccess{static_cast<int>(0xC0000005)};
const ExitedWithCode kDiesOfWrongDelete{static_cast<int>(0xC0000409)};

constexpr uintptr_t kPageSize = 4096;

bool endsWithItsPage(const void* block, size_t size) {
    return (reinterpret_cast<uintptr_t>(block) + size) % kPageSize == 0;
}

// The compiler knows too well what is wrong here: it must not see where a block comes from.
volatile char* hidden(void* block) {
    void* volatile place = block;
    return static_cast<volatile char*>(place);
}

// One form of operator new with the operator delete that belongs to it.
struct Form {
    const char* name;
    std::function<void*(size_t)> make;
    std::function<void(void*)> free;
};

constexpr std::align_val_t kAligned{64};

class EachForm : public ::testing::TestWithParam<Form> {};

INSTANTIATE_TEST_SUITE_P(
    Forms, EachForm,
    ::testing::Values(
        Form{"Single", [](size_t size) { return ::operator new(size); },
             [](void* block) { ::operator delete(block); }},
        Form{"Array", [](size_t size) { return ::operator new[](size); },
             [](void* block) { ::operator delete[](block); }},
        Form{"SingleOrNull", [](size_t size) { return ::operator new(size, std::nothrow); },
             [](void* block) { ::operator delete(block, std::nothrow); }},
        Form{"ArrayOrNull", [](size_t size) { return ::operator new[](size, std::nothrow); },
             [](void* block) { ::operator delete[](block, std::nothrow); }},
        Form{"Sized", [](size_t size) { return ::operator new(size); },
             [](void* block) { ::operator delete (block, size_t{128}); }},
        Form{"SizedArray", [](size_t size) { return ::operator new[](size); },
             [](void* block) { ::operator delete[](block, size_t{128}); }},
        Form{"Aligned", [](size_t size) { return ::operator new(size, kAligned); },
             [](void* block) { ::operator delete(block, kAligned); }},
        Form{"AlignedArray", [](size_t size) { return ::operator new[](size, kAligned); },
             [](void* block) { ::operator delete[](block, kAligned); }},
        Form{"AlignedOrNull",
             [](size_t size) { return ::operator new(size, kAligned, std::nothrow); },
             [](void* block) { ::operator delete(block, kAligned, std::nothrow); }},
        Form{"AlignedArrayOrNull",
             [](size_t size) { return ::operator new[](size, kAligned, std::nothrow); },
             [](void* block) { ::operator delete[](block, kAligned, std::nothrow); }},
        Form{"AlignedSized", [](size_t size) { return ::operator new(size, kAligned); },
             [](void* block) { ::operator delete (block, size_t{128}, kAligned); }},
        Form{"AlignedSizedArray", [](size_t size) { return ::operator new[](size, kAligned); },
             [](void* block) { ::operator delete[](block, size_t{128}, kAligned); }}),
    [](const auto& form) { return form.param.name; });

TEST_P(EachForm, OneByteBehindTheBlockIsDeath) {
    volatile char* const block = hidden(GetParam().make(128));
    block[127] = 1;

    EXPECT_EXIT((void)block[128], kDiesOfAccess, "");
    EXPECT_EXIT(block[128] = 1, kDiesOfAccess, "");

    GetParam().free(const_cast<char*>(block));
}

TEST_P(EachForm, ABlockIsDeathOnceItWasDeleted) {
    volatile char* const block = hidden(GetParam().make(128));
    GetParam().free(const_cast<char*>(block));

    EXPECT_EXIT((void)block[0], kDiesOfAccess, "");
    EXPECT_EXIT(block[127] = 1, kDiesOfAccess, "");
}

TEST_P(EachForm, ASecondDeleteIsDeath) {
    void* const block = GetParam().make(128);
    GetParam().free(block);

    EXPECT_EXIT(GetParam().free(block), kDiesOfWrongDelete, "");
}

TEST(GuardedHeap, BlocksEndWithTheirPageAsNearAsTheirAlignmentAllows) {
    for (size_t size = 0; size < 3 * kPageSize; ++size) {
        const std::unique_ptr<char[]> block(new char[size]);
        const bool mayHoldStructures = size % 4 == 0;
        const auto place = reinterpret_cast<uintptr_t>(block.get());
        ASSERT_TRUE(!mayHoldStructures || place % 16 == 0) << size << " bytes";
        const size_t taken = mayHoldStructures ? (size + 15) / 16 * 16 : size;
        ASSERT_TRUE(endsWithItsPage(block.get(), taken)) << size << " bytes";
    }
}

TEST(GuardedHeap, AByteWrittenBehindAnAlignedBlockIsDeathAtItsDelete) {
    volatile char* const block = hidden(::operator new(20));
    const auto body = [&] {
        block[20] = 1;
        ::operator delete(const_cast<char*>(block));
    };

    EXPECT_EXIT(body(), kDiesOfWrongDelete, "");
    ::operator delete(const_cast<char*>(block));
}

TEST(GuardedHeap, ABlockOfNoBytesHasNone) {
    volatile char* const block = hidden(::operator new(0));

    EXPECT_EXIT((void)block[0], kDiesOfAccess, "");
    ::operator delete(const_cast<char*>(block));
}

TEST(GuardedHeap, ThePageBeforeTheBlockIsDeath) {
    volatile char* const block = hidden(::operator new(kPageSize));

    EXPECT_EXIT((void)block[-1], kDiesOfAccess, "");
    ::operator delete(const_cast<char*>(block));
}

TEST(GuardedHeap, NewBytesAreNotZero) {
    const std::unique_ptr<unsigned char[]> block(new unsigned char[3]);

    EXPECT_EQ(*hidden(block.get()), '\xCD');
}

TEST(GuardedHeap, ADeleteWithAnotherSizeIsDeath) {
    void* const block = ::operator new(128);

    EXPECT_EXIT(::operator delete (block, size_t{127}), kDiesOfWrongDelete, "");
    ::operator delete(block);
}

TEST(GuardedHeap, ADeleteOfWhatIsNoBlockIsDeath) {
    static int number = 0;

    EXPECT_EXIT(::operator delete(const_cast<char*>(hidden(&number))), kDiesOfWrongDelete, "");
}

TEST(GuardedHeap, NoPlaceIsUsedTwice) {
    int* const first = new int(1);
    delete first;
    for (int i = 0; i < 1000; ++i) {
        const auto later = std::make_unique<int>(i);
        ASSERT_NE(later.get(), first);
    }
}

TEST(GuardedHeap, BlocksOfTheStandInAreGuardedToo) {
    const std::wstring text = standin::toWide("a text that does not fit into the string itself");

    EXPECT_TRUE(endsWithItsPage(text.data(), (text.capacity() + 1) * sizeof(wchar_t)));
}

TEST(GuardedHeap, ManyAndLargeBlocksAreToBeHad) {
    constexpr size_t kMany = 20'000;
    std::vector<std::unique_ptr<std::string>> many;
    for (size_t i = 0; i < kMany; ++i)
        many.push_back(std::make_unique<std::string>("x"));
    const std::vector<char> large(size_t{64} << 20, 'x');

    EXPECT_EQ(*many.back(), "x");
    EXPECT_EQ(large.back(), 'x');
}

TEST(GuardedHeap, ThreadsShareIt) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int j = 0; j < 500; ++j) {
                const std::string text(static_cast<size_t>(j + 100), 'x');
                ASSERT_EQ(text.back(), 'x');
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

// More than the host has mappings for.
TEST(GuardedHeap, MakesMoreBlocksThanItCanGuard) {
    constexpr size_t kBlocks = 100'000;
    std::vector<std::unique_ptr<std::string>> blocks;
    for (size_t i = 0; i < kBlocks; ++i)
        blocks.push_back(std::make_unique<std::string>(100, static_cast<char>('a' + i % 26)));

    for (size_t i = 0; i < kBlocks; ++i)
        ASSERT_EQ(*blocks[i], std::string(100, static_cast<char>('a' + i % 26)));
}

TEST(GuardedHeap, WithoutMemoryOfTheCLibraryThereIsNone) {
    const auto scarce = replaceImport<decltype(&::malloc)>(
        "malloc", [](auto real, size_t size) { return size == 128 ? nullptr : real(size); });

    EXPECT_THROW((void)::operator new(128), std::bad_alloc);
    EXPECT_EQ(::operator new(128, std::nothrow), nullptr);
}

}  // namespace
