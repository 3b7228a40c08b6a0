#include "engine_process.h"
#include "expected.h"
#include "simulated_computer.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

// --- Safe Boot ---

// Were COM touched, the run would end with 262.
constexpr char kComIsOutOfBounds[] = R"(
[windows-fault]
function = CoInitializeEx
error = 0x80010106
)";

constexpr char kSafeBootText[] = "Windows is running in Safe Boot mode\n"
                                 "and uses a minimal set of device drivers\n"
                                 "and services to start Windows.\n"
                                 "Velundra command line utility requires\n"
                                 "Windows to be started in the\n"
                                 "Normal mode to work properly.\n"
                                 "\n"
                                 "The application now exit.\n"
                                 "\n";

class SafeBoot : public testing::TestWithParam<const char*> {};

TEST_P(SafeBoot, EndsTheToolWhateverItIsAsked)
{
    const SimulatedComputer computer(std::string("[machine]\nboot = ") + GetParam() + kComIsOutOfBounds);
    const std::vector<std::vector<std::wstring>> lines = {{}, {L"/an", L"C:", L"/w"}, {L"/st", L"/c"}};
    for (const std::vector<std::wstring>& words : lines) {
        EXPECT_EQ((Outcome{Redirected(kSafeBootText), 0}), SimulatedComputer::Run(words)) << Narrow(JoinWords(words));
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, SafeBoot, testing::Values("safe", "network"),
                         [](const auto& test) { return std::string(test.param); });

TEST(NormalBoot, LetsTheToolWork)
{
    const SimulatedComputer computer("[machine]\nboot = normal\n");
    EXPECT_EQ(BannerAnd(UsageScreen()), SimulatedComputer::Run({L"/?"}));
}

// --- Exit codes, all 32 bits ---

struct ExitCode {
    const char* name;
    std::vector<std::wstring> words;
    Outcome outcome;
    const char* scenario = "";
};

constexpr char kForbidden[] = "[registry HKEY_CURRENT_USER\\Software\\Policies\\Kestrane\\Velundra\\14.0]\n"
                              "number = AllowLaunch, 0\n";

// Those of the engine's commands are in commands_test.cpp.
std::vector<ExitCode> ExitCodes()
{
    return {ExitCode{"NoCommand", {}, BannerAnd(UsageScreen())},
            ExitCode{"Help", {L"/?"}, BannerAnd(UsageScreen())},
            ExitCode{"UnknownCommand", {L"/xyz"}, BannerAnd(UsageScreen())},
            ExitCode{"ValueMissing", {L"/st", L"/c"}, {"", 13}},
            ExitCode{"LaunchForbidden",
                     {L"/?"},
                     BannerAnd("You do not have permission to launch Velundra.\n", 0x20000004),
                     kForbidden},
            ExitCode{"ComCannotBeInitialised",
                     {L"/st"},
                     {"", 262},
                     "[windows-fault]\nfunction = CoInitializeEx\ncall = 1\nerror = 0x80010106\n"},
            ExitCode{"SecurityCannotBeInitialised",
                     {L"/st"},
                     {"", 281},
                     "[windows-fault]\nfunction = CoInitializeSecurity\nerror = 0x80010119\n"},
            ExitCode{"NoControlHandler",
                     {L"/st"},
                     BannerAnd("Failed to set control handler (8).\n", 8),
                     "[windows-fault]\nfunction = SetConsoleCtrlHandler\nerror = 8\n"}};
}

TEST(ExitCodes, AreThoseOfTheTable)
{
    for (const ExitCode& row : ExitCodes()) {
        const SimulatedComputer computer(row.scenario);
        EXPECT_EQ(row.outcome, SimulatedComputer::Run(row.words)) << row.name;
    }
}

// --- The registry ---

TEST(ShownRegistry, IsGoneWithTheTool)
{
    const SimulatedComputer computer(kForbidden);
    EXPECT_EQ(0x20000004U, SimulatedComputer::Run({L"/?"}).exitCode);
    win::RegistryKey processes;
    DWORD left = 1;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Kestrane\\Simulator\\Processes", 0, KEY_READ,
                                           processes.Put()));
    ASSERT_EQ(ERROR_SUCCESS, RegQueryInfoKeyW(processes.Get(), nullptr, nullptr, nullptr, &left, nullptr, nullptr,
                                              nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(0U, left);
}

// --- This computer's name ---

TEST(MachineName, IsTheOneUnderWhichThisComputerIsMeant)
{
    const SimulatedComputer computer("[machine]\nname = TestServer\n[drive C:\\]\n"
                                     "[computer *]\nanswer = unreachable\n");
    const EngineProcess engine(computer);
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"), SimulatedComputer::Run({L"/st", L"/c", L"testserver"}));
    EXPECT_EQ(0x800706BAU, SimulatedComputer::Run({L"/st", L"/c", ComputerName()}).exitCode);
}

} // namespace
