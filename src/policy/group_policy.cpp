#include "policy/group_policy.h"

#include "win/com_apartment.h"
#include "win/system_library.h"

#include <iterator>

#include <userenv.h>

namespace {

constexpr DWORD kNotMonitoring = 0xFFFFFFFF;

constinit win::SystemLibrary userEnvironment(L"userenv.dll");
constinit win::SystemFunction<decltype(RegisterGPNotification)> registerNotification(userEnvironment,
                                                                                     "RegisterGPNotification");
constinit win::SystemFunction<decltype(UnregisterGPNotification)> unregisterNotification(userEnvironment,
                                                                                         "UnregisterGPNotification");

// Makes an event. Returns 0 or the Windows error.
DWORD MakeEvent(BOOL manualReset, win::KernelHandle& event) noexcept
{
    event.Reset(CreateEventW(nullptr, manualReset, FALSE, nullptr));
    return event ? ERROR_SUCCESS : GetLastError();
}

} // namespace

CGP::~CGP()
{
    StopPolicyMonitor();
}

std::uint32_t CGP::StartPolicyMonitor(int refresh) noexcept
{
    DWORD error = MakeEvent(TRUE, machineEvent_);
    if (error == ERROR_SUCCESS) {
        error = MakeEvent(TRUE, userEvent_);
    }
    if (error == ERROR_SUCCESS) {
        error = MakeEvent(FALSE, stopEvent_);
    }
    if (error == ERROR_SUCCESS) {
        OnMachinePolicyChanged(refresh);
        OnUserPolicyChanged(refresh);
        monitorThread_.Reset(CreateThread(nullptr, 0, MonitorThread, this, 0, nullptr));
        error = monitorThread_ ? ERROR_SUCCESS : GetLastError();
    }
    if (error != ERROR_SUCCESS) {
        CloseEvents();
    }
    return error;
}

void CGP::StopPolicyMonitor() noexcept
{
    if (!monitorThread_) {
        return;
    }
    SetEvent(stopEvent_.Get());
    WaitForSingleObject(monitorThread_.Get(), threadStopTimeout_);
    monitorThread_.Reset();
    CloseEvents();
}

DWORD WINAPI CGP::MonitorThread(void* policy) noexcept
{
    return static_cast<CGP*>(policy)->Monitor();
}

DWORD CGP::Monitor() noexcept
{
    const win::ComApartment apartment;
    if (registerNotification(machineEvent_.Get(), TRUE) == FALSE ||
        registerNotification(userEvent_.Get(), FALSE) == FALSE) {
        return kNotMonitoring;
    }
    const HANDLE events[] = {machineEvent_.Get(), userEvent_.Get(), stopEvent_.Get()};
    for (;;) {
        const DWORD signalled = WaitForMultipleObjects(static_cast<DWORD>(std::size(events)), events, FALSE, INFINITE);
        if (signalled == WAIT_OBJECT_0) {
            OnMachinePolicyChanged(1);
            ResetEvent(machineEvent_.Get());
        } else if (signalled == WAIT_OBJECT_0 + 1) {
            OnUserPolicyChanged(1);
            ResetEvent(userEvent_.Get());
        } else {
            break;
        }
    }
    unregisterNotification(machineEvent_.Get());
    unregisterNotification(userEvent_.Get());
    return 0;
}

void CGP::CloseEvents() noexcept
{
    machineEvent_.Reset();
    userEvent_.Reset();
    stopEvent_.Reset();
}
