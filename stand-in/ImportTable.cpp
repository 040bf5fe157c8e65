#include "ImportTable.h"

namespace standin {

std::vector<Import> importsOf(HMODULE module) {
    std::vector<Import> imports;
    auto* const base = reinterpret_cast<unsigned char*>(module);
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (directory.Size == 0) return imports;

    auto* library = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; library->Name != 0; ++library) {
        if (library->OriginalFirstThunk == 0) continue;
        auto* name = reinterpret_cast<IMAGE_THUNK_DATA*>(base + library->OriginalFirstThunk);
        auto* slot = reinterpret_cast<IMAGE_THUNK_DATA*>(base + library->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
            const auto* const byName = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(
                base + name->u1.AddressOfData);
            imports.push_back({byName->Name, reinterpret_cast<void**>(&slot->u1.Function)});
        }
    }
    return imports;
}

std::vector<void**> findImports(HMODULE module, std::string_view name) {
    std::vector<void**> slots;
    for (const Import& import : importsOf(module)) {
        if (import.name == name) slots.push_back(import.slot);
    }
    return slots;
}

void* swapImport(void** slot, void* replacement) {
    DWORD protection = 0;
    ::VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection);
    void* const previous = *slot;
    *slot = replacement;
    ::VirtualProtect(slot, sizeof(*slot), protection, &protection);
    return previous;
}

}  // namespace standin
