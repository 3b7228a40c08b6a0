#include "stats/statistics.h"

#include "statement_texts.h"
#include "support/failing_memory.h"
#include "support/fake_ado.h"
#include "support/numbered_messages.h"
#include "support/plain_dates.h"
#include "support/product_test.h"

#include <limits>
#include <map>
#include <new>
#include <variant>

namespace {

using namespace testing_support;
using namespace testing_support::statements;

using Lines = std::vector<std::wstring>;

constexpr wchar_t kCore[] = L"Software\\Kestrane\\VLCore\\14.0";
constexpr auto kFailure = static_cast<HRESULT>(0x80040E14);

// --- The reports ---

// A kind of report: what it is asked for, what the database gets and holds, and what the user sees.
struct ReportCase {
    const char* name;
    StatisticsKind kind;
    Result (*show)(const std::wstring& drive);
    const wchar_t* statement;
    AdoRow row;
    std::wstring computer;
    std::wstring report;
    std::wstring numbered;
};

std::wstring StatementFor(const ReportCase& test, const std::wstring& literal)
{
    std::wstring statement = test.statement;
    return statement.replace(statement.find(L"%1%"), 3, literal);
}

// The date is 5 November 2026, 18:45.
std::vector<ReportCase> ReportCases()
{
    return {
        {"Analyze",
         StatisticsKind::Analyze,
         ShowAnalyzeStats,
         kAnalyzeStatementText,
         {46331.78125, 1025.0, 1523.0, 17.5, 1099511627776.0, 7.45, 12.5, 3.0, 0.0, 0.04, 99.96},
         L"\nLocal Computer            :   THISPC\n",
         L"\nDrive                     :   C:\n"
         L"Date                      :   5.11.2026 18:45:0\n"
         L"Free Space                :   1.01 KB\n"
         L"Total Files               :   1523\n"
         L"Fragmented Files          :   17.5\n"
         L"Largest Free Space        :   1 TB\n"
         L"Free Space Fragmentation  :   7.5%\n"
         L"File Fragmentation        :   12.5%\n"
         L"MFT Excess Fragments      :   3\n"
         L"Metadata Excess Fragments :   0\n"
         L"Directory Fragmentation   :   0.0%\n"
         L"Drive Performance         :   100.0%\n"
         L"\n",
         L"(-184-)\nDrive                     :   C:\n"
         L"(-1136-)Date                      :   5.11.2026 18:45:0\n"
         L"(-1782-)Free Space                :   (-288-)1.01 KB\n"
         L"(-3202-)Total Files               :   1523\n"
         L"(-1764-)Fragmented Files          :   17.5\n"
         L"(-2017-)Largest Free Space        :   (-306-)1 TB\n"
         L"(-1798-)Free Space Fragmentation  :   7.5%\n"
         L"(-1694-)File Fragmentation        :   12.5%\n"
         L"(-2142-)MFT Excess Fragments      :   3\n"
         L"(-2133-)Metadata Excess Fragments :   0\n"
         L"(-1280-)Directory Fragmentation   :   0.0%\n"
         L"(-1378-)Drive Performance         :   100.0%\n"
         L"\n"},
        {"Online",
         StatisticsKind::Online,
         ShowOnlineStats,
         kOnlineStatementText,
         {46331.78125, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0, 10.0, 11.0, 12.0, 13.0, 14.0, 15.0},
         L"\nLocal Computer                  :   THISPC\n",
         L"\nDrive                           :   C:\n"
         L"Date                            :   5.11.2026 18:45:0\n"
         L"Free Space                      :   1 B\n"
         L"Total Files                     :   2\n"
         L"Fragmented Files Before         :   3\n"
         L"Fragmented Files After          :   4\n"
         L"Largest Free Space Before       :   5 B\n"
         L"Largest Free Space After        :   6 B\n"
         L"Free Space Fragmentation Before :   7.0%\n"
         L"Free Space Fragmentation After  :   8.0%\n"
         L"File Fragmentation Before       :   9.0%\n"
         L"File Fragmentation After        :   10.0%\n"
         L"MFT Excess Fragments            :   11\n"
         L"Metadata Excess Fragments       :   12\n"
         L"Drive Performance Before        :   14.0%\n"
         L"Drive Performance After         :   15.0%\n"
         L"\n",
         L"(-183-)\nDrive                           :   C:\n"
         L"(-1135-)Date                            :   5.11.2026 18:45:0\n"
         L"(-1781-)Free Space                      :   (-260-)1 B\n"
         L"(-3201-)Total Files                     :   2\n"
         L"(-1768-)Fragmented Files Before         :   3\n"
         L"(-1766-)Fragmented Files After          :   4\n"
         L"(-2021-)Largest Free Space Before       :   (-260-)5 B\n"
         L"(-2019-)Largest Free Space After        :   (-260-)6 B\n"
         L"(-1804-)Free Space Fragmentation Before :   7.0%\n"
         L"(-1802-)Free Space Fragmentation After  :   8.0%\n"
         L"(-1696-)File Fragmentation Before       :   9.0%\n"
         L"(-1695-)File Fragmentation After        :   10.0%\n"
         L"(-2141-)MFT Excess Fragments            :   11\n"
         L"(-2132-)Metadata Excess Fragments       :   12\n"
         L"(-1384-)Drive Performance Before        :   14.0%\n"
         L"(-1382-)Drive Performance After         :   15.0%\n"
         L"\n"},
        {"Offline",
         StatisticsKind::Offline,
         ShowOfflineStats,
         kOfflineStatementText,
         {46331.78125, 1.0, 2.0, 3.0, 4.0, 5.0, 6.000001},
         L"\nLocal Computer                   :   THISPC\n",
         L"\nDrive                            :   C:\n"
         L"Date                             :   5.11.2026 18:45:0\n"
         L"MFT Excess Fragments Before      :   1\n"
         L"MFT Excess Fragments After       :   2\n"
         L"Metadata Excess Fragments Before :   3\n"
         L"Metadata Excess Fragments After  :   4\n"
         L"Directory Fragments Before       :   5\n"
         L"Directory Fragments After        :   6.000001\n"
         L"\n",
         L"(-182-)\nDrive                            :   C:\n"
         L"(-1134-)Date                             :   5.11.2026 18:45:0\n"
         L"(-2144-)MFT Excess Fragments Before      :   1\n"
         L"(-2143-)MFT Excess Fragments After       :   2\n"
         L"(-2135-)Metadata Excess Fragments Before :   3\n"
         L"(-2134-)Metadata Excess Fragments After  :   4\n"
         L"(-1287-)Directory Fragments Before       :   5\n"
         L"(-1286-)Directory Fragments After        :   6.000001\n"
         L"\n"},
    };
}

class LocalStatistics : public EngineTest, public ::testing::WithParamInterface<ReportCase> {
protected:
    LocalStatistics() { SetConnection(L"ADO:DSN=stats"); }

    void SetUp() override
    {
        ado.columns.assign(GetParam().row.size(), L"column");
        ado.rows = {GetParam().row};
    }
    void TearDown() override
    {
        EXPECT_EQ(0, ado.LiveObjects());
        EngineTest::TearDown();
    }

    static void SetConnection(const std::wstring& text)
    {
        RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kCore, L"ConnectionString", text);
    }

    // What the database was asked.
    Lines Statements()
    {
        Lines statements;
        for (const std::wstring& call : ado.TakeCalls()) {
            const std::wstring head = L"recordset.Open(BSTR ";
            const std::wstring tail = L", DISPATCH connection, I4 0, I4 1, I4 1)";
            if (call.starts_with(head) && call.ends_with(tail)) {
                statements.push_back(call.substr(head.size(), call.size() - head.size() - tail.size()));
            }
        }
        return statements;
    }

    // The report of C: fails with the code and writes nothing.
    void ExpectFailure(Result code)
    {
        EXPECT_EQ(code, GetParam().show(L"C:"));
        EXPECT_EQ(L"", output.Take());
        EXPECT_EQ(0, ado.LiveObjects());
        EXPECT_EQ("", census.Imbalance());
    }

    FakeAdo ado;
    PlainDates dates;
};

TEST_P(LocalStatistics, ShowTheNewestRow)
{
    AdoRow older = GetParam().row;
    older[0] = 40000.0;
    ado.rows.push_back(older);
    EXPECT_EQ(0U, GetParam().show(L"C:"));
    EXPECT_EQ(GetParam().report, output.Take());
    EXPECT_EQ(Lines{StatementFor(GetParam(), L"'C:'")}, Statements());
}

TEST_P(LocalStatistics, AreCatalogueMessages)
{
    const NumberedMessages numbered;
    EXPECT_EQ(0U, GetParam().show(L"C:"));
    EXPECT_EQ(GetParam().numbered, output.Take());
}

TEST_P(LocalStatistics, ReadEveryColumnOnceInOrderAndNothingElse)
{
    EXPECT_EQ(0U, GetParam().show(L"C:"));
    Lines expected{L"connection.Open(BSTR DSN=stats, BSTR , BSTR , I4 -1)",
                   L"recordset.Open(BSTR " + StatementFor(GetParam(), L"'C:'") +
                       L", DISPATCH connection, I4 0, I4 1, I4 1)",
                   L"recordset.EOF", L"recordset.MoveFirst()", L"recordset.EOF"};
    for (std::size_t column = 0; column < GetParam().row.size(); ++column) {
        expected.insert(expected.end(),
                        {L"recordset.Fields", L"fields.Item(I4 " + std::to_wstring(column) + L")", L"field.Value"});
    }
    expected.insert(expected.end(), {L"recordset.Close()", L"connection.Close()"});
    EXPECT_EQ(expected, ado.TakeCalls());
}

TEST_P(LocalStatistics, LeaveInOneWrite)
{
    EXPECT_EQ(0U, GetParam().show(L"C:"));
    EXPECT_EQ(1U, output.Device().consoleWrites.size());
    EXPECT_EQ(GetParam().report, output.Text());
}

TEST_P(LocalStatistics, SayThatThereAreNone)
{
    ado.rows.clear();
    EXPECT_EQ(0U, GetParam().show(L"D:"));
    EXPECT_EQ(L"No statistics data available for D: drive.\n", output.Take());
    const NumberedMessages numbered;
    EXPECT_EQ(0U, GetParam().show(L"D:"));
    EXPECT_EQ(L"(-189-)No statistics data available for D: drive.\n", output.Take());
}

TEST_P(LocalStatistics, PassADriveWordAsData)
{
    const std::pair<std::wstring, std::wstring> words[] = {
        {L"c:", L"'c:'"},
        {L"O'Neil", L"'O''Neil'"},
        {L"x'; DROP TABLE Volumes; --", L"'x''; DROP TABLE Volumes; --'"},
        {L"100%", L"'100%'"},
        {L"%2%", L"'%2%'"},
        {L"", L"''"},
        {std::wstring(10'000, L'\''), L'\'' + std::wstring(20'000, L'\'') + L'\''},
    };
    for (const auto& [word, literal] : words) {
        EXPECT_EQ(0U, GetParam().show(word));
        EXPECT_EQ(Lines{StatementFor(GetParam(), literal)}, Statements());
        EXPECT_NE(std::wstring::npos, output.Take().find(L":   " + word + L"\n"));
    }
}

TEST_P(LocalStatistics, RefuseADriveWordThatHoldsTheTag)
{
    EXPECT_EQ(0x80070057U, GetParam().show(L"%1%"));
    EXPECT_TRUE(ado.TakeCreations().empty());
    EXPECT_EQ(L"", output.Take());
}

TEST_P(LocalStatistics, FailWithTheErrorOfEachStep)
{
    for (const wchar_t* const member : {L"connection.Open", L"recordset.Open", L"recordset.EOF", L"recordset.MoveFirst",
                                        L"recordset.Fields", L"fields.Item", L"field.Value"}) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(member)));
        ado.Fail(member, {.scode = kFailure, .description = L"It broke."});
        ExpectFailure(0x80040E14);
        ado.Repair();
    }
    ado.Fail(L"recordset.EOF", {.scode = kFailure, .call = 2});
    ExpectFailure(0x80040E14);
    ado.Repair();
    for (const wchar_t* const name : {L"ADODB.Connection", L"ADODB.Recordset"}) {
        ado.unregistered[name] = CO_E_CLASSSTRING;
        ExpectFailure(0x800401F3);
        ado.unregistered.clear();
        ado.uncreatable[name] = REGDB_E_CLASSNOTREG;
        ExpectFailure(0x80040154);
        ado.uncreatable.clear();
    }
}

// Also a column that is not shown is read; one that cannot be is the report's failure.
TEST_P(LocalStatistics, FailWhereAnyColumnIsNull)
{
    for (std::size_t column = 0; column < GetParam().row.size(); ++column) {
        SCOPED_TRACE(column);
        ado.rows = {GetParam().row};
        ado.rows[0][column] = std::monostate();
        ExpectFailure(0x80020005);
    }
}

// 7.45 in a type of Automation's; as text it has the decimal point or comma that is given.
AdoValue FigureOf(VARTYPE type, const wchar_t* text)
{
    VARIANT value{};
    switch (type) {
    case VT_R4:
        value.fltVal = 7.45F;
        break;
    case VT_DATE:
        value.date = 7.45;
        break;
    case VT_CY:
        value.cyVal.int64 = 74500;
        break;
    case VT_DECIMAL:
        value.decVal.scale = 2;
        value.decVal.Lo64 = 745;
        break;
    default:
        return std::wstring(text);
    }
    value.vt = type;
    return value;
}

TEST_P(LocalStatistics, ShowAFigureAlikeInWhateverTypeADriverGivesIt)
{
    const AdoRow plain(GetParam().row.size(), 7.45);
    ado.rows = {plain};
    EXPECT_EQ(0U, GetParam().show(L"C:"));
    const std::wstring report = output.Take();
    EXPECT_EQ(std::wstring::npos, report.find(L"7.4%"));
    const auto expectAlike = [&](const wchar_t* text) {
        for (const VARTYPE type : {VT_R4, VT_DATE, VT_CY, VT_DECIMAL, VT_BSTR}) {
            for (std::size_t column = 0; column < plain.size(); ++column) {
                SCOPED_TRACE(::testing::Message() << "type " << type << ", column " << column);
                ado.rows = {plain};
                ado.rows[0][column] = FigureOf(type, text);
                EXPECT_EQ(0U, GetParam().show(L"C:"));
                EXPECT_EQ(report, output.Take());
            }
        }
    };
    expectAlike(L"7.45");
    // A user whose numbers have a comma.
    constexpr LCID kGerman = MAKELCID(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN), SORT_DEFAULT);
    const Replaced<"VariantChangeType", decltype(::VariantChangeType)> change(
        [](auto* changed, auto* value, USHORT flags, VARTYPE type) {
            VARIANT converted{};
            const HRESULT result = VariantChangeTypeEx(&converted, value, kGerman, flags, type);
            if (SUCCEEDED(result)) {
                VariantClear(changed);
                *changed = converted;
            }
            return result;
        });
    expectAlike(L"7,45");
}

TEST_P(LocalStatistics, DoNotMindThatClosingFails)
{
    ado.Fail(L"recordset.Close", {.scode = kFailure, .description = L"busy"});
    ado.Fail(L"connection.Close", {.scode = kFailure, .description = L"busy"});
    EXPECT_EQ(0U, GetParam().show(L"C:"));
    EXPECT_EQ(GetParam().report, output.Take());
}

TEST_P(LocalStatistics, NeedAKnownProvider)
{
    for (const wchar_t* const text : {L"", L"ODBC:DSN=stats", L"DSN=stats"}) {
        SetConnection(text);
        ExpectFailure(0x80070429);
    }
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCore, L"ConnectionString", 1);
    ExpectFailure(0x80070429);
    EXPECT_TRUE(ado.TakeCreations().empty());
}

TEST_P(LocalStatistics, NeedTheCoreKey)
{
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [](HKEY root, LPCWSTR path, DWORD, REGSAM access, PHKEY) -> LSTATUS {
            EXPECT_EQ(HKEY_LOCAL_MACHINE, root);
            EXPECT_STREQ(kCore, path);
            EXPECT_EQ(static_cast<REGSAM>(KEY_READ), access);
            return ERROR_FILE_NOT_FOUND;
        });
    ExpectFailure(0x80070429);
    EXPECT_EQ(1, open.Calls());
}

// --- Several drives ---

TEST_P(LocalStatistics, OfSeveralDrivesStandUnderTheComputersName)
{
    EXPECT_EQ(0U, ShowLocalStats({L"C:", L"q:"}, GetParam().kind));
    std::wstring second = GetParam().report;
    second.replace(second.find(L"C:"), 2, L"q:");
    EXPECT_EQ(GetParam().computer + GetParam().report + second, output.Take());
    EXPECT_EQ((Lines{StatementFor(GetParam(), L"'C:'"), StatementFor(GetParam(), L"'q:'")}), Statements());
}

TEST_P(LocalStatistics, OfSeveralDrivesGoOnAfterADriveWithoutAny)
{
    ado.rows.clear();
    EXPECT_EQ(0U, ShowLocalStats({L"C:", L"D:"}, GetParam().kind));
    EXPECT_EQ(GetParam().computer + L"No statistics data available for C: drive.\n"
                                    L"No statistics data available for D: drive.\n",
              output.Take());
}

TEST_P(LocalStatistics, OfSeveralDrivesEndWithTheFirstFailure)
{
    ado.Fail(L"recordset.Open", {.scode = kFailure, .description = L"It broke.", .call = 2});
    EXPECT_EQ(0x80040E14U, ShowLocalStats({L"C:", L"D:", L"E:"}, GetParam().kind));
    EXPECT_EQ(GetParam().computer + GetParam().report +
                  L"Failed to output statistics for volume D:. Error: 2147749396\n",
              output.Take());
    EXPECT_EQ((Lines{StatementFor(GetParam(), L"'C:'"), StatementFor(GetParam(), L"'D:'")}), Statements());
}

// Every allocation on the way there and back fails once: one of the database layer, of the report or of the test's own
// database. Only the first kind is told with the drive's name.
TEST_P(LocalStatistics, TellThatMemoryRanOutInTheDatabaseLayer)
{
    const DriveList drives{L"C:"};
    int told = 0;
    bool failed = true;
    for (int allocation = 1; failed && !HasFailure(); ++allocation) {
        SCOPED_TRACE(allocation);
        Result result = 14;
        bool hasThrown = false;
        {
            const FailingMemory memory(allocation);
            try {
                result = ShowLocalStats(drives, GetParam().kind);
            } catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): the program ends with 14.
            }
            failed = memory.HasFailed();
            hasThrown = memory.HasThrown();
        }
        const std::wstring text = output.Take();
        if (result == 0x8007000E) {
            EXPECT_EQ(GetParam().computer + L"Failed to output statistics for volume C:. Error: 2147942414\n", text);
            ++told;
        } else if (result == 0x80070429) {
            // The connection string could not be read from the registry, as if it were not there.
            EXPECT_FALSE(hasThrown);
        } else {
            EXPECT_TRUE(result == 0 || result == 14) << result;
            EXPECT_EQ(std::wstring::npos, text.find(L"Failed"));
        }
        static_cast<void>(ado.TakeCalls());
        EXPECT_EQ(0, ado.LiveObjects());
        EXPECT_EQ("", census.Imbalance());
    }
    // The statement's template, its tag, its literal, the connection, the reader ...
    EXPECT_GT(told, 10);
}

TEST_P(LocalStatistics, OfSeveralDrivesNeedADatabase)
{
    SetConnection(L"");
    EXPECT_EQ(2147943465U, ShowLocalStats({L"C:", L"D:"}, GetParam().kind));
    EXPECT_EQ(GetParam().computer + L"Failed to output statistics for volume C:. Error: 2147943465\n", output.Take());
}

TEST_P(LocalStatistics, OfSeveralDrivesAreCatalogueMessages)
{
    const NumberedMessages numbered;
    SetConnection(L"");
    EXPECT_EQ(2147943465U, ShowLocalStats({L"C:"}, GetParam().kind));
    const std::map<StatisticsKind, const wchar_t*> numbers{{StatisticsKind::Analyze, L"(-188-)"},
                                                           {StatisticsKind::Online, L"(-187-)"},
                                                           {StatisticsKind::Offline, L"(-186-)"}};
    EXPECT_EQ(L"\n" + (numbers.at(GetParam().kind) + GetParam().computer.substr(1)) +
                  L"(-1635-)Failed to output statistics for volume C:. Error: 2147943465\n",
              output.Take());
}

TEST_P(LocalStatistics, OfNoDrivesAreTheComputersNameAlone)
{
    EXPECT_EQ(0U, ShowLocalStats({}, GetParam().kind));
    EXPECT_EQ(GetParam().computer, output.Take());
}

INSTANTIATE_TEST_SUITE_P(Reports, LocalStatistics, ::testing::ValuesIn(ReportCases()),
                         [](const auto& test) { return std::string(test.param.name); });

// --- The values ---

struct ValueCase {
    double value;
    const wchar_t* size;
    const wchar_t* number;
    const wchar_t* percent;
};

class StatisticsNumber : public EngineTest {
protected:
    // The report of a drive that has this value in every column.
    std::wstring ReportOf(double value)
    {
        RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kCore, L"ConnectionString", L"ADO:");
        FakeAdo ado;
        ado.columns.assign(11, L"column");
        ado.rows = {AdoRow(11, value)};
        EXPECT_EQ(0U, ShowAnalyzeStats(L"C:"));
        return output.Take();
    }

    // What stands behind the label in its line.
    static std::wstring Behind(const std::wstring& label, const std::wstring& report)
    {
        const std::size_t at = report.find(L"\n" + label);
        EXPECT_NE(std::wstring::npos, at) << ::testing::PrintToString(report);
        const std::size_t begin = at + 1 + label.size();
        return report.substr(begin, report.find(L'\n', begin) - begin);
    }
};

class StatisticsValue : public StatisticsNumber, public ::testing::WithParamInterface<ValueCase> {};

TEST_P(StatisticsValue, IsWrittenAsItsColumnIs)
{
    const std::wstring report = ReportOf(GetParam().value);
    EXPECT_EQ(GetParam().size, Behind(L"Free Space                :   ", report));
    EXPECT_EQ(GetParam().number, Behind(L"Total Files               :   ", report));
    EXPECT_EQ(GetParam().percent, Behind(L"File Fragmentation        :   ", report));
}

INSTANTIATE_TEST_SUITE_P(Values, StatisticsValue,
                         ::testing::Values(ValueCase{0.0, L"0 B", L"0", L"0.0%"},
                                           ValueCase{7.45, L"8 B", L"7.45", L"7.5%"},
                                           ValueCase{7.4, L"8 B", L"7.4", L"7.4%"},
                                           ValueCase{1523.0, L"1.49 KB", L"1523", L"1523.0%"},
                                           ValueCase{0.1234567, L"1 B", L"0.123457", L"0.1%"},
                                           ValueCase{1023.0, L"1023 B", L"1023", L"1023.0%"},
                                           ValueCase{1024.0, L"1024 B", L"1024", L"1024.0%"},
                                           ValueCase{1e9, L"953.68 MB", L"1000000000", L"1000000000.0%"},
                                           ValueCase{1208925819614629174706176.0, L"1 YB", L"1208925819614629174706176",
                                                     L"1208925819614629174706176.0%"},
                                           ValueCase{-5.5, L"-5 B", L"-5.5", L"-5.5%"}));

// The largest one has 309 digits.
TEST_F(StatisticsNumber, IsWrittenWholeHoweverLongItIs)
{
    const std::wstring report = ReportOf(std::numeric_limits<double>::max());
    const std::wstring number = Behind(L"Total Files               :   ", report);
    EXPECT_EQ(309U, number.size());
    EXPECT_TRUE(number.starts_with(L"17976931348623157"));
    EXPECT_EQ(number + L".0%", Behind(L"File Fragmentation        :   ", report));
}

} // namespace
