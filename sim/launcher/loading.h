#pragma once

#include "win/windows_api.h"

#include <string>

// Loads a library into another process, whose threads have not run yet, and waits until that is done. Answers 0 or a
// Windows error; ERROR_DLL_INIT_FAILED where the library refuses.
[[nodiscard]] DWORD LoadLibraryInto(HANDLE process, const std::wstring& library);
