#include "cmd/dispatcher.h"

#include "cmd/console_control.h"
#include "cmd/error_level.h"
#include "cmd/usage.h"
#include "engine/Operations.h"
#include "messages/console_output.h"
#include "messages/translator.h"
#include "policy/ui_group_policy.h"
#include "stats/statistics.h"
#include "support/support_report.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <optional>

namespace {

constexpr Message kBanner{2447, "Velundra 14.0"};
constexpr Message kNoDrives{2224, "No drives specified for this operation."};
constexpr Message kBadFiles[] = {
    {5888, "Specified file(s) are in bad format."},
    {5889, "Provide fully qualified path names."},
    {5890, "Use quotes for files containing spaces."},
};

// One command on its way through the dispatcher: what was asked, and what its
// checks have gathered so far.
struct Request {
  const CommandLine &commandLine;
  const CUiGP &policy;
  std::wstring computer;
  DriveList drives;
  Words files;
};

// A check, or the gathering of something that the command needs; a result ends
// the command.
using Check = std::optional<Result> (*)(Request &);
// The command's work.
using Operation = Result (*)(const Request &);

Result Fail(Result code) {
  PrintUsage();
  return SetErrorLevel(code);
}

// --- Permissions ---

struct PolicyRule {
  bool (CGP::*isAllowed)() const noexcept;
  Message refusal;
};

constexpr PolicyRule kLaunch{
    &CGP::IsLaunchAllowed,
    {3586, "You do not have permission to launch Velundra."}};
constexpr PolicyRule kStatus{
    &CGP::IsStatusAllowed,
    {3585, "You do not have permission to get the status of the drives."}};
constexpr PolicyRule kAnalyze{
    &CGP::IsAnalyzeAllowed,
    {3582, "You do not have permission to analyze the drive(s)."}};
constexpr PolicyRule kOnline{
    &CGP::IsOnlineDefragAllowed,
    {3588, "You do not have permission to perform an online defragmentation."}};
constexpr PolicyRule kOffline{
    &CGP::IsOfflineDefragAllowed,
    {3587,
     "You do not have permission to perform an offline defragmentation."}};
constexpr PolicyRule kStop{&CGP::IsStopAllowed,
                           {3589, "You do not have permission to perform stop "
                                  "the defragmentation operation."}};
constexpr PolicyRule kBootTime{
    &CGP::IsBootTimeScheduleAllowed,
    {3592,
     "You do not have permission to schedule a boot time defragmentation."}};
constexpr PolicyRule kSchedule{
    &CGP::IsRunScheduleAllowed,
    {3591, "You do not have permission to run the schedule operation."}};

template <const PolicyRule &Rule>
std::optional<Result> Permitted(Request &request) {
  if ((request.policy.*Rule.isAllowed)()) {
    return std::nullopt;
  }
  PrintMessage(Rule.refusal);
  return SetErrorLevel(kNotPermitted);
}

// --- What commands need ---

std::optional<Result> SomeDrives(const Request &request) {
  if (!request.drives.empty()) {
    return std::nullopt;
  }
  PrintMessage(kNoDrives);
  return Fail(kBadCommandData);
}

// The engine's drives that were named. How resolving them ended is not asked:
// what was found counts.
std::optional<Result> ResolvedDrives(Request &request) {
  static_cast<void>(
      ResolveDrives(request.commandLine, request.computer, request.drives));
  return SomeDrives(request);
}

// The drives as they were typed.
std::optional<Result> DriveWords(Request &request) {
  static_cast<void>(
      CollectDriveWords(request.commandLine, request.computer, request.drives));
  return SomeDrives(request);
}

Result RefuseFiles() {
  for (const Message &line : kBadFiles) {
    PrintMessage(line);
  }
  return Fail(kBadCommandData);
}

std::optional<Result> FileWords(Request &request) {
  static_cast<void>(CollectFileWords(request.commandLine, request.files));
  return request.files.empty() ? std::optional(RefuseFiles()) : std::nullopt;
}

// The engine's drive of the first file's root; that the other files lie on it,
// too, is the engine's to check.
std::optional<Result> DriveOfFiles(Request &request) {
  std::wstring root = L"X:\\";
  root.front() = request.files.front().front();
  std::wstring drive;
  if (FindVolumeIdentity(request.computer, root, drive)) {
    return RefuseFiles();
  }
  request.drives = {drive};
  return std::nullopt;
}

template <std::size_t Count> std::optional<Result> WordCount(Request &request) {
  return GetWords(request.commandLine).size() < Count
             ? std::optional(Fail(kBadCommandData))
             : std::nullopt;
}

// "/alldrives" needs no list of drives: one call stops them all.
std::optional<Result> AllDrivesStopped(Request &request) {
  return HasFlag(request.commandLine, kAllDrivesSwitch)
             ? std::optional(StopAllDrives(request.computer))
             : std::nullopt;
}

// --- What commands do ---

Result RunUsage(const Request & /*request*/) {
  PrintUsage();
  return kSuccess;
}

Result RunStatus(const Request &request) {
  return ShowDriveStatus(request.computer);
}

// Another computer's statistics come from its engine, and in one kind alone.
template <StatisticsKind Kind> Result RunStatistics(const Request &request) {
  return request.computer.empty()
             ? ShowLocalStats(request.drives, Kind)
             : ShowRemoteStats(request.computer, request.drives);
}

// Whoever waited for the analysis is shown what it found, for the drives as
// they were typed.
Result RunAnalyze(const Request &request) {
  const bool wait = HasWaitFlag(request.commandLine);
  if (const Failure failure =
          AnalyzeDrives(request.computer, request.drives, wait)) {
    return *failure;
  }
  if (!wait) {
    return kSuccess;
  }
  Request fresh{request.commandLine, request.policy, request.computer, {}, {}};
  const std::optional<Result> noDrives = DriveWords(fresh);
  return noDrives ? *noDrives : RunStatistics<StatisticsKind::Analyze>(fresh);
}

Result Optimize(const Request &request, bool online, VLOnlineMode mode,
                std::uint32_t fileTypes) {
  const DriveJob target{request.computer, {}, HasWaitFlag(request.commandLine)};
  return OptimizeDrives(request.drives, {target, online, mode, fileTypes});
}

template <VLOnlineMode Mode> Result RunOnline(const Request &request) {
  return Optimize(request, true, Mode, VLFilesConfigured);
}

Result RunOffline(const Request &request) {
  return Optimize(request, false, VLModeTierWeave,
                  GetOfflinePassMask(request.commandLine));
}

Result RunDefragFiles(const Request &request) {
  std::wstring paths;
  for (const std::wstring &file : request.files) {
    paths += (paths.empty() ? L"" : L"|") + file;
  }
  return DefragFiles(request.computer, request.drives.front(), paths);
}

// Does the work on one drive after the other; a failure does not spare the
// rest. Returns the last failure.
template <typename Work> Result OnEachDrive(const Request &request, Work work) {
  Result last = kSuccess;
  for (const std::wstring &drive : request.drives) {
    if (const Result result = work(drive); result != kSuccess) {
      last = result;
    }
  }
  return last;
}

Result RunStop(const Request &request) {
  return OnEachDrive(request, [&](const std::wstring &drive) {
    return StopDrive(request.computer, drive);
  });
}

Result RunScheduleBoot(const Request &request) {
  const std::uint32_t fileTypes = GetOfflinePassMask(request.commandLine);
  return OnEachDrive(request, [&](const std::wstring &drive) {
    return ScheduleBootTime(request.computer, drive, fileTypes);
  });
}

Result RunCancelBootTime(const Request &request) {
  return OnEachDrive(request, [&](const std::wstring &drive) {
    return CancelBootTime(request.computer, drive);
  });
}

Result RunNamedSchedule(const Request &request) {
  return RunSchedule(request.computer, GetWords(request.commandLine)[1]);
}

Result RunQueryFileById(const Request &request) {
  const Words &words = GetWords(request.commandLine);
  return ShowFileNameById(request.computer, words[1], _wtoi(words[2].c_str()));
}

Result RunSupportInformation(const Request & /*request*/) {
  PrintLine(BuildSupportReport());
  return kSuccess;
}

// --- The commands ---

// What a command checks and gathers, in this order, and then does.
struct Command {
  CommandCode code;
  Check checks[3];
  Operation operation;
};

constexpr Command kCommands[] = {
    {CommandCode::None, {}, RunUsage},
    {CommandCode::Help, {}, RunUsage},
    {CommandCode::Status, {Permitted<kStatus>}, RunStatus},
    {CommandCode::Analyze, {Permitted<kAnalyze>, ResolvedDrives}, RunAnalyze},
    {CommandCode::DefragOnly,
     {Permitted<kOnline>, ResolvedDrives},
     RunOnline<VLModeDefragOnly>},
    {CommandCode::TierWeave,
     {Permitted<kOnline>, ResolvedDrives},
     RunOnline<VLModeTierWeave>},
    {CommandCode::ConsolidateFreeSpace,
     {Permitted<kOnline>, ResolvedDrives},
     RunOnline<VLModeConsolidateFreeSpace>},
    {CommandCode::SsdOptimize,
     {Permitted<kOnline>, ResolvedDrives},
     RunOnline<VLModeSsdOptimize>},
    {CommandCode::PrepForShrink,
     {Permitted<kOnline>, ResolvedDrives},
     RunOnline<VLModePrepForShrink>},
    {CommandCode::Offline, {Permitted<kOffline>, ResolvedDrives}, RunOffline},
    {CommandCode::DefragFiles,
     {FileWords, Permitted<kOnline>, DriveOfFiles},
     RunDefragFiles},
    {CommandCode::Stop,
     {Permitted<kStop>, AllDrivesStopped, ResolvedDrives},
     RunStop},
    {CommandCode::ScheduleBoot,
     {Permitted<kBootTime>, ResolvedDrives},
     RunScheduleBoot},
    {CommandCode::CancelBootTime,
     {Permitted<kBootTime>, ResolvedDrives},
     RunCancelBootTime},
    {CommandCode::RunSchedule,
     {WordCount<2>, Permitted<kSchedule>},
     RunNamedSchedule},
    {CommandCode::QueryFileById, {WordCount<3>}, RunQueryFileById},
    {CommandCode::StatAnalyze,
     {DriveWords, Permitted<kStatus>},
     RunStatistics<StatisticsKind::Analyze>},
    {CommandCode::StatOnline,
     {DriveWords, Permitted<kStatus>},
     RunStatistics<StatisticsKind::Online>},
    {CommandCode::StatOffline,
     {DriveWords, Permitted<kStatus>},
     RunStatistics<StatisticsKind::Offline>},
    {CommandCode::SupportInformation, {}, RunSupportInformation},
};

Result RunCommand(Request &request) {
  const CommandCode code = GetCommandCode(request.commandLine);
  const auto *const command =
      std::find_if(std::begin(kCommands), std::end(kCommands),
                   [code](const Command &row) { return row.code == code; });
  for (const Check check : command->checks) {
    if (check == nullptr) {
      break;
    }
    if (const std::optional<Result> result = check(request)) {
      return *result;
    }
  }
  return command->operation(request);
}

} // namespace

Result DispatchCommand(const CommandLine &commandLine) {
  // Without a translation the texts stay English.
  static_cast<void>(LoadTranslation(GetTranslator(), kLanguageOfCore));
  PrintMessage(kBanner);

  CUiGP policy;
  // Without a monitor everything stays allowed.
  static_cast<void>(policy.StartPolicyMonitor(1));
  Request request{commandLine, policy, {}, {}, {}};
  if (const std::optional<Result> refusal = Permitted<kLaunch>(request)) {
    return *refusal;
  }
  if (const std::optional<Result> failure = InstallConsoleCtrlHandler()) {
    return *failure;
  }
  GetComputerName(commandLine, request.computer);
  return RunCommand(request);
}
