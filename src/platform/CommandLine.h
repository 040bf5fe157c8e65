#pragma once

#include <vector>

#include "platform/PlatformString.h"

namespace Platform {

using Array = std::vector<String>;

namespace Details {

// The arguments that the C runtime made of the process's command line; the first is the program's
// own path. Borrowed from the runtime for the life of the process.
wchar_t** GetCmdArguments(int* count) noexcept;

}  // namespace Details

}  // namespace Platform
