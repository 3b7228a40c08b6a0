// The functions of Windows that a scenario may order to fail, each seen by what the shipped tool makes of it. Those
// that other tests order to fail are not here.

#include "engine_process.h"
#include "expected.h"
#include "simulated_computer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace e2e;

// Of a run with the words: what is there only without the fault, and what only with it (empty for nothing).
struct FaultCase {
    const char* function;
    const wchar_t* word;
    const char* orders; // behind the function and its error
    const char* usual;
    const char* failed;
};

constexpr char kComputer[] = R"([machine]
name = HERE
windows = 6.1.7601
service-pack-version = 1.2
memory-kb = 2096564
[registry HKEY_LOCAL_MACHINE\Hardware\Description\System\CentralProcessor\0]
number = ~MHz, 2593
[volume \\?\Volume{11111111-2222-3333-4444-555555555555}\]
mount = C:\
file-system = NTFS
total-clusters = 1024
mft-zone = 3, 5
[volume \\?\Volume{66666666-7777-8888-9999-000000000000}\]
mount = C:\Mounts\Data\
file-system = FAT32
total-clusters = 5000000000
)";

class WindowsFault : public testing::TestWithParam<FaultCase> {
protected:
    static Outcome RunOn(const std::string& scenario)
    {
        const SimulatedComputer computer(scenario);
        return SimulatedComputer::Run({GetParam().word});
    }
};

TEST_P(WindowsFault, IsWhatTheToolMeets)
{
    const std::string usual = Redirected(GetParam().usual);
    const std::string failed = Redirected(GetParam().failed);
    const std::string without = RunOn(kComputer).output;
    const std::string with = RunOn(kComputer + std::string("[windows-fault]\nfunction = ") + GetParam().function +
                                   "\nerror = 21\n" + GetParam().orders)
                                 .output;
    EXPECT_THAT(without, testing::HasSubstr(usual));
    EXPECT_THAT(with, testing::Not(testing::HasSubstr(usual)));
    if (!failed.empty()) {
        EXPECT_THAT(without, testing::Not(testing::HasSubstr(failed)));
        EXPECT_THAT(with, testing::HasSubstr(failed));
    }
}

constexpr char kOnSystemDrive[] = "path = C:\\\n";

INSTANTIATE_TEST_SUITE_P(
    Functions, WindowsFault,
    testing::Values(
        FaultCase{"CreateFileW", L"/si", kOnSystemDrive, " - MFT Zone Start: 3\n", ""},
        FaultCase{"DeviceIoControl", L"/si", kOnSystemDrive, " - MFT Zone Start: 3\n", ""},
        FaultCase{"FindFirstVolumeW", L"/si", "", "* Volume: C:\\\n", ""},
        FaultCase{"FindFirstVolumeMountPointW", L"/si", kOnSystemDrive, "* Volume: C:\\Mounts\\Data\\\n",
                  "* Volume: \n"},
        FaultCase{"FindNextVolumeW", L"/si", "call = 1\n", "* Volume: C:\\Mounts\\Data\\\n", ""},
        FaultCase{"GetComputerNameW", L"/si", "", "Computer: HERE\n", "Computer: \n"},
        FaultCase{"GetDiskFreeSpaceExW", L"/si", "path = C:\\Mounts\\Data\\\n", " - Total Clusters:    5000000000   ",
                  " - Failed to get freespace information of drive C:\\Mounts\\Data\\ (21)\n"},
        FaultCase{"GetVersionExW", L"/si", "", ", SP 1.2\n", ", SP 0.0\n"},
        FaultCase{"GlobalMemoryStatusEx", L"/si", "", "Physical Memory: 2096564 KB\n", "Physical Memory: 0 KB\n"},
        FaultCase{"RegOpenKeyExW", L"/si",
                  "path = HKEY_LOCAL_MACHINE\\Hardware\\Description\\System\\CentralProcessor\\0\n",
                  "CPU Speed: 2593 MHZ\n", ""}),
    [](const auto& test) { return std::string(test.param.function); });

// --- What takes more than a run ---

// Without its events the policy monitor does not start, and nothing is forbidden.
TEST(FailingWindows, LeavesPolicyUnreadWithoutAnEvent)
{
    const std::string forbidden = "[registry HKEY_CURRENT_USER\\Software\\Policies\\Kestrane\\Velundra\\14.0]\n"
                                  "number = AllowLaunch, 0\n";
    {
        const SimulatedComputer computer(forbidden);
        EXPECT_EQ(0x20000004U, SimulatedComputer::Run({L"/?"}).exitCode);
    }
    const SimulatedComputer computer(forbidden + "[windows-fault]\nfunction = CreateEventW\nerror = 8\n");
    EXPECT_EQ(BannerAnd(UsageScreen()), SimulatedComputer::Run({L"/?"}));
}

// The first thread is the policy monitor's, the second one that of the first drive.
TEST(FailingWindows, PassesOverADriveWithoutAThread)
{
    const SimulatedComputer computer("[drive C:\\]\nidentity = a\n[drive D:\\]\nidentity = b\n"
                                     "[windows-fault]\nfunction = CreateThread\ncall = 3\nerror = 8\n");
    const EngineProcess engine(computer);
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"), SimulatedComputer::Run({L"/an", L"C:", L"D:"}));
    EXPECT_EQ(std::vector<std::string>{R"(Analyze(drive="C:\") -> 0x00000000)"}, engine.CallsOf("Analyze"));
}

} // namespace
