#pragma once

#include "win/windows_api.h"

#include <string>

namespace win {

// The local computer's NetBIOS name; empty where Windows does not tell it.
[[nodiscard]] std::wstring LocalComputerName();

// The folder of the running program file with its drive, ending in a backslash. bufferSize is the number of characters
// that the program's path may take, its terminating NUL included; empty when the path does not fit or cannot be split.
[[nodiscard]] std::wstring ProgramFolder(DWORD bufferSize);

} // namespace win
