#pragma once

#include "odbc/odbc_api.h"

#include "win/owner.h"

namespace sim::odbc {

// Handles of the three kinds are the same type, so that each kind has an owner type of its own.
template <SQLSMALLINT Kind>
struct HandleTraits {
    using Type = SQLHANDLE;
    static Type Null() noexcept { return SQL_NULL_HANDLE; }
    static void Release(Type handle) noexcept { SQLFreeHandle(Kind, handle); }
};

using EnvironmentHandle = win::Owner<HandleTraits<SQL_HANDLE_ENV>>;

// An allocated connection, open or not.
using ConnectionHandle = win::Owner<HandleTraits<SQL_HANDLE_DBC>>;

using StatementHandle = win::Owner<HandleTraits<SQL_HANDLE_STMT>>;

// An open connection: it is closed before its handle goes. A transaction that is not ended is taken back, for a driver
// refuses to close a connection in the middle of one.
struct SessionTraits {
    using Type = SQLHANDLE;
    static Type Null() noexcept { return SQL_NULL_HANDLE; }
    static void Release(Type connection) noexcept
    {
        SQLEndTran(SQL_HANDLE_DBC, connection, SQL_ROLLBACK);
        SQLDisconnect(connection);
    }
};

using Session = win::Owner<SessionTraits>;

} // namespace sim::odbc
