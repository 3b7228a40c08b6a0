#pragma once

#include "odbc/odbc.h"

#include "win/windows_api.h"

namespace sim::ado {

// Puts a value of a row into an empty VARIANT, in the type that ADO gives it: NULL VT_NULL, text VT_BSTR, integers
// VT_I4 and VT_I8, double VT_R8, date VT_DATE, decimal VT_DECIMAL, boolean VT_BOOL, bytes an array of VT_UI1. Answers
// E_OUTOFMEMORY, or what Automation says of a decimal that it cannot hold.
[[nodiscard]] HRESULT PutValue(const odbc::Value& value, VARIANT* place);

} // namespace sim::ado
