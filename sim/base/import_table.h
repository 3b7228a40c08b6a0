#pragma once

#include "win/windows_api.h"

namespace sim {

// A loaded program or library calls what it imports through slots of its import table, one for each function. Functions
// that it imports by ordinal have no name there and are not found. Functions that it asks GetProcAddress for have no
// slot; of these the lookup can be replaced.

// Points every import of that function in the module at another address; returns the address that stood there, or null
// where the module does not import the function.
void* PatchImport(HMODULE module, const char* function, void* replacement);

// Whether the module imports the function.
[[nodiscard]] bool IsImported(HMODULE module, const char* function);

// From now on ReplaceLookup applies to this module, and to no other.
void WatchLookups(HMODULE module);

// Has GetProcAddress, where the watched module calls it, answer with another address for the function of that name. The
// name must stay valid. For a library without such a function GetProcAddress still fails.
void ReplaceLookup(const char* function, void* replacement);

} // namespace sim
