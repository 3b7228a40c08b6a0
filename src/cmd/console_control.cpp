#include "cmd/console_control.h"

#include "cmd/error_level.h"
#include "engine/stop_event.h"
#include "messages/console_output.h"

BOOL WINAPI ConsoleCtrlHandler(DWORD ctrlType)
{
    constexpr DWORD kTimeToStop = 5000;
    if (ctrlType > CTRL_BREAK_EVENT) {
        return FALSE;
    }
    if (StopEvent != nullptr) {
        SetEvent(StopEvent);
        Sleep(kTimeToStop);
    }
    return TRUE;
}

std::optional<std::uint32_t> InstallConsoleCtrlHandler()
{
    if (SetConsoleCtrlHandler(ConsoleCtrlHandler, TRUE) != FALSE) {
        return std::nullopt;
    }
    const DWORD error = GetLastError();
    CatalogueText text = GetMessage(GetMessageCatalogue(), 1647, "Failed to set control handler (%1).");
    AddNumberArgument(text, error);
    PrintLine(text);
    // Asked again on purpose: the exit code is the thread's last error after the line has been written.
    return SetErrorLevel(GetLastError());
}
