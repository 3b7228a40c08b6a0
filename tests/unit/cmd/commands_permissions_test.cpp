#include "cmd/dispatcher.h"

#include "dispatched_command.h"
#include "support/group_policy.h"
#include "support/known_commands.h"
#include "support/numbered_messages.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

using namespace testing_support;
using namespace testing_support::dispatching;

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// --- Permissions ---

class CommandPermission : public DispatchedCommand, public ::testing::WithParamInterface<KnownCommand> {};

TEST_P(CommandPermission, ToLaunchIsAskedBeforeAnythingElse)
{
    SetPolicy(L"AllowLaunch", 0);
    ExpectRun(GetParam().words, kRefused, L"You do not have permission to launch Velundra.\n", kRefusalPublished, {});
    EXPECT_EQ(0, setHandler.Calls());
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_P(CommandPermission, IsItsOwnAlone)
{
    for (const Refusal& refusal : kRefusals) {
        if (refusal.permission != GetParam().permission) {
            Refuse(refusal.permission);
        }
    }
    Run(GetParam().words);
    EXPECT_THAT(output.Text(), Not(HasSubstr(L"You do not have permission")));
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_P(CommandPermission, RefusesWithItsMessageAndKeepsTheEngineOutOfIt)
{
    RefuseAllButLaunching();
    if (GetParam().permission) {
        ExpectRefusal(GetParam().words, *GetParam().permission);
    } else {
        Run(GetParam().words);
        EXPECT_THAT(output.Text(), Not(HasSubstr(L"You do not have permission")));
        EXPECT_EQ(kNothingPublished, environment);
    }
    EXPECT_EQ(1, setHandler.Calls());
}

TEST_P(CommandPermission, OfValuesThatNoCommandAsksMeansNothing)
{
    for (const wchar_t* const value :
         {L"AllowAdvanceConfiguration", L"AllowZeroFreeSpace", L"AllowModifyDriveProps", L"AllowModifySched",
          L"AllowCheckUpdate", L"AllowFreeSpaceStatus", L"AllowFreeSpaceReclaim"}) {
        SetPolicy(value, 0);
    }
    Run(GetParam().words);
    EXPECT_THAT(output.Text(), Not(HasSubstr(L"You do not have permission")));
}

TEST_P(CommandPermission, IsNotLookedAtWhenTheConsoleControlHandlerCannotBeInstalled)
{
    RefuseAllButLaunching();
    handlerError = 8;
    ExpectRun(GetParam().words, 8, L"Failed to set control handler (8).\n", {L"ERRORLEVEL=8"}, {});
    EXPECT_TRUE(engine.Activations().empty());
}

INSTANTIATE_TEST_SUITE_P(Commands, CommandPermission, ::testing::ValuesIn(kCommands),
                         [](const auto& test) { return test.param.name; });

TEST_F(DispatchedCommand, StopsNoDriveAtAllWithoutPermission)
{
    Refuse(Permission::Stop);
    ExpectRefusal(L"/stop /alldrives", Permission::Stop);
    ExpectRefusal(L"/stp", Permission::Stop);
}

TEST_F(DispatchedCommand, InstallsTheHandlerBetweenLaunchAndCommand)
{
    Refuse(Permission::Analyze);
    onHandler = [this] {
        EXPECT_EQ(L"Velundra 14.0\n", output.Text());
        EXPECT_TRUE(engine.Activations().empty());
    };
    ExpectRefusal(L"/an C:", Permission::Analyze);
    ExpectRun(L"/?", 0, kUsage, kNothingPublished, {});
    EXPECT_EQ(2, setHandler.Calls());
}

// --- The policy monitor ---

TEST_F(DispatchedCommand, IsNotAffectedWhenLaunchingIsForbiddenAfterTheCheck)
{
    engine.onCall = [this](const std::wstring& call) {
        if (call == L"agent.GetDriveList()") {
            SetPolicy(L"AllowLaunch", 0);
            notifications.ChangeUserPolicy();
        }
    };
    EXPECT_EQ(0U, Run(L"/st"));
    EXPECT_EQ(L"Velundra 14.0\nDrive name: C:\\Status: Idle\n", output.Text());
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_F(DispatchedCommand, IsRefusedByAPolicyThatCameIntoForceBeforeItsCheck)
{
    onHandler = [this] {
        SetPolicy(L"AllowAnalyze", 0);
        notifications.ChangeUserPolicy();
    };
    ExpectRefusal(L"/an C:", Permission::Analyze);
}

TEST_F(DispatchedCommand, LoadsThePolicyAsARefresh)
{
    std::vector<BOOL> sections;
    const Replaced<"EnterCriticalPolicySection", decltype(::EnterCriticalPolicySection)> enter([&](BOOL machine) {
        sections.push_back(machine);
        return static_cast<HANDLE>(&sections);
    });
    const Replaced<"LeaveCriticalPolicySection", decltype(::LeaveCriticalPolicySection)> leave(
        [](HANDLE) { return TRUE; });
    ExpectRun(L"/?", 0, kUsage, kNothingPublished, {});
    EXPECT_EQ((std::vector<BOOL>{FALSE}), sections);
    EXPECT_EQ(1, leave.Calls());
}

class RefusedMonitorEvent : public DispatchedCommand, public ::testing::WithParamInterface<int> {};

TEST_P(RefusedMonitorEvent, LeavesEverythingAllowed)
{
    SetPolicy(L"AllowLaunch", 0);
    SetPolicy(L"AllowAnalyze", 0);
    const Replaced<"CreateEventW", decltype(::CreateEventW)> createEvent(
        [&](LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL signalled, LPCWSTR name) -> HANDLE {
            if (createEvent.Calls() == GetParam()) {
                SetLastError(ERROR_NO_SYSTEM_RESOURCES);
                return nullptr;
            }
            return createEvent.Original(security, manual, signalled, name);
        });
    hasMonitor = false;
    ExpectRun(L"/an C:", 0, L"Analyze started on drive C:\\.\n", kNothingPublished,
              kFindC + kOpenC + EngineCalls{L"agent.Analyze(C:\\)", L"refresh.Refresh()"});
    EXPECT_EQ(GetParam(), createEvent.Calls());
}

INSTANTIATE_TEST_SUITE_P(Events, RefusedMonitorEvent, ::testing::Values(1, 2, 3));

TEST_F(DispatchedCommand, GoesOnWithoutAMonitorThread)
{
    monitorError = ERROR_NOT_ENOUGH_MEMORY;
    hasMonitor = false;
    ExpectRun(L"/an C:", 0, L"Analyze started on drive C:\\.\n", kNothingPublished,
              kFindC + kOpenC + EngineCalls{L"agent.Analyze(C:\\)", L"refresh.Refresh()"});
}

TEST_F(DispatchedCommand, GoesOnWhenThePolicyCannotBeMonitored)
{
    const Replaced<"RegisterGPNotification", decltype(::RegisterGPNotification)> refuse(
        [](HANDLE, BOOL) { return FALSE; });
    hasMonitor = false;
    Refuse(Permission::Analyze);
    ExpectRun(L"/st", 0, L"Drive name: C:\\Status: Idle\n", kNothingPublished,
              {L"agent.CheckAccess()", L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{C}\\)",
               L"drive.GetDriveName(C:\\)", L"drive.GetState(C:\\)"});
    // The policy was loaded all the same.
    ExpectRun(L"/an C:", kRefused, L"You do not have permission to analyze the drive(s).\n", kRefusalPublished, {});
}

// --- The numbers of the messages ---

class NumberedCommand : public DispatchedCommand {
protected:
    const NumberedMessages numbered;
    const std::wstring banner = L"(-2447-)Velundra 14.0\n";
};

TEST_F(NumberedCommand, RefusesByTheMessageOfThePermission)
{
    RefuseAllButLaunching();
    for (const KnownCommand& command : kCommands) {
        if (command.permission) {
            const Refusal& refusal = RefusalOf(*command.permission);
            EXPECT_EQ(kRefused, Run(command.words));
            EXPECT_EQ(banner + L"(-" + std::to_wstring(refusal.number) + L"-)" + refusal.text + L"\n", output.Text());
        }
    }
}

TEST_F(NumberedCommand, RefusesToLaunchByMessage3586)
{
    SetPolicy(L"AllowLaunch", 0);
    EXPECT_EQ(kRefused, Run(L"/st"));
    EXPECT_EQ(banner + L"(-3586-)You do not have permission to launch Velundra.\n", output.Text());
}

TEST_F(NumberedCommand, HasNoDrivesByMessage2224)
{
    for (const wchar_t* const words : {L"/an", L"/dol", L"/tw", L"/cfs", L"/ssd", L"/prep", L"/of", L"/stop", L"/sb",
                                       L"/cb", L"/sta", L"/sto", L"/stf"}) {
        EXPECT_EQ(87U, Run(words));
        EXPECT_THAT(output.Text(),
                    StartsWith(banner + L"(-2224-)No drives specified for this operation.\n(-18-)    Usage :\n"));
    }
}

TEST_F(NumberedCommand, HasBadFilesByThreeMessages)
{
    EXPECT_EQ(87U, Run(L"/df"));
    EXPECT_THAT(output.Text(), StartsWith(banner + L"(-5888-)Specified file(s) are in bad format.\n"
                                                   L"(-5889-)Provide fully qualified path names.\n"
                                                   L"(-5890-)Use quotes for files containing spaces.\n"
                                                   L"(-18-)    Usage :\n"));
}

TEST_F(NumberedCommand, CannotSetTheControlHandlerByMessage1647)
{
    handlerError = 5;
    EXPECT_EQ(5U, Run(L"/st"));
    EXPECT_EQ(banner + L"(-1647-)Failed to set control handler (5).\n", output.Text());
}

} // namespace
