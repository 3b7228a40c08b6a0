#include "cmd/dispatcher.h"

#include "dispatched_command.h"
#include "support/known_commands.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <string>

namespace {

using namespace testing_support;
using namespace testing_support::dispatching;

// --- Missing data ---

class EngineDriveCommand : public CommandWithoutData {};

TEST_P(EngineDriveCommand, ShowsTheUsageScreenAndPublishes87WithoutDrives)
{
    ExpectRun(GetParam(), 87, kNoDrives, kBadDataPublished, kFindC);
}

TEST_P(EngineDriveCommand, HasNoDrivesWhenTheEngineKnowsNoneOfThem)
{
    ExpectRun(GetParam() + std::wstring(L" Q: D:\\Data E"), 87, kNoDrives, kBadDataPublished, kFindC);
}

TEST_P(EngineDriveCommand, AsksForPermissionBeforeItLooksForDrives)
{
    RefuseAllButLaunching();
    const std::wstring words = GetParam();
    const auto* const command = std::find_if(std::begin(kCommands), std::end(kCommands), [&](const KnownCommand& row) {
        return std::wstring(row.words).starts_with(words + L" ");
    });
    ASSERT_NE(std::end(kCommands), command);
    ExpectRefusal(words, *command->permission);
    ExpectRefusal(words + L" Q:", *command->permission);
}

INSTANTIATE_TEST_SUITE_P(Commands, EngineDriveCommand,
                         ::testing::Values(L"/an", L"/dol", L"/tw", L"/cfs", L"/ssd", L"/prep", L"/of", L"/stop",
                                           L"/sb", L"/cb"),
                         NameOfCommandWord);

class EngineWithoutDrives : public CommandWithoutData {
protected:
    void SetUp() override {}
};

TEST_P(EngineWithoutDrives, LeavesAllDrivesEmpty)
{
    ExpectRun(GetParam() + std::wstring(L" /alldrives"), 87, kNoDrives, kBadDataPublished,
              {L"agent.GetDriveList()", L"agent.GetDriveList()"});
}

INSTANTIATE_TEST_SUITE_P(Commands, EngineWithoutDrives,
                         ::testing::Values(L"/an", L"/dol", L"/tw", L"/cfs", L"/ssd", L"/prep", L"/of", L"/sb", L"/cb"),
                         NameOfCommandWord);

// --- Other commands' data ---

TEST_F(DispatchedCommand, OfTwoWordsIsMissingTheSchedule)
{
    ExpectRun(L"/rs", 87, kUsage, kBadDataPublished, {});
    ExpectRun(L"/rs /w /c SRV1", 87, kUsage, kBadDataPublished, {});
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_F(DispatchedCommand, CountsTheScheduleBeforeItAsksForPermission)
{
    Refuse(Permission::RunSchedule);
    ExpectRun(L"/rs", 87, kUsage, kBadDataPublished, {});
    ExpectRefusal(L"/rs Nightly", Permission::RunSchedule);
}

TEST_F(DispatchedCommand, RunsTheScheduleOfItsSecondWord)
{
    ExpectRun(L"/rs C: Weekly", 0, L"", kNothingPublished,
              {L"service.GetSchedule()", L"schedule.RunByName(C:)", L"refresh.Refresh()"});
}

TEST_F(DispatchedCommand, OfThreeWordsIsMissingDriveOrIdentifier)
{
    ExpectRun(L"/id", 87, kUsage, kBadDataPublished, {});
    ExpectRun(L"/id C:", 87, kUsage, kBadDataPublished, {});
    ExpectRun(L"/id 42 /w /all", 87, kUsage, kBadDataPublished, {});
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_F(DispatchedCommand, TakesNoNoticeOfSurplusWords)
{
    ExpectRun(L"/id C: 42 43 D:", 0, L"File Name C:\\data\\report.doc corresponds to id 42 on drive C:\n",
              kNothingPublished,
              kFindC + EngineCalls{L"agent.CheckAccess()", L"agent.GetFileNameById(\\\\?\\Volume{C}\\, 42)"});
}

TEST_F(DispatchedCommand, TellsAFileNameWhateverPolicyForbids)
{
    RefuseAllButLaunching();
    ExpectRun(L"/id C: 42", 0, L"File Name C:\\data\\report.doc corresponds to id 42 on drive C:\n", kNothingPublished,
              kFindC + EngineCalls{L"agent.CheckAccess()", L"agent.GetFileNameById(\\\\?\\Volume{C}\\, 42)"});
}

struct IdentifierCase {
    const char* name;
    const wchar_t* word;
    std::wstring identifier;
};

class FileIdentifier : public DispatchedCommand, public ::testing::WithParamInterface<IdentifierCase> {};

TEST_P(FileIdentifier, IsTheSigned32BitNumberThatItsWordBeginsWith)
{
    const std::wstring& identifier = GetParam().identifier;
    ExpectRun(std::wstring(L"/id c: ") + GetParam().word, 0,
              L"File Name C:\\data\\report.doc corresponds to id " + identifier + L" on drive c:\n", kNothingPublished,
              kFindC + EngineCalls{L"agent.CheckAccess()",
                                   L"agent.GetFileNameById(\\\\?\\Volume{C}\\, " + identifier + L")"});
}

INSTANTIATE_TEST_SUITE_P(Words, FileIdentifier,
                         ::testing::Values(IdentifierCase{"DigitsBeforeLetters", L"12abc", L"12"},
                                           IdentifierCase{"Letters", L"abc", L"0"},
                                           IdentifierCase{"Negative", L"-5", L"-5"},
                                           IdentifierCase{"TooGreat", L"2147483648", L"2147483647"}),
                         [](const auto& test) { return test.param.name; });

// --- Files ---

class DefragFilesCommand : public DispatchedCommand {
protected:
    void SetUp() override
    {
        DispatchedCommand::SetUp();
        engine.AddDrive(L"D:\\");
    }

    // Looking D: up, behind C:.
    const EngineCalls findD = kFindC + EngineCalls{L"agent.GetDrive(\\\\?\\Volume{D}\\)", L"drive.GetDriveName(D:\\)"};
    const EngineCalls openD{L"agent.CheckAccess()", L"agent.GetDrive(\\\\?\\Volume{D}\\)",
                            L"drive.GetMountPoint(D:\\)"};
};

TEST_F(DefragFilesCommand, HandsAllFilesInOrderToTheDriveOfTheFirst)
{
    ExpectRun(L"/df C:\\a.txt D:\\b.txt", 0, L"Single File defragmentation started on drive C:\\.\n", kNothingPublished,
              kFindC + kOpenC + EngineCalls{L"agent.DefragFile(C:\\, C:\\a.txt|D:\\b.txt)"});
    ExpectRun(L"/df D:\\b.txt C:\\a.txt D:\\c", 0, L"Single File defragmentation started on drive D:\\.\n",
              kNothingPublished, findD + openD + EngineCalls{L"agent.DefragFile(D:\\, D:\\b.txt|C:\\a.txt|D:\\c)"});
}

TEST_F(DefragFilesCommand, LeavesOutWordsThatAreNoFiles)
{
    ExpectRun(L"/df a.txt C: \\\\SRV1\\x D:b /x", 0, L"Single File defragmentation started on drive D:\\.\n",
              kNothingPublished, findD + openD + EngineCalls{L"agent.DefragFile(D:\\, D:b)"});
}

TEST_F(DefragFilesCommand, TakesTheDriveInAnyCase)
{
    ExpectRun(L"/df c:\\A.txt", 0, L"Single File defragmentation started on drive C:\\.\n", kNothingPublished,
              kFindC + kOpenC + EngineCalls{L"agent.DefragFile(C:\\, c:\\A.txt)"});
}

TEST_F(DefragFilesCommand, AsksForFilesFirst)
{
    Refuse(Permission::OnlineDefrag);
    for (const wchar_t* const words : {L"/df", L"/df a.txt", L"/df C: /alldrives"}) {
        ExpectRun(words, 87, kBadFiles, kBadDataPublished, {});
    }
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_F(DefragFilesCommand, AsksForPermissionBeforeItLooksForTheDrive)
{
    Refuse(Permission::OnlineDefrag);
    ExpectRefusal(L"/df C:\\a.txt", Permission::OnlineDefrag);
    ExpectRefusal(L"/df q:\\a.txt", Permission::OnlineDefrag);
}

TEST_F(DefragFilesCommand, TakesARootThatTheEngineDoesNotKnowForABadFile)
{
    ExpectRun(L"/df q:\\a.txt C:\\a.txt", 87, kBadFiles, kBadDataPublished, findD);
    ExpectRun(L"/df 1:\\a.txt", 87, kBadFiles, kBadDataPublished, findD);
    engine.drives.push_back({L"nameless", L"", L""});
    ExpectRun(L"/df 1:\\a.txt", 87, kBadFiles, kBadDataPublished,
              findD + EngineCalls{L"agent.GetDrive(nameless)", L"drive.GetDriveName()"});
}

// The drive of the path's letter counts, not one that is mounted in a folder.
TEST_F(DefragFilesCommand, TakesNoMountedDriveForThatOfItsFolder)
{
    engine.drives = {{L"id", L"M:\\Mount\\", L"M:\\Mount\\"}};
    ExpectRun(L"/df M:\\Mount\\a.txt", 87, kBadFiles, kBadDataPublished,
              {L"agent.GetDriveList()", L"agent.GetDrive(id)", L"drive.GetDriveName(M:\\Mount\\)"});
}

TEST_F(DefragFilesCommand, TakesAFailingLookUpForABadFile)
{
    engine.Fail(L"GetDrive", {kEngineFailure, L"\\\\?\\Volume{C}\\"});
    ExpectRun(L"/df D:\\b.txt", 87, kBadFiles, kBadDataPublished,
              {L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{C}\\)"});
}

TEST_F(DefragFilesCommand, TakesALookUpThatFailsWithTheResult0ForABadFile)
{
    for (const HRESULT failure : kFailuresWithResult0) {
        engine.Fail(L"GetDriveList", {failure});
        ExpectRun(L"/df C:\\a.txt", 87, kBadFiles, kBadDataPublished, {L"agent.GetDriveList()"});
    }
}

// --- Several drives ---

// Runs commands with an engine that lists E:, D: and C:.
class CommandOnSeveralDrives : public DispatchedCommand {
protected:
    void SetUp() override
    {
        for (const wchar_t* const name : {L"E:\\", L"D:\\", L"C:\\"}) {
            engine.AddDrive(name);
        }
    }

    // The calls of one of the engine's methods, in order.
    EngineCalls CallsOf(const std::wstring& method) const
    {
        EngineCalls calls = engine.Calls();
        std::erase_if(calls, [&](const std::wstring& call) { return !call.starts_with(L"agent." + method + L"("); });
        return calls;
    }

    // Makes an operation on this drive fail with the Windows error once the drive has been opened.
    void FailDrive(const wchar_t* name, int error) { engine.Fail(L"GetMountPoint", {HRESULT_FROM_WIN32(error), name}); }
};

TEST_F(CommandOnSeveralDrives, TakesThemSortedAndEachOnce)
{
    EXPECT_EQ(0U, Run(L"/stop D: e C:\\ c: D:"));
    EXPECT_EQ(L"Velundra 14.0\n"
              L"Drive C:\\ was stopped.\n"
              L"Drive D:\\ was stopped.\n"
              L"Drive E:\\ was stopped.\n",
              output.Text());
    EXPECT_EQ((EngineCalls{L"agent.StopDrive(C:\\)", L"agent.StopDrive(D:\\)", L"agent.StopDrive(E:\\)"}),
              CallsOf(L"StopDrive"));
    EXPECT_EQ(0U, Run(L"/sb D: C: /p"));
    EXPECT_EQ((EngineCalls{L"agent.ScheduleBootTime(C:\\, 4)", L"agent.ScheduleBootTime(D:\\, 4)"}),
              CallsOf(L"ScheduleBootTime"));
    EXPECT_EQ(0U, Run(L"/cb E: C:"));
    EXPECT_EQ((EngineCalls{L"agent.CancelBootTime(C:\\)", L"agent.CancelBootTime(E:\\)"}), CallsOf(L"CancelBootTime"));
}

TEST_F(CommandOnSeveralDrives, StartsABatchOnEachOfThem)
{
    EXPECT_EQ(0U, Run(L"/cfs C: E:"));
    EXPECT_THAT(CallsOf(L"OptimizeOnline"),
                ::testing::UnorderedElementsAre(L"agent.OptimizeOnline(C:\\, 2)", L"agent.OptimizeOnline(E:\\, 2)"));
    EXPECT_EQ(0U, Run(L"/an /alldrives"));
    EXPECT_THAT(CallsOf(L"Analyze"), ::testing::UnorderedElementsAre(L"agent.Analyze(C:\\)", L"agent.Analyze(D:\\)",
                                                                     L"agent.Analyze(E:\\)"));
}

TEST_F(CommandOnSeveralDrives, TakesAllDrivesOfTheEngine)
{
    EXPECT_EQ(0U, Run(L"/cb /alldrives"));
    EXPECT_EQ(
        (EngineCalls{L"agent.CancelBootTime(C:\\)", L"agent.CancelBootTime(D:\\)", L"agent.CancelBootTime(E:\\)"}),
        CallsOf(L"CancelBootTime"));
}

TEST_F(CommandOnSeveralDrives, GoesOnWithTheDrivesThatWereResolvedBeforeAFailure)
{
    // The engine lists E: first.
    engine.Fail(L"GetDrive", {kEngineFailure, L"\\\\?\\Volume{D}\\"});
    EXPECT_EQ(0U, Run(L"/stop C: D: E:"));
    EXPECT_EQ(L"Velundra 14.0\nDrive E:\\ was stopped.\n", output.Text());
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_F(CommandOnSeveralDrives, GoesOnWithTheDrivesThatWereListedBeforeAFailure)
{
    // The first time that D: is asked for lists all drives; the second one resolves them.
    engine.Fail(L"GetDrive", {kEngineFailure, L"\\\\?\\Volume{D}\\", 1});
    EXPECT_EQ(0U, Run(L"/cb /alldrives"));
    EXPECT_EQ((EngineCalls{L"agent.CancelBootTime(E:\\)"}), CallsOf(L"CancelBootTime"));
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_F(CommandOnSeveralDrives, HasNoneWhenTheVeryFirstCannotBeResolved)
{
    engine.Fail(L"GetDrive", {kEngineFailure, L"\\\\?\\Volume{E}\\"});
    EXPECT_EQ(87U, Run(L"/stop C: D: E:"));
    EXPECT_EQ(L"Velundra 14.0\n" + kNoDrives, output.Text());
    EXPECT_EQ(kBadDataPublished, environment);
    EXPECT_EQ(0, engine.CountCalls(L"StopDrive"));
}

TEST_F(CommandOnSeveralDrives, ReturnsTheFailureOfTheOneThatCouldNotBeStopped)
{
    FailDrive(L"C:\\", 5);
    EXPECT_EQ(5U, Run(L"/stop C: D:"));
    EXPECT_EQ(L"Velundra 14.0\nDrive D:\\ was stopped.\n", output.Text());
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_F(CommandOnSeveralDrives, ReturnsTheLastFailureOfStoppingAndTriesAllDrives)
{
    FailDrive(L"C:\\", 5);
    FailDrive(L"D:\\", 6);
    EXPECT_EQ(6U, Run(L"/stop C: D: E:"));
    EXPECT_EQ(L"Velundra 14.0\nDrive E:\\ was stopped.\n", output.Text());
    EXPECT_EQ(3, engine.CountCalls(L"GetMountPoint"));
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_F(CommandOnSeveralDrives, ReturnsTheLastResultThatIsNot0ThoughALaterDriveFailed)
{
    for (const HRESULT failure : kFailuresWithResult0) {
        FailDrive(L"C:\\", 5);
        engine.Fail(L"GetMountPoint", {failure, L"D:\\"});
        EXPECT_EQ(5U, Run(L"/stop C: D: E:"));
        EXPECT_EQ(L"Velundra 14.0\nDrive E:\\ was stopped.\n", output.Text());
        EXPECT_EQ(0U, Run(L"/stop D:"));
        EXPECT_EQ(L"Velundra 14.0\n", output.Text());
    }
}

TEST_F(CommandOnSeveralDrives, ReturnsTheLastFailureOfScheduling)
{
    const auto setFileTypes = [this](std::initializer_list<ULONG> types) {
        std::transform(types.begin(), types.end(), engine.drives.rbegin(), engine.drives.rbegin(),
                       [](ULONG type, FakeDrive& drive) {
                           drive.offlineFileTypes = type;
                           return drive;
                       });
    };
    // C: has nothing to schedule, D: cannot be opened, E: is scheduled.
    setFileTypes({0, 1, 2});
    FailDrive(L"D:\\", 5);
    EXPECT_EQ(0x20000001U, Run(L"/sb C: D: E:"));
    EXPECT_EQ((EngineCalls{L"agent.ScheduleBootTime(E:\\, 2)"}), CallsOf(L"ScheduleBootTime"));
    EXPECT_EQ(kNothingPublished, environment);
    // Now E:, too, has nothing to schedule.
    setFileTypes({0, 1, 0});
    EXPECT_EQ(87U, Run(L"/sb C: D: E:"));
    EXPECT_EQ(0, engine.CountCalls(L"ScheduleBootTime"));
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_F(CommandOnSeveralDrives, ReturnsTheLastFailureOfCancelling)
{
    // C: is refused, D: cannot be opened, E: is cancelled.
    engine.Fail(L"CheckAccess", {E_ACCESSDENIED, L"", 1});
    FailDrive(L"D:\\", 5);
    EXPECT_EQ(0x20000001U, Run(L"/cb C: D: E:"));
    EXPECT_EQ((EngineCalls{L"agent.CancelBootTime(E:\\)"}), CallsOf(L"CancelBootTime"));
    EXPECT_EQ(kNothingPublished, environment);
}

TEST_F(CommandOnSeveralDrives, ReturnsARefusedAccessThatCameLast)
{
    // C: is cancelled, D: cannot be opened, E: is refused.
    engine.Fail(L"CheckAccess", {E_ACCESSDENIED, L"", 3});
    FailDrive(L"D:\\", 5);
    EXPECT_EQ(0x20000004U, Run(L"/cb C: D: E:"));
    EXPECT_EQ((EngineCalls{L"agent.CancelBootTime(C:\\)"}), CallsOf(L"CancelBootTime"));
    EXPECT_EQ(kNothingPublished, environment);
}

} // namespace
