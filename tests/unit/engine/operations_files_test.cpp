#include "engine/Operations.h"

#include "support/operation_test.h"

#include <cstdint>

namespace {

using namespace testing_support;

constexpr auto kNotRegistered = static_cast<HRESULT>(0x80040154);
constexpr auto kRefused = static_cast<HRESULT>(0x80041234); // low 16 bits 0x1234

constexpr wchar_t kNotInstalled[] = L"Velundra is not installed on computer ''\n";

class DefragmentingFiles : public OperationTest {};

TEST_F(DefragmentingFiles, AsksTheEngineStepByStepAndShowsTheMountPoint)
{
    const NumberedMessages numbered;
    EXPECT_EQ(0U, DefragFiles(L"", L"C:\\", L"C:\\data\\a b.doc|C:\\data\\\u0434.txt"));
    EXPECT_EQ(L"(-2893-)Single File defragmentation started on drive C:\\ (Boot).\n", output.Text());
    EXPECT_EQ((EngineCalls{L"agent.CheckAccess()", L"agent.GetDrive(C:\\)", L"drive.GetMountPoint(C:\\)",
                           L"agent.DefragFile(C:\\, C:\\data\\a b.doc|C:\\data\\\u0434.txt)"}),
              engine.Calls());
    EXPECT_EQ((std::vector<Activation>{LocalAgent()}), engine.Activations());
}

TEST_F(DefragmentingFiles, TakesADriveByItsIdentity)
{
    EXPECT_EQ(0U, DefragFiles(L"", L"\\\\?\\Volume{C}\\", L"C:\\a"));
    EXPECT_EQ((EngineCalls{L"agent.CheckAccess()", L"agent.GetDrive(\\\\?\\Volume{C}\\)", L"drive.GetMountPoint(C:\\)",
                           L"agent.DefragFile(C:\\, C:\\a)"}),
              engine.Calls());
}

TEST_F(DefragmentingFiles, IsDoneByTheEngineOfTheComputer)
{
    EXPECT_EQ(0U, DefragFiles(L"SRV1", L"C:\\", L"C:\\a"));
    EXPECT_EQ((std::vector<Activation>{RemoteAgent(L"SRV1")}), engine.Activations());
}

TEST_F(DefragmentingFiles, NeitherWaitsNorSendsARefreshNotice)
{
    Replaced<"Sleep", decltype(::Sleep)> sleep([](DWORD) {});
    EXPECT_EQ(0U, DefragFiles(L"", L"C:\\", L"C:\\a"));
    EXPECT_EQ(0, sleep.Calls());
    EXPECT_EQ(0, engine.CountCalls(L"GetState"));
    EXPECT_EQ(0, engine.CountCalls(L"Refresh"));
}

TEST_F(DefragmentingFiles, ReturnsTheConnectionsResultWhole)
{
    engine.activation = kNotRegistered;
    EXPECT_EQ(0x80040154U, DefragFiles(L"", L"C:\\", L"C:\\a"));
    EXPECT_EQ(kNotInstalled, output.Text());
    EXPECT_EQ(EngineCalls{}, engine.Calls());
}

TEST_F(DefragmentingFiles, IsSilentAboutEveryFailureBeforeTheRequest)
{
    const auto defrag = [] { return DefragFiles(L"", L"C:\\", L"C:\\a"); };
    ExpectFailure(defrag, {.method = L"CheckAccess"});
    ExpectFailure(defrag, {.method = L"GetDrive"});
    ExpectFailure(defrag, {.method = L"GetMountPoint"});
}

TEST_F(DefragmentingFiles, IsSilentAboutADriveThatTheEngineDoesNotKnow)
{
    EXPECT_EQ(2U, DefragFiles(L"", L"E:\\", L"E:\\a"));
    engine.HandOutNull(L"GetDrive");
    EXPECT_EQ(0x4003U, DefragFiles(L"", L"C:\\", L"C:\\a"));
    EXPECT_EQ(L"", output.Text());
    EXPECT_EQ(0, engine.CountCalls(L"DefragFile"));
}

TEST_F(DefragmentingFiles, ReportsTheEnginesRefusal)
{
    ExpectFailure([] { return DefragFiles(L"", L"C:\\", L"C:\\a"); },
                  {L"DefragFile", L"(-2892-)Single File defragmentation failed due to error ", L"(Operations/#1026)\n",
                   0x20000001});
}

TEST_F(DefragmentingFiles, ShowsANullMountPointAsAnEmptyOne)
{
    engine.HandOutNull(L"GetMountPoint");
    EXPECT_EQ(0U, DefragFiles(L"", L"C:\\", L"C:\\a"));
    EXPECT_EQ(L"Single File defragmentation started on drive .\n", output.Text());
}

class ShowingAFileName : public OperationTest {
protected:
    ShowingAFileName() { engine.AddDrive(L"D:\\Data\\"); }
};

TEST_F(ShowingAFileName, LooksTheDriveUpAndAsksForTheName)
{
    const NumberedMessages numbered;
    EXPECT_EQ(0U, ShowFileNameById(L"", L"d:\\data", 281474976710662));
    EXPECT_EQ(L"(-1708-)File Name C:\\data\\report.doc corresponds to id 281474976710662 on drive d:\\data\n",
              output.Text());
    EXPECT_EQ((EngineCalls{L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{C}\\)", L"drive.GetDriveName(C:\\)",
                           L"agent.GetDrive(\\\\?\\Volume{DData}\\)", L"drive.GetDriveName(D:\\Data\\)",
                           L"agent.CheckAccess()", L"agent.GetFileNameById(\\\\?\\Volume{DData}\\, 281474976710662)"}),
              engine.Calls());
    EXPECT_EQ((std::vector<Activation>{LocalAgent(), LocalAgent()}), engine.Activations());
}

TEST_F(ShowingAFileName, ShowsTheIdentifierInDecimal)
{
    const struct {
        std::int64_t id;
        const wchar_t* line;
    } rows[] = {
        {0, L"File Name C:\\data\\report.doc corresponds to id 0 on drive c:\n"},
        {5, L"File Name C:\\data\\report.doc corresponds to id 5 on drive c:\n"},
        {-1, L"File Name C:\\data\\report.doc corresponds to id -1 on drive c:\n"},
        {INT64_MAX, L"File Name C:\\data\\report.doc corresponds to id 9223372036854775807 on drive c:\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(0U, ShowFileNameById(L"", L"c:", row.id));
        EXPECT_EQ(row.line, output.Take());
        EXPECT_EQ(L"agent.GetFileNameById(\\\\?\\Volume{C}\\, " + std::to_wstring(row.id) + L")",
                  engine.Calls().back());
    }
}

TEST_F(ShowingAFileName, KeepsSignsOfTheFileNameThatLookLikePlaceholders)
{
    engine.fileName = L"C:\\100%2.txt";
    EXPECT_EQ(0U, ShowFileNameById(L"", L"C:", 5));
    EXPECT_EQ(L"File Name C:\\100%2.txt corresponds to id 5 on drive C:\n", output.Text());
}

TEST_F(ShowingAFileName, ShowsANullNameAsAnEmptyOne)
{
    engine.HandOutNull(L"GetFileNameById");
    EXPECT_EQ(0U, ShowFileNameById(L"", L"C:", 5));
    EXPECT_EQ(L"File Name  corresponds to id 5 on drive C:\n", output.Text());
}

TEST_F(ShowingAFileName, AsksTheEngineOfTheComputer)
{
    EXPECT_EQ(0U, ShowFileNameById(L"SRV1", L"C:", 5));
    EXPECT_EQ((std::vector<Activation>{RemoteAgent(L"SRV1"), RemoteAgent(L"SRV1")}), engine.Activations());
}

TEST_F(ShowingAFileName, RefusesAWordThatNamesNoDriveWithoutConnecting)
{
    const NumberedMessages numbered;
    for (const std::wstring word : {L"", L"data", L"C:x", L"5", L"/{a}", L"-C"}) {
        EXPECT_EQ(87U, ShowFileNameById(L"", word, 5));
        EXPECT_EQ(L"(-284-)" + word + L" is not a valid DriveName .\n", output.Take());
    }
    EXPECT_EQ((std::vector<Activation>{}), engine.Activations());
}

TEST_F(ShowingAFileName, ReportsADriveThatTheEngineDoesNotKnow)
{
    const NumberedMessages numbered;
    EXPECT_EQ(13U, ShowFileNameById(L"", L"e:", 5));
    EXPECT_EQ(L"(-268-)e: Could not be matched with a known volume GUID .\n", output.Text());
    EXPECT_EQ(0, engine.CountCalls(L"CheckAccess"));
    EXPECT_EQ(0, engine.CountCalls(L"GetFileNameById"));
}

TEST_F(ShowingAFileName, ReportsALookUpThatFails)
{
    engine.Fail(L"GetDrive", {kRefused});
    EXPECT_EQ(0x1234U, ShowFileNameById(L"", L"C:", 5));
    EXPECT_EQ(L"C: Could not be matched with a known volume GUID .\n", output.Take());
    engine.Fail(L"GetDriveList", {E_ACCESSDENIED});
    EXPECT_EQ(5U, ShowFileNameById(L"", L"C:", 5));
    EXPECT_EQ(L"C: Could not be matched with a known volume GUID .\n", output.Text());
}

TEST_F(ShowingAFileName, ReportsALookUpThatCannotConnect)
{
    engine.activation = kNotRegistered;
    EXPECT_EQ(0x80040154U, ShowFileNameById(L"", L"C:", 5));
    EXPECT_EQ(std::wstring(kNotInstalled) + L"C: Could not be matched with a known volume GUID .\n", output.Text());
    EXPECT_EQ(1U, engine.Activations().size());
}

TEST_F(ShowingAFileName, ReportsTheSecondConnectionThatFails)
{
    const NumberedMessages numbered;
    for (const EngineFailure& failure : kEngineFailures) {
        SCOPED_TRACE(failure.kind);
        engine.activation = S_OK;
        engine.onCall = [&](const std::wstring& call) {
            if (call == L"drive.GetDriveName(C:\\)") {
                engine.activation = failure.failure;
                ErrorObject::SetForThread(L"Another call has failed.");
            }
        };
        const Replaced<"CoCreateInstanceEx", decltype(::CoCreateInstanceEx)> activate(
            [&](REFCLSID classId, IUnknown* outer, DWORD context, COSERVERINFO* server, DWORD count,
                MULTI_QI* results) {
                if (FAILED(engine.activation) && failure.object != nullptr) {
                    ErrorObject::SetForThread(failure.object);
                }
                return activate.Original(classId, outer, context, server, count, results);
            });
        EXPECT_EQ(failure.code, ShowFileNameById(L"SRV1", L"C:", 5));
        const std::wstring connection =
            failure.failure == E_ACCESSDENIED
                ? L"(-3584-)You do not have permission to connect to Velundra on computer 'SRV1'.  You must be a "
                  L"member of the Local Admin group.\n"
                : L"(-1042-)Could not connect to computer 'SRV1'.  Verify the name is correct and the machine is "
                  L"turned on.\n";
        EXPECT_EQ(connection + L"(-1615-)Failed to get Drive manager due to error " + failure.errorText +
                      L"(Operations/#440)\n",
                  output.Take());
    }
    EXPECT_EQ(0, engine.CountCalls(L"CheckAccess"));
}

TEST_F(ShowingAFileName, EndsWhereTheEngineRefusesTheCaller)
{
    const NumberedMessages numbered;
    engine.Fail(L"CheckAccess", {kRefused});
    EXPECT_EQ(0x20000004U, ShowFileNameById(L"", L"C:", 5));
    EXPECT_EQ(L"(-3244-)Unable to connect to specified computer, error access denied.\n", output.Text());
    EXPECT_EQ(0, engine.CountCalls(L"GetFileNameById"));
}

TEST_F(ShowingAFileName, ReportsTheEnginesRefusal)
{
    ExpectFailure([] { return ShowFileNameById(L"", L"C:", 5); },
                  {L"GetFileNameById", L"(-1616-)Failed to get File Name from id  error ", L"(Operations/#459).\n"});
}

} // namespace
