#include "volumes/free_space.h"

#include "support/described_volumes.h"
#include "support/described_windows.h"
#include "support/product_test.h"

#include <string>

namespace {

using namespace testing_support;

// A Windows with one volume, which is mounted at E:. NTFS and the two ways to ask for free space tell different
// figures, so that a test sees which of them was asked.
class FreeSpace : public ProductTest {
protected:
    FreeSpace()
    {
        system.SetVersion(6, 2, 9200);
        DescribedVolume& volume = windows.Add({L"E:\\"});
        volume.ntfs.BytesPerSector = 512;
        volume.ntfs.BytesPerCluster = 4096;
        volume.ntfs.FreeClusters.QuadPart = 1000;
        volume.ntfs.TotalClusters.QuadPart = 2000;
        volume.sectorsPerCluster = 4;
        volume.bytesPerSector = 1024;
        volume.freeClusters = 1001;
        volume.totalClusters = 2001;
        volume.callersFreeBytes = 4096000000000000;
        volume.totalBytes = 8192000000000001;
    }

    DescribedVolume& Volume() { return windows.volumes.front(); }
    [[nodiscard]] const std::wstring& Name() { return Volume().name; }

    DWORD Ask(const std::wstring& path)
    {
        return GetVolumeFreeSpace(path, &sectorsPerCluster, &bytesPerSector, &freeClusters, &totalClusters);
    }

    void ExpectGeometry(std::uint32_t sectors, std::uint32_t bytes, std::uint64_t free, std::uint64_t total) const
    {
        EXPECT_EQ(sectors, sectorsPerCluster);
        EXPECT_EQ(bytes, bytesPerSector);
        EXPECT_EQ(free, freeClusters);
        EXPECT_EQ(total, totalClusters);
    }
    void ExpectNtfsAnswer() const { ExpectGeometry(8, 512, 1000, 2000); }
    void ExpectAnswerInClusters() const { ExpectGeometry(4, 1024, 1001, 2001); }
    void ExpectNothing() const { ExpectGeometry(1, 2, 3, 4); }

    std::uint32_t sectorsPerCluster = 1;
    std::uint32_t bytesPerSector = 2;
    std::uint64_t freeClusters = 3;
    std::uint64_t totalClusters = 4;
    DescribedWindows system;
    DescribedVolumes windows;
};

// --- Which way is asked ---

TEST_F(FreeSpace, IsAskedOfNtfsWhereTheVolumeHasIt)
{
    for (const wchar_t* const name : {L"NTFS", L"ntfs", L"CsvFS", L"CSVFS"}) {
        Volume().fileSystem = name;
        freeClusters = 0;
        EXPECT_EQ(0U, Ask(Name())) << name;
        ExpectNtfsAnswer();
    }
}

TEST_F(FreeSpace, IsAskedInClustersOfAnyOtherFileSystem)
{
    for (const wchar_t* const name : {L"FAT32", L"exFAT", L"ReFS", L"KestraneFS", L"NTFS2", L"NTF", L""}) {
        Volume().fileSystem = name;
        freeClusters = 0;
        EXPECT_EQ(0U, Ask(Name())) << name;
        ExpectAnswerInClusters();
    }
    EXPECT_TRUE(windows.opened.empty());
}

TEST_F(FreeSpace, IsAskedInClustersWhereTheFileSystemIsNotTold)
{
    Volume().fileSystemError = ERROR_NOT_READY;
    EXPECT_EQ(0U, Ask(Name()));
    ExpectAnswerInClusters();
}

TEST_F(FreeSpace, IsAskedInClustersWhereNtfsDoesNotAnswer)
{
    Volume().ntfsError = ERROR_NOT_SUPPORTED;
    EXPECT_EQ(0U, Ask(Name()));
    ExpectAnswerInClusters();
}

TEST_F(FreeSpace, IsAskedInClustersWhereTheVolumeCannotBeOpened)
{
    Volume().openError = ERROR_ACCESS_DENIED;
    EXPECT_EQ(0U, Ask(Name()));
    ExpectAnswerInClusters();
}

TEST_F(FreeSpace, IsAskedInClustersWhereTheVolumeCannotBeClosed)
{
    const Replaced<"CloseHandle", decltype(::CloseHandle)> close([&](HANDLE handle) {
        EXPECT_EQ(TRUE, close.Original(handle));
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    });
    EXPECT_EQ(0U, Ask(Name()));
    ExpectAnswerInClusters();
}

TEST_F(FreeSpace, IsToldOfADriveRootAsWell)
{
    EXPECT_EQ(0U, Ask(L"E:\\"));
    ExpectNtfsAnswer();
    Volume().fileSystem = L"FAT";
    EXPECT_EQ(0U, Ask(L"E:\\"));
    ExpectAnswerInClusters();
}

TEST_F(FreeSpace, IsAskedForByThePathThatIsGiven)
{
    Volume().fileSystem = L"FAT";
    Volume().totalClusters = 0xFFFFFFFF;
    const Replaced<"GetDiskFreeSpaceW", decltype(::GetDiskFreeSpaceW)> clusters(
        [&](LPCWSTR root, LPDWORD sectors, LPDWORD bytes, LPDWORD free, LPDWORD total) {
            EXPECT_STREQ(L"E:\\", root);
            return clusters.Original(root, sectors, bytes, free, total);
        });
    const Replaced<"GetDiskFreeSpaceExW", decltype(::GetDiskFreeSpaceExW)> inBytes(
        [&](LPCWSTR root, PULARGE_INTEGER callersFree, PULARGE_INTEGER total, PULARGE_INTEGER free) {
            EXPECT_STREQ(L"E:\\", root);
            return inBytes.Original(root, callersFree, total, free);
        });
    EXPECT_EQ(0U, Ask(L"E:\\"));
    EXPECT_EQ(1, clusters.Calls());
    EXPECT_EQ(1, inBytes.Calls());
}

// --- Counts of clusters ---

TEST_F(FreeSpace, OfNtfsIsCountedModulo4294967296)
{
    Volume().ntfs.FreeClusters.QuadPart = 0x300000005;
    Volume().ntfs.TotalClusters.QuadPart = 0x7FFFFFFFFFFFFFFF;
    EXPECT_EQ(0U, Ask(Name()));
    ExpectGeometry(8, 512, 5, 0xFFFFFFFF);
    Volume().ntfs.FreeClusters.QuadPart = 0xFFFFFFFF;
    Volume().ntfs.TotalClusters.QuadPart = 0x100000000;
    EXPECT_EQ(0U, Ask(Name()));
    ExpectGeometry(8, 512, 0xFFFFFFFF, 0);
}

TEST_F(FreeSpace, IsCountedAnewByBytesWhereTheCountIsSaturated)
{
    Volume().fileSystem = L"ReFS";
    Volume().freeClusters = 7;
    Volume().totalClusters = 0xFFFFFFFF;
    EXPECT_EQ(0U, Ask(Name()));
    // The bytes by the 4,096 of a cluster, less what is no whole one.
    ExpectGeometry(4, 1024, 1000000000000, 2000000000000);
}

TEST_F(FreeSpace, IsCountedAnewWithClustersOfAnySize)
{
    Volume().fileSystem = L"ReFS";
    Volume().totalClusters = 0xFFFFFFFF;
    Volume().sectorsPerCluster = 0x80000000;
    Volume().bytesPerSector = 512;
    Volume().callersFreeBytes = 0xFFFFFFFFFFFFFFFF;
    Volume().totalBytes = 0x1FFFFFFFFFF;
    EXPECT_EQ(0U, Ask(Name()));
    ExpectGeometry(0x80000000, 512, 0xFFFFFF, 1);
}

TEST_F(FreeSpace, IsNotCountedAnewForFreeClustersOrOneClusterLess)
{
    Volume().fileSystem = L"FAT32";
    Volume().freeClusters = 0xFFFFFFFF;
    Volume().totalClusters = 0xFFFFFFFE;
    const Replaced<"GetDiskFreeSpaceExW", decltype(::GetDiskFreeSpaceExW)> inBytes(
        [](LPCWSTR, PULARGE_INTEGER, PULARGE_INTEGER, PULARGE_INTEGER) {
            ADD_FAILURE();
            return FALSE;
        });
    EXPECT_EQ(0U, Ask(Name()));
    ExpectGeometry(4, 1024, 0xFFFFFFFF, 0xFFFFFFFE);
}

TEST_F(FreeSpace, IsNotCountedAnewForNtfs)
{
    Volume().ntfs.TotalClusters.QuadPart = 0xFFFFFFFF;
    EXPECT_EQ(0U, Ask(Name()));
    ExpectGeometry(8, 512, 1000, 0xFFFFFFFF);
}

TEST_F(FreeSpace, IsCountedAnewWhereNtfsDoesNotAnswer)
{
    Volume().ntfsError = ERROR_NOT_SUPPORTED;
    Volume().totalClusters = 0xFFFFFFFF;
    EXPECT_EQ(0U, Ask(Name()));
    ExpectGeometry(4, 1024, 1000000000000, 2000000000000);
}

TEST_F(FreeSpace, KeepsItsCountsWithClustersOfNoBytes)
{
    Volume().fileSystem = L"ReFS";
    Volume().freeClusters = 7;
    Volume().totalClusters = 0xFFFFFFFF;
    Volume().sectorsPerCluster = 0;
    EXPECT_EQ(0U, Ask(Name()));
    ExpectGeometry(0, 1024, 7, 0xFFFFFFFF);
    Volume().sectorsPerCluster = 4;
    Volume().bytesPerSector = 0;
    EXPECT_EQ(0U, Ask(Name()));
    ExpectGeometry(4, 0, 7, 0xFFFFFFFF);
}

// --- Windows 2000 ---

TEST_F(FreeSpace, IsAskedInClustersOnWindows2000)
{
    system.SetVersion(5, 0, 2195);
    EXPECT_EQ(0U, Ask(Name()));
    ExpectAnswerInClusters();
    EXPECT_TRUE(windows.opened.empty());
}

TEST_F(FreeSpace, IsNotCountedAnewOnWindows2000)
{
    system.SetVersion(5, 0, 2195, VER_NT_SERVER);
    Volume().freeClusters = 0x80000000;
    Volume().totalClusters = 0xFFFFFFFF;
    EXPECT_EQ(0U, Ask(Name()));
    ExpectGeometry(4, 1024, 0x80000000, 0xFFFFFFFF);
}

TEST_F(FreeSpace, FailsOnWindows2000AsWindowsDoes)
{
    system.SetVersion(5, 0, 2195);
    Volume().clustersError = ERROR_NOT_READY;
    EXPECT_EQ(21U, Ask(Name()));
    ExpectNothing();
}

TEST_F(FreeSpace, IsAskedOfNtfsOnEveryOtherWindows)
{
    const std::pair<DWORD, DWORD> versions[] = {{5, 1}, {5, 2}, {6, 0}, {4, 0}, {10, 0}};
    for (const auto& [major, minor] : versions) {
        system.SetVersion(major, minor, 1);
        freeClusters = 0;
        EXPECT_EQ(0U, Ask(Name())) << major << '.' << minor;
        ExpectNtfsAnswer();
    }
    system.tellsVersion = false;
    freeClusters = 0;
    EXPECT_EQ(0U, Ask(Name()));
    ExpectNtfsAnswer();
}

// --- Failures ---

TEST_F(FreeSpace, FailsWhereClustersAreNotTold)
{
    Volume().fileSystem = L"FAT";
    Volume().clustersError = ERROR_NOT_READY;
    EXPECT_EQ(21U, Ask(Name()));
    ExpectNothing();
}

TEST_F(FreeSpace, FailsWithTheLastErrorNotWithThatOfNtfs)
{
    Volume().ntfsError = ERROR_NOT_SUPPORTED;
    Volume().clustersError = ERROR_NOT_READY;
    EXPECT_EQ(21U, Ask(Name()));
    ExpectNothing();
}

TEST_F(FreeSpace, FailsWhereASaturatedCountCannotBeMade)
{
    Volume().fileSystem = L"ReFS";
    Volume().totalClusters = 0xFFFFFFFF;
    Volume().bytesError = ERROR_ACCESS_DENIED;
    EXPECT_EQ(5U, Ask(Name()));
    ExpectNothing();
}

TEST_F(FreeSpace, LeavesOutWhatTheCallerDoesNotWant)
{
    EXPECT_EQ(0U, GetVolumeFreeSpace(Name(), nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(0U, GetVolumeFreeSpace(Name(), nullptr, &bytesPerSector, nullptr, &totalClusters));
    ExpectGeometry(1, 512, 3, 2000);
    Volume().fileSystem = L"FAT";
    EXPECT_EQ(0U, GetVolumeFreeSpace(Name(), nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(0U, GetVolumeFreeSpace(Name(), &sectorsPerCluster, nullptr, &freeClusters, nullptr));
    ExpectGeometry(4, 512, 1001, 2000);
}

// --- NTFS or CsvFS ---

class NtfsOrCsv : public FreeSpace {};

TEST_F(NtfsOrCsv, IsOneOfTheTwoNamesInAnyCase)
{
    for (const wchar_t* const name : {L"NTFS", L"Ntfs", L"CsvFS", L"csvfs"}) {
        Volume().fileSystem = name;
        EXPECT_TRUE(IsNtfsOrCsvVolume(Name())) << name;
        EXPECT_TRUE(IsNtfsOrCsvVolume(L"E:\\")) << name;
    }
    for (const wchar_t* const name : {L"", L"NTF", L"NTFS2", L"ReFS", L"CSV", L"FAT32"}) {
        Volume().fileSystem = name;
        EXPECT_FALSE(IsNtfsOrCsvVolume(Name())) << name;
    }
}

TEST_F(NtfsOrCsv, IsNoneWhereTheFileSystemIsNotTold)
{
    Volume().fileSystemError = ERROR_NOT_READY;
    EXPECT_FALSE(IsNtfsOrCsvVolume(Name()));
}

// --- NTFS' own figures ---

class NtfsVolumeData : public FreeSpace {
protected:
    DWORD AskNtfs(const std::wstring& path)
    {
        return GetNtfsVolumeData(path, &sectorsPerCluster, &bytesPerSector, &lowFree, &lowTotal);
    }

    void ExpectData(std::uint32_t sectors, std::uint32_t bytes, std::uint32_t free, std::uint32_t total) const
    {
        EXPECT_EQ(sectors, sectorsPerCluster);
        EXPECT_EQ(bytes, bytesPerSector);
        EXPECT_EQ(free, lowFree);
        EXPECT_EQ(total, lowTotal);
    }

    std::uint32_t lowFree = 3;
    std::uint32_t lowTotal = 4;
};

TEST_F(NtfsVolumeData, AreNtfsFiguresByTheirLowHalves)
{
    Volume().ntfs.BytesPerSector = 4096;
    Volume().ntfs.BytesPerCluster = 65536;
    Volume().ntfs.FreeClusters.QuadPart = 0x1FFFFFFFF;
    Volume().ntfs.TotalClusters.QuadPart = 0x2500000000;
    EXPECT_EQ(0U, AskNtfs(Name()));
    ExpectData(16, 4096, 0xFFFFFFFF, 0);
}

TEST_F(NtfsVolumeData, DoNotHangOnTheFileSystemsName)
{
    Volume().fileSystem = L"FAT";
    EXPECT_EQ(0U, AskNtfs(L"E:\\"));
    ExpectData(8, 512, 1000, 2000);
}

TEST_F(NtfsVolumeData, HaveNoSectorsOfNoBytes)
{
    Volume().ntfs.BytesPerSector = 0;
    EXPECT_EQ(0U, AskNtfs(Name()));
    ExpectData(0, 0, 1000, 2000);
}

TEST_F(NtfsVolumeData, LeaveOutWhatTheCallerDoesNotWant)
{
    EXPECT_EQ(0U, GetNtfsVolumeData(Name(), nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(0U, GetNtfsVolumeData(Name(), &sectorsPerCluster, nullptr, nullptr, &lowTotal));
    ExpectData(8, 2, 3, 2000);
}

TEST_F(NtfsVolumeData, FailWhereTheVolumeCannotBeOpened)
{
    Volume().openError = ERROR_SHARING_VIOLATION;
    EXPECT_EQ(32U, AskNtfs(Name()));
    EXPECT_EQ(13U, AskNtfs(L""));
    ExpectData(1, 2, 3, 4);
}

TEST_F(NtfsVolumeData, FailAsNtfsDoesWhateverClosingSays)
{
    Volume().ntfsError = ERROR_NOT_SUPPORTED;
    const Replaced<"CloseHandle", decltype(::CloseHandle)> close([&](HANDLE handle) {
        const BOOL closed = close.Original(handle);
        SetLastError(ERROR_INVALID_HANDLE);
        return closed;
    });
    EXPECT_EQ(50U, AskNtfs(Name()));
    EXPECT_EQ(1, close.Calls());
    ExpectData(1, 2, 3, 4);
}

TEST_F(NtfsVolumeData, AreFilledInAlsoWhereClosingFails)
{
    const Replaced<"CloseHandle", decltype(::CloseHandle)> close([&](HANDLE handle) {
        EXPECT_EQ(TRUE, close.Original(handle));
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    });
    EXPECT_EQ(6U, AskNtfs(Name()));
    EXPECT_EQ(1, close.Calls());
    ExpectData(8, 512, 1000, 2000);
}

// --- Opening a volume ---

class VolumeHandle : public FreeSpace {
protected:
    // The path that is opened for this one.
    std::wstring OpenedFor(const std::wstring& path)
    {
        windows.opened.clear();
        static_cast<void>(OpenVolumeHandle(path));
        if (windows.opened.size() != 1) {
            return L"opened " + std::to_wstring(windows.opened.size());
        }
        EXPECT_EQ(0x80000000U, windows.opened[0].access);
        return windows.opened[0].path;
    }
};

TEST_F(VolumeHandle, IsOpenedByTheNamesFirst48Characters)
{
    const std::wstring device = L"\\\\?\\Volume{00000001-aBcD-11ee-8c99-0242ac120002}";
    ASSERT_EQ(48U, device.size());
    EXPECT_EQ(device, OpenedFor(device));
    EXPECT_EQ(device, OpenedFor(device + L'\\'));
    EXPECT_EQ(device, OpenedFor(device + L"\\folder\\file"));
}

TEST_F(VolumeHandle, IsOpenedByTheLetterOfAShorterPath)
{
    EXPECT_EQ(L"\\\\.\\E:", OpenedFor(L"E:\\"));
    EXPECT_EQ(L"\\\\.\\E:", OpenedFor(L"E"));
    EXPECT_EQ(L"\\\\.\\e:", OpenedFor(L"e:\\folder"));
    const std::wstring longest = L"E:\\" + std::wstring(44, L'x');
    ASSERT_EQ(47U, longest.size());
    EXPECT_EQ(L"\\\\.\\E:", OpenedFor(longest));
}

TEST_F(VolumeHandle, BelongsToTheCaller)
{
    EXPECT_TRUE(OpenVolumeHandle(Name()));
    const win::FileHandle handle = OpenVolumeHandle(L"E:\\");
    EXPECT_TRUE(handle);
    EXPECT_EQ("handles open: 1\n", census.Imbalance());
}

TEST_F(VolumeHandle, IsNoneForAnEmptyPath)
{
    SetLastError(ERROR_SUCCESS);
    const win::FileHandle handle = OpenVolumeHandle(L"");
    EXPECT_EQ(13U, GetLastError());
    EXPECT_EQ(INVALID_HANDLE_VALUE, handle.Get());
    EXPECT_TRUE(windows.opened.empty());
}

TEST_F(VolumeHandle, IsNoneWithTheErrorOfWindows)
{
    Volume().openError = ERROR_ACCESS_DENIED;
    for (const std::wstring& path : {Name(), std::wstring(L"E:\\")}) {
        SetLastError(ERROR_SUCCESS);
        const win::FileHandle handle = OpenVolumeHandle(path);
        EXPECT_EQ(5U, GetLastError());
        EXPECT_EQ(INVALID_HANDLE_VALUE, handle.Get());
    }
}

TEST_F(VolumeHandle, AsksNtfsAndTellsItsError)
{
    NTFS_VOLUME_DATA_BUFFER data{};
    const win::FileHandle handle = OpenVolumeHandle(Name());
    EXPECT_TRUE(QueryNtfsVolumeData(handle.Get(), data));
    EXPECT_EQ(2000, data.TotalClusters.QuadPart);
    Volume().ntfsError = ERROR_NOT_SUPPORTED;
    SetLastError(ERROR_SUCCESS);
    EXPECT_FALSE(QueryNtfsVolumeData(handle.Get(), data));
    EXPECT_EQ(50U, GetLastError());
}

} // namespace
