#include "engine_process.h"
#include "expected.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

constexpr char kThreeDrives[] = R"([drive C:\]
identity = vol-c
[drive D:\]
identity = vol-d
state = 1
[drive E:\]
identity = vol-e
)";

TEST(StatusCommand, ListsTheDrivesOfTheDefaultScenario)
{
    const EngineProcess engine;
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"
                        "Drive name: D:\\Status: Defragmenting\n"
                        "Drive name: E:\\Status: Idle\n"
                        "Drive name: D:\\Mounts\\Archive\\Status: Idle\n"
                        "Drive name: F:\\Status: Done\n"),
              RunTool({L"/st"}));
}

TEST(StatusCommand, PrintsNothingMoreForAnEngineWithoutDrives)
{
    const EngineProcess engine("[engine]\nidle-seconds = 60\n");
    EXPECT_EQ(BannerAnd(""), RunTool({L"/st"}));
}

TEST(StatusCommand, HasAWordForEachStateAndNoneForLaterOnes)
{
    const EngineProcess engine(R"([drive A:\]
state = 0
[drive B:\]
state = 1
[drive C:\]
state = 2
[drive D:\]
state = 3
[drive E:\]
state = 4
[drive F:\]
state = 5
[drive G:\]
state = 6
[drive H:\]
state = 7
[drive I:\]
state = 8
[drive J:\]
state = 9
[drive K:\]
state = 4294967295
)");
    EXPECT_EQ(BannerAnd("Drive name: A:\\Status: Idle\n"
                        "Drive name: B:\\Status: Analyzing\n"
                        "Drive name: C:\\Status: Defragmenting\n"
                        "Drive name: D:\\Status: Offline Verify\n"
                        "Drive name: E:\\Status: Offline Defrag Directories\n"
                        "Drive name: F:\\Status: Offline Defrag System Files\n"
                        "Drive name: G:\\Status: Offline Defrag Page File\n"
                        "Drive name: H:\\Status: Done\n"
                        "Drive name: I:\\Status: \n"
                        "Drive name: J:\\Status: \n"
                        "Drive name: K:\\Status: \n"),
              RunTool({L"/st"}));
}

TEST(StatusCommand, KeepsTheLinesBeforeADriveThatCannotBeHad)
{
    const EngineProcess engine(kThreeDrives + Failing("GetDrive", "0x80070015", "D:\\"));
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n", 0x15), RunTool({L"/st"}));
}

TEST(StatusCommand, LeavesOutANameThatCannotBeRead)
{
    const EngineProcess engine(kThreeDrives + Failing("GetDriveName", "0x80004005", "D:\\"));
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"
                        "Status: Analyzing\n"
                        "Drive name: E:\\Status: Idle\n"),
              RunTool({L"/st"}));
}

TEST(StatusCommand, EndsNoLineForAStateThatCannotBeRead)
{
    const EngineProcess engine(kThreeDrives + Failing("GetState", "0x80004005", "D:\\"));
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"
                        "Drive name: D:\\Drive name: E:\\Status: Idle\n"),
              RunTool({L"/st"}));
}

TEST(StatusCommand, EndsWithoutALineEndWhenTheLastStateCannotBeRead)
{
    const EngineProcess engine(kThreeDrives + Failing("GetState", "0x80004005", "E:\\"));
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"
                        "Drive name: D:\\Status: Analyzing\n"
                        "Drive name: E:\\"),
              RunTool({L"/st"}));
}

TEST(StatusCommand, PrintsNothingOfADriveThatTellsNeitherNameNorState)
{
    const EngineProcess engine(kThreeDrives + Failing("GetDriveName", "0x80004005", "D:\\") +
                               Failing("GetState", "0x80004005", "D:\\"));
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"
                        "Drive name: E:\\Status: Idle\n"),
              RunTool({L"/st"}));
}

TEST(StatusCommand, ShowsAnEmptyName)
{
    const EngineProcess engine(kThreeDrives +
                               std::string("[fault]\nmethod = GetDriveName\nanswer = null\ncall = 1\n"
                                           "[fault]\nmethod = GetDriveName\nanswer = empty\ncall = 2\n"));
    EXPECT_EQ(BannerAnd("Drive name: Status: Idle\n"
                        "Drive name: Status: Analyzing\n"
                        "Drive name: E:\\Status: Idle\n"),
              RunTool({L"/st"}));
}

TEST(StatusCommand, IsRefusedByTheRightsCheck)
{
    const EngineProcess engine(kThreeDrives + Failing("CheckAccess", "0x80070005"));
    EXPECT_EQ(BannerAnd("Unable to connect to specified computer, error access denied.\n", 0x20000004),
              RunTool({L"/st"}));
    EXPECT_EQ((std::vector<std::string>{"VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#1",
                                        "agent#1 IVLAgent::CheckAccess() -> 0x80070005", "agent#1 released"}),
              engine.Log());
}

TEST(StatusCommand, EndsWithTheFailureOfTheDriveList)
{
    const EngineProcess engine(kThreeDrives + Failing("GetDriveList", "0x80004005"));
    EXPECT_EQ(BannerAnd("", 0x4005), RunTool({L"/st"}));
}

TEST(StatusCommand, AsksTheEngineForEachDriveInTurn)
{
    const EngineProcess engine(kThreeDrives);
    EXPECT_EQ(0U, RunTool({L"/st"}).exitCode);
    EXPECT_EQ((std::vector<std::string>{
                  "VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#1",
                  "agent#1 IVLAgent::CheckAccess() -> 0x00000000 rights=1",
                  "agent#1 IVLAgent::GetDriveList() -> 0x00000000 driveList=\"vol-c|vol-d|vol-e\"",
                  "agent#1 IVLAgent::GetDrive(driveName=\"vol-c\") -> 0x00000000 drive=drive#1[C:\\]",
                  "drive#1[C:\\] IVLDrive::GetDriveName() -> 0x00000000 name=\"C:\\\"",
                  "drive#1[C:\\] IVLDrive::GetState() -> 0x00000000 state=0",
                  "drive#1[C:\\] released",
                  "agent#1 IVLAgent::GetDrive(driveName=\"vol-d\") -> 0x00000000 drive=drive#2[D:\\]",
                  "drive#2[D:\\] IVLDrive::GetDriveName() -> 0x00000000 name=\"D:\\\"",
                  "drive#2[D:\\] IVLDrive::GetState() -> 0x00000000 state=1",
                  "drive#2[D:\\] released",
                  "agent#1 IVLAgent::GetDrive(driveName=\"vol-e\") -> 0x00000000 drive=drive#3[E:\\]",
                  "drive#3[E:\\] IVLDrive::GetDriveName() -> 0x00000000 name=\"E:\\\"",
                  "drive#3[E:\\] IVLDrive::GetState() -> 0x00000000 state=0",
                  "drive#3[E:\\] released",
                  "agent#1 released",
              }),
              engine.Log());
}

} // namespace
