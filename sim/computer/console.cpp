#include "base/settings.h"
#include "computer/replacements.h"
#include "computer/simulated_computer.h"

#include "win/owner.h"

#include <algorithm>

namespace sim {

namespace {

// What Windows ends a process with when none of its handlers takes the event.
constexpr DWORD kEndedByControl = 0xC000013A;

// Tells in the process' scratch key how many events its handlers have been called with.
void CountPressed(DWORD count)
{
    RegSetKeyValueW(HKEY_CURRENT_USER, ScratchKeyOf(GetCurrentProcessId()).c_str(), L"Pressed", REG_DWORD, &count,
                    sizeof count);
}

// Presses the keys of the scenario at their times. Windows has no way to press some of them from elsewhere, and Wine
// none for Ctrl+Break.
class Keyboard {
public:
    // The program's handlers change; the first one starts the clock.
    void Change(PHANDLER_ROUTINE handler, bool add)
    {
        const std::scoped_lock guard(lock_);
        if (!add) {
            std::erase(handlers_, handler);
            return;
        }
        handlers_.push_back(handler);
        if (!started_ && !Computer().Setup().presses.empty()) {
            const win::KernelHandle thread(CreateThread(nullptr, 0, &Run, this, 0, nullptr));
            started_ = static_cast<bool>(thread);
        }
    }

private:
    static DWORD WINAPI Run(void* keyboard)
    {
        static_cast<Keyboard*>(keyboard)->PressAll();
        return 0;
    }

    void PressAll()
    {
        const ComputerSetup& setup = Computer().Setup();
        std::chrono::milliseconds now{0};
        DWORD pressed = 0;
        for (const KeyPress& press : setup.presses) {
            Sleep(static_cast<DWORD>(AtSpeed(press.after - now, setup.clockSpeed).count()));
            now = press.after;
            if (!Offer(press.event)) {
                ExitProcess(kEndedByControl);
            }
            CountPressed(++pressed);
        }
    }

    // Whether one of the handlers, the last one first, takes the event.
    bool Offer(DWORD event)
    {
        std::vector<PHANDLER_ROUTINE> handlers;
        {
            const std::scoped_lock guard(lock_);
            handlers.assign(handlers_.rbegin(), handlers_.rend());
        }
        return std::ranges::any_of(handlers, [event](PHANDLER_ROUTINE handler) { return handler(event) != FALSE; });
    }

    std::mutex lock_;
    std::vector<PHANDLER_ROUTINE> handlers_;
    bool started_ = false;
};

Keyboard& TheKeyboard()
{
    static Keyboard keyboard;
    return keyboard;
}

BOOL WINAPI SetControlHandler(PHANDLER_ROUTINE handler, BOOL add)
{
    if (Fails(L"SetConsoleCtrlHandler") || SetConsoleCtrlHandler(handler, add) == FALSE) {
        return FALSE;
    }
    // Without a handler, the call is about ignoring Ctrl+C.
    if (handler != nullptr) {
        TheKeyboard().Change(handler, add != FALSE);
    }
    return TRUE;
}

} // namespace

std::span<const Replacement> ConsoleReplacements()
{
    static const Replacement kReplacements[] = {
        Replace("SetConsoleCtrlHandler", &SetConsoleCtrlHandler, &SetControlHandler)};
    return kReplacements;
}

} // namespace sim
