#pragma once

#include "win/windows_api.h"

#include <string>

// An automation date (days since 30 December 1899, the fraction being the time of day) as the system's default locale
// writes it: the date, a blank, the time. It is shown as it stands, in no other time zone. Empty for a number that is
// no date.
[[nodiscard]] std::wstring FormatDate(DATE date);
