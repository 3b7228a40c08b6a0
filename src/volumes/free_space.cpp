#include "volumes/free_space.h"

#include "volumes/volume_facts.h"
#include "win/system.h"
#include "win/text.h"

namespace {

// The length of a volume GUID path without its closing backslash: "\\?\Volume{", the GUID and "}".
constexpr std::size_t kVolumeNameLength = 48;
constexpr DWORD kSaturatedCount = 0xFFFFFFFF;

template <typename Number, typename Value>
void Fill(Number* output, Value value)
{
    if (output != nullptr) {
        *output = value;
    }
}

struct Geometry {
    DWORD sectorsPerCluster = 0;
    DWORD bytesPerSector = 0;
    std::uint64_t freeClusters = 0;
    std::uint64_t totalClusters = 0;
};

DWORD LastErrorUnless(BOOL succeeded)
{
    return succeeded != FALSE ? ERROR_SUCCESS : GetLastError();
}

DWORD QueryDiskFreeSpace(const std::wstring& path, Geometry& geometry)
{
    DWORD freeClusters = 0;
    DWORD totalClusters = 0;
    const DWORD error = LastErrorUnless(GetDiskFreeSpaceW(path.c_str(), &geometry.sectorsPerCluster,
                                                          &geometry.bytesPerSector, &freeClusters, &totalClusters));
    geometry.freeClusters = freeClusters;
    geometry.totalClusters = totalClusters;
    return error;
}

// Counts the clusters by the bytes that they hold, where there are too many for the 32-bit counts.
DWORD RecountClusters(const std::wstring& path, Geometry& geometry)
{
    ULARGE_INTEGER freeBytes{};
    ULARGE_INTEGER totalBytes{};
    if (GetDiskFreeSpaceExW(path.c_str(), &freeBytes, &totalBytes, nullptr) == FALSE) {
        return GetLastError();
    }
    const std::uint64_t clusterSize = std::uint64_t{geometry.bytesPerSector} * geometry.sectorsPerCluster;
    if (clusterSize != 0) {
        geometry.freeClusters = freeBytes.QuadPart / clusterSize;
        geometry.totalClusters = totalBytes.QuadPart / clusterSize;
    }
    return ERROR_SUCCESS;
}

bool IsWindows2000()
{
    const OSVERSIONINFOEXW version = win::WindowsVersion();
    return version.dwMajorVersion == 5 && version.dwMinorVersion == 0;
}

DWORD QueryGeometry(const std::wstring& path, Geometry& geometry)
{
    if (IsWindows2000()) {
        return QueryDiskFreeSpace(path, geometry);
    }
    if (IsNtfsOrCsvVolume(path)) {
        std::uint32_t sectorsPerCluster = 0;
        std::uint32_t bytesPerSector = 0;
        std::uint32_t freeClusters = 0;
        std::uint32_t totalClusters = 0;
        if (GetNtfsVolumeData(path, &sectorsPerCluster, &bytesPerSector, &freeClusters, &totalClusters) ==
            ERROR_SUCCESS) {
            geometry = {sectorsPerCluster, bytesPerSector, freeClusters, totalClusters};
            return ERROR_SUCCESS;
        }
    }
    if (const DWORD error = QueryDiskFreeSpace(path, geometry); error != ERROR_SUCCESS) {
        return error;
    }
    return geometry.totalClusters == kSaturatedCount ? RecountClusters(path, geometry) : ERROR_SUCCESS;
}

win::FileHandle OpenForReading(const std::wstring& device)
{
    return win::FileHandle(CreateFileW(device.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                       OPEN_EXISTING, 0, nullptr));
}

} // namespace

DWORD GetVolumeFreeSpace(const std::wstring& path, std::uint32_t* sectorsPerCluster, std::uint32_t* bytesPerSector,
                         std::uint64_t* freeClusters, std::uint64_t* totalClusters)
{
    Geometry geometry;
    const DWORD error = QueryGeometry(path, geometry);
    if (error == ERROR_SUCCESS) {
        Fill(sectorsPerCluster, geometry.sectorsPerCluster);
        Fill(bytesPerSector, geometry.bytesPerSector);
        Fill(freeClusters, geometry.freeClusters);
        Fill(totalClusters, geometry.totalClusters);
    }
    return error;
}

bool IsNtfsOrCsvVolume(const std::wstring& path)
{
    const std::optional<std::wstring> name = FileSystemName(path);
    return name && (win::EqualNames(*name, L"CsvFS") || win::EqualNames(*name, L"NTFS"));
}

DWORD GetNtfsVolumeData(const std::wstring& path, std::uint32_t* sectorsPerCluster, std::uint32_t* bytesPerSector,
                        std::uint32_t* freeClusters, std::uint32_t* totalClusters)
{
    win::FileHandle volume = OpenVolumeHandle(path);
    if (!volume) {
        return GetLastError();
    }
    NTFS_VOLUME_DATA_BUFFER data{};
    if (!QueryNtfsVolumeData(volume.Get(), data)) {
        // Read before the volume is closed, which changes the last error.
        return GetLastError();
    }
    const DWORD closed = LastErrorUnless(CloseHandle(volume.Detach()));
    Fill(sectorsPerCluster, data.BytesPerSector == 0 ? 0 : data.BytesPerCluster / data.BytesPerSector);
    Fill(bytesPerSector, data.BytesPerSector);
    Fill(freeClusters, data.FreeClusters.LowPart);
    Fill(totalClusters, data.TotalClusters.LowPart);
    return closed;
}

win::FileHandle OpenVolumeHandle(const std::wstring& path)
{
    if (path.size() >= kVolumeNameLength) {
        return OpenForReading(path.substr(0, kVolumeNameLength));
    }
    if (!path.empty()) {
        return OpenForReading(std::wstring(L"\\\\.\\") + path.front() + L':');
    }
    SetLastError(ERROR_INVALID_DATA);
    return {};
}

bool QueryNtfsVolumeData(HANDLE volume, NTFS_VOLUME_DATA_BUFFER& data)
{
    DWORD returned = 0;
    return DeviceIoControl(volume, FSCTL_GET_NTFS_VOLUME_DATA, nullptr, 0, &data, sizeof data, &returned, nullptr) !=
           FALSE;
}
