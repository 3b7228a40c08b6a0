#pragma once

#include "ado/errors.h"
#include "odbc/odbc.h"

#include "win/critical_section.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sim::ado {

class Cursor;

// A connection to a database with the results that are being read over it. The objects of ADO share it; only one
// thread at a time works with it, through whichever object.
class Session : public std::enable_shared_from_this<Session> {
public:
    Session() = default;
    Session(const Session&) = delete;
    Session(Session&&) = delete;
    ~Session() = default;
    Session& operator=(const Session&) = delete;
    Session& operator=(Session&&) = delete;

    // Opens the connection; the string is in ADO's form.
    [[nodiscard]] Answer Open(std::wstring_view connectionString, std::wstring_view user, std::wstring_view password);

    // Closes the connection and with it the results that are still being read.
    [[nodiscard]] Answer Close();

    [[nodiscard]] bool IsOpen() const;

    [[nodiscard]] Answer Begin();
    [[nodiscard]] Answer Commit();
    [[nodiscard]] Answer Rollback();

    // Runs a statement. The cursor stands on the first row of its result, or is closed where there is no result; the
    // count is that of the rows that it has changed, or -1.
    [[nodiscard]] Answer Run(std::wstring_view statement, std::shared_ptr<Cursor>& cursor, std::int64_t& rowCount);

private:
    friend class Cursor;

    [[nodiscard]] Answer EndTransaction(odbc::Result (odbc::Connection::*end)());

    mutable win::CriticalSection lock_; // guards everything here and in the cursors
    odbc::Connection connection_;
    bool inTransaction_ = false;
    std::vector<Cursor*> cursors_; // whose results are open
};

// The result of a statement: its current row and those after it. Safe to use from any thread.
class Cursor {
public:
    Cursor(std::shared_ptr<Session> session, std::wstring_view statement);
    Cursor(const Cursor&) = delete;
    Cursor(Cursor&&) = delete;
    ~Cursor();
    Cursor& operator=(const Cursor&) = delete;
    Cursor& operator=(Cursor&&) = delete;

    [[nodiscard]] bool IsOpen() const;

    // Whether there is no row before, or after, the current row; a closed cursor refuses.
    [[nodiscard]] Answer IsAtBegin(bool& isAtBegin) const;
    [[nodiscard]] Answer IsAtEnd(bool& isAtEnd) const;

    // Goes to the first row. Where that has been left, the statement is run again.
    [[nodiscard]] Answer MoveFirst();

    // Goes to the next row or behind the last.
    [[nodiscard]] Answer MoveNext();

    // Frees the result; a closed cursor refuses.
    [[nodiscard]] Answer Close();

    // The columns of the result; none of a closed one.
    [[nodiscard]] std::vector<odbc::Column> Columns() const;

    // The value of a column in the current row.
    [[nodiscard]] Answer ReadValue(std::size_t column, odbc::Value& value) const;

private:
    friend class Session;

    [[nodiscard]] Answer Execute();
    [[nodiscard]] Answer Fetch();
    void Forget();

    std::shared_ptr<Session> session_;
    std::wstring text_;
    odbc::Statement statement_;
    bool isOpen_ = false;
    bool hasRow_ = false;
    bool isFirstRow_ = false;
    bool isEmpty_ = false;
    std::vector<odbc::Value> row_;
};

} // namespace sim::ado
