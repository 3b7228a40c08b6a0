#pragma once

#include "policy/lockable.h"
#include "win/owner.h"

#include <array>
#include <atomic>
#include <cstdint>

// What an administrator may forbid, in the product's order of the permissions.
enum class Permission : std::uint8_t {
    Launch,
    AdvancedConfiguration,
    Status,
    Analyze,
    ZeroFreeSpace,
    OnlineDefrag,
    OfflineDefrag,
    Stop,
    ModifyDriveProperties,
    ModifySchedules,
    Reserved1,
    Reserved2,
    BootTimeSchedule,
    RunSchedule,
    CheckUpdate,
    FreeSpaceStatus,
    FreeSpaceReclaim,
    Count,
};

// The permissions that group policy grants, kept up to date by a monitor thread while it runs. The derived class reads
// them.
class CGP : public CLockable {
public:
    CGP() = default;
    CGP(const CGP&) = delete;
    CGP(CGP&&) = delete;
    // Windows calls back into the derived class while the monitor runs, so each derived class stops it in its own
    // destructor.
    virtual ~CGP();
    CGP& operator=(const CGP&) = delete;
    CGP& operator=(CGP&&) = delete;

    // Called when the machine's and when the user's policy has changed, and once for each when the monitor starts.
    // refresh: nonzero when other processing of group policy has to be kept out meanwhile.
    virtual void OnMachinePolicyChanged(int refresh) noexcept = 0;
    virtual void OnUserPolicyChanged(int refresh) noexcept = 0;

    // Loads the permissions for the first time, on the calling thread, and starts the monitor thread. Returns 0, or the
    // Windows error with which an event or the thread could not be created; then no monitor runs.
    std::uint32_t StartPolicyMonitor(int refresh) noexcept;

    // Ends the monitor thread and waits until it is over; nothing happens when it was not started.
    void StopPolicyMonitor() noexcept;

    // Whether policy grants a permission. The getters take no lock: each flag is read once in a command.
    [[nodiscard]] bool IsLaunchAllowed() const noexcept { return IsAllowed(Permission::Launch); }
    [[nodiscard]] bool IsStatusAllowed() const noexcept { return IsAllowed(Permission::Status); }
    [[nodiscard]] bool IsAnalyzeAllowed() const noexcept { return IsAllowed(Permission::Analyze); }
    [[nodiscard]] bool IsOnlineDefragAllowed() const noexcept { return IsAllowed(Permission::OnlineDefrag); }
    [[nodiscard]] bool IsOfflineDefragAllowed() const noexcept { return IsAllowed(Permission::OfflineDefrag); }
    [[nodiscard]] bool IsStopAllowed() const noexcept { return IsAllowed(Permission::Stop); }
    [[nodiscard]] bool IsBootTimeScheduleAllowed() const noexcept { return IsAllowed(Permission::BootTimeSchedule); }
    [[nodiscard]] bool IsRunScheduleAllowed() const noexcept { return IsAllowed(Permission::RunSchedule); }

protected:
    [[nodiscard]] bool IsAllowed(Permission permission) const noexcept
    {
        return flags_[static_cast<std::size_t>(permission)] != 0;
    }
    void SetAllowed(Permission permission, bool allowed) noexcept
    {
        flags_[static_cast<std::size_t>(permission)] = allowed ? 1 : 0;
    }

private:
    static DWORD WINAPI MonitorThread(void* policy) noexcept;
    DWORD Monitor() noexcept;
    void CloseEvents() noexcept;

    DWORD threadStopTimeout_ = INFINITE; // milliseconds
    win::KernelHandle machineEvent_;
    win::KernelHandle userEvent_;
    win::KernelHandle stopEvent_;
    win::KernelHandle monitorThread_;
    std::array<std::atomic<std::int32_t>, static_cast<std::size_t>(Permission::Count)> flags_{};
};
