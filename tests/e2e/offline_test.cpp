#include "engine_process.h"
#include "expected.h"
#include "simulated_computer.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

constexpr char kDriveC[] = R"([drive C:\]
identity = vol-c
offline-types = 3
)";

// In use, so that it cannot be processed now.
constexpr char kBusyDriveC[] = R"([drive C:\]
identity = vol-c
mount = C:\ (System)
offline = refuse
offline-types = 3
)";

constexpr char kStarted[] = "Offline optimization of System Files started on drive C:\\.\n";
constexpr char kBootTimeScheduled[] = "Boot time defragmentation scheduled for drive C:\\ (System).\n";

TEST(OfflineCommand, PreparesTheDriveAndStartsThePass)
{
    const EngineProcess engine(kDriveC);
    EXPECT_EQ(BannerAnd(kStarted), RunTool({L"/of", L"C:", L"/s"}));
    EXPECT_EQ(LogOfWorkOnDriveC("C:\\", Notice::Sent,
                                {"agent#2 IVLAgent::PrepareOffline(drive=\"C:\\\", reserved=0) -> 0x00000000",
                                 "agent#2 IVLAgent::OptimizeOffline(drive=\"C:\\\", fileTypes=2) -> 0x00000000"}),
              engine.Log());
}

TEST(OfflineCommand, PassesTheFileTypesThatTheFlagsName)
{
    const std::pair<std::vector<std::wstring>, int> masks[] = {{{}, 4096},
                                                               {{L"/d"}, 1},
                                                               {{L"/s"}, 2},
                                                               {{L"/p"}, 4},
                                                               {{L"/d", L"/p"}, 5},
                                                               {{L"/P", L"/S", L"/D"}, 7},
                                                               {{L"/d", L"/d"}, 1},
                                                               {{L"/all"}, 7},
                                                               {{L"/ALL", L"/d"}, 7},
                                                               {{L"/alldrives", L"/r", L"/t"}, 4096}};
    const EngineProcess engine(kDriveC);
    std::vector<std::string> calls;
    for (const auto& [flags, fileTypes] : masks) {
        std::vector<std::wstring> words = {L"/of", L"C:"};
        words.insert(words.end(), flags.begin(), flags.end());
        EXPECT_EQ(BannerAnd(kStarted), RunTool(words)) << fileTypes;
        calls.push_back(R"(OptimizeOffline(drive="C:\", fileTypes=)" + std::to_string(fileTypes) + ") -> 0x00000000");
    }
    EXPECT_EQ(calls, engine.CallsOf("OptimizeOffline"));
}

TEST(OfflineCommand, TakesSeveralDrivesAndAllDrives)
{
    const EngineProcess engine(R"([drive C:\]
offline-types = 7
[drive D:\Mount\]
offline-types = 7
)");
    const Outcome expected =
        SortedLines(BannerAnd("Offline optimization of System Files started on drive C:\\.\n"
                              "Offline optimization of System Files started on drive D:\\Mount\\.\n"));
    EXPECT_EQ(expected, SortedLines(SimulatedComputer::Run({L"/of", L"D:\\Mount", L"C:"})));
    EXPECT_EQ(expected, SortedLines(SimulatedComputer::Run({L"/of", L"/alldrives", L"/all"})));
}

TEST(OfflineCommand, NeedsADriveThatTheEngineKnows)
{
    const EngineProcess engine(kDriveC);
    const Outcome noDrives = BannerAnd("No drives specified for this operation.\n" + UsageScreen(), 87);
    EXPECT_EQ(noDrives, RunTool({L"/of", L"/all"}));
    EXPECT_EQ(noDrives, RunTool({L"/of", L"Q:"}));
}

// --- What goes wrong ---

struct OfflineFailure {
    const char* name;
    std::string fault;
    std::string text;
};

class FailedOfflinePass : public testing::TestWithParam<OfflineFailure> {};

TEST_P(FailedOfflinePass, IsReportedWithItsPlaceButNotReturned)
{
    const EngineProcess engine(kDriveC + GetParam().fault);
    EXPECT_EQ(BannerAnd(GetParam().text), RunTool({L"/of", L"C:", L"/w"}));
}

INSTANTIATE_TEST_SUITE_P(
    Calls, FailedOfflinePass,
    testing::Values(OfflineFailure{"CheckAccess", Failing("CheckAccess", "0x80070005"),
                                   "Unable to connect to specified computer, error access denied.\n"},
                    OfflineFailure{"GetDrive", Failing("GetDrive", "0x80070015", "C:\\", "2"),
                                   "Unable to get drive interface due to error " +
                                       ErrorText(0x80070015, "0x80070015 (2147942421)(Operations/#1488)") + "\n"},
                    OfflineFailure{"GetMountPoint", Failing("GetMountPoint", "0x80070005", "C:\\"),
                                   "Unable to query drive mount point due to error " +
                                       ErrorText(0x80070005, "0x80070005 (2147942405)(Operations/#1499)") + "\n"},
                    OfflineFailure{"OptimizeOffline", Failing("OptimizeOffline", "0x80004005", "C:\\"),
                                   "Offline Defrag of System Files failed due to error " +
                                       ErrorText(0x80004005, "0x80004005 (2147500037)(Operations/#1526)") + "\n"}),
    [](const auto& test) { return test.param.name; });

// --- Drives that cannot be processed before the next boot ---

TEST(RefusedOfflinePass, IsScheduledForTheNextBootWithoutWaiting)
{
    const EngineProcess engine(kBusyDriveC);
    EXPECT_EQ(BannerAnd("Drive C:\\ (System) has been scheduled for an offline defrag of your system files on next "
                        "reboot.\n" +
                        std::string(kBootTimeScheduled)),
              RunTool({L"/of", L"C:", L"/w"}));
    EXPECT_EQ(LogOfWorkOnDriveC("C:\\ (System)", Notice::Sent,
                                {"agent#2 IVLAgent::PrepareOffline(drive=\"C:\\\", reserved=0) -> 0x80070015",
                                 "VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#3",
                                 "agent#3 IVLAgent::CheckAccess() -> 0x00000000 rights=1",
                                 "agent#3 IVLAgent::GetDrive(driveName=\"vol-c\") -> 0x00000000 drive=drive#3[C:\\]",
                                 "drive#3[C:\\] IVLDrive::GetMountPoint() -> 0x00000000 mountPoint=\"C:\\ (System)\"",
                                 "drive#3[C:\\] IVLDrive::GetOfflineFileTypes() -> 0x00000000 fileTypes=3",
                                 "agent#3 IVLAgent::ScheduleBootTime(drive=\"C:\\\", fileTypes=3) -> 0x00000000",
                                 "drive#3[C:\\] released", "agent#3 released"}),
              engine.Log());
}

TEST(RefusedOfflinePass, IsScheduledWithTheFileTypesThatTheFlagsName)
{
    const EngineProcess engine(kBusyDriveC);
    EXPECT_EQ(BannerAnd("Drive C:\\ (System) has been scheduled for an offline defrag of your system files on next "
                        "reboot.\n" +
                        std::string(kBootTimeScheduled)),
              RunTool({L"/of", L"C:", L"/p", L"/d"}));
    EXPECT_EQ(std::vector<std::string>{R"(ScheduleBootTime(drive="C:\", fileTypes=5) -> 0x00000000)"},
              engine.CallsOf("ScheduleBootTime"));
}

TEST(RefusedOfflinePass, IsToldAsScheduledWhateverTheSchedulingReturned)
{
    {
        const EngineProcess engine(kBusyDriveC + Failing("ScheduleBootTime", "0x80070005"));
        EXPECT_EQ(BannerAnd("Unable to schedule drive C:\\ (System) for an Offline defrag pass of your System Files "
                            "due to error " +
                            ErrorText(0x80070005, "0x80070005 (2147942405)(Operations/#201)") + "\n" +
                            kBootTimeScheduled),
                  RunTool({L"/of", L"C:"}));
    }
    {
        const EngineProcess engine(kBusyDriveC + Answering("GetOfflineFileTypes", "1", "0"));
        EXPECT_EQ(BannerAnd("Unable to schedule drive for an Offline defrag pass of your System Files for next "
                            "reboot.  Please specify the file types in the Drive Properties Notebook or use the "
                            "appropriate flag on the commandline.\n" +
                            std::string(kBootTimeScheduled)),
                  RunTool({L"/of", L"C:"}));
    }
    {
        // The scheduling's own connection fails, silently.
        const EngineProcess engine(kBusyDriveC + Failing("GetMountPoint", "0x80004005", "C:\\", "2"));
        EXPECT_EQ(BannerAnd(kBootTimeScheduled), RunTool({L"/of", L"C:"}));
    }
    {
        const EngineProcess engine(kBusyDriveC + Failing("CheckAccess", "0x80004005", "", "2"));
        EXPECT_EQ(BannerAnd("Unable to connect to specified computer, error access denied.\n" +
                            std::string(kBootTimeScheduled)),
                  RunTool({L"/of", L"C:"}));
    }
}

TEST(RefusedOfflinePass, SparesTheDrivesThatAreNotInUse)
{
    const EngineProcess engine(kBusyDriveC + std::string("[drive D:\\]\noffline-types = 1\n"));
    EXPECT_EQ(SortedLines(BannerAnd("Drive C:\\ (System) has been scheduled for an offline defrag of your system files "
                                    "on next reboot.\n" +
                                    std::string(kBootTimeScheduled) +
                                    "Offline optimization of System Files started on drive D:\\.\n")),
              SortedLines(SimulatedComputer::Run({L"/of", L"/alldrives"})));
}

TEST(OfflineCommand, WaitsUntilTheDriveIsIdleAgain)
{
    // The first look fails, which ends the wait.
    const SimulatedComputer computer(FastClock() + kDriveC + Failing("GetState", "0x80004005"));
    const EngineProcess engine(computer);
    EXPECT_EQ(BannerAnd(kStarted + std::string("Optimization completed.\n")),
              SimulatedComputer::Run({L"/of", L"C:", L"/Wait"}));
    EXPECT_EQ(std::vector<std::string>{"GetState() -> 0x80004005"}, engine.CallsOf("GetState"));
}

} // namespace
