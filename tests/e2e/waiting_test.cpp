#include "console.h"
#include "engine_process.h"
#include "expected.h"
#include "simulated_computer.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

using namespace e2e;

constexpr char kOnlineRun[] = "Online optimization started on drive C:\\.\n"
                              "Optimization completed.\n";

// --- A clock that goes faster ---

TEST(FastClock, LetsTheToolSeeADriveBusyAndThenIdleAgain)
{
    const SimulatedComputer computer(FastClock() + "[drive C:\\]\nidentity = vol-c\n" +
                                     Answering("GetState", "1", "7") + Answering("GetState", "2", "0"));
    const EngineProcess engine(computer);
    EXPECT_EQ(BannerAnd(kOnlineRun), SimulatedComputer::Run({L"/w", L"/dol", L"C:"}));
    EXPECT_EQ((std::vector<std::string>{"GetState() -> 0x00000000 state=7", "GetState() -> 0x00000000 state=0"}),
              engine.CallsOf("GetState"));
}

TEST(FastClock, IsTheToolsAndTheEnginesAlike)
{
    const SimulatedComputer computer(FastClock() + "[drive C:\\]\noffline-types = 7\n");
    const EngineProcess engine(computer);
    EXPECT_EQ(BannerAnd(kOnlineRun), SimulatedComputer::Run({L"/dol", L"C:", L"/w"}));
    EXPECT_EQ(BannerAnd("Offline optimization of System Files started on drive C:\\.\n"
                        "Optimization completed.\n"),
              SimulatedComputer::Run({L"/of", L"C:", L"/wait", L"/all"}));
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"), SimulatedComputer::Run({L"/st"}));
}

// --- What comes during a wait ---

// A number that the registry shows the tool which is running, or nothing. The key counts from the tool's scratch key.
std::optional<DWORD> NumberOfTheRunningTool(const std::wstring& key, const wchar_t* value)
{
    win::RegistryKey processes;
    RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Kestrane\\Simulator\\Processes", 0, KEY_READ, processes.Put());
    wchar_t process[256] = {};
    DWORD length = 256;
    if (RegEnumKeyExW(processes.Get(), 0, process, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    DWORD number = 0;
    DWORD size = sizeof number;
    const LSTATUS status =
        RegGetValueW(processes.Get(), (process + key).c_str(), value, RRF_RT_REG_DWORD, nullptr, &number, &size);
    return status == ERROR_SUCCESS ? std::optional(number) : std::nullopt;
}

std::optional<DWORD> PolicyOfTheRunningTool(const wchar_t* value)
{
    return NumberOfTheRunningTool(L"\\HKEY_CURRENT_USER\\Software\\Policies\\Kestrane\\Velundra\\14.0", value);
}

// Waits until something is so; false where it does not come about.
template <typename Condition>
bool ComesAbout(Condition condition)
{
    constexpr int kTries = 1500;
    constexpr DWORD kPause = 20;
    for (int i = 0; i < kTries && !condition(); ++i) {
        Sleep(kPause);
    }
    return condition();
}

// The drive works for longer than any test, until somebody stops it.
constexpr char kLongWork[] = R"([drive C:\]
defragment-seconds = 100000
)";

// Ends the drive's work once the tool has seen it, and so the tool's wait.
void EndWork(const EngineProcess& engine)
{
    ASSERT_TRUE(ComesAbout([&] { return !engine.CallsOf("GetState").empty(); }));
    ASSERT_EQ(BannerAnd("Drive C:\\ was stopped.\n"), SimulatedComputer::Run({L"/stop", L"C:"}));
}

TEST(PolicyChange, ComesDuringACommandAndDoesNotConcernIt)
{
    const SimulatedComputer computer(FastClock() + kLongWork +
                                     "[policy]\n"
                                     "change = 20, AllowOnlineDefrag, 0\n"
                                     "change = 30, AllowLaunch, 0\n"
                                     "change = 30, AllowOnlineDefrag, -\n");
    const EngineProcess engine(computer);
    Process tool = SimulatedComputer::Start({L"/dol", L"C:", L"/w"});
    ASSERT_TRUE(tool.ReadUntil("started"));
    EXPECT_TRUE(ComesAbout([] { return PolicyOfTheRunningTool(L"AllowLaunch") == 0U; }));
    EXPECT_TRUE(ComesAbout([] { return !PolicyOfTheRunningTool(L"AllowOnlineDefrag"); }));
    EXPECT_FALSE(tool.EndsWithin(0));
    EndWork(engine);
    EXPECT_EQ(BannerAnd(kOnlineRun), tool.Wait());
}

// Asked for after three of the tool's looks at the drive, long behind the change.
TEST(PolicyChange, DoesNotComeToAToolThatCannotRegister)
{
    constexpr char kRefused[] = "[windows-fault]\nfunction = RegisterGPNotification\nerror = 5\n";
    for (const std::string fault : {"", kRefused}) {
        const SimulatedComputer computer(FastClock() + kLongWork + "[policy]\nchange = 1, AllowLaunch, 0\n" + fault);
        const EngineProcess engine(computer);
        Process tool = SimulatedComputer::Start({L"/dol", L"C:", L"/w"});
        ASSERT_TRUE(ComesAbout([&] { return engine.CallsOf("GetState").size() >= 3; }));
        if (fault.empty()) {
            EXPECT_TRUE(ComesAbout([] { return PolicyOfTheRunningTool(L"AllowLaunch") == 0U; }));
        } else {
            EXPECT_FALSE(PolicyOfTheRunningTool(L"AllowLaunch"));
        }
        EndWork(engine);
        EXPECT_EQ(BannerAnd(kOnlineRun), tool.Wait());
    }
}

TEST(PolicyChange, StartsFromThePolicyOfTheRegistry)
{
    const RegistryValue forbidden(HKEY_CURRENT_USER, kPolicyKey, L"AllowAnalyze", 0U);
    const SimulatedComputer computer("[policy]\nchange = 1000, AllowLaunch, 0\n");
    EXPECT_EQ(BannerAnd("You do not have permission to analyze the drive(s).\n", 0x20000004),
              SimulatedComputer::Run({L"/an", L"C:"}));
}

TEST(ControlKeys, DoNotDisturbAWaitAndChangeNothingOfItsEnd)
{
    const SimulatedComputer computer(FastClock() + kLongWork +
                                     "[console]\n"
                                     "press = 12, ctrl-c\n"
                                     "press = 13, ctrl-break\n"
                                     "press = 13, Ctrl-C\n");
    const EngineProcess engine(computer); // does not belong to the console
    const TestConsole console;
    Process tool = SimulatedComputer::Start({L"/dol", L"C:", L"/w"});
    ASSERT_TRUE(tool.ReadUntil("started"));
    TestConsole::PressControlC();
    EXPECT_TRUE(ComesAbout([] { return NumberOfTheRunningTool(L"", L"Pressed") == 3U; }));
    EXPECT_FALSE(tool.EndsWithin(0));
    EndWork(engine);
    EXPECT_EQ(BannerAnd(kOnlineRun), tool.Wait());
    EXPECT_EQ(std::vector<std::string>(), engine.CallsOf("StopAll"));
}

class OtherConsoleEvents : public testing::TestWithParam<const char*> {};

// They go on to Windows, which ends the process; what the engine handed out is lost with it.
TEST_P(OtherConsoleEvents, EndTheTool)
{
    const SimulatedComputer computer(FastClock() + kLongWork + "[console]\npress = 12, " + GetParam() + '\n');
    EXPECT_EQ(0xC000013AU, SimulatedComputer::Run({L"/dol", L"C:", L"/w"}).exitCode);
    EXPECT_EQ(0U, RunEngine(L"/quit"));
}

INSTANTIATE_TEST_SUITE_P(Events, OtherConsoleEvents, testing::Values("close", "logoff", "shutdown"),
                         [](const auto& test) { return std::string(test.param); });

} // namespace
