#include "engine_process.h"
#include "expected.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

// All three are scheduled from the beginning, so that they can be removed.
constexpr char kThreeDrives[] = R"([drive C:\]
identity = vol-c
mount = C:\ (System)
offline-types = 3
boot-types = 3
[drive D:\]
identity = vol-d
boot-types = 1
[drive E:\]
identity = vol-e
offline-types = 1
boot-types = 1
)";

constexpr char kDenied[] = "Unable to connect to specified computer, error access denied.\n";
constexpr char kNoFileTypes[] =
    "Unable to schedule drive for an Offline defrag pass of your System Files for next reboot.  Please specify the "
    "file types in the Drive Properties Notebook or use the appropriate flag on the commandline.\n";

std::string Scheduled(const std::string& drive)
{
    return "Drive " + drive + " has been scheduled for an offline defrag of your system files on next reboot.\n";
}

std::string Removed(const std::string& drive)
{
    return "Drive " + drive + " has been removed from an offline defrag of your system files on next reboot.\n";
}

// --- /sb ---

TEST(ScheduleBootCommand, ResolvesTheDriveAndSchedulesItsConfiguredFileTypes)
{
    const EngineProcess engine(kThreeDrives + std::string("[engine]\ndrive-list = vol-c\n"));
    EXPECT_EQ(BannerAnd(Scheduled("C:\\ (System)")), RunTool({L"/sb", L"C:"}));
    EXPECT_EQ(LogOfWorkOnDriveC("C:\\ (System)", Notice::None,
                                {"drive#2[C:\\] IVLDrive::GetOfflineFileTypes() -> 0x00000000 fileTypes=3",
                                 "agent#2 IVLAgent::ScheduleBootTime(drive=\"C:\\\", fileTypes=3) -> 0x00000000"}),
              engine.Log());
}

TEST(ScheduleBootCommand, PassesTheFileTypesThatTheFlagsName)
{
    const std::pair<std::vector<std::wstring>, int> masks[] = {
        {{L"/d"}, 1}, {{L"/s"}, 2}, {{L"/p"}, 4}, {{L"/P", L"/d"}, 5}, {{L"/all"}, 7}, {{L"/all", L"/s"}, 7}};
    const EngineProcess engine(kThreeDrives);
    std::vector<std::string> calls;
    for (const auto& [flags, fileTypes] : masks) {
        std::vector<std::wstring> words = {L"/sb", L"D:"};
        words.insert(words.end(), flags.begin(), flags.end());
        EXPECT_EQ(BannerAnd(Scheduled("D:\\")), RunTool(words)) << fileTypes;
        calls.push_back(R"(ScheduleBootTime(drive="D:\", fileTypes=)" + std::to_string(fileTypes) + ") -> 0x00000000");
    }
    EXPECT_EQ(calls, engine.CallsOf("ScheduleBootTime"));
    EXPECT_EQ(std::vector<std::string>(), engine.CallsOf("GetOfflineFileTypes"));
}

TEST(ScheduleBootCommand, NeedsFileTypes)
{
    const EngineProcess engine(kThreeDrives);
    EXPECT_EQ(BannerAnd(kNoFileTypes, 87), RunTool({L"/sb", L"D:"}));
    EXPECT_EQ(std::vector<std::string>(), engine.CallsOf("ScheduleBootTime"));
}

TEST(ScheduleBootCommand, DoesTheOtherDrivesWhenOneFails)
{
    const EngineProcess engine(kThreeDrives);
    EXPECT_EQ(BannerAnd(Scheduled("C:\\ (System)") + kNoFileTypes + Scheduled("E:\\"), 87),
              RunTool({L"/sb", L"/alldrives"}));
}

TEST(ScheduleBootCommand, ReturnsTheLastFailure)
{
    const EngineProcess engine(kThreeDrives + Failing("ScheduleBootTime", "0x80070005", "C:\\"));
    EXPECT_EQ(BannerAnd("Unable to schedule drive C:\\ (System) for an Offline defrag pass of your System Files due to "
                        "error " +
                            ErrorText(0x80070005, "0x80070005 (2147942405)(Operations/#201)") + "\n" + kNoFileTypes +
                            Scheduled("E:\\"),
                        87),
              RunTool({L"/sb", L"E:", L"C:", L"D:"}));
}

// --- /cb ---

TEST(CancelBootCommand, ResolvesTheDriveAndRemovesIt)
{
    const EngineProcess engine(kThreeDrives + std::string("[engine]\ndrive-list = vol-c\n"));
    EXPECT_EQ(BannerAnd(Removed("C:\\ (System)")), RunTool({L"/cb", L"C:"}));
    EXPECT_EQ(LogOfWorkOnDriveC("C:\\ (System)", Notice::None,
                                {"agent#2 IVLAgent::CancelBootTime(drive=\"C:\\\") -> 0x00000000"}),
              engine.Log());
}

TEST(CancelBootCommand, DoesTheOtherDrivesWhenOneFails)
{
    const EngineProcess engine(kThreeDrives + Failing("CancelBootTime", "0x80070005", "D:\\"));
    EXPECT_EQ(BannerAnd(Removed("C:\\ (System)") +
                            "Unable to remove drive D:\\ from an Offline defrag pass of your System Files due to "
                            "error " +
                            ErrorText(0x80070005, "0x80070005 (2147942405)(Operations/#242)") + "\n" + Removed("E:\\"),
                        0x20000001),
              RunTool({L"/cb", L"/alldrives"}));
}

// --- Both ---

struct BootTimeFailure {
    const char* name;
    std::vector<std::wstring> words;
    std::string fault;
    std::string text;
    std::uint32_t exitCode;
};

class FailedBootTimeRequest : public testing::TestWithParam<BootTimeFailure> {};

TEST_P(FailedBootTimeRequest, IsReturned)
{
    const EngineProcess engine(kThreeDrives + GetParam().fault);
    EXPECT_EQ(BannerAnd(GetParam().text, GetParam().exitCode), RunTool(GetParam().words));
}

const std::vector<std::wstring> kSchedule = {L"/sb", L"C:"};
const std::vector<std::wstring> kCancel = {L"/cb", L"C:"};

INSTANTIATE_TEST_SUITE_P(
    Calls, FailedBootTimeRequest,
    testing::Values(
        BootTimeFailure{"ScheduleCheckAccess", kSchedule, Failing("CheckAccess", "0x80004005"), kDenied, 0x20000004},
        BootTimeFailure{"ScheduleGetDrive", kSchedule, Failing("GetDrive", "0x80004005", "C:\\", "2"), "", 0x20000001},
        BootTimeFailure{"ScheduleGetMountPoint", kSchedule, Failing("GetMountPoint", "0x80004005"), "", 0x20000001},
        BootTimeFailure{"ScheduleGetOfflineFileTypes", kSchedule, Failing("GetOfflineFileTypes", "0x80004005"), "",
                        0x20000001},
        BootTimeFailure{"Schedule", kSchedule, Failing("ScheduleBootTime", "0x80004005"),
                        "Unable to schedule drive C:\\ (System) for an Offline defrag pass of your System Files due to "
                        "error " +
                            ErrorText(0x80004005, "0x80004005 (2147500037)(Operations/#201)") + "\n",
                        0x20000001},
        BootTimeFailure{"CancelCheckAccess", kCancel, Failing("CheckAccess", "0x80004005"), kDenied, 0x20000004},
        BootTimeFailure{"CancelGetDrive", kCancel, Failing("GetDrive", "0x80004005", "C:\\", "2"), "", 0x20000001},
        BootTimeFailure{"CancelGetMountPoint", kCancel, Failing("GetMountPoint", "0x80004005"), "", 0x20000001},
        BootTimeFailure{"Cancel", kCancel, Failing("CancelBootTime", "0x80004005"),
                        "Unable to remove drive C:\\ (System) from an Offline defrag pass of your System Files due to "
                        "error " +
                            ErrorText(0x80004005, "0x80004005 (2147500037)(Operations/#242)") + "\n",
                        0x20000001}),
    [](const auto& test) { return test.param.name; });

TEST(BootTimeCommands, NeedADriveThatTheEngineKnows)
{
    const EngineProcess engine(kThreeDrives);
    const Outcome noDrives = BannerAnd("No drives specified for this operation.\n" + UsageScreen(), 87);
    EXPECT_EQ(noDrives, RunTool({L"/sb", L"/all"}));
    EXPECT_EQ(noDrives, RunTool({L"/sb", L"Q:"}));
    EXPECT_EQ(noDrives, RunTool({L"/cb"}));
    EXPECT_EQ(noDrives, RunTool({L"/cb", L"Q:"}));
}

TEST(BootTimeCommands, SendNoRefreshNotice)
{
    const EngineProcess engine(kThreeDrives);
    EXPECT_EQ(BannerAnd(Scheduled("C:\\ (System)")), RunTool(kSchedule));
    EXPECT_EQ(BannerAnd(Removed("C:\\ (System)")), RunTool(kCancel));
    EXPECT_EQ(std::vector<std::string>(), engine.CallsOf("Refresh"));
}

} // namespace
