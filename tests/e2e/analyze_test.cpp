#include "engine_process.h"
#include "expected.h"
#include "simulated_computer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace e2e;

constexpr char kDriveC[] = R"([drive C:\]
identity = vol-c
)";

// The order of the identities is not that of the names.
constexpr char kFourDrives[] = R"([drive C:\]
identity = vol-4
[drive D:\]
identity = vol-3
[drive D:\Mounts\Data\]
identity = vol-2
mount = D:\Mounts\Data\ (Backup)
[drive \\?\Volume{0A1B-2C}]
identity = vol-1
)";

constexpr char kNoDrives[] = "No drives specified for this operation.\n";

TEST(AnalyzeCommand, ResolvesTheDriveAndStartsTheAnalysis)
{
    const EngineProcess engine(kDriveC);
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"), RunTool({L"/an", L"C:"}));
    EXPECT_EQ(LogOfWorkOnDriveC("C:\\", Notice::Sent, {"agent#2 IVLAgent::Analyze(drive=\"C:\\\") -> 0x00000000"}),
              engine.Log());
}

// --- Which drives ---

TEST(AnalyzeCommand, KnowsADriveInEachOfItsForms)
{
    struct {
        const wchar_t* word;
        const char* mountPoint;
    } const forms[] = {{L"C", "C:\\"},
                       {L"c", "C:\\"},
                       {L"C:", "C:\\"},
                       {L"c:", "C:\\"},
                       {L"c:\\", "C:\\"},
                       {LR"(D:\Mounts\Data\)", R"(D:\Mounts\Data\ (Backup))"},
                       {LR"(D:\Mounts\Data)", R"(D:\Mounts\Data\ (Backup))"},
                       {LR"(d:\MOUNTS\data\)", R"(D:\Mounts\Data\ (Backup))"},
                       {LR"(\\?\Volume{0A1B-2C}\)", R"(\\?\Volume{0A1B-2C})"},
                       {LR"(\\?\volume{0a1b-2c})", R"(\\?\Volume{0A1B-2C})"},
                       {L"{0A1B-2C}", R"(\\?\Volume{0A1B-2C})"}};
    const EngineProcess engine(kFourDrives);
    for (const auto& [word, mountPoint] : forms) {
        EXPECT_EQ(BannerAnd("Analyze started on drive " + std::string(mountPoint) + ".\n"), RunTool({L"/an", word}))
            << Narrow(word);
    }
}

TEST(AnalyzeCommand, TakesSeveralDrives)
{
    const EngineProcess engine(kFourDrives);
    EXPECT_EQ(SortedLines(BannerAnd("Analyze started on drive C:\\.\n"
                                    "Analyze started on drive D:\\Mounts\\Data\\ (Backup).\n")),
              SortedLines(RunTool({L"/an", L"C:", L"Q:", L"D:\\Mounts\\Data"})));
    EXPECT_THAT(engine.CallsOf("Analyze"),
                testing::UnorderedElementsAre(R"(Analyze(drive="C:\") -> 0x00000000)",
                                              R"(Analyze(drive="D:\Mounts\Data\") -> 0x00000000)"));
    // One notice for the whole batch.
    EXPECT_EQ(std::vector<std::string>{"Refresh() -> 0x00000000"}, engine.CallsOf("Refresh"));
}

TEST(AnalyzeCommand, TakesAllDrives)
{
    const EngineProcess engine(kFourDrives);
    EXPECT_EQ(SortedLines(BannerAnd("Analyze started on drive C:\\.\n"
                                    "Analyze started on drive D:\\.\n"
                                    "Analyze started on drive D:\\Mounts\\Data\\ (Backup).\n"
                                    "Analyze started on drive \\\\?\\Volume{0A1B-2C}.\n")),
              SortedLines(SimulatedComputer::Run({L"/an", L"/alldrives"})));
}

TEST(AnalyzeCommand, TakesAllDrivesWhateverElseIsNamed)
{
    const EngineProcess engine(kDriveC);
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"), SimulatedComputer::Run({L"/an", L"Q:", L"/alldrives"}));
}

TEST(AnalyzeCommand, AsksOnceForADriveThatIsNamedTwice)
{
    const EngineProcess engine(kFourDrives);
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"), RunTool({L"/an", L"C:", L"c", L"C:\\", L"C:"}));
    EXPECT_EQ(std::vector<std::string>{R"(Analyze(drive="C:\") -> 0x00000000)"}, engine.CallsOf("Analyze"));
}

TEST(AnalyzeCommand, AsksOnceForADriveThatTheEngineListsTwice)
{
    const EngineProcess engine("[engine]\ndrive-list = vol-c|vol-c\n" + std::string(kDriveC));
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"), RunTool({L"/an", L"C:"}));
    EXPECT_EQ(std::vector<std::string>{R"(Analyze(drive="C:\") -> 0x00000000)"}, engine.CallsOf("Analyze"));
}

TEST(AnalyzeCommand, NeedsADriveThatTheEngineKnows)
{
    const EngineProcess engine(kDriveC);
    const Outcome noDrives = BannerAnd(kNoDrives + UsageScreen(), 87);
    EXPECT_EQ(noDrives, RunTool({L"/an"}));
    EXPECT_EQ(noDrives, RunTool({L"/an", L"Q:"}));
    EXPECT_EQ(noDrives, RunTool({L"/an", L"C:\\Folder"}));
    EXPECT_EQ(noDrives, RunTool({L"/an", L"C:x"}));
    EXPECT_EQ(noDrives, RunTool({L"/an", L"/w"}));
}

TEST(AnalyzeCommand, FindsNoDriveWhereTheListCannotBeHad)
{
    const EngineProcess engine(kDriveC + Failing("GetDriveList", "0x80004005"));
    EXPECT_EQ(BannerAnd(kNoDrives + UsageScreen(), 87), RunTool({L"/an", L"C:"}));
    EXPECT_EQ(BannerAnd(kNoDrives + UsageScreen(), 87), SimulatedComputer::Run({L"/an", L"/alldrives"}));
}

TEST(AnalyzeCommand, PassesOverADriveWhoseNameCannotBeRead)
{
    const EngineProcess engine(kFourDrives + Failing("GetDriveName", "0x80004005", "C:\\"));
    EXPECT_EQ(BannerAnd("Analyze started on drive D:\\.\n"), SimulatedComputer::Run({L"/an", L"C:", L"D:"}));
}

TEST(AnalyzeCommand, LooksNoFurtherThanADriveThatCannotBeHad)
{
    const EngineProcess engine(kFourDrives + Failing("GetDrive", "0x80070015", "D:\\"));
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"),
              SimulatedComputer::Run({L"/an", L"C:", L"D:", L"D:\\Mounts\\Data\\"}));
}

// --- What goes wrong ---

struct AnalyzeFailure {
    const char* name;
    std::string fault;
    std::string text;
    std::uint32_t exitCode;
};

class FailedAnalysis : public testing::TestWithParam<AnalyzeFailure> {};

TEST_P(FailedAnalysis, IsReportedWithItsPlace)
{
    const EngineProcess engine(kDriveC + GetParam().fault);
    EXPECT_EQ(BannerAnd(GetParam().text, GetParam().exitCode), RunTool({L"/an", L"C:"}));
    // The notice goes out all the same.
    EXPECT_EQ(std::vector<std::string>{"Refresh() -> 0x00000000"}, engine.CallsOf("Refresh"));
}

INSTANTIATE_TEST_SUITE_P(
    Calls, FailedAnalysis,
    testing::Values(AnalyzeFailure{"CheckAccess", Failing("CheckAccess", "0x80070005"),
                                   "Unable to connect to specified computer, error access denied.\n", 0x20000004},
                    AnalyzeFailure{"GetDrive", Failing("GetDrive", "0x80070015", "C:\\", "2"),
                                   "Unable to get drive interface due to error " +
                                       ErrorText(0x80070015, "0x80070015 (2147942421)(Operations/#1425)") + "\n",
                                   0x15},
                    AnalyzeFailure{"GetMountPoint", Failing("GetMountPoint", "0x80070005", "C:\\"),
                                   "Unable to query drive mount point due to error " +
                                       ErrorText(0x80070005, "0x80070005 (2147942405)(Operations/#1436)") + "\n",
                                   5},
                    AnalyzeFailure{"Analyze", Failing("Analyze", "0x80004005", "C:\\"),
                                   "Analyze failed due to error " +
                                       ErrorText(0x80004005, "0x80004005 (2147500037)(Operations/#1446)") + "\n",
                                   0x4005}),
    [](const auto& test) { return test.param.name; });

TEST(FailedAnalysisText, IsThatOfTheLowBitsWhereTheSystemDoesNotKnowTheFailure)
{
    // Of a facility that no system has texts for; the low 16 bits are "access denied".
    const EngineProcess engine(kDriveC + Failing("Analyze", "0x8BAD0005"));
    EXPECT_EQ(
        BannerAnd("Analyze failed due to error " + ErrorText(5, "0x8BAD0005 (2343370757)(Operations/#1446)") + "\n", 5),
        RunTool({L"/an", L"C:"}));
}

TEST(FailedAnalysisText, IsNotAvailableForAFailureThatNobodyKnows)
{
    const EngineProcess engine(kDriveC + Failing("Analyze", "0x8BADEEEE"));
    EXPECT_EQ(BannerAnd("Analyze failed due to error \r\n"
                        "Error text:\r\n"
                        "Detailed error text is not available\r\n"
                        "Return code: 0x8BADEEEE (2343431918)(Operations/#1446)\n",
                        0xEEEE),
              RunTool({L"/an", L"C:"}));
}

TEST(AnalyzeCommand, ReturnsTheFailureOfOneOfItsDrives)
{
    const EngineProcess engine(kFourDrives + Failing("Analyze", "0x80070015", "D:\\"));
    EXPECT_EQ(SortedLines(BannerAnd("Analyze started on drive C:\\.\n"
                                    "Analyze failed due to error " +
                                        ErrorText(0x80070015, "0x80070015 (2147942421)(Operations/#1446)") + "\n",
                                    0x15)),
              SortedLines(SimulatedComputer::Run({L"/an", L"C:", L"D:"})));
}

TEST(AnalyzeCommand, ReturnsTheFailureOfTheDriveThatIsLastInTheEnginesOrder)
{
    const std::string faults = Failing("Analyze", "0x80070015", "C:\\") + Failing("Analyze", "0x80070005", "D:\\");
    const auto drives = [](const char* identityOfC, const char* identityOfD) {
        return std::string("[drive C:\\]\nidentity = ") + identityOfC + "\n[drive D:\\]\nidentity = " + identityOfD +
               '\n';
    };
    {
        const EngineProcess engine(drives("vol-1", "vol-2") + faults);
        EXPECT_EQ(5U, SimulatedComputer::Run({L"/an", L"C:", L"D:"}).exitCode);
    }
    {
        const EngineProcess engine(drives("vol-2", "vol-1") + faults);
        EXPECT_EQ(0x15U, SimulatedComputer::Run({L"/an", L"C:", L"D:"}).exitCode);
    }
}

// --- Waiting ---

TEST(AnalyzeCommand, WaitsForItsDrivesAndThenReturnsAFailure)
{
    // The first look at C: fails, which ends the wait; D: is not waited for.
    const SimulatedComputer computer(FastClock() + kFourDrives + Failing("GetDrive", "0x80004005", "C:\\", "3") +
                                     Failing("Analyze", "0x80070015", "D:\\"));
    const EngineProcess engine(computer);
    EXPECT_EQ(SortedLines(BannerAnd("Analyze started on drive C:\\.\n"
                                    "Analyze completed.\n"
                                    "Analyze failed due to error " +
                                        ErrorText(0x80070015, "0x80070015 (2147942421)(Operations/#1446)") + "\n",
                                    0x15)),
              SortedLines(SimulatedComputer::Run({L"/an", L"C:", L"D:", L"/w"})));
    EXPECT_EQ(std::vector<std::string>(), engine.CallsOf("GetState"));
}

TEST(AnalyzeCommand, ShowsNoStatisticsOfAnAnalysisThatFailedWithLowBitsOf0)
{
    const EngineProcess engine(kDriveC + Failing("Analyze", "0x80070000"));
    EXPECT_EQ(BannerAnd("Analyze failed due to error " +
                        ErrorText(0x80070000, "0x80070000 (2147942400)(Operations/#1446)") + "\n"),
              RunTool({L"/an", L"C:", L"/w"}));
}

TEST(AnalyzeCommand, GoesOnToTheStatisticsAfterTheWait)
{
    const SimulatedComputer computer(FastClock() + kDriveC + Failing("GetState", "0x80004005"));
    const EngineProcess engine(computer);
    EXPECT_THAT(SimulatedComputer::Run({L"/an", L"C:", L"/wait"}).output,
                testing::StartsWith(BannerAnd("Analyze started on drive C:\\.\nAnalyze completed.\n").output));
    EXPECT_EQ(std::vector<std::string>{"GetState() -> 0x80004005"}, engine.CallsOf("GetState"));
}

} // namespace
