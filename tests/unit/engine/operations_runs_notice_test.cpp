#include "engine/Operations.h"

#include "run_test.h"
#include "support/operation_test.h"

#include <optional>

namespace {

using namespace testing_support;
using namespace testing_support::runs;

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
