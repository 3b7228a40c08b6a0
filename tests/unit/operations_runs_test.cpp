#include "engine/Operations.h"

#include "engine/guarded.h"
#include "engine/stop_event.h"
#include "support/failing_memory.h"
#include "support/operation_test.h"
#include "support/signal.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>

namespace {

using namespace testing_support;

constexpr auto kNotRegistered = static_cast<HRESULT>(0x80040154);
constexpr auto kRefused = static_cast<HRESULT>(0x80041234); // low 16 bits 0x1234

constexpr DWORD kFiveSeconds = 5000;

// An order of events, noted by several threads.
class Events {
public:
    void Add(std::wstring event)
    {
        const std::lock_guard guard(lock_);
        events_.push_back(std::move(event));
    }
    std::vector<std::wstring> Take()
    {
        const std::lock_guard guard(lock_);
        return std::exchange(events_, {});
    }

private:
    win::CriticalSection lock_;
    std::vector<std::wstring> events_;
};

// Time passes at once: pauses are noted and not made.
class RunTest : public OperationTest {
protected:
    // The pauses so far, in milliseconds, and again from now on.
    std::vector<DWORD> TakePauses()
    {
        const std::lock_guard guard(lock_);
        return std::exchange(pauses_, {});
    }

    // Called instead of pausing.
    std::function<void()> onPause;

private:
    win::CriticalSection lock_;
    std::vector<DWORD> pauses_;
    Replaced<"Sleep", decltype(::Sleep)> sleep_{[this](DWORD milliseconds) {
        // The runtime's own way of giving way to another thread.
        if (milliseconds <= 1) {
            sleep_.Original(milliseconds);
            return;
        }
        {
            const std::lock_guard guard(lock_);
            pauses_.push_back(milliseconds);
        }
        if (onPause) {
            onPause();
        }
    }};
};

// A stop event that is found signalled from a certain test on, counted from 1; never for 0.
class StopSignal {
public:
    explicit StopSignal(int signalledFrom) : signalledFrom_(signalledFrom) { StopEvent = this; }
    StopSignal(const StopSignal&) = delete;
    StopSignal(StopSignal&&) = delete;
    ~StopSignal() { StopEvent = nullptr; }
    StopSignal& operator=(const StopSignal&) = delete;
    StopSignal& operator=(StopSignal&&) = delete;

    [[nodiscard]] int Tests() const { return tests_; }

    // Called at each test.
    std::function<void()> onTest;

private:
    const int signalledFrom_;
    std::atomic<int> tests_ = 0;
    Replaced<"WaitForSingleObject", decltype(::WaitForSingleObject)> wait_{[this](HANDLE handle, DWORD milliseconds) {
        if (handle != this) {
            return wait_.Original(handle, milliseconds);
        }
        EXPECT_EQ(0U, milliseconds);
        if (onTest) {
            onTest();
        }
        return ++tests_ >= signalledFrom_ && signalledFrom_ != 0 ? static_cast<DWORD>(WAIT_OBJECT_0)
                                                                 : static_cast<DWORD>(WAIT_TIMEOUT);
    }};
};

// --- The wait for one drive ---

class WaitingForADrive : public RunTest {
protected:
    void SetUp() override { ASSERT_EQ(S_OK, ConnectToAgent(L"", &agent)); }
    void TearDown() override
    {
        agent.Reset();
        RunTest::TearDown();
    }

    HRESULT Wait() { return WaitForDriveIdle(*agent, L"C:\\"); }
    void UseStates(std::vector<ULONG> states) { engine.drives.front().states = std::move(states); }

    // Checks that so many polls were made, each a pause, a fresh drive and its state, and nothing else.
    void ExpectPolls(std::size_t polls)
    {
        EXPECT_EQ(std::vector<DWORD>(polls, kFiveSeconds), TakePauses());
        EngineCalls calls;
        for (std::size_t i = 0; i < polls; ++i) {
            calls.insert(calls.end(), {L"agent.GetDrive(C:\\)", L"drive.GetState(C:\\)"});
        }
        EXPECT_EQ(calls, engine.TakeCalls());
        EXPECT_EQ(L"", output.Text());
    }

    win::ComPtr<IVLAgent> agent;
};

struct WaitCase {
    const char* name;
    std::vector<ULONG> states;
    std::size_t polls;
};

void PrintTo(const WaitCase& wait, std::ostream* stream)
{
    *stream << wait.name;
}

class WaitingForStates : public WaitingForADrive, public ::testing::WithParamInterface<WaitCase> {};

TEST_P(WaitingForStates, EndsAfterItsPolls)
{
    UseStates(GetParam().states);
    EXPECT_EQ(S_OK, Wait());
    ExpectPolls(GetParam().polls);
}

constexpr ULONG kIdle = 0;
constexpr ULONG kBusy = 2;

INSTANTIATE_TEST_SUITE_P(
    Of, WaitingForStates,
    ::testing::Values(WaitCase{"ADriveThatIsNeverBusy", {kIdle}, 12},
                      WaitCase{"ADriveThatWasBusyOnce", {kBusy, kIdle}, 2},
                      WaitCase{"ADriveThatWorksForLong", {1, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, kIdle}, 15},
                      WaitCase{"ADriveThatStartsLate", {kIdle, kIdle, kIdle, kBusy, kIdle}, 5},
                      WaitCase{"ADriveThatStartsAtTheEleventhPoll", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, kBusy, kIdle}, 12},
                      WaitCase{"ADriveThatStartsAtTheTwelfthPoll", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, kBusy, kIdle}, 13},
                      WaitCase{"ADriveThatWouldStartTooLate", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, kBusy, kIdle}, 12},
                      WaitCase{"ADriveThatReportsDone", {7, 7, 7, kIdle}, 4},
                      WaitCase{"EveryStateButIdle", {1, 2, 3, 4, 5, 6, 7, 8, 0xFFFFFFFF, kIdle}, 10},
                      WaitCase{"ADriveThatPausesOnce", {kBusy, kIdle, kBusy, kIdle}, 2}),
    [](const auto& wait) { return wait.param.name; });

TEST_F(WaitingForADrive, TestsTheStopEventThenPausesThenAsksAFreshDrive)
{
    Events events;
    StopSignal stop(0);
    stop.onTest = [&] { events.Add(L"test"); };
    onPause = [&] {
        // The last poll's drive is given back.
        EXPECT_EQ(1, engine.LiveObjects());
        events.Add(L"pause");
    };
    engine.onCall = [&](const std::wstring& call) { events.Add(call); };
    UseStates({kBusy, kIdle});
    EXPECT_EQ(S_OK, Wait());
    EXPECT_EQ((std::vector<std::wstring>{L"test", L"pause", L"agent.GetDrive(C:\\)", L"drive.GetState(C:\\)", L"test",
                                         L"pause", L"agent.GetDrive(C:\\)", L"drive.GetState(C:\\)"}),
              events.Take());
}

TEST_F(WaitingForADrive, StopsAllDrivesWhenTheStopEventIsSignalled)
{
    const StopSignal stop(1);
    UseStates({kBusy});
    EXPECT_EQ(S_OK, Wait());
    EXPECT_EQ(EngineCalls{L"agent.StopAll()"}, engine.Calls());
    EXPECT_EQ(std::vector<DWORD>{}, TakePauses());
    EXPECT_EQ(1, stop.Tests());
}

TEST_F(WaitingForADrive, StopsAllDrivesWhenTheStopEventIsSignalledMeanwhile)
{
    const StopSignal stop(3);
    UseStates({kBusy});
    EXPECT_EQ(S_OK, Wait());
    EXPECT_EQ((EngineCalls{L"agent.GetDrive(C:\\)", L"drive.GetState(C:\\)", L"agent.GetDrive(C:\\)",
                           L"drive.GetState(C:\\)", L"agent.StopAll()"}),
              engine.Calls());
    EXPECT_EQ(2U, TakePauses().size());
    EXPECT_EQ(L"", output.Text());
}

TEST_F(WaitingForADrive, ReturnsTheResultOfStoppingAllDrives)
{
    const StopSignal stop(1);
    engine.Fail(L"StopAll", {kRefused});
    EXPECT_EQ(kRefused, Wait());
    EXPECT_EQ(L"", output.Text());
}

TEST_F(WaitingForADrive, FindsARealStopEventSignalled)
{
    StopEvent = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    UseStates({kBusy});
    EXPECT_EQ(S_OK, Wait());
    CloseHandle(std::exchange(StopEvent, nullptr));
    EXPECT_EQ(EngineCalls{L"agent.StopAll()"}, engine.Calls());
}

TEST_F(WaitingForADrive, IsNotInterruptedByAnEventThatIsNotSignalled)
{
    StopEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    UseStates({kBusy, kIdle});
    EXPECT_EQ(S_OK, Wait());
    CloseHandle(std::exchange(StopEvent, nullptr));
    ExpectPolls(2);
}

TEST_F(WaitingForADrive, GoesOnToTheEndWithoutAStopEvent)
{
    ASSERT_EQ(nullptr, StopEvent);
    UseStates({kBusy, kBusy, kIdle});
    EXPECT_EQ(S_OK, Wait());
    ExpectPolls(3);
}

TEST_F(WaitingForADrive, EndsWithTheFailureOfGetDrive)
{
    UseStates({kBusy});
    engine.Fail(L"GetDrive", {kRefused, L"", 1});
    EXPECT_EQ(kRefused, Wait());
    EXPECT_EQ(EngineCalls{L"agent.GetDrive(C:\\)"}, engine.TakeCalls());
    EXPECT_EQ(1U, TakePauses().size());
    engine.Fail(L"GetDrive", {kRefused, L"", 4}); // the third of this wait
    EXPECT_EQ(kRefused, Wait());
    EXPECT_EQ((EngineCalls{L"agent.GetDrive(C:\\)", L"drive.GetState(C:\\)", L"agent.GetDrive(C:\\)",
                           L"drive.GetState(C:\\)", L"agent.GetDrive(C:\\)"}),
              engine.TakeCalls());
    EXPECT_EQ(3U, TakePauses().size());
    EXPECT_EQ(L"", output.Text());
}

TEST_F(WaitingForADrive, EndsWithTheFailureOfGetState)
{
    UseStates({kBusy});
    engine.Fail(L"GetState", {kRefused, L"", 4});
    EXPECT_EQ(kRefused, Wait());
    EXPECT_EQ(4, engine.CountCalls(L"GetDrive"));
    EXPECT_EQ(4, engine.CountCalls(L"GetState"));
    EXPECT_EQ(4U, TakePauses().size());
    EXPECT_EQ(L"", output.Text());
}

TEST_F(WaitingForADrive, FailsWhereTheEngineHandsOutNoDrive)
{
    engine.HandOutNull(L"GetDrive");
    EXPECT_EQ(E_POINTER, Wait());
    EXPECT_EQ(EngineCalls{L"agent.GetDrive(C:\\)"}, engine.Calls());
}

TEST_F(WaitingForADrive, AsksForTheDriveByTheGivenName)
{
    UseStates({kBusy, kIdle});
    EXPECT_EQ(S_OK, WaitForDriveIdle(*agent, L"\\\\?\\Volume{C}\\"));
    EXPECT_EQ((EngineCalls{L"agent.GetDrive(\\\\?\\Volume{C}\\)", L"drive.GetState(C:\\)",
                           L"agent.GetDrive(\\\\?\\Volume{C}\\)", L"drive.GetState(C:\\)"}),
              engine.Calls());
}

// --- The work on one drive ---

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

// --- Batches ---

// Watches the threads of a batch. Threads are known by the order in which they are asked for, which is that of the
// drives, from 0.
class BatchThreads {
public:
    std::set<int> notCreated;           // those whose creation fails
    std::map<int, HRESULT> noApartment; // those that cannot enter COM's apartment

    // Everything in order: "create 0", "initialize 0", "activate 0", "uninitialize 0", "wait 2". The thread of the
    // test is number -1.
    Events events;

private:
    int NumberOfThisThread()
    {
        const std::lock_guard guard(lock_);
        const auto found = numbers_.find(GetCurrentThreadId());
        return found == numbers_.end() ? -1 : found->second;
    }
    void Note(const wchar_t* what, int number) { events.Add(what + (L' ' + std::to_wstring(number))); }

    win::CriticalSection lock_;
    std::map<DWORD, int> numbers_; // by thread identifier
    int asked_ = 0;

    Replaced<"CreateThread", decltype(::CreateThread)> createThread_{
        [this](LPSECURITY_ATTRIBUTES security, SIZE_T stack, LPTHREAD_START_ROUTINE routine, LPVOID parameter,
               DWORD flags, LPDWORD id) {
            if (IsFrameworkThread(flags)) {
                return createThread_.Original(security, stack, routine, parameter, flags, id);
            }
            EXPECT_EQ(nullptr, security);
            EXPECT_EQ(0U, stack);
            EXPECT_EQ(0U, flags);
            const int number = asked_++;
            if (notCreated.contains(number)) {
                SetLastError(ERROR_NOT_ENOUGH_MEMORY);
                return HANDLE{nullptr};
            }
            Note(L"create", number);
            // The thread must not run before its number is known.
            const HANDLE thread =
                createThread_.Original(security, stack, routine, parameter, flags | CREATE_SUSPENDED, id);
            {
                const std::lock_guard guard(lock_);
                numbers_[GetThreadId(thread)] = number;
            }
            ResumeThread(thread);
            return thread;
        }};
    Replaced<"WaitForMultipleObjects", decltype(::WaitForMultipleObjects)> wait_{
        [this](DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) {
            // The C++ runtime waits for one of two handles when threads meet at a lock of its own.
            if (all == FALSE) {
                return wait_.Original(count, handles, all, milliseconds);
            }
            EXPECT_EQ(INFINITE, milliseconds);
            Note(L"wait", static_cast<int>(count));
            return wait_.Original(count, handles, all, milliseconds);
        }};
    Replaced<"CoInitializeEx", decltype(::CoInitializeEx)> initialize_{[this](LPVOID reserved, DWORD model) {
        EXPECT_EQ(nullptr, reserved);
        EXPECT_EQ(0U, model);
        const int number = NumberOfThisThread();
        Note(L"initialize", number);
        const auto failure = noApartment.find(number);
        return failure == noApartment.end() ? initialize_.Original(reserved, model) : failure->second;
    }};
    Replaced<"CoUninitialize", decltype(::CoUninitialize)> uninitialize_{[this] {
        Note(L"uninitialize", NumberOfThisThread());
        uninitialize_.Original();
    }};
    Replaced<"CoCreateInstance", decltype(::CoCreateInstance)> activate_{
        [this](REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId, void** object) {
            Note(L"activate", NumberOfThisThread());
            return activate_.Original(classId, outer, context, interfaceId, object);
        }};
};

struct Batch {
    const char* name;
    Failure (*run)(const std::wstring& computer, const DriveList& drives, bool wait);
    const wchar_t* method; // by which the engine is asked to work
    const wchar_t* started;
    const wchar_t* completed;
    bool reportsFailures; // else its result is 0 whatever happens
};

void PrintTo(const Batch& batch, std::ostream* stream)
{
    *stream << batch.name;
}

class BatchOfDrives : public RunTest, public ::testing::WithParamInterface<Batch> {
protected:
    BatchOfDrives()
    {
        engine.AddDrive(L"D:\\");
        engine.AddDrive(L"E:\\");
    }

    static Failure Run(const DriveList& drives, bool wait = false, const wchar_t* computer = L"")
    {
        return GetParam().run(computer, drives, wait);
    }

    // Makes the work on a drive fail.
    void Refuse(const wchar_t* drive, HRESULT failure) { engine.Fail(GetParam().method, {failure, drive}); }

    // What the batch returns when its drives' last failure is this one.
    static Failure ResultOf(Failure failure) { return GetParam().reportsFailures ? failure : kSucceeded; }

    // The line about a drive that has started.
    static std::wstring Started(const wchar_t* mountPoint)
    {
        return std::wstring(GetParam().started) + mountPoint + L".\n";
    }

    // The output's lines, sorted: the threads' order is their own.
    std::vector<std::wstring> TakeLines()
    {
        std::vector<std::wstring> lines;
        std::wistringstream text(output.Take());
        for (std::wstring line; std::getline(text, line);) {
            lines.push_back(line + L'\n');
        }
        std::sort(lines.begin(), lines.end());
        return lines;
    }

    static constexpr auto kFirst = static_cast<HRESULT>(0x80041111);
    static constexpr auto kSecond = static_cast<HRESULT>(0x80042222);
    static constexpr auto kThird = static_cast<HRESULT>(0x80043333);
    static constexpr auto kZero = static_cast<HRESULT>(0x80040000);
    static constexpr auto kZeroOfWindows = static_cast<HRESULT>(0x80070000);
    inline static const DriveList kThreeDrives{L"C:\\", L"D:\\", L"E:\\"};
};

TEST_P(BatchOfDrives, StartsNoThreadForAnEmptyList)
{
    BatchThreads threads;
    EXPECT_EQ(kSucceeded, Run({}));
    EXPECT_EQ((std::vector<std::wstring>{L"activate -1"}), threads.events.Take()); // the refresh notice's
    EXPECT_EQ(EngineCalls{L"refresh.Refresh()"}, engine.Calls());
    EXPECT_EQ(L"", output.Text());
}

TEST_P(BatchOfDrives, WorksOnOneDriveOnAThreadOfItsOwn)
{
    BatchThreads threads;
    EXPECT_EQ(kSucceeded, Run({L"D:\\"}));
    const std::vector<std::wstring> events = threads.events.Take();
    // The test's thread waits while the other one works.
    std::vector<std::wstring> work;
    std::copy_if(events.begin(), events.end(), std::back_inserter(work),
                 [](const std::wstring& event) { return event != L"wait 1"; });
    EXPECT_EQ(
        (std::vector<std::wstring>{L"create 0", L"initialize 0", L"activate 0", L"uninitialize 0", L"activate -1"}),
        work);
    EXPECT_EQ(Started(L"D:\\"), output.Text());
}

TEST_P(BatchOfDrives, StartsAllThreadsBeforeItWaits)
{
    BatchThreads threads;
    EXPECT_EQ(kSucceeded, Run(kThreeDrives));
    std::vector<std::wstring> events = threads.events.Take();
    std::erase_if(
        events, [](const std::wstring& event) { return !event.starts_with(L"create") && !event.starts_with(L"wait"); });
    EXPECT_EQ((std::vector<std::wstring>{L"create 0", L"create 1", L"create 2", L"wait 3"}), events);
}

TEST_P(BatchOfDrives, ConnectsOnceForEachDriveOnItsThread)
{
    BatchThreads threads;
    EXPECT_EQ(kSucceeded, Run(kThreeDrives));
    const std::vector<std::wstring> events = threads.events.Take();
    for (const wchar_t* const number : {L" 0", L" 1", L" 2"}) {
        std::vector<std::wstring> own;
        std::copy_if(events.begin(), events.end(), std::back_inserter(own),
                     [&](const std::wstring& event) { return event.ends_with(number); });
        EXPECT_EQ(
            (std::vector<std::wstring>{std::wstring(L"create") + number, std::wstring(L"initialize") + number,
                                       std::wstring(L"activate") + number, std::wstring(L"uninitialize") + number}),
            own);
    }
    EXPECT_EQ(L"activate -1", events.back());
}

TEST_P(BatchOfDrives, HandsItsSettingsToEveryDrive)
{
    for (FakeDrive& drive : engine.drives) {
        drive.states = {kBusy, kIdle};
    }
    EXPECT_EQ(kSucceeded, Run(kThreeDrives, true, L"SRV1"));
    EXPECT_EQ(std::vector<Activation>(3, RemoteAgent(L"SRV1")), engine.Activations());
    std::vector<std::wstring> lines(3, GetParam().completed);
    lines.insert(lines.end(), {Started(L"C:\\ (Boot)"), Started(L"D:\\"), Started(L"E:\\")});
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, TakeLines());
    EXPECT_EQ(std::vector<DWORD>(6, kFiveSeconds), TakePauses());
}

TEST_P(BatchOfDrives, TakesAnyNumberOfDrives)
{
    for (const int count : {1, 64, 65, 200}) {
        SCOPED_TRACE(count);
        engine.drives.clear();
        DriveList drives;
        std::vector<std::wstring> lines;
        for (int i = 0; i < count; ++i) {
            drives.push_back(L"M:\\" + std::to_wstring(1000 + i) + L"\\");
            engine.AddDrive(drives.back());
            lines.push_back(Started(drives.back().c_str()));
        }
        const std::size_t activations = engine.Activations().size();
        const int works = engine.CountCalls(GetParam().method);
        EXPECT_EQ(kSucceeded, Run(drives));
        EXPECT_EQ(lines, TakeLines());
        EXPECT_EQ(works + count, engine.CountCalls(GetParam().method));
        EXPECT_EQ(activations + static_cast<std::size_t>(count) + 1, engine.Activations().size());
    }
}

TEST_P(BatchOfDrives, OnlyEndsWhenEveryThreadHasEnded)
{
    // The first drive's thread works until all others have long begun theirs.
    Signal othersBegan;
    engine.onCall = [&](const std::wstring& call) {
        if (call.find(std::wstring(GetParam().method) + L"(E:\\") != std::wstring::npos) {
            othersBegan.Raise();
        } else if (call.find(std::wstring(GetParam().method) + L"(C:\\") != std::wstring::npos) {
            othersBegan.Await();
        }
    };
    EXPECT_EQ(kSucceeded, Run(kThreeDrives));
    EXPECT_EQ((std::vector<std::wstring>{Started(L"C:\\ (Boot)"), Started(L"D:\\"), Started(L"E:\\")}), TakeLines());
    EXPECT_EQ(L"refresh.Refresh()", engine.Calls().back());
}

TEST_P(BatchOfDrives, ReturnsTheFailureOfTheLastDriveThatFailed)
{
    const struct {
        const char* name;
        HRESULT c;
        HRESULT d;
        HRESULT e;
        Failure result;
    } rows[] = {
        {"first", kFirst, S_OK, S_OK, 0x1111},
        {"middle", S_OK, kSecond, S_OK, 0x2222},
        {"last", S_OK, S_OK, kThird, 0x3333},
        {"first and last", kFirst, S_OK, kThird, 0x3333},
        {"first two", kFirst, kSecond, S_OK, 0x2222},
        {"last two", S_OK, kSecond, kThird, 0x3333},
        {"all", kFirst, kSecond, kThird, 0x3333},
        {"none", S_OK, S_OK, S_OK, kSucceeded},
        // The low 16 bits of these are 0, as is the exit code of their thread.
        {"one with 0", S_OK, kZero, S_OK, 0},
        {"all with 0", kZeroOfWindows, kZero, kZeroOfWindows, 0},
        {"another one before 0", kFirst, kZero, S_OK, 0x1111},
        {"another one after 0", kZeroOfWindows, S_OK, kThird, 0x3333},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Refuse(L"C:\\", row.c);
        Refuse(L"D:\\", row.d);
        Refuse(L"E:\\", row.e);
        EXPECT_EQ(ResultOf(row.result), Run(kThreeDrives));
    }
    EXPECT_EQ(36, engine.CountCalls(GetParam().method));
}

TEST_P(BatchOfDrives, GoesByTheListsOrderNotByWhoEndsLast)
{
    Signal secondFailed;
    engine.onCall = [&](const std::wstring& call) {
        if (call.find(std::wstring(GetParam().method) + L"(D:\\") != std::wstring::npos) {
            secondFailed.Raise();
        } else if (call.find(std::wstring(GetParam().method) + L"(C:\\") != std::wstring::npos) {
            secondFailed.Await();
        }
    };
    Refuse(L"C:\\", kFirst);
    Refuse(L"D:\\", kSecond);
    EXPECT_EQ(ResultOf(0x2222), Run({L"C:\\", L"D:\\"}));
}

TEST_P(BatchOfDrives, ReturnsTheConnectionsFailureOfADrive)
{
    engine.activation = kNotRegistered;
    EXPECT_EQ(ResultOf(0x20000002), Run(kThreeDrives, true, L"SRV1"));
    EXPECT_EQ(std::vector<std::wstring>(3, L"Velundra is not installed on computer 'SRV1'\n"), TakeLines());
}

TEST_P(BatchOfDrives, ShowsEachDrivesOwnErrorObject)
{
    engine.onCall = [](const std::wstring& call) {
        if (call.starts_with(std::wstring(L"agent.") + GetParam().method)) {
            ErrorObject::SetForThread(call);
        }
    };
    Refuse(L"", kFirst);
    EXPECT_EQ(ResultOf(0x1111), Run({L"C:\\", L"D:\\"}));
    const std::wstring text = output.Take();
    for (const wchar_t* const drive : {L"(C:\\", L"(D:\\"}) {
        EXPECT_NE(std::wstring::npos,
                  text.find(std::wstring(L"\r\nError text:\r\nagent.") + GetParam().method + drive));
    }
}

TEST_P(BatchOfDrives, FailsWhereAThreadsExitCodeCannotBeHad)
{
    const Replaced<"GetExitCodeThread", decltype(::GetExitCodeThread)> exitCode([&](HANDLE thread, LPDWORD code) {
        if (exitCode.Calls() == 2) {
            SetLastError(ERROR_INVALID_HANDLE);
            return FALSE;
        }
        return exitCode.Original(thread, code);
    });
    EXPECT_EQ(ResultOf(6U), Run(kThreeDrives));
    EXPECT_EQ(3, exitCode.Calls());
}

TEST_P(BatchOfDrives, FailsWhereTheWaitFails)
{
    const Replaced<"WaitForMultipleObjects", decltype(::WaitForMultipleObjects)> wait(
        [&](DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) -> DWORD {
            const DWORD waited = wait.Original(count, handles, all, milliseconds);
            // The C++ runtime waits for one of two handles; the batch waits for all.
            if (all == FALSE) {
                return waited;
            }
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return WAIT_FAILED;
        });
    EXPECT_EQ(ResultOf(8U), Run(kThreeDrives));
    Refuse(L"E:\\", kFirst);
    EXPECT_EQ(ResultOf(8U), Run(kThreeDrives));
}

TEST_P(BatchOfDrives, PassesOverADriveWhoseThreadCannotBeCreated)
{
    BatchThreads threads;
    threads.notCreated = {1};
    Refuse(L"C:\\", kFirst);
    Refuse(L"D:\\", kSecond);
    EXPECT_EQ(ResultOf(0x1111), Run(kThreeDrives));
    EXPECT_EQ(2, engine.CountCalls(GetParam().method));
    EXPECT_EQ(std::wstring::npos, output.Text().find(L"D:\\"));
}

TEST_P(BatchOfDrives, DoesNothingWhereNoThreadCanBeCreated)
{
    BatchThreads threads;
    threads.notCreated = {0, 1, 2};
    EXPECT_EQ(kSucceeded, Run(kThreeDrives));
    EXPECT_EQ((std::vector<std::wstring>{L"activate -1"}), threads.events.Take());
    EXPECT_EQ(EngineCalls{L"refresh.Refresh()"}, engine.Calls());
    EXPECT_EQ(L"", output.Text());
}

TEST_P(BatchOfDrives, EndsADriveWhoseThreadCannotEnterTheApartment)
{
    BatchThreads threads;
    threads.noApartment[2] = static_cast<HRESULT>(0x80010106);
    EXPECT_EQ(ResultOf(0x0106), Run(kThreeDrives));
    const std::vector<std::wstring> events = threads.events.Take();
    EXPECT_EQ(1, std::count(events.begin(), events.end(), L"initialize 2"));
    EXPECT_EQ(0, std::count(events.begin(), events.end(), L"activate 2"));
    EXPECT_EQ(0, std::count(events.begin(), events.end(), L"uninitialize 2"));
    EXPECT_EQ((std::vector<std::wstring>{Started(L"C:\\ (Boot)"), Started(L"D:\\")}), TakeLines());
}

TEST_P(BatchOfDrives, FailsWhereTheApartmentsFailureHasTheLow16Bits0)
{
    BatchThreads threads;
    threads.noApartment[1] = kZero;
    EXPECT_EQ(ResultOf(0U), Run(kThreeDrives));
    EXPECT_EQ(2, engine.CountCalls(GetParam().method));
}

TEST_P(BatchOfDrives, EndsADriveForWhichMemoryRunsOut)
{
    // Windows reports it as a null string ...
    {
        Replaced<"SysAllocStringLen", decltype(::SysAllocStringLen)> alloc([&](const OLECHAR* text, UINT length) {
            return length == 3 && text != nullptr && text[0] == L'D' ? BSTR{nullptr} : alloc.Original(text, length);
        });
        EXPECT_EQ(ResultOf(14), Run(kThreeDrives));
        EXPECT_EQ((std::vector<std::wstring>{Started(L"C:\\ (Boot)"), Started(L"E:\\")}), TakeLines());
    }
    // ... the runtime as an exception, for a text beyond all measure as another one.
    for (const bool beyondMeasure : {false, true}) {
        engine.onCall = [=](const std::wstring& call) {
            if (call == L"agent.GetDrive(E:\\)") {
                if (beyondMeasure) {
                    throw std::length_error("text");
                }
                throw std::bad_alloc();
            }
        };
        EXPECT_EQ(ResultOf(14), Run(kThreeDrives));
        EXPECT_EQ((std::vector<std::wstring>{Started(L"C:\\ (Boot)"), Started(L"D:\\")}), TakeLines());
    }
}

TEST_P(BatchOfDrives, LeavesNothingBehindWhateverAllocationFails)
{
    bool failed = true;
    int exceptions = 0;
    for (int allocation = 1; failed; ++allocation) {
        const FailingMemory memory(allocation);
        try {
            EXPECT_EQ(kSucceeded, Run(kThreeDrives));
        } catch (const std::bad_alloc&) {
            ++exceptions;
        }
        failed = memory.HasFailed();
        // All threads have ended.
        EXPECT_EQ(0, engine.LiveObjects()) << allocation;
    }
    EXPECT_GT(exceptions, 3);
}

TEST_P(BatchOfDrives, WaitsForTheThreadsItHasStartedWhenMemoryRunsOut)
{
    // The one thread works on until it is waited for.
    Signal waitedFor;
    engine.onCall = [&](const std::wstring& call) {
        if (call == L"agent.GetDrive(C:\\)") {
            waitedFor.Await();
        }
    };
    Replaced<"WaitForMultipleObjects", decltype(::WaitForMultipleObjects)> wait(
        [&](DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) {
            waitedFor.Raise();
            return wait.Original(count, handles, all, milliseconds);
        });
    int threads = 0;
    Replaced<"CreateThread", decltype(::CreateThread)> create([&](LPSECURITY_ATTRIBUTES security, SIZE_T stack,
                                                                  LPTHREAD_START_ROUTINE routine, LPVOID parameter,
                                                                  DWORD flags, LPDWORD id) {
        if (!IsFrameworkThread(flags) && ++threads == 2) {
            throw std::bad_alloc();
        }
        return create.Original(security, stack, routine, parameter, flags, id);
    });
    EXPECT_THROW(static_cast<void>(Run(kThreeDrives)), std::bad_alloc);
    EXPECT_EQ(1, wait.Calls());
    EXPECT_EQ(1, engine.CountCalls(GetParam().method));
    EXPECT_EQ(Started(L"C:\\ (Boot)"), output.Text());
}

constexpr wchar_t kAnalyzeStarted[] = L"Analyze started on drive ";
constexpr wchar_t kOnlineStarted[] = L"Online optimization started on drive ";
constexpr wchar_t kOfflineStarted[] = L"Offline optimization of System Files started on drive ";
constexpr wchar_t kZeroStarted[] = L"Zero free space started on drive ";

INSTANTIATE_TEST_SUITE_P(
    Of, BatchOfDrives,
    ::testing::Values(
        Batch{"Analyses",
              [](const std::wstring& computer, const DriveList& drives, bool wait) {
                  return AnalyzeDrives(computer, drives, wait);
              },
              L"Analyze", kAnalyzeStarted, L"Analyze completed.\n", true},
        Batch{"OnlineOptimizations",
              [](const std::wstring& computer, const DriveList& drives, bool wait) {
                  EXPECT_EQ(0U, OptimizeDrives(drives, {{computer, L"", wait}, true, VLModeDefragOnly, 4096}));
                  return kSucceeded;
              },
              L"OptimizeOnline", kOnlineStarted, L"Optimization completed.\n", false},
        Batch{"OfflineOptimizations",
              [](const std::wstring& computer, const DriveList& drives, bool wait) {
                  EXPECT_EQ(0U, OptimizeDrives(drives, {{computer, L"", wait}, false, VLModeTierWeave, 7}));
                  return kSucceeded;
              },
              L"OptimizeOffline", kOfflineStarted, L"Optimization completed.\n", false},
        Batch{"ZeroingsOfFreeSpace",
              [](const std::wstring& computer, const DriveList& drives, bool wait) {
                  return ZeroFreeSpaceOnDrives(computer, drives, wait);
              },
              L"ZeroFreeSpace", kZeroStarted, L"Zero free space completed.\n", true}),
    [](const auto& batch) { return batch.param.name; });

class OptimizingSeveralDrives : public RunTest {
protected:
    OptimizingSeveralDrives() { engine.AddDrive(L"D:\\"); }
};

TEST_F(OptimizingSeveralDrives, HandsTheModeToEach)
{
    EXPECT_EQ(0U, OptimizeDrives({L"C:\\", L"D:\\"}, {{L"", L"", false}, true, VLModeConsolidateFreeSpace, 4096}));
    const EngineCalls calls = engine.Calls();
    EXPECT_EQ(1, std::count(calls.begin(), calls.end(), L"agent.OptimizeOnline(C:\\, 2)"));
    EXPECT_EQ(1, std::count(calls.begin(), calls.end(), L"agent.OptimizeOnline(D:\\, 2)"));
}

TEST_F(OptimizingSeveralDrives, HandsTheFileTypesToEach)
{
    EXPECT_EQ(0U, OptimizeDrives({L"C:\\", L"D:\\"}, {{L"", L"", false}, false, VLModeTierWeave, 6}));
    const EngineCalls calls = engine.Calls();
    EXPECT_EQ(1, std::count(calls.begin(), calls.end(), L"agent.OptimizeOffline(C:\\, 6)"));
    EXPECT_EQ(1, std::count(calls.begin(), calls.end(), L"agent.OptimizeOffline(D:\\, 6)"));
}

TEST_F(OptimizingSeveralDrives, SchedulesOnlyTheOneThatCannotRunNow)
{
    engine.Fail(L"PrepareOffline", {kRefused, L"C:\\"});
    EXPECT_EQ(0U, OptimizeDrives({L"C:\\", L"D:\\"}, {{L"", L"", false}, false, VLModeTierWeave, 7}));
    EXPECT_EQ(1, engine.CountCalls(L"ScheduleBootTime"));
    EXPECT_EQ(1, engine.CountCalls(L"OptimizeOffline"));
    const std::wstring text = output.Text();
    EXPECT_NE(std::wstring::npos, text.find(L"Boot time defragmentation scheduled for drive C:\\ (Boot).\n"));
    EXPECT_NE(std::wstring::npos, text.find(L"Offline optimization of System Files started on drive D:\\.\n"));
}

// Of a batch without drives nothing remains but the refresh notice.
class TheRefreshNotice : public RunTest {
protected:
    // How many notices one batch sends.
    int Notices(const wchar_t* computer = L"")
    {
        const int before = engine.CountCalls(L"Refresh");
        EXPECT_EQ(kSucceeded, AnalyzeDrives(computer, {}, false));
        return engine.CountCalls(L"Refresh") - before;
    }
};

TEST_F(TheRefreshNotice, IsSentOnTheLocalComputerHoweverItIsNamed)
{
    EXPECT_EQ(1, Notices(L""));
    EXPECT_EQ(1, Notices(L"THISPC"));
    EXPECT_EQ(1, Notices(L"thisPC"));
    EXPECT_EQ(std::vector<Activation>(3, LocalRefresh()), engine.Activations());
    EXPECT_EQ(3, processes.Listings());
}

TEST_F(TheRefreshNotice, IsNotSentToAnotherComputer)
{
    EXPECT_EQ(0, Notices(L"SRV1"));
    EXPECT_EQ(0, Notices(L"\\\\THISPC"));
    EXPECT_EQ(0, Notices(L"THISPC2"));
    EXPECT_EQ(std::vector<Activation>{}, engine.Activations());
}

TEST_F(TheRefreshNotice, IsNotSentWhileTheProductsWindowRuns)
{
    const RunningProcess windows[] = {
        {L"C:\\Program Files\\Kestrane\\Velundra\\Velundra.exe"},
        {L"C:\\VELUNDRA.EXE"},
        {L"\\Device\\HarddiskVolume1\\velundra.exe"},
        {L"Velundra.exe"},
        {std::nullopt, L"Velundra.exe"},
        {std::nullopt, L"vELUNDRA.EXE"},
    };
    for (const RunningProcess& window : windows) {
        processes.processes = {window};
        EXPECT_EQ(0, Notices());
        processes.processes = {
            {L"C:\\a.exe"}, {std::nullopt, std::nullopt}, {std::nullopt, std::nullopt, false}, window};
        EXPECT_EQ(0, Notices());
    }
    EXPECT_EQ(std::vector<Activation>{}, engine.Activations());
    EXPECT_EQ(L"", output.Text());
}

TEST_F(TheRefreshNotice, IsSentWhileOtherProgramsRun)
{
    processes.processes = {
        {L"C:\\Windows\\explorer.exe"},
        {L"C:\\Velundra.exe\\other.exe"},
        {L"C:\\MyVelundra.exe"},
        {L"C:\\Velundra.exe.bak"},
        {L"C:\\Velundra"},
        {L"C:\\VLCmd.exe", L"Velundra.exe"}, // its module's name is only asked for without a path
        {L"C:\\Velundra.exe\\"},
        {std::nullopt, L"C:\\Velundra.exe"},
        {std::nullopt, L"other.exe"},
        {std::nullopt, std::nullopt},
        {L"C:\\Velundra.exe", std::nullopt, false},
    };
    EXPECT_EQ(1, Notices());
    EXPECT_EQ(11, processes.Openings());
}

TEST_F(TheRefreshNotice, LooksAtAllProcessesThatThereIsRoomFor)
{
    processes.processes.assign(2048, {L"C:\\a.exe"});
    EXPECT_EQ(1, Notices());
    processes.processes.back().path = L"C:\\Velundra.exe";
    EXPECT_EQ(0, Notices());
}

TEST_F(TheRefreshNotice, IsSentWhereTheProcessesCannotBeListed)
{
    processes.processes = {{L"C:\\Velundra.exe"}};
    processes.canBeListed = false;
    EXPECT_EQ(1, Notices());
}

TEST_F(TheRefreshNotice, IsSentAfterABatchThatFailed)
{
    engine.Fail(L"Analyze", {kRefused});
    EXPECT_EQ(Failure(0x1234U), AnalyzeDrives(L"", {L"C:\\"}, false));
    EXPECT_EQ(L"refresh.Refresh()", engine.Calls().back());
}

TEST_F(TheRefreshNotice, IsSentWhenTheWaitIsOver)
{
    EXPECT_EQ(kSucceeded, AnalyzeDrives(L"", {L"C:\\"}, true));
    const EngineCalls calls = engine.Calls();
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(L"refresh.Refresh()", calls.back());
    EXPECT_EQ(L"drive.GetState(C:\\)", calls[calls.size() - 2]);
}

TEST_F(TheRefreshNotice, ChangesNothingWhenItFails)
{
    engine.Fail(L"Refresh", {kRefused});
    EXPECT_EQ(1, Notices());
    EXPECT_EQ(L"", output.Text());
    engine.activation = kNotRegistered;
    EXPECT_EQ(0, Notices());
    EXPECT_EQ(L"Velundra is not installed on computer ''\n", output.Text());
    EXPECT_EQ((std::vector<Activation>{LocalRefresh(), LocalRefresh()}), engine.Activations());
}

} // namespace
