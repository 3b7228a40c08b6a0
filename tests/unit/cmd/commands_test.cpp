#include "cmd/dispatcher.h"

#include "dispatched_command.h"
#include "support/known_commands.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace testing_support;
using namespace testing_support::dispatching;

using ::testing::StartsWith;

// --- What the engine is asked ---

using EngineSetup = void (*)(FakeEngine&);

// A command, what it does to the engine and what is seen of it; text is what follows the banner.
struct CommandCase {
    const char* name;
    const wchar_t* words;
    EngineSetup setup;
    Result result;
    std::wstring text;
    EngineCalls calls;
};

std::string NameOfCase(const ::testing::TestParamInfo<CommandCase>& test)
{
    return test.param.name;
}

void NoSetup(FakeEngine& /*engine*/) {}

// --- Success ---

class SucceedingCommand : public DispatchedCommand, public ::testing::WithParamInterface<CommandCase> {};

TEST_P(SucceedingCommand, HasTheEngineDoItsWorkAndReturns0)
{
    GetParam().setup(engine);
    ExpectRun(GetParam().words, GetParam().result, GetParam().text, kNothingPublished, GetParam().calls);
    EXPECT_EQ(1, setHandler.Calls());
    EXPECT_TRUE(sleeps.empty());
}

CommandCase OnlineCase(const char* name, const wchar_t* words, const wchar_t* mode)
{
    return {name,
            words,
            NoSetup,
            0,
            L"Online optimization started on drive C:\\.\n",
            kFindC + kOpenC + EngineCalls{std::wstring(L"agent.OptimizeOnline(C:\\, ") + mode + L")"} +
                EngineCalls{L"refresh.Refresh()"}};
}

CommandCase OfflineCase(const char* name, const wchar_t* words, const wchar_t* mask)
{
    return {name,
            words,
            NoSetup,
            0,
            L"Offline optimization of System Files started on drive C:\\.\n",
            kFindC + kOpenC +
                EngineCalls{L"agent.PrepareOffline(C:\\, 0)",
                            std::wstring(L"agent.OptimizeOffline(C:\\, ") + mask + L")", L"refresh.Refresh()"}};
}

std::vector<CommandCase> SucceedingCommands()
{
    return {
        {"Status",
         L"/st",
         NoSetup,
         0,
         L"Drive name: C:\\Status: Idle\n",
         {L"agent.CheckAccess()", L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{C}\\)",
          L"drive.GetDriveName(C:\\)", L"drive.GetState(C:\\)"}},
        {"Analyze", L"/an C:", NoSetup, 0, L"Analyze started on drive C:\\.\n",
         kFindC + kOpenC + EngineCalls{L"agent.Analyze(C:\\)", L"refresh.Refresh()"}},
        OnlineCase("TierWeave", L"/tw C:", L"0"),
        OnlineCase("DefragOnly", L"/dol C:", L"1"),
        OnlineCase("ConsolidateFreeSpace", L"/cfs C:", L"2"),
        OnlineCase("PrepForShrink", L"/prep C:", L"3"),
        OnlineCase("SsdOptimize", L"/ssd C:", L"4"),
        OnlineCase("OnlineWithFileTypes", L"/dol C: /all", L"1"),
        OfflineCase("OfflineAsConfigured", L"/of C:", L"4096"),
        OfflineCase("OfflineDirectoriesAndPagingFile", L"/of C: /d /p", L"5"),
        {"StopDrive", L"/stop C:", NoSetup, 0, L"Drive C:\\ was stopped.\n",
         kFindC + kOpenC + EngineCalls{L"agent.StopDrive(C:\\)"}},
        {"StopAllDrives",
         L"/stop /alldrives",
         NoSetup,
         0,
         L"All drives were stopped.\n",
         {L"agent.CheckAccess()", L"agent.StopAll()"}},
        {"StopAllDrivesThoughOneIsNamed",
         L"/stop C: /alldrives",
         NoSetup,
         0,
         L"All drives were stopped.\n",
         {L"agent.CheckAccess()", L"agent.StopAll()"}},
        {"ScheduleBootAsConfigured", L"/sb C:", [](FakeEngine& engine) { engine.drives.front().offlineFileTypes = 3; },
         0, L"Drive C:\\ has been scheduled for an offline defrag of your system files on next reboot.\n",
         kFindC + kOpenC + EngineCalls{L"drive.GetOfflineFileTypes(C:\\)", L"agent.ScheduleBootTime(C:\\, 3)"}},
        {"ScheduleBootSystemAndPagingFile", L"/sb C: /s /p", NoSetup, 0,
         L"Drive C:\\ has been scheduled for an offline defrag of your system files on next reboot.\n",
         kFindC + kOpenC + EngineCalls{L"agent.ScheduleBootTime(C:\\, 6)"}},
        {"CancelBootTime", L"/cb C:", NoSetup, 0,
         L"Drive C:\\ has been removed from an offline defrag of your system files on next reboot.\n",
         kFindC + kOpenC + EngineCalls{L"agent.CancelBootTime(C:\\)"}},
        {"RunSchedule",
         L"/rs Nightly",
         NoSetup,
         0,
         L"",
         {L"service.GetSchedule()", L"schedule.RunByName(Nightly)", L"refresh.Refresh()"}},
        {"QueryFileById", L"/id C: 42", NoSetup, 0,
         L"File Name C:\\data\\report.doc corresponds to id 42 on drive C:\n",
         kFindC + EngineCalls{L"agent.CheckAccess()", L"agent.GetFileNameById(\\\\?\\Volume{C}\\, 42)"}},
        {"DefragFiles", L"/df C:\\a.txt", NoSetup, 0, L"Single File defragmentation started on drive C:\\.\n",
         kFindC + kOpenC + EngineCalls{L"agent.DefragFile(C:\\, C:\\a.txt)"}},
    };
}

INSTANTIATE_TEST_SUITE_P(Commands, SucceedingCommand, ::testing::ValuesIn(SucceedingCommands()), NameOfCase);

class EachCommand : public DispatchedCommand, public ::testing::WithParamInterface<KnownCommand> {};

TEST_P(EachCommand, PrintsItsText)
{
    EXPECT_EQ(0U, Run(GetParam().words));
    EXPECT_EQ(L"Velundra 14.0\n" + *GetParam().text, output.Text());
    EXPECT_EQ(kNothingPublished, environment);
}

std::vector<KnownCommand> CommandsWithText()
{
    std::vector<KnownCommand> commands;
    std::copy_if(std::begin(kCommands), std::end(kCommands), std::back_inserter(commands),
                 [](const KnownCommand& command) { return command.text.has_value(); });
    return commands;
}

INSTANTIATE_TEST_SUITE_P(Commands, EachCommand, ::testing::ValuesIn(CommandsWithText()),
                         [](const auto& test) { return test.param.name; });

// --- Failure of the work itself: the result is returned as it is and not published ---

class FailingCommand : public DispatchedCommand, public ::testing::WithParamInterface<CommandCase> {};

TEST_P(FailingCommand, ReturnsTheResultOfItsWorkWithoutPublishingIt)
{
    GetParam().setup(engine);
    ExpectRun(GetParam().words, GetParam().result, GetParam().text, kNothingPublished, GetParam().calls);
    EXPECT_TRUE(sleeps.empty());
}

void RefuseAccess(FakeEngine& engine)
{
    engine.Fail(L"CheckAccess", {E_ACCESSDENIED});
}

CommandCase BatchWithoutAccess(const char* name, const wchar_t* words, Result result)
{
    return {name,   words,         RefuseAccess,
            result, kAccessDenied, kFindC + EngineCalls{L"agent.CheckAccess()", L"refresh.Refresh()"}};
}

std::vector<CommandCase> FailingCommands()
{
    return {
        {"Status",
         L"/st",
         [](FakeEngine& engine) { engine.Fail(L"GetDriveList", {kEngineFailure}); },
         0x1234,
         L"",
         {L"agent.CheckAccess()", L"agent.GetDriveList()"}},
        {"StatusWithoutAccess", L"/st", RefuseAccess, 0x20000004, kAccessDenied, {L"agent.CheckAccess()"}},
        BatchWithoutAccess("Analyze", L"/an C:", 0x20000004),
        BatchWithoutAccess("AnalyzeAndWait", L"/an C: /w", 0x20000004),
        // An optimisation never reports the failure of a drive.
        BatchWithoutAccess("DefragOnly", L"/dol C:", 0),
        BatchWithoutAccess("TierWeave", L"/tw C:", 0),
        BatchWithoutAccess("ConsolidateFreeSpace", L"/cfs C:", 0),
        BatchWithoutAccess("SsdOptimize", L"/ssd C: /w", 0),
        BatchWithoutAccess("PrepForShrink", L"/prep C: /w", 0),
        BatchWithoutAccess("Offline", L"/of C:", 0),
        {"OfflineOfADriveInUse", L"/of C: /d /w",
         [](FakeEngine& engine) { engine.Fail(L"PrepareOffline", {kEngineFailure}); }, 0,
         L"Drive C:\\ has been scheduled for an offline defrag of your system files on next reboot.\n"
         L"Boot time defragmentation scheduled for drive C:\\.\n",
         kFindC + kOpenC + EngineCalls{L"agent.PrepareOffline(C:\\, 0)"} + kOpenC +
             EngineCalls{L"agent.ScheduleBootTime(C:\\, 1)", L"refresh.Refresh()"}},
        {"StopDrive", L"/stop C:", [](FakeEngine& engine) { engine.Fail(L"StopDrive", {kEngineFailure}); }, 0x20000001,
         L"", kFindC + kOpenC + EngineCalls{L"agent.StopDrive(C:\\)"}},
        {"StopAllDrives",
         L"/stop /alldrives",
         [](FakeEngine& engine) { engine.Fail(L"StopAll", {kEngineFailure}); },
         0x1234,
         L"",
         {L"agent.CheckAccess()", L"agent.StopAll()"}},
        // The result 87 of an operation is none of missing data.
        {"ScheduleBootWithoutFileTypes", L"/sb C:",
         [](FakeEngine& engine) { engine.drives.front().offlineFileTypes = 0; }, 87,
         L"Unable to schedule drive for an Offline defrag pass of your System Files for next reboot.  Please specify "
         L"the file types in the Drive Properties Notebook or use the appropriate flag on the commandline.\n",
         kFindC + kOpenC + EngineCalls{L"drive.GetOfflineFileTypes(C:\\)"}},
        {"CancelBootTime", L"/cb C:", [](FakeEngine& engine) { engine.Fail(L"GetMountPoint", {kEngineFailure}); },
         0x20000001, L"", kFindC + kOpenC},
        {"RunSchedule",
         L"/rs Nightly",
         [](FakeEngine& engine) { engine.Fail(L"RunByName", {kEngineFailure}); },
         0x1234,
         L"",
         {L"service.GetSchedule()", L"schedule.RunByName(Nightly)"}},
        {"QueryFileByIdOnNoDrive", L"/id C:x 42", NoSetup, 87, L"C:x is not a valid DriveName .\n", {}},
        {"QueryFileByIdOnAnUnknownDrive", L"/id q: 42", NoSetup, 13,
         L"q: Could not be matched with a known volume GUID .\n", kFindC},
        {"QueryFileByIdWithoutAccess", L"/id C: 42", RefuseAccess, 0x20000004, kAccessDenied,
         kFindC + EngineCalls{L"agent.CheckAccess()"}},
        {"DefragFiles", L"/df C:\\a.txt", RefuseAccess, 5, L"", kFindC + EngineCalls{L"agent.CheckAccess()"}},
    };
}

INSTANTIATE_TEST_SUITE_P(Commands, FailingCommand, ::testing::ValuesIn(FailingCommands()), NameOfCase);

// --- No engine ---

struct UnconnectedCase {
    const char* name;
    const wchar_t* words;
    Result result;
    std::wstring text;
    Environment published;
};

class UnconnectedCommand : public DispatchedCommand, public ::testing::WithParamInterface<UnconnectedCase> {};

// What the drives were resolved to counts, not that resolving them failed: there are none.
TEST_P(UnconnectedCommand, SaysSoAndHasNoDrivesOrReturnsTheFailure)
{
    engine.activation = kNotRegistered;
    ExpectRun(GetParam().words, GetParam().result, GetParam().text, GetParam().published, {});
}

std::vector<UnconnectedCase> UnconnectedCommands()
{
    std::vector<UnconnectedCase> cases{
        {"Status", L"/st", 0x80040154, kNotInstalled, kNothingPublished},
        {"StopAllDrives", L"/stop /alldrives", 0x80040154, kNotInstalled, kNothingPublished},
        {"RunSchedule", L"/rs Nightly", 0x20000002, kNotInstalled, kNothingPublished},
        {"QueryFileById", L"/id C: 42", 0x80040154,
         kNotInstalled + L"C: Could not be matched with a known volume GUID .\n", kNothingPublished},
        {"DefragFiles", L"/df C:\\a.txt", 87, kNotInstalled + kBadFiles, kBadDataPublished},
    };
    const std::pair<const char*, const wchar_t*> driveCommands[] = {
        {"Analyze", L"/an C:"},
        {"AnalyzeAllDrives", L"/an /alldrives"},
        {"DefragOnly", L"/dol C:"},
        {"TierWeave", L"/tw C:"},
        {"ConsolidateFreeSpace", L"/cfs C:"},
        {"SsdOptimize", L"/ssd C:"},
        {"PrepForShrink", L"/prep C:"},
        {"Offline", L"/of C:"},
        {"StopDrive", L"/stop C:"},
        {"ScheduleBoot", L"/sb C:"},
        {"CancelBootTime", L"/cb C:"},
        {"StatAnalyzeOfAllDrives", L"/sta /alldrives"},
        {"StatOnlineOfAllDrives", L"/sto /alldrives"},
        {"StatOfflineOfAllDrives", L"/stf /alldrives"},
    };
    for (const auto& [name, words] : driveCommands) {
        cases.push_back({name, words, 87, kNotInstalled + kNoDrives, kBadDataPublished});
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Commands, UnconnectedCommand, ::testing::ValuesIn(UnconnectedCommands()),
                         [](const auto& test) { return test.param.name; });

// --- Waiting ---

struct WaitCase {
    const char* name;
    const wchar_t* words;
    std::wstring text; // what is printed up to the end of the wait
    EngineCalls work;
};

class WaitingCommand : public DispatchedCommand, public ::testing::WithParamInterface<WaitCase> {
protected:
    // C: is busy at the first poll and idle at the second.
    void SetUp() override
    {
        DispatchedCommand::SetUp();
        engine.drives.front().states = {1, 0};
    }
};

TEST_P(WaitingCommand, PollsTheDriveUntilItIsIdleAgain)
{
    Run(GetParam().words);
    const EngineCalls poll{L"agent.GetDrive(\\\\?\\Volume{C}\\)", L"drive.GetState(C:\\)"};
    const EngineCalls expected = kFindC + kOpenC + GetParam().work + poll + poll + EngineCalls{L"refresh.Refresh()"};
    // Statistics may follow an analysis.
    EngineCalls calls = engine.Calls();
    calls.resize(std::min(calls.size(), expected.size()));
    EXPECT_EQ(expected, calls);
    EXPECT_THAT(output.Text(), StartsWith(L"Velundra 14.0\n" + GetParam().text));
    EXPECT_EQ((std::vector<DWORD>{5000, 5000}), sleeps);
    EXPECT_EQ(kNothingPublished, environment);
}

std::vector<WaitCase> WaitCases()
{
    const std::wstring online = L"Online optimization started on drive C:\\.\nOptimization completed.\n";
    return {
        {"Analyze", L"/an C: /w", L"Analyze started on drive C:\\.\nAnalyze completed.\n", {L"agent.Analyze(C:\\)"}},
        {"DefragOnly", L"/dol C: /w", online, {L"agent.OptimizeOnline(C:\\, 1)"}},
        {"TierWeave", L"/tw C: /wait", online, {L"agent.OptimizeOnline(C:\\, 0)"}},
        {"ConsolidateFreeSpace", L"/w /cfs C:", online, {L"agent.OptimizeOnline(C:\\, 2)"}},
        {"SsdOptimize", L"/ssd /WAIT C:", online, {L"agent.OptimizeOnline(C:\\, 4)"}},
        {"PrepForShrink", L"/prep C: /w /wait", online, {L"agent.OptimizeOnline(C:\\, 3)"}},
        {"Offline",
         L"/of C: /w /s",
         L"Offline optimization of System Files started on drive C:\\.\nOptimization completed.\n",
         {L"agent.PrepareOffline(C:\\, 0)", L"agent.OptimizeOffline(C:\\, 2)"}},
    };
}

INSTANTIATE_TEST_SUITE_P(Commands, WaitingCommand, ::testing::ValuesIn(WaitCases()),
                         [](const auto& test) { return test.param.name; });

// --- The target computer ---

class CommandsComputer : public DispatchedCommand, public ::testing::WithParamInterface<KnownCommand> {
protected:
    // The computers on which the engine was activated; the local one is empty. All activations agree.
    std::vector<std::wstring> Computers() const
    {
        std::vector<std::wstring> computers;
        for (const Activation& activation : engine.Activations()) {
            computers.push_back(activation.remote ? activation.server : std::wstring());
        }
        computers.erase(std::unique(computers.begin(), computers.end()), computers.end());
        return computers;
    }
};

TEST_P(CommandsComputer, IsTheLocalOneUnlessTold)
{
    Run(GetParam().words);
    EXPECT_EQ((std::vector<std::wstring>{L""}), Computers());
}

TEST_P(CommandsComputer, IsTheOneThatWasNamed)
{
    Run(GetParam().words + std::wstring(L" /c SRV1"));
    EXPECT_EQ((std::vector<std::wstring>{L"SRV1"}), Computers());
    EXPECT_EQ(0, engine.CountCalls(L"Refresh"));
}

TEST_P(CommandsComputer, IsTheLastWordWhenThatLooksLikeOne)
{
    Run(GetParam().words + std::wstring(L" \\\\SRV2"));
    EXPECT_EQ((std::vector<std::wstring>{L"\\\\SRV2"}), Computers());
}

std::vector<KnownCommand> EngineCommands()
{
    std::vector<KnownCommand> commands;
    std::copy_if(std::begin(kCommands), std::end(kCommands), std::back_inserter(commands), AsksEngine);
    return commands;
}

INSTANTIATE_TEST_SUITE_P(Commands, CommandsComputer, ::testing::ValuesIn(EngineCommands()),
                         [](const auto& test) { return test.param.name; });

} // namespace
