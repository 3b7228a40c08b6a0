#pragma once

#include "computer/shown_volumes.h"
#include "support/replaced_function.h"
#include "win/windows_api.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace testing_support {

// The GUID path of a volume, with its closing backslash; every number makes another one.
std::wstring VolumeNameOf(unsigned number);

// A volume and what Windows tells about it.
using DescribedVolume = sim::ShownVolume;

// How a device of a volume was opened.
struct OpenedDevice {
    std::wstring path;
    DWORD access;
};

// A Windows with volumes of the test's own making and no others. What the product asks is checked, too: the sizes of
// its buffers, and that it wants no more than it uses. A search that is still open at the end fails the test.
class DescribedVolumes : public sim::ShownVolumes {
public:
    DescribedVolumes() = default;
    DescribedVolumes(DescribedVolumes&&) = delete;
    ~DescribedVolumes();

    std::vector<OpenedDevice> opened;

    // A fixed NTFS volume with a name of its own, for the test to change. The reference holds until the next one.
    DescribedVolume& Add(const std::vector<std::wstring>& mountedAt = {});

private:
    BOOL Next(HANDLE search, LPWSTR text, DWORD length);
    BOOL Close(HANDLE search);
    BOOL CheckedControl(HANDLE device, DWORD code, std::pair<void*, DWORD> input, std::pair<void*, DWORD> output,
                        DWORD* returned) const;

    Replaced<"FindFirstVolumeW", decltype(::FindFirstVolumeW)> findFirstVolume_{[this](LPWSTR name, DWORD length) {
        EXPECT_EQ(261U, length);
        return FindFirstVolume(name, length);
    }};
    Replaced<"FindNextVolumeW", decltype(::FindNextVolumeW)> findNextVolume_{
        [this](HANDLE search, LPWSTR name, DWORD length) { return Next(search, name, length); }};
    Replaced<"FindVolumeClose", decltype(::FindVolumeClose)> findVolumeClose_{
        [this](HANDLE search) { return Close(search); }};

    Replaced<"FindFirstVolumeMountPointW", decltype(::FindFirstVolumeMountPointW)> findFirstFolder_{
        [this](LPCWSTR root, LPWSTR folder, DWORD length) {
            EXPECT_EQ(261U, length);
            return FindFirstMountPoint(root, folder, length).value_or(INVALID_HANDLE_VALUE);
        }};
    Replaced<"FindNextVolumeMountPointW", decltype(::FindNextVolumeMountPointW)> findNextFolder_{
        [this](HANDLE search, LPWSTR folder, DWORD length) { return Next(search, folder, length); }};
    Replaced<"FindVolumeMountPointClose", decltype(::FindVolumeMountPointClose)> findFolderClose_{
        [this](HANDLE search) { return Close(search); }};

    Replaced<"GetVolumeNameForVolumeMountPointW", decltype(::GetVolumeNameForVolumeMountPointW)> volumeName_{
        [this](LPCWSTR root, LPWSTR name, DWORD length) {
            EXPECT_EQ(261U, length);
            return VolumeName(root, name, length).value_or(FALSE);
        }};
    Replaced<"GetLogicalDriveStringsW", decltype(::GetLogicalDriveStringsW)> driveStrings_{
        [this](DWORD length, LPWSTR buffer) {
            EXPECT_EQ(512U, length);
            return DriveStrings(length, buffer);
        }};
    Replaced<"QueryDosDeviceW", decltype(::QueryDosDeviceW)> dosDevice_{
        [this](LPCWSTR device, LPWSTR buffer, DWORD length) {
            EXPECT_EQ(260U, length);
            return DosDevice(device, buffer, length).value_or(0);
        }};
    Replaced<"GetDriveTypeW", decltype(::GetDriveTypeW)> driveType_{
        [this](LPCWSTR root) { return DriveType(root).value_or(DRIVE_NO_ROOT_DIR); }};
    Replaced<"GetVolumeInformationW", decltype(::GetVolumeInformationW)> volumeInformation_{
        [this](LPCWSTR root, LPWSTR label, DWORD labelLength, LPDWORD serial, LPDWORD longest, LPDWORD flags,
               LPWSTR fileSystem, DWORD length) {
            EXPECT_EQ(nullptr, label);
            EXPECT_EQ(0U, labelLength);
            EXPECT_EQ(nullptr, serial);
            EXPECT_EQ(nullptr, longest);
            EXPECT_EQ(nullptr, flags);
            return VolumeInformation(root, label, labelLength, serial, longest, flags, fileSystem, length)
                .value_or(FALSE);
        }};
    Replaced<"CreateFileW", decltype(::CreateFileW)> createFile_{[this](LPCWSTR path, DWORD access, DWORD share,
                                                                        LPSECURITY_ATTRIBUTES security,
                                                                        DWORD disposition, DWORD flags,
                                                                        HANDLE pattern) {
        if (!std::wstring_view(path).starts_with(LR"(\\)")) {
            return createFile_.Original(path, access, share, security, disposition, flags, pattern);
        }
        opened.push_back({path, access});
        EXPECT_EQ(3U, share);
        EXPECT_EQ(nullptr, security);
        EXPECT_EQ(3U, disposition);
        EXPECT_EQ(0U, flags);
        EXPECT_EQ(nullptr, pattern);
        // Some handle that Windows knows, so that it can be closed.
        const auto openNull = [this] { return createFile_.Original(L"NUL", 0, 0, nullptr, OPEN_EXISTING, 0, nullptr); };
        return OpenDevice(path, openNull).value_or(INVALID_HANDLE_VALUE);
    }};
    Replaced<"DeviceIoControl", decltype(::DeviceIoControl)> control_{
        [this](HANDLE device, DWORD code, LPVOID input, DWORD inputSize, LPVOID output, DWORD outputSize,
               LPDWORD returned, LPOVERLAPPED overlapped) {
            EXPECT_NE(nullptr, returned);
            EXPECT_EQ(nullptr, overlapped);
            return CheckedControl(device, code, {input, inputSize}, {output, outputSize}, returned);
        }};
    Replaced<"GetDiskFreeSpaceW", decltype(::GetDiskFreeSpaceW)> freeSpace_{
        [this](LPCWSTR root, LPDWORD sectors, LPDWORD bytes, LPDWORD freeClusters, LPDWORD totalClusters) {
            return FreeSpace(root, sectors, bytes, freeClusters, totalClusters).value_or(FALSE);
        }};
    Replaced<"GetDiskFreeSpaceExW", decltype(::GetDiskFreeSpaceExW)> freeBytes_{
        [this](LPCWSTR root, PULARGE_INTEGER callersFree, PULARGE_INTEGER total, PULARGE_INTEGER allFree) {
            EXPECT_EQ(nullptr, allFree);
            return FreeBytes(root, callersFree, total, allFree).value_or(FALSE);
        }};
};

} // namespace testing_support
