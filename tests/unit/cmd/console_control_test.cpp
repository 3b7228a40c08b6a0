#include "cmd/console_control.h"

#include "engine/stop_event.h"
#include "support/product_test.h"

#include <string>
#include <vector>

namespace {

using namespace testing_support;

// The events that Windows tells a console program of.
constexpr DWORD kOtherEvents[] = {CTRL_CLOSE_EVENT, 3, 4, CTRL_LOGOFF_EVENT, CTRL_SHUTDOWN_EVENT, 0xFFFFFFFF};
constexpr DWORD kStopEvents[] = {CTRL_C_EVENT, CTRL_BREAK_EVENT};

class ConsoleControl : public ProductTest {
protected:
    std::vector<std::string> steps; // what the handler did, in order

    Replaced<"SetEvent", decltype(::SetEvent)> setEvent{[this](HANDLE event) {
        steps.emplace_back(event == StopEvent ? "signal StopEvent" : "signal another event");
        return setEvent.Original(event);
    }};
    Replaced<"Sleep", decltype(::Sleep)> sleep{
        [this](DWORD milliseconds) { steps.push_back("sleep " + std::to_string(milliseconds)); }};
};

// The same with a StopEvent, which the program itself never makes.
class ConsoleControlWithStopEvent : public ConsoleControl {
protected:
    void SetUp() override { StopEvent = event_.Get(); }
    void TearDown() override
    {
        StopEvent = nullptr;
        event_.Reset();
        ConsoleControl::TearDown();
    }

    static bool IsSignalled() { return WaitForSingleObject(StopEvent, 0) == WAIT_OBJECT_0; }

private:
    win::KernelHandle event_{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

TEST_F(ConsoleControl, SwallowsCtrlCAndCtrlBreakWithoutSideEffects)
{
    for (const DWORD event : kStopEvents) {
        EXPECT_EQ(TRUE, ConsoleCtrlHandler(event)) << event;
    }
    EXPECT_TRUE(steps.empty());
    EXPECT_EQ(nullptr, StopEvent);
    EXPECT_EQ(L"", output.Text());
}

TEST_F(ConsoleControl, PassesEveryOtherEventOn)
{
    for (const DWORD event : kOtherEvents) {
        EXPECT_EQ(FALSE, ConsoleCtrlHandler(event)) << event;
    }
    EXPECT_TRUE(steps.empty());
}

TEST_F(ConsoleControlWithStopEvent, SignalsItAndThenGivesTheOperationFiveSeconds)
{
    for (const DWORD event : kStopEvents) {
        steps.clear();
        ResetEvent(StopEvent);
        EXPECT_EQ(TRUE, ConsoleCtrlHandler(event)) << event;
        EXPECT_EQ((std::vector<std::string>{"signal StopEvent", "sleep 5000"}), steps);
        EXPECT_TRUE(IsSignalled());
    }
}

TEST_F(ConsoleControlWithStopEvent, LeavesItAloneForEveryOtherEvent)
{
    for (const DWORD event : kOtherEvents) {
        EXPECT_EQ(FALSE, ConsoleCtrlHandler(event)) << event;
    }
    EXPECT_TRUE(steps.empty());
    EXPECT_FALSE(IsSignalled());
}

// Installs the handler where Windows answers as told.
class InstallingConsoleControl : public ProductTest {
protected:
    // Lets Windows refuse the handler with this error.
    void Refuse(DWORD error)
    {
        refuses_ = true;
        refusal_ = error;
    }

    std::vector<std::wstring> environment; // what was put into it

    PHANDLER_ROUTINE installed = nullptr;
    BOOL add = FALSE;
    Replaced<"SetConsoleCtrlHandler", decltype(::SetConsoleCtrlHandler)> setHandler{
        [this](PHANDLER_ROUTINE routine, BOOL adding) {
            installed = routine;
            add = adding;
            SetLastError(refusal_);
            return refuses_ ? FALSE : TRUE;
        }};

private:
    bool refuses_ = false;
    DWORD refusal_ = ERROR_SUCCESS;
    Replaced<"_wputenv", decltype(::_wputenv)> putEnvironment_{[this](const wchar_t* text) {
        environment.emplace_back(text);
        return 0;
    }};
};

TEST_F(InstallingConsoleControl, AddsTheHandlerAndSaysNothing)
{
    EXPECT_EQ(std::nullopt, InstallConsoleCtrlHandler());
    EXPECT_EQ(&ConsoleCtrlHandler, installed);
    EXPECT_EQ(TRUE, add);
    EXPECT_EQ(1, setHandler.Calls());
    EXPECT_EQ(L"", output.Text());
    EXPECT_TRUE(environment.empty());
}

TEST_F(InstallingConsoleControl, PrintsReturnsAndPublishesTheErrorOfARefusal)
{
    Refuse(5);
    EXPECT_EQ(std::optional(5U), InstallConsoleCtrlHandler());
    EXPECT_EQ(L"Failed to set control handler (5).\n", output.Text());
    EXPECT_EQ((std::vector<std::wstring>{L"ERRORLEVEL=5"}), environment);
}

TEST_F(InstallingConsoleControl, PrintsTheErrorAsAnUnsignedNumber)
{
    Refuse(0x80070005);
    EXPECT_EQ(std::optional(0x80070005U), InstallConsoleCtrlHandler());
    EXPECT_EQ(L"Failed to set control handler (2147942405).\n", output.Text());
    EXPECT_EQ((std::vector<std::wstring>{L"ERRORLEVEL=2147942405"}), environment);
}

TEST_F(InstallingConsoleControl, ReturnsTheErrorThatStandsAfterTheLineHasBeenPrinted)
{
    Refuse(5);
    // As any call of Windows may do.
    output.Device().taking = [](std::size_t offered) {
        SetLastError(ERROR_INVALID_HANDLE);
        return offered;
    };
    EXPECT_EQ(std::optional(6U), InstallConsoleCtrlHandler());
    EXPECT_EQ(L"Failed to set control handler (5).\n", output.Text());
    EXPECT_EQ((std::vector<std::wstring>{L"ERRORLEVEL=6"}), environment);
}

} // namespace
