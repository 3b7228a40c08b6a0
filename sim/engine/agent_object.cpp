#include "engine/agent_object.h"

#include "engine/drive_object.h"
#include "engine/serve.h"
#include "engine/statistics_object.h"

namespace sim {

namespace {

// What the callers of PrepareOffline and ZeroFreeSpace always pass.
constexpr LONG kPrepareValue = 0;
constexpr LONG kZeroValue = 200;

void AddNothing(Arguments& /*arguments*/) {}

// An automation date as the log shows it.
std::wstring DateText(DATE date)
{
    SYSTEMTIME time = {};
    if (VariantTimeToSystemTime(date, &time) == FALSE) {
        return L"invalid";
    }
    wchar_t text[32];
    std::swprintf(text, std::size(text), L"%04u-%02u-%02u %02u:%02u:%02u", time.wYear, time.wMonth, time.wDay,
                  time.wHour, time.wMinute, time.wSecond);
    return text;
}

} // namespace

AgentObject::AgentObject(std::shared_ptr<Engine> engine) : ComObject(std::move(engine), ObjectKind::Agent) {}

// Serves a call whose first argument is a drive. The work gets the drive's index.
template <typename AddArguments, typename Work>
HRESULT AgentObject::ServeDrive(Method method, IVLDrive* drive, AddArguments addArguments, Work work)
{
    const win::ComPtr<DriveObject> own = DriveObject::From(drive);
    Arguments arguments;
    if (own) {
        arguments.Add(L"drive", Quoted(own->Setup().name)).About(own->Drive());
    } else {
        arguments.Add(L"drive", drive == nullptr ? L"null" : L"foreign");
    }
    addArguments(arguments);
    return Serve(*SharedEngine(), Label(), method, arguments, NoOutput(),
                 [&](const NoOutput&) { return own ? work(own->Drive()) : E_INVALIDARG; });
}

HRESULT AgentObject::GetDriveList(BSTR* driveList)
{
    return Serve(*SharedEngine(), Label(), Method::GetDriveList, Arguments(), TextOutput(L"driveList", driveList),
                 [this](const TextOutput& output) { return output.Put(Drives().DriveList()); });
}

HRESULT AgentObject::GetDrive(BSTR driveName, IVLDrive** drive)
{
    const std::optional<DriveIndex> found = Drives().FindDrive(ViewOf(driveName));
    const Arguments arguments = Arguments().Text(L"driveName", driveName).About(found);
    return Serve(*SharedEngine(), Label(), Method::GetDrive, arguments, ObjectOutput(L"drive", drive),
                 [&](ObjectOutput<IVLDrive>& output) {
                     if (!found) {
                         return kUnknownDrive;
                     }
                     win::ComPtr<DriveObject> object = MakeObject<DriveObject>(SharedEngine(), *found);
                     const std::wstring label = object->Label();
                     output.Put(object.Detach(), label);
                     return S_OK;
                 });
}

HRESULT AgentObject::Analyze(IVLDrive* drive)
{
    return ServeDrive(Method::Analyze, drive, AddNothing,
                      [this](DriveIndex index) { return Drives().Analyze(index, EngineDrives::Clock::now()); });
}

HRESULT AgentObject::OptimizeOnline(IVLDrive* drive, LONG mode)
{
    return ServeDrive(
        Method::OptimizeOnline, drive, [=](Arguments& arguments) { arguments.Number(L"mode", mode); },
        [=, this](DriveIndex index) { return Drives().OptimizeOnline(index, mode, EngineDrives::Clock::now()); });
}

HRESULT AgentObject::DefragFile(IVLDrive* drive, BSTR filePath)
{
    return ServeDrive(
        Method::DefragFile, drive, [=](Arguments& arguments) { arguments.Text(L"filePath", filePath); },
        [=, this](DriveIndex index) {
            return Drives().DefragFile(index, ViewOf(filePath), EngineDrives::Clock::now());
        });
}

HRESULT AgentObject::PrepareOffline(IVLDrive* drive, LONG reserved)
{
    return ServeDrive(
        Method::PrepareOffline, drive, [=](Arguments& arguments) { arguments.Number(L"reserved", reserved); },
        [=, this](DriveIndex index) {
            return reserved == kPrepareValue ? Drives().PrepareOffline(index) : E_INVALIDARG;
        });
}

HRESULT AgentObject::ScheduleBootTime(IVLDrive* drive, ULONG fileTypes)
{
    return ServeDrive(
        Method::ScheduleBootTime, drive, [=](Arguments& arguments) { arguments.Number(L"fileTypes", fileTypes); },
        [=, this](DriveIndex index) { return Drives().ScheduleBootTime(index, fileTypes); });
}

HRESULT AgentObject::CancelBootTime(IVLDrive* drive)
{
    return ServeDrive(Method::CancelBootTime, drive, AddNothing,
                      [this](DriveIndex index) { return Drives().CancelBootTime(index); });
}

HRESULT AgentObject::OptimizeOffline(IVLDrive* drive, ULONG fileTypes)
{
    return ServeDrive(
        Method::OptimizeOffline, drive, [=](Arguments& arguments) { arguments.Number(L"fileTypes", fileTypes); },
        [=, this](DriveIndex index) { return Drives().OptimizeOffline(index, fileTypes, EngineDrives::Clock::now()); });
}

HRESULT AgentObject::StopDrive(IVLDrive* drive)
{
    return ServeDrive(Method::StopDrive, drive, AddNothing, [this](DriveIndex index) {
        Drives().StopDrive(index, EngineDrives::Clock::now());
        return S_OK;
    });
}

HRESULT AgentObject::StopAll()
{
    return Serve(*SharedEngine(), Label(), Method::StopAll, Arguments(), NoOutput(), [this](const NoOutput&) {
        Drives().StopAll(EngineDrives::Clock::now());
        return S_OK;
    });
}

HRESULT AgentObject::CheckAccess(ULONG* rights)
{
    return Serve(*SharedEngine(), Label(), Method::CheckAccess, Arguments(), NumberOutput(L"rights", rights),
                 [this](const NumberOutput<ULONG>& output) {
                     output.Put(SharedEngine()->Rights());
                     return S_OK;
                 });
}

HRESULT AgentObject::GetFileNameById(BSTR volume, hyper fileId, BSTR* fileName)
{
    const std::optional<DriveIndex> found = Drives().FindVolume(ViewOf(volume));
    const Arguments arguments = Arguments().Text(L"volume", volume).Number(L"fileId", fileId).About(found);
    return Serve(*SharedEngine(), Label(), Method::GetFileNameById, arguments, TextOutput(L"fileName", fileName),
                 [&](const TextOutput& output) {
                     if (!found) {
                         return kUnknownVolume;
                     }
                     // The interface carries the identifier as a signed number; an identifier itself has no sign.
                     const std::optional<std::wstring> name =
                         Drives().FileName(*found, static_cast<std::uint64_t>(fileId));
                     return name ? output.Put(*name) : kUnknownFile;
                 });
}

HRESULT AgentObject::GetStatistics(BSTR driveName, DATE cutOff, LONG pointCount, IVLStatistics** statistics)
{
    const std::optional<DriveIndex> found = Drives().FindVolume(ViewOf(driveName));
    const Arguments arguments = Arguments()
                                    .Text(L"driveName", driveName)
                                    .Add(L"cutOff", DateText(cutOff))
                                    .Number(L"pointCount", pointCount)
                                    .About(found);
    return Serve(*SharedEngine(), Label(), Method::GetStatistics, arguments, ObjectOutput(L"statistics", statistics),
                 [&](ObjectOutput<IVLStatistics>& output) {
                     if (!found) {
                         return kUnknownDrive;
                     }
                     win::ComPtr<StatisticsObject> object = MakeObject<StatisticsObject>(
                         SharedEngine(), *found, Drives().Statistics(*found, cutOff, pointCount));
                     const std::wstring label = object->Label();
                     output.Put(object.Detach(), label);
                     return S_OK;
                 });
}

HRESULT AgentObject::ZeroFreeSpace(IVLDrive* drive, LONG reserved)
{
    return ServeDrive(
        Method::ZeroFreeSpace, drive, [=](Arguments& arguments) { arguments.Number(L"reserved", reserved); },
        [=, this](DriveIndex index) {
            return reserved == kZeroValue ? Drives().ZeroFreeSpace(index, EngineDrives::Clock::now()) : E_INVALIDARG;
        });
}

} // namespace sim
