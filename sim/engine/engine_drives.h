#pragma once

#include "database/finished_work.h"
#include "engine/refusals.h"
#include "scenario/scenario.h"

#include "engine/engine_contract.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace sim {

// A drive's place in the engine's list.
using DriveIndex = std::size_t;

// The engine's drives and what they are doing, with their schedules and files. It knows no COM. The caller gives the
// time of every question and order, so that a test can choose it. Safe to use from any thread.
//
// A finished analysis, online or offline pass is recorded exactly once, before the drive is seen to be done with it.
class EngineDrives {
public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;

    // Records finished work. It may take long, and is called by one thread at a time.
    using Recorder = std::function<void(const FinishedWork&)>;

    // The drives of the scenario, as they are at this time.
    EngineDrives(const Scenario& scenario, Time now, Recorder record);

    // Records all work that is finished by now and has not been recorded yet.
    void Settle(Time now);

    // The identities of all drives, separated by "|"; or what the scenario orders instead.
    [[nodiscard]] std::wstring DriveList() const;

    // The drive of this identity or name, in any case.
    [[nodiscard]] std::optional<DriveIndex> FindDrive(std::wstring_view identityOrName) const;

    // As FindDrive, but with or without the trailing backslash.
    [[nodiscard]] std::optional<DriveIndex> FindVolume(std::wstring_view identityOrName) const;

    // What the scenario says of the drive.
    [[nodiscard]] const DriveSetup& Setup(DriveIndex drive) const { return setups_[drive]; }

    // How many drives and schedules there are.
    [[nodiscard]] std::size_t DriveCount() const { return setups_.size(); }
    [[nodiscard]] std::size_t ScheduleCount() const { return schedules_.size(); }

    // What the drive is doing.
    [[nodiscard]] std::uint32_t StateOf(DriveIndex drive, Time now);

    // Whether any drive is at work that ends by itself, or has ended what is not recorded yet.
    [[nodiscard]] bool AtWork(Time now) const;

    // Starts an analysis in place of whatever the drive is doing; the same holds for the other starts.
    HRESULT Analyze(DriveIndex drive, Time now);

    // Starts an online optimisation; E_INVALIDARG for a mode that does not exist.
    HRESULT OptimizeOnline(DriveIndex drive, std::int32_t mode, Time now);

    // Starts the defragmentation of files; E_INVALIDARG for no files.
    HRESULT DefragFile(DriveIndex drive, std::wstring_view paths, Time now);

    // Starts to overwrite the free space.
    HRESULT ZeroFreeSpace(DriveIndex drive, Time now);

    // Whether the drive can be processed offline now: S_OK or kDriveInUse.
    [[nodiscard]] HRESULT PrepareOffline(DriveIndex drive) const;

    // Starts the passes of the file types one after the other; kDriveInUse or, without file types, E_INVALIDARG.
    HRESULT OptimizeOffline(DriveIndex drive, std::uint32_t fileTypes, Time now);

    // Schedules the drive for the next boot in place of what was scheduled; E_INVALIDARG without file types.
    HRESULT ScheduleBootTime(DriveIndex drive, std::uint32_t fileTypes);

    // Removes the drive from the next boot; kNotScheduled where it was not there.
    HRESULT CancelBootTime(DriveIndex drive);

    // The file types for which the drive is scheduled, if it is.
    [[nodiscard]] std::optional<std::uint32_t> BootTypesOf(DriveIndex drive) const;

    // Makes the drive idle, whatever it shows; StopAll does so with every drive.
    void StopDrive(DriveIndex drive, Time now);
    void StopAll(Time now);

    // Starts the work of the schedule of this name, in any case; kUnknownSchedule where there is none.
    HRESULT RunSchedule(std::wstring_view name, Time now);

    // The name of a file, where the drive has one with this identifier.
    [[nodiscard]] std::optional<std::wstring> FileName(DriveIndex drive, std::uint64_t identifier) const;

    // The newest points, those of the scenario and those that online passes have left, before the cut-off date, at most
    // so many; the newest first.
    [[nodiscard]] std::vector<StatisticsPoint> Statistics(DriveIndex drive, double cutOff, std::int32_t count) const;

private:
    // A state that a drive shows until the given time.
    struct Leg {
        std::uint32_t state;
        Time end;
    };

    // What a drive shows: one state after the other, then the state after them.
    struct Activity {
        std::vector<Leg> legs;
        std::uint32_t stateAfter = 0;
        std::optional<std::uint32_t> bootTypes;
        std::optional<RecordedWork> work; // what is to be recorded when it ends
        Time workEnd;
        Tidiness tidiness;
        std::vector<StatisticsPoint> points; // the newest first
    };

    struct Step {
        VLDriveState state;
        std::chrono::milliseconds length;
    };

    void Start(DriveIndex drive, std::optional<RecordedWork> work, const std::vector<Step>& steps, Time now);
    void Stop(DriveIndex drive);
    void SettleAll(Time now);
    [[nodiscard]] std::optional<FinishedWork> FinishedOn(DriveIndex drive, Time now) const;
    void Forget(DriveIndex drive, const FinishedWork& work);
    HRESULT EffectiveTypes(DriveIndex drive, std::uint32_t& fileTypes) const;

    std::vector<DriveSetup> setups_;
    std::vector<ScheduleSetup> schedules_;
    std::optional<std::wstring> driveList_;
    std::unordered_map<std::wstring, DriveIndex> byName_;
    std::unordered_map<std::wstring, DriveIndex> byVolume_;
    Recorder record_;
    std::mutex recordLock_;   // held while work is recorded, begins or is stopped; taken before lock_
    mutable std::mutex lock_; // guards activities_; all else stays as it was made
    std::vector<Activity> activities_;
};

} // namespace sim
