#pragma once

#include <cstdint>

namespace sim::ado {

// What the property State of a connection and of a recordset tells.
constexpr std::int32_t kStateClosed = 0;
constexpr std::int32_t kStateOpen = 1;

} // namespace sim::ado
