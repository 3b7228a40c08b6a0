#pragma once

#include "win/windows_api.h"

#include <cstdint>

namespace win {

// The HRESULT of a Windows error number, by the rule of HRESULT_FROM_WIN32: 0 and below (already an HRESULT) unchanged,
// otherwise (error & 0xFFFF) | 0x80070000.
[[nodiscard]] constexpr HRESULT HResultFromWin32(std::int32_t error) noexcept
{
    constexpr std::uint32_t kWin32Failure = 0x80070000;
    return error <= 0 ? error : static_cast<HRESULT>((static_cast<std::uint32_t>(error) & 0xFFFFU) | kWin32Failure);
}

// The low 16 bits of an HRESULT, which for a Windows error wrapped in one is that error number again.
[[nodiscard]] constexpr std::uint32_t CodeOf(HRESULT result) noexcept
{
    return static_cast<std::uint32_t>(result) & 0xFFFFU;
}

// The HRESULT as a 32-bit result code, all bits kept.
[[nodiscard]] constexpr std::uint32_t ResultOf(HRESULT result) noexcept
{
    return static_cast<std::uint32_t>(result);
}

// The result of a call that hands out an interface: a success that hands out none counts as E_POINTER.
[[nodiscard]] constexpr HRESULT RequireInterface(HRESULT result, const void* pointer) noexcept
{
    return SUCCEEDED(result) && pointer == nullptr ? E_POINTER : result;
}

} // namespace win
