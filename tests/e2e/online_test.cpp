#include "console.h"
#include "engine_process.h"
#include "expected.h"
#include "simulated_computer.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

constexpr char kDriveC[] = R"([drive C:\]
identity = vol-c
mount = C:\ (System)
)";

constexpr char kTwoDrives[] = R"([drive C:\]
identity = vol-c
[drive D:\]
identity = vol-d
)";

constexpr const wchar_t* kOnlineCommands[] = {L"/dol", L"/tw", L"/cfs", L"/ssd", L"/prep"};

TEST(OnlineCommand, ResolvesTheDriveAndStartsTheOptimization)
{
    const EngineProcess engine(kDriveC);
    EXPECT_EQ(BannerAnd("Online optimization started on drive C:\\ (System).\n"), RunTool({L"/cfs", L"C:"}));
    EXPECT_EQ(LogOfWorkOnDriveC("C:\\ (System)", Notice::Sent,
                                {"agent#2 IVLAgent::OptimizeOnline(drive=\"C:\\\", mode=2) -> 0x00000000"}),
              engine.Log());
}

TEST(OnlineCommand, TakesSeveralDrivesAndAllDrives)
{
    const EngineProcess engine(kTwoDrives);
    const Outcome expected = SortedLines(BannerAnd("Online optimization started on drive C:\\.\n"
                                                   "Online optimization started on drive D:\\.\n"));
    for (const wchar_t* const command : kOnlineCommands) {
        EXPECT_EQ(expected, SortedLines(SimulatedComputer::Run({command, L"d:", L"C:", L"D:"}))) << Narrow(command);
        EXPECT_EQ(expected, SortedLines(SimulatedComputer::Run({command, L"/alldrives"}))) << Narrow(command);
    }
    EXPECT_EQ(20U, engine.CallsOf("OptimizeOnline").size());
}

TEST(OnlineCommand, NeedsADriveThatTheEngineKnows)
{
    const EngineProcess engine(kDriveC);
    const Outcome noDrives = BannerAnd("No drives specified for this operation.\n" + UsageScreen(), 87);
    for (const wchar_t* const command : kOnlineCommands) {
        EXPECT_EQ(noDrives, RunTool({command})) << Narrow(command);
        EXPECT_EQ(noDrives, RunTool({command, L"Q:", L"/w"})) << Narrow(command);
    }
}

// --- What goes wrong ---

struct OnlineFailure {
    const char* name;
    std::string fault;
    std::string text;
};

class FailedOptimization : public testing::TestWithParam<OnlineFailure> {};

TEST_P(FailedOptimization, IsReportedWithItsPlaceButNotReturned)
{
    const EngineProcess engine(kDriveC + GetParam().fault);
    EXPECT_EQ(BannerAnd(GetParam().text), RunTool({L"/dol", L"C:"}));
    EXPECT_EQ(std::vector<std::string>{"Refresh() -> 0x00000000"}, engine.CallsOf("Refresh"));
}

INSTANTIATE_TEST_SUITE_P(
    Calls, FailedOptimization,
    testing::Values(OnlineFailure{"CheckAccess", Failing("CheckAccess", "0x80070005"),
                                  "Unable to connect to specified computer, error access denied.\n"},
                    OnlineFailure{"GetDrive", Failing("GetDrive", "0x80070015", "C:\\", "2"),
                                  "Unable to get drive interface due to error " +
                                      ErrorText(0x80070015, "0x80070015 (2147942421)(Operations/#1488)") + "\n"},
                    // The low 16 bits of some failures are 0.
                    OnlineFailure{"GetDriveWithLowBitsOf0", Failing("GetDrive", "0x80040000", "C:\\", "2"),
                                  "Unable to get drive interface due to error " +
                                      ErrorText(0x80040000, "0x80040000 (2147745792)(Operations/#1488)") + "\n"},
                    OnlineFailure{"GetMountPointWithLowBitsOf0", Failing("GetMountPoint", "0x80070000", "C:\\"),
                                  "Unable to query drive mount point due to error " +
                                      ErrorText(0x80070000, "0x80070000 (2147942400)(Operations/#1499)") + "\n"},
                    OnlineFailure{"GetMountPoint", Failing("GetMountPoint", "0x80070005", "C:\\"),
                                  "Unable to query drive mount point due to error " +
                                      ErrorText(0x80070005, "0x80070005 (2147942405)(Operations/#1499)") + "\n"},
                    OnlineFailure{"OptimizeOnline", Failing("OptimizeOnline", "0x80004005", "C:\\"),
                                  "Optimization online failed due to error " +
                                      ErrorText(0x80004005, "0x80004005 (2147500037)(Operations/#1510)") + "\n"}),
    [](const auto& test) { return test.param.name; });

TEST(OnlineCommand, GoesOnWithTheOtherDrivesWhenOneFails)
{
    const EngineProcess engine(kTwoDrives + Failing("OptimizeOnline", "0x80004005", "C:\\"));
    EXPECT_EQ(SortedLines(BannerAnd("Optimization online failed due to error " +
                                    ErrorText(0x80004005, "0x80004005 (2147500037)(Operations/#1510)") +
                                    "\n"
                                    "Online optimization started on drive D:\\.\n")),
              SortedLines(SimulatedComputer::Run({L"/tw", L"C:", L"D:"})));
}

// --- Many drives at once ---

TEST(OnlineCommand, TearsNoLineOfTwoHundredDrives)
{
    const EngineProcess engine("[drives]\ncount = 200\nname = V:\\Volume {n}\\\n");
    std::string started;
    for (int i = 1; i <= 200; ++i) {
        started += "Online optimization started on drive V:\\Volume " + std::to_string(i) + "\\.\n";
    }
    EXPECT_EQ(SortedLines(BannerAnd(started)), SortedLines(SimulatedComputer::Run({L"/dol", L"/alldrives"})));
    EXPECT_EQ(200U, engine.CallsOf("OptimizeOnline").size());
}

TEST(OnlineCommand, TearsNoErrorTextOfManyDrives)
{
    const EngineProcess engine("[drives]\ncount = 60\n" + Failing("OptimizeOnline", "0x80004005"));
    std::string failed;
    for (int i = 0; i < 60; ++i) {
        failed += "Optimization online failed due to error " +
                  ErrorText(0x80004005, "0x80004005 (2147500037)(Operations/#1510)") + "\n";
    }
    EXPECT_EQ(BannerAnd(failed), SimulatedComputer::Run({L"/dol", L"/alldrives"}));
}

// --- Waiting ---

TEST(OnlineCommand, WaitsUntilTheDriveIsIdleAgain)
{
    const SimulatedComputer computer(FastClock() + kDriveC + Answering("GetState", "1", "7") +
                                     Answering("GetState", "2", "0"));
    const EngineProcess engine(computer);
    EXPECT_EQ(BannerAnd("Online optimization started on drive C:\\ (System).\n"
                        "Optimization completed.\n"),
              SimulatedComputer::Run({L"/w", L"/dol", L"C:"}));
    EXPECT_EQ(LogOfWorkOnDriveC("C:\\ (System)", Notice::Sent,
                                {"agent#2 IVLAgent::OptimizeOnline(drive=\"C:\\\", mode=1) -> 0x00000000",
                                 "agent#2 IVLAgent::GetDrive(driveName=\"vol-c\") -> 0x00000000 drive=drive#3[C:\\]",
                                 "drive#3[C:\\] IVLDrive::GetState() -> 0x00000000 state=7", "drive#3[C:\\] released",
                                 "agent#2 IVLAgent::GetDrive(driveName=\"vol-c\") -> 0x00000000 drive=drive#4[C:\\]",
                                 "drive#4[C:\\] IVLDrive::GetState() -> 0x00000000 state=0", "drive#4[C:\\] released"}),
              engine.Log());
}

TEST(OnlineCommand, IsNotInterruptedByControlCWhileItWaits)
{
    // The first look fails, which ends the wait. The engine does not belong to the console.
    const EngineProcess engine(kTwoDrives + Failing("GetState", "0x80004005"));
    const TestConsole console;
    Process tool(ToolPath(), L"/tw C: /wait");
    ASSERT_TRUE(tool.ReadUntil("Online optimization started"));
    TestConsole::PressControlC();
    EXPECT_EQ(BannerAnd("Online optimization started on drive C:\\.\n"
                        "Optimization completed.\n"),
              tool.Wait());
    EXPECT_EQ(std::vector<std::string>{"GetState() -> 0x80004005"}, engine.CallsOf("GetState"));
    EXPECT_EQ(std::vector<std::string>(), engine.CallsOf("StopAll"));
}

} // namespace
