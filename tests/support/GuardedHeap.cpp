// Replaces operator new and delete of the module that links it: each block ends where its page
// ends, between pages that cannot be touched, and cannot be touched itself once it was deleted.
// Whatever reads or writes beside it or after its end dies at that instruction, with 0xC0000005; a
// wrong delete, or one of a block that was written beyond as far as its alignment left room, ends
// the process with 0xC0000409. All other forms of the two lead to those that stand here.
// The host bounds the number of mappings, and with it that of guarded blocks: while there are so
// many, further ones lie side by side, and of those only the wrong deletes are found.
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <span>

#include "platform/ProcessEnd.h"

namespace {

constexpr size_t kPageSize = 4096;
constexpr size_t kPages = size_t{1} << 24;
constexpr unsigned char kUninitialised = 0xCD;
constexpr unsigned char kBehind = 0xFD;

// One for all modules of a process, at a place that they all know, for a block may be made in one
// and deleted in another. No page is used twice; the page behind a block is the one before the next.
struct Arena {
    std::atomic<size_t> nextPage;
    std::atomic<size_t> guarded;             // live blocks between pages that cannot be touched
    std::atomic<size_t> liveBlocks[kPages];  // at the block's first page, see `Live`
    alignas(kPageSize) std::byte pages[kPages][kPageSize];
};

constexpr uintptr_t kPlace = 0x2000'0000'0000;

constexpr size_t kMostGuarded = 20000;

// What is known of a block, as one number that is not zero.
struct Live {
    size_t size;
    bool isGuarded;

    size_t number() const { return ((size + 1) << 1) | (isGuarded ? 1u : 0u); }
    static Live from(size_t number) { return {(number >> 1) - 1, (number & 1) != 0}; }
};

bool mayGuardAnother(Arena& arena) {
    if (arena.guarded++ < kMostGuarded) return true;
    --arena.guarded;
    return false;
}

Arena& arena() {
    static std::atomic<bool> isThere = false;
    auto* const place = reinterpret_cast<Arena*>(kPlace);
    if (!isThere) {
        // Another thread or module may have done it: a place that is taken or filled stays as it is.
        ::VirtualAlloc(place, sizeof(Arena), MEM_RESERVE, PAGE_NOACCESS);
        if (::VirtualAlloc(place, offsetof(Arena, pages), MEM_COMMIT, PAGE_READWRITE) == nullptr) {
            failFast(FAST_FAIL_FATAL_APP_EXIT);
        }
        isThere = true;
    }
    return *place;
}

constexpr size_t pagesFor(size_t size) {
    return (size + kPageSize - 1) / kPageSize;
}

// operator new promises an alignment for whatever is put into a block, and structures of Windows
// are put into blocks of bytes. No structure fills a size that is not divisible by four: such a
// block ends with its page to the byte.
constexpr size_t alignmentFor(size_t size) {
    if (size % 4 == 0) return __STDCPP_DEFAULT_NEW_ALIGNMENT__;
    return size % 2 == 0 ? 2 : 1;
}

// What is left between a block and the end of its page, for alignment.
std::span<unsigned char> restBehind(void* block, size_t size) {
    unsigned char* const end = static_cast<unsigned char*>(block) + size;
    const uintptr_t used = reinterpret_cast<uintptr_t>(end) % kPageSize;
    return {end, used == 0 ? 0 : kPageSize - used};
}

// Tests let the C library's allocation fail, which is what stands behind operator new without this.
bool isGranted(size_t size) {
    void* volatile const block = std::malloc(size == 0 ? 1 : size);
    std::free(block);
    return block != nullptr;
}

void* allocate(size_t size, size_t alignment) {
    if (alignment > kPageSize || !isGranted(size)) throw std::bad_alloc();
    const Live live = {size, mayGuardAnother(arena())};
    const size_t pages = pagesFor(size);
    const size_t first = arena().nextPage.fetch_add(live.isGuarded ? pages + 1
                                                                   : std::max<size_t>(pages, 1));
    if (first + pages >= kPages) throw std::bad_alloc();
    std::byte* const begin = arena().pages[first];
    if (pages > 0 && ::VirtualAlloc(begin, pages * kPageSize, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
        throw std::bad_alloc();
    }
    arena().liveBlocks[first] = live.number();
    std::byte* const block = begin + (pages * kPageSize - size) / alignment * alignment;
    std::memset(block, kUninitialised, size);
    std::ranges::fill(restBehind(block, size), kBehind);
    return block;
}

void release(void* block, const size_t* size = nullptr) {
    if (block == nullptr) return;
    const uintptr_t offset = reinterpret_cast<uintptr_t>(block) - kPlace - offsetof(Arena, pages);
    const size_t page = offset / kPageSize;
    if (page >= kPages) failFast(FAST_FAIL_FATAL_APP_EXIT);  // none of ours
    const size_t number = arena().liveBlocks[page].exchange(0);
    const Live live = Live::from(number);
    if (number == 0 || (size != nullptr && *size != live.size)) {
        failFast(FAST_FAIL_FATAL_APP_EXIT);  // deleted before, never made, or made with another size
    }
    const auto rest = restBehind(block, live.size);
    if (std::ranges::count(rest, kBehind) != std::ssize(rest)) failFast(FAST_FAIL_FATAL_APP_EXIT);
    const size_t pages = pagesFor(live.size);
    if (!live.isGuarded) {
        // Giving the page back would take as many mappings as a guard.
        std::memset(arena().pages[page], kBehind, pages * kPageSize);
        return;
    }
    --arena().guarded;
    if (pages > 0) ::VirtualFree(arena().pages[page], pages * kPageSize, MEM_DECOMMIT);
}

}  // namespace

void* operator new(size_t size) {
    return allocate(size, alignmentFor(size));
}
void* operator new(size_t size, std::align_val_t alignment) {
    return allocate(size, static_cast<size_t>(alignment));
}
void operator delete(void* block) noexcept {
    release(block);
}
void operator delete(void* block, size_t size) noexcept {
    release(block, &size);
}
void operator delete(void* block, std::align_val_t) noexcept {
    release(block);
}
void operator delete(void* block, size_t size, std::align_val_t) noexcept {
    release(block, &size);
}
