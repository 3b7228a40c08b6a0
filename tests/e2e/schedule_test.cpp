#include "engine_process.h"
#include "expected.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

constexpr char kScenario[] = R"([engine]
analyze-seconds = 600
defragment-seconds = 600
[drive C:\]
[drive D:\]
[schedule Nightly]
work = defragment
drives = D:\
[schedule Weekly  analysis of "all"]
work = analyze
)";

TEST(RunScheduleCommand, AsksTheServiceForTheScheduleAndSendsTheNotice)
{
    const EngineProcess engine(kScenario);
    EXPECT_EQ(BannerAnd(""), RunTool({L"/rs", L"Nightly"}));
    // The notice may be sent before or after the schedule is given back.
    const std::vector<std::string> log = engine.Log();
    ASSERT_GE(log.size(), 3U);
    EXPECT_EQ((std::vector<std::string>{
                  "VLService::CreateInstance(iid=IVLService) -> 0x00000000 object=service#1",
                  "service#1 IVLService::GetSchedule() -> 0x00000000 schedule=schedule#1",
                  "schedule#1 IVLSchedule::RunByName(scheduleName=\"Nightly\") -> 0x00000000",
              }),
              std::vector<std::string>(log.begin(), log.begin() + 3));
    EXPECT_EQ((std::vector<std::string>{
                  "CreateInstance(iid=IVLService) -> 0x00000000 object=service#1",
                  "CreateInstance(iid=IVLRefresh) -> 0x00000000 object=service#2",
              }),
              engine.CallsOf("CreateInstance"));
    EXPECT_EQ(std::vector<std::string>{"Refresh() -> 0x00000000"}, engine.CallsOf("Refresh"));
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"
                        "Drive name: D:\\Status: Defragmenting\n"),
              RunTool({L"/st"}));
}

TEST(RunScheduleCommand, PassesTheNameAsItWasTyped)
{
    const EngineProcess engine(kScenario);
    EXPECT_EQ(BannerAnd(""), RunTool({L"/rs", L"Weekly  analysis of \"all\"", L"ignored", L"C:"}));
    EXPECT_EQ(std::vector<std::string>{"RunByName(scheduleName=\"Weekly  analysis of \"all\"\") -> 0x00000000"},
              engine.CallsOf("RunByName"));
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Analyzing\n"
                        "Drive name: D:\\Status: Analyzing\n"),
              RunTool({L"/st"}));
}

TEST(RunScheduleCommand, ReturnsThatTheScheduleIsUnknown)
{
    const EngineProcess engine(kScenario);
    EXPECT_EQ(BannerAnd("", 2), RunTool({L"/rs", L"Monthly"}));
    EXPECT_EQ(BannerAnd("", 2), RunTool({L"/rs", L""}));
    EXPECT_EQ((std::vector<std::string>{"RunByName(scheduleName=\"Monthly\") -> 0x80070002",
                                        "RunByName(scheduleName=\"\") -> 0x80070002"}),
              engine.CallsOf("RunByName"));
    EXPECT_EQ(std::vector<std::string>(), engine.CallsOf("Refresh"));
}

TEST(RunScheduleCommand, NeedsAName)
{
    const EngineProcess engine(kScenario);
    EXPECT_EQ(BannerAnd(UsageScreen(), 87), RunTool({L"/rs"}));
    EXPECT_EQ(BannerAnd(UsageScreen(), 87), RunTool({L"/rs", L"/w", L"/c", ComputerName(), L"/all"}));
    EXPECT_EQ(std::vector<std::string>(), engine.Log());
}

struct ScheduleFailure {
    const char* name;
    std::string fault;
    std::string text;
    std::uint32_t exitCode;
};

class FailedSchedule : public testing::TestWithParam<ScheduleFailure> {};

TEST_P(FailedSchedule, IsReturned)
{
    const EngineProcess engine(kScenario + GetParam().fault);
    EXPECT_EQ(BannerAnd(GetParam().text, GetParam().exitCode), RunTool({L"/rs", L"Nightly"}));
}

INSTANTIATE_TEST_SUITE_P(
    Calls, FailedSchedule,
    testing::Values(
        ScheduleFailure{"NotInstalled", Failing("VLService::CreateInstance", "0x80040154"),
                        "Velundra is not installed on computer ''\n", 0x20000002},
        ScheduleFailure{"Denied", Failing("VLService::CreateInstance", "0x80070005"),
                        "You do not have permission to connect to Velundra on computer ''.  You must be a member of "
                        "the Local Admin group.\n",
                        0x20000002},
        ScheduleFailure{"Unreachable", Failing("VLService::CreateInstance", "0x800706BA"),
                        "Could not connect to computer ''.  Verify the name is correct and the machine is turned "
                        "on.\n",
                        0x20000002},
        ScheduleFailure{"GetSchedule", Failing("GetSchedule", "0x80070015"), "", 0x15},
        ScheduleFailure{"RunByName", Failing("RunByName", "0x80070005"), "", 5},
        ScheduleFailure{"Refresh", Failing("Refresh", "0x80070005"), "", 0}),
    [](const auto& test) { return test.param.name; });

} // namespace
