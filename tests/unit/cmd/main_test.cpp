#include "messages/console_output.h"
#include "support/arguments.h"
#include "support/failing_memory.h"
#include "support/installed_program.h"
#include "support/known_commands.h"
#include "support/numbered_messages.h"
#include "support/product_test.h"
#include "support/standard_output.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <initializer_list>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

extern "C" int wmain(int argc, wchar_t** argv, wchar_t** environment);

namespace {

using namespace testing_support;

constexpr char kSafeBootRefusal[] = "Windows is running in Safe Boot mode\r\n"
                                    "and uses a minimal set of device drivers\r\n"
                                    "and services to start Windows.\r\n"
                                    "Velundra command line utility requires\r\n"
                                    "Windows to be started in the\r\n"
                                    "Normal mode to work properly.\r\n"
                                    "\r\n"
                                    "The application now exit.\r\n"
                                    "\r\n";

// The banner and the usage screen as they leave the process.
std::string BannerAndUsage()
{
    std::string bytes = "Velundra 14.0\r\n";
    for (const wchar_t c : std::wstring_view(kUsageScreen)) {
        bytes.append(c == L'\n' ? "\r" : "").push_back(static_cast<char>(c));
    }
    return bytes;
}

// Starts the program as the runtime does. COM's security, which a process can set only once, is Windows' no more.
class Program : public EngineTest {
protected:
    static std::uint32_t Run(const Words& words)
    {
        Arguments arguments(words);
        return static_cast<std::uint32_t>(wmain(arguments.Count(), arguments.Values(), nullptr));
    }

    // How often the main thread has called the function. The policy monitor's thread goes its own way.
    [[nodiscard]] int Calls(const std::string& function) const
    {
        return static_cast<int>(std::count_if(steps.begin(), steps.end(),
                                              [&](const std::string& step) { return step.starts_with(function); }));
    }

    int bootMode = 0;
    UINT errorMode = 0; // as the program has set it
    HRESULT comResult = S_OK;
    HRESULT securityResult = S_OK;
    std::vector<std::string> steps; // the main thread's calls of Windows, in order

    StandardOutput out = StandardOutput::Redirected(CP_UTF8);
    Replaced<"SetErrorMode", decltype(::SetErrorMode)> setErrorMode{[this](UINT mode) {
        Note("SetErrorMode");
        errorMode = mode;
        return setErrorMode.Original(mode);
    }};
    Replaced<"GetSystemMetrics", decltype(::GetSystemMetrics)> getMetrics{[this](int index) {
        Note("GetSystemMetrics " + std::to_string(index));
        return bootMode;
    }};
    Replaced<"CoInitializeEx", decltype(::CoInitializeEx)> initializeCom{[this](LPVOID reserved, DWORD model) {
        Note("CoInitializeEx " + std::string(reserved == nullptr ? "NULL " : "? ") + std::to_string(model));
        const HRESULT real = SUCCEEDED(comResult) ? initializeCom.Original(reserved, model) : comResult;
        return FAILED(real) ? real : comResult;
    }};
    Replaced<"CoInitializeSecurity", decltype(::CoInitializeSecurity)> initializeSecurity{[this](auto...) {
        Note("CoInitializeSecurity");
        return securityResult;
    }};
    Replaced<"SetConsoleCtrlHandler", decltype(::SetConsoleCtrlHandler)> setHandler{[this](PHANDLER_ROUTINE, BOOL) {
        Note("SetConsoleCtrlHandler");
        return TRUE;
    }};
    Replaced<"CoUninitialize", decltype(::CoUninitialize)> uninitializeCom{[this] {
        Note("CoUninitialize");
        uninitializeCom.Original();
    }};
    Replaced<"_wputenv", decltype(::_wputenv)> putEnvironment{[](const wchar_t*) { return 0; }};

private:
    // Tells where the output stood, too.
    void Note(const std::string& step)
    {
        if (GetCurrentThreadId() == mainThread_) {
            steps.push_back(step + (out.writes.empty() ? "" : " after output"));
        }
    }

    const DWORD mainThread_ = GetCurrentThreadId();
};

class Starting : public Program {};

TEST_F(Starting, AsksForSafeBootOpensComSecuresItRunsTheCommandAndClosesCom)
{
    EXPECT_EQ(0U, Run({L"/?"}));
    EXPECT_EQ((std::vector<std::string>{"SetErrorMode", "GetSystemMetrics 67", "CoInitializeEx NULL 0",
                                        "CoInitializeSecurity", "SetConsoleCtrlHandler after output",
                                        "CoUninitialize after output"}),
              steps);
    EXPECT_EQ(BannerAndUsage(), out.Bytes());
    EXPECT_EQ(0, putEnvironment.Calls());
}

TEST_F(Starting, KeepsWindowsFromAskingTheUserAndLeavesWhatTheCallerHasSwitchedOff)
{
    const UINT before = GetErrorMode();
    for (const auto& [inherited, expected] :
         {std::pair<UINT, UINT>{0, 0x8001}, {SEM_NOGPFAULTERRORBOX, 0x8003}, {0x8001, 0x8001}}) {
        setErrorMode.Original(inherited);
        EXPECT_EQ(0U, Run({L"/?"}));
        // One flag cannot be taken back once it has been set, as the test's own framework does.
        EXPECT_EQ(expected, errorMode & ~static_cast<UINT>(SEM_NOALIGNMENTFAULTEXCEPT));
    }
    setErrorMode.Original(before);
}

TEST_F(Starting, ShowsBannerAndUsageWithoutACommandAndForAnUnknownOne)
{
    for (const Words& words : {Words{}, Words{L"/bogus"}, Words{L"/w"}, Words{L"C:", L"/st"}}) {
        out.writes.clear();
        EXPECT_EQ(0U, Run(words));
        EXPECT_EQ(BannerAndUsage(), out.Bytes());
    }
}

TEST_F(Starting, WritesEveryLineInOneWrite)
{
    EXPECT_EQ(0U, Run({L"/?"}));
    // The banner, 55 messages and 17 empty lines.
    EXPECT_EQ(73U, out.writes.size());
    for (const std::string& write : out.writes) {
        EXPECT_EQ(write.size() - 2, write.find("\r\n")) << write;
    }
}

TEST_F(Starting, TakesPartInAnApartmentThatThereIsAlready)
{
    comResult = S_FALSE;
    EXPECT_EQ(0U, Run({L"/?"}));
    EXPECT_EQ(BannerAndUsage(), out.Bytes());
    EXPECT_EQ(1, Calls("CoUninitialize"));
}

TEST_F(Starting, EndsSilentlyWithTheLow16BitsOfAFailingCoInitializeEx)
{
    const std::pair<HRESULT, std::uint32_t> cases[] = {
        {RPC_E_CHANGED_MODE, 262}, {E_OUTOFMEMORY, 14}, {E_FAIL, 16389}, {static_cast<HRESULT>(0x80000000), 0}};
    for (const auto& [result, code] : cases) {
        comResult = result;
        EXPECT_EQ(code, Run({L"/?"}));
    }
    EXPECT_EQ("", out.Bytes());
    EXPECT_EQ(0, Calls("CoInitializeSecurity"));
    EXPECT_EQ(0, Calls("CoUninitialize"));
    EXPECT_EQ(0, putEnvironment.Calls());
}

TEST_F(Starting, EndsSilentlyWithTheLow16BitsOfAFailingCoInitializeSecurityAndLeavesComOpen)
{
    securityResult = RPC_E_TOO_LATE;
    EXPECT_EQ(281U, Run({L"/?"}));
    EXPECT_EQ("", out.Bytes());
    EXPECT_EQ(0, Calls("CoUninitialize"));
    EXPECT_EQ(0, putEnvironment.Calls());
    ASSERT_EQ(1, census.ComBalance());
    CoUninitialize();
}

TEST_F(Starting, EndsWithAll32BitsOfTheCommandsResult)
{
    engine.activation = REGDB_E_CLASSNOTREG;
    EXPECT_EQ(0x80040154, Run({L"/st"}));
    EXPECT_EQ("Velundra 14.0\r\nVelundra is not installed on computer ''\r\n", out.Bytes());
    EXPECT_EQ(1, Calls("CoUninitialize"));
    EXPECT_EQ(0, putEnvironment.Calls());
}

TEST_F(Starting, ReachesTheEngineWhileComIsOpen)
{
    engine.AddDrive(L"C:\\");
    int callsWhileComIsOpen = 0;
    engine.onCall = [&](const std::wstring&) {
        callsWhileComIsOpen += Calls("CoInitializeEx") - Calls("CoUninitialize");
    };
    EXPECT_EQ(0U, Run({L"/ST"}));
    EXPECT_EQ(static_cast<int>(engine.Calls().size()), callsWhileComIsOpen);
    EXPECT_GT(callsWhileComIsOpen, 0);
    EXPECT_EQ("Velundra 14.0\r\nDrive name: C:\\Status: Idle\r\n", out.Bytes());
}

TEST_F(Starting, PutsTheOutputBackThatThereWas)
{
    Run({L"/?"});
    PrintLine(L"afterwards");
    // That one is a console.
    EXPECT_EQ(L"afterwards\r\n", out.ConsoleText());
    EXPECT_EQ(BannerAndUsage(), out.Bytes());
}

// The devices that refuse an output, and what the run makes of it.
class StartingWithARefusedOutput : public Program {
protected:
    // Has every write from now on end with the error.
    void Refuse(DWORD error)
    {
        out.taking = [error](std::size_t) {
            SetLastError(error);
            return std::nullopt;
        };
    }
};

TEST_F(StartingWithARefusedOutput, EndsWithTheErrorWhereItHasSucceededOtherwise)
{
    for (const DWORD error :
         std::initializer_list<DWORD>{ERROR_DISK_FULL, ERROR_HANDLE_DISK_FULL, ERROR_ACCESS_DENIED, ERROR_IO_DEVICE}) {
        Refuse(error);
        EXPECT_EQ(error, Run({L"/?"}));
    }
    // Nothing more is tried behind the first line of each run.
    EXPECT_EQ(4, out.Tries());
}

TEST_F(StartingWithARefusedOutput, EndsWithItsOwnResultWhereItHasFailed)
{
    Refuse(ERROR_DISK_FULL);
    engine.activation = REGDB_E_CLASSNOTREG;
    EXPECT_EQ(0x80040154, Run({L"/st"}));
}

TEST_F(StartingWithARefusedOutput, EndsWithTheErrorInSafeBoot)
{
    Refuse(ERROR_DISK_FULL);
    bootMode = 1;
    EXPECT_EQ(112U, Run({L"/?"}));
}

TEST_F(StartingWithARefusedOutput, DoesItsWorkAllTheSame)
{
    engine.AddDrive(L"C:\\");
    Refuse(ERROR_DISK_FULL);
    EXPECT_EQ(112U, Run({L"/dol", L"C:"}));
    EXPECT_EQ(1, engine.CountCalls(L"OptimizeOnline"));
}

TEST_F(StartingWithARefusedOutput, SucceedsWhereNobodyReads)
{
    for (const DWORD error : std::initializer_list<DWORD>{ERROR_BROKEN_PIPE, ERROR_NO_DATA, ERROR_PIPE_NOT_CONNECTED,
                                                          ERROR_INVALID_HANDLE}) {
        Refuse(error);
        EXPECT_EQ(0U, Run({L"/?"}));
    }
    EXPECT_EQ(4, out.Tries());
}

TEST_F(StartingWithARefusedOutput, SucceedsWithoutAStandardOutput)
{
    for (const HANDLE missing : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        const Replaced<"GetStdHandle", decltype(::GetStdHandle)> getHandle([missing](DWORD) { return missing; });
        EXPECT_EQ(0U, Run({L"/?"}));
    }
    EXPECT_EQ(0, out.Tries());
}

class StartingInSafeBoot : public Program, public ::testing::WithParamInterface<int> {};

TEST_P(StartingInSafeBoot, PrintsTheRefusalEndsWith0AndLeavesComAlone)
{
    bootMode = GetParam();
    for (const Words& words : {Words{}, Words{L"/?"}, Words{L"/st"}, Words{L"/an", L"C:", L"/c"}}) {
        out.writes.clear();
        steps.clear();
        EXPECT_EQ(0U, Run(words));
        EXPECT_EQ(kSafeBootRefusal, out.Bytes());
        EXPECT_EQ((std::vector<std::string>{"SetErrorMode", "GetSystemMetrics 67"}), steps);
    }
    EXPECT_EQ(0, putEnvironment.Calls());
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_P(StartingInSafeBoot, DoesNotLookAtTheCommandLine)
{
    bootMode = GetParam();
    EXPECT_EQ(0, wmain(3, nullptr, nullptr));
    EXPECT_EQ(kSafeBootRefusal, out.Bytes());
}

TEST_P(StartingInSafeBoot, LoadsNoTranslation)
{
    const InstalledProgram program;
    program.Translate(1031, L"German", {L"5897\t\"The application now exit.\"\t\"Das Programm endet.\""});
    bootMode = GetParam();
    EXPECT_EQ(0U, Run({}));
    EXPECT_EQ(kSafeBootRefusal, out.Bytes());
}

INSTANTIATE_TEST_SUITE_P(Modes, StartingInSafeBoot, ::testing::Values(1, 2));

class StartingInNormalMode : public Program, public ::testing::WithParamInterface<int> {};

TEST_P(StartingInNormalMode, RunsTheCommand)
{
    bootMode = GetParam();
    EXPECT_EQ(0U, Run({L"/?"}));
    EXPECT_EQ(BannerAndUsage(), out.Bytes());
}

INSTANTIATE_TEST_SUITE_P(Modes, StartingInNormalMode, ::testing::Values(0, 3, -1),
                         [](const auto& test) { return test.param < 0 ? "Negative" : std::to_string(test.param); });

class RunningOutOfMemory : public Program {
protected:
    struct Ending {
        std::uint32_t exitCode;
        bool failed;       // whether the allocation came
        bool beforeOutput; // whether it came before the first line
    };

    Ending RunWithFailingAllocation(int allocation,
                                    FailingMemory::Afterwards afterwards = FailingMemory::Afterwards::Enough)
    {
        out.writes.clear();
        Arguments arguments({L"/?"});
        const FailingMemory* failing = nullptr;
        bool beforeOutput = false;
        out.taking = [&](std::size_t offered) {
            beforeOutput = beforeOutput || (out.writes.empty() && failing->HasFailed());
            return offered;
        };
        const FailingMemory memory(allocation, afterwards);
        failing = &memory;
        const int exitCode = wmain(arguments.Count(), arguments.Values(), nullptr);
        return {static_cast<std::uint32_t>(exitCode), memory.HasFailed(), beforeOutput};
    }
};

TEST_F(RunningOutOfMemory, EndsWith14BeforeComIsOpen)
{
    const Replaced<"GetSystemMetrics", decltype(::GetSystemMetrics)> metrics(
        [](int) -> int { throw std::bad_alloc(); });
    EXPECT_EQ(14U, Run({L"/?"}));
    EXPECT_EQ("", out.Bytes());
    EXPECT_EQ(0, Calls("CoUninitialize"));
}

TEST_F(RunningOutOfMemory, EndsWith14AndClosesCom)
{
    const Replaced<"SetConsoleCtrlHandler", decltype(::SetConsoleCtrlHandler)> install(
        [](PHANDLER_ROUTINE, BOOL) -> BOOL { throw std::bad_alloc(); });
    EXPECT_EQ(14U, Run({L"/?"}));
    EXPECT_EQ("Velundra 14.0\r\n", out.Bytes());
    EXPECT_EQ(1, Calls("CoUninitialize"));
    EXPECT_EQ(0, putEnvironment.Calls());
}

TEST_F(RunningOutOfMemory, EndsWith14ForATextLongerThanAnyMemory)
{
    const Replaced<"SetConsoleCtrlHandler", decltype(::SetConsoleCtrlHandler)> install(
        [](PHANDLER_ROUTINE, BOOL) -> BOOL { throw std::length_error("too long"); });
    EXPECT_EQ(14U, Run({L"/?"}));
    EXPECT_EQ(1, Calls("CoUninitialize"));
}

// Whether the lines were written but for one, of which only the line end was.
bool LackOneText(const std::vector<std::string>& written, const std::vector<std::string>& lines)
{
    if (written.size() != lines.size()) {
        return false;
    }
    const auto [line, other] = std::mismatch(lines.begin(), lines.end(), written.begin());
    return line != lines.end() && *other == "\r\n" && std::equal(line + 1, lines.end(), other + 1);
}

// Every allocation of a run fails in turn: the first, the second, and so on until there is none left to fail. A
// translation that there is no memory to load is done without, a text that there is none to convert is printed empty;
// everything else ends the program.
TEST_F(RunningOutOfMemory, EndsWith14WhicheverAllocationFails)
{
    ASSERT_EQ(0U, Run({L"/?"}));
    const std::vector<std::string> lines = out.writes;
    ASSERT_EQ(BannerAndUsage(), out.Bytes());
    std::vector<int> unnoticed; // allocations whose failure had none of these effects
    int allocation = 1;
    for (Ending run = RunWithFailingAllocation(1); run.failed; run = RunWithFailingAllocation(++allocation)) {
        const bool doesWithout = LackOneText(out.writes, lines) || (run.beforeOutput && out.writes == lines);
        if (run.exitCode != 14 && !(run.exitCode == 0 && doesWithout)) {
            unnoticed.push_back(allocation);
        }
        ASSERT_EQ(0, census.ComBalance()) << "allocation " << allocation;
    }
    EXPECT_THAT(unnoticed, ::testing::IsEmpty());
    // At least one for each message.
    EXPECT_GT(allocation, 55);
    EXPECT_EQ(BannerAndUsage(), out.Bytes());
}

// The same where memory stays out from then on, also while the failure is on its way out.
TEST_F(RunningOutOfMemory, EndsWith14OrPrintsEmptyTextsWhereItStaysOut)
{
    ASSERT_EQ(0U, Run({L"/?"}));
    const std::vector<std::string> lines = out.writes;
    int endings = 0; // of runs that had printed something before
    int allocation = 1;
    for (Ending run = RunWithFailingAllocation(1, FailingMemory::Afterwards::None); run.failed;
         run = RunWithFailingAllocation(++allocation, FailingMemory::Afterwards::None)) {
        ASSERT_TRUE(run.exitCode == 14 || (run.exitCode == 0 && out.writes.size() == lines.size())) << allocation;
        ASSERT_TRUE(std::equal(
            out.writes.begin(), out.writes.end(), lines.begin(),
            [](const std::string& written, const std::string& line) { return written == line || written == "\r\n"; }))
            << allocation;
        ASSERT_EQ(0, census.ComBalance()) << allocation;
        endings += run.exitCode == 14 && !out.writes.empty() ? 1 : 0;
    }
    // At least one for each message.
    EXPECT_GT(endings, 55);
}

} // namespace
