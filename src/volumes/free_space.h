#pragma once

#include "win/owner.h"

#include <winioctl.h>

#include <cstdint>
#include <string>

// The cluster geometry and free space of volumes. A path is a drive root or a volume GUID path; functions that return a
// number return 0 or a Windows error code. An output may be null where the caller has no use for it; on failure an
// output keeps what it held.

// Sectors per cluster, bytes per sector and the counts of free and of all clusters. Of an NTFS volume the counts are
// told modulo 2^32.
[[nodiscard]] DWORD GetVolumeFreeSpace(const std::wstring& path, std::uint32_t* sectorsPerCluster,
                                       std::uint32_t* bytesPerSector, std::uint64_t* freeClusters,
                                       std::uint64_t* totalClusters);

// Whether the file system is NTFS or CsvFS, which both answer GetNtfsVolumeData.
[[nodiscard]] bool IsNtfsOrCsvVolume(const std::wstring& path);

// The same figures from NTFS itself, the counts of clusters modulo 2^32. The outputs are filled also where closing the
// volume is what failed.
[[nodiscard]] DWORD GetNtfsVolumeData(const std::wstring& path, std::uint32_t* sectorsPerCluster,
                                      std::uint32_t* bytesPerSector, std::uint32_t* freeClusters,
                                      std::uint32_t* totalClusters);

// Opens the volume's device for reading. An empty owner on failure; the thread's last error then says why
// (ERROR_INVALID_DATA for an empty path).
[[nodiscard]] win::FileHandle OpenVolumeHandle(const std::wstring& path);

// Asks NTFS about an open volume. False on failure, with the thread's last error set.
[[nodiscard]] bool QueryNtfsVolumeData(HANDLE volume, NTFS_VOLUME_DATA_BUFFER& data);
