#include "platform/StandardExceptions.h"

#include <new>
#include <typeinfo>

const char* textOf(const std::exception& exception) noexcept {
    if (dynamic_cast<const std::bad_array_new_length*>(&exception)) return "bad array new length";
    if (dynamic_cast<const std::bad_alloc*>(&exception)) return "bad allocation";
    if (dynamic_cast<const std::bad_cast*>(&exception)) return "bad cast";
    return exception.what();
}
