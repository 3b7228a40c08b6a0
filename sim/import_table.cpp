#include "import_table.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace sim {

namespace {

template <typename T>
T* At(std::uintptr_t base, std::uintptr_t offset)
{
    return reinterpret_cast<T*>(base + offset);
}

// Calls visit(slot) for every import-table slot of the module that belongs to the function.
template <typename Visit>
void ForEachSlot(HMODULE module, const char* function, Visit visit)
{
    const auto base = reinterpret_cast<std::uintptr_t>(module);
    const auto offset = static_cast<std::uintptr_t>(At<IMAGE_DOS_HEADER>(base, 0)->e_lfanew);
    const auto* const headers = At<IMAGE_NT_HEADERS>(base, offset);
    const IMAGE_DATA_DIRECTORY& imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (const auto* dll = At<IMAGE_IMPORT_DESCRIPTOR>(base, imports.VirtualAddress); dll->Name != 0; ++dll) {
        const auto* name = At<IMAGE_THUNK_DATA>(base, dll->OriginalFirstThunk);
        auto* slot = At<IMAGE_THUNK_DATA>(base, dll->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) {
                continue;
            }
            // As characters: a linker need not align the names.
            const auto* const imported = At<char>(base, name->u1.AddressOfData + offsetof(IMAGE_IMPORT_BY_NAME, Name));
            if (std::strcmp(imported, function) == 0) {
                visit(slot);
            }
        }
    }
}

} // namespace

void* PatchImport(HMODULE module, const char* function, void* replacement)
{
    void* replaced = nullptr;
    ForEachSlot(module, function, [&](IMAGE_THUNK_DATA* slot) {
        DWORD protection = 0;
        VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection);
        replaced = reinterpret_cast<void*>(slot->u1.Function);
        slot->u1.Function = reinterpret_cast<std::uintptr_t>(replacement);
        VirtualProtect(slot, sizeof *slot, protection, &protection);
    });
    return replaced;
}

bool IsImported(HMODULE module, const char* function)
{
    bool imported = false;
    ForEachSlot(module, function, [&](IMAGE_THUNK_DATA*) { imported = true; });
    return imported;
}

} // namespace sim
