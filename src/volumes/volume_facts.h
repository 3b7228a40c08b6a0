#pragma once

#include "win/windows_api.h"

#include <optional>
#include <string>

// How many characters, the NUL included, the paths and names of volumes take: MAX_PATH and one.
inline constexpr DWORD kVolumeCharacters = 261;

// The volume GUID path, ending in a backslash, of what is mounted at a drive root or in a folder (which end in a
// backslash, too); empty where nothing is.
[[nodiscard]] std::wstring VolumeNameAt(const std::wstring& mountPoint);

// The name of the volume's file system ("NTFS"). The root is a drive root or a volume GUID path and ends in a
// backslash. Nothing where Windows cannot tell; the thread's last error then says why.
[[nodiscard]] std::optional<std::wstring> FileSystemName(const std::wstring& root,
                                                         DWORD bufferCharacters = kVolumeCharacters);
