#pragma once

#include "win/windows_api.h"

#include <cstdint>

namespace win {

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
