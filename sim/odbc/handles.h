#pragma once

#include "odbc/odbc_api.h"

#include "win/owner.h"

namespace sim::odbc {

// Handles of the three kinds are the same type; each kind is freed in its own way.
template <SQLSMALLINT Kind>
void FreeHandle(SQLHANDLE handle) noexcept
{
    SQLFreeHandle(Kind, handle);
}

using EnvironmentHandle = win::Owner<SQLHANDLE, FreeHandle<SQL_HANDLE_ENV>>;

// An allocated connection, open or not.
using ConnectionHandle = win::Owner<SQLHANDLE, FreeHandle<SQL_HANDLE_DBC>>;

using StatementHandle = win::Owner<SQLHANDLE, FreeHandle<SQL_HANDLE_STMT>>;

// A transaction that is not ended is taken back first, for a driver refuses to close a connection in the middle of one.
inline void CloseConnection(SQLHANDLE connection) noexcept
{
    SQLEndTran(SQL_HANDLE_DBC, connection, SQL_ROLLBACK);
    SQLDisconnect(connection);
}

// An open connection: it is closed before its handle goes.
using Session = win::Owner<SQLHANDLE, CloseConnection>;

} // namespace sim::odbc
