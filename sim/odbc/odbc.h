#pragma once

#include "odbc/handles.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace sim::odbc {

// Why the driver or the driver manager refused: the SQLSTATE and what it says.
struct Failure {
    std::string state;
    std::wstring text;
};

// What a call answers: nothing on success.
using Result = std::optional<Failure>;

// A date and time, as days since 30 December 1899.
struct Date {
    double days = 0;
    friend bool operator==(const Date&, const Date&) = default;
};

// A number that the database keeps in decimal digits.
struct Decimal {
    std::wstring digits;
    friend bool operator==(const Decimal&, const Decimal&) = default;
};

// A value of a row, in the type in which the database keeps it; std::monostate is NULL.
using Value = std::variant<std::monostate, bool, std::int32_t, std::int64_t, double, Date, Decimal, std::wstring,
                           std::vector<std::uint8_t>>;

// A column of a result.
struct Column {
    std::wstring name;
    SQLSMALLINT type = SQL_UNKNOWN_TYPE;
};

// A connection to a database. One thread at a time may use it and its statements.
class Connection {
public:
    // Opens the connection; the string is ODBC's, such as "Driver={SQLite3};Database=/tmp/statistics.db".
    [[nodiscard]] Result Open(std::wstring_view connectionString);

    [[nodiscard]] bool IsOpen() const { return static_cast<bool>(session_); }

    // Closes it; what a transaction has changed is taken back. Its statements must be gone.
    void Close();

    // Begins a transaction. Without one, every statement is a transaction of its own.
    [[nodiscard]] Result Begin();

    // Ends the transaction, keeping or taking back what it has changed.
    [[nodiscard]] Result Commit();
    [[nodiscard]] Result Rollback();

    [[nodiscard]] SQLHANDLE Handle() const { return handle_.Get(); }

private:
    [[nodiscard]] Result Check(SQLRETURN result) const;
    [[nodiscard]] Result SetAutoCommit(bool on) const;
    [[nodiscard]] Result End(SQLSMALLINT how) const;

    // Released from the last to the first.
    EnvironmentHandle environment_;
    ConnectionHandle handle_;
    Session session_;
};

// A statement and, where it has one, its result, read forward row by row.
class Statement {
public:
    // Runs the text on the open connection, in place of what the object has run before.
    [[nodiscard]] Result Execute(const Connection& connection, std::wstring_view text);

    // The columns of the result; none where the statement has no result.
    [[nodiscard]] const std::vector<Column>& Columns() const { return columns_; }

    // How many rows the statement has changed; -1 where the driver does not tell.
    [[nodiscard]] std::int64_t RowCount() const;

    // Reads the next row into the place; hasRow is false behind the last one.
    [[nodiscard]] Result Fetch(std::vector<Value>& row, bool& hasRow);

    // Frees the result.
    void Close();

private:
    [[nodiscard]] Result Check(SQLRETURN result) const;
    [[nodiscard]] Result Describe();
    [[nodiscard]] Result Read(SQLUSMALLINT column, SQLSMALLINT type, Value& value) const;
    template <typename Number>
    [[nodiscard]] Result ReadFixed(SQLUSMALLINT column, SQLSMALLINT target, Number& number, bool& isNull) const;
    template <typename Bytes>
    [[nodiscard]] Result ReadBytes(SQLUSMALLINT column, SQLSMALLINT target, Bytes& bytes, bool& isNull) const;

    StatementHandle handle_;
    std::vector<Column> columns_;
};

} // namespace sim::odbc
