#include "cmd/dispatcher.h"

#include "dispatched_command.h"
#include "messages/console_output.h"
#include "support/arguments.h"
#include "support/described_files.h"
#include "support/described_volumes.h"
#include "support/described_windows.h"
#include "support/fake_ado.h"
#include "support/installed_program.h"
#include "support/standard_output.h"
#include "support/support_report.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using namespace testing_support;
using namespace testing_support::dispatching;

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// --- Statistics: the drives as typed, and permission after the drives ---

class StatisticsCommand : public CommandWithoutData {};

TEST_P(StatisticsCommand, ShowsTheUsageScreenAndPublishes87WithoutDrives)
{
    ExpectRun(GetParam(), 87, kNoDrives, kBadDataPublished, {});
    ExpectRun(GetParam() + std::wstring(L" CD C:x readme"), 87, kNoDrives, kBadDataPublished, {});
    ExpectRun(GetParam() + std::wstring(L" /c SRV1"), 87, kNoDrives, kBadDataPublished, {});
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_P(StatisticsCommand, LooksForDrivesBeforeItAsksForPermission)
{
    Refuse(Permission::Status);
    ExpectRun(GetParam(), 87, kNoDrives, kBadDataPublished, {});
}

TEST_P(StatisticsCommand, IsRefusedForDrivesThatNobodyHasLookedUp)
{
    Refuse(Permission::Status);
    ExpectRefusal(GetParam() + std::wstring(L" C:"), Permission::Status);
    ExpectRefusal(GetParam() + std::wstring(L" q:"), Permission::Status);
    ExpectRefusal(GetParam() + std::wstring(L" C: /c SRV1"), Permission::Status);
}

TEST_P(StatisticsCommand, IsRefusedForAllDrivesOnceTheyAreListed)
{
    Refuse(Permission::Status);
    const std::wstring words = GetParam() + std::wstring(L" /alldrives");
    const std::wstring refusal = L"You do not have permission to get the status of the drives.\n";
    ExpectRun(words, kRefused, refusal, kRefusalPublished, kFindC);
    // What was listed before a failure counts.
    engine.AddDrive(L"D:\\");
    engine.Fail(L"GetDrive", {kEngineFailure, L"\\\\?\\Volume{D}\\"});
    ExpectRun(words, kRefused, refusal, kRefusalPublished, kFindC + EngineCalls{L"agent.GetDrive(\\\\?\\Volume{D}\\)"});
}

TEST_P(StatisticsCommand, HasNoDrivesWhenTheyCannotBeListed)
{
    engine.Fail(L"GetDriveList", {kEngineFailure});
    ExpectRun(GetParam() + std::wstring(L" /alldrives"), 87, kNoDrives, kBadDataPublished, {L"agent.GetDriveList()"});
}

TEST_P(StatisticsCommand, PassesItsChecksWithPermissionAndADrive)
{
    for (const wchar_t* const drive : {L" C:", L" q:", L" /alldrives"}) {
        Run(GetParam() + std::wstring(drive));
        EXPECT_THAT(output.Text(), Not(HasSubstr(L"No drives specified")));
        EXPECT_THAT(output.Text(), Not(HasSubstr(L"You do not have permission")));
        EXPECT_EQ(kNothingPublished, environment);
    }
}

INSTANTIATE_TEST_SUITE_P(Commands, StatisticsCommand, ::testing::Values(L"/sta", L"/sto", L"/stf"), NameOfCommandWord);

// --- Statistics: the reports ---

struct StatisticsCase {
    const char* name;
    const wchar_t* word;
    std::wstring head;  // of the report
    std::wstring table; // that the database is asked for
};

// The database holds a row for every drive, and so does the engine of another computer.
class StatisticsReport : public DispatchedCommand, public ::testing::WithParamInterface<StatisticsCase> {
protected:
    StatisticsReport()
    {
        RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, L"Software\\Kestrane\\VLCore\\14.0", L"ConnectionString",
                                   L"ADO:x");
        ado.columns.assign(16, L"column");
        ado.rows = {AdoRow(16, 1.0)};
        engine.figures[L"c:"] = {{L"/ NumStatPoints", 0}};
    }

    // What the database was asked: the table and the drive of each statement.
    std::vector<std::pair<std::wstring, std::wstring>> Questions()
    {
        std::vector<std::pair<std::wstring, std::wstring>> questions;
        for (const std::wstring& call : ado.TakeCalls()) {
            if (call.starts_with(L"recordset.Open(")) {
                const std::size_t table = call.find(L"SELECT ") + 7;
                const std::size_t drive = call.find(L"UPPER('") + 7;
                questions.emplace_back(call.substr(table, call.find(L'.', table) - table),
                                       call.substr(drive, call.find(L'\'', drive) - drive));
            }
        }
        return questions;
    }

    const std::wstring remoteReport = L"Remote Computer:   SRV1\nNo statistics data available for c: drive.\n";
    const EngineCalls remoteCalls{L"agent.GetStatistics(c:, 1)", L"statistics.GetInteger(/, NumStatPoints)"};

    FakeAdo ado;
    Replaced<"CoSetProxyBlanket", decltype(::CoSetProxyBlanket)> blanket{
        [](IUnknown*, DWORD, DWORD, OLECHAR*, DWORD, DWORD, RPC_AUTH_IDENTITY_HANDLE, DWORD) { return S_OK; }};
};

class StatisticsReportOfAKind : public StatisticsReport {};

TEST_P(StatisticsReportOfAKind, IsAboutTheDrivesAsTyped)
{
    EXPECT_EQ(0U, Run(GetParam().word + std::wstring(L" c: Q:")));
    EXPECT_THAT(output.Text(), StartsWith(L"Velundra 14.0\n" + GetParam().head + L"\n\nDrive "));
    EXPECT_THAT(output.Text(), HasSubstr(L":   c:\n"));
    EXPECT_THAT(output.Text(), HasSubstr(L":   Q:\n"));
    EXPECT_EQ(
        (std::vector<std::pair<std::wstring, std::wstring>>{{GetParam().table, L"c:"}, {GetParam().table, L"Q:"}}),
        Questions());
    EXPECT_EQ(kNothingPublished, environment);
    EXPECT_TRUE(engine.Calls().empty());
}

TEST_P(StatisticsReportOfAKind, IsAboutAllTheEnginesDrives)
{
    EXPECT_EQ(0U, Run(GetParam().word + std::wstring(L" /alldrives")));
    EXPECT_EQ((std::vector<std::pair<std::wstring, std::wstring>>{{GetParam().table, L"C:\\"}}), Questions());
    EXPECT_EQ(kFindC, engine.Calls());
}

TEST_P(StatisticsReportOfAKind, GivesTheCodeOfItsFailureWithoutPublishingIt)
{
    ado.Fail(L"connection.Open", {.scode = kEngineFailure});
    ExpectRun(GetParam().word + std::wstring(L" c: q:"), 0x80041234,
              GetParam().head + L"\nFailed to output statistics for volume c:. Error: 2147750452\n", kNothingPublished,
              {});
}

TEST_P(StatisticsReportOfAKind, ComesFromTheEngineOfAnotherComputer)
{
    ExpectRun(GetParam().word + std::wstring(L" c: /c SRV1"), 0, remoteReport, kNothingPublished, remoteCalls);
    EXPECT_TRUE(ado.TakeCreations().empty());
}

TEST_P(StatisticsReportOfAKind, GivesTheCodeOfTheRemoteFailureWithoutPublishingIt)
{
    engine.Fail(L"GetStatistics", {kEngineFailure});
    ExpectRun(GetParam().word + std::wstring(L" c: /c SRV1"), 0x80041234, L"Remote Computer:   SRV1\n",
              kNothingPublished, {L"agent.GetStatistics(c:, 1)"});
}

const StatisticsCase kStatisticsCases[] = {
    {"Analyze", L"/sta", L"\nLocal Computer            :   THISPC", L"StatsAnalyze"},
    {"Online", L"/sto", L"\nLocal Computer                  :   THISPC", L"StatsDefragOnline"},
    {"Offline", L"/stf", L"\nLocal Computer                   :   THISPC", L"StatsDefragOffline"},
};

INSTANTIATE_TEST_SUITE_P(Commands, StatisticsReportOfAKind, ::testing::ValuesIn(kStatisticsCases),
                         [](const auto& test) { return std::string(test.param.name); });

class StatisticsAfterAnalysis : public StatisticsReport {
protected:
    void SetUp() override
    {
        DispatchedCommand::SetUp();
        engine.drives.front().states = {1, 0};
    }

    const std::wstring analyzed = L"Analyze started on drive C:\\.\nAnalyze completed.\n";
};

TEST_F(StatisticsAfterAnalysis, AreShownToWhoeverWaited)
{
    EXPECT_EQ(0U, Run(L"/an c: /w"));
    EXPECT_THAT(output.Text(),
                StartsWith(L"Velundra 14.0\n" + analyzed +
                           L"\nLocal Computer            :   THISPC\n\nDrive                     :   c:\n"));
    EXPECT_EQ((std::vector<std::pair<std::wstring, std::wstring>>{{L"StatsAnalyze", L"c:"}}), Questions());
}

TEST_F(StatisticsAfterAnalysis, AreNotShownToOthers)
{
    ExpectRun(L"/an c:", 0, L"Analyze started on drive C:\\.\n", kNothingPublished,
              kFindC + kOpenC + EngineCalls{L"agent.Analyze(C:\\)", L"refresh.Refresh()"});
    EXPECT_TRUE(ado.TakeCreations().empty());
}

TEST_F(StatisticsAfterAnalysis, AreNotShownWhereTheAnalysisFailed)
{
    engine.Fail(L"Analyze", {kEngineFailure});
    EXPECT_EQ(0x1234U, Run(L"/an c: /w"));
    EXPECT_TRUE(ado.TakeCreations().empty());
}

TEST_F(StatisticsAfterAnalysis, AreNotShownWhereTheAnalysisFailedWithTheResult0)
{
    for (const HRESULT failure : kFailuresWithResult0) {
        engine.Fail(L"Analyze", {failure});
        EXPECT_EQ(0U, Run(L"/an c: /w"));
        EXPECT_THAT(output.Text(), HasSubstr(L"Analyze failed due to error "));
        EXPECT_TRUE(ado.TakeCreations().empty());
    }
}

TEST_F(StatisticsAfterAnalysis, NeedNoPermissionOfTheirOwn)
{
    Refuse(Permission::Status);
    EXPECT_EQ(0U, Run(L"/an c: /w"));
    EXPECT_EQ(1U, Questions().size());
}

TEST_F(StatisticsAfterAnalysis, GiveTheirFailureAsTheResult)
{
    ado.Fail(L"connection.Open", {.scode = kEngineFailure});
    EXPECT_EQ(0x80041234U, Run(L"/an c: /w"));
    EXPECT_THAT(output.Text(), HasSubstr(L"Failed to output statistics for volume c:. Error: 2147750452\n"));
    EXPECT_EQ(kNothingPublished, environment);
}

// Words that name no drive of the engine's are dropped by the analysis, not by the report.
TEST_F(StatisticsAfterAnalysis, AreAboutAllWordsThatWereTyped)
{
    EXPECT_EQ(0U, Run(L"/an c: q: /w"));
    EXPECT_EQ((std::vector<std::pair<std::wstring, std::wstring>>{{L"StatsAnalyze", L"c:"}, {L"StatsAnalyze", L"q:"}}),
              Questions());
}

TEST_F(StatisticsAfterAnalysis, ComeFromTheEngineOfAnotherComputer)
{
    EXPECT_EQ(0U, Run(L"/an c: /w /c SRV1"));
    EXPECT_EQ(L"Velundra 14.0\n" + analyzed + remoteReport, output.Text());
    EXPECT_TRUE(ado.TakeCreations().empty());
}

TEST_F(StatisticsAfterAnalysis, MissTheDrivesThatCanNoLongerBeListed)
{
    engine.Fail(L"GetDriveList", {kEngineFailure, L"", 3});
    EXPECT_EQ(87U, Run(L"/an /alldrives /w"));
    EXPECT_EQ(L"Velundra 14.0\n" + analyzed + kNoDrives, output.Text());
    EXPECT_EQ(kBadDataPublished, environment);
}

// --- The support report ---

// Runs the command on a computer whose report is the same each time, and short.
class SupportInformation : public DispatchedCommand {
protected:
    SupportInformation() { program.MoveTo(L"C:\\Velundra\\VLCmd.exe"); }

    InstalledProgram program;
    DescribedWindows windows;
    DescribedVolumes volumes;
    DescribedFiles files;
};

TEST_F(SupportInformation, IsTheReportWithALineEnd)
{
    const std::wstring report = BuildSupportReport();
    EXPECT_THAT(report, StartsWith(L"Computer: ACCOUNTS7\n"));
    for (const wchar_t* const words : {L"/si", L"/SupportInformation", L"/SI"}) {
        ExpectRun(words, 0, report + L"\n", kNothingPublished, {});
    }
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_F(SupportInformation, IsWrittenWhole)
{
    std::string bytes;
    for (const wchar_t c : BuildSupportReport() + L"\n") {
        bytes += c == L'\n' ? "\r\n" : std::string(1, static_cast<char>(c));
    }
    StandardOutput standardOutput = StandardOutput::Redirected(CP_UTF8);
    {
        const ConsoleOutput console;
        EXPECT_EQ(0U, DispatchCommand(TypedLine(L"/si")));
    }
    EXPECT_EQ((std::vector<std::string>{"Velundra 14.0\r\n", bytes}), standardOutput.writes);
}

TEST_F(SupportInformation, IsOfThisComputerWhateverElseIsTyped)
{
    const std::wstring report = BuildSupportReport();
    for (const wchar_t* const words :
         {L"/si /c OTHER", L"/si \\\\OTHER", L"/c OTHER /si", L"/si C: X: /w /alldrives"}) {
        ExpectRun(words, 0, report + L"\n", kNothingPublished, {});
    }
    EXPECT_TRUE(engine.Activations().empty());
}

} // namespace
