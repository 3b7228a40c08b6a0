#include "support/file_system_section.h"

#include "file_systems.h"
#include "support/described_volumes.h"
#include "support/failing_allocations.h"

#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace testing_support;
using namespace testing_support::file_systems;

// --- Sizes ---

struct SizeCase {
    double bytes;
    const wchar_t* text;
};

constexpr SizeCase kSizeCases[] = {
    {0, L"0 B"},
    {1, L"1 B"},
    {0.25, L"0.25 B"},
    {1023, L"1023 B"},
    {1023.5, L"1023.5 B"},
    // The unit is that which the bytes reach, and the rounding comes after it is chosen.
    {1024, L"1 KB"},
    {1025, L"1 KB"},
    {1536, L"1.5 KB"},
    {1048575, L"1024 KB"},
    {0x1p20, L"1 MB"},
    {0x1p20 * 1.5, L"1.5 MB"},
    {0x1p30 - 1, L"1024 MB"},
    {0x1p30, L"1 GB"},
    {0x1p30 * 931.51, L"931.51 GB"},
    {0x1p40 - 1, L"1024 GB"},
    {0x1p40, L"1 TB"},
    {0x1p40 * 12, L"12 TB"},
    {0x1p50 - 1, L"1024 TB"},
    {0x1p50, L"1 PB"},
    {0x1p50 * 1.25, L"1.25 PB"},
    {0x1p60 - 0x1p10, L"1024 PB"},
    {0x1p60, L"1 EB"},
    {0x1p60 * 15.9, L"15.9 EB"},
    {0x1p70 - 0x1p20, L"1024 EB"},
    {0x1p70, L"1 ZB"},
    {0x1p70 * 512, L"512 ZB"},
    {0x1p80 - 0x1p30, L"1024 ZB"},
    {0x1p80, L"1 YB"},
    {0x1p80 * 2.75, L"2.75 YB"},
    // There is no larger unit.
    {0x1p90, L"1024 YB"},
    // Two decimals; from half a hundredth on upwards, also where the digit before it is even.
    {1029, L"1 KB"},
    {1030, L"1.01 KB"},
    {1152, L"1.13 KB"},
    {1408, L"1.38 KB"},
    {1664, L"1.63 KB"},
    {1151, L"1.12 KB"},
    {2047, L"2 KB"},
    // Six digits that count.
    {1024 * 1000.25, L"1000.25 KB"},
    {0x1p80 * 12345.678, L"12345.7 YB"},
    {0x1p80 * 999999, L"999999 YB"},
    {0x1p80 * 1000000, L"1e+06 YB"},
};

TEST(SizeText, HasTheLargestUnitThatTheBytesReachAndTwoDecimals)
{
    for (const SizeCase& expected : kSizeCases) {
        EXPECT_EQ(expected.text, GetSizeText(expected.bytes)) << expected.bytes;
    }
}

// --- The section ---

TEST_F(FileSystems, AreToldOfEachVolumeInWindowsOrder)
{
    AddNtfs({L"C:\\"});
    AddFat({L"F:\\"});
    DescribedVolume& folder = AddNtfs({L"C:\\Mounts\\Data\\"}, 134217728);
    folder.ntfs.BytesPerCluster = 8192;
    folder.ntfs.TotalClusters.QuadPart = 122094655;
    folder.ntfs.FreeClusters.QuadPart = 30523648;
    folder.ntfs.MftZoneStart.QuadPart = 393216;
    folder.ntfs.MftZoneEnd.QuadPart = 409600;
    EXPECT_EQ(L"FILE SYSTEM INFORMATION\n"
              L"\n"
              L"* Volume: C:\\\n"
              L" - Volume GUID: \\\\?\\Volume{00000001-aBcD-11ee-8c99-0242ac120002}\n"
              L" - File System: NTFS\n"
              L" - Bytes Per Cluster: 4096\n"
              L" - Total Clusters:    31196415   119 GB\n"
              L" - Free Clusters:    12845056   49 GB\n"
              L" - Used Clusters:    18351359   70 GB\n"
              L" - MFT Clusters:     98304        384 MB\n"
              L" - MFT Zone Start: 786432\n"
              L" - MFT Zone End:   911360\n"
              L"\n"
              L"* Volume: F:\\\n"
              L" - Volume GUID: \\\\?\\Volume{00000002-aBcD-11ee-8c99-0242ac120002}\n"
              L" - File System: FAT32\n"
              L" - Bytes Per Cluster: 4096\n"
              L" - Total Clusters:    262144   1 GB\n"
              L" - Free Clusters:    65536   256 MB\n"
              L" - Used Clusters:    196608   768 MB\n"
              L"\n"
              L"* Volume: C:\\Mounts\\Data\\\n"
              L" - Volume GUID: \\\\?\\Volume{00000003-aBcD-11ee-8c99-0242ac120002}\n"
              L" - File System: NTFS\n"
              L" - Bytes Per Cluster: 8192\n"
              L" - Total Clusters:    122094655   931.51 GB\n"
              L" - Free Clusters:    30523648   232.88 GB\n"
              L" - Used Clusters:    91571007   698.63 GB\n"
              L" - MFT Clusters:     16384        128 MB\n"
              L" - MFT Zone Start: 393216\n"
              L" - MFT Zone End:   409600\n"
              L"\n"
              L"\n",
              GetFileSystemSection());
}

TEST_F(FileSystems, AreNoneWithoutVolumes)
{
    EXPECT_EQ(L"FILE SYSTEM INFORMATION\n\n\n", GetFileSystemSection());
}

TEST_F(FileSystems, AreNoneWhereWindowsListsNone)
{
    AddFat({L"F:\\"});
    const Replaced<"FindFirstVolumeW", decltype(::FindFirstVolumeW)> findFirst([](LPWSTR, DWORD) -> HANDLE {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    });
    EXPECT_EQ(L"FILE SYSTEM INFORMATION\n\n\n", GetFileSystemSection());
}

TEST_F(FileSystems, AreThoseThatTheProductTreatsAlone)
{
    AddFat({L"G:\\"}).driveType = DRIVE_CDROM;
    AddFat({L"F:\\"});
    AddFat({L"N:\\"}).driveType = DRIVE_REMOTE;
    AddFat({L"H:\\"}).fileSystem = L"UDF";
    EXPECT_EQ(SectionWith(FatLines(2, L"F:\\")), GetFileSystemSection());
}

TEST_F(FileSystems, TakeFixedDisksOnExternalBusesAndRemovableOnesOnKnownBuses)
{
    AddFat({L"F:\\"}).bus = BusTypeUsb;
    DescribedVolume& removable = AddFat({L"G:\\"});
    removable.driveType = DRIVE_REMOVABLE;
    removable.bus = BusTypeUsb;
    EXPECT_EQ(SectionWith(FatLines(1, L"F:\\") + FatLines(2, L"G:\\")), GetFileSystemSection());
}

TEST_F(FileSystems, OfAVolumeThatIsMountedNowhereHaveNoPath)
{
    AddFat({});
    EXPECT_EQ(SectionWith(L"\n* Volume: \n - Volume GUID: " + NameOf(1) + L"\n - File System: FAT32\n" + kFatClusters),
              GetFileSystemSection());
}

TEST_F(FileSystems, AreAskedOfTheVolumesRootAndItsDevice)
{
    AddNtfs({L"C:\\"});
    std::vector<std::wstring> roots;
    const Replaced<"GetVolumeInformationW", decltype(::GetVolumeInformationW)> information(
        [&](LPCWSTR root, LPWSTR label, DWORD labelLength, LPDWORD serial, LPDWORD longest, LPDWORD flags, LPWSTR name,
            DWORD length) {
            if (length == 513) {
                roots.emplace_back(root);
            }
            return information.Original(root, label, labelLength, serial, longest, flags, name, length);
        });
    static_cast<void>(GetFileSystemSection());
    EXPECT_EQ(std::vector<std::wstring>{VolumeNameOf(1)}, roots);
    ASSERT_FALSE(windows.opened.empty());
    // Last of all comes what is asked about the master file table.
    EXPECT_EQ(NameOf(1), windows.opened.back().path);
    EXPECT_EQ(GENERIC_READ | GENERIC_WRITE, windows.opened.back().access);
}

// --- The name of the file system ---

TEST_F(FileSystems, AreNamedAsWindowsNamesThem)
{
    for (const wchar_t* const name : {L"FAT", L"exFAT", L"ReFS", L"KestraneFS", L"FAT of another kind"}) {
        windows.volumes.clear();
        AddFat({L"F:\\"}).fileSystem = name;
        EXPECT_EQ(SectionWith(Heading(1, L"F:\\") + L" - File System: " + name + L"\n" + kFatClusters),
                  GetFileSystemSection());
    }
}

TEST_F(FileSystems, GoOnWithTheClustersWhereTheNameCannotBeHad)
{
    AddFat({L"F:\\"});
    AddFat({});
    const FailingFileSystemName failing(1005);
    EXPECT_EQ(SectionWith(Heading(1, L"F:\\") + L" - Failed to get volume information of drive F:\\ (1005)\n" +
                          kFatClusters + Heading(2, L"") + L" - Failed to get volume information of drive  (1005)\n" +
                          kFatClusters),
              GetFileSystemSection());
}

TEST_F(FileSystems, HaveNoMasterFileTableWhereTheNameCannotBeHad)
{
    AddNtfs({L"C:\\"});
    const FailingFileSystemName failing(4294967295);
    EXPECT_EQ(SectionWith(Heading(1, L"C:\\") + L" - Failed to get volume information of drive C:\\ (4294967295)\n" +
                          kNtfsClusters),
              GetFileSystemSection());
}

// --- Clusters ---

TEST_F(FileSystems, CountClustersOfAnySize)
{
    DescribedVolume& volume = AddFat({L"F:\\"}, 0xFFFFFFFE, 1);
    volume.sectorsPerCluster = 0xFFFFFFFF;
    volume.bytesPerSector = 4096;
    // The product of the two takes more than 32 bits: 17,592,186,040,320.
    EXPECT_EQ(SectionWith(Heading(1, L"F:\\") + L" - File System: FAT32\n"
                                                L" - Bytes Per Cluster: 17592186040320\n"
                                                L" - Total Clusters:    4294967294   64 ZB\n"
                                                L" - Free Clusters:    1   16 TB\n"
                                                L" - Used Clusters:    4294967293   64 ZB\n"),
              GetFileSystemSection());
}

TEST_F(FileSystems, CountMoreClustersThan32BitsTake)
{
    DescribedVolume& volume = AddFat({L"F:\\"}, 0xFFFFFFFF, 0xFFFFFFFF);
    volume.totalBytes = 0x0004000000000000;       // 2^50
    volume.callersFreeBytes = 0x0001000000000000; // 2^48
    EXPECT_EQ(SectionWith(Heading(1, L"F:\\") + L" - File System: FAT32\n"
                                                L" - Bytes Per Cluster: 4096\n"
                                                L" - Total Clusters:    274877906944   1 PB\n"
                                                L" - Free Clusters:    68719476736   256 TB\n"
                                                L" - Used Clusters:    206158430208   768 TB\n"),
              GetFileSystemSection());
}

// NTFS' counts keep their low 32 bits: of 2^32 + 1000 clusters 1000 are told, fewer than the 2000 that are free. What
// is used is the difference of the two in 64 bits, which has no sign.
TEST_F(FileSystems, CountTheUsedClustersOfALargeNtfsVolumeByTheLowHalves)
{
    DescribedVolume& volume = AddNtfs({L"C:\\"});
    volume.ntfs.TotalClusters.QuadPart = 0x1000003E8;
    volume.ntfs.FreeClusters.QuadPart = 0x7D0;
    const std::wstring section = GetFileSystemSection();
    EXPECT_NE(std::wstring::npos, section.find(L" - Total Clusters:    1000   3.91 MB\n"
                                               L" - Free Clusters:    2000   7.81 MB\n"
                                               L" - Used Clusters:    18446744073709550616   64 ZB\n"))
        << ::testing::PrintToString(section);
}

// In place of GetLastError: whoever reads the error 21 finds 22 from then on.
decltype(::GetLastError)* realGetLastError = nullptr;
DWORD WINAPI TellOnce()
{
    const DWORD error = realGetLastError();
    if (error == 21) {
        SetLastError(22);
    }
    return error;
}

TEST_F(FileSystems, ShowTheErrorThatWindowsHoldsWhenTheLineIsWritten)
{
    AddFat({L"F:\\"}).clustersError = 21;
    realGetLastError =
        reinterpret_cast<decltype(realGetLastError)>(PatchImport("GetLastError", reinterpret_cast<void*>(&TellOnce)));
    const std::wstring section = GetFileSystemSection();
    PatchImport("GetLastError", reinterpret_cast<void*>(realGetLastError));
    EXPECT_NE(std::wstring::npos, section.find(L" - Failed to get freespace information of drive F:\\ (22)\n"))
        << ::testing::PrintToString(section);
}

TEST_F(FileSystems, CountNoClustersOfAnEmptyVolume)
{
    AddFat({L"F:\\"}, 0, 0);
    EXPECT_EQ(SectionWith(Heading(1, L"F:\\") + L" - File System: FAT32\n"
                                                L" - Bytes Per Cluster: 4096\n"
                                                L" - Total Clusters:    0   0 B\n"
                                                L" - Free Clusters:    0   0 B\n"
                                                L" - Used Clusters:    0   0 B\n"),
              GetFileSystemSection());
}

TEST_F(FileSystems, GoOnWithTheNextVolumeWhereTheClustersCannotBeHad)
{
    AddFat({L"F:\\"}).clustersError = 21;
    AddFat({}).clustersError = 1117;
    AddFat({L"G:\\"});
    EXPECT_EQ(SectionWith(Heading(1, L"F:\\") +
                          L" - File System: FAT32\n"
                          L" - Failed to get freespace information of drive F:\\ (21)\n" +
                          Heading(2, L"") +
                          L" - File System: FAT32\n"
                          L" - Failed to get freespace information of drive  (1117)\n" +
                          FatLines(3, L"G:\\")),
              GetFileSystemSection());
}

TEST_F(FileSystems, TellEachFailureOfAVolume)
{
    AddFat({L"F:\\"}).clustersError = 21;
    const FailingFileSystemName failing(1005);
    EXPECT_EQ(SectionWith(Heading(1, L"F:\\") + L" - Failed to get volume information of drive F:\\ (1005)\n"
                                                L" - Failed to get freespace information of drive F:\\ (21)\n"),
              GetFileSystemSection());
}

// --- The master file table ---

class MasterFileTable : public FileSystems {
protected:
    // The lines about the table of the one volume, which is C:.
    static std::wstring Lines()
    {
        const std::wstring section = GetFileSystemSection();
        const std::wstring before =
            L"FILE SYSTEM INFORMATION\n" + Heading(1, L"C:\\") + L" - File System: NTFS\n" + kNtfsClusters;
        EXPECT_TRUE(section.starts_with(before)) << section;
        EXPECT_TRUE(section.ends_with(L"\n\n"));
        return section.substr(before.size(), section.size() - before.size() - 2);
    }
};

TEST_F(MasterFileTable, IsToldInWholeClustersAndAsASize)
{
    struct Table {
        std::uint64_t bytes;
        const wchar_t* text;
    };
    for (const Table& table :
         {Table{402653184, L"98304        384 MB"}, Table{8191, L"1        8 KB"}, Table{8192, L"2        8 KB"},
          Table{4095, L"0        4 KB"}, Table{0, L"0        0 B"}, Table{0x10000000000, L"268435456        1 TB"}}) {
        windows.volumes.clear();
        AddNtfs({L"C:\\"}, table.bytes);
        EXPECT_EQ(std::wstring(L" - MFT Clusters:     ") + table.text +
                      L"\n - MFT Zone Start: 786432\n - MFT Zone End:   911360\n",
                  Lines());
    }
}

TEST_F(MasterFileTable, HasAZoneOfSigned64BitClusterNumbers)
{
    DescribedVolume& volume = AddNtfs({L"C:\\"}, 4096);
    volume.ntfs.MftZoneStart.QuadPart = -2;
    volume.ntfs.MftZoneEnd.QuadPart = 0x7FFFFFFFFFFFFFFF;
    EXPECT_EQ(L" - MFT Clusters:     1        4 KB\n - MFT Zone Start: -2\n - MFT Zone End:   9223372036854775807\n",
              Lines());
}

TEST_F(MasterFileTable, IsToldOfNtfsInAnyCaseAlone)
{
    AddNtfs({L"C:\\"}).fileSystem = L"ntfs";
    EXPECT_EQ(SectionWith(Heading(1, L"C:\\") + L" - File System: ntfs\n" + kNtfsClusters +
                          L" - MFT Clusters:     98304        384 MB\n"
                          L" - MFT Zone Start: 786432\n"
                          L" - MFT Zone End:   911360\n"),
              GetFileSystemSection());
    windows.volumes.front().fileSystem = L"CsvFS";
    EXPECT_EQ(SectionWith(Heading(1, L"C:\\") + L" - File System: CsvFS\n" + kNtfsClusters), GetFileSystemSection());
}

// Opening a volume for one of the two kinds of access fails: to read and write it, for the master file table, or only
// to read it, for the clusters.
class FailingOpening {
public:
    explicit FailingOpening(DWORD failingAccess)
        : createFile_([this, failingAccess](LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                                            DWORD disposition, DWORD flags, HANDLE pattern) -> HANDLE {
              if (!std::wstring_view(path).starts_with(L"\\\\") || access != failingAccess) {
                  return createFile_.Original(path, access, share, security, disposition, flags, pattern);
              }
              SetLastError(ERROR_ACCESS_DENIED);
              return INVALID_HANDLE_VALUE;
          })
    {}

private:
    Replaced<"CreateFileW", decltype(::CreateFileW)> createFile_;
};

TEST_F(MasterFileTable, IsLeftOutWhereTheVolumeCannotBeOpened)
{
    AddNtfs({L"C:\\"});
    const FailingOpening failing(GENERIC_READ | GENERIC_WRITE);
    EXPECT_EQ(L"", Lines());
}

TEST_F(MasterFileTable, IsLeftOutWhereNtfsDoesNotAnswer)
{
    DescribedVolume& volume = AddNtfs({L"C:\\"});
    // The clusters come from elsewhere then.
    volume.ntfsError = ERROR_INVALID_FUNCTION;
    volume.totalClusters = 31196415;
    volume.freeClusters = 12845056;
    EXPECT_EQ(L"", Lines());
}

TEST_F(MasterFileTable, IsToldInBytesWhereTheClustersCannotBeHad)
{
    AddNtfs({L"D:\\"}); // whose clusters must not count for the other
    AddNtfs({L"C:\\"}, 402653185).clustersError = 21;
    const Replaced<"CreateFileW", decltype(::CreateFileW)> createFile(
        [&](LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
            HANDLE pattern) -> HANDLE {
            if (path == NameOf(2) && access == GENERIC_READ) {
                SetLastError(ERROR_ACCESS_DENIED);
                return INVALID_HANDLE_VALUE;
            }
            return createFile.Original(path, access, share, security, disposition, flags, pattern);
        });
    EXPECT_EQ(SectionWith(Heading(1, L"D:\\") + L" - File System: NTFS\n" + kNtfsClusters +
                          L" - MFT Clusters:     98304        384 MB\n"
                          L" - MFT Zone Start: 786432\n"
                          L" - MFT Zone End:   911360\n" +
                          Heading(2, L"C:\\") +
                          L" - File System: NTFS\n"
                          L" - Failed to get freespace information of drive C:\\ (21)\n"
                          L" - MFT Size (Bytes): 402653185\n"
                          L" - MFT Zone Start: 786432\n"
                          L" - MFT Zone End:   911360\n"),
              GetFileSystemSection());
}

TEST_F(MasterFileTable, IsToldInBytesWhereAClusterHasNone)
{
    AddNtfs({L"C:\\"}, 402653185).ntfs.BytesPerSector = 0;
    EXPECT_EQ(SectionWith(Heading(1, L"C:\\") + L" - File System: NTFS\n"
                                                L" - Bytes Per Cluster: 0\n"
                                                L" - Total Clusters:    31196415   0 B\n"
                                                L" - Free Clusters:    12845056   0 B\n"
                                                L" - Used Clusters:    18351359   0 B\n"
                                                L" - MFT Size (Bytes): 402653185\n"
                                                L" - MFT Zone Start: 786432\n"
                                                L" - MFT Zone End:   911360\n"),
              GetFileSystemSection());
}

// --- Memory ---

TEST_F(BootIni, IsGivenBackWithAllElseWhenMemoryRunsOut)
{
    folder.AddFile(L"boot.ini", "x");
    AddNtfs({L"D:\\"});
    AddFat({L"F:\\"}).clustersError = 21;
    const std::wstring whole = GetFileSystemSection();
    FailEachAllocation(census, [&](const FailingMemory& memory) {
        EXPECT_EQ(whole, GetFileSystemSection());
        EXPECT_FALSE(memory.HasFailed());
    });
}

} // namespace
