#pragma once

#include "win/windows_api.h"

#include <string>
#include <string_view>

namespace win {

// The local computer's NetBIOS name; empty where Windows does not tell it.
[[nodiscard]] std::wstring LocalComputerName();

// The folder of the running program file with its drive, ending in a backslash. bufferSize is the number of characters
// that the program's path may take, its terminating NUL included; empty when the path does not fit.
[[nodiscard]] std::wstring ProgramFolder(DWORD bufferSize);

// The folder of a path with its drive, up to the last separator ("\\" or "/"); the drive alone, or nothing, where the
// path names no folder.
[[nodiscard]] std::wstring FolderOf(const std::wstring& path);

// A file in a folder. The folder may be empty, which gives the bare name, and may end in a backslash or not.
[[nodiscard]] std::wstring JoinPath(std::wstring_view folder, std::wstring_view name);

// The path from its drive on: a bare name is one in the current directory. Empty where Windows cannot tell.
[[nodiscard]] std::wstring FullPath(const std::wstring& path);

// What GetVersionExW tells, service pack, product type and suites included; all zero where it fails. From Windows 8.1
// on it tells an older version to a program whose manifest does not name the newer one.
[[nodiscard]] OSVERSIONINFOEXW WindowsVersion() noexcept;

} // namespace win
