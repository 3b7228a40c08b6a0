#include "base/import_table.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <string_view>

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

// The replacements of one module's lookups.
struct Lookups {
    decltype(GetProcAddress)* original = nullptr;
    std::mutex lock; // guards replacements
    std::map<std::string_view, void*> replacements;
};

Lookups& TheLookups()
{
    static Lookups lookups;
    return lookups;
}

// What the watched module calls in GetProcAddress' place.
FARPROC WINAPI LookUp(HMODULE module, const char* function)
{
    Lookups& lookups = TheLookups();
    const FARPROC found = lookups.original(module, function);
    // A small number in the name's place is an ordinal.
    if (found == nullptr || reinterpret_cast<std::uintptr_t>(function) <= 0xFFFF) {
        return found;
    }
    const std::scoped_lock guard(lookups.lock);
    const auto replacement = lookups.replacements.find(function);
    return replacement == lookups.replacements.end() ? found : reinterpret_cast<FARPROC>(replacement->second);
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

void WatchLookups(HMODULE module)
{
    void* const original = PatchImport(module, "GetProcAddress", reinterpret_cast<void*>(&LookUp));
    TheLookups().original = reinterpret_cast<decltype(GetProcAddress)*>(original);
}

void ReplaceLookup(const char* function, void* replacement)
{
    Lookups& lookups = TheLookups();
    const std::scoped_lock guard(lookups.lock);
    lookups.replacements[function] = replacement;
}

} // namespace sim
