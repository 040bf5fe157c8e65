// What the start of the configurator cannot be quicker than: the same imports, and COM started and ended.
#include "platform/Windows.h"

#include <objbase.h>

// The slots of the same imports as the configurator's; the build writes the list.
extern "C" const void* const kImports[];
extern "C" const unsigned kImportCount;

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
    const void* const volatile* const imports = kImports;
    for (unsigned i = 0; i < kImportCount; ++i)
        static_cast<void>(imports[i]);
    ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    ::CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                           RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
    ::CoUninitialize();
    return -1;
}
