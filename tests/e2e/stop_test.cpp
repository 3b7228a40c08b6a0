#include "engine_process.h"
#include "expected.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

constexpr char kThreeDrives[] = R"([drive C:\]
identity = vol-c
state = 1
[drive D:\]
identity = vol-d
state = 2
[drive E:\]
identity = vol-e
mount = E:\ (USB)
state = 4
)";

constexpr char kDenied[] = "Unable to connect to specified computer, error access denied.\n";

TEST(StopCommand, ResolvesTheDriveAndStopsIt)
{
    const EngineProcess engine(kThreeDrives);
    EXPECT_EQ(BannerAnd("Drive D:\\ was stopped.\n"), RunTool({L"/stop", L"D:"}));
    EXPECT_EQ((std::vector<std::string>{
                  "VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#1",
                  "agent#1 IVLAgent::GetDriveList() -> 0x00000000 driveList=\"vol-c|vol-d|vol-e\"",
                  "agent#1 IVLAgent::GetDrive(driveName=\"vol-c\") -> 0x00000000 drive=drive#1[C:\\]",
                  "drive#1[C:\\] IVLDrive::GetDriveName() -> 0x00000000 name=\"C:\\\"",
                  "drive#1[C:\\] released",
                  "agent#1 IVLAgent::GetDrive(driveName=\"vol-d\") -> 0x00000000 drive=drive#2[D:\\]",
                  "drive#2[D:\\] IVLDrive::GetDriveName() -> 0x00000000 name=\"D:\\\"",
                  "drive#2[D:\\] released",
                  "agent#1 IVLAgent::GetDrive(driveName=\"vol-e\") -> 0x00000000 drive=drive#3[E:\\]",
                  "drive#3[E:\\] IVLDrive::GetDriveName() -> 0x00000000 name=\"E:\\\"",
                  "drive#3[E:\\] released",
                  "agent#1 released",
                  "VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#2",
                  "agent#2 IVLAgent::CheckAccess() -> 0x00000000 rights=1",
                  "agent#2 IVLAgent::GetDrive(driveName=\"vol-d\") -> 0x00000000 drive=drive#4[D:\\]",
                  "drive#4[D:\\] IVLDrive::GetMountPoint() -> 0x00000000 mountPoint=\"D:\\\"",
                  "agent#2 IVLAgent::StopDrive(drive=\"D:\\\") -> 0x00000000",
                  "drive#4[D:\\] released",
                  "agent#2 released",
              }),
              engine.Log());
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Analyzing\n"
                        "Drive name: D:\\Status: Idle\n"
                        "Drive name: E:\\Status: Offline Defrag Directories\n"),
              RunTool({L"/st"}));
}

TEST(StopCommand, StopsSeveralDrivesInTheEnginesOrder)
{
    const EngineProcess engine(kThreeDrives);
    EXPECT_EQ(BannerAnd("Drive C:\\ was stopped.\n"
                        "Drive E:\\ (USB) was stopped.\n"),
              RunTool({L"/stp", L"E:", L"C:", L"e"}));
}

TEST(StopCommand, DoesTheOtherDrivesWhenOneCannotBeHad)
{
    const EngineProcess engine(kThreeDrives + Failing("GetDrive", "0x80070005", "D:\\", "2"));
    EXPECT_EQ(BannerAnd("Drive C:\\ was stopped.\n"
                        "Drive E:\\ (USB) was stopped.\n",
                        5),
              RunTool({L"/stop", L"C:", L"D:", L"E:"}));
}

TEST(StopCommand, ReturnsTheLastFailure)
{
    const EngineProcess engine(kThreeDrives + Failing("GetMountPoint", "0x80070015", "C:\\") +
                               Failing("StopDrive", "0x80070005", "D:\\"));
    EXPECT_EQ(BannerAnd("Drive E:\\ (USB) was stopped.\n", 0x20000001), RunTool({L"/stop", L"C:", L"D:", L"E:"}));
    EXPECT_EQ(BannerAnd("", 0x15), RunTool({L"/stop", L"C:"}));
    EXPECT_EQ(BannerAnd("", 0x20000001), RunTool({L"/stop", L"D:"}));
}

TEST(StopCommand, IsRefusedByTheRightsCheckForEachDrive)
{
    const EngineProcess engine(kThreeDrives + Failing("CheckAccess", "0x80070015", "", "1"));
    EXPECT_EQ(BannerAnd(std::string(kDenied) + "Drive D:\\ was stopped.\n", 0x20000004),
              RunTool({L"/stop", L"C:", L"D:"}));
}

TEST(StopCommand, NeedsADriveThatTheEngineKnows)
{
    const EngineProcess engine(kThreeDrives);
    const Outcome noDrives = BannerAnd("No drives specified for this operation.\n" + UsageScreen(), 87);
    EXPECT_EQ(noDrives, RunTool({L"/stop"}));
    EXPECT_EQ(noDrives, RunTool({L"/stop", L"Q:"}));
}

// --- All drives ---

TEST(StopAllCommand, StopsThemWithOneCall)
{
    const EngineProcess engine(kThreeDrives);
    EXPECT_EQ(BannerAnd("All drives were stopped.\n"), RunTool({L"/stop", L"/alldrives"}));
    EXPECT_EQ((std::vector<std::string>{
                  "VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#1",
                  "agent#1 IVLAgent::CheckAccess() -> 0x00000000 rights=1",
                  "agent#1 IVLAgent::StopAll() -> 0x00000000",
                  "agent#1 released",
              }),
              engine.Log());
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"
                        "Drive name: D:\\Status: Idle\n"
                        "Drive name: E:\\Status: Idle\n"),
              RunTool({L"/st"}));
}

TEST(StopAllCommand, IsContentWithNothingToStop)
{
    const EngineProcess engine("[engine]\nidle-seconds = 60\n");
    EXPECT_EQ(BannerAnd("All drives were stopped.\n"), RunTool({L"/stop", L"/alldrives"}));
}

TEST(StopAllCommand, ReturnsTheEnginesFailureWithoutAMessage)
{
    const EngineProcess engine(kThreeDrives + Failing("StopAll", "0x80070015"));
    EXPECT_EQ(BannerAnd("", 0x15), RunTool({L"/stop", L"/alldrives"}));
}

TEST(StopAllCommand, IsRefusedByTheRightsCheck)
{
    const EngineProcess engine(kThreeDrives + Failing("CheckAccess", "0x80070005"));
    EXPECT_EQ(BannerAnd(kDenied, 0x20000004), RunTool({L"/stop", L"/alldrives"}));
    EXPECT_EQ(std::vector<std::string>(), engine.CallsOf("StopAll"));
}

} // namespace
