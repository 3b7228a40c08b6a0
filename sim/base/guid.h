#pragma once

#include "win/windows_api.h"

#include <cstring>

namespace sim {

// A copy of the identifier at this address. The identifiers that a marshaller passes to QueryInterface can lie at
// addresses that are not aligned, so they are copied byte by byte.
[[nodiscard]] inline GUID CopyGuid(const void* address)
{
    GUID copy;
    std::memcpy(&copy, address, sizeof copy);
    return copy;
}

} // namespace sim
