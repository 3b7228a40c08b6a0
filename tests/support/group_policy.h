#pragma once

#include "policy/group_policy.h"
#include "support/replaced_function.h"
#include "support/signal.h"

#include <atomic>

#include <userenv.h>

namespace testing_support {

// Where an administrator's "Allow" values stand, under HKEY_CURRENT_USER.
inline constexpr wchar_t kUserPolicyKey[] = L"Software\\Policies\\Kestrane\\Velundra\\14.0";

// Names what only derived classes of a policy may use; there are no objects of it.
struct PolicyFlags : CGP {
    using CGP::IsAllowed;
    using CGP::SetAllowed;
};

// Whether a permission is granted, also one that no command asks.
inline bool IsGranted(const CGP& policy, Permission permission)
{
    return (policy.*&PolicyFlags::IsAllowed)(permission);
}

// Grants or refuses a permission, also one that no registry value tells.
inline void Grant(CGP& policy, Permission permission, bool granted)
{
    (policy.*&PolicyFlags::SetAllowed)(permission, granted);
}

// Stands in for Windows' notifications of changed group policy: takes the events of a policy monitor and signals them
// when the test says so.
class PolicyNotifications {
public:
    // Tells the monitor that the user's or the machine's policy has changed; returns when it has dealt with that. There
    // must be a monitor, or one that is about to register its events.
    void ChangeUserPolicy() { Change(user_, userRegistered_); }
    void ChangeMachinePolicy() { Change(machine_, machineRegistered_); }

    // How many events have been registered, and taken back again.
    [[nodiscard]] int Registered() const { return register_.Calls(); }
    [[nodiscard]] int Unregistered() const { return unregister_.Calls(); }

private:
    void Change(const std::atomic<HANDLE>& event, Signal& registered)
    {
        if (registered.Await()) {
            SetEvent(event);
            dealtWith_.Await();
            // The event stays registered.
            registered.Raise();
        }
    }

    std::atomic<HANDLE> machine_ = nullptr;
    std::atomic<HANDLE> user_ = nullptr;
    Signal machineRegistered_;
    Signal userRegistered_;
    Signal dealtWith_;

    Replaced<"RegisterGPNotification", decltype(::RegisterGPNotification)> register_{
        [this](HANDLE event, BOOL machine) {
            (machine != FALSE ? machine_ : user_) = event;
            (machine != FALSE ? machineRegistered_ : userRegistered_).Raise();
            return TRUE;
        }};
    Replaced<"UnregisterGPNotification", decltype(::UnregisterGPNotification)> unregister_{[this](HANDLE event) {
        (event == machine_ ? machineRegistered_ : userRegistered_).Lower();
        return TRUE;
    }};
    Replaced<"ResetEvent", decltype(::ResetEvent)> resetEvent_{[this](HANDLE event) {
        const BOOL reset = resetEvent_.Original(event);
        if (event == machine_ || event == user_) {
            dealtWith_.Raise();
        }
        return reset;
    }};
};

} // namespace testing_support
