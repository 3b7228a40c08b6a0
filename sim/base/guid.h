#pragma once

#include "win/windows_api.h"

#include <cstring>

namespace sim {

// A copy of the identifier at this address. Marshallers hand QueryInterface identifiers out of packed tables, where
// they lie on odd places; only byte by byte may they be read from there.
[[nodiscard]] inline GUID CopyGuid(const void* address)
{
    GUID copy;
    std::memcpy(&copy, address, sizeof copy);
    return copy;
}

} // namespace sim
