#include "database/statistics_database.h"

#include "base/registry_keys.h"
#include "base/text.h"
#include "odbc/connection_string.h"
#include "odbc/odbc.h"

#include "support/registry.h"
#include "win/text.h"

#include <cwchar>
#include <set>
#include <span>

namespace sim {

namespace {

using odbc::Result;

// A column with the figure that goes into it: a member of the condition before or after the work.
struct FigureColumn {
    const wchar_t* name;
    DriveCondition FinishedWork::*when;
    std::int64_t DriveCondition::*number = nullptr;
    double DriveCondition::*percent = nullptr;
};

constexpr auto kBefore = &FinishedWork::before;
constexpr auto kAfter = &FinishedWork::after;

constexpr FigureColumn kAnalysisColumns[] = {
    {L"FreeSpace", kAfter, &DriveCondition::freeSpace},
    {L"TotalFiles", kAfter, &DriveCondition::totalFiles},
    {L"FragmentedFiles", kAfter, &DriveCondition::fragmentedFiles},
    {L"LargestFreeSpace", kAfter, &DriveCondition::largestFreeSpace},
    {L"FreeSpaceFragmentation", kAfter, nullptr, &DriveCondition::freeSpaceFragmentation},
    {L"FileFragmentation", kAfter, nullptr, &DriveCondition::fileFragmentation},
    {L"MftExcessFragments", kAfter, &DriveCondition::mftExcessFragments},
    {L"MetadataExcessFragments", kAfter, &DriveCondition::metadataExcessFragments},
    {L"DirectoryFragmentation", kAfter, nullptr, &DriveCondition::directoryFragmentation},
    {L"DrivePerformance", kAfter, nullptr, &DriveCondition::drivePerformance},
};

constexpr FigureColumn kOnlineColumns[] = {
    {L"FreeSpace", kAfter, &DriveCondition::freeSpace},
    {L"TotalFiles", kAfter, &DriveCondition::totalFiles},
    {L"FragmentedFilesBefore", kBefore, &DriveCondition::fragmentedFiles},
    {L"FragmentedFilesAfter", kAfter, &DriveCondition::fragmentedFiles},
    {L"LargestFreeSpaceBefore", kBefore, &DriveCondition::largestFreeSpace},
    {L"LargestFreeSpaceAfter", kAfter, &DriveCondition::largestFreeSpace},
    {L"FreeSpaceFragmentationBefore", kBefore, nullptr, &DriveCondition::freeSpaceFragmentation},
    {L"FreeSpaceFragmentationAfter", kAfter, nullptr, &DriveCondition::freeSpaceFragmentation},
    {L"FileFragmentationBefore", kBefore, nullptr, &DriveCondition::fileFragmentation},
    {L"FileFragmentationAfter", kAfter, nullptr, &DriveCondition::fileFragmentation},
    {L"MftExcessFragments", kAfter, &DriveCondition::mftExcessFragments},
    {L"MetadataExcessFragments", kAfter, &DriveCondition::metadataExcessFragments},
    {L"DirectoryFragmentation", kAfter, nullptr, &DriveCondition::directoryFragmentation},
    {L"DrivePerformanceBefore", kBefore, nullptr, &DriveCondition::drivePerformance},
    {L"DrivePerformanceAfter", kAfter, nullptr, &DriveCondition::drivePerformance},
};

constexpr FigureColumn kOfflineColumns[] = {
    {L"MftExcessFragmentsBefore", kBefore, &DriveCondition::mftExcessFragments},
    {L"MftExcessFragmentsAfter", kAfter, &DriveCondition::mftExcessFragments},
    {L"MetadataExcessFragmentsBefore", kBefore, &DriveCondition::metadataExcessFragments},
    {L"MetadataExcessFragmentsAfter", kAfter, &DriveCondition::metadataExcessFragments},
    {L"DirectoryFragmentsBefore", kBefore, &DriveCondition::directoryFragments},
    {L"DirectoryFragmentsAfter", kAfter, &DriveCondition::directoryFragments},
};

struct WorkTable {
    RecordedWork work;
    const wchar_t* name;
    std::span<const FigureColumn> columns;
};

constexpr WorkTable kTables[] = {
    {RecordedWork::Analysis, L"StatsAnalyze", kAnalysisColumns},
    {RecordedWork::Online, L"StatsDefragOnline", kOnlineColumns},
    {RecordedWork::Offline, L"StatsDefragOffline", kOfflineColumns},
};

std::wstring Literal(std::wstring_view text)
{
    std::wstring literal = L"'";
    for (const wchar_t character : text) {
        literal.append(character == L'\'' ? 2 : 1, character);
    }
    return literal + L'\'';
}

std::wstring Literal(double value)
{
    wchar_t text[64];
    std::swprintf(text, std::size(text), L"%.17g", value);
    return text;
}

std::wstring FigureOf(const FinishedWork& work, const FigureColumn& column)
{
    const DriveCondition& condition = work.*column.when;
    return column.number != nullptr ? std::to_wstring(condition.*column.number) : Literal(condition.*column.percent);
}

// The statement that adds the row of the work under the volume's number.
std::wstring InsertStatement(const FinishedWork& work, const WorkTable& table, double date, std::int32_t volume)
{
    std::wstring names = L"VolumeId, StatsDate";
    std::wstring values = std::to_wstring(volume) + L", " + Literal(date);
    for (const FigureColumn& column : table.columns) {
        names.append(L", ").append(column.name);
        values.append(L", ").append(FigureOf(work, column));
    }
    return L"INSERT INTO " + std::wstring(table.name) + L" (" + names + L") VALUES (" + values + L")";
}

Result Run(const odbc::Connection& connection, const std::wstring& text)
{
    return odbc::Statement().Execute(connection, text);
}

// Reads the one number that the query answers; nothing where it has no row.
Result Query(const odbc::Connection& connection, const std::wstring& text, std::optional<std::int32_t>& number)
{
    odbc::Statement statement;
    std::vector<odbc::Value> row;
    bool hasRow = false;
    Result failure = statement.Execute(connection, text);
    if (!failure) {
        failure = statement.Fetch(row, hasRow);
    }
    const std::int32_t* const value = hasRow ? std::get_if<std::int32_t>(&row.front()) : nullptr;
    number = value != nullptr ? std::optional(*value) : std::nullopt;
    return failure;
}

// Finds the volume's number, by its name in any case; gives it one where it has none.
Result FindVolume(const odbc::Connection& connection, std::wstring_view name, std::int32_t& volume)
{
    const std::wstring literal = Literal(name);
    std::optional<std::int32_t> found;
    Result failure =
        Query(connection, L"SELECT VolumeId FROM Volumes WHERE UPPER(VolumeName) = UPPER(" + literal + L")", found);
    if (failure || found) {
        volume = found.value_or(0);
        return failure;
    }
    failure = Query(connection, L"SELECT VolumeId FROM Volumes ORDER BY VolumeId DESC", found);
    if (failure) {
        return failure;
    }
    volume = found.value_or(0) + 1;
    return Run(connection, L"INSERT INTO Volumes (VolumeId, VolumeName) VALUES (" + std::to_wstring(volume) + L", " +
                               literal + L")");
}

Result AddRows(const odbc::Connection& connection, const FinishedWork& work)
{
    const double date = LocalDate(work.ago);
    const WorkTable& table = kTables[static_cast<std::size_t>(work.work)];
    const std::wstring_view name = work.driveName;
    for (const std::wstring_view spelling : std::set<std::wstring_view>{name, WithoutTrailingBackslash(name)}) {
        std::int32_t volume = 0;
        Result failure = FindVolume(connection, spelling, volume);
        if (!failure) {
            failure = Run(connection, InsertStatement(work, table, date, volume));
        }
        if (failure) {
            return failure;
        }
    }
    return {};
}

// Adds the rows in one transaction, which is taken back where it is not committed.
Result AddRows(const std::wstring& odbcString, const FinishedWork& work)
{
    odbc::Connection connection;
    Result failure = connection.Open(odbcString);
    if (!failure) {
        failure = connection.Begin();
    }
    if (!failure) {
        failure = AddRows(connection, work);
    }
    return failure ? failure : connection.Commit();
}

} // namespace

StatisticsDatabase::StatisticsDatabase(std::optional<std::wstring> connectionString)
    : connectionString_(std::move(connectionString))
{}

std::optional<std::wstring> StatisticsDatabase::Record(const FinishedWork& work) const
{
    std::wstring configured;
    if (connectionString_) {
        configured = *connectionString_;
    } else if (const LSTATUS status = ReadRegistryText(kCoreKey, L"ConnectionString", configured);
               status != ERROR_SUCCESS) {
        return L"ConnectionString cannot be read: " + ErrorText(static_cast<std::uint32_t>(status));
    }
    if (configured.empty()) {
        return std::nullopt;
    }
    const std::size_t colon = configured.find(L':');
    const std::optional<std::wstring> odbcString =
        colon != std::wstring::npos && win::EqualNames(configured.substr(0, colon), L"ADO")
            ? odbc::ToOdbcConnectionString(configured.substr(colon + 1))
            : std::nullopt;
    if (!odbcString) {
        return L"ConnectionString names no ADO connection over ODBC";
    }
    const Result failure = AddRows(*odbcString, work);
    return failure ? std::optional(failure->text) : std::nullopt;
}

} // namespace sim
