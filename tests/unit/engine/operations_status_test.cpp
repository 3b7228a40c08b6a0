#include "engine/Operations.h"

#include "support/numbered_messages.h"
#include "support/product_test.h"

#include <string>
#include <utility>

namespace {

using namespace testing_support;

constexpr auto kNotRegistered = static_cast<HRESULT>(0x80040154);
constexpr auto kEngineFailure = static_cast<HRESULT>(0x80041234); // low 16 bits 0x1234

class ShowingTheStatus : public EngineTest {
protected:
    // A drive that is in this state whenever it is asked.
    void AddDrive(const wchar_t* name, ULONG state) { engine.AddDrive(name).states = {state}; }

    // C: idle, D: analysing, E: done.
    void AddThreeDrives()
    {
        AddDrive(L"C:\\", 0);
        AddDrive(L"D:\\", 1);
        AddDrive(L"E:\\", 7);
    }
};

TEST_F(ShowingTheStatus, NamesEveryStateByItsMessage)
{
    const std::pair<ULONG, const wchar_t*> states[] = {{0, L"(-1934-)Idle"},
                                                       {1, L"(-686-)Analyzing"},
                                                       {2, L"(-1219-)Defragmenting"},
                                                       {3, L"(-2304-)Offline Verify"},
                                                       {4, L"(-2288-)Offline Defrag Directories"},
                                                       {5, L"(-2295-)Offline Defrag System Files"},
                                                       {6, L"(-2294-)Offline Defrag Page File"},
                                                       {7, L"(-1341-)Done"},
                                                       {8, L""},
                                                       {9, L""},
                                                       {0xFFFFFFFF, L""}};
    const NumberedMessages numbered;
    AddDrive(L"C:\\Data\\", 0);
    for (const auto& [state, word] : states) {
        engine.drives.front().states = {state};
        EXPECT_EQ(0U, ShowDriveStatus(L""));
        EXPECT_EQ(L"(-1376-)Drive name: C:\\Data\\(-2990-)Status: " + std::wstring(word) + L"\n", output.Take());
    }
}

TEST_F(ShowingTheStatus, AsksOnceForEachDriveInTheEnginesOrder)
{
    AddThreeDrives();
    EXPECT_EQ(0U, ShowDriveStatus(L""));
    EXPECT_EQ((EngineCalls{L"agent.CheckAccess()", L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{C}\\)",
                           L"drive.GetDriveName(C:\\)", L"drive.GetState(C:\\)", L"agent.GetDrive(\\\\?\\Volume{D}\\)",
                           L"drive.GetDriveName(D:\\)", L"drive.GetState(D:\\)", L"agent.GetDrive(\\\\?\\Volume{E}\\)",
                           L"drive.GetDriveName(E:\\)", L"drive.GetState(E:\\)"}),
              engine.Calls());
}

TEST_F(ShowingTheStatus, AsksTheEngineOfTheComputer)
{
    AddDrive(L"C:\\", 0);
    EXPECT_EQ(0U, ShowDriveStatus(L"SRV1"));
    EXPECT_EQ(0U, ShowDriveStatus(L"thispc"));
    EXPECT_EQ((std::vector<Activation>{{true, AgentClass(), __uuidof(IVLAgent), 16, L"SRV1"},
                                       {false, AgentClass(), __uuidof(IVLAgent), 4, L""}}),
              engine.Activations());
}

TEST_F(ShowingTheStatus, PrintsNothingForAnEngineWithoutDrives)
{
    EXPECT_EQ(0U, ShowDriveStatus(L""));
    engine.HandOutNull(L"GetDriveList");
    EXPECT_EQ(0U, ShowDriveStatus(L""));
    EXPECT_EQ(L"", output.Text());
}

TEST_F(ShowingTheStatus, ReturnsTheConnectionsResultWhole)
{
    AddThreeDrives();
    engine.activation = kNotRegistered;
    EXPECT_EQ(0x80040154U, ShowDriveStatus(L"SRV1"));
    EXPECT_EQ(L"Velundra is not installed on computer 'SRV1'\n", output.Text());
    EXPECT_EQ(EngineCalls{}, engine.Calls());
}

TEST_F(ShowingTheStatus, EndsWhereTheEngineRefusesTheCaller)
{
    AddThreeDrives();
    engine.Fail(L"CheckAccess", {kEngineFailure});
    EXPECT_EQ(0x20000004U, ShowDriveStatus(L""));
    EXPECT_EQ(L"Unable to connect to specified computer, error access denied.\n", output.Text());
    EXPECT_EQ(EngineCalls{L"agent.CheckAccess()"}, engine.Calls());
}

TEST_F(ShowingTheStatus, ReturnsTheLowHalfOfTheListsFailure)
{
    AddThreeDrives();
    engine.Fail(L"GetDriveList", {kEngineFailure});
    EXPECT_EQ(0x1234U, ShowDriveStatus(L""));
    EXPECT_EQ(L"", output.Text());
}

TEST_F(ShowingTheStatus, EndsAtADriveThatCannotBeHadWithTheLinesBeforeItPrinted)
{
    const wchar_t* const printed[] = {L"", L"Drive name: C:\\Status: Idle\n",
                                      L"Drive name: C:\\Status: Idle\nDrive name: D:\\Status: Analyzing\n"};
    AddThreeDrives();
    for (int call = 1; call <= 3; ++call) {
        engine.Fail(L"GetDrive", {kEngineFailure, engine.drives[static_cast<std::size_t>(call) - 1].identity, 1});
    }
    // The first run fails at C:, the second at D:, the third at E:, each drive failing only once.
    for (const wchar_t* const text : printed) {
        EXPECT_EQ(0x1234U, ShowDriveStatus(L""));
        EXPECT_EQ(text, output.Take());
    }
    EXPECT_EQ(0U, ShowDriveStatus(L""));
}

TEST_F(ShowingTheStatus, FailsWhereTheEngineHandsOutNoDrive)
{
    AddThreeDrives();
    engine.HandOutNull(L"GetDrive");
    EXPECT_EQ(0x4003U, ShowDriveStatus(L""));
    EXPECT_EQ(L"", output.Text());
}

TEST_F(ShowingTheStatus, LeavesOutANameThatCannotBeRead)
{
    AddThreeDrives();
    engine.Fail(L"GetDriveName", {kEngineFailure, L"D:\\"});
    EXPECT_EQ(0U, ShowDriveStatus(L""));
    EXPECT_EQ(L"Drive name: C:\\Status: Idle\n"
              L"Status: Analyzing\n"
              L"Drive name: E:\\Status: Done\n",
              output.Text());
}

TEST_F(ShowingTheStatus, ShowsANullNameAsAnEmptyOne)
{
    AddDrive(L"C:\\", 0);
    engine.HandOutNull(L"GetDriveName");
    EXPECT_EQ(0U, ShowDriveStatus(L""));
    EXPECT_EQ(L"Drive name: Status: Idle\n", output.Text());
}

TEST_F(ShowingTheStatus, StopsADrivesLineWithoutALineEndWhereItsStateCannotBeRead)
{
    AddThreeDrives();
    engine.Fail(L"GetState", {kEngineFailure, L"D:\\"});
    EXPECT_EQ(0U, ShowDriveStatus(L""));
    EXPECT_EQ(L"Drive name: C:\\Status: Idle\n"
              L"Drive name: D:\\Drive name: E:\\Status: Done\n",
              output.Take());
    engine.Fail(L"GetState", {kEngineFailure});
    EXPECT_EQ(0U, ShowDriveStatus(L""));
    EXPECT_EQ(L"Drive name: C:\\Drive name: D:\\Drive name: E:\\", output.Text());
}

TEST_F(ShowingTheStatus, PrintsNothingOfADriveThatTellsNeitherNameNorState)
{
    AddThreeDrives();
    engine.Fail(L"GetDriveName", {kEngineFailure, L"D:\\"});
    engine.Fail(L"GetState", {kEngineFailure, L"D:\\"});
    EXPECT_EQ(0U, ShowDriveStatus(L""));
    EXPECT_EQ(L"Drive name: C:\\Status: Idle\n"
              L"Drive name: E:\\Status: Done\n",
              output.Text());
}

} // namespace
