#include "computer/replacements.h"
#include "computer/shown_registry.h"
#include "computer/simulated_computer.h"

#include <set>

#include <userenv.h>

namespace sim {

namespace {

bool PolicyChanges()
{
    return !Computer().Setup().policyChanges.empty();
}

// Changes the policy at the scenario's times and sets the registered events.
class PolicyClock {
public:
    // Adds an event that is set after each change of the user's policy; the first one starts the clock.
    BOOL Register(HANDLE event)
    {
        const std::scoped_lock guard(lock_);
        if (!started_) {
            const win::KernelHandle thread(CreateThread(nullptr, 0, &Run, this, 0, nullptr));
            started_ = static_cast<bool>(thread);
        }
        if (started_) {
            events_.insert(event);
        }
        return started_ ? TRUE : FALSE;
    }

    // Takes the event out: it may be closed from then on.
    void Unregister(HANDLE event)
    {
        const std::scoped_lock guard(lock_);
        events_.erase(event);
    }

private:
    static DWORD WINAPI Run(void* clock)
    {
        static_cast<PolicyClock*>(clock)->ApplyChanges();
        return 0;
    }

    void ApplyChanges()
    {
        const ComputerSetup& setup = Computer().Setup();
        std::chrono::milliseconds now{0};
        for (const PolicyChange& change : setup.policyChanges) {
            Sleep(static_cast<DWORD>(AtSpeed(change.after - now, setup.clockSpeed).count()));
            now = change.after;
            ChangePolicy(change);
            const std::scoped_lock guard(lock_);
            for (HANDLE const event : events_) {
                SetEvent(event);
            }
        }
    }

    std::mutex lock_;
    std::set<HANDLE> events_;
    bool started_ = false;
};

PolicyClock& ThePolicyClock()
{
    static PolicyClock clock;
    return clock;
}

BOOL WINAPI RegisterForChanges(HANDLE event, BOOL machine)
{
    if (Fails(L"RegisterGPNotification")) {
        return FALSE;
    }
    if (!PolicyChanges()) {
        return RegisterGPNotification(event, machine);
    }
    // The computer's own policy does not change.
    return machine != FALSE ? TRUE : ThePolicyClock().Register(event);
}

BOOL WINAPI UnregisterForChanges(HANDLE event)
{
    if (!PolicyChanges()) {
        return UnregisterGPNotification(event);
    }
    ThePolicyClock().Unregister(event);
    return TRUE;
}

// Nobody else applies this computer's policy, so a new mutex each time does as a section.
HANDLE WINAPI EnterSection(BOOL machine)
{
    if (Fails(L"EnterCriticalPolicySection")) {
        return nullptr;
    }
    return PolicyChanges() ? CreateMutexW(nullptr, TRUE, nullptr) : EnterCriticalPolicySection(machine);
}

BOOL WINAPI LeaveSection(HANDLE section)
{
    return PolicyChanges() ? CloseHandle(section) : LeaveCriticalPolicySection(section);
}

} // namespace

std::span<const Replacement> PolicyReplacements()
{
    static const Replacement kReplacements[] = {
        Replace("RegisterGPNotification", &RegisterGPNotification, &RegisterForChanges),
        Replace("UnregisterGPNotification", &UnregisterGPNotification, &UnregisterForChanges),
        Replace("EnterCriticalPolicySection", &EnterCriticalPolicySection, &EnterSection),
        Replace("LeaveCriticalPolicySection", &LeaveCriticalPolicySection, &LeaveSection),
    };
    return kReplacements;
}

} // namespace sim
