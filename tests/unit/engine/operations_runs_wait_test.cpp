#include "engine/Operations.h"

#include "run_test.h"

#include <ostream>

namespace {

using namespace testing_support;
using namespace testing_support::runs;

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

} // namespace
