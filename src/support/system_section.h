#pragma once

#include "win/windows_api.h"

#include <string>

// What GetVersionExW tells about Windows, and whether it is a 64-bit one.
struct WindowsRecord {
    OSVERSIONINFOEXW version;
    bool is64Bit;
};

// Computer name, Windows, processor, memory and page files.
[[nodiscard]] std::wstring GetSystemInformationSection();

// A line with the BIOS date; an empty line where the registry does not tell it.
[[nodiscard]] std::wstring GetBiosDateSection();

// The edition with " 64-bit" or " 32-bit" behind it, as it was known before the registry told a product's name; empty
// for a version that came later.
[[nodiscard]] std::wstring GetWindowsEditionName(const WindowsRecord& windows);

// Whether this is a 32-bit program on a 64-bit Windows; false where Windows cannot tell (IsWow64Process is missing
// before Windows XP SP2).
[[nodiscard]] bool IsRunningUnderWow64() noexcept;
