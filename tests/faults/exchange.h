#pragma once

#include "function_table.h"

#include <cstddef>
#include <string>

namespace faults {

inline constexpr std::size_t kMostFunctions = 256;
inline constexpr LONG kNoFunction = -1;

// What the loop and the library in the tool's process tell each other, in memory that both see.
struct Exchange {
    // The order: which call, counted from 1, of which function of the table fails in which of its ways.
    LONG function;
    LONG call;
    LONG way;
    // The report.
    LONG happened;
    LONG calls[kMostFunctions];
    LONG kept[kKinds];  // what was handed out and not taken back, for each Kind
    char unknown[1024]; // functions that were looked up by name and are in no table, with blanks between them
};

// The name of the memory for the process of this number.
[[nodiscard]] inline std::wstring ExchangeName(DWORD process)
{
    return L"VLFaults-" + std::to_wstring(process);
}

} // namespace faults
