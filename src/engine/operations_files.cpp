#include "engine/Operations.h"

#include "engine/drive_spec.h"
#include "engine/operation_steps.h"
#include "messages/console_output.h"
#include "win/result_code.h"

namespace {

constexpr Message kDefragStarted{2893, "Single File defragmentation started on drive %1."};
constexpr Message kDefragFailed{2892, "Single File defragmentation failed due to error %1"};
constexpr Message kNoDriveName{284, "%1 is not a valid DriveName ."};
constexpr Message kNoVolume{268, "%1 Could not be matched with a known volume GUID ."};
constexpr Message kNoDriveManager{1615, "Failed to get Drive manager due to error %1"};
constexpr Message kNoFileName{1616, "Failed to get File Name from id  error %1."};
constexpr Message kFileName{1708, "File Name %1 corresponds to id %2 on drive %3"};

constexpr int kDefragLine = 1026;
constexpr int kConnectLine = 440;
constexpr int kFileNameLine = 459;

} // namespace

Result DefragFiles(const std::wstring& computer, const std::wstring& drive, const std::wstring& paths)
{
    OpenedDrive opened;
    if (const HRESULT connection = ConnectToAgent(computer, &opened.agent); FAILED(connection)) {
        return win::ResultOf(connection);
    }
    ULONG rights = 0;
    HRESULT ready = opened.agent->CheckAccess(&rights);
    if (SUCCEEDED(ready)) {
        ready = OpenDrive(drive, opened);
    }
    if (FAILED(ready)) {
        return win::CodeOf(ready);
    }
    const win::Bstr filePaths(paths);
    ForgetErrorObject();
    if (const HRESULT result = opened.agent->DefragFile(opened.drive.Get(), filePaths.Get()); FAILED(result)) {
        ReportFailure(kDefragFailed, result, kDefragLine);
        return kEngineCallFailed;
    }
    PrintMessage(kDefragStarted, {opened.mountPoint});
    return kSuccess;
}

Result ShowFileNameById(const std::wstring& computer, const std::wstring& drive, std::int64_t fileId)
{
    if (!IsDriveSpec(drive)) {
        PrintMessage(kNoDriveName, {drive});
        return kBadCommandData;
    }
    std::wstring volume;
    if (const Failure failure = FindVolumeIdentity(computer, drive, volume)) {
        PrintMessage(kNoVolume, {drive});
        return *failure;
    }
    win::ComPtr<IVLAgent> agent;
    ForgetErrorObject();
    if (const HRESULT connection = ConnectToAgent(computer, &agent); FAILED(connection)) {
        return ReportFailure(kNoDriveManager, connection, kConnectLine);
    }
    if (const Result access = CheckAccess(*agent); access != kSuccess) {
        return access;
    }
    const win::Bstr volumePath(volume);
    win::Bstr fileName;
    ForgetErrorObject();
    if (const HRESULT result = agent->GetFileNameById(volumePath.Get(), fileId, fileName.Put()); FAILED(result)) {
        return ReportFailure(kNoFileName, result, kFileNameLine);
    }
    PrintMessage(kFileName, {fileName.View(), std::to_wstring(fileId), drive});
    return kSuccess;
}
