#pragma once

// ODBC as this project calls it: the functions that take bytes. The driver manager hands those to a driver as they
// are, and the drivers used here take UTF-8. Its functions for UTF-16 are not safe: where a
// text has a character that the driver's encoding lacks, such as one beyond the first 65,536, they cut off the upper
// half of every character, which can turn a letter into a quotation mark.

#include "win/windows_api.h"

#define SQL_NOUNICODEMAP
#include <sql.h>
#include <sqlext.h>
