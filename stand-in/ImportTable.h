#pragma once

#include <string_view>
#include <vector>

#include "Export.h"
#include "Windows.h"

namespace standin {

struct Import {
    std::string_view name;
    void** slot;
};

// Every function that `module` imports by name, over all the DLLs that it imports from.
STANDIN_API std::vector<Import> importsOf(HMODULE module);

// The slots of one function; empty if the module does not import it.
STANDIN_API std::vector<void**> findImports(HMODULE module, std::string_view name);

// Puts `replacement` into the slot and gives back what was in it.
STANDIN_API void* swapImport(void** slot, void* replacement);

}  // namespace standin
