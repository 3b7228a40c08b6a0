#pragma once

#include "win/windows_api.h"

// The event that the console control handler signals and the wait for a drive polls. It is null for the whole run:
// nothing creates it, so Ctrl+C and Ctrl+Break do not interrupt a wait.
// NOLINTNEXTLINE(readability-identifier-naming): the name that the product has for it everywhere.
inline HANDLE StopEvent = nullptr;
