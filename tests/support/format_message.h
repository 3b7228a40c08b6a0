#pragma once

#include "win/windows_api.h"

namespace testing_support {

// FormatMessageW, whose own type carries an attribute that a template argument cannot.
using FormatMessageFunction = DWORD WINAPI(DWORD, LPCVOID, DWORD, DWORD, LPWSTR, DWORD, char**);

} // namespace testing_support
