#include "Memory.h"

#include <cstdlib>
#include <new>

namespace {

// Before each block, as large as its alignment asks for.
constexpr size_t kHeader = 16;

size_t g_held = 0;
size_t g_base = 0;
size_t g_peak = 0;

}  // namespace

void forgetPeak() {
    g_base = g_peak = g_held;
}

size_t peakBytes() {
    return g_peak - g_base;
}

void* operator new(size_t size) {
    auto* const block = static_cast<unsigned char*>(std::malloc(size + kHeader));
    if (!block) throw std::bad_alloc();
    *reinterpret_cast<size_t*>(block) = size;
    g_held += size;
    if (g_held > g_peak) g_peak = g_held;
    return block + kHeader;
}

void operator delete(void* memory) noexcept {
    if (!memory) return;
    unsigned char* const block = static_cast<unsigned char*>(memory) - kHeader;
    g_held -= *reinterpret_cast<size_t*>(block);
    std::free(block);
}

void operator delete(void* memory, size_t) noexcept {
    operator delete(memory);
}
