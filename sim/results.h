#pragma once

#include "win/windows_api.h"

namespace sim {

// The HRESULT of a Windows error.
[[nodiscard]] constexpr HRESULT FromWindowsError(DWORD error) noexcept
{
    constexpr DWORD kFailure = 0x80070000;
    return static_cast<HRESULT>(kFailure | error);
}

// With what the engine refuses; docs/simulator.md lists them.
constexpr HRESULT kUnknownDrive = FromWindowsError(ERROR_FILE_NOT_FOUND);
constexpr HRESULT kUnknownVolume = FromWindowsError(ERROR_PATH_NOT_FOUND);
constexpr HRESULT kUnknownFile = FromWindowsError(ERROR_FILE_NOT_FOUND);
constexpr HRESULT kUnknownSchedule = FromWindowsError(ERROR_FILE_NOT_FOUND);
constexpr HRESULT kDriveInUse = FromWindowsError(ERROR_NOT_READY);
constexpr HRESULT kNotScheduled = FromWindowsError(ERROR_NOT_FOUND);
constexpr HRESULT kNoSuchValue = FromWindowsError(ERROR_NOT_FOUND);

} // namespace sim
