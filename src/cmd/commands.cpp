#include "cmd/commands.h"

#include "cmd/error_level.h"
#include "cmd/usage.h"
#include "engine/Operations.h"
#include "messages/console_output.h"
#include "stats/statistics.h"
#include "support/support_report.h"
#include "win/text.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace {

constexpr Message kNoDrives{2224, "No drives specified for this operation."};
constexpr Message kBadFiles[] = {
    {5888, "Specified file(s) are in bad format."},
    {5889, "Provide fully qualified path names."},
    {5890, "Use quotes for files containing spaces."},
};

Result BadCommandData()
{
    PrintUsage();
    return SetErrorLevel(kBadCommandData);
}

// --- Permissions ---

constexpr PolicyRule kStatus{&CGP::IsStatusAllowed,
                             {3585, "You do not have permission to get the status of the drives."}};
constexpr PolicyRule kAnalyze{&CGP::IsAnalyzeAllowed, {3582, "You do not have permission to analyze the drive(s)."}};
constexpr PolicyRule kOnline{&CGP::IsOnlineDefragAllowed,
                             {3588, "You do not have permission to perform an online defragmentation."}};
constexpr PolicyRule kOffline{&CGP::IsOfflineDefragAllowed,
                              {3587, "You do not have permission to perform an offline defragmentation."}};
constexpr PolicyRule kStop{&CGP::IsStopAllowed,
                           {3589, "You do not have permission to perform stop the defragmentation operation."}};
constexpr PolicyRule kBootTime{&CGP::IsBootTimeScheduleAllowed,
                               {3592, "You do not have permission to schedule a boot time defragmentation."}};
constexpr PolicyRule kSchedule{&CGP::IsRunScheduleAllowed,
                               {3591, "You do not have permission to run the schedule operation."}};

// --- What commands need ---

Failure SomeDrives(const Request& request)
{
    if (!request.drives.empty()) {
        return std::nullopt;
    }
    PrintMessage(kNoDrives);
    return BadCommandData();
}

// The engine's drives that were named. A failure is ignored: the drives that were found before it are used.
Failure ResolvedDrives(Request& request)
{
    if (request.allDrivesAtOnce) {
        return std::nullopt;
    }
    static_cast<void>(ResolveDrives(request.commandLine, request.computer, request.drives));
    return SomeDrives(request);
}

// The drives as they were typed.
Failure DriveWords(Request& request)
{
    static_cast<void>(CollectDriveWords(request.commandLine, request.computer, request.drives));
    return SomeDrives(request);
}

Result RefuseFiles()
{
    for (const Message& line : kBadFiles) {
        PrintMessage(line);
    }
    return BadCommandData();
}

Failure FileWords(Request& request)
{
    static_cast<void>(CollectFileWords(request.commandLine, request.files));
    return request.files.empty() ? Failure(RefuseFiles()) : std::nullopt;
}

// The engine's drive of the first file's root; that the other files lie on it is not checked.
Failure DriveOfFiles(Request& request)
{
    std::wstring root = L"X:\\";
    root.front() = request.files.front().front();
    std::wstring drive;
    if (FindVolumeIdentity(request.computer, root, drive)) {
        return RefuseFiles();
    }
    request.drives = {drive};
    return std::nullopt;
}

template <std::size_t Count>
Failure WordCount(Request& request)
{
    return GetWords(request.commandLine).size() < Count ? Failure(BadCommandData()) : std::nullopt;
}

// --- What commands do ---

Result RunUsage(const Request& /*request*/)
{
    PrintUsage();
    return kSuccess;
}

Result RunStatus(const Request& request)
{
    return ShowDriveStatus(request.computer);
}

// Another computer's engine knows one kind of statistics only.
template <StatisticsKind Kind>
Result RunStatistics(const Request& request)
{
    return request.computer.empty() ? ShowLocalStats(request.drives, Kind)
                                    : ShowRemoteStats(request.computer, request.drives);
}

// With "/w" the statistics of the analysis are shown at its end, for the drives as they were typed.
Result RunAnalyze(const Request& request)
{
    const bool wait = HasWaitFlag(request.commandLine);
    if (const Failure failure = AnalyzeDrives(request.computer, request.drives, wait)) {
        return *failure;
    }
    if (!wait) {
        return kSuccess;
    }
    Request fresh = request;
    const Failure noDrives = DriveWords(fresh);
    return noDrives ? *noDrives : RunStatistics<StatisticsKind::Analyze>(fresh);
}

Result Optimize(const Request& request, bool online, VLOnlineMode mode, std::uint32_t fileTypes)
{
    const DriveJob target{request.computer, {}, HasWaitFlag(request.commandLine)};
    return OptimizeDrives(request.drives, {target, online, mode, fileTypes});
}

template <VLOnlineMode Mode>
Result RunOnline(const Request& request)
{
    return Optimize(request, true, Mode, VLFilesConfigured);
}

Result RunOffline(const Request& request)
{
    return Optimize(request, false, VLModeTierWeave, GetOfflinePassMask(request.commandLine));
}

Result RunDefragFiles(const Request& request)
{
    std::wstring paths;
    for (const std::wstring& file : request.files) {
        paths += (paths.empty() ? L"" : L"|") + file;
    }
    return DefragFiles(request.computer, request.drives.front(), paths);
}

// Does the work on each drive in turn, whatever came of the ones before. Returns the last result that is a failure.
template <typename Work>
Result OnEachDrive(const Request& request, Work work)
{
    Result last = kSuccess;
    for (const std::wstring& drive : request.drives) {
        if (const Result result = work(drive); result != kSuccess) {
            last = result;
        }
    }
    return last;
}

Result RunStop(const Request& request)
{
    return OnEachDrive(request, [&](const std::wstring& drive) { return StopDrive(request.computer, drive); });
}

Result RunStopAll(const Request& request)
{
    return StopAllDrives(request.computer);
}

Result RunScheduleBoot(const Request& request)
{
    const std::uint32_t fileTypes = GetOfflinePassMask(request.commandLine);
    return OnEachDrive(request,
                       [&](const std::wstring& drive) { return ScheduleBootTime(request.computer, drive, fileTypes); });
}

Result RunCancelBootTime(const Request& request)
{
    return OnEachDrive(request, [&](const std::wstring& drive) { return CancelBootTime(request.computer, drive); });
}

Result RunNamedSchedule(const Request& request)
{
    return RunSchedule(request.computer, GetWords(request.commandLine)[1]);
}

Result RunQueryFileById(const Request& request)
{
    const Words& words = GetWords(request.commandLine);
    return ShowFileNameById(request.computer, words[1], win::ReadDecimal(words[2]));
}

Result RunSupportInformation(const Request& /*request*/)
{
    PrintLine(BuildSupportReport());
    return kSuccess;
}

// --- The commands ---

// In the order of the codes.
constexpr Command kCommands[] = {
    {0, nullptr, nullptr, {}, RunUsage},
    {1, L"/st", L"/status", {kStatus}, RunStatus},
    {2, L"/dol", L"/DefragOnly", {kOnline, ResolvedDrives}, RunOnline<VLModeDefragOnly>},
    {3, L"/tw", L"/TierWeave", {kOnline, ResolvedDrives}, RunOnline<VLModeTierWeave>},
    {4, L"/cfs", L"/ConsolidateFreeSpace", {kOnline, ResolvedDrives}, RunOnline<VLModeConsolidateFreeSpace>},
    {5, L"/ssd", L"/SSDOptimize", {kOnline, ResolvedDrives}, RunOnline<VLModeSsdOptimize>},
    {6, L"/prep", L"/PrepForShrink", {kOnline, ResolvedDrives}, RunOnline<VLModePrepForShrink>},
    {7, L"/of", L"/offline", {kOffline, ResolvedDrives}, RunOffline},
    {8, L"/df", L"/DefragFiles", {FileWords, kOnline, DriveOfFiles}, RunDefragFiles},
    {9, L"/an", L"/analyze", {kAnalyze, ResolvedDrives}, RunAnalyze},
    {10, L"/sta", L"/stat-analyze", {DriveWords, kStatus}, RunStatistics<StatisticsKind::Analyze>},
    {11, L"/sto", L"/stat-online", {DriveWords, kStatus}, RunStatistics<StatisticsKind::Online>},
    {12, L"/stf", L"/stat-offline", {DriveWords, kStatus}, RunStatistics<StatisticsKind::Offline>},
    {13, L"/stp", L"/stop", {kStop, ResolvedDrives}, RunStop, RunStopAll},
    {14, L"/sb", L"/schedboot", {kBootTime, ResolvedDrives}, RunScheduleBoot},
    {15, L"/cb", L"/CancelBootTime", {kBootTime, ResolvedDrives}, RunCancelBootTime},
    {16, L"/rs", L"/runschedule", {WordCount<2>, kSchedule}, RunNamedSchedule},
    {17, L"/id", L"/QueryFileById", {WordCount<3>}, RunQueryFileById},
    {18, L"/si", L"/SupportInformation", {}, RunSupportInformation},
    {19, L"/?", nullptr, {}, RunUsage},
};

// A code is a place in the table, so each code has exactly one row.
constexpr bool HasEachCodeItsRow()
{
    CommandCode next = 0;
    return std::all_of(std::begin(kCommands), std::end(kCommands),
                       [&next](const Command& command) { return command.code == next++; });
}
static_assert(HasEachCodeItsRow());

bool IsWord(const std::wstring& word, const wchar_t* spelling)
{
    return spelling != nullptr && _wcsicmp(word.c_str(), spelling) == 0;
}

} // namespace

CommandCode GetCommandCode(const CommandLine& commandLine)
{
    const Words& words = GetWords(commandLine);
    if (!words.empty()) {
        for (const Command& command : kCommands) {
            if (IsWord(words.front(), command.shortWord) || IsWord(words.front(), command.longWord)) {
                return command.code;
            }
        }
    }
    return kCommands[0].code;
}

const Command& GetCommand(CommandCode code)
{
    return kCommands[code];
}
