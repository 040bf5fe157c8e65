// The calls of a recorded run and nothing else, with the imports of the executable: replay TABLE
#include "Replay.h"
#include "platform/Windows.h"

// The slots of the same imports as the configurator's; the build writes the list.
extern "C" const void* const kImports[];
extern "C" const unsigned kImportCount;

int wmain(int, wchar_t** arguments) {
    const void* const volatile* const imports = kImports;
    for (unsigned i = 0; i < kImportCount; ++i)
        static_cast<void>(imports[i]);
    replay(readTable(arguments[1]));
    return -1;
}
