// Every command that has the engine do something, each once in each way that it can go.

#include "engine_process.h"
#include "expected.h"
#include "launching_only.h"
#include "simulated_computer.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace {

using namespace e2e;

// The drive is scheduled for the next boot from the beginning, so that this can be cancelled.
constexpr char kDriveC[] = R"([drive C:\]
identity = vol-c
mount = C:\ (System)
offline-types = 3
boot-types = 1
file = 5 C:\Reports\plan 2026.mpp
)";
// In use, so that an offline pass cannot be run now.
constexpr char kInUse[] = "offline = refuse\n";
constexpr char kSchedule[] = "[schedule Nightly]\nwork = nothing\n";

constexpr char kNoDrives[] = "No drives specified for this operation.\n";
constexpr char kBadFiles[] = "Specified file(s) are in bad format.\n"
                             "Provide fully qualified path names.\n"
                             "Use quotes for files containing spaces.\n";
constexpr char kNoOnline[] = "You do not have permission to perform an online defragmentation.\n";
constexpr char kNoOffline[] = "You do not have permission to perform an offline defragmentation.\n";
constexpr char kScheduled[] =
    "Drive C:\\ (System) has been scheduled for an offline defrag of your system files on next reboot.\n";
constexpr char kBootTimeScheduled[] = "Boot time defragmentation scheduled for drive C:\\ (System).\n";

using Calls = std::vector<std::string>;

Calls operator+(Calls left, const Calls& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// The drive of a command's words is found on a connection of its own.
const Calls kFindC = {
    "VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#1",
    R"(agent#1 IVLAgent::GetDriveList() -> 0x00000000 driveList="vol-c")",
    R"(agent#1 IVLAgent::GetDrive(driveName="vol-c") -> 0x00000000 drive=drive#1[C:\])",
    R"(drive#1[C:\] IVLDrive::GetDriveName() -> 0x00000000 name="C:\")",
};

// The connection and the drive of this number are got for the work.
Calls OpenC(const std::string& number)
{
    return {
        "VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#" + number,
        "agent#" + number + " IVLAgent::CheckAccess() -> 0x00000000 rights=1",
        "agent#" + number + R"( IVLAgent::GetDrive(driveName="vol-c") -> 0x00000000 drive=drive#)" + number +
            R"([C:\])",
        "drive#" + number + "[C:\\] IVLDrive::GetMountPoint() -> 0x00000000 mountPoint=\"C:\\ (System)\"",
    };
}

// The product's window is told that drives have changed.
Calls Notice(const std::string& number)
{
    return {"VLService::CreateInstance(iid=IVLRefresh) -> 0x00000000 object=service#" + number,
            "service#" + number + " IVLRefresh::Refresh() -> 0x00000000"};
}

// What a command answers besides the banner.
struct Answer {
    std::string text;
    std::uint32_t exitCode = 0;
};

struct Command {
    const char* name;
    std::vector<std::wstring> words;
    const char* driveKeys; // of C: in the scenario, besides the usual ones
    std::string text;
    Calls calls;
    Calls notice;      // follows the calls where this computer is meant
    std::string fault; // of the engine, for a scenario
    Answer failure;
    const char* refusal;              // where policy forbids everything but launching; null where it is done then, too
    std::vector<std::wstring> tooFew; // words of which some are missing; empty where it needs none
    Answer missing;

    friend void PrintTo(const Command& command, std::ostream* stream) { *stream << command.name; }
};

std::string FailedWith(const std::string& message, const std::string& line)
{
    return message + ErrorText(0x80004005, "0x80004005 (2147500037)(Operations/#" + line + ")");
}

Command Online(const char* name, const wchar_t* word, const char* mode)
{
    return {name,
            {word, L"C:"},
            "",
            "Online optimization started on drive C:\\ (System).\n",
            kFindC + OpenC("2") +
                Calls{R"(agent#2 IVLAgent::OptimizeOnline(drive="C:\", mode=)" + std::string(mode) + ") -> 0x00000000"},
            Notice("1"),
            Failing("OptimizeOnline", "0x80004005"),
            {FailedWith("Optimization online failed due to error ", "1510") + "\n"},
            kNoOnline,
            {word},
            {kNoDrives + UsageScreen(), 87}};
}

std::vector<Command> AllCommands()
{
    const Answer noDrives = {kNoDrives + UsageScreen(), 87};
    const Answer usage = {UsageScreen(), 87};
    return {
        {"Status",
         {L"/st"},
         "",
         "Drive name: C:\\Status: Idle\n",
         {"VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#1",
          "agent#1 IVLAgent::CheckAccess() -> 0x00000000 rights=1", kFindC[1], kFindC[2], kFindC[3],
          R"(drive#1[C:\] IVLDrive::GetState() -> 0x00000000 state=0)"},
         {},
         Failing("GetDriveList", "0x80004005"),
         {"", 0x4005},
         nullptr,
         {},
         {}},
        {"Analyze",
         {L"/an", L"C:"},
         "",
         "Analyze started on drive C:\\ (System).\n",
         kFindC + OpenC("2") + Calls{R"(agent#2 IVLAgent::Analyze(drive="C:\") -> 0x00000000)"},
         Notice("1"),
         Failing("Analyze", "0x80004005"),
         {FailedWith("Analyze failed due to error ", "1446") + "\n", 0x4005},
         "You do not have permission to analyze the drive(s).\n",
         {L"/an", L"Q:"},
         noDrives},
        Online("DefragOnly", L"/dol", "1"),
        Online("TierWeave", L"/tw", "0"),
        Online("ConsolidateFreeSpace", L"/cfs", "2"),
        Online("SsdOptimize", L"/ssd", "4"),
        Online("PrepForShrink", L"/prep", "3"),
        {"Offline",
         {L"/of", L"C:", L"/s"},
         "",
         "Offline optimization of System Files started on drive C:\\ (System).\n",
         kFindC + OpenC("2") +
             Calls{R"(agent#2 IVLAgent::PrepareOffline(drive="C:\", reserved=0) -> 0x00000000)",
                   R"(agent#2 IVLAgent::OptimizeOffline(drive="C:\", fileTypes=2) -> 0x00000000)"},
         Notice("1"),
         Failing("OptimizeOffline", "0x80004005"),
         {FailedWith("Offline Defrag of System Files failed due to error ", "1526") + "\n"},
         kNoOffline,
         {L"/of", L"/all"},
         noDrives},
        {"OfflineOfADriveInUse",
         {L"/of", L"C:", L"/w"},
         kInUse,
         std::string(kScheduled) + kBootTimeScheduled,
         kFindC + OpenC("2") + Calls{R"(agent#2 IVLAgent::PrepareOffline(drive="C:\", reserved=0) -> 0x80070015)"} +
             OpenC("3") +
             Calls{R"(drive#3[C:\] IVLDrive::GetOfflineFileTypes() -> 0x00000000 fileTypes=3)",
                   R"(agent#3 IVLAgent::ScheduleBootTime(drive="C:\", fileTypes=3) -> 0x00000000)"},
         Notice("1"),
         Answering("GetOfflineFileTypes", "1", "0"),
         {"Unable to schedule drive for an Offline defrag pass of your System Files for next reboot.  Please specify "
          "the file types in the Drive Properties Notebook or use the appropriate flag on the commandline.\n" +
          std::string(kBootTimeScheduled)},
         kNoOffline,
         {},
         {}},
        {"DefragFiles",
         {L"/df", L"C:\\a b.txt", L"D:\\c.txt"},
         "",
         "Single File defragmentation started on drive C:\\ (System).\n",
         kFindC + OpenC("2") +
             Calls{R"(agent#2 IVLAgent::DefragFile(drive="C:\", filePath="C:\a b.txt|D:\c.txt") -> 0x00000000)"},
         {},
         Failing("DefragFile", "0x80004005"),
         {FailedWith("Single File defragmentation failed due to error ", "1026") + "\n", 0x20000001},
         kNoOnline,
         {L"/df", L"a.txt"},
         {kBadFiles + UsageScreen(), 87}},
        {"Stop",
         {L"/stop", L"C:"},
         "",
         "Drive C:\\ (System) was stopped.\n",
         kFindC + OpenC("2") + Calls{R"(agent#2 IVLAgent::StopDrive(drive="C:\") -> 0x00000000)"},
         {},
         Failing("StopDrive", "0x80004005"),
         {"", 0x20000001},
         nullptr,
         {L"/stop"},
         noDrives},
        {"StopAll",
         {L"/stop", L"/alldrives"},
         "",
         "All drives were stopped.\n",
         {"VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#1",
          "agent#1 IVLAgent::CheckAccess() -> 0x00000000 rights=1", "agent#1 IVLAgent::StopAll() -> 0x00000000"},
         {},
         Failing("CheckAccess", "0x80004005"),
         {"Unable to connect to specified computer, error access denied.\n", 0x20000004},
         nullptr,
         {},
         {}},
        {"ScheduleBoot",
         {L"/sb", L"C:"},
         "",
         kScheduled,
         kFindC + OpenC("2") +
             Calls{R"(drive#2[C:\] IVLDrive::GetOfflineFileTypes() -> 0x00000000 fileTypes=3)",
                   R"(agent#2 IVLAgent::ScheduleBootTime(drive="C:\", fileTypes=3) -> 0x00000000)"},
         {},
         Failing("ScheduleBootTime", "0x80004005"),
         {FailedWith("Unable to schedule drive C:\\ (System) for an Offline defrag pass of your System Files due to "
                     "error ",
                     "201") +
              "\n",
          0x20000001},
         nullptr,
         {L"/sb", L"/all"},
         noDrives},
        {"CancelBootTime",
         {L"/cb", L"C:"},
         "",
         "Drive C:\\ (System) has been removed from an offline defrag of your system files on next reboot.\n",
         kFindC + OpenC("2") + Calls{R"(agent#2 IVLAgent::CancelBootTime(drive="C:\") -> 0x00000000)"},
         {},
         Failing("CancelBootTime", "0x80004005"),
         {FailedWith("Unable to remove drive C:\\ (System) from an Offline defrag pass of your System Files due to "
                     "error ",
                     "242") +
              "\n",
          0x20000001},
         nullptr,
         {L"/cb"},
         noDrives},
        {"RunSchedule",
         {L"/rs", L"Nightly"},
         "",
         "",
         {"VLService::CreateInstance(iid=IVLService) -> 0x00000000 object=service#1",
          "service#1 IVLService::GetSchedule() -> 0x00000000 schedule=schedule#1",
          R"(schedule#1 IVLSchedule::RunByName(scheduleName="Nightly") -> 0x00000000)"},
         Notice("2"),
         Failing("RunByName", "0x80070002"),
         {"", 2},
         "You do not have permission to run the schedule operation.\n",
         {L"/rs"},
         usage},
        {"QueryFileById",
         {L"/id", L"c:", L"5"},
         "",
         "File Name C:\\Reports\\plan 2026.mpp corresponds to id 5 on drive c:\n",
         kFindC + Calls{"VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#2",
                        "agent#2 IVLAgent::CheckAccess() -> 0x00000000 rights=1",
                        R"(agent#2 IVLAgent::GetFileNameById(volume="vol-c", fileId=5) -> 0x00000000 )"
                        R"(fileName="C:\Reports\plan 2026.mpp")"},
         {},
         Failing("GetFileNameById", "0x80004005"),
         {FailedWith("Failed to get File Name from id  error ", "459") + ".\n", 0x4005},
         nullptr,
         {L"/id", L"C:"},
         usage},
    };
}

std::string NameOf(const testing::TestParamInfo<Command>& test)
{
    return test.param.name;
}

class EachCommand : public testing::TestWithParam<Command> {
protected:
    static std::string Scenario() { return kDriveC + std::string(GetParam().driveKeys) + kSchedule; }

    // The calls that have arrived. When objects were released is nobody's business but the engine process's.
    static Calls CallsOf(const EngineProcess& engine)
    {
        Calls calls = engine.Log();
        std::erase_if(calls, [](const std::string& line) { return line.ends_with(" released"); });
        return calls;
    }

    static Outcome Answered(const Answer& answer) { return BannerAnd(answer.text, answer.exitCode); }
};

TEST_P(EachCommand, HasTheEngineDoItsWork)
{
    const EngineProcess engine(Scenario());
    EXPECT_EQ(BannerAnd(GetParam().text), RunTool(GetParam().words));
    EXPECT_EQ(GetParam().calls + GetParam().notice, CallsOf(engine));
}

TEST_P(EachCommand, GoesToTheComputerThatIsNamed)
{
    const SimulatedComputer network(Scenario() + "[computer SRV1]\nscenario = srv1.scenario\n");
    network.AddFile(L"srv1.scenario", Scenario());
    const EngineProcess here(network);
    const EngineProcess there(network, L"SRV1");
    std::vector<std::wstring> words = GetParam().words;
    words.insert(words.end(), {L"/c", L"SRV1"});
    EXPECT_EQ(BannerAnd(GetParam().text), SimulatedComputer::Run(words));
    EXPECT_EQ(GetParam().calls, CallsOf(there));
    EXPECT_EQ(Calls(), here.Log());
}

TEST_P(EachCommand, TellsTheEnginesFailure)
{
    const EngineProcess engine(Scenario() + GetParam().fault);
    EXPECT_EQ(Answered(GetParam().failure), RunTool(GetParam().words));
}

TEST_P(EachCommand, IsRefusedByPolicyBeforeTheEngineIsAskedOrNotAtAll)
{
    const LaunchingOnly policy;
    const EngineProcess engine(Scenario());
    if (GetParam().refusal != nullptr) {
        EXPECT_EQ(BannerAnd(GetParam().refusal, 0x20000004), RunTool(GetParam().words));
        EXPECT_EQ(Calls(), engine.Log());
    } else {
        EXPECT_EQ(BannerAnd(GetParam().text), RunTool(GetParam().words));
    }
}

INSTANTIATE_TEST_SUITE_P(All, EachCommand, testing::ValuesIn(AllCommands()), NameOf);

class CommandWithTooFewWords : public EachCommand {};

TEST_P(CommandWithTooFewWords, ShowsTheUsageScreen)
{
    const EngineProcess engine(Scenario());
    EXPECT_EQ(Answered(GetParam().missing), RunTool(GetParam().tooFew));
}

std::vector<Command> CommandsThatNeedWords()
{
    std::vector<Command> commands = AllCommands();
    std::erase_if(commands, [](const Command& command) { return command.tooFew.empty(); });
    return commands;
}

INSTANTIATE_TEST_SUITE_P(All, CommandWithTooFewWords, testing::ValuesIn(CommandsThatNeedWords()), NameOf);

} // namespace
