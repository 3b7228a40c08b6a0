// Several drives at once, and drives that are out of the ordinary.

#include "engine_process.h"
#include "expected.h"
#include "simulated_computer.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

TEST(AllDrives, AreWorkedOnTogetherWithOneNotice)
{
    // The order of the identities is not that of the names.
    const EngineProcess engine(R"([drive C:\]
identity = vol-4
[drive D:\]
identity = vol-3
[drive D:\Mounts\Data\]
identity = vol-2
mount = D:\Mounts\Data\ (Backup)
[drive \\?\Volume{0A1B-2C}]
identity = vol-1
)" + Failing("Analyze", "0x80070015", "D:\\"));
    EXPECT_EQ(SortedLines(BannerAnd("Analyze started on drive C:\\.\n"
                                    "Analyze failed due to error " +
                                        ErrorText(0x80070015, "0x80070015 (2147942421)(Operations/#1446)") +
                                        "\n"
                                        "Analyze started on drive D:\\Mounts\\Data\\ (Backup).\n"
                                        "Analyze started on drive \\\\?\\Volume{0A1B-2C}.\n",
                                    0x15)),
              SortedLines(SimulatedComputer::Run({L"/an", L"/alldrives"})));
    EXPECT_EQ(std::vector<std::string>{"Refresh() -> 0x00000000"}, engine.CallsOf("Refresh"));
}

TEST(AllDrives, TearNoLineThoughTheyAreTwoHundred)
{
    const EngineProcess engine("[drives]\ncount = 200\nname = V:\\Volume {n}\\\n");
    std::string started;
    for (int i = 1; i <= 200; ++i) {
        started += "Online optimization started on drive V:\\Volume " + std::to_string(i) + "\\.\n";
    }
    EXPECT_EQ(SortedLines(BannerAnd(started)), SortedLines(SimulatedComputer::Run({L"/dol", L"/alldrives"})));
    EXPECT_EQ(200U, engine.CallsOf("OptimizeOnline").size());
}

TEST(SeveralDrives, AreToldApartByTheirWords)
{
    const EngineProcess engine("[engine]\ndrive-list = vol-c|vol-d|vol-c|vol-e\n"
                               "[drive C:\\]\nidentity = vol-c\n"
                               "[drive D:\\]\nidentity = vol-d\n"
                               "[drive E:\\Mount\\]\nidentity = vol-e\n" +
                               Failing("GetMountPoint", "0x80070015", "E:\\Mount\\"));
    EXPECT_EQ(BannerAnd("Drive C:\\ was stopped.\n", 0x15), RunTool({L"/stp", L"e:\\MOUNT", L"Q:", L"c", L"C:\\"}));
}

// An empty name arrives as such, whether the engine hands out an empty text or none.
TEST(NamelessDrives, HaveAnEmptyName)
{
    const EngineProcess engine("[drive C:\\]\n[drive D:\\]\n"
                               "[fault]\nmethod = GetDriveName\nanswer = null\ncall = 1\n"
                               "[fault]\nmethod = GetDriveName\nanswer = empty\ncall = 2\n");
    EXPECT_EQ(BannerAnd("Drive name: Status: Idle\n"
                        "Drive name: Status: Idle\n"),
              RunTool({L"/st"}));
}

} // namespace
