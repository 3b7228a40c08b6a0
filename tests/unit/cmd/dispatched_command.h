#pragma once

#include "cmd/dispatcher.h"

#include "support/arguments.h"
#include "support/group_policy.h"
#include "support/known_commands.h"
#include "support/product_test.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace testing_support::dispatching {

inline const std::wstring kUsage = kUsageScreen;
inline const std::wstring kNoDrives = L"No drives specified for this operation.\n" + kUsage;
inline const std::wstring kBadFiles = L"Specified file(s) are in bad format.\n"
                                      L"Provide fully qualified path names.\n"
                                      L"Use quotes for files containing spaces.\n" +
                                      kUsage;
inline const std::wstring kNotInstalled = L"Velundra is not installed on computer ''\n";
inline const std::wstring kAccessDenied = L"Unable to connect to specified computer, error access denied.\n";

using Environment = std::vector<std::wstring>;

inline const Environment kNothingPublished;
inline const Environment kBadDataPublished{L"ERRORLEVEL=87"};
inline const Environment kRefusalPublished{L"ERRORLEVEL=536870916"};

inline constexpr Result kRefused = 536870916;

inline constexpr auto kNotRegistered = static_cast<HRESULT>(0x80040154);
inline constexpr auto kEngineFailure = static_cast<HRESULT>(0x80041234); // low 16 bits 0x1234
inline constexpr HRESULT kFailuresWithResult0[] = {static_cast<HRESULT>(0x80040000), static_cast<HRESULT>(0x80070000)};

// Finding out which of the engine's drives is C:, the only one.
inline const EngineCalls kFindC{L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{C}\\)",
                                L"drive.GetDriveName(C:\\)"};
// What every operation on C: begins with.
inline const EngineCalls kOpenC{L"agent.CheckAccess()", L"agent.GetDrive(\\\\?\\Volume{C}\\)",
                                L"drive.GetMountPoint(C:\\)"};

inline EngineCalls operator+(EngineCalls left, const EngineCalls& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

struct Refusal {
    Permission permission;
    std::uint32_t number;
    const wchar_t* text;
};

inline constexpr Refusal kRefusals[] = {
    {Permission::Status, 3585, L"You do not have permission to get the status of the drives."},
    {Permission::Analyze, 3582, L"You do not have permission to analyze the drive(s)."},
    {Permission::OnlineDefrag, 3588, L"You do not have permission to perform an online defragmentation."},
    {Permission::OfflineDefrag, 3587, L"You do not have permission to perform an offline defragmentation."},
    {Permission::Stop, 3589, L"You do not have permission to perform stop the defragmentation operation."},
    {Permission::BootTimeSchedule, 3592, L"You do not have permission to schedule a boot time defragmentation."},
    {Permission::RunSchedule, 3591, L"You do not have permission to run the schedule operation."},
};

inline const Refusal& RefusalOf(Permission permission)
{
    return *std::find_if(std::begin(kRefusals), std::end(kRefusals),
                         [permission](const Refusal& refusal) { return refusal.permission == permission; });
}

// The policy values of the permissions that have one.
inline constexpr std::pair<Permission, const wchar_t*> kPolicyValues[] = {
    {Permission::Analyze, L"AllowAnalyze"},
    {Permission::OnlineDefrag, L"AllowOnlineDefrag"},
    {Permission::OfflineDefrag, L"AllowOfflineDefrag"},
    {Permission::RunSchedule, L"AllowRunSchedule"},
};

inline void SetPolicy(const wchar_t* value, std::uint32_t data)
{
    RegistrySandbox::SetDword(HKEY_CURRENT_USER, kUserPolicyKey, value, data);
}

// Runs commands with an engine whose only drive is C:, unless a test adds more.
class DispatchedCommand : public EngineTest {
protected:
    void SetUp() override { engine.AddDrive(L"C:\\"); }

    // Runs the command. Whatever its end, the policy monitor is over by then.
    Result Run(const std::wstring& words)
    {
        SCOPED_TRACE(::testing::PrintToString(words));
        static_cast<void>(output.Take());
        static_cast<void>(engine.TakeCalls());
        environment.clear();
        threads_ = 0;
        const int registered = notifications.Registered();
        const int unregistered = notifications.Unregistered();
        const Result result = DispatchCommand(TypedLine(words));
        EXPECT_EQ("", census.Imbalance());
        EXPECT_EQ(hasMonitor ? 2 : 0, notifications.Registered() - registered);
        EXPECT_EQ(hasMonitor ? 2 : 0, notifications.Unregistered() - unregistered);
        return result;
    }

    // Runs the command and compares all that can be seen of it; text is what follows the banner.
    void ExpectRun(const std::wstring& words, Result result, const std::wstring& text, const Environment& published,
                   const EngineCalls& calls)
    {
        SCOPED_TRACE(::testing::PrintToString(words));
        EXPECT_EQ(result, Run(words));
        EXPECT_EQ(L"Velundra 14.0\n" + text, output.Text());
        EXPECT_EQ(published, environment);
        EXPECT_EQ(calls, engine.Calls());
    }

    void ExpectRefusal(const std::wstring& words, Permission permission)
    {
        ExpectRun(words, kRefused, std::wstring(RefusalOf(permission).text) + L"\n", kRefusalPublished, {});
        EXPECT_TRUE(engine.Activations().empty());
    }

    // Refuses a permission: by its policy value, or where it has none, in the policy object as soon as it has been
    // loaded.
    void Refuse(Permission permission)
    {
        const auto* const value = std::find_if(std::begin(kPolicyValues), std::end(kPolicyValues),
                                               [permission](const auto& v) { return v.first == permission; });
        if (value != std::end(kPolicyValues)) {
            SetPolicy(value->second, 0);
        } else {
            refused_.push_back(permission);
        }
    }

    void RefuseAllButLaunching()
    {
        for (const Refusal& refusal : kRefusals) {
            Refuse(refusal.permission);
        }
    }

    Environment environment;         // what was put into it
    std::vector<DWORD> sleeps;       // by the one drive that is waited for
    std::function<void()> onHandler; // called when the console control handler is installed
    DWORD handlerError = 0;          // with which Windows refuses the handler
    bool hasMonitor = true;          // whether the policy monitor is expected to start and to register its events
    DWORD monitorError = 0;          // with which Windows refuses the monitor's thread

    PolicyNotifications notifications;
    Replaced<"SetConsoleCtrlHandler", decltype(::SetConsoleCtrlHandler)> setHandler{[this](PHANDLER_ROUTINE, BOOL) {
        if (onHandler) {
            onHandler();
        }
        SetLastError(handlerError);
        return handlerError == 0 ? TRUE : FALSE;
    }};

private:
    std::vector<Permission> refused_;
    int threads_ = 0; // of the current command
    Replaced<"_wputenv", decltype(::_wputenv)> putEnvironment_{[this](const wchar_t* text) {
        environment.emplace_back(text);
        return 0;
    }};
    Replaced<"Sleep", decltype(::Sleep)> sleep_{[this](DWORD milliseconds) { sleeps.push_back(milliseconds); }};
    // The first thread of a command is the policy monitor's, and the policy is its argument.
    Replaced<"CreateThread", decltype(::CreateThread)> createThread_{
        [this](LPSECURITY_ATTRIBUTES security, SIZE_T stack, LPTHREAD_START_ROUTINE routine, LPVOID parameter,
               DWORD flags, LPDWORD id) -> HANDLE {
            if (!IsFrameworkThread(flags) && ++threads_ == 1) {
                if (monitorError != 0) {
                    SetLastError(monitorError);
                    return nullptr;
                }
                for (const Permission permission : refused_) {
                    Grant(*static_cast<CGP*>(parameter), permission, false);
                }
            }
            return createThread_.Original(security, stack, routine, parameter, flags, id);
        }};
};

class CommandWithoutData : public DispatchedCommand, public ::testing::WithParamInterface<const wchar_t*> {};

inline std::string NameOfCommandWord(const ::testing::TestParamInfo<const wchar_t*>& test)
{
    const std::wstring word = test.param + 1;
    return {word.begin(), word.end()};
}

} // namespace testing_support::dispatching
