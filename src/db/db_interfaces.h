#pragma once

#include "win/windows_api.h"

#include <cstdint>
#include <string>

// The database as its users see it, whatever provider stands behind it. Every operation throws CDbError when it fails.
//
// The order of the operations is the order of their virtual slots, and no interface has a virtual destructor: whoever
// made an object releases it, after Close (db_manager.h). One thread at a time uses a connection and its readers.
namespace vldb {

// Steps through the rows of a result, forwards only. Columns are counted from 0.
class IDbReader {
public:
    // Goes to the next row, the first one at first; false when there is none.
    virtual bool Read() = 0;
    virtual void Close() = 0;
    virtual std::int32_t GetColumnCount() = 0;
    virtual std::wstring GetColumnName(std::int32_t index) = 0;
    virtual bool IsNull(std::int32_t index) = 0;
    // The column's value, converted by Automation's rules; NULL is no number and fails. A single-precision value counts
    // as the shortest decimal that it stands for.
    virtual std::int32_t GetInt32(std::int32_t index) = 0;
    virtual std::int64_t GetInt64(std::int32_t index) = 0;
    virtual double GetDouble(std::int32_t index) = 0;
    // The value as text, up to its first NUL character; NULL is an empty text.
    virtual std::wstring GetString(std::int32_t index) = 0;
    // GetDouble's answer as a VARIANT (VT_R8).
    virtual VARIANT GetValue(std::int32_t index) = 0;

protected:
    ~IDbReader() = default;
};

// Runs statements.
class IDbCommand {
public:
    virtual void ExecuteNonQuery(const std::wstring& statement) = 0;
    // The rows that the statement gives; the caller hands the reader to Release.
    virtual IDbReader* ExecuteReader(const std::wstring& statement) = 0;

protected:
    ~IDbCommand() = default;
};

// Transactions of a connection.
class IDbTransaction {
public:
    virtual void Begin() = 0;
    virtual void Commit() = 0;
    virtual void Rollback() = 0;

protected:
    ~IDbTransaction() = default;
};

// An open connection to a database.
class IDbConnection {
public:
    virtual void Close() = 0;
    // The connection's other faces, which live as long as it does.
    virtual IDbTransaction* GetTransaction() = 0;
    virtual IDbCommand* GetCommand() = 0;

protected:
    ~IDbConnection() = default;
};

// The faces of a connection that may be missing: null for null.
[[nodiscard]] inline IDbTransaction* GetTransaction(IDbConnection* connection)
{
    return connection == nullptr ? nullptr : connection->GetTransaction();
}
[[nodiscard]] inline IDbCommand* GetCommand(IDbConnection* connection)
{
    return connection == nullptr ? nullptr : connection->GetCommand();
}

// Makes connections.
class IDbManager {
public:
    // Opens a connection. The text is the provider's name, a colon and the provider's own connection string; the name
    // is compared without regard to case. Null for a provider that is not known and for a text without a colon. The
    // caller hands the connection to Release.
    virtual IDbConnection* Connect(const std::wstring& connectionString) = 0;
    // Bracket database work that is to be done one at a time.
    virtual void Lock() = 0;
    virtual void Unlock() = 0;

protected:
    ~IDbManager() = default;
};

} // namespace vldb
