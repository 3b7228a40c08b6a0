#pragma once

#include "win/windows_api.h"

namespace sim {

// The proxies of one server share data and a type library in Wine. One thread may free them while another takes them
// up, and then crash or wait for ever. This DLL keeps a connection to each server and the type library for as long as
// the program uses COM, so that the program's threads never free the last one.

// Counts a successful CoInitializeEx of the program, or a CoUninitialize that is about to be called. With the last one,
// everything kept is released.
void CountApartment();
void UncountApartment();

// Keeps a connection to the server of this class. A failure is ignored: the program's own activation will report it.
void KeepConnection(REFCLSID identifier);

} // namespace sim
