#pragma once

#include "win/windows_api.h"

#include <cstdint>
#include <optional>

// The routine that Windows calls, on a thread of its own, for Ctrl+C and the other console events. It takes Ctrl+C and
// Ctrl+Break (TRUE) and leaves all others to the next handler (FALSE). Where there is a StopEvent it signals it and
// gives the waiting operation five seconds to stop the engine's work.
BOOL WINAPI ConsoleCtrlHandler(DWORD ctrlType);

// Makes ConsoleCtrlHandler the process's handler. Nothing on success; on failure, which has been printed and put into
// ERRORLEVEL, the exit code: the thread's last error, even where Windows left none.
[[nodiscard]] std::optional<std::uint32_t> InstallConsoleCtrlHandler();
