#include "base/registry_keys.h"
#include "database/statistics_database.h"
#include "engine/engine_drives.h"

#include "support/registry_sandbox.h"
#include "support/replaced_function.h"
#include "support/statistics_database.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

using namespace sim;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

// --- The condition of drives ---

TEST(Condition, IsTheSameForADriveAtEveryCallAndInAnyCase)
{
    EXPECT_EQ(ConditionOf(L"C:\\", {}), ConditionOf(L"C:\\", {}));
    EXPECT_EQ(ConditionOf(L"C:\\", {}), ConditionOf(L"c:\\", {}));
    EXPECT_NE(ConditionOf(L"C:\\", {}), ConditionOf(L"D:\\", {}));
}

TEST(Condition, IsBelievable)
{
    for (int number = 0; number < 500; ++number) {
        const std::wstring name = L"V:\\" + std::to_wstring(number) + L"\\";
        const DriveCondition worn = ConditionOf(name, {});
        const DriveCondition tidy = ConditionOf(name, {true, true});
        EXPECT_GT(worn.totalFiles, worn.fragmentedFiles);
        EXPECT_GT(worn.freeSpace, worn.largestFreeSpace);
        EXPECT_GT(tidy.freeSpace, tidy.largestFreeSpace);
        for (const double percent : {worn.fileFragmentation, worn.freeSpaceFragmentation, worn.directoryFragmentation,
                                     worn.drivePerformance, tidy.drivePerformance, tidy.fileFragmentation}) {
            EXPECT_GT(percent, 0);
            EXPECT_LT(percent, 100);
        }
        EXPECT_LT(tidy.fragmentedFiles, worn.fragmentedFiles);
        EXPECT_GT(tidy.largestFreeSpace, worn.largestFreeSpace);
        EXPECT_LT(tidy.freeSpaceFragmentation, worn.freeSpaceFragmentation);
        EXPECT_LT(tidy.fileFragmentation, worn.fileFragmentation);
        EXPECT_GT(tidy.drivePerformance, worn.drivePerformance);
        EXPECT_LT(tidy.mftExcessFragments, worn.mftExcessFragments);
        EXPECT_LT(tidy.metadataExcessFragments, worn.metadataExcessFragments);
        EXPECT_LT(tidy.directoryFragments, worn.directoryFragments);
        EXPECT_LT(tidy.directoryFragmentation, worn.directoryFragmentation);
    }
}

TEST(Condition, IsPutInOrderByHalves)
{
    const DriveCondition worn = ConditionOf(L"C:\\", {});
    const DriveCondition files = ConditionOf(L"C:\\", {true, false});
    const DriveCondition metadata = ConditionOf(L"C:\\", {false, true});
    EXPECT_EQ(worn.directoryFragments, files.directoryFragments);
    EXPECT_EQ(worn.mftExcessFragments, files.mftExcessFragments);
    EXPECT_NE(worn.fragmentedFiles, files.fragmentedFiles);
    EXPECT_EQ(worn.fragmentedFiles, metadata.fragmentedFiles);
    EXPECT_NE(worn.directoryFragments, metadata.directoryFragments);
    EXPECT_EQ(worn.freeSpace, files.freeSpace);
    EXPECT_EQ(worn.totalFiles, metadata.totalFiles);
}

// --- When work is recorded ---

class FinishedWorkOfDrives : public testing::Test {
protected:
    FinishedWorkOfDrives()
    {
        DriveSetup drive;
        drive.name = L"C:\\";
        drive.times = {10s, 20s, 5s, 3s, 1s};
        drive.offlineTypes = 3;
        drive.points.push_back({40000, {50.0, 40.0}, {}, {}});
        scenario.drives.push_back(drive);
        drive.name = L"D:\\";
        drive.points.clear();
        scenario.drives.push_back(drive);
        scenario.schedules.push_back({L"Look", ScheduledWork::Analyze, {0, 1}});
    }

    [[nodiscard]] EngineDrives MakeDrives()
    {
        return {scenario, start, [this](const FinishedWork& work) { recorded.push_back(work); }};
    }

    // The recorded work as "C:\ 0": the drive and the kind.
    [[nodiscard]] std::vector<std::wstring> Recorded() const
    {
        std::vector<std::wstring> texts;
        for (const FinishedWork& work : recorded) {
            texts.push_back(work.driveName + L' ' + std::to_wstring(static_cast<int>(work.work)));
        }
        return texts;
    }

    Scenario scenario;
    const EngineDrives::Time start = EngineDrives::Clock::now();
    std::vector<FinishedWork> recorded;
};

TEST_F(FinishedWorkOfDrives, IsRecordedBeforeTheDriveIsSeenToHaveFinished)
{
    EngineDrives drives = MakeDrives();
    drives.Analyze(0, start);
    EXPECT_EQ(1U, drives.StateOf(0, start + 9999ms));
    EXPECT_THAT(Recorded(), IsEmpty());
    EXPECT_EQ(7U, drives.StateOf(0, start + 10s));
    EXPECT_THAT(Recorded(), ElementsAre(L"C:\\ 0"));
    EXPECT_EQ(0U, drives.StateOf(0, start + 12s));
    EXPECT_EQ(1U, recorded.size());
}

TEST_F(FinishedWorkOfDrives, IsRecordedOnceAlsoWhereNobodyAsks)
{
    EngineDrives drives = MakeDrives();
    drives.OptimizeOnline(0, 1, start);
    EXPECT_TRUE(drives.AtWork(start + 30s));
    drives.Settle(start + 30s);
    drives.Settle(start + 31s);
    EXPECT_EQ(0U, drives.StateOf(0, start + 32s));
    EXPECT_FALSE(drives.AtWork(start + 32s));
    ASSERT_THAT(Recorded(), ElementsAre(L"C:\\ 1"));
    EXPECT_EQ(10s, recorded[0].ago);
}

TEST_F(FinishedWorkOfDrives, IsRecordedOfAllPassesOfAnOfflineRunTogether)
{
    EngineDrives drives = MakeDrives();
    drives.OptimizeOffline(0, 4096, start);
    EXPECT_EQ(5U, drives.StateOf(0, start + 9s));
    EXPECT_THAT(Recorded(), IsEmpty());
    EXPECT_EQ(7U, drives.StateOf(0, start + 10s));
    EXPECT_THAT(Recorded(), ElementsAre(L"C:\\ 2"));
}

TEST_F(FinishedWorkOfDrives, IsRecordedOfASchedulesDrives)
{
    EngineDrives drives = MakeDrives();
    drives.RunSchedule(L"look", start);
    drives.Settle(start + 10s);
    EXPECT_THAT(Recorded(), ElementsAre(L"C:\\ 0", L"D:\\ 0"));
}

TEST_F(FinishedWorkOfDrives, IsRecordedWhenOtherWorkBeginsOrTheDriveIsStopped)
{
    EngineDrives drives = MakeDrives();
    drives.Analyze(0, start);
    drives.Analyze(1, start);
    drives.OptimizeOnline(0, 0, start + 11s);
    EXPECT_THAT(Recorded(), ElementsAre(L"C:\\ 0", L"D:\\ 0"));
    drives.StopDrive(0, start + 31s);
    EXPECT_THAT(Recorded(), ElementsAre(L"C:\\ 0", L"D:\\ 0", L"C:\\ 1"));
    drives.Analyze(1, start + 40s);
    drives.StopAll(start + 50s);
    EXPECT_THAT(Recorded(), ElementsAre(L"C:\\ 0", L"D:\\ 0", L"C:\\ 1", L"D:\\ 0"));
}

TEST_F(FinishedWorkOfDrives, IsNotRecordedWhenItWasStoppedOrReplacedBeforeItsEnd)
{
    EngineDrives drives = MakeDrives();
    drives.Analyze(0, start);
    drives.StopDrive(0, start + 9s);
    drives.OptimizeOnline(1, 0, start);
    drives.Analyze(1, start + 19s);
    drives.StopAll(start + 20s);
    drives.Settle(start + 100s);
    EXPECT_THAT(Recorded(), IsEmpty());
}

TEST_F(FinishedWorkOfDrives, IsNotRecordedOfFilesAndOfFreeSpace)
{
    EngineDrives drives = MakeDrives();
    drives.DefragFile(0, L"C:\\a", start);
    drives.ZeroFreeSpace(1, start);
    drives.Settle(start + 100s);
    EXPECT_THAT(Recorded(), IsEmpty());
}

TEST_F(FinishedWorkOfDrives, TellsTheConditionBeforeAndAfter)
{
    EngineDrives drives = MakeDrives();
    drives.Analyze(0, start);
    drives.OptimizeOnline(0, 0, start + 10s);
    drives.OptimizeOffline(0, 1, start + 30s);
    drives.Analyze(0, start + 35s);
    drives.Settle(start + 45s);
    ASSERT_EQ(4U, recorded.size());
    const DriveCondition worn = ConditionOf(L"C:\\", {false, false});
    const DriveCondition files = ConditionOf(L"C:\\", {true, false});
    const DriveCondition tidy = ConditionOf(L"C:\\", {true, true});
    EXPECT_EQ(worn, recorded[0].before);
    EXPECT_EQ(worn, recorded[0].after);
    EXPECT_EQ(worn, recorded[1].before);
    EXPECT_EQ(files, recorded[1].after);
    EXPECT_EQ(files, recorded[2].before);
    EXPECT_EQ(tidy, recorded[2].after);
    EXPECT_EQ(tidy, recorded[3].after);
}

TEST_F(FinishedWorkOfDrives, AddsAPointToTheStatisticsOfAnOnlinePassAlone)
{
    EngineDrives drives = MakeDrives();
    drives.Analyze(0, start);
    drives.OptimizeOnline(0, 0, start + 10s);
    const double before = UtcDate(0ms);
    drives.Settle(start + 30s);
    const double after = UtcDate(0ms);
    const std::vector<StatisticsPoint> points = drives.Statistics(0, 100000, 10);
    ASSERT_EQ(2U, points.size());
    EXPECT_GE(points[0].date, before);
    EXPECT_LE(points[0].date, after);
    EXPECT_EQ(ConditionOf(L"C:\\", {}).fileFragmentation, points[0].fragmented.before);
    EXPECT_EQ(ConditionOf(L"C:\\", {true, false}).fileFragmentation, points[0].fragmented.after);
    EXPECT_EQ(ConditionOf(L"C:\\", {}).freeSpaceFragmentation, points[0].freeSpace.before);
    EXPECT_EQ(ConditionOf(L"C:\\", {true, false}).drivePerformance, points[0].performance.after);
    EXPECT_EQ(40000, points[1].date);
}

TEST_F(FinishedWorkOfDrives, KeepsWhoeverAsksWaitingUntilItIsRecorded)
{
    std::mutex lock;
    std::condition_variable changed;
    bool isRecording = false;
    bool mayEnd = false;
    std::atomic<int> records = 0;
    EngineDrives drives(scenario, start, [&](const FinishedWork&) {
        std::unique_lock guard(lock);
        isRecording = true;
        changed.notify_all();
        changed.wait(guard, [&] { return mayEnd; });
        ++records;
    });
    drives.Analyze(0, start);
    std::thread server([&] { drives.Settle(start + 20s); });
    {
        std::unique_lock guard(lock);
        changed.wait(guard, [&] { return isRecording; });
    }
    // Another drive can be looked at meanwhile; this one's answer comes with the record.
    EXPECT_EQ(0U, drives.StateOf(1, start + 20s));
    std::atomic<int> recordsSeen = -1;
    std::thread client([&] {
        EXPECT_EQ(0U, drives.StateOf(0, start + 20s));
        recordsSeen = records.load();
    });
    {
        const std::scoped_lock guard(lock);
        mayEnd = true;
    }
    changed.notify_all();
    server.join();
    client.join();
    EXPECT_EQ(1, recordsSeen);
    EXPECT_EQ(1, records);
}

// --- The database ---

class RecordedStatistics : public testing::Test {
protected:
    static FinishedWork Work(RecordedWork kind, const std::wstring& drive = L"C:\\")
    {
        FinishedWork work;
        work.work = kind;
        work.driveName = drive;
        work.before = {1, 2, 3, 4, 5, 6, 7, 8.5, 9.5, 10.5, 11.5};
        work.after = {101, 102, 103, 104, 105, 106, 107, 108.5, 109.5, 110.5, 0.1};
        return work;
    }

    [[nodiscard]] std::optional<std::wstring> Record(const FinishedWork& work) const
    {
        return StatisticsDatabase(database.ProductString()).Record(work);
    }

    // The rows of a table under this volume's name, without the volume and the date.
    std::vector<std::vector<odbc::Value>> RowsOf(const std::wstring& table, const std::wstring& volume)
    {
        auto rows =
            database.Query(L"SELECT " + table + L".* FROM " + table + L" INNER JOIN Volumes ON " + table +
                           L".VolumeId = Volumes.VolumeId WHERE VolumeName = '" + volume + L"' ORDER BY StatsDate");
        for (auto& row : rows) {
            row.erase(row.begin(), row.begin() + 2);
        }
        return rows;
    }

    static odbc::Value Big(std::int64_t number) { return number; }

    testing_support::RegistrySandbox registry;
    testing_support::StatisticsDatabase database;
};

TEST_F(RecordedStatistics, HaveARowForAnAnalysisUnderBothNamesOfTheVolume)
{
    EXPECT_EQ(std::nullopt, Record(Work(RecordedWork::Analysis)));
    const std::vector<odbc::Value> row = {Big(101), Big(102), Big(103), Big(104), 108.5,
                                          109.5,    Big(105), Big(106), 110.5,    0.1};
    EXPECT_THAT(RowsOf(L"StatsAnalyze", L"C:\\"), ElementsAre(row));
    EXPECT_THAT(RowsOf(L"StatsAnalyze", L"C:"), ElementsAre(row));
    EXPECT_THAT(RowsOf(L"StatsDefragOnline", L"C:"), IsEmpty());
    EXPECT_THAT(RowsOf(L"StatsDefragOffline", L"C:"), IsEmpty());
}

TEST_F(RecordedStatistics, HaveARowForAnOnlinePass)
{
    EXPECT_EQ(std::nullopt, Record(Work(RecordedWork::Online)));
    const std::vector<odbc::Value> row = {Big(101), Big(102), Big(3),   Big(103), Big(4), Big(104), 8.5, 108.5,
                                          9.5,      109.5,    Big(105), Big(106), 110.5,  11.5,     0.1};
    EXPECT_THAT(RowsOf(L"StatsDefragOnline", L"C:\\"), ElementsAre(row));
    EXPECT_THAT(RowsOf(L"StatsDefragOnline", L"C:"), ElementsAre(row));
}

TEST_F(RecordedStatistics, HaveARowForAnOfflinePass)
{
    EXPECT_EQ(std::nullopt, Record(Work(RecordedWork::Offline)));
    const std::vector<odbc::Value> row = {Big(5), Big(105), Big(6), Big(106), Big(7), Big(107)};
    EXPECT_THAT(RowsOf(L"StatsDefragOffline", L"C:\\"), ElementsAre(row));
    EXPECT_THAT(RowsOf(L"StatsDefragOffline", L"C:"), ElementsAre(row));
}

TEST_F(RecordedStatistics, AreDatedWithTheLocalTimeOfTheEndOfTheWork)
{
    // The computer stands two hours east of Greenwich.
    const testing_support::Replaced<"FileTimeToLocalFileTime", decltype(::FileTimeToLocalFileTime)> toLocal(
        [](const FILETIME* time, LPFILETIME local) {
            ULARGE_INTEGER ticks{{time->dwLowDateTime, time->dwHighDateTime}};
            ticks.QuadPart += 2ULL * 3600 * 10'000'000;
            *local = {ticks.LowPart, ticks.HighPart};
            return TRUE;
        });
    constexpr double kHour = 1.0 / 24;
    FinishedWork work = Work(RecordedWork::Analysis);
    work.ago = 3600s;
    const double before = UtcDate({}) + kHour;
    EXPECT_EQ(std::nullopt, Record(work));
    const double after = UtcDate({}) + kHour;
    const auto rows = database.Query(L"SELECT StatsDate FROM StatsAnalyze");
    ASSERT_EQ(2U, rows.size());
    EXPECT_EQ(rows[0], rows[1]);
    // SQLite's driver hands on 15 digits, which is less than a tenth of a millisecond.
    constexpr double kDigits = 1e-9;
    EXPECT_GE(std::get<double>(rows[0][0]), before - kDigits);
    EXPECT_LE(std::get<double>(rows[0][0]), after + kDigits);
}

TEST_F(RecordedStatistics, KnowAVolumeInAnyCaseAndAddThoseTheyDoNotKnow)
{
    database.Execute(L"INSERT INTO Volumes VALUES (7, 'D:')");
    database.Execute(L"INSERT INTO Volumes VALUES (41, 'c:')");
    EXPECT_EQ(std::nullopt, Record(Work(RecordedWork::Analysis)));
    EXPECT_EQ(std::nullopt, Record(Work(RecordedWork::Analysis)));
    const auto volumes = database.Query(L"SELECT VolumeId, VolumeName FROM Volumes ORDER BY VolumeId");
    EXPECT_THAT(volumes, ElementsAre(std::vector<odbc::Value>{7, std::wstring(L"D:")},
                                     std::vector<odbc::Value>{41, std::wstring(L"c:")},
                                     std::vector<odbc::Value>{42, std::wstring(L"C:\\")}));
    EXPECT_EQ(2U, RowsOf(L"StatsAnalyze", L"c:").size());
    EXPECT_EQ(2U, RowsOf(L"StatsAnalyze", L"C:\\").size());
}

TEST_F(RecordedStatistics, TakeANameWithoutABackslashOnce)
{
    EXPECT_EQ(std::nullopt, Record(Work(RecordedWork::Analysis, L"\\\\?\\Volume{1}")));
    EXPECT_EQ(1U, database.Query(L"SELECT * FROM Volumes").size());
    EXPECT_EQ(1U, database.Query(L"SELECT * FROM StatsAnalyze").size());
}

TEST_F(RecordedStatistics, TakeANameAsData)
{
    const std::wstring name = L"D:\\it's; DROP TABLE Volumes; -- %1% Ω";
    EXPECT_EQ(std::nullopt, Record(Work(RecordedWork::Analysis, name)));
    const auto volumes = database.Query(L"SELECT VolumeName FROM Volumes");
    EXPECT_THAT(volumes, ElementsAre(std::vector<odbc::Value>{name}));
}

TEST_F(RecordedStatistics, GoIntoTheDatabaseOfTheProductsRegistryValue)
{
    constexpr wchar_t kProductKey[] = L"Software\\Kestrane\\VLCore\\14.0";
    const StatisticsDatabase configured(std::nullopt);
    EXPECT_EQ(std::nullopt, configured.Record(Work(RecordedWork::Analysis)));
    EXPECT_THAT(database.Query(L"SELECT * FROM StatsAnalyze"), IsEmpty());
    testing_support::RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kProductKey, L"ConnectionString",
                                                database.ProductString());
    EXPECT_EQ(std::nullopt, configured.Record(Work(RecordedWork::Analysis)));
    EXPECT_EQ(2U, database.Query(L"SELECT * FROM StatsAnalyze").size());
    testing_support::RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kProductKey, L"ConnectionString", 1);
    EXPECT_EQ(L"ConnectionString cannot be read: error 1630", configured.Record(Work(RecordedWork::Analysis)));
}

TEST_F(RecordedStatistics, NeedAnAdoConnectionOverOdbc)
{
    const FinishedWork work = Work(RecordedWork::Analysis);
    EXPECT_EQ(std::nullopt, StatisticsDatabase(L"").Record(work));
    for (const wchar_t* const text : {L"DSN=x", L"ODBC:DSN=x", L"ADO:Provider=SQLOLEDB;Data Source=x"}) {
        EXPECT_EQ(L"ConnectionString names no ADO connection over ODBC", StatisticsDatabase(text).Record(work)) << text;
    }
    EXPECT_EQ(std::nullopt, StatisticsDatabase(L"ado:" + database.AdoString()).Record(work));
}

TEST_F(RecordedStatistics, TellWhyADatabaseCannotTakeThem)
{
    const std::optional<std::wstring> missing =
        StatisticsDatabase(database.MissingProductString()).Record(Work(RecordedWork::Analysis));
    ASSERT_TRUE(missing);
    EXPECT_FALSE(missing->empty());

    database.Execute(L"DROP TABLE StatsAnalyze");
    const std::optional<std::wstring> broken = Record(Work(RecordedWork::Analysis));
    ASSERT_TRUE(broken);
    EXPECT_THAT(*broken, testing::HasSubstr(testing_support::StatisticsDatabase::IsPostgres()
                                                ? L"relation \"statsanalyze\" does not exist"
                                                : L"no such table: StatsAnalyze"));
    // Nothing of the failed record stays.
    EXPECT_THAT(database.Query(L"SELECT * FROM Volumes"), IsEmpty());
}

} // namespace
