#pragma once

#include "win/windows_api.h"

#include <cstdint>
#include <optional>

// The 32-bit result of an operation, which becomes the exit code: 0, a Windows error number, the low 16 bits of a
// failing HRESULT, a failing HRESULT whole, or one of the tool's own codes below.
using Result = std::uint32_t;

inline constexpr Result kSuccess = 0;

// How a step or an operation failed: nothing when it succeeded, else the result that tells of the failure. That result
// may be 0, because the low 16 bits of a failing HRESULT may be 0; so it never decides whether to go on.
using Failure = std::optional<Result>;

// An engine call failed after the rights check.
inline constexpr Result kEngineCallFailed = 0x20000001;
// Connecting to the engine failed.
inline constexpr Result kConnectionFailed = 0x20000002;
// Refused by policy or by the engine's rights check.
inline constexpr Result kNotPermitted = 0x20000004;
// An offline pass was scheduled for the next boot instead of run.
inline constexpr Result kScheduledForBoot = 0x20000005;
// A volume or drive could not be matched; also a command line that cannot be parsed.
inline constexpr Result kNotMatched = ERROR_INVALID_DATA;
// Bad or missing command data.
inline constexpr Result kBadCommandData = ERROR_INVALID_PARAMETER;
// Memory ran out.
inline constexpr Result kOutOfMemory = ERROR_OUTOFMEMORY;
