#include "engine/engine_contract.h"

#include "support/slot_positions.h"

namespace {

using testing_support::ExpectPositions;

constexpr GUID kAgentClass{0x0C5E92B1, 0x7F3A, 0x4D68, {0xB2, 0xC4, 0x9A, 0x81, 0xE6, 0xF0, 0x5D, 0x17}};
constexpr GUID kAgent{0x7E2C5F14, 0x1B98, 0x4A3D, {0x9C, 0x60, 0xD4, 0xE8, 0xA2, 0xB7, 0xF0, 0x39}};
constexpr GUID kServiceClass{0x3B7E1A90, 0x5D24, 0x4C6B, {0xA8, 0xF3, 0x0E, 0x9D, 0x27, 0xC4, 0xB6, 0x15}};
constexpr GUID kService{0xA41D6C83, 0xE29F, 0x4B57, {0x8D, 0x0A, 0x6F, 0x3B, 0x95, 0xC1, 0xE2, 0xD8}};
constexpr GUID kRefresh{0xD5903B2E, 0x47AC, 0x4F18, {0xB6, 0xE1, 0x82, 0xC7, 0xA0, 0xF9, 0x4D, 0x3B}};

TEST(EngineContract, ClassesHaveTheirIdentifiers)
{
    EXPECT_TRUE(kAgentClass == AgentClass());
    EXPECT_TRUE(kServiceClass == ServiceClass());
}

TEST(EngineContract, InterfacesHaveTheirIdentifiers)
{
    EXPECT_TRUE(kAgent == __uuidof(IVLAgent));
    EXPECT_TRUE(kService == __uuidof(IVLService));
    EXPECT_TRUE(kRefresh == __uuidof(IVLRefresh));
}

TEST(EngineContract, AgentMethodsStandAtTheirPositions)
{
    ExpectPositions<IVLAgent>({
        {"QueryInterface", 0, [](IVLAgent& agent) { agent.QueryInterface(IID_IUnknown, nullptr); }},
        {"AddRef", 1, [](IVLAgent& agent) { agent.AddRef(); }},
        {"Release", 2, [](IVLAgent& agent) { agent.Release(); }},
        {"GetDriveList", 3, [](IVLAgent& agent) { agent.GetDriveList(nullptr); }},
        {"GetDrive", 5, [](IVLAgent& agent) { agent.GetDrive(nullptr, nullptr); }},
        {"Analyze", 8, [](IVLAgent& agent) { agent.Analyze(nullptr); }},
        {"OptimizeOnline", 9, [](IVLAgent& agent) { agent.OptimizeOnline(nullptr, 0); }},
        {"DefragFile", 11, [](IVLAgent& agent) { agent.DefragFile(nullptr, nullptr); }},
        {"PrepareOffline", 12, [](IVLAgent& agent) { agent.PrepareOffline(nullptr, 0); }},
        {"ScheduleBootTime", 14, [](IVLAgent& agent) { agent.ScheduleBootTime(nullptr, 0); }},
        {"CancelBootTime", 15, [](IVLAgent& agent) { agent.CancelBootTime(nullptr); }},
        {"OptimizeOffline", 16, [](IVLAgent& agent) { agent.OptimizeOffline(nullptr, 0); }},
        {"StopDrive", 17, [](IVLAgent& agent) { agent.StopDrive(nullptr); }},
        {"StopAll", 18, [](IVLAgent& agent) { agent.StopAll(); }},
        {"CheckAccess", 21, [](IVLAgent& agent) { agent.CheckAccess(nullptr); }},
        {"GetFileNameById", 22, [](IVLAgent& agent) { agent.GetFileNameById(nullptr, 0, nullptr); }},
        {"ZeroFreeSpace", 48, [](IVLAgent& agent) { agent.ZeroFreeSpace(nullptr, 0); }},
    });
}

TEST(EngineContract, DriveMethodsStandAtTheirPositions)
{
    ExpectPositions<IVLDrive>({
        {"QueryInterface", 0, [](IVLDrive& drive) { drive.QueryInterface(IID_IUnknown, nullptr); }},
        {"AddRef", 1, [](IVLDrive& drive) { drive.AddRef(); }},
        {"Release", 2, [](IVLDrive& drive) { drive.Release(); }},
        {"GetDriveName", 3, [](IVLDrive& drive) { drive.GetDriveName(nullptr); }},
        {"GetMountPoint", 4, [](IVLDrive& drive) { drive.GetMountPoint(nullptr); }},
        {"GetOfflineFileTypes", 26, [](IVLDrive& drive) { drive.GetOfflineFileTypes(nullptr); }},
        {"GetState", 38, [](IVLDrive& drive) { drive.GetState(nullptr); }},
    });
}

TEST(EngineContract, ServiceMethodsStandAtTheirPositions)
{
    ExpectPositions<IVLService>({
        {"Release", 2, [](IVLService& service) { service.Release(); }},
        {"GetServiceState", 11, [](IVLService& service) { service.GetServiceState(nullptr); }},
        {"GetSchedule", 13, [](IVLService& service) { service.GetSchedule(nullptr); }},
    });
}

TEST(EngineContract, ScheduleRunsByNameAtItsPosition)
{
    ExpectPositions<IVLSchedule>({
        {"Release", 2, [](IVLSchedule& schedule) { schedule.Release(); }},
        {"RunByName", 26, [](IVLSchedule& schedule) { schedule.RunByName(nullptr); }},
    });
}

TEST(EngineContract, RefreshStandsAtItsPosition)
{
    ExpectPositions<IVLRefresh>({
        {"Release", 2, [](IVLRefresh& refresh) { refresh.Release(); }},
        {"Refresh", 26, [](IVLRefresh& refresh) { refresh.Refresh(); }},
    });
}

TEST(EngineContract, DriveStatesHaveTheirCodes)
{
    EXPECT_EQ(0, VLStateIdle);
    EXPECT_EQ(1, VLStateAnalyzing);
    EXPECT_EQ(2, VLStateDefragmenting);
    EXPECT_EQ(3, VLStateOfflineVerify);
    EXPECT_EQ(4, VLStateOfflineDirectories);
    EXPECT_EQ(5, VLStateOfflineSystemFiles);
    EXPECT_EQ(6, VLStateOfflinePagingFile);
    EXPECT_EQ(7, VLStateDone);
}

TEST(EngineContract, OnlineModesHaveTheirCodes)
{
    EXPECT_EQ(0, VLModeTierWeave);
    EXPECT_EQ(1, VLModeDefragOnly);
    EXPECT_EQ(2, VLModeConsolidateFreeSpace);
    EXPECT_EQ(3, VLModePrepForShrink);
    EXPECT_EQ(4, VLModeSsdOptimize);
}

TEST(EngineContract, FileTypesHaveTheirBits)
{
    EXPECT_EQ(1, VLFilesDirectories);
    EXPECT_EQ(2, VLFilesSystem);
    EXPECT_EQ(4, VLFilesPaging);
    EXPECT_EQ(7, VLFilesAll);
    EXPECT_EQ(4096, VLFilesConfigured);
}

} // namespace
