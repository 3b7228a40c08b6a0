#pragma once

#include "db/db_interfaces.h"
#include "win/com_ptr.h"

#include <cstdint>
#include <string>

namespace vldb {

// A connection over an ADO Connection object.
class CAdoDbConnection final : public IDbConnection, public IDbTransaction, public IDbCommand {
public:
    // Opens the connection with ADO's own connection string. Throws ComError, because the operation that fails is the
    // one in which a connection is made.
    explicit CAdoDbConnection(const std::wstring& connectionString);
    CAdoDbConnection(const CAdoDbConnection&) = delete;
    CAdoDbConnection(CAdoDbConnection&&) = delete;
    ~CAdoDbConnection();
    CAdoDbConnection& operator=(const CAdoDbConnection&) = delete;
    CAdoDbConnection& operator=(CAdoDbConnection&&) = delete;

    void Close() override;
    IDbTransaction* GetTransaction() override;
    IDbCommand* GetCommand() override;

    void Begin() override;
    void Commit() override;
    void Rollback() override;

    void ExecuteNonQuery(const std::wstring& statement) override;
    IDbReader* ExecuteReader(const std::wstring& statement) override;

private:
    win::ComPtr<IDispatch> connection_;
};

// A reader over an ADO Recordset object.
class CAdoDbReader final : public IDbReader {
public:
    // Opens a forward-only, read-only recordset with the rows that the statement gives on the ADO connection.
    CAdoDbReader(IDispatch* connection, const std::wstring& statement);
    CAdoDbReader(const CAdoDbReader&) = delete;
    CAdoDbReader(CAdoDbReader&&) = delete;
    ~CAdoDbReader();
    CAdoDbReader& operator=(const CAdoDbReader&) = delete;
    CAdoDbReader& operator=(CAdoDbReader&&) = delete;

    bool Read() override;
    void Close() override;
    std::int32_t GetColumnCount() override;
    std::wstring GetColumnName(std::int32_t index) override;
    bool IsNull(std::int32_t index) override;
    std::int32_t GetInt32(std::int32_t index) override;
    std::int64_t GetInt64(std::int32_t index) override;
    double GetDouble(std::int32_t index) override;
    std::wstring GetString(std::int32_t index) override;
    VARIANT GetValue(std::int32_t index) override;

private:
    win::ComPtr<IDispatch> recordset_;
    bool isBeforeFirst_ = true;
};

} // namespace vldb
