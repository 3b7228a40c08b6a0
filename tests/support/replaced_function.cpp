#include "support/replaced_function.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

// The first byte of the running program; the linker's own name for it.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" const IMAGE_DOS_HEADER __ImageBase;

namespace testing_support {

namespace {

template <typename T>
T* At(std::uintptr_t base, std::uintptr_t offset)
{
    return reinterpret_cast<T*>(base + offset);
}

// Calls visit(slot) for every import-table slot of the program that belongs to the function. By-ordinal imports have no
// name and are passed over.
template <typename Visit>
void ForEachSlot(const char* function, Visit visit)
{
    // Not asked of GetModuleHandleW, which a test may have replaced.
    const auto base = reinterpret_cast<std::uintptr_t>(&__ImageBase);
    const auto* const headers = At<IMAGE_NT_HEADERS>(base, static_cast<std::uintptr_t>(__ImageBase.e_lfanew));
    const IMAGE_DATA_DIRECTORY& imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (const auto* dll = At<IMAGE_IMPORT_DESCRIPTOR>(base, imports.VirtualAddress); dll->Name != 0; ++dll) {
        const auto* name = At<IMAGE_THUNK_DATA>(base, dll->OriginalFirstThunk);
        auto* slot = At<IMAGE_THUNK_DATA>(base, dll->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) {
                continue;
            }
            const auto* const byName = At<IMAGE_IMPORT_BY_NAME>(base, name->u1.AddressOfData);
            if (std::strcmp(reinterpret_cast<const char*>(byName->Name), function) == 0) {
                visit(slot);
            }
        }
    }
}

} // namespace

void* PatchImport(const char* function, void* replacement)
{
    void* replaced = nullptr;
    ForEachSlot(function, [&](IMAGE_THUNK_DATA* slot) {
        DWORD protection = 0;
        VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection);
        replaced = reinterpret_cast<void*>(slot->u1.Function);
        slot->u1.Function = reinterpret_cast<ULONGLONG>(replacement);
        VirtualProtect(slot, sizeof *slot, protection, &protection);
    });
    return replaced;
}

bool IsImported(const char* function)
{
    bool imported = false;
    ForEachSlot(function, [&](IMAGE_THUNK_DATA*) { imported = true; });
    return imported;
}

void FailMissingImport(const char* function)
{
    std::fprintf(stderr, "the program does not import %s\n", function);
    std::abort();
}

} // namespace testing_support
