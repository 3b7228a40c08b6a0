#pragma once

#include "win/windows_api.h"

#include <vlengine.h>

// Class of the drive manager's server, {0C5E92B1-7F3A-4D68-B2C4-9A81E6F05D17}.
[[nodiscard]] inline const CLSID& AgentClass() noexcept
{
    return __uuidof(VLAgent);
}

// Class of the service's server, {3B7E1A90-5D24-4C6B-A8F3-0E9D27C4B615}.
[[nodiscard]] inline const CLSID& ServiceClass() noexcept
{
    return __uuidof(VLService);
}
