#pragma once

// ODBC as this project calls it: the functions that take bytes. The driver manager hands those to a driver as they
// are, and the drivers used here take UTF-8. What it does with UTF-16 is not to be trusted with a statement: a text
// that does not fit the driver's encoding as a whole, such as one beyond the first 65,536 characters, goes through
// with the upper half of every character cut off, which can make a quotation mark of a letter.

#include "win/windows_api.h"

#define SQL_NOUNICODEMAP
#include <sql.h>
#include <sqlext.h>
