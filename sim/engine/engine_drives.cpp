#include "engine/engine_drives.h"

#include "base/text.h"

#include "win/text.h"

#include <algorithm>

namespace sim {

namespace {

// Makes a drive's times those that they take at the clock's speed.
void SetSpeed(DriveSetup& drive, double speed)
{
    WorkTimes& times = drive.times;
    for (std::chrono::milliseconds* const time :
         {&times.analyze, &times.defragment, &times.offlinePass, &times.file, &times.done}) {
        *time = AtSpeed(*time, speed);
    }
    if (drive.stateTime) {
        drive.stateTime = AtSpeed(*drive.stateTime, speed);
    }
}

} // namespace

EngineDrives::EngineDrives(const Scenario& scenario, Time now, Recorder record)
    : setups_(scenario.drives),
      schedules_(scenario.schedules),
      driveList_(scenario.driveList),
      record_(std::move(record)),
      activities_(scenario.drives.size())
{
    for (DriveSetup& setup : setups_) {
        SetSpeed(setup, scenario.computer.clockSpeed);
    }
    // Identities go before names of the same text, as they are what the engine's own list hands out.
    for (const auto text : {&DriveSetup::identity, &DriveSetup::name}) {
        for (DriveIndex drive = 0; drive < setups_.size(); ++drive) {
            const std::wstring& known = setups_[drive].*text;
            byName_.emplace(win::UpperCase(known), drive);
            byVolume_.emplace(win::UpperCase(WithoutTrailingBackslash(known)), drive);
        }
    }
    for (DriveIndex drive = 0; drive < setups_.size(); ++drive) {
        const DriveSetup& setup = setups_[drive];
        Activity& activity = activities_[drive];
        activity.bootTypes = setup.bootTypes;
        activity.points = setup.points;
        if (setup.stateTime) {
            activity.legs.push_back({setup.state, now + *setup.stateTime});
        } else {
            activity.stateAfter = setup.state;
        }
    }
}

std::wstring EngineDrives::DriveList() const
{
    if (driveList_) {
        return *driveList_;
    }
    std::wstring list;
    for (const DriveSetup& setup : setups_) {
        if (!list.empty()) {
            list += L'|';
        }
        list += setup.identity;
    }
    return list;
}

std::optional<DriveIndex> EngineDrives::FindDrive(std::wstring_view identityOrName) const
{
    const auto found = byName_.find(win::UpperCase(identityOrName));
    return found == byName_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<DriveIndex> EngineDrives::FindVolume(std::wstring_view identityOrName) const
{
    const auto found = byVolume_.find(win::UpperCase(WithoutTrailingBackslash(identityOrName)));
    return found == byVolume_.end() ? std::nullopt : std::optional(found->second);
}

void EngineDrives::Settle(Time now)
{
    const std::scoped_lock guard(recordLock_);
    SettleAll(now);
}

std::uint32_t EngineDrives::StateOf(DriveIndex drive, Time now)
{
    // Whoever sees that the work is over will look for its figures at once, so they must be there by then.
    if (FinishedOn(drive, now)) {
        Settle(now);
    }
    const std::scoped_lock guard(lock_);
    const Activity& activity = activities_[drive];
    const auto leg = std::ranges::find_if(activity.legs, [&](const Leg& candidate) { return now < candidate.end; });
    return leg == activity.legs.end() ? activity.stateAfter : leg->state;
}

bool EngineDrives::AtWork(Time now) const
{
    const std::scoped_lock guard(lock_);
    return std::ranges::any_of(activities_, [&](const Activity& activity) {
        return activity.work || (!activity.legs.empty() && now < activity.legs.back().end);
    });
}

HRESULT EngineDrives::Analyze(DriveIndex drive, Time now)
{
    Start(drive, RecordedWork::Analysis, {{VLStateAnalyzing, setups_[drive].times.analyze}}, now);
    return S_OK;
}

HRESULT EngineDrives::OptimizeOnline(DriveIndex drive, std::int32_t mode, Time now)
{
    if (mode < VLModeTierWeave || mode > VLModeSsdOptimize) {
        return E_INVALIDARG;
    }
    Start(drive, RecordedWork::Online, {{VLStateDefragmenting, setups_[drive].times.defragment}}, now);
    return S_OK;
}

HRESULT EngineDrives::DefragFile(DriveIndex drive, std::wstring_view paths, Time now)
{
    if (paths.empty()) {
        return E_INVALIDARG;
    }
    Start(drive, std::nullopt, {{VLStateDefragmenting, setups_[drive].times.file}}, now);
    return S_OK;
}

HRESULT EngineDrives::ZeroFreeSpace(DriveIndex drive, Time now)
{
    Start(drive, std::nullopt, {{VLStateDefragmenting, setups_[drive].times.defragment}}, now);
    return S_OK;
}

HRESULT EngineDrives::PrepareOffline(DriveIndex drive) const
{
    return setups_[drive].refusesOffline ? kDriveInUse : S_OK;
}

HRESULT EngineDrives::OptimizeOffline(DriveIndex drive, std::uint32_t fileTypes, Time now)
{
    HRESULT result = PrepareOffline(drive);
    if (FAILED(result)) {
        return result;
    }
    result = EffectiveTypes(drive, fileTypes);
    if (FAILED(result)) {
        return result;
    }
    struct Pass {
        std::uint32_t bit;
        VLDriveState state;
    };
    constexpr Pass kPasses[] = {{VLFilesDirectories, VLStateOfflineDirectories},
                                {VLFilesSystem, VLStateOfflineSystemFiles},
                                {VLFilesPaging, VLStateOfflinePagingFile}};
    std::vector<Step> steps;
    for (const Pass& pass : kPasses) {
        if ((fileTypes & pass.bit) != 0) {
            steps.push_back({pass.state, setups_[drive].times.offlinePass});
        }
    }
    Start(drive, RecordedWork::Offline, steps, now);
    return S_OK;
}

HRESULT EngineDrives::ScheduleBootTime(DriveIndex drive, std::uint32_t fileTypes)
{
    const HRESULT result = EffectiveTypes(drive, fileTypes);
    if (SUCCEEDED(result)) {
        const std::scoped_lock guard(lock_);
        activities_[drive].bootTypes = fileTypes;
    }
    return result;
}

HRESULT EngineDrives::CancelBootTime(DriveIndex drive)
{
    const std::scoped_lock guard(lock_);
    if (!activities_[drive].bootTypes) {
        return kNotScheduled;
    }
    activities_[drive].bootTypes.reset();
    return S_OK;
}

std::optional<std::uint32_t> EngineDrives::BootTypesOf(DriveIndex drive) const
{
    const std::scoped_lock guard(lock_);
    return activities_[drive].bootTypes;
}

void EngineDrives::StopDrive(DriveIndex drive, Time now)
{
    const std::scoped_lock guard(recordLock_);
    SettleAll(now);
    Stop(drive);
}

void EngineDrives::StopAll(Time now)
{
    const std::scoped_lock guard(recordLock_);
    SettleAll(now);
    for (DriveIndex drive = 0; drive < setups_.size(); ++drive) {
        Stop(drive);
    }
}

HRESULT EngineDrives::RunSchedule(std::wstring_view name, Time now)
{
    const auto schedule = std::ranges::find_if(
        schedules_, [&](const ScheduleSetup& candidate) { return win::EqualNames(candidate.name, name); });
    if (schedule == schedules_.end()) {
        return kUnknownSchedule;
    }
    for (const DriveIndex drive : schedule->drives) {
        switch (schedule->work) {
        case ScheduledWork::Analyze:
            Analyze(drive, now);
            break;
        case ScheduledWork::Defragment:
            OptimizeOnline(drive, VLModeTierWeave, now);
            break;
        case ScheduledWork::Nothing:
            break;
        }
    }
    return S_OK;
}

std::optional<std::wstring> EngineDrives::FileName(DriveIndex drive, std::uint64_t identifier) const
{
    const auto& files = setups_[drive].files;
    const auto found = files.find(identifier);
    return found == files.end() ? std::nullopt : std::optional(found->second);
}

std::vector<StatisticsPoint> EngineDrives::Statistics(DriveIndex drive, double cutOff, std::int32_t count) const
{
    std::vector<StatisticsPoint> points;
    const std::scoped_lock guard(lock_);
    for (const StatisticsPoint& point : activities_[drive].points) {
        if (static_cast<std::int64_t>(points.size()) >= count) {
            break;
        }
        if (point.date < cutOff) {
            points.push_back(point);
        }
    }
    return points;
}

void EngineDrives::Start(DriveIndex drive, std::optional<RecordedWork> work, const std::vector<Step>& steps, Time now)
{
    const std::scoped_lock recording(recordLock_);
    SettleAll(now);
    std::vector<Leg> legs;
    Time end = now;
    for (const Step& step : steps) {
        end += step.length;
        legs.push_back({step.state, end});
    }
    legs.push_back({VLStateDone, end + setups_[drive].times.done});

    const std::scoped_lock guard(lock_);
    Activity& activity = activities_[drive];
    activity.legs = std::move(legs);
    activity.stateAfter = VLStateIdle;
    activity.work = work;
    activity.workEnd = end;
}

void EngineDrives::Stop(DriveIndex drive)
{
    const std::scoped_lock guard(lock_);
    Activity& activity = activities_[drive];
    activity.legs.clear();
    activity.stateAfter = VLStateIdle;
    activity.work.reset();
}

// Under recordLock_ alone, so that other drives can be looked at while the recorder is busy.
void EngineDrives::SettleAll(Time now)
{
    for (DriveIndex drive = 0; drive < setups_.size(); ++drive) {
        if (const std::optional<FinishedWork> work = FinishedOn(drive, now)) {
            record_(*work);
            Forget(drive, *work);
        }
    }
}

// The work that the drive has finished and that has not been recorded yet.
std::optional<FinishedWork> EngineDrives::FinishedOn(DriveIndex drive, Time now) const
{
    const std::scoped_lock guard(lock_);
    const Activity& activity = activities_[drive];
    if (!activity.work || now < activity.workEnd) {
        return std::nullopt;
    }
    Tidiness tidiness = activity.tidiness;
    FinishedWork work;
    work.work = *activity.work;
    work.driveName = setups_[drive].name;
    work.ago = std::chrono::duration_cast<std::chrono::milliseconds>(now - activity.workEnd);
    work.before = ConditionOf(work.driveName, tidiness);
    tidiness.files = tidiness.files || work.work == RecordedWork::Online;
    tidiness.metadata = tidiness.metadata || work.work == RecordedWork::Offline;
    work.after = ConditionOf(work.driveName, tidiness);
    return work;
}

// What recorded work leaves on the drive.
void EngineDrives::Forget(DriveIndex drive, const FinishedWork& work)
{
    const std::scoped_lock guard(lock_);
    Activity& activity = activities_[drive];
    activity.work.reset();
    activity.tidiness.files = activity.tidiness.files || work.work == RecordedWork::Online;
    activity.tidiness.metadata = activity.tidiness.metadata || work.work == RecordedWork::Offline;
    if (work.work == RecordedWork::Online) {
        activity.points.insert(activity.points.begin(),
                               {UtcDate(work.ago),
                                {work.before.fileFragmentation, work.after.fileFragmentation},
                                {work.before.freeSpaceFragmentation, work.after.freeSpaceFragmentation},
                                {work.before.drivePerformance, work.after.drivePerformance}});
        std::ranges::stable_sort(activity.points, std::ranges::greater(), &StatisticsPoint::date);
    }
}

// Replaces the mask of the configured file types by the drive's own; a mask must name a file type and nothing else.
HRESULT EngineDrives::EffectiveTypes(DriveIndex drive, std::uint32_t& fileTypes) const
{
    if (fileTypes == VLFilesConfigured) {
        fileTypes = setups_[drive].offlineTypes;
    }
    return fileTypes != 0 && (fileTypes & ~static_cast<std::uint32_t>(VLFilesAll)) == 0 ? S_OK : E_INVALIDARG;
}

} // namespace sim
