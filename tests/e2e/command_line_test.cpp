#include "engine_process.h"
#include "expected.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

constexpr char kScenario[] = R"([engine]
analyze-seconds = 600
defragment-seconds = 600
[drive C:\]
identity = vol-c
offline-types = 7
file = 5 C:\Reports
[drive D:\]
identity = vol-d
[schedule Nightly]
work = nothing
)";

constexpr char kNoDrives[] = "No drives specified for this operation.\n";

// --- The command word ---

struct CommandSpelling {
    const char* name;
    std::vector<std::wstring> spellings;
    std::vector<std::wstring> data;
    std::string text;
    const char* method; // that the engine is asked for, each time with this call
    const char* call;
};

class CommandWord : public testing::TestWithParam<CommandSpelling> {};

TEST_P(CommandWord, IsKnownInShortAndLongSpellingAndAnyCase)
{
    const EngineProcess engine(kScenario);
    for (const std::wstring& spelling : GetParam().spellings) {
        std::vector<std::wstring> words = {spelling};
        words.insert(words.end(), GetParam().data.begin(), GetParam().data.end());
        EXPECT_EQ(BannerAnd(GetParam().text), RunTool(words)) << Narrow(spelling);
    }
    EXPECT_EQ(std::vector<std::string>(GetParam().spellings.size(), GetParam().call),
              engine.CallsOf(GetParam().method));
}

const std::vector<std::wstring> kDriveC = {L"C:"};
constexpr char kOnlineStarted[] = "Online optimization started on drive C:\\.\n";

INSTANTIATE_TEST_SUITE_P(
    Commands, CommandWord,
    testing::Values(
        CommandSpelling{"Status",
                        {L"/st", L"/status", L"/ST", L"/Status"},
                        {},
                        "Drive name: C:\\Status: Idle\nDrive name: D:\\Status: Idle\n",
                        "GetDriveList",
                        "GetDriveList() -> 0x00000000 driveList=\"vol-c|vol-d\""},
        CommandSpelling{"DefragOnly",
                        {L"/dol", L"/DefragOnly", L"/DOL", L"/defragonly"},
                        kDriveC,
                        kOnlineStarted,
                        "OptimizeOnline",
                        R"(OptimizeOnline(drive="C:\", mode=1) -> 0x00000000)"},
        CommandSpelling{"TierWeave",
                        {L"/tw", L"/TierWeave", L"/Tw", L"/TIERWEAVE"},
                        kDriveC,
                        kOnlineStarted,
                        "OptimizeOnline",
                        R"(OptimizeOnline(drive="C:\", mode=0) -> 0x00000000)"},
        CommandSpelling{"ConsolidateFreeSpace",
                        {L"/cfs", L"/ConsolidateFreeSpace", L"/CFS", L"/consolidatefreespace"},
                        kDriveC,
                        kOnlineStarted,
                        "OptimizeOnline",
                        R"(OptimizeOnline(drive="C:\", mode=2) -> 0x00000000)"},
        CommandSpelling{"PrepForShrink",
                        {L"/prep", L"/PrepForShrink", L"/PREP", L"/prepforshrink"},
                        kDriveC,
                        kOnlineStarted,
                        "OptimizeOnline",
                        R"(OptimizeOnline(drive="C:\", mode=3) -> 0x00000000)"},
        CommandSpelling{"SsdOptimize",
                        {L"/ssd", L"/SSDOptimize", L"/Ssd", L"/ssdoptimize"},
                        kDriveC,
                        kOnlineStarted,
                        "OptimizeOnline",
                        R"(OptimizeOnline(drive="C:\", mode=4) -> 0x00000000)"},
        CommandSpelling{"Offline",
                        {L"/of", L"/offline", L"/OF", L"/Offline"},
                        kDriveC,
                        "Offline optimization of System Files started on drive C:\\.\n",
                        "OptimizeOffline",
                        R"(OptimizeOffline(drive="C:\", fileTypes=4096) -> 0x00000000)"},
        CommandSpelling{"DefragFiles",
                        {L"/df", L"/DefragFiles", L"/DF", L"/defragfiles"},
                        {L"C:\\a.txt"},
                        "Single File defragmentation started on drive C:\\.\n",
                        "DefragFile",
                        R"(DefragFile(drive="C:\", filePath="C:\a.txt") -> 0x00000000)"},
        CommandSpelling{"Analyze",
                        {L"/an", L"/analyze", L"/AN", L"/Analyze"},
                        kDriveC,
                        "Analyze started on drive C:\\.\n",
                        "Analyze",
                        R"(Analyze(drive="C:\") -> 0x00000000)"},
        CommandSpelling{"Stop",
                        {L"/stp", L"/stop", L"/STP", L"/Stop"},
                        kDriveC,
                        "Drive C:\\ was stopped.\n",
                        "StopDrive",
                        R"(StopDrive(drive="C:\") -> 0x00000000)"},
        CommandSpelling{"ScheduleBoot",
                        {L"/sb", L"/schedboot", L"/SB", L"/SchedBoot"},
                        kDriveC,
                        "Drive C:\\ has been scheduled for an offline defrag of your system files on next reboot.\n",
                        "ScheduleBootTime",
                        R"(ScheduleBootTime(drive="C:\", fileTypes=7) -> 0x00000000)"},
        CommandSpelling{"RunSchedule",
                        {L"/rs", L"/runschedule", L"/RS", L"/RunSchedule"},
                        {L"Nightly"},
                        "",
                        "RunByName",
                        R"(RunByName(scheduleName="Nightly") -> 0x00000000)"},
        CommandSpelling{"QueryFileById",
                        {L"/id", L"/QueryFileById", L"/ID", L"/queryfilebyid"},
                        {L"C:", L"5"},
                        "File Name C:\\Reports corresponds to id 5 on drive C:\n",
                        "GetFileNameById",
                        R"(GetFileNameById(volume="vol-c", fileId=5) -> 0x00000000 fileName="C:\Reports")"}),
    [](const auto& test) { return test.param.name; });

TEST(CancelBootWord, IsKnownInShortAndLongSpellingAndAnyCase)
{
    const EngineProcess engine(kScenario);
    for (const wchar_t* const spelling : {L"/cb", L"/CancelBootTime", L"/CB", L"/cancelboottime"}) {
        // What is not scheduled cannot be removed.
        EXPECT_EQ(0U, RunTool({L"/sb", L"C:"}).exitCode);
        EXPECT_EQ(BannerAnd("Drive C:\\ has been removed from an offline defrag of your system files on next "
                            "reboot.\n"),
                  RunTool({spelling, L"C:"}))
            << Narrow(spelling);
    }
    EXPECT_EQ(std::vector<std::string>(4, R"(CancelBootTime(drive="C:\") -> 0x00000000)"),
              engine.CallsOf("CancelBootTime"));
}

TEST(StatisticsWord, IsKnownInShortAndLongSpellingAndAnyCase)
{
    // Without drives a statistics command goes no further than this, and any other word shows no message.
    for (const wchar_t* const word : {L"/sta", L"/stat-analyze", L"/STA", L"/Stat-Analyze", L"/sto", L"/stat-online",
                                      L"/Sto", L"/STAT-ONLINE", L"/stf", L"/stat-offline", L"/STF", L"/Stat-Offline"}) {
        EXPECT_EQ(BannerAnd(kNoDrives + UsageScreen(), 87), RunTool({word})) << Narrow(word);
    }
}

TEST(HelpWord, AndAnythingUnknownShowTheUsage)
{
    const std::vector<std::vector<std::wstring>> lines = {
        {},         {L"/?"},   {L"/? C:"},           {L"/?", L"C:"},  {L"/bogus"}, {L"/xyz", L"C:"}, {L"st"},
        {L"-st"},   {L"/st "}, {L"/sta-tus"},        {L"C:", L"/an"}, {L"/w"},     {L"/all", L"/d"}, {L"/r", L"/t"},
        {L"/help"}, {L""},     {L"/c", L"Computer"}, {L"/stopp"}};
    for (const std::vector<std::wstring>& words : lines) {
        EXPECT_EQ(BannerAnd(UsageScreen()), RunTool(words)) << Narrow(JoinWords(words));
    }
}

TEST(ComputerSwitch, WithoutANameEndsTheRunWithoutAWord)
{
    const Outcome silent{"", 13};
    EXPECT_EQ(silent, RunTool({L"/an", L"C:", L"/c"}));
    EXPECT_EQ(silent, RunTool({L"/an", L"C:", L"/C"}));
    EXPECT_EQ(silent, RunTool({L"/c"}));
    EXPECT_EQ(silent, RunTool({L"/?", L"/c", L"Computer", L"/c"}));
}

// --- The other words ---

TEST(CommandWords, MeanTheSameInAnyOrderAndAmongOthers)
{
    struct {
        std::vector<std::wstring> words;
        const char* text;
    } const lines[] = {
        {{L"/w", L"/st"}, "Drive name: C:\\Status: Idle\nDrive name: D:\\Status: Idle\n"},
        {{L"/ALL", L"/c", L"", L"/st", L"foo", L"/x", L"C:x"},
         "Drive name: C:\\Status: Idle\nDrive name: D:\\Status: Idle\n"},
        {{L"/an", L"/bogus", L"-C", L"C:", L"CD", L"D:x", L"1:", L"D;"}, "Analyze started on drive C:\\.\n"},
        {{L"/t", L"/r", L"/an", L"C:"}, "Analyze started on drive C:\\.\n"},
        {{L"/an", L"/stop", L"C:"}, "Analyze started on drive C:\\.\n"},
        {{L"/P", L"/sb", L"/D", L"C:", L"/P"},
         "Drive C:\\ has been scheduled for an offline defrag of your system files on next reboot.\n"},
        {{L"/AllDrives", L"/stop"}, "All drives were stopped.\n"},
        {{L"/w", L"/id", L"/d", L"C:", L"/s", L"5"}, "File Name C:\\Reports corresponds to id 5 on drive C:\n"},
        {{L"/all", L"/rs", L"/w", L"Nightly"}, ""}};
    const EngineProcess engine(kScenario);
    for (const auto& [words, text] : lines) {
        EXPECT_EQ(BannerAnd(text), RunTool(words)) << Narrow(JoinWords(words));
    }
}

// --- Lines as long as Windows lets them be ---

// A program's whole command line, its own name and the closing NUL included, has at most 32,767 characters.
std::size_t RoomBehindProgram()
{
    constexpr std::size_t kMostCharacters = 32766;
    return kMostCharacters - (ToolPath().wstring().size() + 3);
}

TEST(LongCommandLine, MayBeMadeOfManyWords)
{
    const EngineProcess engine(kScenario);
    std::wstring line = L"/an C:";
    while (line.size() + 3 <= RoomBehindProgram()) {
        line += L" c:";
    }
    line.resize(RoomBehindProgram(), L' ');
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"), RunToolLine(line));
    EXPECT_EQ(std::vector<std::string>{R"(Analyze(drive="C:\") -> 0x00000000)"}, engine.CallsOf("Analyze"));
}

TEST(LongCommandLine, MayBeMadeOfManyFiles)
{
    const EngineProcess engine(kScenario);
    std::wstring line = L"/df C:\\1";
    std::string paths = "C:\\1";
    while (line.size() + 5 <= RoomBehindProgram()) {
        line += L" C:\\2";
        paths += "|C:\\2";
    }
    EXPECT_EQ(BannerAnd("Single File defragmentation started on drive C:\\.\n"), RunToolLine(line));
    EXPECT_EQ(std::vector<std::string>{R"(DefragFile(drive="C:\", filePath=")" + paths + R"(") -> 0x00000000)"},
              engine.CallsOf("DefragFile"));
}

TEST(LongCommandLine, MayBeOneGiantWord)
{
    const EngineProcess engine(kScenario);
    const auto fill = [](const std::wstring& begin, std::wstring_view end = {}) {
        return begin + std::wstring(RoomBehindProgram() - begin.size() - end.size(), L'x') + std::wstring(end);
    };
    EXPECT_EQ(BannerAnd(UsageScreen()), RunToolLine(fill(L"/")));

    const std::wstring otherComputer = fill(L"/st /c ");
    EXPECT_EQ(
        BannerAnd("Velundra is not installed on computer '" + Narrow(otherComputer.substr(7)) + "'\n", 0x80040154),
        RunToolLine(otherComputer));

    const std::wstring noDrive = fill(L"/id ", L" 5");
    EXPECT_EQ(BannerAnd(Narrow(noDrive.substr(4, noDrive.size() - 6)) + " is not a valid DriveName .\n", 87),
              RunToolLine(noDrive));

    EXPECT_EQ(BannerAnd(kNoDrives + UsageScreen(), 87), RunToolLine(fill(L"/an C:\\")));

    const std::wstring schedule = fill(L"/rs ");
    EXPECT_EQ(BannerAnd("", 2), RunToolLine(schedule));
    EXPECT_EQ(std::vector<std::string>{"RunByName(scheduleName=\"" + Narrow(schedule.substr(4)) + "\") -> 0x80070002"},
              engine.CallsOf("RunByName"));

    const std::wstring file = fill(L"/df C:\\");
    EXPECT_EQ(BannerAnd("Single File defragmentation started on drive C:\\.\n"), RunToolLine(file));
    EXPECT_EQ(std::vector<std::string>{R"(DefragFile(drive="C:\", filePath=")" + Narrow(file.substr(4)) +
                                       R"(") -> 0x00000000)"},
              engine.CallsOf("DefragFile"));
}

} // namespace
