#pragma once

#include <string_view>

namespace win {

// Whether a process runs whose program file has this name (without folder), whatever its case. Processes that may not
// be looked into, and a list that cannot be had, count as not running.
[[nodiscard]] bool IsProcessRunning(std::wstring_view programName);

} // namespace win
