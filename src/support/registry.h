#pragma once

#include "win/owner.h"

#include <cstdint>

// The product's keys. Core and console stand under HKEY_LOCAL_MACHINE, the policy under HKEY_CURRENT_USER.
inline constexpr wchar_t kCoreKey[] = L"Software\\Kestrane\\VLCore\\14.0";
inline constexpr wchar_t kConsoleKey[] = L"Software\\Kestrane\\VLConsole\\14.0";
inline constexpr wchar_t kPolicyKey[] = L"Software\\Policies\\Kestrane\\Velundra\\14.0";

// Typed reads of registry values. Each function returns a Windows error code: ERROR_SUCCESS, what the registry call
// answered, or ERROR_INVALID_DATA (13) for a value of another type or with malformed data.

// Opens a key below one of the predefined keys.
[[nodiscard]] LSTATUS RegOpen(HKEY root, const wchar_t* path, REGSAM access, win::RegistryKey& key) noexcept;

// Reads a REG_DWORD value; the output keeps what it held on failure.
[[nodiscard]] LSTATUS RegReadDword(HKEY key, const wchar_t* name, std::uint32_t& value) noexcept;
