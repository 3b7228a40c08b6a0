#include "support/statistics_database.h"

#include "base/registry_keys.h"
#include "base/text.h"
#include "odbc/connection_string.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace testing_support {

namespace {

constexpr wchar_t kVariable[] = L"VLCMD_TEST_DATABASE";

std::wstring Variable()
{
    std::wstring value(GetEnvironmentVariableW(kVariable, nullptr, 0), L'\0');
    value.resize(GetEnvironmentVariableW(kVariable, value.data(), static_cast<DWORD>(value.size())));
    return value;
}

std::string ReadWhole(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("a file of the tests cannot be read");
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The words for PostgreSQL. The file is named by its Unix path, which on Wine's drive Z: is the same path.
std::wstring PostgresWords()
{
    const std::string words = ReadWhole(L"Z:" + Variable());
    return sim::FromUtf8(words.substr(0, words.find('\n'))).value();
}

void Check(const sim::odbc::Result& result, std::wstring_view what)
{
    if (result) {
        throw std::runtime_error(sim::ToUtf8(std::wstring(what) + L": " + result->text));
    }
}

} // namespace

StatisticsDatabase::StatisticsDatabase()
    : adoString_(L"Provider=MSDASQL;" + (IsPostgres() ? PostgresWords()
                                                      : L"Driver={SQLite3};NoCreat=1;Timeout=5000;Database=" +
                                                            folder_.PathOf(L"statistics.db")))
{
    if (!IsPostgres()) {
        // An empty file is an empty database.
        folder_.AddFile(L"statistics.db", "");
    }
    Check(connection_.Open(sim::odbc::ToOdbcConnectionString(adoString_).value()), L"the database of the tests");
    if (IsPostgres()) {
        Execute(L"SET client_min_messages = error");
        Execute(L"DROP SCHEMA public CASCADE");
        Execute(L"CREATE SCHEMA public");
    }
    MakeTables();
}

bool StatisticsDatabase::IsPostgres()
{
    return !Variable().empty();
}

std::wstring StatisticsDatabase::MissingProductString() const
{
    std::wstring text = ProductString();
    // The last word on SQLite, one in the middle on PostgreSQL.
    const std::wstring word = IsPostgres() ? L"Database=postgres" : L"statistics.db";
    return text.replace(text.find(word) + word.size(), 0, L"-gone");
}

void StatisticsDatabase::Execute(std::wstring_view statement)
{
    sim::odbc::Statement running;
    Check(running.Execute(connection_, statement), statement);
}

// One by one and without the comments, as SQLite's driver wants it.
void StatisticsDatabase::ExecuteAll(std::string_view script)
{
    std::wstring text;
    std::wistringstream lines(sim::FromUtf8(script).value());
    for (std::wstring line; std::getline(lines, line);) {
        if (!line.starts_with(L"--")) {
            text += line + L'\n';
        }
    }
    constexpr std::wstring_view kEnd = L";\n";
    for (std::size_t begin = 0, end = text.find(kEnd); end != std::wstring::npos; end = text.find(kEnd, begin)) {
        Execute(std::wstring_view(text).substr(begin, end - begin));
        begin = end + kEnd.size();
    }
}

std::vector<std::vector<sim::odbc::Value>> StatisticsDatabase::Query(std::wstring_view query)
{
    sim::odbc::Statement running;
    Check(running.Execute(connection_, query), query);
    std::vector<std::vector<sim::odbc::Value>> rows;
    std::vector<sim::odbc::Value> row;
    bool hasRow = false;
    for (;;) {
        Check(running.Fetch(row, hasRow), query);
        if (!hasRow) {
            return rows;
        }
        rows.push_back(row);
    }
}

void StatisticsDatabase::MakeTables()
{
    const std::wstring program = sim::ModulePath(nullptr);
    const std::filesystem::path folder = std::filesystem::path(program).parent_path();
    ExecuteAll(ReadWhole(folder / L"statistics-schema.sql"));
}

} // namespace testing_support
