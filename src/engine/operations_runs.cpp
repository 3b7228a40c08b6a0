#include "engine/Operations.h"

#include "engine/job_threads.h"
#include "engine/operation_steps.h"
#include "engine/stop_event.h"
#include "messages/console_output.h"

namespace {

// What a job prints, and the line that its failures carry; a negative line is left out of the error text.
struct JobText {
    Message started;
    Message failed;
    Message completed;
    int driveLine;
    int mountPointLine;
    int failedLine;
};

constexpr int kNoLine = -1;

constexpr Message kNoDrive{3271, "Unable to get drive interface due to error %1"};
constexpr Message kNoMountPoint{3316, "Unable to query drive mount point due to error %1"};
constexpr Message kOptimizationCompleted{2347, "Optimization completed."};
constexpr Message kBootTimeScheduled{775, "Boot time defragmentation scheduled for drive %1."};

constexpr JobText kAnalyzeText{{684, "Analyze started on drive %1."},
                               {681, "Analyze failed due to error %1"},
                               {679, "Analyze completed."},
                               1425,
                               1436,
                               1446};
constexpr JobText kOnlineText{{2327, "Online optimization started on drive %1."},
                              {1162, "Optimization online failed due to error %1"},
                              kOptimizationCompleted,
                              1488,
                              1499,
                              1510};
constexpr JobText kOfflineText{{2303, "Offline optimization of System Files started on drive %1."},
                               {2290, "Offline Defrag of System Files failed due to error %1"},
                               kOptimizationCompleted,
                               1488,
                               1499,
                               1526};
constexpr JobText kZeroText{{6364, "Zero free space started on drive %1."},
                            {6355, "Zero free space failed due to error %1"},
                            {6365, "Zero free space completed."},
                            kNoLine,
                            kNoLine,
                            kNoLine};

constexpr LONG kPrepareOfflineReserved = 0;
constexpr LONG kZeroFreeSpaceReserved = 200;

constexpr DWORD kPollInterval = 5000;
// How often a drive may be found idle before it counts as never having become busy.
constexpr int kIdleAllowance = 11;

// What a refused rights check makes of the job.
enum class AccessRefusal { NotPermitted, EngineFailure };

// Connects, checks access and opens the job's drive; each failure has been printed. What the caller starts next finds
// no error object on the thread.
Failure OpenJobDrive(const DriveJob& job, const JobText& text, AccessRefusal refusal, OpenedDrive& opened)
{
    if (FAILED(ConnectToAgent(job.computer, &opened.agent))) {
        return kConnectionFailed;
    }
    HRESULT denied = S_OK;
    if (const Result access = CheckAccess(*opened.agent, &denied); access != kSuccess) {
        return refusal == AccessRefusal::NotPermitted ? access : win::CodeOf(denied);
    }
    ForgetErrorObject();
    if (const HRESULT result = GetDrive(*opened.agent, job.drive, opened.drive); FAILED(result)) {
        return ReportFailure(kNoDrive, result, text.driveLine);
    }
    ForgetErrorObject();
    if (const HRESULT result = GetMountPoint(*opened.drive, opened.mountPoint); FAILED(result)) {
        return ReportFailure(kNoMountPoint, result, text.mountPointLine);
    }
    ForgetErrorObject();
    return std::nullopt;
}

// Reports how the work started; when the job waits, waits and reports its end.
Failure FollowJob(const DriveJob& job, const JobText& text, const OpenedDrive& opened, HRESULT started)
{
    if (FAILED(started)) {
        return ReportFailure(text.failed, started, text.failedLine);
    }
    PrintMessage(text.started, {opened.mountPoint});
    if (job.wait) {
        // The wait's result is ignored: the message is the same however it ended.
        static_cast<void>(WaitForDriveIdle(*opened.agent, job.drive));
        PrintMessage(text.completed);
    }
    return std::nullopt;
}

Failure OptimizeOffline(const OptimizeJob& job, const OpenedDrive& opened)
{
    if (FAILED(opened.agent->PrepareOffline(opened.drive.Get(), kPrepareOfflineReserved))) {
        // Whether the scheduling succeeded has been printed there; this drive's part ends here either way.
        ScheduleBootTime(job.computer, job.drive, job.fileTypes);
        PrintMessage(kBootTimeScheduled, {opened.mountPoint});
        return kScheduledForBoot;
    }
    ForgetErrorObject();
    return FollowJob(job, kOfflineText, opened, opened.agent->OptimizeOffline(opened.drive.Get(), job.fileTypes));
}

// Runs a job like the settings on every drive; how it failed is told by the drives in list order.
template <typename Job, Failure (*Run)(const Job&)>
Failure RunBatch(const DriveList& drives, Job settings)
{
    JobThreads threads(drives.size());
    for (const std::wstring& drive : drives) {
        settings.drive = drive;
        threads.Start<Job, Run>(settings);
    }
    const Failure failure = threads.Finish();
    SendRefreshNotice(settings.computer);
    return failure;
}

} // namespace

Failure AnalyzeDrives(const std::wstring& computer, const DriveList& drives, bool wait)
{
    return RunBatch<DriveJob, AnalyzeDrive>(drives, {computer, {}, wait});
}

Result OptimizeDrives(const DriveList& drives, const OptimizeJob& settings)
{
    // A drive's failure has been printed; the result of the whole is always 0.
    static_cast<void>(RunBatch<OptimizeJob, OptimizeDrive>(drives, settings));
    return kSuccess;
}

Failure ZeroFreeSpaceOnDrives(const std::wstring& computer, const DriveList& drives, bool wait)
{
    return RunBatch<DriveJob, ZeroFreeSpaceOnDrive>(drives, {computer, {}, wait});
}

Failure AnalyzeDrive(const DriveJob& job)
{
    OpenedDrive opened;
    if (const Failure failure = OpenJobDrive(job, kAnalyzeText, AccessRefusal::NotPermitted, opened)) {
        return failure;
    }
    return FollowJob(job, kAnalyzeText, opened, opened.agent->Analyze(opened.drive.Get()));
}

Failure OptimizeDrive(const OptimizeJob& job)
{
    const JobText& text = job.online ? kOnlineText : kOfflineText;
    OpenedDrive opened;
    if (const Failure failure = OpenJobDrive(job, text, AccessRefusal::EngineFailure, opened)) {
        return failure;
    }
    if (!job.online) {
        return OptimizeOffline(job, opened);
    }
    return FollowJob(job, text, opened, opened.agent->OptimizeOnline(opened.drive.Get(), job.mode));
}

Failure ZeroFreeSpaceOnDrive(const DriveJob& job)
{
    OpenedDrive opened;
    if (const Failure failure = OpenJobDrive(job, kZeroText, AccessRefusal::EngineFailure, opened)) {
        return failure;
    }
    return FollowJob(job, kZeroText, opened, opened.agent->ZeroFreeSpace(opened.drive.Get(), kZeroFreeSpaceReserved));
}

HRESULT WaitForDriveIdle(IVLAgent& agent, const std::wstring& drive)
{
    int allowance = kIdleAllowance;
    for (;;) {
        if (WaitForSingleObject(StopEvent, 0) == WAIT_OBJECT_0) {
            return agent.StopAll();
        }
        Sleep(kPollInterval);
        win::ComPtr<IVLDrive> polled;
        if (const HRESULT result = GetDrive(agent, drive, polled); FAILED(result)) {
            return result;
        }
        ULONG state = 0;
        if (const HRESULT result = polled->GetState(&state); FAILED(result)) {
            return result;
        }
        const bool idle = state == VLStateIdle;
        if (idle && allowance == 0) {
            return S_OK;
        }
        allowance = idle ? allowance - 1 : 0;
    }
}
