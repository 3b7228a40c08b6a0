#include "cmd/dispatcher.h"

#include "messages/console_output.h"
#include "support/arguments.h"
#include "support/described_files.h"
#include "support/described_volumes.h"
#include "support/described_windows.h"
#include "support/fake_ado.h"
#include "support/group_policy.h"
#include "support/installed_program.h"
#include "support/known_commands.h"
#include "support/numbered_messages.h"
#include "support/product_test.h"
#include "support/standard_output.h"
#include "support/support_report.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace testing_support;

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// --- What a user sees ---

const std::wstring kUsage = kUsageScreen;
const std::wstring kNoDrives = L"No drives specified for this operation.\n" + kUsage;
const std::wstring kBadFiles = L"Specified file(s) are in bad format.\n"
                               L"Provide fully qualified path names.\n"
                               L"Use quotes for files containing spaces.\n" +
                               kUsage;
const std::wstring kNotInstalled = L"Velundra is not installed on computer ''\n";
const std::wstring kAccessDenied = L"Unable to connect to specified computer, error access denied.\n";

using Environment = std::vector<std::wstring>;

const Environment kNothingPublished;
const Environment kBadDataPublished{L"ERRORLEVEL=87"};
const Environment kRefusalPublished{L"ERRORLEVEL=536870916"};

constexpr Result kRefused = 536870916;

constexpr auto kNotRegistered = static_cast<HRESULT>(0x80040154);
constexpr auto kEngineFailure = static_cast<HRESULT>(0x80041234); // low 16 bits 0x1234
constexpr HRESULT kFailuresWithResult0[] = {static_cast<HRESULT>(0x80040000), static_cast<HRESULT>(0x80070000)};

// --- What the engine is asked ---

// Finding out which of the engine's drives is C:, the only one.
const EngineCalls kFindC{L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{C}\\)", L"drive.GetDriveName(C:\\)"};
// What every operation on C: begins with.
const EngineCalls kOpenC{L"agent.CheckAccess()", L"agent.GetDrive(\\\\?\\Volume{C}\\)", L"drive.GetMountPoint(C:\\)"};

EngineCalls operator+(EngineCalls left, const EngineCalls& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

struct Refusal {
    Permission permission;
    std::uint32_t number;
    const wchar_t* text;
};

constexpr Refusal kRefusals[] = {
    {Permission::Status, 3585, L"You do not have permission to get the status of the drives."},
    {Permission::Analyze, 3582, L"You do not have permission to analyze the drive(s)."},
    {Permission::OnlineDefrag, 3588, L"You do not have permission to perform an online defragmentation."},
    {Permission::OfflineDefrag, 3587, L"You do not have permission to perform an offline defragmentation."},
    {Permission::Stop, 3589, L"You do not have permission to perform stop the defragmentation operation."},
    {Permission::BootTimeSchedule, 3592, L"You do not have permission to schedule a boot time defragmentation."},
    {Permission::RunSchedule, 3591, L"You do not have permission to run the schedule operation."},
};

const Refusal& RefusalOf(Permission permission)
{
    return *std::find_if(std::begin(kRefusals), std::end(kRefusals),
                         [permission](const Refusal& refusal) { return refusal.permission == permission; });
}

// The policy values of the permissions that have one.
constexpr std::pair<Permission, const wchar_t*> kPolicyValues[] = {
    {Permission::Analyze, L"AllowAnalyze"},
    {Permission::OnlineDefrag, L"AllowOnlineDefrag"},
    {Permission::OfflineDefrag, L"AllowOfflineDefrag"},
    {Permission::RunSchedule, L"AllowRunSchedule"},
};

void SetPolicy(const wchar_t* value, std::uint32_t data)
{
    RegistrySandbox::SetDword(HKEY_CURRENT_USER, kUserPolicyKey, value, data);
}

// Runs commands with an engine whose only drive is C:, unless a test adds more.
class DispatchedCommand : public EngineTest {
protected:
    void SetUp() override { engine.AddDrive(L"C:\\"); }

    // Runs the command. Whatever its end, the policy monitor is over by then.
    Result Run(const std::wstring& words)
    {
        SCOPED_TRACE(::testing::PrintToString(words));
        static_cast<void>(output.Take());
        static_cast<void>(engine.TakeCalls());
        environment.clear();
        threads_ = 0;
        const int registered = notifications.Registered();
        const int unregistered = notifications.Unregistered();
        const Result result = DispatchCommand(TypedLine(words));
        EXPECT_EQ("", census.Imbalance());
        EXPECT_EQ(hasMonitor ? 2 : 0, notifications.Registered() - registered);
        EXPECT_EQ(hasMonitor ? 2 : 0, notifications.Unregistered() - unregistered);
        return result;
    }

    // Runs the command and compares all that can be seen of it; text is what follows the banner.
    void ExpectRun(const std::wstring& words, Result result, const std::wstring& text, const Environment& published,
                   const EngineCalls& calls)
    {
        SCOPED_TRACE(::testing::PrintToString(words));
        EXPECT_EQ(result, Run(words));
        EXPECT_EQ(L"Velundra 14.0\n" + text, output.Text());
        EXPECT_EQ(published, environment);
        EXPECT_EQ(calls, engine.Calls());
    }

    void ExpectRefusal(const std::wstring& words, Permission permission)
    {
        ExpectRun(words, kRefused, std::wstring(RefusalOf(permission).text) + L"\n", kRefusalPublished, {});
        EXPECT_TRUE(engine.Activations().empty());
    }

    // Refuses a permission: by its policy value, or where it has none, in the policy object as soon as it has been
    // loaded.
    void Refuse(Permission permission)
    {
        const auto* const value = std::find_if(std::begin(kPolicyValues), std::end(kPolicyValues),
                                               [permission](const auto& v) { return v.first == permission; });
        if (value != std::end(kPolicyValues)) {
            SetPolicy(value->second, 0);
        } else {
            refused_.push_back(permission);
        }
    }

    void RefuseAllButLaunching()
    {
        for (const Refusal& refusal : kRefusals) {
            Refuse(refusal.permission);
        }
    }

    Environment environment;         // what was put into it
    std::vector<DWORD> sleeps;       // by the one drive that is waited for
    std::function<void()> onHandler; // called when the console control handler is installed
    DWORD handlerError = 0;          // with which Windows refuses the handler
    bool hasMonitor = true;          // whether the policy monitor is expected to start and to register its events
    DWORD monitorError = 0;          // with which Windows refuses the monitor's thread

    PolicyNotifications notifications;
    Replaced<"SetConsoleCtrlHandler", decltype(::SetConsoleCtrlHandler)> setHandler{[this](PHANDLER_ROUTINE, BOOL) {
        if (onHandler) {
            onHandler();
        }
        SetLastError(handlerError);
        return handlerError == 0 ? TRUE : FALSE;
    }};

private:
    std::vector<Permission> refused_;
    int threads_ = 0; // of the current command
    Replaced<"_wputenv", decltype(::_wputenv)> putEnvironment_{[this](const wchar_t* text) {
        environment.emplace_back(text);
        return 0;
    }};
    Replaced<"Sleep", decltype(::Sleep)> sleep_{[this](DWORD milliseconds) { sleeps.push_back(milliseconds); }};
    // The first thread of a command is the policy monitor's, and the policy is its argument.
    Replaced<"CreateThread", decltype(::CreateThread)> createThread_{
        [this](LPSECURITY_ATTRIBUTES security, SIZE_T stack, LPTHREAD_START_ROUTINE routine, LPVOID parameter,
               DWORD flags, LPDWORD id) -> HANDLE {
            if (!IsFrameworkThread(flags) && ++threads_ == 1) {
                if (monitorError != 0) {
                    SetLastError(monitorError);
                    return nullptr;
                }
                for (const Permission permission : refused_) {
                    Grant(*static_cast<CGP*>(parameter), permission, false);
                }
            }
            return createThread_.Original(security, stack, routine, parameter, flags, id);
        }};
};

using EngineSetup = void (*)(FakeEngine&);

// A command, what it does to the engine and what is seen of it; text is what follows the banner.
struct CommandCase {
    const char* name;
    const wchar_t* words;
    EngineSetup setup;
    Result result;
    std::wstring text;
    EngineCalls calls;
};

std::string NameOfCase(const ::testing::TestParamInfo<CommandCase>& test)
{
    return test.param.name;
}

void NoSetup(FakeEngine& /*engine*/) {}

// --- Success ---

class SucceedingCommand : public DispatchedCommand, public ::testing::WithParamInterface<CommandCase> {};

TEST_P(SucceedingCommand, HasTheEngineDoItsWorkAndReturns0)
{
    GetParam().setup(engine);
    ExpectRun(GetParam().words, GetParam().result, GetParam().text, kNothingPublished, GetParam().calls);
    EXPECT_EQ(1, setHandler.Calls());
    EXPECT_TRUE(sleeps.empty());
}

CommandCase OnlineCase(const char* name, const wchar_t* words, const wchar_t* mode)
{
    return {name,
            words,
            NoSetup,
            0,
            L"Online optimization started on drive C:\\.\n",
            kFindC + kOpenC + EngineCalls{std::wstring(L"agent.OptimizeOnline(C:\\, ") + mode + L")"} +
                EngineCalls{L"refresh.Refresh()"}};
}

CommandCase OfflineCase(const char* name, const wchar_t* words, const wchar_t* mask)
{
    return {name,
            words,
            NoSetup,
            0,
            L"Offline optimization of System Files started on drive C:\\.\n",
            kFindC + kOpenC +
                EngineCalls{L"agent.PrepareOffline(C:\\, 0)",
                            std::wstring(L"agent.OptimizeOffline(C:\\, ") + mask + L")", L"refresh.Refresh()"}};
}

std::vector<CommandCase> SucceedingCommands()
{
    return {
        {"Status",
         L"/st",
         NoSetup,
         0,
         L"Drive name: C:\\Status: Idle\n",
         {L"agent.CheckAccess()", L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{C}\\)",
          L"drive.GetDriveName(C:\\)", L"drive.GetState(C:\\)"}},
        {"Analyze", L"/an C:", NoSetup, 0, L"Analyze started on drive C:\\.\n",
         kFindC + kOpenC + EngineCalls{L"agent.Analyze(C:\\)", L"refresh.Refresh()"}},
        OnlineCase("TierWeave", L"/tw C:", L"0"),
        OnlineCase("DefragOnly", L"/dol C:", L"1"),
        OnlineCase("ConsolidateFreeSpace", L"/cfs C:", L"2"),
        OnlineCase("PrepForShrink", L"/prep C:", L"3"),
        OnlineCase("SsdOptimize", L"/ssd C:", L"4"),
        OnlineCase("OnlineWithFileTypes", L"/dol C: /all", L"1"),
        OfflineCase("OfflineAsConfigured", L"/of C:", L"4096"),
        OfflineCase("OfflineDirectoriesAndPagingFile", L"/of C: /d /p", L"5"),
        {"StopDrive", L"/stop C:", NoSetup, 0, L"Drive C:\\ was stopped.\n",
         kFindC + kOpenC + EngineCalls{L"agent.StopDrive(C:\\)"}},
        {"StopAllDrives",
         L"/stop /alldrives",
         NoSetup,
         0,
         L"All drives were stopped.\n",
         {L"agent.CheckAccess()", L"agent.StopAll()"}},
        {"StopAllDrivesThoughOneIsNamed",
         L"/stop C: /alldrives",
         NoSetup,
         0,
         L"All drives were stopped.\n",
         {L"agent.CheckAccess()", L"agent.StopAll()"}},
        {"ScheduleBootAsConfigured", L"/sb C:", [](FakeEngine& engine) { engine.drives.front().offlineFileTypes = 3; },
         0, L"Drive C:\\ has been scheduled for an offline defrag of your system files on next reboot.\n",
         kFindC + kOpenC + EngineCalls{L"drive.GetOfflineFileTypes(C:\\)", L"agent.ScheduleBootTime(C:\\, 3)"}},
        {"ScheduleBootSystemAndPagingFile", L"/sb C: /s /p", NoSetup, 0,
         L"Drive C:\\ has been scheduled for an offline defrag of your system files on next reboot.\n",
         kFindC + kOpenC + EngineCalls{L"agent.ScheduleBootTime(C:\\, 6)"}},
        {"CancelBootTime", L"/cb C:", NoSetup, 0,
         L"Drive C:\\ has been removed from an offline defrag of your system files on next reboot.\n",
         kFindC + kOpenC + EngineCalls{L"agent.CancelBootTime(C:\\)"}},
        {"RunSchedule",
         L"/rs Nightly",
         NoSetup,
         0,
         L"",
         {L"service.GetSchedule()", L"schedule.RunByName(Nightly)", L"refresh.Refresh()"}},
        {"QueryFileById", L"/id C: 42", NoSetup, 0,
         L"File Name C:\\data\\report.doc corresponds to id 42 on drive C:\n",
         kFindC + EngineCalls{L"agent.CheckAccess()", L"agent.GetFileNameById(\\\\?\\Volume{C}\\, 42)"}},
        {"DefragFiles", L"/df C:\\a.txt", NoSetup, 0, L"Single File defragmentation started on drive C:\\.\n",
         kFindC + kOpenC + EngineCalls{L"agent.DefragFile(C:\\, C:\\a.txt)"}},
    };
}

INSTANTIATE_TEST_SUITE_P(Commands, SucceedingCommand, ::testing::ValuesIn(SucceedingCommands()), NameOfCase);

class EachCommand : public DispatchedCommand, public ::testing::WithParamInterface<KnownCommand> {};

TEST_P(EachCommand, PrintsItsText)
{
    EXPECT_EQ(0U, Run(GetParam().words));
    EXPECT_EQ(L"Velundra 14.0\n" + *GetParam().text, output.Text());
    EXPECT_EQ(kNothingPublished, environment);
}

std::vector<KnownCommand> CommandsWithText()
{
    std::vector<KnownCommand> commands;
    std::copy_if(std::begin(kCommands), std::end(kCommands), std::back_inserter(commands),
                 [](const KnownCommand& command) { return command.text.has_value(); });
    return commands;
}

INSTANTIATE_TEST_SUITE_P(Commands, EachCommand, ::testing::ValuesIn(CommandsWithText()),
                         [](const auto& test) { return test.param.name; });

// --- Failure of the work itself: the result is returned as it is and not published ---

class FailingCommand : public DispatchedCommand, public ::testing::WithParamInterface<CommandCase> {};

TEST_P(FailingCommand, ReturnsTheResultOfItsWorkWithoutPublishingIt)
{
    GetParam().setup(engine);
    ExpectRun(GetParam().words, GetParam().result, GetParam().text, kNothingPublished, GetParam().calls);
    EXPECT_TRUE(sleeps.empty());
}

void RefuseAccess(FakeEngine& engine)
{
    engine.Fail(L"CheckAccess", {E_ACCESSDENIED});
}

CommandCase BatchWithoutAccess(const char* name, const wchar_t* words, Result result)
{
    return {name,   words,         RefuseAccess,
            result, kAccessDenied, kFindC + EngineCalls{L"agent.CheckAccess()", L"refresh.Refresh()"}};
}

std::vector<CommandCase> FailingCommands()
{
    return {
        {"Status",
         L"/st",
         [](FakeEngine& engine) { engine.Fail(L"GetDriveList", {kEngineFailure}); },
         0x1234,
         L"",
         {L"agent.CheckAccess()", L"agent.GetDriveList()"}},
        {"StatusWithoutAccess", L"/st", RefuseAccess, 0x20000004, kAccessDenied, {L"agent.CheckAccess()"}},
        BatchWithoutAccess("Analyze", L"/an C:", 0x20000004),
        BatchWithoutAccess("AnalyzeAndWait", L"/an C: /w", 0x20000004),
        // An optimisation never reports the failure of a drive.
        BatchWithoutAccess("DefragOnly", L"/dol C:", 0),
        BatchWithoutAccess("TierWeave", L"/tw C:", 0),
        BatchWithoutAccess("ConsolidateFreeSpace", L"/cfs C:", 0),
        BatchWithoutAccess("SsdOptimize", L"/ssd C: /w", 0),
        BatchWithoutAccess("PrepForShrink", L"/prep C: /w", 0),
        BatchWithoutAccess("Offline", L"/of C:", 0),
        {"OfflineOfADriveInUse", L"/of C: /d /w",
         [](FakeEngine& engine) { engine.Fail(L"PrepareOffline", {kEngineFailure}); }, 0,
         L"Drive C:\\ has been scheduled for an offline defrag of your system files on next reboot.\n"
         L"Boot time defragmentation scheduled for drive C:\\.\n",
         kFindC + kOpenC + EngineCalls{L"agent.PrepareOffline(C:\\, 0)"} + kOpenC +
             EngineCalls{L"agent.ScheduleBootTime(C:\\, 1)", L"refresh.Refresh()"}},
        {"StopDrive", L"/stop C:", [](FakeEngine& engine) { engine.Fail(L"StopDrive", {kEngineFailure}); }, 0x20000001,
         L"", kFindC + kOpenC + EngineCalls{L"agent.StopDrive(C:\\)"}},
        {"StopAllDrives",
         L"/stop /alldrives",
         [](FakeEngine& engine) { engine.Fail(L"StopAll", {kEngineFailure}); },
         0x1234,
         L"",
         {L"agent.CheckAccess()", L"agent.StopAll()"}},
        // The result 87 of an operation is none of missing data.
        {"ScheduleBootWithoutFileTypes", L"/sb C:",
         [](FakeEngine& engine) { engine.drives.front().offlineFileTypes = 0; }, 87,
         L"Unable to schedule drive for an Offline defrag pass of your System Files for next reboot.  Please specify "
         L"the file types in the Drive Properties Notebook or use the appropriate flag on the commandline.\n",
         kFindC + kOpenC + EngineCalls{L"drive.GetOfflineFileTypes(C:\\)"}},
        {"CancelBootTime", L"/cb C:", [](FakeEngine& engine) { engine.Fail(L"GetMountPoint", {kEngineFailure}); },
         0x20000001, L"", kFindC + kOpenC},
        {"RunSchedule",
         L"/rs Nightly",
         [](FakeEngine& engine) { engine.Fail(L"RunByName", {kEngineFailure}); },
         0x1234,
         L"",
         {L"service.GetSchedule()", L"schedule.RunByName(Nightly)"}},
        {"QueryFileByIdOnNoDrive", L"/id C:x 42", NoSetup, 87, L"C:x is not a valid DriveName .\n", {}},
        {"QueryFileByIdOnAnUnknownDrive", L"/id q: 42", NoSetup, 13,
         L"q: Could not be matched with a known volume GUID .\n", kFindC},
        {"QueryFileByIdWithoutAccess", L"/id C: 42", RefuseAccess, 0x20000004, kAccessDenied,
         kFindC + EngineCalls{L"agent.CheckAccess()"}},
        {"DefragFiles", L"/df C:\\a.txt", RefuseAccess, 5, L"", kFindC + EngineCalls{L"agent.CheckAccess()"}},
    };
}

INSTANTIATE_TEST_SUITE_P(Commands, FailingCommand, ::testing::ValuesIn(FailingCommands()), NameOfCase);

// --- No engine ---

struct UnconnectedCase {
    const char* name;
    const wchar_t* words;
    Result result;
    std::wstring text;
    Environment published;
};

class UnconnectedCommand : public DispatchedCommand, public ::testing::WithParamInterface<UnconnectedCase> {};

// What the drives were resolved to counts, not that resolving them failed: there are none.
TEST_P(UnconnectedCommand, SaysSoAndHasNoDrivesOrReturnsTheFailure)
{
    engine.activation = kNotRegistered;
    ExpectRun(GetParam().words, GetParam().result, GetParam().text, GetParam().published, {});
}

std::vector<UnconnectedCase> UnconnectedCommands()
{
    std::vector<UnconnectedCase> cases{
        {"Status", L"/st", 0x80040154, kNotInstalled, kNothingPublished},
        {"StopAllDrives", L"/stop /alldrives", 0x80040154, kNotInstalled, kNothingPublished},
        {"RunSchedule", L"/rs Nightly", 0x20000002, kNotInstalled, kNothingPublished},
        {"QueryFileById", L"/id C: 42", 0x80040154,
         kNotInstalled + L"C: Could not be matched with a known volume GUID .\n", kNothingPublished},
        {"DefragFiles", L"/df C:\\a.txt", 87, kNotInstalled + kBadFiles, kBadDataPublished},
    };
    const std::pair<const char*, const wchar_t*> driveCommands[] = {
        {"Analyze", L"/an C:"},
        {"AnalyzeAllDrives", L"/an /alldrives"},
        {"DefragOnly", L"/dol C:"},
        {"TierWeave", L"/tw C:"},
        {"ConsolidateFreeSpace", L"/cfs C:"},
        {"SsdOptimize", L"/ssd C:"},
        {"PrepForShrink", L"/prep C:"},
        {"Offline", L"/of C:"},
        {"StopDrive", L"/stop C:"},
        {"ScheduleBoot", L"/sb C:"},
        {"CancelBootTime", L"/cb C:"},
        {"StatAnalyzeOfAllDrives", L"/sta /alldrives"},
        {"StatOnlineOfAllDrives", L"/sto /alldrives"},
        {"StatOfflineOfAllDrives", L"/stf /alldrives"},
    };
    for (const auto& [name, words] : driveCommands) {
        cases.push_back({name, words, 87, kNotInstalled + kNoDrives, kBadDataPublished});
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Commands, UnconnectedCommand, ::testing::ValuesIn(UnconnectedCommands()),
                         [](const auto& test) { return test.param.name; });

// --- Missing data ---

class CommandWithoutData : public DispatchedCommand, public ::testing::WithParamInterface<const wchar_t*> {};

std::string NameOfCommandWord(const ::testing::TestParamInfo<const wchar_t*>& test)
{
    const std::wstring word = test.param + 1;
    return {word.begin(), word.end()};
}

class EngineDriveCommand : public CommandWithoutData {};

TEST_P(EngineDriveCommand, ShowsTheUsageScreenAndPublishes87WithoutDrives)
{
    ExpectRun(GetParam(), 87, kNoDrives, kBadDataPublished, kFindC);
}

TEST_P(EngineDriveCommand, HasNoDrivesWhenTheEngineKnowsNoneOfThem)
{
    ExpectRun(GetParam() + std::wstring(L" Q: D:\\Data E"), 87, kNoDrives, kBadDataPublished, kFindC);
}

TEST_P(EngineDriveCommand, AsksForPermissionBeforeItLooksForDrives)
{
    RefuseAllButLaunching();
    const std::wstring words = GetParam();
    const auto* const command = std::find_if(std::begin(kCommands), std::end(kCommands), [&](const KnownCommand& row) {
        return std::wstring(row.words).starts_with(words + L" ");
    });
    ASSERT_NE(std::end(kCommands), command);
    ExpectRefusal(words, *command->permission);
    ExpectRefusal(words + L" Q:", *command->permission);
}

INSTANTIATE_TEST_SUITE_P(Commands, EngineDriveCommand,
                         ::testing::Values(L"/an", L"/dol", L"/tw", L"/cfs", L"/ssd", L"/prep", L"/of", L"/stop",
                                           L"/sb", L"/cb"),
                         NameOfCommandWord);

class EngineWithoutDrives : public CommandWithoutData {
protected:
    void SetUp() override {}
};

TEST_P(EngineWithoutDrives, LeavesAllDrivesEmpty)
{
    ExpectRun(GetParam() + std::wstring(L" /alldrives"), 87, kNoDrives, kBadDataPublished,
              {L"agent.GetDriveList()", L"agent.GetDriveList()"});
}

INSTANTIATE_TEST_SUITE_P(Commands, EngineWithoutDrives,
                         ::testing::Values(L"/an", L"/dol", L"/tw", L"/cfs", L"/ssd", L"/prep", L"/of", L"/sb", L"/cb"),
                         NameOfCommandWord);

// --- Statistics: the drives as typed, and permission after the drives ---

class StatisticsCommand : public CommandWithoutData {};

TEST_P(StatisticsCommand, ShowsTheUsageScreenAndPublishes87WithoutDrives)
{
    ExpectRun(GetParam(), 87, kNoDrives, kBadDataPublished, {});
    ExpectRun(GetParam() + std::wstring(L" CD C:x readme"), 87, kNoDrives, kBadDataPublished, {});
    ExpectRun(GetParam() + std::wstring(L" /c SRV1"), 87, kNoDrives, kBadDataPublished, {});
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_P(StatisticsCommand, LooksForDrivesBeforeItAsksForPermission)
{
    Refuse(Permission::Status);
    ExpectRun(GetParam(), 87, kNoDrives, kBadDataPublished, {});
}

TEST_P(StatisticsCommand, IsRefusedForDrivesThatNobodyHasLookedUp)
{
    Refuse(Permission::Status);
    ExpectRefusal(GetParam() + std::wstring(L" C:"), Permission::Status);
    ExpectRefusal(GetParam() + std::wstring(L" q:"), Permission::Status);
    ExpectRefusal(GetParam() + std::wstring(L" C: /c SRV1"), Permission::Status);
}

TEST_P(StatisticsCommand, IsRefusedForAllDrivesOnceTheyAreListed)
{
    Refuse(Permission::Status);
    const std::wstring words = GetParam() + std::wstring(L" /alldrives");
    const std::wstring refusal = L"You do not have permission to get the status of the drives.\n";
    ExpectRun(words, kRefused, refusal, kRefusalPublished, kFindC);
    // What was listed before a failure counts.
    engine.AddDrive(L"D:\\");
    engine.Fail(L"GetDrive", {kEngineFailure, L"\\\\?\\Volume{D}\\"});
    ExpectRun(words, kRefused, refusal, kRefusalPublished, kFindC + EngineCalls{L"agent.GetDrive(\\\\?\\Volume{D}\\)"});
}

TEST_P(StatisticsCommand, HasNoDrivesWhenTheyCannotBeListed)
{
    engine.Fail(L"GetDriveList", {kEngineFailure});
    ExpectRun(GetParam() + std::wstring(L" /alldrives"), 87, kNoDrives, kBadDataPublished, {L"agent.GetDriveList()"});
}

TEST_P(StatisticsCommand, PassesItsChecksWithPermissionAndADrive)
{
    for (const wchar_t* const drive : {L" C:", L" q:", L" /alldrives"}) {
        Run(GetParam() + std::wstring(drive));
        EXPECT_THAT(output.Text(), Not(HasSubstr(L"No drives specified")));
        EXPECT_THAT(output.Text(), Not(HasSubstr(L"You do not have permission")));
        EXPECT_EQ(kNothingPublished, environment);
    }
}

INSTANTIATE_TEST_SUITE_P(Commands, StatisticsCommand, ::testing::Values(L"/sta", L"/sto", L"/stf"), NameOfCommandWord);

// --- Statistics: the reports ---

struct StatisticsCase {
    const char* name;
    const wchar_t* word;
    std::wstring head;  // of the report
    std::wstring table; // that the database is asked for
};

// The database holds a row for every drive, and so does the engine of another computer.
class StatisticsReport : public DispatchedCommand, public ::testing::WithParamInterface<StatisticsCase> {
protected:
    StatisticsReport()
    {
        RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, L"Software\\Kestrane\\VLCore\\14.0", L"ConnectionString",
                                   L"ADO:x");
        ado.columns.assign(16, L"column");
        ado.rows = {AdoRow(16, 1.0)};
        engine.figures[L"c:"] = {{L"/ NumStatPoints", 0}};
    }

    // What the database was asked: the table and the drive of each statement.
    std::vector<std::pair<std::wstring, std::wstring>> Questions()
    {
        std::vector<std::pair<std::wstring, std::wstring>> questions;
        for (const std::wstring& call : ado.TakeCalls()) {
            if (call.starts_with(L"recordset.Open(")) {
                const std::size_t table = call.find(L"SELECT ") + 7;
                const std::size_t drive = call.find(L"UPPER('") + 7;
                questions.emplace_back(call.substr(table, call.find(L'.', table) - table),
                                       call.substr(drive, call.find(L'\'', drive) - drive));
            }
        }
        return questions;
    }

    const std::wstring remoteReport = L"Remote Computer:   SRV1\nNo statistics data available for c: drive.\n";
    const EngineCalls remoteCalls{L"agent.GetStatistics(c:, 1)", L"statistics.GetInteger(/, NumStatPoints)"};

    FakeAdo ado;
    Replaced<"CoSetProxyBlanket", decltype(::CoSetProxyBlanket)> blanket{
        [](IUnknown*, DWORD, DWORD, OLECHAR*, DWORD, DWORD, RPC_AUTH_IDENTITY_HANDLE, DWORD) { return S_OK; }};
};

class StatisticsReportOfAKind : public StatisticsReport {};

TEST_P(StatisticsReportOfAKind, IsAboutTheDrivesAsTyped)
{
    EXPECT_EQ(0U, Run(GetParam().word + std::wstring(L" c: Q:")));
    EXPECT_THAT(output.Text(), StartsWith(L"Velundra 14.0\n" + GetParam().head + L"\n\nDrive "));
    EXPECT_THAT(output.Text(), HasSubstr(L":   c:\n"));
    EXPECT_THAT(output.Text(), HasSubstr(L":   Q:\n"));
    EXPECT_EQ(
        (std::vector<std::pair<std::wstring, std::wstring>>{{GetParam().table, L"c:"}, {GetParam().table, L"Q:"}}),
        Questions());
    EXPECT_EQ(kNothingPublished, environment);
    EXPECT_TRUE(engine.Calls().empty());
}

TEST_P(StatisticsReportOfAKind, IsAboutAllTheEnginesDrives)
{
    EXPECT_EQ(0U, Run(GetParam().word + std::wstring(L" /alldrives")));
    EXPECT_EQ((std::vector<std::pair<std::wstring, std::wstring>>{{GetParam().table, L"C:\\"}}), Questions());
    EXPECT_EQ(kFindC, engine.Calls());
}

TEST_P(StatisticsReportOfAKind, GivesTheCodeOfItsFailureWithoutPublishingIt)
{
    ado.Fail(L"connection.Open", {.scode = kEngineFailure});
    ExpectRun(GetParam().word + std::wstring(L" c: q:"), 0x80041234,
              GetParam().head + L"\nFailed to output statistics for volume c:. Error: 2147750452\n", kNothingPublished,
              {});
}

TEST_P(StatisticsReportOfAKind, ComesFromTheEngineOfAnotherComputer)
{
    ExpectRun(GetParam().word + std::wstring(L" c: /c SRV1"), 0, remoteReport, kNothingPublished, remoteCalls);
    EXPECT_TRUE(ado.TakeCreations().empty());
}

TEST_P(StatisticsReportOfAKind, GivesTheCodeOfTheRemoteFailureWithoutPublishingIt)
{
    engine.Fail(L"GetStatistics", {kEngineFailure});
    ExpectRun(GetParam().word + std::wstring(L" c: /c SRV1"), 0x80041234, L"Remote Computer:   SRV1\n",
              kNothingPublished, {L"agent.GetStatistics(c:, 1)"});
}

const StatisticsCase kStatisticsCases[] = {
    {"Analyze", L"/sta", L"\nLocal Computer            :   THISPC", L"StatsAnalyze"},
    {"Online", L"/sto", L"\nLocal Computer                  :   THISPC", L"StatsDefragOnline"},
    {"Offline", L"/stf", L"\nLocal Computer                   :   THISPC", L"StatsDefragOffline"},
};

INSTANTIATE_TEST_SUITE_P(Commands, StatisticsReportOfAKind, ::testing::ValuesIn(kStatisticsCases),
                         [](const auto& test) { return std::string(test.param.name); });

class StatisticsAfterAnalysis : public StatisticsReport {
protected:
    void SetUp() override
    {
        DispatchedCommand::SetUp();
        engine.drives.front().states = {1, 0};
    }

    const std::wstring analyzed = L"Analyze started on drive C:\\.\nAnalyze completed.\n";
};

TEST_F(StatisticsAfterAnalysis, AreShownToWhoeverWaited)
{
    EXPECT_EQ(0U, Run(L"/an c: /w"));
    EXPECT_THAT(output.Text(),
                StartsWith(L"Velundra 14.0\n" + analyzed +
                           L"\nLocal Computer            :   THISPC\n\nDrive                     :   c:\n"));
    EXPECT_EQ((std::vector<std::pair<std::wstring, std::wstring>>{{L"StatsAnalyze", L"c:"}}), Questions());
}

TEST_F(StatisticsAfterAnalysis, AreNotShownToOthers)
{
    ExpectRun(L"/an c:", 0, L"Analyze started on drive C:\\.\n", kNothingPublished,
              kFindC + kOpenC + EngineCalls{L"agent.Analyze(C:\\)", L"refresh.Refresh()"});
    EXPECT_TRUE(ado.TakeCreations().empty());
}

TEST_F(StatisticsAfterAnalysis, AreNotShownWhereTheAnalysisFailed)
{
    engine.Fail(L"Analyze", {kEngineFailure});
    EXPECT_EQ(0x1234U, Run(L"/an c: /w"));
    EXPECT_TRUE(ado.TakeCreations().empty());
}

TEST_F(StatisticsAfterAnalysis, AreNotShownWhereTheAnalysisFailedWithTheResult0)
{
    for (const HRESULT failure : kFailuresWithResult0) {
        engine.Fail(L"Analyze", {failure});
        EXPECT_EQ(0U, Run(L"/an c: /w"));
        EXPECT_THAT(output.Text(), HasSubstr(L"Analyze failed due to error "));
        EXPECT_TRUE(ado.TakeCreations().empty());
    }
}

TEST_F(StatisticsAfterAnalysis, NeedNoPermissionOfTheirOwn)
{
    Refuse(Permission::Status);
    EXPECT_EQ(0U, Run(L"/an c: /w"));
    EXPECT_EQ(1U, Questions().size());
}

TEST_F(StatisticsAfterAnalysis, GiveTheirFailureAsTheResult)
{
    ado.Fail(L"connection.Open", {.scode = kEngineFailure});
    EXPECT_EQ(0x80041234U, Run(L"/an c: /w"));
    EXPECT_THAT(output.Text(), HasSubstr(L"Failed to output statistics for volume c:. Error: 2147750452\n"));
    EXPECT_EQ(kNothingPublished, environment);
}

// Words that name no drive of the engine's are dropped by the analysis, not by the report.
TEST_F(StatisticsAfterAnalysis, AreAboutAllWordsThatWereTyped)
{
    EXPECT_EQ(0U, Run(L"/an c: q: /w"));
    EXPECT_EQ((std::vector<std::pair<std::wstring, std::wstring>>{{L"StatsAnalyze", L"c:"}, {L"StatsAnalyze", L"q:"}}),
              Questions());
}

TEST_F(StatisticsAfterAnalysis, ComeFromTheEngineOfAnotherComputer)
{
    EXPECT_EQ(0U, Run(L"/an c: /w /c SRV1"));
    EXPECT_EQ(L"Velundra 14.0\n" + analyzed + remoteReport, output.Text());
    EXPECT_TRUE(ado.TakeCreations().empty());
}

TEST_F(StatisticsAfterAnalysis, MissTheDrivesThatCanNoLongerBeListed)
{
    engine.Fail(L"GetDriveList", {kEngineFailure, L"", 3});
    EXPECT_EQ(87U, Run(L"/an /alldrives /w"));
    EXPECT_EQ(L"Velundra 14.0\n" + analyzed + kNoDrives, output.Text());
    EXPECT_EQ(kBadDataPublished, environment);
}

// --- Other commands' data ---

TEST_F(DispatchedCommand, OfTwoWordsIsMissingTheSchedule)
{
    ExpectRun(L"/rs", 87, kUsage, kBadDataPublished, {});
    ExpectRun(L"/rs /w /c SRV1", 87, kUsage, kBadDataPublished, {});
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_F(DispatchedCommand, CountsTheScheduleBeforeItAsksForPermission)
{
    Refuse(Permission::RunSchedule);
    ExpectRun(L"/rs", 87, kUsage, kBadDataPublished, {});
    ExpectRefusal(L"/rs Nightly", Permission::RunSchedule);
}

TEST_F(DispatchedCommand, RunsTheScheduleOfItsSecondWord)
{
    ExpectRun(L"/rs C: Weekly", 0, L"", kNothingPublished,
              {L"service.GetSchedule()", L"schedule.RunByName(C:)", L"refresh.Refresh()"});
}

TEST_F(DispatchedCommand, OfThreeWordsIsMissingDriveOrIdentifier)
{
    ExpectRun(L"/id", 87, kUsage, kBadDataPublished, {});
    ExpectRun(L"/id C:", 87, kUsage, kBadDataPublished, {});
    ExpectRun(L"/id 42 /w /all", 87, kUsage, kBadDataPublished, {});
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_F(DispatchedCommand, TakesNoNoticeOfSurplusWords)
{
    ExpectRun(L"/id C: 42 43 D:", 0, L"File Name C:\\data\\report.doc corresponds to id 42 on drive C:\n",
              kNothingPublished,
              kFindC + EngineCalls{L"agent.CheckAccess()", L"agent.GetFileNameById(\\\\?\\Volume{C}\\, 42)"});
}

TEST_F(DispatchedCommand, TellsAFileNameWhateverPolicyForbids)
{
    RefuseAllButLaunching();
    ExpectRun(L"/id C: 42", 0, L"File Name C:\\data\\report.doc corresponds to id 42 on drive C:\n", kNothingPublished,
              kFindC + EngineCalls{L"agent.CheckAccess()", L"agent.GetFileNameById(\\\\?\\Volume{C}\\, 42)"});
}

struct IdentifierCase {
    const char* name;
    const wchar_t* word;
    std::wstring identifier;
};

class FileIdentifier : public DispatchedCommand, public ::testing::WithParamInterface<IdentifierCase> {};

TEST_P(FileIdentifier, IsTheSigned32BitNumberThatItsWordBeginsWith)
{
    const std::wstring& identifier = GetParam().identifier;
    ExpectRun(std::wstring(L"/id c: ") + GetParam().word, 0,
              L"File Name C:\\data\\report.doc corresponds to id " + identifier + L" on drive c:\n", kNothingPublished,
              kFindC + EngineCalls{L"agent.CheckAccess()",
                                   L"agent.GetFileNameById(\\\\?\\Volume{C}\\, " + identifier + L")"});
}

INSTANTIATE_TEST_SUITE_P(Words, FileIdentifier,
                         ::testing::Values(IdentifierCase{"DigitsBeforeLetters", L"12abc", L"12"},
                                           IdentifierCase{"Letters", L"abc", L"0"},
                                           IdentifierCase{"Negative", L"-5", L"-5"},
                                           IdentifierCase{"TooGreat", L"2147483648", L"2147483647"}),
                         [](const auto& test) { return test.param.name; });

// --- Files ---

class DefragFilesCommand : public DispatchedCommand {
protected:
    void SetUp() override
    {
        DispatchedCommand::SetUp();
        engine.AddDrive(L"D:\\");
    }

    // Looking D: up, behind C:.
    const EngineCalls findD = kFindC + EngineCalls{L"agent.GetDrive(\\\\?\\Volume{D}\\)", L"drive.GetDriveName(D:\\)"};
    const EngineCalls openD{L"agent.CheckAccess()", L"agent.GetDrive(\\\\?\\Volume{D}\\)",
                            L"drive.GetMountPoint(D:\\)"};
};

TEST_F(DefragFilesCommand, HandsAllFilesInOrderToTheDriveOfTheFirst)
{
    ExpectRun(L"/df C:\\a.txt D:\\b.txt", 0, L"Single File defragmentation started on drive C:\\.\n", kNothingPublished,
              kFindC + kOpenC + EngineCalls{L"agent.DefragFile(C:\\, C:\\a.txt|D:\\b.txt)"});
    ExpectRun(L"/df D:\\b.txt C:\\a.txt D:\\c", 0, L"Single File defragmentation started on drive D:\\.\n",
              kNothingPublished, findD + openD + EngineCalls{L"agent.DefragFile(D:\\, D:\\b.txt|C:\\a.txt|D:\\c)"});
}

TEST_F(DefragFilesCommand, LeavesOutWordsThatAreNoFiles)
{
    ExpectRun(L"/df a.txt C: \\\\SRV1\\x D:b /x", 0, L"Single File defragmentation started on drive D:\\.\n",
              kNothingPublished, findD + openD + EngineCalls{L"agent.DefragFile(D:\\, D:b)"});
}

TEST_F(DefragFilesCommand, TakesTheDriveInAnyCase)
{
    ExpectRun(L"/df c:\\A.txt", 0, L"Single File defragmentation started on drive C:\\.\n", kNothingPublished,
              kFindC + kOpenC + EngineCalls{L"agent.DefragFile(C:\\, c:\\A.txt)"});
}

TEST_F(DefragFilesCommand, AsksForFilesFirst)
{
    Refuse(Permission::OnlineDefrag);
    for (const wchar_t* const words : {L"/df", L"/df a.txt", L"/df C: /alldrives"}) {
        ExpectRun(words, 87, kBadFiles, kBadDataPublished, {});
    }
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_F(DefragFilesCommand, AsksForPermissionBeforeItLooksForTheDrive)
{
    Refuse(Permission::OnlineDefrag);
    ExpectRefusal(L"/df C:\\a.txt", Permission::OnlineDefrag);
    ExpectRefusal(L"/df q:\\a.txt", Permission::OnlineDefrag);
}

TEST_F(DefragFilesCommand, TakesARootThatTheEngineDoesNotKnowForABadFile)
{
    ExpectRun(L"/df q:\\a.txt C:\\a.txt", 87, kBadFiles, kBadDataPublished, findD);
    ExpectRun(L"/df 1:\\a.txt", 87, kBadFiles, kBadDataPublished, findD);
    engine.drives.push_back({L"nameless", L"", L""});
    ExpectRun(L"/df 1:\\a.txt", 87, kBadFiles, kBadDataPublished,
              findD + EngineCalls{L"agent.GetDrive(nameless)", L"drive.GetDriveName()"});
}

// The drive of the path's letter counts, not one that is mounted in a folder.
TEST_F(DefragFilesCommand, TakesNoMountedDriveForThatOfItsFolder)
{
    engine.drives = {{L"id", L"M:\\Mount\\", L"M:\\Mount\\"}};
    ExpectRun(L"/df M:\\Mount\\a.txt", 87, kBadFiles, kBadDataPublished,
              {L"agent.GetDriveList()", L"agent.GetDrive(id)", L"drive.GetDriveName(M:\\Mount\\)"});
}

TEST_F(DefragFilesCommand, TakesAFailingLookUpForABadFile)
{
    engine.Fail(L"GetDrive", {kEngineFailure, L"\\\\?\\Volume{C}\\"});
    ExpectRun(L"/df D:\\b.txt", 87, kBadFiles, kBadDataPublished,
              {L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{C}\\)"});
}

TEST_F(DefragFilesCommand, TakesALookUpThatFailsWithTheResult0ForABadFile)
{
    for (const HRESULT failure : kFailuresWithResult0) {
        engine.Fail(L"GetDriveList", {failure});
        ExpectRun(L"/df C:\\a.txt", 87, kBadFiles, kBadDataPublished, {L"agent.GetDriveList()"});
    }
}

// --- Permissions ---

class CommandPermission : public DispatchedCommand, public ::testing::WithParamInterface<KnownCommand> {};

TEST_P(CommandPermission, ToLaunchIsAskedBeforeAnythingElse)
{
    for (const std::uint32_t value : {0U, 2U, 0xFFFFFFFFU}) {
        SetPolicy(L"AllowLaunch", value);
        ExpectRun(GetParam().words, kRefused, L"You do not have permission to launch Velundra.\n", kRefusalPublished,
                  {});
    }
    EXPECT_EQ(0, setHandler.Calls());
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_P(CommandPermission, ToLaunchIsGrantedBy1AndByNoNumber)
{
    SetPolicy(L"AllowLaunch", 1);
    Run(GetParam().words);
    EXPECT_THAT(output.Text(), Not(HasSubstr(L"You do not have permission")));
    RegistrySandbox::SetString(HKEY_CURRENT_USER, kUserPolicyKey, L"AllowLaunch", L"0");
    Run(GetParam().words);
    EXPECT_THAT(output.Text(), Not(HasSubstr(L"You do not have permission")));
    EXPECT_EQ(2, setHandler.Calls());
}

TEST_P(CommandPermission, IsItsOwnAlone)
{
    for (const Refusal& refusal : kRefusals) {
        if (refusal.permission != GetParam().permission) {
            Refuse(refusal.permission);
        }
    }
    Run(GetParam().words);
    EXPECT_THAT(output.Text(), Not(HasSubstr(L"You do not have permission")));
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_P(CommandPermission, RefusesWithItsMessageAndKeepsTheEngineOutOfIt)
{
    RefuseAllButLaunching();
    if (GetParam().permission) {
        ExpectRefusal(GetParam().words, *GetParam().permission);
    } else {
        Run(GetParam().words);
        EXPECT_THAT(output.Text(), Not(HasSubstr(L"You do not have permission")));
        EXPECT_EQ(kNothingPublished, environment);
    }
    EXPECT_EQ(1, setHandler.Calls());
}

TEST_P(CommandPermission, OfValuesThatNoCommandAsksMeansNothing)
{
    for (const wchar_t* const value :
         {L"AllowAdvanceConfiguration", L"AllowZeroFreeSpace", L"AllowModifyDriveProps", L"AllowModifySched",
          L"AllowCheckUpdate", L"AllowFreeSpaceStatus", L"AllowFreeSpaceReclaim"}) {
        SetPolicy(value, 0);
    }
    Run(GetParam().words);
    EXPECT_THAT(output.Text(), Not(HasSubstr(L"You do not have permission")));
}

TEST_P(CommandPermission, IsNotLookedAtWhenTheConsoleControlHandlerCannotBeInstalled)
{
    RefuseAllButLaunching();
    handlerError = 8;
    ExpectRun(GetParam().words, 8, L"Failed to set control handler (8).\n", {L"ERRORLEVEL=8"}, {});
    EXPECT_TRUE(engine.Activations().empty());
}

INSTANTIATE_TEST_SUITE_P(Commands, CommandPermission, ::testing::ValuesIn(kCommands),
                         [](const auto& test) { return test.param.name; });

TEST_F(DispatchedCommand, StopsNoDriveAtAllWithoutPermission)
{
    Refuse(Permission::Stop);
    ExpectRefusal(L"/stop /alldrives", Permission::Stop);
    ExpectRefusal(L"/stp", Permission::Stop);
}

TEST_F(DispatchedCommand, InstallsTheHandlerBetweenLaunchAndCommand)
{
    Refuse(Permission::Analyze);
    onHandler = [this] {
        EXPECT_EQ(L"Velundra 14.0\n", output.Text());
        EXPECT_TRUE(engine.Activations().empty());
    };
    ExpectRefusal(L"/an C:", Permission::Analyze);
    ExpectRun(L"/?", 0, kUsage, kNothingPublished, {});
    EXPECT_EQ(2, setHandler.Calls());
}

// --- The support report ---

// Runs the command on a computer whose report is the same each time, and short.
class SupportInformation : public DispatchedCommand {
protected:
    SupportInformation() { program.MoveTo(L"C:\\Velundra\\VLCmd.exe"); }

    InstalledProgram program;
    DescribedWindows windows;
    DescribedVolumes volumes;
    DescribedFiles files;
};

TEST_F(SupportInformation, IsTheReportWithALineEnd)
{
    const std::wstring report = BuildSupportReport();
    EXPECT_THAT(report, StartsWith(L"Computer: ACCOUNTS7\n"));
    for (const wchar_t* const words : {L"/si", L"/SupportInformation", L"/SI"}) {
        ExpectRun(words, 0, report + L"\n", kNothingPublished, {});
    }
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_F(SupportInformation, IsWrittenWhole)
{
    std::string bytes;
    for (const wchar_t c : BuildSupportReport() + L"\n") {
        bytes += c == L'\n' ? "\r\n" : std::string(1, static_cast<char>(c));
    }
    StandardOutput standardOutput = StandardOutput::Redirected(CP_UTF8);
    {
        const ConsoleOutput console;
        EXPECT_EQ(0U, DispatchCommand(TypedLine(L"/si")));
    }
    EXPECT_EQ((std::vector<std::string>{"Velundra 14.0\r\n", bytes}), standardOutput.writes);
}

TEST_F(SupportInformation, IsOfThisComputerWhateverElseIsTyped)
{
    const std::wstring report = BuildSupportReport();
    for (const wchar_t* const words :
         {L"/si /c OTHER", L"/si \\\\OTHER", L"/c OTHER /si", L"/si C: X: /w /alldrives"}) {
        ExpectRun(words, 0, report + L"\n", kNothingPublished, {});
    }
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_F(SupportInformation, NeedsNoPermissionButToLaunch)
{
    RefuseAllButLaunching();
    for (const wchar_t* const value :
         {L"AllowAdvanceConfiguration", L"AllowZeroFreeSpace", L"AllowModifyDriveProps", L"AllowModifySched",
          L"AllowCheckUpdate", L"AllowFreeSpaceStatus", L"AllowFreeSpaceReclaim"}) {
        SetPolicy(value, 0);
    }
    ExpectRun(L"/si", 0, BuildSupportReport() + L"\n", kNothingPublished, {});
    SetPolicy(L"AllowLaunch", 0);
    ExpectRun(L"/si", kRefused, L"You do not have permission to launch Velundra.\n", kRefusalPublished, {});
    EXPECT_TRUE(engine.Activations().empty());
}

// --- The policy monitor ---

TEST_F(DispatchedCommand, IsNotAffectedWhenLaunchingIsForbiddenAfterTheCheck)
{
    engine.onCall = [this](const std::wstring& call) {
        if (call == L"agent.GetDriveList()") {
            SetPolicy(L"AllowLaunch", 0);
            notifications.ChangeUserPolicy();
        }
    };
    EXPECT_EQ(0U, Run(L"/st"));
    EXPECT_EQ(L"Velundra 14.0\nDrive name: C:\\Status: Idle\n", output.Text());
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_F(DispatchedCommand, IsRefusedByAPolicyThatCameIntoForceBeforeItsCheck)
{
    onHandler = [this] {
        SetPolicy(L"AllowAnalyze", 0);
        notifications.ChangeUserPolicy();
    };
    ExpectRefusal(L"/an C:", Permission::Analyze);
}

TEST_F(DispatchedCommand, LoadsThePolicyAsARefresh)
{
    std::vector<BOOL> sections;
    const Replaced<"EnterCriticalPolicySection", decltype(::EnterCriticalPolicySection)> enter([&](BOOL machine) {
        sections.push_back(machine);
        return static_cast<HANDLE>(&sections);
    });
    const Replaced<"LeaveCriticalPolicySection", decltype(::LeaveCriticalPolicySection)> leave(
        [](HANDLE) { return TRUE; });
    ExpectRun(L"/?", 0, kUsage, kNothingPublished, {});
    EXPECT_EQ((std::vector<BOOL>{FALSE}), sections);
    EXPECT_EQ(1, leave.Calls());
}

class RefusedMonitorEvent : public DispatchedCommand, public ::testing::WithParamInterface<int> {};

TEST_P(RefusedMonitorEvent, LeavesEverythingAllowed)
{
    SetPolicy(L"AllowLaunch", 0);
    SetPolicy(L"AllowAnalyze", 0);
    const Replaced<"CreateEventW", decltype(::CreateEventW)> createEvent(
        [&](LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL signalled, LPCWSTR name) -> HANDLE {
            if (createEvent.Calls() == GetParam()) {
                SetLastError(ERROR_NO_SYSTEM_RESOURCES);
                return nullptr;
            }
            return createEvent.Original(security, manual, signalled, name);
        });
    hasMonitor = false;
    ExpectRun(L"/an C:", 0, L"Analyze started on drive C:\\.\n", kNothingPublished,
              kFindC + kOpenC + EngineCalls{L"agent.Analyze(C:\\)", L"refresh.Refresh()"});
    EXPECT_EQ(GetParam(), createEvent.Calls());
}

INSTANTIATE_TEST_SUITE_P(Events, RefusedMonitorEvent, ::testing::Values(1, 2, 3));

TEST_F(DispatchedCommand, GoesOnWithoutAMonitorThread)
{
    monitorError = ERROR_NOT_ENOUGH_MEMORY;
    hasMonitor = false;
    ExpectRun(L"/an C:", 0, L"Analyze started on drive C:\\.\n", kNothingPublished,
              kFindC + kOpenC + EngineCalls{L"agent.Analyze(C:\\)", L"refresh.Refresh()"});
}

TEST_F(DispatchedCommand, GoesOnWhenThePolicyCannotBeMonitored)
{
    const Replaced<"RegisterGPNotification", decltype(::RegisterGPNotification)> refuse(
        [](HANDLE, BOOL) { return FALSE; });
    hasMonitor = false;
    Refuse(Permission::Analyze);
    ExpectRun(L"/st", 0, L"Drive name: C:\\Status: Idle\n", kNothingPublished,
              {L"agent.CheckAccess()", L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{C}\\)",
               L"drive.GetDriveName(C:\\)", L"drive.GetState(C:\\)"});
    // The policy was loaded all the same.
    ExpectRun(L"/an C:", kRefused, L"You do not have permission to analyze the drive(s).\n", kRefusalPublished, {});
}

// --- Waiting ---

struct WaitCase {
    const char* name;
    const wchar_t* words;
    std::wstring text; // what is printed up to the end of the wait
    EngineCalls work;
};

class WaitingCommand : public DispatchedCommand, public ::testing::WithParamInterface<WaitCase> {
protected:
    // C: is busy at the first poll and idle at the second.
    void SetUp() override
    {
        DispatchedCommand::SetUp();
        engine.drives.front().states = {1, 0};
    }
};

TEST_P(WaitingCommand, PollsTheDriveUntilItIsIdleAgain)
{
    Run(GetParam().words);
    const EngineCalls poll{L"agent.GetDrive(\\\\?\\Volume{C}\\)", L"drive.GetState(C:\\)"};
    const EngineCalls expected = kFindC + kOpenC + GetParam().work + poll + poll + EngineCalls{L"refresh.Refresh()"};
    // Statistics may follow an analysis.
    EngineCalls calls = engine.Calls();
    calls.resize(std::min(calls.size(), expected.size()));
    EXPECT_EQ(expected, calls);
    EXPECT_THAT(output.Text(), StartsWith(L"Velundra 14.0\n" + GetParam().text));
    EXPECT_EQ((std::vector<DWORD>{5000, 5000}), sleeps);
    EXPECT_EQ(kNothingPublished, environment);
}

std::vector<WaitCase> WaitCases()
{
    const std::wstring online = L"Online optimization started on drive C:\\.\nOptimization completed.\n";
    return {
        {"Analyze", L"/an C: /w", L"Analyze started on drive C:\\.\nAnalyze completed.\n", {L"agent.Analyze(C:\\)"}},
        {"DefragOnly", L"/dol C: /w", online, {L"agent.OptimizeOnline(C:\\, 1)"}},
        {"TierWeave", L"/tw C: /wait", online, {L"agent.OptimizeOnline(C:\\, 0)"}},
        {"ConsolidateFreeSpace", L"/w /cfs C:", online, {L"agent.OptimizeOnline(C:\\, 2)"}},
        {"SsdOptimize", L"/ssd /WAIT C:", online, {L"agent.OptimizeOnline(C:\\, 4)"}},
        {"PrepForShrink", L"/prep C: /w /wait", online, {L"agent.OptimizeOnline(C:\\, 3)"}},
        {"Offline",
         L"/of C: /w /s",
         L"Offline optimization of System Files started on drive C:\\.\nOptimization completed.\n",
         {L"agent.PrepareOffline(C:\\, 0)", L"agent.OptimizeOffline(C:\\, 2)"}},
    };
}

INSTANTIATE_TEST_SUITE_P(Commands, WaitingCommand, ::testing::ValuesIn(WaitCases()),
                         [](const auto& test) { return test.param.name; });

// --- The target computer ---

class CommandsComputer : public DispatchedCommand, public ::testing::WithParamInterface<KnownCommand> {
protected:
    // The computers on which the engine was activated; the local one is empty. All activations agree.
    std::vector<std::wstring> Computers() const
    {
        std::vector<std::wstring> computers;
        for (const Activation& activation : engine.Activations()) {
            computers.push_back(activation.remote ? activation.server : std::wstring());
        }
        computers.erase(std::unique(computers.begin(), computers.end()), computers.end());
        return computers;
    }
};

TEST_P(CommandsComputer, IsTheLocalOneUnlessTold)
{
    Run(GetParam().words);
    EXPECT_EQ((std::vector<std::wstring>{L""}), Computers());
}

TEST_P(CommandsComputer, IsTheOneThatWasNamed)
{
    Run(GetParam().words + std::wstring(L" /c SRV1"));
    EXPECT_EQ((std::vector<std::wstring>{L"SRV1"}), Computers());
    EXPECT_EQ(0, engine.CountCalls(L"Refresh"));
}

TEST_P(CommandsComputer, IsTheLastWordWhenThatLooksLikeOne)
{
    Run(GetParam().words + std::wstring(L" \\\\SRV2"));
    EXPECT_EQ((std::vector<std::wstring>{L"\\\\SRV2"}), Computers());
}

std::vector<KnownCommand> EngineCommands()
{
    std::vector<KnownCommand> commands;
    std::copy_if(std::begin(kCommands), std::end(kCommands), std::back_inserter(commands), AsksEngine);
    return commands;
}

INSTANTIATE_TEST_SUITE_P(Commands, CommandsComputer, ::testing::ValuesIn(EngineCommands()),
                         [](const auto& test) { return test.param.name; });

// --- Several drives ---

// Runs commands with an engine that lists E:, D: and C:.
class CommandOnSeveralDrives : public DispatchedCommand {
protected:
    void SetUp() override
    {
        for (const wchar_t* const name : {L"E:\\", L"D:\\", L"C:\\"}) {
            engine.AddDrive(name);
        }
    }

    // The calls of one of the engine's methods, in order.
    EngineCalls CallsOf(const std::wstring& method) const
    {
        EngineCalls calls = engine.Calls();
        std::erase_if(calls, [&](const std::wstring& call) { return !call.starts_with(L"agent." + method + L"("); });
        return calls;
    }

    // Makes an operation on this drive fail with the Windows error once the drive has been opened.
    void FailDrive(const wchar_t* name, int error) { engine.Fail(L"GetMountPoint", {HRESULT_FROM_WIN32(error), name}); }
};

TEST_F(CommandOnSeveralDrives, TakesThemSortedAndEachOnce)
{
    EXPECT_EQ(0U, Run(L"/stop D: e C:\\ c: D:"));
    EXPECT_EQ(L"Velundra 14.0\n"
              L"Drive C:\\ was stopped.\n"
              L"Drive D:\\ was stopped.\n"
              L"Drive E:\\ was stopped.\n",
              output.Text());
    EXPECT_EQ((EngineCalls{L"agent.StopDrive(C:\\)", L"agent.StopDrive(D:\\)", L"agent.StopDrive(E:\\)"}),
              CallsOf(L"StopDrive"));
    EXPECT_EQ(0U, Run(L"/sb D: C: /p"));
    EXPECT_EQ((EngineCalls{L"agent.ScheduleBootTime(C:\\, 4)", L"agent.ScheduleBootTime(D:\\, 4)"}),
              CallsOf(L"ScheduleBootTime"));
    EXPECT_EQ(0U, Run(L"/cb E: C:"));
    EXPECT_EQ((EngineCalls{L"agent.CancelBootTime(C:\\)", L"agent.CancelBootTime(E:\\)"}), CallsOf(L"CancelBootTime"));
}

TEST_F(CommandOnSeveralDrives, StartsABatchOnEachOfThem)
{
    EXPECT_EQ(0U, Run(L"/cfs C: E:"));
    EXPECT_THAT(CallsOf(L"OptimizeOnline"),
                ::testing::UnorderedElementsAre(L"agent.OptimizeOnline(C:\\, 2)", L"agent.OptimizeOnline(E:\\, 2)"));
    EXPECT_EQ(0U, Run(L"/an /alldrives"));
    EXPECT_THAT(CallsOf(L"Analyze"), ::testing::UnorderedElementsAre(L"agent.Analyze(C:\\)", L"agent.Analyze(D:\\)",
                                                                     L"agent.Analyze(E:\\)"));
}

TEST_F(CommandOnSeveralDrives, TakesAllDrivesOfTheEngine)
{
    EXPECT_EQ(0U, Run(L"/cb /alldrives"));
    EXPECT_EQ(
        (EngineCalls{L"agent.CancelBootTime(C:\\)", L"agent.CancelBootTime(D:\\)", L"agent.CancelBootTime(E:\\)"}),
        CallsOf(L"CancelBootTime"));
}

TEST_F(CommandOnSeveralDrives, GoesOnWithTheDrivesThatWereResolvedBeforeAFailure)
{
    // The engine lists E: first.
    engine.Fail(L"GetDrive", {kEngineFailure, L"\\\\?\\Volume{D}\\"});
    EXPECT_EQ(0U, Run(L"/stop C: D: E:"));
    EXPECT_EQ(L"Velundra 14.0\nDrive E:\\ was stopped.\n", output.Text());
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_F(CommandOnSeveralDrives, GoesOnWithTheDrivesThatWereListedBeforeAFailure)
{
    // The first time that D: is asked for lists all drives; the second one resolves them.
    engine.Fail(L"GetDrive", {kEngineFailure, L"\\\\?\\Volume{D}\\", 1});
    EXPECT_EQ(0U, Run(L"/cb /alldrives"));
    EXPECT_EQ((EngineCalls{L"agent.CancelBootTime(E:\\)"}), CallsOf(L"CancelBootTime"));
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_F(CommandOnSeveralDrives, HasNoneWhenTheVeryFirstCannotBeResolved)
{
    engine.Fail(L"GetDrive", {kEngineFailure, L"\\\\?\\Volume{E}\\"});
    EXPECT_EQ(87U, Run(L"/stop C: D: E:"));
    EXPECT_EQ(L"Velundra 14.0\n" + kNoDrives, output.Text());
    EXPECT_EQ(kBadDataPublished, environment);
    EXPECT_EQ(0, engine.CountCalls(L"StopDrive"));
}

TEST_F(CommandOnSeveralDrives, ReturnsTheFailureOfTheOneThatCouldNotBeStopped)
{
    FailDrive(L"C:\\", 5);
    EXPECT_EQ(5U, Run(L"/stop C: D:"));
    EXPECT_EQ(L"Velundra 14.0\nDrive D:\\ was stopped.\n", output.Text());
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_F(CommandOnSeveralDrives, ReturnsTheLastFailureOfStoppingAndTriesAllDrives)
{
    FailDrive(L"C:\\", 5);
    FailDrive(L"D:\\", 6);
    EXPECT_EQ(6U, Run(L"/stop C: D: E:"));
    EXPECT_EQ(L"Velundra 14.0\nDrive E:\\ was stopped.\n", output.Text());
    EXPECT_EQ(3, engine.CountCalls(L"GetMountPoint"));
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_F(CommandOnSeveralDrives, ReturnsTheLastResultThatIsNot0ThoughALaterDriveFailed)
{
    for (const HRESULT failure : kFailuresWithResult0) {
        FailDrive(L"C:\\", 5);
        engine.Fail(L"GetMountPoint", {failure, L"D:\\"});
        EXPECT_EQ(5U, Run(L"/stop C: D: E:"));
        EXPECT_EQ(L"Velundra 14.0\nDrive E:\\ was stopped.\n", output.Text());
        EXPECT_EQ(0U, Run(L"/stop D:"));
        EXPECT_EQ(L"Velundra 14.0\n", output.Text());
    }
}

TEST_F(CommandOnSeveralDrives, ReturnsTheLastFailureOfScheduling)
{
    const auto setFileTypes = [this](std::initializer_list<ULONG> types) {
        std::transform(types.begin(), types.end(), engine.drives.rbegin(), engine.drives.rbegin(),
                       [](ULONG type, FakeDrive& drive) {
                           drive.offlineFileTypes = type;
                           return drive;
                       });
    };
    // C: has nothing to schedule, D: cannot be opened, E: is scheduled.
    setFileTypes({0, 1, 2});
    FailDrive(L"D:\\", 5);
    EXPECT_EQ(0x20000001U, Run(L"/sb C: D: E:"));
    EXPECT_EQ((EngineCalls{L"agent.ScheduleBootTime(E:\\, 2)"}), CallsOf(L"ScheduleBootTime"));
    EXPECT_EQ(kNothingPublished, environment);
    // Now E:, too, has nothing to schedule.
    setFileTypes({0, 1, 0});
    EXPECT_EQ(87U, Run(L"/sb C: D: E:"));
    EXPECT_EQ(0, engine.CountCalls(L"ScheduleBootTime"));
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_F(CommandOnSeveralDrives, ReturnsTheLastFailureOfCancelling)
{
    // C: is refused, D: cannot be opened, E: is cancelled.
    engine.Fail(L"CheckAccess", {E_ACCESSDENIED, L"", 1});
    FailDrive(L"D:\\", 5);
    EXPECT_EQ(0x20000001U, Run(L"/cb C: D: E:"));
    EXPECT_EQ((EngineCalls{L"agent.CancelBootTime(E:\\)"}), CallsOf(L"CancelBootTime"));
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_F(CommandOnSeveralDrives, ReturnsARefusedAccessThatCameLast)
{
    // C: is cancelled, D: cannot be opened, E: is refused.
    engine.Fail(L"CheckAccess", {E_ACCESSDENIED, L"", 3});
    FailDrive(L"D:\\", 5);
    EXPECT_EQ(0x20000004U, Run(L"/cb C: D: E:"));
    EXPECT_EQ((EngineCalls{L"agent.CancelBootTime(C:\\)"}), CallsOf(L"CancelBootTime"));
    EXPECT_EQ(kNothingPublished, environment);
}

// --- The numbers of the messages ---

class NumberedCommand : public DispatchedCommand {
protected:
    const NumberedMessages numbered;
    const std::wstring banner = L"(-2447-)Velundra 14.0\n";
};

TEST_F(NumberedCommand, RefusesByTheMessageOfThePermission)
{
    RefuseAllButLaunching();
    for (const KnownCommand& command : kCommands) {
        if (command.permission) {
            const Refusal& refusal = RefusalOf(*command.permission);
            EXPECT_EQ(kRefused, Run(command.words));
            EXPECT_EQ(banner + L"(-" + std::to_wstring(refusal.number) + L"-)" + refusal.text + L"\n", output.Text());
        }
    }
}

TEST_F(NumberedCommand, RefusesToLaunchByMessage3586)
{
    SetPolicy(L"AllowLaunch", 0);
    EXPECT_EQ(kRefused, Run(L"/st"));
    EXPECT_EQ(banner + L"(-3586-)You do not have permission to launch Velundra.\n", output.Text());
}

TEST_F(NumberedCommand, HasNoDrivesByMessage2224)
{
    for (const wchar_t* const words : {L"/an", L"/dol", L"/tw", L"/cfs", L"/ssd", L"/prep", L"/of", L"/stop", L"/sb",
                                       L"/cb", L"/sta", L"/sto", L"/stf"}) {
        EXPECT_EQ(87U, Run(words));
        EXPECT_THAT(output.Text(),
                    StartsWith(banner + L"(-2224-)No drives specified for this operation.\n(-18-)    Usage :\n"));
    }
}

TEST_F(NumberedCommand, HasBadFilesByThreeMessages)
{
    EXPECT_EQ(87U, Run(L"/df"));
    EXPECT_THAT(output.Text(), StartsWith(banner + L"(-5888-)Specified file(s) are in bad format.\n"
                                                   L"(-5889-)Provide fully qualified path names.\n"
                                                   L"(-5890-)Use quotes for files containing spaces.\n"
                                                   L"(-18-)    Usage :\n"));
}

TEST_F(NumberedCommand, CannotSetTheControlHandlerByMessage1647)
{
    handlerError = 5;
    EXPECT_EQ(5U, Run(L"/st"));
    EXPECT_EQ(banner + L"(-1647-)Failed to set control handler (5).\n", output.Text());
}

} // namespace
