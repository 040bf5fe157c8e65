#pragma once

#include "../Windows.h"

namespace standin {

// Firewallapi.dll, as far as the machine has one of its own: it is known by a handle that Windows does not know.
bool isIsolationLibrary(LPCWSTR name);
bool isIsolationLibrary(HMODULE library);
HMODULE isolationLibrary();

// One of its functions as the program is to call it; null, with a last error, if it is not exported.
FARPROC findIsolationFunction(LPCSTR name);

}  // namespace standin
