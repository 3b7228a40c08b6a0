#include "engine/Operations.h"

#include "engine/operation_steps.h"
#include "messages/console_output.h"
#include "win/result_code.h"

namespace {

constexpr Message kNoFileTypes{
    3346, "Unable to schedule drive for an Offline defrag pass of your System Files for next reboot.  Please specify "
          "the file types in the Drive Properties Notebook or use the appropriate flag on the commandline."};
constexpr Message kScheduled{1360,
                             "Drive %1 has been scheduled for an offline defrag of your system files on next reboot."};
constexpr Message kNotScheduled{
    3345, "Unable to schedule drive %1 for an Offline defrag pass of your System Files due to error %2"};
constexpr Message kRemoved{1359,
                           "Drive %1 has been removed from an offline defrag of your system files on next reboot."};
constexpr Message kNotRemoved{
    3320, "Unable to remove drive %1 from an Offline defrag pass of your System Files due to error %2"};
constexpr Message kStopped{1363, "Drive %1 was stopped."};
constexpr Message kAllStopped{648, "All drives were stopped."};

constexpr int kScheduleLine = 201;
constexpr int kCancelLine = 242;

// Prints how a request on a drive ended.
Result ReportRequest(const OpenedDrive& opened, HRESULT result, const Message& done, const Message& failed, int line)
{
    if (FAILED(result)) {
        PrintMessage(failed, {opened.mountPoint, OperationError(result, line)});
        return kEngineCallFailed;
    }
    PrintMessage(done, {opened.mountPoint});
    return kSuccess;
}

} // namespace

Result ScheduleBootTime(const std::wstring& computer, const std::wstring& drive, std::uint32_t fileTypes)
{
    OpenedDrive opened;
    if (const Failure failure = ConnectAndCheckAccess(computer, opened.agent)) {
        return *failure;
    }
    if (FAILED(OpenDrive(drive, opened))) {
        return kEngineCallFailed;
    }
    ULONG mask = fileTypes;
    if (mask == VLFilesConfigured && FAILED(opened.drive->GetOfflineFileTypes(&mask))) {
        return kEngineCallFailed;
    }
    if (mask == 0) {
        PrintMessage(kNoFileTypes);
        return kBadCommandData;
    }
    ForgetErrorObject();
    return ReportRequest(opened, opened.agent->ScheduleBootTime(opened.drive.Get(), mask), kScheduled, kNotScheduled,
                         kScheduleLine);
}

Result CancelBootTime(const std::wstring& computer, const std::wstring& drive)
{
    OpenedDrive opened;
    if (const Failure failure = ConnectAndCheckAccess(computer, opened.agent)) {
        return *failure;
    }
    if (FAILED(OpenDrive(drive, opened))) {
        return kEngineCallFailed;
    }
    ForgetErrorObject();
    return ReportRequest(opened, opened.agent->CancelBootTime(opened.drive.Get()), kRemoved, kNotRemoved, kCancelLine);
}

Result StopDrive(const std::wstring& computer, const std::wstring& drive)
{
    OpenedDrive opened;
    if (const Failure failure = ConnectAndCheckAccess(computer, opened.agent)) {
        return *failure;
    }
    if (const HRESULT result = OpenDrive(drive, opened); FAILED(result)) {
        return win::CodeOf(result);
    }
    if (FAILED(opened.agent->StopDrive(opened.drive.Get()))) {
        return kEngineCallFailed;
    }
    PrintMessage(kStopped, {opened.mountPoint});
    return kSuccess;
}

Result StopAllDrives(const std::wstring& computer)
{
    win::ComPtr<IVLAgent> agent;
    if (const Failure failure = ConnectAndCheckAccess(computer, agent)) {
        return *failure;
    }
    const HRESULT stopped = agent->StopAll();
    if (FAILED(stopped)) {
        return win::CodeOf(stopped);
    }
    PrintMessage(kAllStopped);
    return kSuccess;
}

Result RunSchedule(const std::wstring& computer, const std::wstring& schedule)
{
    win::ComPtr<IVLService> service;
    if (FAILED(ConnectToService(computer, &service))) {
        return kConnectionFailed;
    }
    win::ComPtr<IVLSchedule> schedules;
    const HRESULT found = service->GetSchedule(schedules.Put());
    if (const HRESULT result = win::RequireInterface(found, schedules.Get()); FAILED(result)) {
        return win::CodeOf(result);
    }
    const win::Bstr name(schedule);
    if (const HRESULT result = schedules->RunByName(name.Get()); FAILED(result)) {
        return win::CodeOf(result);
    }
    SendRefreshNotice(computer);
    return kSuccess;
}
