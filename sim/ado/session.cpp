#include "ado/session.h"

#include "odbc/connection_string.h"

#include <mutex>

namespace sim::ado {

namespace {

Answer AnswerOf(const odbc::Result& result)
{
    return result ? Answer(RefusalOf(*result)) : Answer();
}

} // namespace

Answer Session::Open(std::wstring_view connectionString, std::wstring_view user, std::wstring_view password)
{
    const std::lock_guard guard(lock_);
    if (connection_.IsOpen()) {
        return ObjectOpen();
    }
    const std::optional<std::wstring> odbcString = odbc::ToOdbcConnectionString(connectionString, user, password);
    return odbcString ? AnswerOf(connection_.Open(*odbcString)) : ProviderNotFound();
}

Answer Session::Close()
{
    const std::lock_guard guard(lock_);
    if (!connection_.IsOpen()) {
        return ObjectClosed();
    }
    if (inTransaction_) {
        return InTransaction();
    }
    while (!cursors_.empty()) {
        cursors_.back()->Forget();
    }
    connection_.Close();
    return {};
}

bool Session::IsOpen() const
{
    const std::lock_guard guard(lock_);
    return connection_.IsOpen();
}

Answer Session::Begin()
{
    const std::lock_guard guard(lock_);
    if (!connection_.IsOpen()) {
        return ObjectClosed();
    }
    if (inTransaction_) {
        return TransactionExists();
    }
    Answer answer = AnswerOf(connection_.Begin());
    inTransaction_ = !answer;
    return answer;
}

Answer Session::Commit()
{
    return EndTransaction(&odbc::Connection::Commit);
}

Answer Session::Rollback()
{
    return EndTransaction(&odbc::Connection::Rollback);
}

Answer Session::EndTransaction(odbc::Result (odbc::Connection::*end)())
{
    const std::lock_guard guard(lock_);
    if (!connection_.IsOpen()) {
        return ObjectClosed();
    }
    if (!inTransaction_) {
        return NoTransaction();
    }
    Answer answer = AnswerOf((connection_.*end)());
    inTransaction_ = answer.has_value();
    return answer;
}

Answer Session::Run(std::wstring_view statement, std::shared_ptr<Cursor>& cursor, std::int64_t& rowCount)
{
    auto made = std::make_shared<Cursor>(shared_from_this(), statement);
    const std::lock_guard guard(lock_);
    if (!connection_.IsOpen()) {
        return ObjectClosed();
    }
    Answer answer = made->Execute();
    if (!answer) {
        rowCount = made->statement_.RowCount();
        if (!made->isOpen_) {
            made->Forget();
        }
        cursor = std::move(made);
    }
    return answer;
}

Cursor::Cursor(std::shared_ptr<Session> session, std::wstring_view statement)
    : session_(std::move(session)), text_(statement)
{}

Cursor::~Cursor()
{
    const std::lock_guard guard(session_->lock_);
    Forget();
}

bool Cursor::IsOpen() const
{
    const std::lock_guard guard(session_->lock_);
    return isOpen_;
}

Answer Cursor::IsAtBegin(bool& isAtBegin) const
{
    const std::lock_guard guard(session_->lock_);
    // A cursor only moves forward, so it is never before the first row of a result that has rows.
    isAtBegin = isEmpty_;
    return isOpen_ ? Answer() : ObjectClosed();
}

Answer Cursor::IsAtEnd(bool& isAtEnd) const
{
    const std::lock_guard guard(session_->lock_);
    isAtEnd = !hasRow_;
    return isOpen_ ? Answer() : ObjectClosed();
}

Answer Cursor::MoveFirst()
{
    const std::lock_guard guard(session_->lock_);
    if (!isOpen_) {
        return ObjectClosed();
    }
    if (isEmpty_) {
        return NoCurrentRecord();
    }
    return isFirstRow_ ? Answer() : Execute();
}

Answer Cursor::MoveNext()
{
    const std::lock_guard guard(session_->lock_);
    if (!isOpen_) {
        return ObjectClosed();
    }
    if (!hasRow_) {
        return NoCurrentRecord();
    }
    isFirstRow_ = false;
    return Fetch();
}

Answer Cursor::Close()
{
    const std::lock_guard guard(session_->lock_);
    if (!isOpen_) {
        return ObjectClosed();
    }
    Forget();
    return {};
}

std::vector<odbc::Column> Cursor::Columns() const
{
    const std::lock_guard guard(session_->lock_);
    return statement_.Columns();
}

Answer Cursor::ReadValue(std::size_t column, odbc::Value& value) const
{
    const std::lock_guard guard(session_->lock_);
    if (!isOpen_) {
        return ObjectClosed();
    }
    if (!hasRow_) {
        return NoCurrentRecord();
    }
    if (column >= row_.size()) {
        return ItemNotFound();
    }
    value = row_[column];
    return {};
}

// Runs the statement and goes to the first row; called under the session's lock, as Fetch and Forget are.
Answer Cursor::Execute()
{
    Forget();
    Answer answer = AnswerOf(statement_.Execute(session_->connection_, text_));
    if (answer || statement_.Columns().empty()) {
        return answer;
    }
    session_->cursors_.push_back(this);
    isOpen_ = true;
    answer = Fetch();
    if (answer) {
        Forget();
    }
    isFirstRow_ = hasRow_;
    isEmpty_ = !hasRow_;
    return answer;
}

Answer Cursor::Fetch()
{
    return AnswerOf(statement_.Fetch(row_, hasRow_));
}

void Cursor::Forget()
{
    statement_.Close();
    std::erase(session_->cursors_, this);
    row_.clear();
    isOpen_ = hasRow_ = isFirstRow_ = isEmpty_ = false;
}

} // namespace sim::ado
