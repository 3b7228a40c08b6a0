#pragma once

#include "win/windows_api.h"

#include <cstdint>

// The routine that Windows calls, on a thread of its own, for Ctrl+C and the other console events. It takes Ctrl+C and
// Ctrl+Break (TRUE) and leaves all others to the next handler (FALSE). Where there is a StopEvent it signals it and
// gives the waiting operation five seconds to stop the engine's work.
BOOL WINAPI ConsoleCtrlHandler(DWORD ctrlType);

// Makes ConsoleCtrlHandler the process's handler. Returns 0; on failure, which has been printed and put into
// ERRORLEVEL, the Windows error.
[[nodiscard]] std::uint32_t InstallConsoleCtrlHandler();
