#include "engine/Operations.h"

#include "engine/guarded.h"
#include "run_test.h"
#include "support/failing_memory.h"
#include "support/operation_test.h"

#include <optional>
#include <ostream>

namespace {

using namespace testing_support;
using namespace testing_support::runs;

// What the work on C: looks like.
struct Work {
    const char* name;
    Failure (*run)(const std::wstring& computer, bool wait);
    std::optional<Result> refusal; // of the rights check; the low 16 bits of the failure where it is not told
    EngineCalls calls;
    const wchar_t* method; // of the last call
    const wchar_t* failed; // message of its failure, with its number
    const wchar_t* started;
    const wchar_t* completed;
    // What ends the messages about a drive, a mount point and the work that failed; null where the place is not told.
    const wchar_t* drivePlace;
    const wchar_t* mountPointPlace;
    const wchar_t* workPlace;
};

void PrintTo(const Work& work, std::ostream* stream)
{
    *stream << work.name;
}

DriveJob JobOnC(const std::wstring& computer, bool wait)
{
    return {computer, L"C:\\", wait};
}

Failure Optimize(const std::wstring& computer, bool wait, bool online, VLOnlineMode mode, std::uint32_t fileTypes)
{
    return OptimizeDrive({JobOnC(computer, wait), online, mode, fileTypes});
}

const Work kAnalysis{"Analysis",
                     [](const std::wstring& computer, bool wait) { return AnalyzeDrive(JobOnC(computer, wait)); },
                     0x20000004,
                     {L"agent.Analyze(C:\\)"},
                     L"Analyze",
                     L"(-681-)Analyze failed due to error ",
                     L"(-684-)Analyze started on drive C:\\ (Boot).\n",
                     L"(-679-)Analyze completed.\n",
                     L"(Operations/#1425)\n",
                     L"(Operations/#1436)\n",
                     L"(Operations/#1446)\n"};

const Work kOnlineOptimization{
    "OnlineOptimization",
    [](const std::wstring& computer, bool wait) { return Optimize(computer, wait, true, VLModeDefragOnly, 4096); },
    std::nullopt,
    {L"agent.OptimizeOnline(C:\\, 1)"},
    L"OptimizeOnline",
    L"(-1162-)Optimization online failed due to error ",
    L"(-2327-)Online optimization started on drive C:\\ (Boot).\n",
    L"(-2347-)Optimization completed.\n",
    L"(Operations/#1488)\n",
    L"(Operations/#1499)\n",
    L"(Operations/#1510)\n"};

const Work kOfflineOptimization{
    "OfflineOptimization",
    [](const std::wstring& computer, bool wait) { return Optimize(computer, wait, false, VLModeTierWeave, 5); },
    std::nullopt,
    {L"agent.PrepareOffline(C:\\, 0)", L"agent.OptimizeOffline(C:\\, 5)"},
    L"OptimizeOffline",
    L"(-2290-)Offline Defrag of System Files failed due to error ",
    L"(-2303-)Offline optimization of System Files started on drive C:\\ (Boot).\n",
    L"(-2347-)Optimization completed.\n",
    L"(Operations/#1488)\n",
    L"(Operations/#1499)\n",
    L"(Operations/#1526)\n"};

const Work kZeroingFreeSpace{
    "ZeroingFreeSpace",
    [](const std::wstring& computer, bool wait) { return ZeroFreeSpaceOnDrive(JobOnC(computer, wait)); },
    std::nullopt,
    {L"agent.ZeroFreeSpace(C:\\, 200)"},
    L"ZeroFreeSpace",
    L"(-6355-)Zero free space failed due to error ",
    L"(-6364-)Zero free space started on drive C:\\ (Boot).\n",
    L"(-6365-)Zero free space completed.\n",
    nullptr,
    nullptr,
    nullptr};

class WorkOnADrive : public RunTest, public ::testing::WithParamInterface<Work> {
protected:
    static Failure Run(bool wait = false, const wchar_t* computer = L"") { return GetParam().run(computer, wait); }

    // The engine's calls up to the start of the work.
    static EngineCalls StartingCalls()
    {
        EngineCalls calls{L"agent.CheckAccess()", L"agent.GetDrive(C:\\)", L"drive.GetMountPoint(C:\\)"};
        calls.insert(calls.end(), GetParam().calls.begin(), GetParam().calls.end());
        return calls;
    }
    void UseStates(std::vector<ULONG> states) { engine.drives.front().states = std::move(states); }

    // ExpectFailure of a call whose message tells the place, or for which no place is known.
    void ExpectReported(const wchar_t* method, const wchar_t* message, const wchar_t* place)
    {
        if (place != nullptr) {
            ExpectFailure([] { return Run(true); }, {method, message, place});
            return;
        }
        const NumberedMessages numbered;
        for (const EngineFailure& failure : kEngineFailures) {
            FailWith(method, failure);
            EXPECT_EQ(Failure(failure.code), Run(true));
            const std::wstring line = output.Take();
            EXPECT_TRUE(line.starts_with(message + std::wstring(failure.errorText))) << ::testing::PrintToString(line);
            EXPECT_EQ(line.size() - 1, line.find(L'\n', line.find(L"Return code")));
            Repair(method);
        }
    }
};

TEST_P(WorkOnADrive, StartsStepByStepAndDoesNotWait)
{
    const NumberedMessages numbered;
    EXPECT_EQ(kSucceeded, Run());
    EXPECT_EQ(GetParam().started, output.Text());
    EXPECT_EQ(StartingCalls(), engine.Calls());
    EXPECT_EQ((std::vector<Activation>{LocalAgent()}), engine.Activations());
    EXPECT_EQ(std::vector<DWORD>{}, TakePauses());
}

TEST_P(WorkOnADrive, WaitsUntilTheDriveIsIdleAgain)
{
    const NumberedMessages numbered;
    UseStates({kBusy, kIdle});
    EXPECT_EQ(kSucceeded, Run(true));
    EXPECT_EQ(std::wstring(GetParam().started) + GetParam().completed, output.Text());
    EngineCalls calls = StartingCalls();
    calls.insert(calls.end(),
                 {L"agent.GetDrive(C:\\)", L"drive.GetState(C:\\)", L"agent.GetDrive(C:\\)", L"drive.GetState(C:\\)"});
    EXPECT_EQ(calls, engine.Calls());
    EXPECT_EQ((std::vector<Activation>{LocalAgent()}), engine.Activations());
    EXPECT_EQ((std::vector<DWORD>{kFiveSeconds, kFiveSeconds}), TakePauses());
}

TEST_P(WorkOnADrive, SaysThatItStartedBeforeItWaits)
{
    const NumberedMessages numbered;
    onPause = [this] { EXPECT_EQ(GetParam().started, output.Text()); };
    EXPECT_EQ(kSucceeded, Run(true));
    EXPECT_EQ(12U, TakePauses().size());
}

TEST_P(WorkOnADrive, CompletesHoweverTheWaitEnded)
{
    const NumberedMessages numbered;
    const std::wstring both = std::wstring(GetParam().started) + GetParam().completed;
    engine.Fail(L"GetState", {kRefused});
    EXPECT_EQ(kSucceeded, Run(true));
    EXPECT_EQ(both, output.Take());
    engine.Fail(L"GetDrive", {kRefused, L"", 4}); // the second call of the second run
    EXPECT_EQ(kSucceeded, Run(true));
    EXPECT_EQ(both, output.Take());
    EXPECT_EQ(1, engine.CountCalls(L"GetState"));
    const StopSignal stop(1);
    engine.Fail(L"StopAll", {kRefused});
    EXPECT_EQ(kSucceeded, Run(true));
    EXPECT_EQ(both, output.Take());
    EXPECT_EQ(L"agent.StopAll()", engine.Calls().back());
}

TEST_P(WorkOnADrive, IsDoneByTheEngineOfTheComputer)
{
    EXPECT_EQ(kSucceeded, Run(false, L"SRV1"));
    EXPECT_EQ(kSucceeded, Run(false, L"ThisPC"));
    EXPECT_EQ((std::vector<Activation>{RemoteAgent(L"SRV1"), LocalAgent()}), engine.Activations());
    EXPECT_EQ(0, engine.CountCalls(L"Refresh"));
}

TEST_P(WorkOnADrive, EndsWhereTheConnectionFails)
{
    const struct {
        HRESULT failure;
        const wchar_t* line;
    } rows[] = {
        {kNotRegistered, L"Velundra is not installed on computer 'SRV1'\n"},
        {E_ACCESSDENIED, L"You do not have permission to connect to Velundra on computer 'SRV1'.  You must be a "
                         L"member of the Local Admin group.\n"},
        {static_cast<HRESULT>(0x800706BA),
         L"Could not connect to computer 'SRV1'.  Verify the name is correct and the machine is turned on.\n"},
    };
    for (const auto& row : rows) {
        engine.activation = row.failure;
        EXPECT_EQ(Failure(0x20000002U), Run(true, L"SRV1"));
        EXPECT_EQ(row.line, output.Take());
    }
    EXPECT_EQ(EngineCalls{}, engine.Calls());
}

TEST_P(WorkOnADrive, EndsWhereTheEngineRefusesTheCaller)
{
    const NumberedMessages numbered;
    for (const EngineFailure& failure : kEngineFailures) {
        engine.Fail(L"CheckAccess", {failure.failure});
        EXPECT_EQ(Failure(GetParam().refusal.value_or(failure.code)), Run(true));
        EXPECT_EQ(L"(-3244-)Unable to connect to specified computer, error access denied.\n", output.Take());
        EXPECT_EQ(EngineCalls{L"agent.CheckAccess()"}, engine.TakeCalls());
    }
}

TEST_P(WorkOnADrive, ReportsADriveThatCannotBeHad)
{
    ExpectReported(L"GetDrive", L"(-3271-)Unable to get drive interface due to error ", GetParam().drivePlace);
}

TEST_P(WorkOnADrive, ReportsAMountPointThatCannotBeHad)
{
    ExpectReported(L"GetMountPoint", L"(-3316-)Unable to query drive mount point due to error ",
                   GetParam().mountPointPlace);
}

TEST_P(WorkOnADrive, ReportsTheEnginesRefusal)
{
    ExpectReported(GetParam().method, GetParam().failed, GetParam().workPlace);
}

TEST_P(WorkOnADrive, FailsWhereTheEngineHandsOutNoDrive)
{
    engine.HandOutNull(L"GetDrive");
    EXPECT_EQ(Failure(0x4003U), Run());
    EXPECT_TRUE(output.Text().starts_with(L"Unable to get drive interface due to error \r\nError text:\r\n"));
    EXPECT_EQ((EngineCalls{L"agent.CheckAccess()", L"agent.GetDrive(C:\\)"}), engine.Calls());
}

TEST_P(WorkOnADrive, GivesEverythingBackWhateverAllocationFails)
{
    UseStates({kBusy, kIdle});
    bool failed = true;
    int allocation = 0;
    while (failed) {
        const FailingMemory memory(++allocation);
        const Failure failure = Guarded([] { return Run(true); });
        failed = memory.HasFailed();
        // A message that cannot be looked up for want of memory is printed empty and does not end the work.
        EXPECT_EQ(memory.HasThrown() ? Failure(14) : kSucceeded, failure) << allocation;
        EXPECT_EQ(0, engine.LiveObjects()) << allocation;
    }
    EXPECT_GT(allocation, 1);
}

INSTANTIATE_TEST_SUITE_P(Of, WorkOnADrive,
                         ::testing::Values(kAnalysis, kOnlineOptimization, kOfflineOptimization, kZeroingFreeSpace),
                         [](const auto& work) { return work.param.name; });

class OptimizingADrive : public RunTest {};

TEST_F(OptimizingADrive, OnlineHandsOnTheMode)
{
    const struct {
        VLOnlineMode mode;
        const wchar_t* call;
    } rows[] = {
        {VLModeTierWeave, L"agent.OptimizeOnline(C:\\, 0)"},
        {VLModeDefragOnly, L"agent.OptimizeOnline(C:\\, 1)"},
        {VLModeConsolidateFreeSpace, L"agent.OptimizeOnline(C:\\, 2)"},
        {VLModePrepForShrink, L"agent.OptimizeOnline(C:\\, 3)"},
        {VLModeSsdOptimize, L"agent.OptimizeOnline(C:\\, 4)"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(kSucceeded, Optimize(L"", false, true, row.mode, 4096));
        EXPECT_EQ(row.call, engine.TakeCalls().back());
    }
}

TEST_F(OptimizingADrive, OnlineNeitherPreparesNorReadsFileTypes)
{
    EXPECT_EQ(kSucceeded, Optimize(L"", false, true, VLModeTierWeave, 4096));
    EXPECT_EQ(0, engine.CountCalls(L"PrepareOffline"));
    EXPECT_EQ(0, engine.CountCalls(L"OptimizeOffline"));
    EXPECT_EQ(0, engine.CountCalls(L"GetOfflineFileTypes"));
}

TEST_F(OptimizingADrive, OfflineHandsOnTheFileTypes)
{
    for (const std::uint32_t fileTypes : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 4096U}) {
        EXPECT_EQ(kSucceeded, Optimize(L"", false, false, VLModeTierWeave, fileTypes));
        EXPECT_EQ(L"agent.OptimizeOffline(C:\\, " + std::to_wstring(fileTypes) + L")", engine.TakeCalls().back());
    }
    EXPECT_EQ(0, engine.CountCalls(L"GetOfflineFileTypes"));
    EXPECT_EQ(0, engine.CountCalls(L"OptimizeOnline"));
}

TEST_F(OptimizingADrive, TakesTheConfiguredFileTypesUnlessTold)
{
    EXPECT_EQ(4096U, OptimizeJob{}.fileTypes);
}

// PrepareOffline refuses: the pass is scheduled for the next boot.
class AnOfflinePassThatCannotRunNow : public RunTest {
protected:
    AnOfflinePassThatCannotRunNow() { engine.Fail(L"PrepareOffline", {kRefused}); }

    static Failure Run(std::uint32_t fileTypes = 5, const wchar_t* computer = L"")
    {
        return Optimize(computer, true, false, VLModeTierWeave, fileTypes);
    }

    static constexpr wchar_t kScheduledForC[] = L"(-775-)Boot time defragmentation scheduled for drive C:\\ (Boot).\n";
};

TEST_F(AnOfflinePassThatCannotRunNow, IsScheduledForTheNextBootWithoutWaiting)
{
    EXPECT_EQ(Failure(0x20000005U), Run());
    EXPECT_EQ(L"Drive C:\\ (Boot) has been scheduled for an offline defrag of your system files on next reboot.\n"
              L"Boot time defragmentation scheduled for drive C:\\ (Boot).\n",
              output.Text());
    EXPECT_EQ((EngineCalls{L"agent.CheckAccess()", L"agent.GetDrive(C:\\)", L"drive.GetMountPoint(C:\\)",
                           L"agent.PrepareOffline(C:\\, 0)", L"agent.CheckAccess()", L"agent.GetDrive(C:\\)",
                           L"drive.GetMountPoint(C:\\)", L"agent.ScheduleBootTime(C:\\, 5)"}),
              engine.Calls());
    EXPECT_EQ(std::vector<DWORD>{}, TakePauses());
}

TEST_F(AnOfflinePassThatCannotRunNow, IsScheduledOnAConnectionOfItsOwn)
{
    EXPECT_EQ(Failure(0x20000005U), Run(7, L"SRV1"));
    EXPECT_EQ((std::vector<Activation>{RemoteAgent(L"SRV1"), RemoteAgent(L"SRV1")}), engine.Activations());
}

TEST_F(AnOfflinePassThatCannotRunNow, IsScheduledWithTheConfiguredFileTypesWhereNoneAreGiven)
{
    engine.drives.front().offlineFileTypes = 3;
    EXPECT_EQ(Failure(0x20000005U), Run(4096));
    EXPECT_EQ(L"agent.ScheduleBootTime(C:\\, 3)", engine.Calls().back());
    EXPECT_EQ(1, engine.CountCalls(L"GetOfflineFileTypes"));
}

TEST_F(AnOfflinePassThatCannotRunNow, CountsAsScheduledWhateverTheSchedulingReturned)
{
    const NumberedMessages numbered;
    engine.drives.front().offlineFileTypes = 0;
    EXPECT_EQ(Failure(0x20000005U), Run(4096));
    EXPECT_EQ(std::wstring(L"(-3346-)Unable to schedule drive for an Offline defrag pass of your System Files for next "
                           L"reboot.  Please specify the file types in the Drive Properties Notebook or use the "
                           L"appropriate flag on the commandline.\n") +
                  kScheduledForC,
              output.Take());

    engine.Fail(L"ScheduleBootTime", {E_ACCESSDENIED});
    EXPECT_EQ(Failure(0x20000005U), Run());
    EXPECT_EQ(std::wstring(L"(-3345-)Unable to schedule drive C:\\ (Boot) for an Offline defrag pass of your System "
                           L"Files due to error \r\nError text:\r\nAccess is denied.\r\n\r\nReturn code: 0x80070005 "
                           L"(2147942405)(Operations/#201)\n") +
                  kScheduledForC,
              output.Take());

    engine.Fail(L"GetDrive", {kRefused, L"", 6}); // the scheduling's, in the third run
    EXPECT_EQ(Failure(0x20000005U), Run());
    EXPECT_EQ(kScheduledForC, output.Take());

    engine.Fail(L"CheckAccess", {kRefused, L"", 8}); // the scheduling's, in the fourth run
    EXPECT_EQ(Failure(0x20000005U), Run());
    EXPECT_EQ(std::wstring(L"(-3244-)Unable to connect to specified computer, error access denied.\n") + kScheduledForC,
              output.Take());

    engine.onCall = [this](const std::wstring& call) {
        if (call.starts_with(L"agent.PrepareOffline")) {
            engine.activation = kNotRegistered;
        }
    };
    EXPECT_EQ(Failure(0x20000005U), Run());
    EXPECT_EQ(std::wstring(L"(-2489-)Velundra is not installed on computer ''\n") + kScheduledForC, output.Take());
    EXPECT_EQ(std::vector<DWORD>{}, TakePauses());
    EXPECT_EQ(0, engine.CountCalls(L"OptimizeOffline"));
}

TEST_F(AnOfflinePassThatCannotRunNow, DoesNotShowTheErrorObjectOfItsPreparationForThatOfItsScheduling)
{
    engine.Fail(L"ScheduleBootTime", {E_ACCESSDENIED});
    engine.onCall = [](const std::wstring& call) {
        if (call.starts_with(L"agent.PrepareOffline")) {
            ErrorObject::SetForThread(L"The drive is in use.");
        }
    };
    EXPECT_EQ(Failure(0x20000005U), Run());
    EXPECT_EQ(L"Unable to schedule drive C:\\ (Boot) for an Offline defrag pass of your System Files due to error "
              L"\r\nError text:\r\nAccess is denied.\r\n\r\nReturn code: 0x80070005 (2147942405)(Operations/#201)\n"
              L"Boot time defragmentation scheduled for drive C:\\ (Boot).\n",
              output.Take());
}

} // namespace
