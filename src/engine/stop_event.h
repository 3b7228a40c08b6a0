#pragma once

#include "win/windows_api.h"

// The event that the console control handler signals and the wait for a drive polls. It is null for the whole run:
// nothing creates it, so Ctrl+C and Ctrl+Break do not interrupt a wait.
inline HANDLE StopEvent = nullptr;
