#include "platform/CommandLine.h"

#include <cstdlib>

namespace Platform::Details {

wchar_t** GetCmdArguments(int* count) noexcept {
    *count = __argc;
    return __wargv;
}

}  // namespace Platform::Details
