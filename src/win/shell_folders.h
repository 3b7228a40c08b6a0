#pragma once

#include "win/windows_api.h"

#include <string>

namespace win {

// The first call of one of these functions loads the shell's library, which then stays: a run that needs no folder of
// the shell's does not pay for it.

// The folder of all users' application data, created where it is missing, without a closing backslash; empty where
// Windows does not tell it.
[[nodiscard]] std::wstring CommonApplicationDataFolder();

// Makes a folder and all folders above it that are missing. Returns 0 or the Windows error; ERROR_BAD_PATHNAME for a
// path that is not a full one.
[[nodiscard]] DWORD CreateFolders(const std::wstring& path);

} // namespace win
