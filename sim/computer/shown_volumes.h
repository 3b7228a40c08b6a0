#pragma once

#include "win/windows_api.h"

#include <winioctl.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// A volume and what Windows tells about it. An error other than 0 is what Windows answers in a fact's place.
struct ShownVolume {
    std::wstring name;                   // its GUID path, with the closing backslash
    std::vector<std::wstring> mountedAt; // drive roots and folders, each with its closing backslash

    UINT driveType = DRIVE_FIXED;
    std::wstring label;
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

// The volumes that a program is made to see, behind the functions by which it asks Windows about volumes. Each function
// answers as the one of Windows that its name recalls, with the thread's last error; nothing where the question
// concerns none of these volumes, which is then for others to answer. Paths are taken by Windows' own rules: a root
// ends in a backslash, a volume's device does not. The functions are safe to use from any thread.
class ShownVolumes {
public:
    std::vector<ShownVolume> volumes;        // in the order in which Windows lists them
    std::map<wchar_t, std::wstring> devices; // DOS devices of drives ("\Device\Floppy0"); a mounted volume has one

    // The volume of a name, a drive root or a folder; null for none, with the thread's last error set.
    [[nodiscard]] const ShownVolume* Find(std::wstring_view root) const;

    // The same of a device's path: \\.\C: or a volume's name without its closing backslash.
    [[nodiscard]] const ShownVolume* FindDevice(std::wstring_view path) const;

    // The searches for volumes and for the folders in which volumes are mounted.
    [[nodiscard]] HANDLE FindFirstVolume(wchar_t* name, DWORD size);
    [[nodiscard]] std::optional<HANDLE> FindFirstMountPoint(std::wstring_view root, wchar_t* folder, DWORD size);
    [[nodiscard]] std::optional<BOOL> FindNext(HANDLE search, wchar_t* text, DWORD size);
    [[nodiscard]] std::optional<BOOL> CloseSearch(HANDLE search);

    // How many searches have not been closed.
    [[nodiscard]] std::size_t OpenSearches() const;

    // Where volumes are mounted.
    [[nodiscard]] std::optional<BOOL> VolumeName(std::wstring_view mountPoint, wchar_t* name, DWORD size) const;
    [[nodiscard]] DWORD DriveStrings(DWORD size, wchar_t* buffer) const;
    [[nodiscard]] std::optional<DWORD> DosDevice(std::wstring_view device, wchar_t* target, DWORD size) const;

    // What a volume is like. Places may be null.
    [[nodiscard]] std::optional<UINT> DriveType(std::wstring_view root) const;
    [[nodiscard]] std::optional<BOOL> VolumeInformation(std::wstring_view root, wchar_t* label, DWORD labelSize,
                                                        DWORD* serialNumber, DWORD* longestName, DWORD* flags,
                                                        wchar_t* fileSystem, DWORD fileSystemSize) const;
    [[nodiscard]] std::optional<BOOL> FreeSpace(std::wstring_view root, DWORD* sectorsPerCluster, DWORD* bytesPerSector,
                                                DWORD* freeClusters, DWORD* totalClusters) const;
    [[nodiscard]] std::optional<BOOL> FreeBytes(std::wstring_view root, ULARGE_INTEGER* freeToCaller,
                                                ULARGE_INTEGER* total, ULARGE_INTEGER* freeToAll) const;

    // Opens the device; its handle is whatever open makes, which is only called where the device can be opened.
    [[nodiscard]] std::optional<HANDLE> OpenDevice(std::wstring_view path, const std::function<HANDLE()>& open);

    // Takes note that the handle is none of a device, whatever it was before it was closed.
    void ForgetHandle(HANDLE handle);

    // The volume whose device the handle is; null for none.
    [[nodiscard]] const ShownVolume* FindHandle(HANDLE device) const;

    // Answers IOCTL_STORAGE_QUERY_PROPERTY and FSCTL_GET_NTFS_VOLUME_DATA. Where an error is to be told, the output is
    // filled in as well.
    [[nodiscard]] std::optional<BOOL> Control(HANDLE device, DWORD code, void* output, DWORD outputSize,
                                              DWORD* returned) const;

private:
    [[nodiscard]] HANDLE BeginSearch(std::vector<std::wstring> texts, wchar_t* text, DWORD size);
    [[nodiscard]] std::vector<std::wstring> FoldersOn(const ShownVolume& host) const;

    mutable std::mutex lock_;                              // guards what is below
    std::map<HANDLE, std::vector<std::wstring>> searches_; // what a search has still to find, the next at the end
    std::uintptr_t lastSearch_ = 0x5EA10000;
    std::map<HANDLE, std::wstring> deviceHandles_; // with their volumes' names
};

} // namespace sim
