#include "engine/Operations.h"

#include "support/operation_test.h"

namespace {

using namespace testing_support;

constexpr auto kNotRegistered = static_cast<HRESULT>(0x80040154);
constexpr auto kRefused = static_cast<HRESULT>(0x80041234); // low 16 bits 0x1234

constexpr wchar_t kNoFileTypes[] =
    L"Unable to schedule drive for an Offline defrag pass of your System Files for next reboot.  Please specify the "
    L"file types in the Drive Properties Notebook or use the appropriate flag on the commandline.\n";

// What the four requests to the agent have in common, on the computer of the test's choice.
struct AgentRequest {
    const char* name;
    Result (*run)(const wchar_t* computer);
};

void PrintTo(const AgentRequest& request, std::ostream* stream)
{
    *stream << request.name;
}

class RequestToTheAgent : public OperationTest, public ::testing::WithParamInterface<AgentRequest> {};

TEST_P(RequestToTheAgent, ReturnsTheConnectionsHresultWhole)
{
    engine.activation = kNotRegistered;
    EXPECT_EQ(0x80040154U, GetParam().run(L""));
    EXPECT_EQ(L"Velundra is not installed on computer ''\n", output.Take());
    engine.activation = E_ACCESSDENIED;
    EXPECT_EQ(0x80070005U, GetParam().run(L"SRV1"));
    EXPECT_EQ(L"You do not have permission to connect to Velundra on computer 'SRV1'.  You must be a member of the "
              L"Local Admin group.\n",
              output.Take());
    engine.activation = static_cast<HRESULT>(0x800706BA);
    EXPECT_EQ(0x800706BAU, GetParam().run(L"SRV1"));
    EXPECT_EQ(L"Could not connect to computer 'SRV1'.  Verify the name is correct and the machine is turned on.\n",
              output.Take());
    EXPECT_EQ(EngineCalls{}, engine.Calls());
}

TEST_P(RequestToTheAgent, EndsWhereTheEngineRefusesTheCaller)
{
    const NumberedMessages numbered;
    engine.Fail(L"CheckAccess", {kRefused});
    EXPECT_EQ(0x20000004U, GetParam().run(L""));
    EXPECT_EQ(L"(-3244-)Unable to connect to specified computer, error access denied.\n", output.Text());
    EXPECT_EQ(EngineCalls{L"agent.CheckAccess()"}, engine.Calls());
}

TEST_P(RequestToTheAgent, GoesToTheEngineOfTheComputer)
{
    EXPECT_EQ(0U, GetParam().run(L""));
    EXPECT_EQ(0U, GetParam().run(L"ThisPC"));
    EXPECT_EQ(0U, GetParam().run(L"SRV1"));
    EXPECT_EQ((std::vector<Activation>{LocalAgent(), LocalAgent(), RemoteAgent(L"SRV1")}), engine.Activations());
}

TEST_P(RequestToTheAgent, NeitherWaitsNorSendsARefreshNotice)
{
    Replaced<"Sleep", decltype(::Sleep)> sleep([](DWORD) {});
    EXPECT_EQ(0U, GetParam().run(L""));
    EXPECT_EQ(0, sleep.Calls());
    EXPECT_EQ(0, engine.CountCalls(L"GetState"));
    EXPECT_EQ(0, engine.CountCalls(L"Refresh"));
}

INSTANTIATE_TEST_SUITE_P(
    Of, RequestToTheAgent,
    ::testing::Values(AgentRequest{"ScheduleBootTime",
                                   [](const wchar_t* computer) { return ScheduleBootTime(computer, L"C:\\", 7); }},
                      AgentRequest{"CancelBootTime",
                                   [](const wchar_t* computer) { return CancelBootTime(computer, L"C:\\"); }},
                      AgentRequest{"StopDrive", [](const wchar_t* computer) { return StopDrive(computer, L"C:\\"); }},
                      AgentRequest{"StopAllDrives", [](const wchar_t* computer) { return StopAllDrives(computer); }}),
    [](const auto& request) { return request.param.name; });

class SchedulingABootTimePass : public OperationTest {
protected:
    static Result Schedule(std::uint32_t fileTypes) { return ScheduleBootTime(L"", L"C:\\", fileTypes); }
};

TEST_F(SchedulingABootTimePass, AsksTheEngineStepByStepAndShowsTheMountPoint)
{
    const NumberedMessages numbered;
    EXPECT_EQ(0U, Schedule(7));
    EXPECT_EQ(
        L"(-1360-)Drive C:\\ (Boot) has been scheduled for an offline defrag of your system files on next reboot.\n",
        output.Text());
    EXPECT_EQ((EngineCalls{L"agent.CheckAccess()", L"agent.GetDrive(C:\\)", L"drive.GetMountPoint(C:\\)",
                           L"agent.ScheduleBootTime(C:\\, 7)"}),
              engine.Calls());
}

TEST_F(SchedulingABootTimePass, NeverReadsTheConfiguredFileTypesWhereSomeAreGiven)
{
    engine.drives.front().offlineFileTypes = 0;
    for (const std::uint32_t mask : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 4095U, 4097U}) {
        EXPECT_EQ(0U, Schedule(mask));
        EXPECT_EQ(L"agent.ScheduleBootTime(C:\\, " + std::to_wstring(mask) + L")", engine.TakeCalls().back());
    }
    EXPECT_EQ(0, engine.CountCalls(L"GetOfflineFileTypes"));
}

TEST_F(SchedulingABootTimePass, ReadsTheConfiguredFileTypesWhereNoneAreGiven)
{
    engine.drives.front().offlineFileTypes = 5;
    EXPECT_EQ(0U, Schedule(4096));
    EXPECT_EQ((EngineCalls{L"agent.CheckAccess()", L"agent.GetDrive(C:\\)", L"drive.GetMountPoint(C:\\)",
                           L"drive.GetOfflineFileTypes(C:\\)", L"agent.ScheduleBootTime(C:\\, 5)"}),
              engine.Calls());
}

TEST_F(SchedulingABootTimePass, RefusesADriveWithoutFileTypes)
{
    engine.drives.front().offlineFileTypes = 0;
    EXPECT_EQ(87U, Schedule(4096));
    EXPECT_EQ(kNoFileTypes, output.Take());
    EXPECT_EQ(87U, Schedule(0));
    EXPECT_EQ(kNoFileTypes, output.Take());
    const NumberedMessages numbered;
    EXPECT_EQ(87U, Schedule(0));
    EXPECT_EQ(std::wstring(L"(-3346-)") + kNoFileTypes, output.Text());
    EXPECT_EQ(0, engine.CountCalls(L"ScheduleBootTime"));
}

TEST_F(SchedulingABootTimePass, IsSilentAboutEveryFailureBeforeTheRequest)
{
    const auto schedule = [] { return Schedule(4096); };
    ExpectFailure(schedule, {.method = L"GetDrive", .result = 0x20000001});
    ExpectFailure(schedule, {.method = L"GetMountPoint", .result = 0x20000001});
    ExpectFailure(schedule, {.method = L"GetOfflineFileTypes", .result = 0x20000001});
}

TEST_F(SchedulingABootTimePass, IsSilentAboutADriveThatTheEngineDoesNotKnow)
{
    EXPECT_EQ(0x20000001U, ScheduleBootTime(L"", L"E:\\", 7));
    engine.HandOutNull(L"GetDrive");
    EXPECT_EQ(0x20000001U, Schedule(7));
    EXPECT_EQ(L"", output.Text());
}

TEST_F(SchedulingABootTimePass, ReportsTheEnginesRefusal)
{
    ExpectFailure(
        [] { return Schedule(7); },
        {L"ScheduleBootTime",
         L"(-3345-)Unable to schedule drive C:\\ (Boot) for an Offline defrag pass of your System Files due to "
         L"error ",
         L"(Operations/#201)\n", 0x20000001});
}

class CancellingABootTimePass : public OperationTest {
protected:
    static Result Cancel() { return CancelBootTime(L"", L"C:\\"); }
};

TEST_F(CancellingABootTimePass, AsksTheEngineStepByStepAndShowsTheMountPoint)
{
    const NumberedMessages numbered;
    EXPECT_EQ(0U, Cancel());
    EXPECT_EQ(
        L"(-1359-)Drive C:\\ (Boot) has been removed from an offline defrag of your system files on next reboot.\n",
        output.Text());
    EXPECT_EQ((EngineCalls{L"agent.CheckAccess()", L"agent.GetDrive(C:\\)", L"drive.GetMountPoint(C:\\)",
                           L"agent.CancelBootTime(C:\\)"}),
              engine.Calls());
}

TEST_F(CancellingABootTimePass, IsSilentAboutEveryFailureBeforeTheRequest)
{
    ExpectFailure(Cancel, {.method = L"GetDrive", .result = 0x20000001});
    ExpectFailure(Cancel, {.method = L"GetMountPoint", .result = 0x20000001});
}

TEST_F(CancellingABootTimePass, ReportsTheEnginesRefusal)
{
    ExpectFailure(Cancel, {L"CancelBootTime",
                           L"(-3320-)Unable to remove drive C:\\ (Boot) from an Offline defrag pass of your System "
                           L"Files due to error ",
                           L"(Operations/#242)\n", 0x20000001});
}

class StoppingADrive : public OperationTest {
protected:
    static Result Stop() { return StopDrive(L"", L"C:\\"); }
};

TEST_F(StoppingADrive, AsksTheEngineStepByStepAndShowsTheMountPoint)
{
    const NumberedMessages numbered;
    EXPECT_EQ(0U, Stop());
    EXPECT_EQ(L"(-1363-)Drive C:\\ (Boot) was stopped.\n", output.Text());
    EXPECT_EQ((EngineCalls{L"agent.CheckAccess()", L"agent.GetDrive(C:\\)", L"drive.GetMountPoint(C:\\)",
                           L"agent.StopDrive(C:\\)"}),
              engine.Calls());
}

TEST_F(StoppingADrive, SilentlyReturnsTheLowHalfOfAFailureBeforeTheRequest)
{
    ExpectFailure(Stop, {.method = L"GetDrive"});
    ExpectFailure(Stop, {.method = L"GetMountPoint"});
}

TEST_F(StoppingADrive, IsSilentAboutADriveThatTheEngineDoesNotKnow)
{
    EXPECT_EQ(2U, StopDrive(L"", L"E:\\"));
    engine.HandOutNull(L"GetDrive");
    EXPECT_EQ(0x4003U, Stop());
    EXPECT_EQ(L"", output.Text());
}

TEST_F(StoppingADrive, IsSilentAboutTheEnginesRefusalToo)
{
    ExpectFailure(Stop, {.method = L"StopDrive", .result = 0x20000001});
}

class StoppingAllDrives : public OperationTest {
protected:
    static Result StopAll() { return StopAllDrives(L""); }
};

TEST_F(StoppingAllDrives, IsOneRequestAfterTheRightsCheck)
{
    const NumberedMessages numbered;
    EXPECT_EQ(0U, StopAll());
    EXPECT_EQ(L"(-648-)All drives were stopped.\n", output.Text());
    EXPECT_EQ((EngineCalls{L"agent.CheckAccess()", L"agent.StopAll()"}), engine.Calls());
}

TEST_F(StoppingAllDrives, SilentlyReturnsTheLowHalfOfTheEnginesFailure)
{
    ExpectFailure(StopAll, {.method = L"StopAll"});
}

class RunningASchedule : public OperationTest {
protected:
    [[nodiscard]] static Activation LocalService() { return {false, ServiceClass(), __uuidof(IVLService), 4, L""}; }
    [[nodiscard]] static Activation RemoteService(const wchar_t* server)
    {
        return {true, ServiceClass(), __uuidof(IVLService), 16, server};
    }
};

TEST_F(RunningASchedule, AsksTheServiceForItByNameAndSendsTheRefreshNotice)
{
    EXPECT_EQ(0U, RunSchedule(L"", L"Every night, \u0434\u0430"));
    EXPECT_EQ(L"", output.Text());
    EXPECT_EQ(
        (EngineCalls{L"service.GetSchedule()", L"schedule.RunByName(Every night, \u0434\u0430)", L"refresh.Refresh()"}),
        engine.Calls());
    EXPECT_EQ((std::vector<Activation>{LocalService(), LocalRefresh()}), engine.Activations());
}

TEST_F(RunningASchedule, HandsOnAnyName)
{
    EXPECT_EQ(0U, RunSchedule(L"", L""));
    EXPECT_EQ(0U, RunSchedule(L"", L"/w"));
    EXPECT_EQ((EngineCalls{L"service.GetSchedule()", L"schedule.RunByName()", L"refresh.Refresh()",
                           L"service.GetSchedule()", L"schedule.RunByName(/w)", L"refresh.Refresh()"}),
              engine.Calls());
}

TEST_F(RunningASchedule, SendsNoRefreshNoticeToAnotherComputer)
{
    EXPECT_EQ(0U, RunSchedule(L"SRV1", L"Nightly"));
    EXPECT_EQ((EngineCalls{L"service.GetSchedule()", L"schedule.RunByName(Nightly)"}), engine.Calls());
    EXPECT_EQ((std::vector<Activation>{RemoteService(L"SRV1")}), engine.Activations());
}

TEST_F(RunningASchedule, SendsNoRefreshNoticeWhereTheProductsWindowRuns)
{
    processes.processes = {{L"C:\\Program Files\\Kestrane\\Velundra.exe"}};
    EXPECT_EQ(0U, RunSchedule(L"thispc", L"Nightly"));
    EXPECT_EQ((EngineCalls{L"service.GetSchedule()", L"schedule.RunByName(Nightly)"}), engine.Calls());
    EXPECT_EQ((std::vector<Activation>{LocalService()}), engine.Activations());
}

TEST_F(RunningASchedule, IgnoresARefreshNoticeThatFails)
{
    engine.Fail(L"Refresh", {kRefused});
    EXPECT_EQ(0U, RunSchedule(L"", L"Nightly"));
    EXPECT_EQ(1, engine.CountCalls(L"Refresh"));
    EXPECT_EQ(L"", output.Text());
    engine.onCall = [this](const std::wstring& call) {
        if (call.starts_with(L"schedule.")) {
            engine.activation = kNotRegistered;
        }
    };
    EXPECT_EQ(0U, RunSchedule(L"", L"Nightly"));
    EXPECT_EQ(1, engine.CountCalls(L"Refresh"));
}

TEST_F(RunningASchedule, ReportsAConnectionThatFails)
{
    engine.activation = kNotRegistered;
    EXPECT_EQ(0x20000002U, RunSchedule(L"SRV1", L"Nightly"));
    EXPECT_EQ(L"Velundra is not installed on computer 'SRV1'\n", output.Text());
    EXPECT_EQ((std::vector<Activation>{RemoteService(L"SRV1")}), engine.Activations());
    EXPECT_EQ(EngineCalls{}, engine.Calls());
}

TEST_F(RunningASchedule, SilentlyReturnsTheLowHalfOfAFailureAndSendsNoNotice)
{
    const auto run = [] { return RunSchedule(L"", L"Nightly"); };
    ExpectFailure(run, {.method = L"GetSchedule"});
    ExpectFailure(run, {.method = L"RunByName"});
    EXPECT_EQ(0, processes.Listings());
}

TEST_F(RunningASchedule, FailsWhereTheServiceHandsOutNoSchedules)
{
    engine.HandOutNull(L"GetSchedule");
    EXPECT_EQ(0x4003U, RunSchedule(L"", L"Nightly"));
    EXPECT_EQ(L"", output.Text());
    EXPECT_EQ(EngineCalls{L"service.GetSchedule()"}, engine.Calls());
}

} // namespace
