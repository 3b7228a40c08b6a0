#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sim::odbc {

// The connection string for ODBC of one in ADO's form, "Provider=MSDASQL;Driver={SQLite3};Database=Z:\data\a.db".
// The words that are ADO's own become ODBC's ("User ID" UID, "Password" PWD, "Data Source" DSN, "Initial Catalog"
// Database, the content of "Extended Properties" stands for itself) or go; the others pass. The user and the password
// stand for those of the string where they are not empty. A database file that is named by a Windows path is named by
// its Unix path, as the driver behind Wine's ODBC is a Unix library. Nothing where the provider is another than
// MSDASQL, which is also the one that ADO takes where none is named.
[[nodiscard]] std::optional<std::wstring> ToOdbcConnectionString(std::wstring_view text, std::wstring_view user = {},
                                                                 std::wstring_view password = {});

} // namespace sim::odbc
