#pragma once

#include "support/file_system_section.h"

#include "support/described_volumes.h"
#include "support/product_test.h"
#include "support/scratch_folder.h"

#include <filesystem>
#include <string>
#include <vector>

namespace testing_support::file_systems {

class FileSystems : public ProductTest {
protected:
    // A volume of 4,096 bytes to the cluster, whose file system is not NTFS.
    DescribedVolume& AddFat(const std::vector<std::wstring>& mountedAt, DWORD total = 262144, DWORD free = 65536)
    {
        DescribedVolume& volume = windows.Add(mountedAt);
        volume.fileSystem = L"FAT32";
        volume.totalClusters = total;
        volume.freeClusters = free;
        return volume;
    }

    DescribedVolume& AddNtfs(const std::vector<std::wstring>& mountedAt, std::uint64_t mftBytes = 402653184)
    {
        DescribedVolume& volume = windows.Add(mountedAt);
        volume.ntfs.BytesPerSector = 512;
        volume.ntfs.BytesPerCluster = 4096;
        volume.ntfs.TotalClusters.QuadPart = 31196415;
        volume.ntfs.FreeClusters.QuadPart = 12845056;
        volume.ntfs.MftValidDataLength.QuadPart = static_cast<LONGLONG>(mftBytes);
        volume.ntfs.MftZoneStart.QuadPart = 786432;
        volume.ntfs.MftZoneEnd.QuadPart = 911360;
        return volume;
    }

    // The volume's name as the report tells it.
    static std::wstring NameOf(unsigned number)
    {
        std::wstring name = VolumeNameOf(number);
        name.pop_back();
        return name;
    }

    static std::wstring SectionWith(const std::wstring& lines)
    {
        return L"FILE SYSTEM INFORMATION\n" + lines + L"\n\n";
    }

    // What the volume's lines begin with.
    static std::wstring Heading(unsigned number, const std::wstring& mountPath)
    {
        return L"\n* Volume: " + mountPath + L"\n - Volume GUID: " + NameOf(number) + L"\n";
    }

    // The lines of a volume that AddFat describes.
    static std::wstring FatLines(unsigned number, const std::wstring& mountPath)
    {
        return Heading(number, mountPath) + L" - File System: FAT32\n" + kFatClusters;
    }

    static constexpr wchar_t kFatClusters[] = L" - Bytes Per Cluster: 4096\n"
                                              L" - Total Clusters:    262144   1 GB\n"
                                              L" - Free Clusters:    65536   256 MB\n"
                                              L" - Used Clusters:    196608   768 MB\n";
    static constexpr wchar_t kNtfsClusters[] = L" - Bytes Per Cluster: 4096\n"
                                               L" - Total Clusters:    31196415   119 GB\n"
                                               L" - Free Clusters:    12845056   49 GB\n"
                                               L" - Used Clusters:    18351359   70 GB\n";

    DescribedVolumes windows;
};

// Makes the section's own question about the file system fail.
class FailingFileSystemName {
public:
    explicit FailingFileSystemName(DWORD error)
        : information_([this, error](LPCWSTR root, LPWSTR label, DWORD labelLength, LPDWORD serial, LPDWORD longest,
                                     LPDWORD flags, LPWSTR name, DWORD length) {
              if (length != 513) {
                  return information_.Original(root, label, labelLength, serial, longest, flags, name, length);
              }
              SetLastError(error);
              return FALSE;
          })
    {}

private:
    Replaced<"GetVolumeInformationW", decltype(::GetVolumeInformationW)> information_;
};

// A volume that is mounted in a folder that is really there.
class BootIni : public FileSystems {
protected:
    BootIni()
    {
        AddFat({L"C:\\"}).driveType = DRIVE_CDROM; // so that the report passes it over
        AddFat({folder.Path() + L'\\'});
    }
    void TearDown() override
    {
        std::filesystem::current_path(before);
        FileSystems::TearDown();
    }

    // What the section says behind the volume's lines.
    [[nodiscard]] std::wstring Lines() const
    {
        const std::wstring section = GetFileSystemSection();
        const std::wstring beginning = L"FILE SYSTEM INFORMATION\n" + FatLines(2, folder.Path() + L'\\');
        EXPECT_TRUE(section.starts_with(beginning)) << section;
        EXPECT_TRUE(section.ends_with(L"\n\n"));
        return section.substr(beginning.size(), section.size() - beginning.size() - 2);
    }

    std::filesystem::path before = std::filesystem::current_path();
    ScratchFolder folder;
};

} // namespace testing_support::file_systems
