#include "engine/server_classes.h"
#include "scenario/scenario.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>

namespace {

using namespace sim;

ComputerSetup Computer(std::string_view text)
{
    std::variant<Scenario, ScenarioError> parsed = ParseScenario(text);
    if (const ScenarioError* const error = std::get_if<ScenarioError>(&parsed)) {
        ADD_FAILURE() << "line " << error->line;
        return {};
    }
    return std::get<Scenario>(std::move(parsed)).computer;
}

TEST(ComputerSections, SayNothingWhereTheyAreNotThere)
{
    const ComputerSetup computer = Computer("[drive C:\\]\n");
    EXPECT_FALSE(computer.name || computer.cleanBoot || computer.windows || computer.memoryKilobytes);
    EXPECT_TRUE(computer.volumes.empty() && computer.computers.empty() && computer.registry.empty());
    EXPECT_EQ(1, computer.clockSpeed);
    EXPECT_EQ(nullptr, computer.FindComputer(L"SRV1"));
}

TEST(ComputerSections, TellOfAVolume)
{
    const ComputerSetup computer = Computer("[volume \\\\?\\Volume{1}\\]\n"
                                            "mount = D:\\\n"
                                            "mount = C:\\Data\\\n"
                                            "type = Removable\n"
                                            "bus = 1394\n"
                                            "file-system = exFAT\n"
                                            "sectors-per-cluster = 64\n"
                                            "bytes-per-sector = 4096\n"
                                            "total-clusters = 0x200000000\n"
                                            "free-clusters = 8589934591\n"
                                            "mft-bytes = 5\n"
                                            "mft-zone = 6, 7\n"
                                            "floppy = yes\n"
                                            "boot-ini = boot.txt\n");
    ASSERT_EQ(1U, computer.volumes.size());
    const VolumeSetup& volume = computer.volumes.front();
    EXPECT_EQ((std::vector<std::wstring>{L"D:\\", L"C:\\Data\\"}), volume.mounts);
    EXPECT_EQ(2U, volume.type); // DRIVE_REMOVABLE
    EXPECT_EQ(4U, volume.bus);  // BusType1394
    EXPECT_EQ(L"exFAT", volume.fileSystem);
    EXPECT_EQ(64U, volume.sectorsPerCluster);
    EXPECT_EQ(4096U, volume.bytesPerSector);
    EXPECT_EQ(8589934592U, volume.totalClusters);
    EXPECT_EQ(8589934591U, volume.freeClusters);
    EXPECT_EQ(5U, volume.mftBytes);
    EXPECT_EQ(6U, volume.mftZoneStart);
    EXPECT_EQ(7U, volume.mftZoneEnd);
    EXPECT_TRUE(volume.floppy);
    EXPECT_EQ(L"boot.txt", volume.bootIni);
}

TEST(ComputerSections, FindComputersByTheirNamesInAnyCaseAndOthersByTheStar)
{
    const ComputerSetup computer = Computer("[computer *]\nanswer = unreachable\n"
                                            "[computer SRV1]\nscenario = one.scenario\n"
                                            "[computer SRV2]\nfail = 0x80070035\n");
    EXPECT_EQ(L"one.scenario", computer.FindComputer(L"srv1")->scenario);
    EXPECT_EQ(0x80070035U, computer.FindComputer(L"\\\\SRV2")->failure);
    EXPECT_EQ(0x800706BAU, computer.FindComputer(L"SRV3")->failure);
}

TEST(ComputerSections, SortWhatHappensByItsTime)
{
    const ComputerSetup computer = Computer("[policy]\nchange = 2, B, 1\nchange = 1.5, A, -\n"
                                            "[console]\npress = 3, close\npress = 0, ctrl-break\n");
    ASSERT_EQ(2U, computer.policyChanges.size());
    EXPECT_EQ(L"A", computer.policyChanges.front().name);
    EXPECT_EQ(std::nullopt, computer.policyChanges.front().number);
    EXPECT_EQ(std::chrono::milliseconds(1500), computer.policyChanges.front().after);
    ASSERT_EQ(2U, computer.presses.size());
    EXPECT_EQ(1U, computer.presses.front().event); // CTRL_BREAK_EVENT
}

TEST(ClockSpeed, ShortensATimeButNotToNothing)
{
    using std::chrono::milliseconds;
    EXPECT_EQ(milliseconds(100), AtSpeed(milliseconds(5000), 50));
    EXPECT_EQ(milliseconds(1), AtSpeed(milliseconds(3), 1000));
    EXPECT_EQ(milliseconds(0), AtSpeed(milliseconds(0), 50));
    EXPECT_EQ(milliseconds(10000), AtSpeed(milliseconds(5000), 0.5));
}

TEST(ServerClasses, AreThoseOfTheContractHereAndOthersForEachOtherComputer)
{
    const ServerClasses here = ServerClassesOf(L"");
    const ServerClasses one = ServerClassesOf(L"SRV1");
    const ServerClasses two = ServerClassesOf(L"SRV2");
    EXPECT_EQ(0x0C5E92B1U, here[0].Data1);
    EXPECT_EQ(0x3B7E1A90U, here[1].Data1);
    EXPECT_TRUE(one == ServerClassesOf(L"srv1"));
    for (const std::size_t index : {0U, 1U}) {
        EXPECT_FALSE(IsEqualGUID(here[index], one[index]));
        EXPECT_FALSE(IsEqualGUID(one[index], two[index]));
    }
    EXPECT_FALSE(IsEqualGUID(one[0], one[1]));
}

struct WrongLine {
    const char* name;
    const char* text;
    std::size_t line;
};

class WrongSection : public testing::TestWithParam<WrongLine> {};

TEST_P(WrongSection, IsToldWithItsLine)
{
    const std::variant<Scenario, ScenarioError> parsed = ParseScenario(GetParam().text);
    const ScenarioError* const error = std::get_if<ScenarioError>(&parsed);
    ASSERT_NE(nullptr, error);
    EXPECT_EQ(GetParam().line, error->line);
    EXPECT_FALSE(error->text.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Lines, WrongSection,
    testing::Values(
        WrongLine{"UnknownKey", "[machine]\n\nnonsense = 1\n", 3},
        WrongLine{"KeyTwice", "[machine]\nname = A\nNAME = B\n", 3},
        WrongLine{"NameOfAnUnnamedSection", "[clock fast]\n", 1}, WrongLine{"NamelessComputer", "[computer]\n", 1},
        WrongLine{"Boot", "[machine]\nboot = yes\n", 2}, WrongLine{"Version", "[machine]\nwindows = 10.0\n", 2},
        WrongLine{"Product", "[machine]\nproduct = home\n", 2}, WrongLine{"NoSpeed", "[clock]\nspeed = 0\n", 2},
        WrongLine{"TooFast", "[clock]\nspeed = 1001\n", 2}, WrongLine{"ComputerWithNothing", "[computer A]\n", 1},
        WrongLine{"ComputerWithBoth", "[computer A]\nscenario = a\nanswer = unreachable\n", 1},
        WrongLine{"ComputerTwice", "[computer A]\nanswer = unreachable\n[computer a]\nanswer = unreachable\n", 3},
        WrongLine{"EngineOfAnyComputer", "[computer *]\nscenario = a\n", 1},
        WrongLine{"ComputerWithBackslash", "[computer \\\\A]\nanswer = unreachable\n", 1},
        WrongLine{"Answer", "[computer A]\nanswer = maybe\n", 2},
        WrongLine{"FailWithoutFailure", "[computer A]\nfail = 5\n", 2}, WrongLine{"VolumeName", "[volume C:\\]\n", 1},
        WrongLine{"VolumeTwice", "[volume \\\\?\\Volume{a}\\]\n[volume \\\\?\\Volume{A}\\]\n", 2},
        WrongLine{"MountTwice",
                  "[volume \\\\?\\Volume{a}\\]\nmount = C:\\\n[volume \\\\?\\Volume{b}\\]\nmount = c:\\\n", 3},
        WrongLine{"Mount", "[volume \\\\?\\Volume{a}\\]\nmount = C:\n", 2},
        WrongLine{"Type", "[volume \\\\?\\Volume{a}\\]\ntype = disk\n", 2},
        WrongLine{"Bus", "[volume \\\\?\\Volume{a}\\]\nbus = isa\n", 2},
        WrongLine{"Zone", "[volume \\\\?\\Volume{a}\\]\nmft-zone = 1\n", 2},
        WrongLine{"MoreFreeThanThere", "[volume \\\\?\\Volume{a}\\]\nfree-clusters = 1\n", 1},
        WrongLine{"NoSectors", "[volume \\\\?\\Volume{a}\\]\nsectors-per-cluster = 0\n", 1},
        WrongLine{"RegistryRoot", "[registry HKLM\\Software]\n", 1},
        WrongLine{"KeyOfTheRegistryTwice", "[registry HKEY_USERS\\a]\n[registry hkey_users\\A\\]\n", 2},
        WrongLine{"ValueWithoutComma", "[registry HKEY_USERS\\a]\ntext = Name\n", 2},
        WrongLine{"ValueTwice", "[registry HKEY_USERS\\a]\ntext = A, 1\nnumber = a, 1\n", 3},
        WrongLine{"Number", "[registry HKEY_USERS\\a]\nnumber = A, one\n", 2},
        WrongLine{"Binary", "[registry HKEY_USERS\\a]\nbinary = A, 123\n", 2},
        WrongLine{"PolicyChange", "[policy]\nchange = A, 1\n", 2},
        WrongLine{"Press", "[console]\npress = 1, escape\n", 2},
        WrongLine{"Function", "[windows-fault]\nfunction = Beep\nerror = 5\n", 2},
        WrongLine{"FaultWithoutError", "[windows-fault]\nfunction = CreateThread\n", 1},
        WrongLine{"FaultWithResult", "[windows-fault]\nfunction = CreateThread\nerror = 0x80070005\n", 1},
        WrongLine{"FaultWithoutResult", "[windows-fault]\nfunction = CoInitializeEx\nerror = 5\n", 1},
        WrongLine{"FaultWithPath", "[windows-fault]\nfunction = CreateThread\nerror = 5\npath = C:\\\n", 1}),
    [](const auto& test) { return test.param.name; });

} // namespace
