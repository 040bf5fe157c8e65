#pragma once

#include <cstddef>

namespace standin {

// Memory of the process heap that the caller of a function is to give back with HeapFree.
void* lendHeapBlock(size_t size);

}  // namespace standin
