#pragma once

#include <cstddef>

// What this program's C++ allocations hold, in bytes asked for: the most at any time since the last
// call of forgetPeak, beyond what was held then.
void forgetPeak();
size_t peakBytes();
