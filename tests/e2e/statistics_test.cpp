#include "engine_process.h"
#include "expected.h"
#include "registry_value.h"
#include "simulated_computer.h"
#include "support/provider_registration.h"
#include "support/statistics_database.h"

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
[computer SRV2]
answer = unreachable
)";

constexpr char kServer1[] = R"([drive C:\]
point = 2026-03-05 05:00:00, 12.5, 1.4, 30, 11.2, 80, 96.5
point = 2026-02-26 05:00:00, 14, 2, 34.5, 13, 78.5, 95
[drive D:\]
point = 2026-03-06 21:45:00, 41, 6.8, 70.2, 28, 47, 85.5
[drive E:\]
)";

class Statistics : public testing::Test {
protected:
    Statistics() { computer_.AddFile(L"srv1.scenario", kServer1); }

    SimulatedComputer computer_{kNetwork};
};

class RemoteStatistics : public Statistics, public testing::WithParamInterface<const wchar_t*> {};

// 5 March 2026, 05:00 and 6 March 2026, 21:45 as this computer writes a date and a time.
std::string DateOf(WORD day, WORD hour, WORD minute)
{
    SYSTEMTIME moment{};
    moment.wYear = 2026;
    moment.wMonth = 3;
    moment.wDay = day;
    moment.wHour = hour;
    moment.wMinute = minute;
    wchar_t date[64] = {};
    wchar_t time[64] = {};
    GetDateFormatW(LOCALE_USER_DEFAULT, 0, &moment, nullptr, date, 64);
    GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &moment, nullptr, time, 64);
    return Narrow(date) + ' ' + Narrow(time);
}

std::string PointOfC(const std::string& drive)
{
    return "Drive   :   " + drive + "\nDate    :   " + DateOf(5, 5, 0) +
           "\n"
           "\t\t\t\tBefore\tAfter\n"
           "File Fragmentation\t\t13%\t1%\n"
           "Free Space Fragmentation\t30%\t11%\n"
           "Performance\t\t\t80%\t97%\n";
}

TEST_P(RemoteStatistics, AreThoseOfTheOtherComputersEngineForEachDrive)
{
    const EngineProcess here(computer_);
    const EngineProcess there(computer_, L"SRV1");
    EXPECT_EQ(BannerAnd("Remote Computer:   SRV1\n" + PointOfC("C:") +
                        "Drive   :   d:\\\nDate    :   " + DateOf(6, 21, 45) +
                        "\n"
                        "\t\t\t\tBefore\tAfter\n"
                        "File Fragmentation\t\t41%\t7%\n"
                        "Free Space Fragmentation\t70%\t28%\n"
                        "Performance\t\t\t47%\t86%\n"
                        "No statistics data available for E: drive.\n"),
              SimulatedComputer::Run({GetParam(), L"C:", L"d:\\", L"E:", L"/c", L"SRV1"}));
    EXPECT_EQ(BannerAnd("Remote Computer:   \\\\SRV1\n" + PointOfC("C:")),
              SimulatedComputer::Run({GetParam(), L"C:", L"\\\\SRV1"}));
    EXPECT_EQ(std::vector<std::string>(), here.Log());
}

TEST_P(RemoteStatistics, AreNotToBeHadOfAComputerThatIsOff)
{
    EXPECT_EQ(
        BannerAnd("Could not connect to computer 'SRV2'.  Verify the name is correct and the machine is turned on.\n",
                  0x800706BA),
        SimulatedComputer::Run({GetParam(), L"C:", L"/c", L"SRV2"}));
}

INSTANTIATE_TEST_SUITE_P(Commands, RemoteStatistics, testing::Values(L"/sta", L"/sto", L"/stf"),
                         [](const auto& test) { return Narrow(test.param).substr(1); });

TEST_F(Statistics, FollowTheWaitOfARemoteAnalysis)
{
    const EngineProcess there(computer_, L"SRV1");
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"
                        "Analyze completed.\n"
                        "Remote Computer:   SRV1\n" +
                        PointOfC("C:")),
              SimulatedComputer::Run({L"/an", L"C:", L"/w", L"/c", L"SRV1"}));
}

TEST_F(Statistics, EndWhenTheProxyCannotBeSecured)
{
    const SimulatedComputer insecure(std::string(kNetwork) + "[windows-fault]\nfunction = CoSetProxyBlanket\n"
                                                             "error = 0x80070057\n");
    insecure.AddFile(L"srv1.scenario", kServer1);
    const EngineProcess there(insecure, L"SRV1");
    EXPECT_EQ(BannerAnd("Remote Computer:   SRV1\n", 0x80070057),
              SimulatedComputer::Run({L"/sta", L"C:", L"/c", L"SRV1"}));
}

// The other computer's engine has been told to behave in another way.
class UnusualStatistics : public testing::Test {
protected:
    static std::string PointOf(const std::string& drive, const std::string& figures)
    {
        return "[drive " + drive + "]\npoint = 2026-03-05 05:00:00, " + figures + "\n";
    }

    // What the drives' statistics look like while the engine has this scenario.
    static Outcome Run(const std::string& server, std::vector<std::wstring> drives)
    {
        const SimulatedComputer computer(kNetwork);
        computer.AddFile(L"srv1.scenario", server);
        const EngineProcess there(computer, L"SRV1");
        return Show(std::move(drives));
    }

    static Outcome Show(std::vector<std::wstring> drives)
    {
        drives.insert(drives.begin(), L"/sta");
        drives.insert(drives.end(), {L"/c", L"SRV1"});
        return SimulatedComputer::Run(drives);
    }

    static constexpr char kComputer[] = "Remote Computer:   SRV1\n";
    static constexpr char kNotRead[] = "Error occurred while getting statistics.\n\n";
};

TEST_F(UnusualStatistics, AreRoundedToWholePercents)
{
    EXPECT_EQ(BannerAnd(kComputer + std::string("Drive   :   C:\nDate    :   ") + DateOf(5, 5, 0) +
                        "\n"
                        "\t\t\t\tBefore\tAfter\n"
                        "File Fragmentation\t\t7%\t8%\n"
                        "Free Space Fragmentation\t0%\t1%\n"
                        "Performance\t\t\t99%\t100%\n"),
              Run(PointOf("C:\\", "7.45, 7.5, 0.49, 0.5, 99.49, 99.5"), {L"C:"}));
}

TEST_F(UnusualStatistics, EndWithoutAWordWhereADriveHasNoStatisticsObject)
{
    const std::string drives = kServer1;
    EXPECT_EQ(BannerAnd(kComputer + PointOfC("C:"), 0x80070005),
              Run(drives + Failing("GetStatistics", "0x80070005", "D:\\"), {L"C:", L"D:", L"E:"}));
    EXPECT_EQ(BannerAnd(kComputer + PointOfC("C:"), 0x80070002), Run(drives, {L"C:", L"Q:", L"E:"}));
    EXPECT_EQ(BannerAnd(kComputer, 0x80004003),
              Run(drives + "[fault]\nmethod = GetStatistics\nanswer = null\n", {L"C:", L"D:"}));
}

// Each run of the tool gets one figure further: the first fails at the first call, the second at its second.
TEST_F(UnusualStatistics, TellThatAFigureCannotBeReadWhicheverItIs)
{
    constexpr int kDoubles = 7;
    std::string server = kServer1 + Failing("GetInteger", "0x80041234", {}, "1");
    for (int run = 1, call = 0; run <= kDoubles; ++run) {
        call += run;
        server += Failing("GetDouble", "0x8004" + std::to_string(1000 + run), {}, std::to_string(call));
    }
    const SimulatedComputer computer(kNetwork);
    computer.AddFile(L"srv1.scenario", server);
    const EngineProcess there(computer, L"SRV1");
    EXPECT_EQ(BannerAnd(kComputer + std::string(kNotRead), 0x80041234), Show({L"C:", L"D:"}));
    for (std::uint32_t run = 1; run <= kDoubles; ++run) {
        EXPECT_EQ(BannerAnd(kComputer + std::string(kNotRead), 0x80041000 + run), Show({L"C:", L"D:"})) << run;
    }
    EXPECT_EQ(BannerAnd(kComputer + PointOfC("C:")), Show({L"C:"}));
}

TEST_F(UnusualStatistics, TellThatAFigureIsNotHeld)
{
    const std::string held = PointOf("C:\\", "12.5, 1.4, 30, 11.2, 80, 96.5");
    const std::string notHeld = PointOf("D:\\", "12.5, 1.4, 30, 11.2, 80, -");
    EXPECT_EQ(BannerAnd(kComputer + PointOfC("C:") + kNotRead, 0x80070490), Run(held + notHeld, {L"C:", L"D:", L"C:"}));
}

TEST_F(UnusualStatistics, AreNoneWhereThereIsLessThanOnePoint)
{
    EXPECT_EQ(
        BannerAnd(kComputer + std::string("No statistics data available for C: drive.\n") +
                  "No statistics data available for C: drive.\n" + PointOfC("C:")),
        Run(kServer1 + Answering("GetInteger", "1", "0") + Answering("GetInteger", "2", "-1"), {L"C:", L"C:", L"C:"}));
}

class LocalStatistics : public Statistics {
protected:
    LocalStatistics() { testing_support::RegisterProvider(); }

    static std::string Computer(const char* label) { return "\n" + std::string(label) + Narrow(ComputerName()) + "\n"; }

    testing_support::StatisticsDatabase database_;
    RegistryValue connection_{HKEY_LOCAL_MACHINE, kCoreKey, L"ConnectionString", database_.ProductString()};
};

TEST_F(LocalStatistics, AreNotAskedOfAnyEngine)
{
    const std::string noData = "No statistics data available for C: drive.\n";
    EXPECT_EQ(BannerAnd(Computer("Local Computer            :   ") + noData), SimulatedComputer::Run({L"/sta", L"C:"}));
    EXPECT_EQ(BannerAnd(Computer("Local Computer                  :   ") + noData),
              SimulatedComputer::Run({L"/sto", L"C:"}));
    EXPECT_EQ(BannerAnd(Computer("Local Computer                   :   ") + noData),
              SimulatedComputer::Run({L"/stf", L"C:"}));
}

TEST_F(LocalStatistics, FollowTheWaitOfAnAnalysis)
{
    const EngineProcess here(computer_);
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"
                        "Analyze completed.\n" +
                        Computer("Local Computer            :   ") + "No statistics data available for C: drive.\n"),
              SimulatedComputer::Run({L"/an", L"C:", L"/w"}));
}

} // namespace
