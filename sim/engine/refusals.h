#pragma once

#include "base/results.h"

namespace sim {

// The results with which the engine refuses; docs/simulator.md lists them.
constexpr HRESULT kUnknownDrive = FromWindowsError(ERROR_FILE_NOT_FOUND);
constexpr HRESULT kUnknownVolume = FromWindowsError(ERROR_PATH_NOT_FOUND);
constexpr HRESULT kUnknownFile = FromWindowsError(ERROR_FILE_NOT_FOUND);
constexpr HRESULT kUnknownSchedule = FromWindowsError(ERROR_FILE_NOT_FOUND);
constexpr HRESULT kDriveInUse = FromWindowsError(ERROR_NOT_READY);
constexpr HRESULT kNotScheduled = FromWindowsError(ERROR_NOT_FOUND);
constexpr HRESULT kNoSuchValue = FromWindowsError(ERROR_NOT_FOUND);

} // namespace sim
