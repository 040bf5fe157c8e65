#pragma once

#include <string_view>

#include "Windows.h"

namespace standin {

// The function that is to stand in for the Windows function of that name; null if the machine has
// none. Null or an ordinal as name finds nothing.
void* findHook(const char* name);

// Makes every service answer.
void installServices();

}  // namespace standin
