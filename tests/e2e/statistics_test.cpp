#include "engine_process.h"
#include "expected.h"
#include "simulated_computer.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

constexpr char kNetwork[] = R"([clock]
speed = 50
[engine]
statistics-database =
[drive C:\]
[computer SRV1]
scenario = srv1.scenario
)";

constexpr char kServer1[] = R"([drive C:\]
point = 2026-03-05 05:00:00, 12.5, 1.4, 30, 11.2, 80, 96.5
point = 2026-02-26 05:00:00, 14, 2, 34.5, 13, 78.5, 95
[drive D:\]
point = 2026-03-06 21:45:00, 41, 6.8, 70.2, 28, 47, 85.5
[drive E:\]
[drive F:\]
point = 2026-03-05 05:00:00, 12.5, 1.4, 30, 11.2, 80, -
)";

std::string PointOfC()
{
    return "Drive   :   C:\nDate    :   " + InOutputPage(DateAndTime({2026, 3, 0, 5, 5, 0, 0, 0})) +
           "\n"
           "\t\t\t\tBefore\tAfter\n"
           "File Fragmentation\t\t13%\t1%\n"
           "Free Space Fragmentation\t30%\t11%\n"
           "Performance\t\t\t80%\t97%\n";
}

// The statistics of another computer, which its engine tells; those of this one are in database_reports_test.cpp.
class RemoteStatistics : public testing::Test {
protected:
    RemoteStatistics() { computer_.AddFile(L"srv1.scenario", kServer1); }

    SimulatedComputer computer_{kNetwork};
};

TEST_F(RemoteStatistics, AreThoseOfTheOtherComputersEngineForEachDrive)
{
    const EngineProcess here(computer_);
    const EngineProcess there(computer_, L"SRV1");
    EXPECT_EQ(BannerAnd("Remote Computer:   \\\\SRV1\n" + PointOfC() +
                        "Drive   :   d:\\\nDate    :   " + InOutputPage(DateAndTime({2026, 3, 0, 6, 21, 45, 0, 0})) +
                        "\n"
                        "\t\t\t\tBefore\tAfter\n"
                        "File Fragmentation\t\t41%\t7%\n"
                        "Free Space Fragmentation\t70%\t28%\n"
                        "Performance\t\t\t47%\t86%\n"
                        "No statistics data available for E: drive.\n"),
              SimulatedComputer::Run({L"/sto", L"C:", L"d:\\", L"E:", L"\\\\SRV1"}));
    EXPECT_EQ(std::vector<std::string>(), here.Log());
}

TEST_F(RemoteStatistics, FollowTheWaitOfAnAnalysis)
{
    const EngineProcess there(computer_, L"SRV1");
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"
                        "Analyze completed.\n"
                        "Remote Computer:   SRV1\n" +
                        PointOfC()),
              SimulatedComputer::Run({L"/an", L"C:", L"/w", L"/c", L"SRV1"}));
}

TEST_F(RemoteStatistics, TellThatAFigureIsNotHeld)
{
    const EngineProcess there(computer_, L"SRV1");
    EXPECT_EQ(BannerAnd("Remote Computer:   SRV1\n" + PointOfC() + "Error occurred while getting statistics.\n\n",
                        0x80070490),
              SimulatedComputer::Run({L"/sta", L"C:", L"F:", L"C:", L"/c", L"SRV1"}));
}

TEST_F(RemoteStatistics, EndWhenTheProxyCannotBeSecured)
{
    const SimulatedComputer insecure(std::string(kNetwork) + "[windows-fault]\nfunction = CoSetProxyBlanket\n"
                                                             "error = 0x80070057\n");
    insecure.AddFile(L"srv1.scenario", kServer1);
    const EngineProcess there(insecure, L"SRV1");
    EXPECT_EQ(BannerAnd("Remote Computer:   SRV1\n", 0x80070057),
              SimulatedComputer::Run({L"/stf", L"C:", L"/c", L"SRV1"}));
}

} // namespace
