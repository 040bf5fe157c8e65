#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace standin {

// The memory that a program asks the C library for, which is what its operator new does. Not in the
// trace but for those that a fault lets fail, and not touched unless a fault names malloc.

// Whether this import is to be counted.
bool isCounted(std::string_view import);
// What stands in its place.
void* countedAllocation();
// Of each platform call by its number, how many there were before it began; empty if none were counted.
void noteCall(size_t number);
const std::vector<size_t>& allocationsBefore();

}  // namespace standin
