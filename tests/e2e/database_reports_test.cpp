// The local statistics reports over ADO's classes and a real database; with the engine that fills it, where it says so.

#include "engine_process.h"
#include "expected.h"
#include "registry_value.h"
#include "simulated_computer.h"

#include "support/statistics_database.h"
#include "support/trace_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace {

using namespace e2e;
using testing_support::StatisticsDatabase;

// The whole 32 bits of an HRESULT as the tool prints them, and as its exit code.
struct DatabaseError {
    std::uint32_t code;
    const char* text;
};

constexpr DatabaseError kUnspecified{0x80004005, "2147500037"};
constexpr DatabaseError kNoTable{0x80040E37, "2147749431"};
constexpr DatabaseError kTypeMismatch{0x80020005, "2147614725"};

// A kind of report.
struct ReportCase {
    const char* name;
    const wchar_t* command;
    const wchar_t* table;
    const wchar_t* figures; // of the row that the report is of, behind its date
    std::wstring others;    // figures of any other row
    std::string head;       // {computer} stands for this computer's name
    std::string report;     // {drive} stands for the drive, {noon} for 9 March 2026, 12:00
};

const ReportCase kAnalysis = {"Analysis",
                              L"/sta",
                              L"StatsAnalyze",
                              L"6442450945, 1523, 211, 1073741824, 28.5, 7.45, 0, 1000000, 0, 100",
                              L"1, 2, 3, 4, 5, 6, 7, 8, 9, 10",
                              "\nLocal Computer            :   {computer}\n",
                              "\nDrive                     :   {drive}\n"
                              "Date                      :   {noon}\n"
                              "Free Space                :   6.01 GB\n"
                              "Total Files               :   1523\n"
                              "Fragmented Files          :   211\n"
                              "Largest Free Space        :   1024 MB\n"
                              "Free Space Fragmentation  :   28.5%\n"
                              "File Fragmentation        :   7.5%\n"
                              "MFT Excess Fragments      :   0\n"
                              "Metadata Excess Fragments :   1000000\n"
                              "Directory Fragmentation   :   0.0%\n"
                              "Drive Performance         :   100.0%\n"
                              "\n"};

const ReportCase kOnline = {"Online",
                            L"/sto",
                            L"StatsDefragOnline",
                            L"1099511627776, 88214, 19977, 0, 1048577, 1025, 62.5, 30.14, 33.8, 5.6, 31, 88, 17.3, "
                            L"55, 99.96",
                            L"1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15",
                            "\nLocal Computer                  :   {computer}\n",
                            "\nDrive                           :   {drive}\n"
                            "Date                            :   {noon}\n"
                            "Free Space                      :   1 TB\n"
                            "Total Files                     :   88214\n"
                            "Fragmented Files Before         :   19977\n"
                            "Fragmented Files After          :   0\n"
                            "Largest Free Space Before       :   1.01 MB\n"
                            "Largest Free Space After        :   1.01 KB\n"
                            "Free Space Fragmentation Before :   62.5%\n"
                            "Free Space Fragmentation After  :   30.1%\n"
                            "File Fragmentation Before       :   33.8%\n"
                            "File Fragmentation After        :   5.6%\n"
                            "MFT Excess Fragments            :   31\n"
                            "Metadata Excess Fragments       :   88\n"
                            "Drive Performance Before        :   55.0%\n"
                            "Drive Performance After         :   100.0%\n"
                            "\n"};

const ReportCase kOffline = {"Offline",
                             L"/stf",
                             L"StatsDefragOffline",
                             L"22, 14, 109, 66, 2480, 312",
                             L"1, 2, 3, 4, 5, 6",
                             "\nLocal Computer                   :   {computer}\n",
                             "\nDrive                            :   {drive}\n"
                             "Date                             :   {noon}\n"
                             "MFT Excess Fragments Before      :   22\n"
                             "MFT Excess Fragments After       :   14\n"
                             "Metadata Excess Fragments Before :   109\n"
                             "Metadata Excess Fragments After  :   66\n"
                             "Directory Fragments Before       :   2480\n"
                             "Directory Fragments After        :   312\n"
                             "\n"};

std::string Replacing(std::string text, std::string_view placeholder, std::string_view by)
{
    return text.replace(text.find(placeholder), placeholder.size(), by);
}

std::string HeadOf(const ReportCase& report)
{
    return Replacing(report.head, "{computer}", Narrow(ComputerName()));
}

std::string ReportOf(const ReportCase& report, const std::string& drive)
{
    // 46090.5 in the database.
    const std::string noon = InOutputPage(DateAndTime({2026, 3, 0, 9, 12, 0, 0, 0}));
    return Replacing(Replacing(report.report, "{drive}", drive), "{noon}", noon);
}

std::string AnalysisHead()
{
    return HeadOf(kAnalysis);
}

std::string AnalysisOf(const std::string& drive)
{
    return ReportOf(kAnalysis, drive);
}

std::string NoData(const std::string& drive)
{
    return "No statistics data available for " + drive + " drive.\n";
}

std::string Failed(const std::string& drive, const DatabaseError& error)
{
    return "Failed to output statistics for volume " + drive + ". Error: " + error.text + "\n";
}

class DatabaseReports : public testing::Test {
protected:
    void AddVolume(int number, const std::wstring& name)
    {
        std::wstring literal;
        for (const wchar_t c : name) {
            literal.append(c == L'\'' ? 2 : 1, c);
        }
        database.Execute(L"INSERT INTO Volumes VALUES (" + std::to_wstring(number) + L", '" + literal + L"')");
    }

    void AddRow(const ReportCase& report, int volume, const std::wstring& date, const std::wstring& figures)
    {
        database.Execute(L"INSERT INTO " + std::wstring(report.table) + L" VALUES (" + std::to_wstring(volume) + L", " +
                         date + L", " + figures + L")");
    }

    // The row that the report is of, at noon on 9 March 2026.
    void AddRow(const ReportCase& report, int volume) { AddRow(report, volume, L"46090.5", report.figures); }

    // The row of AnalysisOf.
    void AddAnalysis(int volume) { AddRow(kAnalysis, volume); }

    // The driver of SQLite tells every fault alike.
    static DatabaseError NoTable() { return StatisticsDatabase::IsPostgres() ? kNoTable : kUnspecified; }

    // A value of the core key for the rest of the test.
    template <typename Data>
    void SetCoreValue(const wchar_t* name, const Data& data)
    {
        values.Add(HKEY_LOCAL_MACHINE, kCoreKey, name, data);
    }

    void SetUp() override { SetCoreValue(L"ConnectionString", database.ProductString()); }

    StatisticsDatabase database;
    RegistryValues values;
};

// --- The reports ---

class EachOfTheDatabaseReports : public DatabaseReports, public testing::WithParamInterface<ReportCase> {
protected:
    static Outcome Run(std::vector<std::wstring> drives)
    {
        drives.insert(drives.begin(), GetParam().command);
        return RunTool(drives);
    }

    static std::string Head() { return HeadOf(GetParam()); }
    static std::string Report(const std::string& drive) { return ReportOf(GetParam(), drive); }
};

TEST_P(EachOfTheDatabaseReports, ShowsTheNewestRowOfEachDriveThatHasOne)
{
    AddVolume(7, L"D:\\Mounts\\Archive");
    AddRow(GetParam(), 7, L"46090.25", GetParam().others);
    AddRow(GetParam(), 7);
    AddRow(GetParam(), 7, L"46000", GetParam().others);
    AddVolume(1, L"E:");
    EXPECT_EQ(BannerAnd(Head() + Report("D:\\Mounts\\Archive") + NoData("E:") + NoData("Q:")),
              Run({L"D:\\Mounts\\Archive", L"E:", L"Q:"}));
}

INSTANTIATE_TEST_SUITE_P(Kinds, EachOfTheDatabaseReports, testing::Values(kAnalysis, kOnline, kOffline),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(DatabaseReports, FindADriveInAnyCaseAndShowItAsTyped)
{
    AddVolume(1, L"c:");
    AddAnalysis(1);
    EXPECT_EQ(BannerAnd(AnalysisHead() + AnalysisOf("C:") + AnalysisOf("c:")), RunTool({L"/sta", L"C:", L"c:"}));
}

// --- What goes wrong ---

TEST_F(DatabaseReports, StopAtTheFirstDriveThatFails)
{
    AddVolume(1, L"C:");
    AddVolume(2, L"D:");
    AddVolume(3, L"E:");
    AddAnalysis(1);
    AddAnalysis(3);
    // NULL is no number.
    database.Execute(L"INSERT INTO StatsAnalyze (VolumeId, StatsDate) VALUES (2, 46090.5)");
    EXPECT_EQ(BannerAnd(AnalysisHead() + AnalysisOf("C:") + Failed("D:", kTypeMismatch), kTypeMismatch.code),
              RunTool({L"/sta", L"C:", L"D:", L"E:"}));
}

TEST_F(DatabaseReports, FailWithoutTheDatabase)
{
    SetCoreValue(L"ConnectionString", database.MissingProductString());
    EXPECT_EQ(BannerAnd(AnalysisHead() + Failed("C:", kUnspecified), kUnspecified.code), RunTool({L"/sta", L"C:"}));
}

// --- Drive words are data ---

TEST_F(DatabaseReports, PassWordsAsData)
{
    const std::wstring words[] = {
        L"D:\\it's",
        L"D:\\''",
        L"D:\\a;b,c",
        L"D:\\x'; DROP TABLE Volumes; --",
        L"D:\\x' OR '1'='1",
        L"D:\\/* half a comment",
        L"D:\\-- a whole one",
        L"D:\\100% sure, %s %d",
        L"D:\\_%",
        L"{a'b}",
        L"D:\\%2%",
        L"D:\\a\\b\\",
    };
    std::vector<std::wstring> line = {L"/sta"};
    std::string reports;
    for (int number = 1; const std::wstring& word : words) {
        AddVolume(number, word);
        AddAnalysis(number);
        ++number;
        line.push_back(word);
        reports += AnalysisOf(Narrow(word));
    }
    EXPECT_EQ(BannerAnd(AnalysisHead() + reports), RunTool(line));
    EXPECT_EQ(std::size(words), database.Query(L"SELECT * FROM Volumes").size());
}

TEST_F(DatabaseReports, LetNoWordMatchMoreThanItsOwnName)
{
    AddVolume(1, L"D:\\secret");
    AddAnalysis(1);
    std::vector<std::wstring> line = {L"/sta"};
    std::string reports;
    for (const std::wstring& word :
         {std::wstring(L"D:\\%"), std::wstring(L"D:\\secret' OR '1'='1"),
          std::wstring(L"D:\\x' UNION SELECT 1,2,3,4,5,6,7,8,9,10,11 --"), std::wstring(L"D:\\secret'--"),
          std::wstring(L"D:\\______"), L"D:\\" + std::wstring(9'997, L'\'')}) {
        line.push_back(word);
        reports += NoData(Narrow(word));
    }
    EXPECT_EQ(BannerAnd(AnalysisHead() + reports), RunTool(line));
}

TEST_F(DatabaseReports, LetNoLetterBecomeAQuotationMark)
{
    AddVolume(1, L"D:\\secret");
    AddAnalysis(1);
    // The lower half of U+0127 is the apostrophe's code.
    const Outcome outcome = RunTool({L"/sta", L"D:\\\U0001F600\u0127 OR \u0127a\u0127=\u0127a"});
    EXPECT_THAT(outcome.output, testing::HasSubstr("No statistics data available for D:\\"));
    EXPECT_EQ(0U, outcome.exitCode);
}

// --- Trace ---

// An operation with nothing else in it, as the trace log shows it.
void AddOperation(std::vector<std::wstring>& records, const std::wstring& source, const std::wstring& function)
{
    const std::wstring operation = source + L" (vldb::" + function + L") ";
    records.push_back(operation + L"*** ENTER ***");
    records.push_back(operation + L"*** LEAVE ***");
}

TEST_F(DatabaseReports, TraceTheirWorkOnTheDatabase)
{
    AddVolume(1, L"C:");
    AddAnalysis(1);
    const testing_support::ScratchFolder folder;
    SetCoreValue(L"TraceFilePath", folder.Path());
    SetCoreValue(L"TraceModuleList", L"vlcmd.exe");
    SetCoreValue(L"TraceFunctionName", std::uint32_t{1});
    SetCoreValue(L"TraceEntryExit", std::uint32_t{1});
    EXPECT_EQ(BannerAnd(AnalysisHead() + AnalysisOf("C:")), RunTool({L"/sta", L"C:"}));

    const std::wstring manager = L"db_manager";
    const std::wstring ado = L"ado_implement";
    std::vector<std::wstring> records;
    AddOperation(records, manager, L"CDbManager::CDbManager");
    records.push_back(manager + L" (vldb::CDbManager::Connect) *** ENTER ***");
    AddOperation(records, ado, L"CAdoDbConnection::CAdoDbConnection");
    records.push_back(manager + L" (vldb::CDbManager::Connect) *** LEAVE ***");
    AddOperation(records, ado, L"CAdoDbConnection::GetCommand");
    records.push_back(ado + L" (vldb::CAdoDbConnection::ExecuteReader) *** ENTER ***");
    AddOperation(records, ado, L"CAdoDbReader::CAdoDbReader");
    records.push_back(ado + L" (vldb::CAdoDbConnection::ExecuteReader) *** LEAVE ***");
    records.push_back(ado + L" (vldb::CAdoDbReader::Read) *** ENTER ***");
    for (int column = 0; column < 11; ++column) {
        AddOperation(records, ado, L"CAdoDbReader::GetDouble");
    }
    AddOperation(records, ado, L"CAdoDbReader::Close");
    AddOperation(records, ado, L"CAdoDbReader::~CAdoDbReader");
    records.push_back(ado + L" (vldb::CAdoDbConnection::Close) *** ENTER ***");
    records.push_back(ado + L" (vldb::CAdoDbConnection::Close) Call m_Connection->Close()");
    records.push_back(ado + L" (vldb::CAdoDbConnection::Close) *** LEAVE ***");
    AddOperation(records, ado, L"CAdoDbConnection::~CAdoDbConnection");
    AddOperation(records, manager, L"CDbManager::~CDbManager");
    EXPECT_EQ(records, testing_support::SourcesAndTexts(
                           testing_support::ReadTraceFile(folder.PathOf(testing_support::kTraceFile))));
}

// --- With the engine ---

// A size as it is shown: in the largest unit that it exceeds, rounded up to two decimals.
std::string SizeText(double size)
{
    constexpr const char* kUnits[] = {"B", "KB", "MB", "GB"};
    std::size_t unit = 0;
    for (; size > 1024 && unit + 1 < std::size(kUnits); ++unit) {
        size /= 1024;
    }
    char text[64];
    std::snprintf(text, sizeof text, "%.2f", std::ceil(size * 100) / 100);
    std::string number = text;
    number.erase(number.find_last_not_of('0') + 1);
    if (number.ends_with('.')) {
        number.pop_back();
    }
    return number + ' ' + kUnits[unit];
}

std::string PercentText(double percent)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.1f%%", percent);
    return text;
}

// The newest row of a table for a volume, as doubles and behind the volume's number.
std::vector<double> NewestRow(StatisticsDatabase& database, const std::wstring& table, const std::wstring& volume)
{
    const auto rows =
        database.Query(L"SELECT " + table + L".* FROM " + table + L" INNER JOIN Volumes ON " + table +
                       L".VolumeId = Volumes.VolumeId WHERE VolumeName = '" + volume + L"' ORDER BY StatsDate DESC");
    std::vector<double> figures;
    for (std::size_t column = 1; !rows.empty() && column < rows[0].size(); ++column) {
        const sim::odbc::Value& value = rows[0][column];
        const std::int64_t* const number = std::get_if<std::int64_t>(&value);
        figures.push_back(number != nullptr ? static_cast<double>(*number) : std::get<double>(value));
    }
    return figures;
}

std::string DateText(double date)
{
    SYSTEMTIME time{};
    VariantTimeToSystemTime(date, &time);
    return InOutputPage(DateAndTime(time));
}

double Now()
{
    SYSTEMTIME time{};
    double date = 0;
    GetLocalTime(&time);
    SystemTimeToVariantTime(&time, &date);
    return date;
}

constexpr double kSecond = 1.0 / 86400;

constexpr char kDrive[] = "[drive C:\\]\n";

TEST_F(DatabaseReports, ShowFreshFiguresAfterAnAnalysisThatIsWaitedFor)
{
    AddVolume(1, L"C:");
    AddAnalysis(1);
    const SimulatedComputer computer(FastClock() + kDrive);
    const EngineProcess engine(computer);
    const double before = Now();
    const Outcome outcome = SimulatedComputer::Run({L"/an", L"C:", L"/w"});
    const double after = Now();
    const std::vector<double> row = NewestRow(database, L"StatsAnalyze", L"C:");
    ASSERT_EQ(11U, row.size());
    EXPECT_GE(row[0], before - kSecond);
    EXPECT_LE(row[0], after + kSecond);
    const auto number = [&row](std::size_t column) { return std::to_string(static_cast<long long>(row[column])); };
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"
                        "Analyze completed.\n" +
                        AnalysisHead() +
                        "\nDrive                     :   C:\n"
                        "Date                      :   " +
                        DateText(row[0]) +
                        "\n"
                        "Free Space                :   " +
                        SizeText(row[1]) +
                        "\n"
                        "Total Files               :   " +
                        number(2) +
                        "\n"
                        "Fragmented Files          :   " +
                        number(3) +
                        "\n"
                        "Largest Free Space        :   " +
                        SizeText(row[4]) +
                        "\n"
                        "Free Space Fragmentation  :   " +
                        PercentText(row[5]) +
                        "\n"
                        "File Fragmentation        :   " +
                        PercentText(row[6]) +
                        "\n"
                        "MFT Excess Fragments      :   " +
                        number(7) +
                        "\n"
                        "Metadata Excess Fragments :   " +
                        number(8) +
                        "\n"
                        "Directory Fragmentation   :   " +
                        PercentText(row[9]) +
                        "\n"
                        "Drive Performance         :   " +
                        PercentText(row[10]) + "\n\n"),
              outcome);
}

TEST_F(DatabaseReports, ShowTheLastOptimisations)
{
    const SimulatedComputer computer(FastClock() + kDrive);
    const EngineProcess engine(computer);
    EXPECT_EQ(0U, SimulatedComputer::Run({L"/dol", L"C:", L"/w"}).exitCode);
    const std::vector<double> online = NewestRow(database, L"StatsDefragOnline", L"C:");
    ASSERT_EQ(16U, online.size());
    const std::string onlineReport = RunTool({L"/sto", L"C:"}).output;
    EXPECT_THAT(onlineReport,
                testing::HasSubstr("Date                            :   " + DateText(online[0]) + "\r\n"));
    EXPECT_THAT(onlineReport,
                testing::HasSubstr("File Fragmentation Before       :   " + PercentText(online[9]) +
                                   "\r\nFile Fragmentation After        :   " + PercentText(online[10]) + "\r\n"));

    EXPECT_EQ(0U, SimulatedComputer::Run({L"/of", L"C:", L"/d", L"/w"}).exitCode);
    const std::vector<double> offline = NewestRow(database, L"StatsDefragOffline", L"C:\\");
    ASSERT_EQ(7U, offline.size());
    EXPECT_THAT(RunTool({L"/stf", L"C:\\"}).output,
                testing::HasSubstr("Date                             :   " + DateText(offline[0]) + "\r\n"));
}

TEST_F(DatabaseReports, FailWhereTheEngineHasNotBeenAbleToRecord)
{
    database.Execute(L"DROP TABLE StatsAnalyze");
    const SimulatedComputer computer(FastClock() + kDrive);
    const EngineProcess engine(computer);
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"
                        "Analyze completed.\n" +
                            AnalysisHead() + Failed("C:", NoTable()),
                        NoTable().code),
              SimulatedComputer::Run({L"/an", L"C:", L"/w"}));
    EXPECT_THAT(engine.Log(), testing::Contains(testing::StartsWith("statistics of \"C:\\\" not recorded: \"")));
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"), RunTool({L"/st"}));
}

} // namespace
