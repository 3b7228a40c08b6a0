#include "volumes/volume_facts.h"

#include "support/described_volumes.h"
#include "support/product_test.h"

#include <string>

namespace {

using namespace testing_support;

class VolumeFacts : public ProductTest {
protected:
    VolumeFacts() { windows.Add({L"C:\\", L"D:\\Mount\\"}); }

    DescribedVolume& Volume() { return windows.volumes.front(); }

    DescribedVolumes windows;
};

TEST_F(VolumeFacts, NameWhatIsMountedSomewhere)
{
    EXPECT_EQ(Volume().name, VolumeNameAt(L"C:\\"));
    EXPECT_EQ(Volume().name, VolumeNameAt(L"D:\\Mount\\"));
    EXPECT_EQ(Volume().name, VolumeNameAt(Volume().name));
}

TEST_F(VolumeFacts, NameNothingWhereNothingIsMounted)
{
    EXPECT_EQ(L"", VolumeNameAt(L"D:\\"));
    EXPECT_EQ(L"", VolumeNameAt(L"C:")); // no root
    EXPECT_EQ(L"", VolumeNameAt(L""));
}

TEST_F(VolumeFacts, NameNothingWhereWindowsFailsWhateverItLeavesBehind)
{
    const Replaced<"GetVolumeNameForVolumeMountPointW", decltype(::GetVolumeNameForVolumeMountPointW)> name(
        [&](LPCWSTR root, LPWSTR buffer, DWORD length) {
            EXPECT_EQ(TRUE, name.Original(root, buffer, length));
            SetLastError(ERROR_FILENAME_EXCED_RANGE);
            return FALSE;
        });
    EXPECT_EQ(L"", VolumeNameAt(L"C:\\"));
}

TEST_F(VolumeFacts, TellTheFileSystem)
{
    Volume().fileSystem = L"KestraneFS";
    EXPECT_EQ(L"KestraneFS", FileSystemName(L"C:\\"));
    EXPECT_EQ(L"KestraneFS", FileSystemName(Volume().name));
    Volume().fileSystem = L"";
    EXPECT_EQ(L"", FileSystemName(L"C:\\"));
    Volume().fileSystem = std::wstring(260, L'x');
    EXPECT_EQ(Volume().fileSystem, FileSystemName(L"C:\\"));
}

TEST_F(VolumeFacts, TellTheFileSystemWithABufferOfTheCallersSize)
{
    EXPECT_EQ(L"NTFS", FileSystemName(L"C:\\"));
    EXPECT_EQ(L"NTFS", FileSystemName(L"C:\\", 5));
    EXPECT_EQ(std::nullopt, FileSystemName(L"C:\\", 4));
}

TEST_F(VolumeFacts, LeaveTheErrorOfAFileSystemThatIsNotTold)
{
    Volume().fileSystemError = ERROR_UNRECOGNIZED_VOLUME;
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(std::nullopt, FileSystemName(L"C:\\"));
    EXPECT_EQ(1005U, GetLastError());
}

} // namespace
