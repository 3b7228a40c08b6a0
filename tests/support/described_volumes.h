#pragma once

#include "support/replaced_function.h"
#include "win/windows_api.h"

#include <winioctl.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace testing_support {

// The GUID path of a volume, with its closing backslash; every number makes another one.
std::wstring VolumeNameOf(unsigned number);

// A volume and what Windows tells about it. An error other than 0 is what Windows answers in a fact's place.
struct DescribedVolume {
    std::wstring name;
    std::vector<std::wstring> mountedAt; // drive roots and folders, each with its closing backslash

    UINT driveType = DRIVE_FIXED;
    std::wstring fileSystem = L"NTFS";
    DWORD fileSystemError = ERROR_SUCCESS;

    DWORD openError = ERROR_SUCCESS; // of opening its device
    STORAGE_BUS_TYPE bus = BusTypeSata;
    DWORD busError = ERROR_SUCCESS;
    NTFS_VOLUME_DATA_BUFFER ntfs{};
    DWORD ntfsError = ERROR_SUCCESS;

    DWORD sectorsPerCluster = 8;
    DWORD bytesPerSector = 512;
    DWORD freeClusters = 0;
    DWORD totalClusters = 0;
    DWORD clustersError = ERROR_SUCCESS;
    std::uint64_t callersFreeBytes = 0; // what a quota leaves the caller
    std::uint64_t totalBytes = 0;
    DWORD bytesError = ERROR_SUCCESS;
};

// How a device of a volume was opened.
struct OpenedDevice {
    std::wstring path;
    DWORD access;
};

// A Windows with volumes of the test's own making and no others. Paths and buffers are taken by Windows' own rules: a
// root ends in a backslash, a volume's device does not. A search that is still open at the end fails the test.
class DescribedVolumes {
public:
    DescribedVolumes() = default;
    DescribedVolumes(DescribedVolumes&&) = delete;
    ~DescribedVolumes();

    std::vector<DescribedVolume> volumes;    // in the order in which Windows lists them
    std::map<wchar_t, std::wstring> devices; // DOS devices of drives ("\Device\Floppy0"); a mounted volume has one
    std::vector<OpenedDevice> opened;

    // A fixed NTFS volume with a name of its own, for the test to change. The reference holds until the next one.
    DescribedVolume& Add(const std::vector<std::wstring>& mountedAt = {});

private:
    // Windows' searches of one kind.
    class Searches {
    public:
        explicit Searches(std::uintptr_t firstHandle) : lastHandle_(firstHandle) {}

        HANDLE First(std::vector<std::wstring> found, LPWSTR text, DWORD length);
        BOOL Next(HANDLE search, LPWSTR text, DWORD length);
        BOOL Close(HANDLE search);
        [[nodiscard]] std::size_t Open() const { return left_.size(); }

    private:
        static void Give(std::vector<std::wstring>& left, LPWSTR text, DWORD length);

        std::map<HANDLE, std::vector<std::wstring>> left_; // what a search has still to find, the next at the end
        std::uintptr_t lastHandle_;
    };

    // The volume of a name, a drive root or a folder; null for none, with the thread's last error set.
    [[nodiscard]] const DescribedVolume* VolumeAt(std::wstring_view root) const;
    // The same of a device's path, and of a handle of one.
    [[nodiscard]] const DescribedVolume* VolumeOfDevice(std::wstring_view path) const;
    [[nodiscard]] const DescribedVolume* VolumeOfHandle(HANDLE device) const;

    [[nodiscard]] std::vector<std::wstring> Names() const;
    // The folders, relative to the root, in which volumes are mounted, but for those in other such folders.
    [[nodiscard]] std::vector<std::wstring> FoldersOn(std::wstring_view root) const;
    // The drive roots, each with its NUL.
    [[nodiscard]] std::wstring Roots() const;
    // The target of a DOS device; empty for none, with the thread's last error set.
    [[nodiscard]] std::wstring TargetOf(std::wstring_view device) const;

    HANDLE OpenDevice(std::wstring_view path);
    bool Control(HANDLE device, DWORD code, std::pair<void*, DWORD> input, std::pair<void*, DWORD> output,
                 DWORD& returned) const;

    // A text with a NUL behind it. False where the buffer is too short, with the thread's last error set.
    static bool GiveText(std::wstring_view text, wchar_t* buffer, DWORD length);
    // False for an error, which becomes the thread's last one.
    static bool Succeeds(DWORD error);

    std::map<HANDLE, std::wstring> deviceHandles_;
    Searches volumeSearches_{0x5EA10000};
    Searches folderSearches_{0x5EA20000};

    Replaced<"FindFirstVolumeW", decltype(::FindFirstVolumeW)> findFirstVolume_{
        [this](LPWSTR name, DWORD length) { return volumeSearches_.First(Names(), name, length); }};
    Replaced<"FindNextVolumeW", decltype(::FindNextVolumeW)> findNextVolume_{
        [this](HANDLE search, LPWSTR name, DWORD length) { return volumeSearches_.Next(search, name, length); }};
    Replaced<"FindVolumeClose", decltype(::FindVolumeClose)> findVolumeClose_{
        [this](HANDLE search) { return volumeSearches_.Close(search); }};

    Replaced<"FindFirstVolumeMountPointW", decltype(::FindFirstVolumeMountPointW)> findFirstFolder_{
        [this](LPCWSTR root, LPWSTR folder, DWORD length) {
            return folderSearches_.First(FoldersOn(root), folder, length);
        }};
    Replaced<"FindNextVolumeMountPointW", decltype(::FindNextVolumeMountPointW)> findNextFolder_{
        [this](HANDLE search, LPWSTR folder, DWORD length) { return folderSearches_.Next(search, folder, length); }};
    Replaced<"FindVolumeMountPointClose", decltype(::FindVolumeMountPointClose)> findFolderClose_{
        [this](HANDLE search) { return folderSearches_.Close(search); }};

    Replaced<"GetVolumeNameForVolumeMountPointW", decltype(::GetVolumeNameForVolumeMountPointW)> volumeName_{
        [this](LPCWSTR root, LPWSTR name, DWORD length) {
            EXPECT_EQ(261U, length);
            const DescribedVolume* const volume = VolumeAt(root);
            return volume != nullptr && GiveText(volume->name, name, length) ? TRUE : FALSE;
        }};
    Replaced<"GetLogicalDriveStringsW", decltype(::GetLogicalDriveStringsW)> driveStrings_{
        [this](DWORD length, LPWSTR buffer) -> DWORD {
            EXPECT_EQ(512U, length);
            const std::wstring roots = Roots();
            return GiveText(roots, buffer, length) ? static_cast<DWORD>(roots.size()) : 0;
        }};
    Replaced<"QueryDosDeviceW", decltype(::QueryDosDeviceW)> dosDevice_{
        [this](LPCWSTR device, LPWSTR buffer, DWORD length) -> DWORD {
            EXPECT_EQ(260U, length);
            const std::wstring target = TargetOf(device);
            // Two NULs end Windows' answer.
            return !target.empty() && GiveText(target, buffer, length) ? static_cast<DWORD>(target.size() + 2) : 0;
        }};
    Replaced<"GetDriveTypeW", decltype(::GetDriveTypeW)> driveType_{[this](LPCWSTR root) -> UINT {
        const DescribedVolume* const volume = VolumeAt(root);
        return volume != nullptr ? volume->driveType : DRIVE_NO_ROOT_DIR;
    }};
    Replaced<"GetVolumeInformationW", decltype(::GetVolumeInformationW)> volumeInformation_{
        [this](LPCWSTR root, LPWSTR label, DWORD labelLength, LPDWORD serial, LPDWORD longest, LPDWORD flags,
               LPWSTR fileSystem, DWORD length) {
            EXPECT_EQ(nullptr, label);
            EXPECT_EQ(0U, labelLength);
            EXPECT_EQ(nullptr, serial);
            EXPECT_EQ(nullptr, longest);
            EXPECT_EQ(nullptr, flags);
            const DescribedVolume* const volume = VolumeAt(root);
            return volume != nullptr && Succeeds(volume->fileSystemError) &&
                           GiveText(volume->fileSystem, fileSystem, length)
                       ? TRUE
                       : FALSE;
        }};
    Replaced<"CreateFileW", decltype(::CreateFileW)> createFile_{
        [this](LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
               HANDLE pattern) -> HANDLE {
            if (!std::wstring_view(path).starts_with(LR"(\\)")) {
                return createFile_.Original(path, access, share, security, disposition, flags, pattern);
            }
            opened.push_back({path, access});
            EXPECT_EQ(3U, share);
            EXPECT_EQ(nullptr, security);
            EXPECT_EQ(3U, disposition);
            EXPECT_EQ(0U, flags);
            EXPECT_EQ(nullptr, pattern);
            return OpenDevice(path);
        }};
    Replaced<"DeviceIoControl", decltype(::DeviceIoControl)> control_{
        [this](HANDLE device, DWORD code, LPVOID input, DWORD inputSize, LPVOID output, DWORD outputSize,
               LPDWORD returned, LPOVERLAPPED overlapped) {
            EXPECT_NE(nullptr, returned);
            EXPECT_EQ(nullptr, overlapped);
            return Control(device, code, {input, inputSize}, {output, outputSize}, *returned) ? TRUE : FALSE;
        }};
    Replaced<"GetDiskFreeSpaceW", decltype(::GetDiskFreeSpaceW)> freeSpace_{
        [this](LPCWSTR root, LPDWORD sectors, LPDWORD bytes, LPDWORD freeClusters, LPDWORD totalClusters) {
            const DescribedVolume* const volume = VolumeAt(root);
            if (volume == nullptr || !Succeeds(volume->clustersError)) {
                return FALSE;
            }
            *sectors = volume->sectorsPerCluster;
            *bytes = volume->bytesPerSector;
            *freeClusters = volume->freeClusters;
            *totalClusters = volume->totalClusters;
            return TRUE;
        }};
    Replaced<"GetDiskFreeSpaceExW", decltype(::GetDiskFreeSpaceExW)> freeBytes_{
        [this](LPCWSTR root, PULARGE_INTEGER callersFree, PULARGE_INTEGER total, PULARGE_INTEGER allFree) {
            const DescribedVolume* const volume = VolumeAt(root);
            if (volume == nullptr || !Succeeds(volume->bytesError)) {
                return FALSE;
            }
            callersFree->QuadPart = volume->callersFreeBytes;
            total->QuadPart = volume->totalBytes;
            EXPECT_EQ(nullptr, allFree);
            return TRUE;
        }};
};

} // namespace testing_support
