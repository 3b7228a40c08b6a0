#pragma once

#include "win/windows_api.h"

namespace sim {

// A loaded program or library calls what it imports through slots of its import table, one for each function. Functions
// that it imports by ordinal have no name there and are not found; nor are those that it asks GetProcAddress for.

// Points every import of that function in the module at another address; returns the address that stood there, or null
// where the module does not import the function.
void* PatchImport(HMODULE module, const char* function, void* replacement);

// Whether the module imports the function.
[[nodiscard]] bool IsImported(HMODULE module, const char* function);

} // namespace sim
