#include "computer/replacements.h"
#include "computer/simulated_computer.h"

namespace sim {

namespace {

// How long such a wait really takes; INFINITE stays so.
DWORD AtClockSpeed(DWORD milliseconds)
{
    if (milliseconds == INFINITE) {
        return INFINITE;
    }
    return static_cast<DWORD>(AtSpeed(std::chrono::milliseconds(milliseconds), Computer().Setup().clockSpeed).count());
}

void WINAPI Pause(DWORD milliseconds)
{
    Sleep(AtClockSpeed(milliseconds));
}

DWORD WINAPI PauseAlertably(DWORD milliseconds, BOOL alertable)
{
    return SleepEx(AtClockSpeed(milliseconds), alertable);
}

DWORD WINAPI WaitForOne(HANDLE handle, DWORD milliseconds)
{
    return WaitForSingleObject(handle, AtClockSpeed(milliseconds));
}

DWORD WINAPI WaitForOneAlertably(HANDLE handle, DWORD milliseconds, BOOL alertable)
{
    return WaitForSingleObjectEx(handle, AtClockSpeed(milliseconds), alertable);
}

DWORD WINAPI WaitForSeveral(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds)
{
    return WaitForMultipleObjects(count, handles, all, AtClockSpeed(milliseconds));
}

DWORD WINAPI WaitForSeveralAlertably(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds, BOOL alertable)
{
    return WaitForMultipleObjectsEx(count, handles, all, AtClockSpeed(milliseconds), alertable);
}

} // namespace

std::span<const Replacement> ClockReplacements()
{
    static const Replacement kReplacements[] = {
        Replace("Sleep", &Sleep, &Pause),
        Replace("SleepEx", &SleepEx, &PauseAlertably),
        Replace("WaitForSingleObject", &WaitForSingleObject, &WaitForOne),
        Replace("WaitForSingleObjectEx", &WaitForSingleObjectEx, &WaitForOneAlertably),
        Replace("WaitForMultipleObjects", &WaitForMultipleObjects, &WaitForSeveral),
        Replace("WaitForMultipleObjectsEx", &WaitForMultipleObjectsEx, &WaitForSeveralAlertably),
    };
    return kReplacements;
}

} // namespace sim
