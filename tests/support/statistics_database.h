#pragma once

#include "support/scratch_folder.h"

#include "odbc/odbc.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace testing_support {

// A statistics database of a test's own, with the tables and no rows: a file of SQLite, or where the environment
// variable VLCMD_TEST_DATABASE names a file with the words of a connection string, the PostgreSQL database that those
// lead to, emptied.
class StatisticsDatabase {
public:
    StatisticsDatabase();
    StatisticsDatabase(StatisticsDatabase&&) = delete;
    ~StatisticsDatabase() = default;

    // Whether this run is on PostgreSQL.
    [[nodiscard]] static bool IsPostgres();

    // The connection string as ADO takes it, and as the product's registry value has it.
    [[nodiscard]] const std::wstring& AdoString() const { return adoString_; }
    [[nodiscard]] std::wstring ProductString() const { return L"ADO:" + adoString_; }

    // The same with a database that is not there.
    [[nodiscard]] std::wstring MissingProductString() const;

    // Runs a statement; the test fails where the database refuses it.
    void Execute(std::wstring_view statement);

    // Runs the statements of a script in UTF-8, each of which ends with a semicolon at the end of a line.
    void ExecuteAll(std::string_view script);

    // All rows of a query.
    [[nodiscard]] std::vector<std::vector<sim::odbc::Value>> Query(std::wstring_view query);

private:
    void MakeTables();

    ScratchFolder folder_;
    std::wstring adoString_;
    sim::odbc::Connection connection_;
};

} // namespace testing_support
