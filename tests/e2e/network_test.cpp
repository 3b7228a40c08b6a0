#include "engine_process.h"
#include "expected.h"
#include "simulated_computer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

namespace {

using namespace e2e;

constexpr char kNetwork[] = R"([clock]
speed = 50
[drive C:\]
identity = vol-c
offline-types = 7
boot-types = 7
file = 5 C:\Reports
[schedule Nightly]
work = nothing
[computer SRV1]
scenario = srv1.scenario
[computer SRV2]
answer = unreachable
[computer SRV3]
answer = not-installed
[computer SRV4]
answer = access-denied
[computer SRV5]
fail = 0x80070035
)";

// The drive of the other computer has another identity and shows itself differently.
constexpr char kServer1[] = R"([drive C:\]
identity = srv1-c
mount = C:\ (SRV1)
offline-types = 7
boot-types = 7
file = 5 C:\Shares
[schedule Nightly]
work = nothing
)";

constexpr char kNoDrives[] = "No drives specified for this operation.\n";
constexpr char kBadFiles[] = "Specified file(s) are in bad format.\n"
                             "Provide fully qualified path names.\n"
                             "Use quotes for files containing spaces.\n";
constexpr char kNoVolume[] = "C: Could not be matched with a known volume GUID .\n";

// What a command says when it cannot reach the engine.
enum class WithoutEngineSays { FailureAlone, NoDrives, BadFiles, NoVolume, NothingKnown };

struct Command {
    std::vector<std::wstring> words;
    std::string text; // {mount} stands for the drive's mount point, {file} for the file's name
    std::string call; // that the engine gets; {drives} stands for its list
    WithoutEngineSays without = WithoutEngineSays::NoDrives;
    std::optional<std::uint32_t> exitCodeWithout; // the failure of the connection if absent
};

std::vector<Command> Commands()
{
    const std::string started = "Online optimization started on drive {mount}.\n";
    const auto online = [](const char* mode) {
        return R"(OptimizeOnline(drive="C:\", mode=)" + std::string(mode) + ") -> 0x00000000";
    };
    return {
        {{L"/st"},
         "Drive name: C:\\Status: Idle\n",
         "GetDriveList() -> 0x00000000 driveList=\"{drives}\"",
         WithoutEngineSays::FailureAlone,
         {}},
        {{L"/dol", L"C:"}, started, online("1"), WithoutEngineSays::NoDrives, 87},
        {{L"/tw", L"C:"}, started, online("0"), WithoutEngineSays::NoDrives, 87},
        {{L"/cfs", L"C:"}, started, online("2"), WithoutEngineSays::NoDrives, 87},
        {{L"/ssd", L"C:"}, started, online("4"), WithoutEngineSays::NoDrives, 87},
        {{L"/prep", L"C:"}, started, online("3"), WithoutEngineSays::NoDrives, 87},
        {{L"/of", L"C:", L"/all"},
         "Offline optimization of System Files started on drive {mount}.\n",
         R"(OptimizeOffline(drive="C:\", fileTypes=7) -> 0x00000000)",
         WithoutEngineSays::NoDrives,
         87},
        {{L"/df", L"C:\\a.txt"},
         "Single File defragmentation started on drive {mount}.\n",
         R"(DefragFile(drive="C:\", filePath="C:\a.txt") -> 0x00000000)",
         WithoutEngineSays::BadFiles,
         87},
        {{L"/an", L"C:"},
         "Analyze started on drive {mount}.\n",
         R"(Analyze(drive="C:\") -> 0x00000000)",
         WithoutEngineSays::NoDrives,
         87},
        {{L"/stop", L"C:"},
         "Drive {mount} was stopped.\n",
         R"(StopDrive(drive="C:\") -> 0x00000000)",
         WithoutEngineSays::NoDrives,
         87},
        {{L"/stop", L"/alldrives"},
         "All drives were stopped.\n",
         "StopAll() -> 0x00000000",
         WithoutEngineSays::FailureAlone,
         {}},
        {{L"/cb", L"C:"},
         "Drive {mount} has been removed from an offline defrag of your system files on next reboot.\n",
         R"(CancelBootTime(drive="C:\") -> 0x00000000)",
         WithoutEngineSays::NoDrives,
         87},
        {{L"/sb", L"C:", L"/d"},
         "Drive {mount} has been scheduled for an offline defrag of your system files on next reboot.\n",
         R"(ScheduleBootTime(drive="C:\", fileTypes=1) -> 0x00000000)",
         WithoutEngineSays::NoDrives,
         87},
        {{L"/rs", L"Nightly"}, "", "RunByName() -> 0x00000000", WithoutEngineSays::FailureAlone, 0x20000002},
        {{L"/id", L"C:", L"5"},
         "File Name {file} corresponds to id 5 on drive C:\n",
         R"(GetFileNameById(volume="{drives}", fileId=5) -> 0x00000000 fileName="{file}")",
         WithoutEngineSays::NoVolume,
         {}},
        {{L"/?"}, UsageScreen(), "", WithoutEngineSays::NothingKnown, 0},
        {{L"/nonsense"}, UsageScreen(), "", WithoutEngineSays::NothingKnown, 0},
    };
}

std::string Filled(std::string text, std::string_view place, std::string_view filling)
{
    for (std::size_t at = text.find(place); at != std::string::npos; at = text.find(place, at + filling.size())) {
        text.replace(at, place.size(), filling);
    }
    return text;
}

class Network : public testing::Test {
protected:
    Network() { computer_.AddFile(L"srv1.scenario", kServer1); }

    static std::vector<std::wstring> With(std::vector<std::wstring> words, const std::vector<std::wstring>& more)
    {
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }

    // Every command, with more words, does its work on the asked engine and has nothing of the idle one.
    static void ExpectWork(const std::vector<std::wstring>& more, const EngineProcess& asked, const EngineProcess& idle,
                           std::string_view drives, std::string_view mount, std::string_view file)
    {
        const std::size_t callsOfIdle = idle.Log().size();
        for (const Command& command : Commands()) {
            const std::string shown = Narrow(JoinWords(With(command.words, more)));
            EXPECT_EQ(BannerAnd(Filled(Filled(command.text, "{mount}", mount), "{file}", file)),
                      SimulatedComputer::Run(With(command.words, more)))
                << shown;
            if (!command.call.empty()) {
                const std::string method = command.call.substr(0, command.call.find('('));
                const std::string call = Filled(Filled(command.call, "{drives}", drives), "{file}", file);
                const std::vector<std::string> calls = asked.CallsOf(method);
                ASSERT_FALSE(calls.empty()) << shown;
                if (method != "RunByName") {
                    EXPECT_EQ(call, calls.back()) << shown;
                }
            }
        }
        EXPECT_EQ(callsOfIdle, idle.Log().size());
    }

    SimulatedComputer computer_{kNetwork};
};

TEST_F(Network, LeavesThisComputersCommandsToItsOwnEngine)
{
    const EngineProcess here(computer_);
    const EngineProcess server1(computer_, L"SRV1");
    ExpectWork({}, here, server1, "vol-c", "C:\\", "C:\\Reports");
    EXPECT_THAT(here.CallsOf("Refresh"), testing::SizeIs(8));
}

TEST_F(Network, TakesEveryCommandToTheComputerOfTheSwitch)
{
    const EngineProcess here(computer_);
    const EngineProcess server1(computer_, L"SRV1");
    ExpectWork({L"/c", L"SRV1"}, server1, here, "srv1-c", "C:\\ (SRV1)", "C:\\Shares");
    EXPECT_EQ(std::vector<std::string>(), server1.CallsOf("Refresh"));
}

TEST_F(Network, TakesEveryCommandToTheComputerOfTheLastWord)
{
    const EngineProcess here(computer_);
    const EngineProcess server1(computer_, L"SRV1");
    ExpectWork({L"\\\\srv1"}, server1, here, "srv1-c", "C:\\ (SRV1)", "C:\\Shares");
}

TEST_F(Network, StartsTheEngineOfAnotherComputerWhenItIsAskedFor)
{
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"), SimulatedComputer::Run({L"/st", L"/c", L"SRV1"}));
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\ (SRV1).\n"),
              SimulatedComputer::Run({L"/an", L"C:", L"/c", L"SRV1"}));
    EXPECT_EQ(0U, RunEngine(L"/quit"));
}

struct FailedConnection {
    const char* name;
    std::vector<std::wstring> words;
    std::string text;
    std::uint32_t failure;
};

class BrokenNetwork : public Network, public testing::WithParamInterface<FailedConnection> {};

TEST_P(BrokenNetwork, IsToldByEveryCommand)
{
    const EngineProcess here(computer_);
    for (const Command& command : Commands()) {
        std::string text = command.without == WithoutEngineSays::NothingKnown ? command.text : GetParam().text;
        switch (command.without) {
        case WithoutEngineSays::NoDrives:
            text += kNoDrives + UsageScreen();
            break;
        case WithoutEngineSays::BadFiles:
            text += kBadFiles + UsageScreen();
            break;
        case WithoutEngineSays::NoVolume:
            text += kNoVolume;
            break;
        case WithoutEngineSays::FailureAlone:
        case WithoutEngineSays::NothingKnown:
            break;
        }
        const std::vector<std::wstring> words = With(command.words, GetParam().words);
        EXPECT_EQ(BannerAnd(text, command.exitCodeWithout.value_or(GetParam().failure)), SimulatedComputer::Run(words))
            << Narrow(JoinWords(words));
    }
    EXPECT_EQ(std::vector<std::string>(), here.Log());
}

INSTANTIATE_TEST_SUITE_P(
    Failures, BrokenNetwork,
    testing::Values(
        FailedConnection{
            "Unreachable",
            {L"/c", L"SRV2"},
            "Could not connect to computer 'SRV2'.  Verify the name is correct and the machine is turned on.\n",
            0x800706BA},
        FailedConnection{
            "NotInstalled", {L"\\\\SRV3"}, "Velundra is not installed on computer '\\\\SRV3'\n", 0x80040154},
        FailedConnection{"AccessDenied",
                         {L"/c", L"\\\\srv4"},
                         "You do not have permission to connect to Velundra on computer '\\\\srv4'.  You must be a "
                         "member of the Local Admin group.\n",
                         0x80070005}),
    [](const auto& test) { return test.param.name; });

TEST_F(Network, TellsAnyOtherFailureAsOneOfTheConnection)
{
    EXPECT_EQ(
        BannerAnd("Could not connect to computer 'SRV5'.  Verify the name is correct and the machine is turned on.\n",
                  0x80070035),
        SimulatedComputer::Run({L"/st", L"/c", L"SRV5"}));
}

} // namespace
