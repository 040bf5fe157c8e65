#pragma once

#include "../Windows.h"

namespace standin {

// RegGetValueW with what Windows does for texts: a missing terminator is supplied, and a call that
// only asks for the size leaves room for one more character.
LSTATUS WINAPI getRegistryValue(HKEY key, LPCWSTR subKey, LPCWSTR name, DWORD flags, LPDWORD type,
                                PVOID data, LPDWORD size);

}  // namespace standin
