#include "stats/statistics.h"

#include "db/db_error.h"
#include "db/db_manager.h"
#include "db/query_format.h"
#include "engine/formatting.h"
#include "messages/console_output.h"
#include "stats/date_text.h"
#include "stats/report_messages.h"
#include "stats/statements.h"
#include "support/registry.h"
#include "win/result_code.h"
#include "win/system.h"

#include <cstdint>
#include <cwchar>
#include <optional>
#include <span>
#include <vector>

namespace {

// How a column's value is written.
enum class Form : std::uint8_t {
    Date,
    Size,
    Number,
    Percent, // behind the line's text, not in it
};

// One line of a report.
struct ReportLine {
    Message message;
    std::size_t column;
    Form form;
};

// A report: its statement, and what it shows of the columns.
struct Report {
    const wchar_t* statement;
    std::size_t columns;
    Message computer;
    Message drive;
    std::span<const ReportLine> lines;
};

constexpr ReportLine kAnalyzeLines[] = {
    {{1136, "Date                      :   %1\n"}, 0, Form::Date},
    {{1782, "Free Space                :   %1\n"}, 1, Form::Size},
    {{3202, "Total Files               :   %1\n"}, 2, Form::Number},
    {{1764, "Fragmented Files          :   %1\n"}, 3, Form::Number},
    {{2017, "Largest Free Space        :   %1\n"}, 4, Form::Size},
    {{1798, "Free Space Fragmentation  :   "}, 5, Form::Percent},
    {{1694, "File Fragmentation        :   "}, 6, Form::Percent},
    {{2142, "MFT Excess Fragments      :   %1\n"}, 7, Form::Number},
    {{2133, "Metadata Excess Fragments :   %1\n"}, 8, Form::Number},
    {{1280, "Directory Fragmentation   :   "}, 9, Form::Percent},
    {{1378, "Drive Performance         :   "}, 10, Form::Percent},
};

// The fragmentation of directories, column 13, is not shown.
constexpr ReportLine kOnlineLines[] = {
    {{1135, "Date                            :   %1\n"}, 0, Form::Date},
    {{1781, "Free Space                      :   %1\n"}, 1, Form::Size},
    {{3201, "Total Files                     :   %1\n"}, 2, Form::Number},
    {{1768, "Fragmented Files Before         :   %1\n"}, 3, Form::Number},
    {{1766, "Fragmented Files After          :   %1\n"}, 4, Form::Number},
    {{2021, "Largest Free Space Before       :   %1\n"}, 5, Form::Size},
    {{2019, "Largest Free Space After        :   %1\n"}, 6, Form::Size},
    {{1804, "Free Space Fragmentation Before :   "}, 7, Form::Percent},
    {{1802, "Free Space Fragmentation After  :   "}, 8, Form::Percent},
    {{1696, "File Fragmentation Before       :   "}, 9, Form::Percent},
    {{1695, "File Fragmentation After        :   "}, 10, Form::Percent},
    {{2141, "MFT Excess Fragments            :   %1\n"}, 11, Form::Number},
    {{2132, "Metadata Excess Fragments       :   %1\n"}, 12, Form::Number},
    {{1384, "Drive Performance Before        :   "}, 14, Form::Percent},
    {{1382, "Drive Performance After         :   "}, 15, Form::Percent},
};

constexpr ReportLine kOfflineLines[] = {
    {{1134, "Date                             :   %1\n"}, 0, Form::Date},
    {{2144, "MFT Excess Fragments Before      :   %1\n"}, 1, Form::Number},
    {{2143, "MFT Excess Fragments After       :   %1\n"}, 2, Form::Number},
    {{2135, "Metadata Excess Fragments Before :   %1\n"}, 3, Form::Number},
    {{2134, "Metadata Excess Fragments After  :   %1\n"}, 4, Form::Number},
    {{1287, "Directory Fragments Before       :   %1\n"}, 5, Form::Number},
    {{1286, "Directory Fragments After        :   %1\n"}, 6, Form::Number},
};

// By StatisticsKind.
constexpr Report kReports[] = {
    {kAnalyzeStatement,
     11,
     {188, "Local Computer            :   %1"},
     {184, "\nDrive                     :   %1\n"},
     kAnalyzeLines},
    {kOnlineStatement,
     16,
     {187, "Local Computer                  :   %1"},
     {183, "\nDrive                           :   %1\n"},
     kOnlineLines},
    {kOfflineStatement,
     7,
     {186, "Local Computer                   :   %1"},
     {182, "\nDrive                            :   %1\n"},
     kOfflineLines},
};

constexpr Message kFailed{1635, "Failed to output statistics for volume %1. Error: %2"};

const Report& ReportOf(StatisticsKind kind)
{
    return kReports[static_cast<std::size_t>(kind)];
}

std::wstring ConnectionString()
{
    return RegFindString(HKEY_LOCAL_MACHINE, kCoreKey, L"ConnectionString").value_or(std::wstring());
}

std::wstring StatementOf(const Report& report, const std::wstring& drive)
{
    vldb::CQueryFormat query(report.statement);
    query.Bind(1, drive, true);
    return query.Str();
}

// All columns of the drive's newest row; nothing when there is no row. Throws CDbError.
std::optional<std::vector<double>> ReadNewest(const Report& report, const std::wstring& drive)
{
    const std::wstring statement = StatementOf(report, drive);
    const vldb::DbConnection connection(vldb::GetDbManager()->Connect(ConnectionString()));
    vldb::IDbCommand* const command = vldb::GetCommand(connection.Get());
    if (command == nullptr) {
        throw vldb::CDbError(static_cast<HRESULT>(kNoDatabase), L"");
    }
    const vldb::DbReader reader(command->ExecuteReader(statement));
    if (!reader.Get()->Read()) {
        return std::nullopt;
    }
    std::vector<double> values(report.columns);
    std::int32_t column = 0;
    for (double& value : values) {
        value = reader.Get()->GetDouble(column++);
    }
    return values;
}

std::wstring PercentText(double value)
{
    // The longest number in this notation has 309 digits.
    constexpr std::size_t kLength = 512;
    wchar_t text[kLength] = {};
    std::swprintf(text, kLength, L"%2.1f%%\n", value);
    return text;
}

std::wstring LineText(const ReportLine& line, double value)
{
    constexpr int kDecimals = 6;
    switch (line.form) {
    case Form::Date:
        return ToWideString(GetMessage(line.message, {FormatDate(value)}));
    case Form::Size:
        return ToWideString(GetMessage(line.message, {FormatSize(value, 0)}));
    case Form::Number:
        return ToWideString(GetMessage(line.message, {FormatNumber(value, kDefaultWidth, kDefaultFill, kDecimals)}));
    case Form::Percent:
        break;
    }
    return ToWideString(GetMessage(line.message)) + PercentText(value);
}

Result ShowDrive(const Report& report, const std::wstring& drive)
{
    std::optional<std::vector<double>> values;
    try {
        values = ReadNewest(report, drive);
    } catch (const vldb::CDbError& error) {
        return win::ResultOf(error.GetCode());
    }
    if (!values) {
        PrintMessage(kNoStatistics, {drive});
        return kSuccess;
    }
    std::wstring text = ToWideString(GetMessage(report.drive, {drive}));
    for (const ReportLine& line : report.lines) {
        text += LineText(line, (*values)[line.column]);
    }
    PrintLine(text);
    return kSuccess;
}

} // namespace

Result ShowAnalyzeStats(const std::wstring& drive)
{
    return ShowDrive(ReportOf(StatisticsKind::Analyze), drive);
}

Result ShowOnlineStats(const std::wstring& drive)
{
    return ShowDrive(ReportOf(StatisticsKind::Online), drive);
}

Result ShowOfflineStats(const std::wstring& drive)
{
    return ShowDrive(ReportOf(StatisticsKind::Offline), drive);
}

Result ShowLocalStats(const DriveList& drives, StatisticsKind kind)
{
    const Report& report = ReportOf(kind);
    PrintLine(L"\n" + ToWideString(GetMessage(report.computer, {win::LocalComputerName()})));
    for (const std::wstring& drive : drives) {
        if (const Result result = ShowDrive(report, drive); result != kSuccess) {
            CatalogueText failure = GetMessage(kFailed, {drive});
            AddNumberArgument(failure, result);
            PrintLine(failure);
            return result;
        }
    }
    return kSuccess;
}
