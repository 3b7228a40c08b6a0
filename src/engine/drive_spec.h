#pragma once

#include <string>
#include <string_view>

// The shape of a word that may name a drive.
enum class DriveSpecKind {
    Unknown = 0,
    DriveLetter = 1, // "C", "C:" or "C:\"
    MountPoint = 2,  // a folder with its drive: "D:\Mounts\Data"
    VolumeGuid = 3,  // "\\?\Volume{...}\", or anything else with "{" and, after it, "}"
};

// A drive word in the form that the engine's drive names are compared with.
struct DriveSpec {
    DriveSpecKind kind = DriveSpecKind::Unknown;
    std::wstring text;
};

// Whether a command-line word names a drive. A word that begins with "/" or "-" never does.
[[nodiscard]] bool IsDriveSpec(std::wstring_view word);

// Turns a drive word as typed into the engine's form: "X:\" in upper case for a drive letter, the folder with a closing
// "\" for a mount point, "\\?\Volume{...}" without one for a volume GUID; empty, and kind Unknown, for any other word.
[[nodiscard]] DriveSpec ConvertDriveSpec(std::wstring_view word);
