#include "engine_process.h"
#include "expected.h"
#include "launching_only.h"
#include "registry_value.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

constexpr char kScenario[] = R"([drive C:\]
identity = vol-c
offline-types = 7
boot-types = 1
file = 5 C:\Reports
[schedule Nightly]
work = nothing
)";

constexpr char kNoDrives[] = "No drives specified for this operation.\n";
constexpr char kBadFiles[] = "Specified file(s) are in bad format.\n"
                             "Provide fully qualified path names.\n"
                             "Use quotes for files containing spaces.\n";

// Every command, and the value that forbids it, if there is one besides that for launching.
struct Command {
    const wchar_t* policy;
    std::vector<std::wstring> words;
    std::string refusal;
    std::string text; // where it is not refused
};

const std::string kNoOnline = "You do not have permission to perform an online defragmentation.\n";
const std::string kOnlineStarted = "Online optimization started on drive C:\\.\n";

const Command kCommands[] = {
    {L"AllowAnalyze",
     {L"/an", L"C:"},
     "You do not have permission to analyze the drive(s).\n",
     "Analyze started on drive C:\\.\n"},
    {L"AllowOnlineDefrag", {L"/dol", L"C:"}, kNoOnline, kOnlineStarted},
    {L"AllowOnlineDefrag", {L"/tw", L"C:"}, kNoOnline, kOnlineStarted},
    {L"AllowOnlineDefrag", {L"/cfs", L"C:"}, kNoOnline, kOnlineStarted},
    {L"AllowOnlineDefrag", {L"/ssd", L"C:"}, kNoOnline, kOnlineStarted},
    {L"AllowOnlineDefrag", {L"/prep", L"C:"}, kNoOnline, kOnlineStarted},
    {L"AllowOnlineDefrag", {L"/df", L"C:\\a.txt"}, kNoOnline, "Single File defragmentation started on drive C:\\.\n"},
    {L"AllowOfflineDefrag",
     {L"/of", L"C:"},
     "You do not have permission to perform an offline defragmentation.\n",
     "Offline optimization of System Files started on drive C:\\.\n"},
    {L"AllowRunSchedule", {L"/rs", L"Nightly"}, "You do not have permission to run the schedule operation.\n", ""},
    {nullptr, {L"/stop", L"C:"}, "", "Drive C:\\ was stopped.\n"},
    {nullptr, {L"/stop", L"/alldrives"}, "", "All drives were stopped.\n"},
    {nullptr, {L"/st"}, "", "Drive name: C:\\Status: Idle\n"},
    {nullptr,
     {L"/sb", L"C:"},
     "",
     "Drive C:\\ has been scheduled for an offline defrag of your system files on next reboot.\n"},
    {nullptr,
     {L"/cb", L"C:"},
     "",
     "Drive C:\\ has been removed from an offline defrag of your system files on next reboot.\n"},
    {nullptr, {L"/id", L"C:", L"5"}, "", "File Name C:\\Reports corresponds to id 5 on drive C:\n"},
    {nullptr, {L"/?"}, "", UsageScreen()},
};

TEST(NoPolicy, AllowsEverything)
{
    const EngineProcess engine(kScenario);
    for (const Command& command : kCommands) {
        EXPECT_EQ(BannerAnd(command.text), RunTool(command.words)) << Narrow(JoinWords(command.words));
    }
}

class PolicyValue : public testing::TestWithParam<const wchar_t*> {};

TEST_P(PolicyValue, RefusesItsCommandsAndNoOther)
{
    const RegistryValue value(HKEY_CURRENT_USER, kPolicyKey, GetParam(), 0U);
    const EngineProcess engine(kScenario);
    for (const Command& command : kCommands) {
        const bool refused = command.policy != nullptr && std::wstring_view(command.policy) == GetParam();
        EXPECT_EQ(refused ? BannerAnd(command.refusal, 0x20000004) : BannerAnd(command.text), RunTool(command.words))
            << Narrow(JoinWords(command.words));
    }
}

INSTANTIATE_TEST_SUITE_P(Values, PolicyValue,
                         testing::Values(L"AllowAnalyze", L"AllowOnlineDefrag", L"AllowOfflineDefrag",
                                         L"AllowRunSchedule"),
                         [](const auto& test) { return Narrow(test.param); });

TEST(PolicyData, AllowsWithOneAloneOrWithoutANumber)
{
    const EngineProcess engine(kScenario);
    const Outcome refused = BannerAnd("You do not have permission to analyze the drive(s).\n", 0x20000004);
    const Outcome allowed = BannerAnd("Analyze started on drive C:\\.\n");
    for (const std::uint32_t data : {0U, 2U, 0xFFFFFFFFU}) {
        const RegistryValue value(HKEY_CURRENT_USER, kPolicyKey, L"AllowAnalyze", data);
        EXPECT_EQ(refused, RunTool({L"/an", L"C:"})) << data;
    }
    {
        const RegistryValue value(HKEY_CURRENT_USER, kPolicyKey, L"AllowAnalyze", 1U);
        EXPECT_EQ(allowed, RunTool({L"/an", L"C:"}));
    }
    for (const wchar_t* const data : {L"0", L"1"}) {
        const RegistryValue value(HKEY_CURRENT_USER, kPolicyKey, L"AllowAnalyze", std::wstring(data));
        EXPECT_EQ(allowed, RunTool({L"/an", L"C:"})) << Narrow(data);
    }
}

TEST(LaunchPolicy, RefusesEveryCommand)
{
    const Outcome refused = BannerAnd("You do not have permission to launch Velundra.\n", 0x20000004);
    const EngineProcess engine(kScenario);
    {
        const RegistryValue value(HKEY_CURRENT_USER, kPolicyKey, L"AllowLaunch", 0U);
        for (const Command& command : kCommands) {
            EXPECT_EQ(refused, RunTool(command.words)) << Narrow(JoinWords(command.words));
        }
        const std::vector<std::vector<std::wstring>> others = {{}, {L"/bogus"}, {L"/si"}, {L"/sta", L"C:"}, {L"/rs"}};
        for (const std::vector<std::wstring>& words : others) {
            EXPECT_EQ(refused, RunTool(words)) << Narrow(JoinWords(words));
        }
    }
    for (const std::uint32_t data : {2U, 0xFFFFFFFFU}) {
        const RegistryValue value(HKEY_CURRENT_USER, kPolicyKey, L"AllowLaunch", data);
        EXPECT_EQ(refused, RunTool({L"/?"})) << data;
    }
    EXPECT_EQ(std::vector<std::string>(), engine.Log());
    {
        const RegistryValue value(HKEY_CURRENT_USER, kPolicyKey, L"AllowLaunch", std::wstring(L"0"));
        EXPECT_EQ(BannerAnd(UsageScreen()), RunTool({L"/?"}));
    }
}

TEST(LaunchPolicy, IsNotAskedForALineThatCannotBeRead)
{
    const RegistryValue value(HKEY_CURRENT_USER, kPolicyKey, L"AllowLaunch", 0U);
    EXPECT_EQ((Outcome{"", 13}), RunTool({L"/an", L"/c"}));
}

TEST(Policy, AsksNothingOfTheEngineForARefusedCommand)
{
    const LaunchingOnly policy;
    const EngineProcess engine(kScenario);
    for (const Command& command : kCommands) {
        if (command.policy != nullptr) {
            EXPECT_EQ(BannerAnd(command.refusal, 0x20000004), RunTool(command.words))
                << Narrow(JoinWords(command.words));
        }
    }
    EXPECT_EQ(std::vector<std::string>(), engine.Log());
}

TEST(Policy, HasNoSwitchForStatusStoppingSchedulingForBootAndFileNames)
{
    const LaunchingOnly policy;
    const EngineProcess engine(kScenario);
    for (const Command& command : kCommands) {
        if (command.policy == nullptr) {
            EXPECT_EQ(BannerAnd(command.text), RunTool(command.words)) << Narrow(JoinWords(command.words));
        }
    }
}

TEST(Policy, IsAskedBeforeTheDrivesAreGathered)
{
    const LaunchingOnly policy;
    EXPECT_EQ(BannerAnd("You do not have permission to analyze the drive(s).\n", 0x20000004), RunTool({L"/an"}));
    EXPECT_EQ(BannerAnd(kNoOnline, 0x20000004), RunTool({L"/dol"}));
    EXPECT_EQ(BannerAnd("You do not have permission to perform an offline defragmentation.\n", 0x20000004),
              RunTool({L"/of", L"/all"}));
}

TEST(Policy, IsAskedAfterTheFilesAndTheWordsAreCounted)
{
    const LaunchingOnly policy;
    EXPECT_EQ(BannerAnd(kBadFiles + UsageScreen(), 87), RunTool({L"/df"}));
    EXPECT_EQ(BannerAnd(kBadFiles + UsageScreen(), 87), RunTool({L"/df", L"a.txt"}));
    EXPECT_EQ(BannerAnd(UsageScreen(), 87), RunTool({L"/rs"}));
    EXPECT_EQ(BannerAnd(kNoDrives + UsageScreen(), 87), RunTool({L"/sta"}));
}

TEST(Policy, IsAskedBeforeTheDriveOfTheFilesIsLookedFor)
{
    const RegistryValue value(HKEY_CURRENT_USER, kPolicyKey, L"AllowOnlineDefrag", 0U);
    const EngineProcess engine(kScenario);
    EXPECT_EQ(BannerAnd(kNoOnline, 0x20000004), RunTool({L"/df", L"Q:\\a.txt"}));
    EXPECT_EQ(std::vector<std::string>(), engine.Log());
}

} // namespace
