#pragma once

#include "win/windows_api.h"

namespace sim {

// The HRESULT of a Windows error.
[[nodiscard]] constexpr HRESULT FromWindowsError(DWORD error) noexcept
{
    constexpr DWORD kFailure = 0x80070000;
    return static_cast<HRESULT>(kFailure | error);
}

} // namespace sim
