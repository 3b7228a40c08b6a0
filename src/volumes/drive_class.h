#pragma once

#include "win/windows_api.h"

#include <winioctl.h>

#include <initializer_list>
#include <string>

// What kind of drive a volume lies on, and whether the product would optimise it. A volume is named by its root path, a
// drive root or a volume GUID path, which ends in a backslash. None of these fails: where Windows gives no answer, the
// answer is false.

// Whether the letter's DOS device is a floppy drive.
[[nodiscard]] bool IsFloppyDrive(wchar_t letter);

// Whether the volume has a file system that the product can optimise: FAT of any kind, NTFS, CsvFS, ReFS, exFAT or
// KestraneFS.
[[nodiscard]] bool IsSupportedFileSystem(const std::wstring& root);

// Whether the volume's device is attached to one of the buses.
[[nodiscard]] bool IsVolumeOnBus(const std::wstring& volume, std::initializer_list<STORAGE_BUS_TYPE> buses);

// The setting that makes removable disks on any bus eligible. It is on where its REG_DWORD value is there, whatever
// number that holds.
[[nodiscard]] bool ShowAllOtherRemovableDrives();

// Whether the product would optimise the volume: any fixed disk, and a removable disk on a known bus or, by the
// setting, on any. The two values are the answers for a fixed disk on an external bus and for a removable disk on a
// known one.
[[nodiscard]] bool IsEligibleVolume(const std::wstring& root, bool fixedExternal, bool removableKnownBus);
