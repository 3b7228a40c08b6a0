#include "support/file_system_section.h"

#include "volumes/free_space.h"
#include "volumes/string_array.h"
#include "volumes/volume_facts.h"
#include "volumes/volume_list.h"
#include "win/owner.h"
#include "win/system.h"
#include "win/text.h"

#include <cmath>
#include <cstdint>
#include <cwchar>
#include <iterator>

namespace {

constexpr DWORD kFileSystemNameCharacters = 513;
constexpr DWORD kBootIniBytes = 1024;

struct SizeUnit {
    double bytes;
    const wchar_t* text;
};

// From the largest on; the last one takes what is left.
constexpr SizeUnit kSizeUnits[] = {
    {0x1p80, L" YB"}, {0x1p70, L" ZB"}, {0x1p60, L" EB"}, {0x1p50, L" PB"}, {0x1p40, L" TB"},
    {0x1p30, L" GB"}, {0x1p20, L" MB"}, {0x1p10, L" KB"}, {1, L" B"},
};

// Half a hundredth and more is rounded up.
double RoundToHundredths(double value)
{
    double whole = 0;
    const double fraction = std::modf(value * 100, &whole);
    return (fraction >= 0.5 ? whole + 1 : whole) / 100;
}

// The last error of a failed query, as the section says it.
std::wstring Failure(const wchar_t* what, const std::wstring& mountPath)
{
    const DWORD error = GetLastError();
    return std::wstring(L" - Failed to get ") + what + L" information of drive " + mountPath + L" (" +
           std::to_wstring(error) + L")\n";
}

std::wstring ClusterLine(const wchar_t* label, std::uint64_t clusters, std::uint64_t bytesPerCluster)
{
    return label + std::to_wstring(clusters) + L"   " +
           GetSizeText(static_cast<double>(clusters) * static_cast<double>(bytesPerCluster)) + L'\n';
}

// The lines about the volume's clusters; bytesPerCluster becomes 0 where Windows does not tell them.
std::wstring DescribeClusters(const std::wstring& root, const std::wstring& mountPath, std::uint64_t& bytesPerCluster)
{
    std::uint32_t sectorsPerCluster = 0;
    std::uint32_t bytesPerSector = 0;
    std::uint64_t freeClusters = 0;
    std::uint64_t totalClusters = 0;
    bytesPerCluster = 0;
    if (GetVolumeFreeSpace(root, &sectorsPerCluster, &bytesPerSector, &freeClusters, &totalClusters) != ERROR_SUCCESS) {
        return Failure(L"freespace", mountPath);
    }
    bytesPerCluster = std::uint64_t{sectorsPerCluster} * bytesPerSector;
    return L" - Bytes Per Cluster: " + std::to_wstring(bytesPerCluster) + L'\n' +
           ClusterLine(L" - Total Clusters:    ", totalClusters, bytesPerCluster) +
           ClusterLine(L" - Free Clusters:    ", freeClusters, bytesPerCluster) +
           ClusterLine(L" - Used Clusters:    ", totalClusters - freeClusters, bytesPerCluster);
}

// The lines about the master file table; none where NTFS does not answer.
std::wstring DescribeMasterFileTable(const std::wstring& volume, std::uint64_t bytesPerCluster)
{
    const win::FileHandle device(CreateFileW(volume.c_str(), GENERIC_READ | GENERIC_WRITE,
                                             FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
    NTFS_VOLUME_DATA_BUFFER data{};
    if (!device || !QueryNtfsVolumeData(device.Get(), data)) {
        return {};
    }
    std::wstring text;
    if (const auto size = static_cast<double>(data.MftValidDataLength.QuadPart); bytesPerCluster != 0) {
        const auto clusters = static_cast<std::uint64_t>(size / static_cast<double>(bytesPerCluster));
        text = L" - MFT Clusters:     " + std::to_wstring(clusters) + L"        " + GetSizeText(size);
    } else {
        text = L" - MFT Size (Bytes): " + std::to_wstring(data.MftValidDataLength.QuadPart);
    }
    return text + L"\n - MFT Zone Start: " + std::to_wstring(data.MftZoneStart.QuadPart) + L"\n - MFT Zone End:   " +
           std::to_wstring(data.MftZoneEnd.QuadPart) + L'\n';
}

// The beginning of the volume's boot.ini; nothing where there is none or where it cannot be read.
std::wstring DescribeBootIni(const std::wstring& mountPath)
{
    const win::FileHandle file(CreateFileW(win::JoinPath(mountPath, L"boot.ini").c_str(), GENERIC_READ, 0, nullptr,
                                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        return {};
    }
    unsigned char bytes[kBootIniBytes] = {};
    DWORD count = 0;
    if (ReadFile(file.Get(), bytes, kBootIniBytes, &count, nullptr) == FALSE) {
        return {};
    }
    return L"\n - Boot.ini information: " + std::wstring(bytes, bytes + count) + L'\n';
}

std::wstring DescribeVolume(const std::wstring& volume)
{
    const std::wstring root = volume + L'\\';
    std::wstring mountPath;
    FindVolumeMountPath(root, mountPath);
    std::wstring text = L"\n* Volume: " + mountPath + L"\n - Volume GUID: " + volume + L'\n';

    const std::optional<std::wstring> fileSystem = FileSystemName(root, kFileSystemNameCharacters);
    text += fileSystem ? L" - File System: " + *fileSystem + L'\n' : Failure(L"volume", mountPath);

    std::uint64_t bytesPerCluster = 0;
    text += DescribeClusters(root, mountPath, bytesPerCluster);
    if (fileSystem && win::EqualNames(*fileSystem, L"NTFS")) {
        text += DescribeMasterFileTable(volume, bytesPerCluster);
    }
    return text + DescribeBootIni(mountPath);
}

} // namespace

std::wstring GetFileSystemSection()
{
    std::wstring text = L"FILE SYSTEM INFORMATION\n";
    win::Variant eligible;
    win::Variant other;
    EnumerateLocalVolumes(1, 1, eligible, other);
    for (const std::wstring& volume : ToStringList(eligible)) {
        text += DescribeVolume(volume);
    }
    return text + L"\n\n";
}

std::wstring GetSizeText(double bytes)
{
    const SizeUnit* unit = std::begin(kSizeUnits);
    while (unit + 1 != std::end(kSizeUnits) && bytes < unit->bytes) {
        ++unit;
    }
    // As a stream writes a number: six digits that count, no zeros at the end.
    wchar_t number[32] = {};
    swprintf(number, std::size(number), L"%g", RoundToHundredths(bytes / unit->bytes));
    return std::wstring(number) + unit->text;
}
