#pragma once

#include "win/windows_api.h"

namespace sim {

// Wine finds what the proxies of one server share, and the type library that they are made by, while the last user of
// it frees it, so that threads that work with a server at the same time can die of a page fault or wait for ever.
// Connections and a library of this DLL's own, kept as long as the program uses COM, leave the threads nothing to free.

// Counts a successful CoInitializeEx of the program, and one CoUninitialize about to be called. The last one lets go of
// all that is kept.
void CountApartment();
void UncountApartment();

// Keeps a connection to the server of this class. That there is none to be had, the program's own activation tells.
void KeepConnection(REFCLSID identifier);

} // namespace sim
