#include "computer/replacements.h"
#include "computer/simulated_computer.h"

#include "win/text.h"

#include <algorithm>
#include <cstring>
#include <map>

#include <winioctl.h>

namespace sim {

namespace {

// The handles of volumes that the program has opened.
class OpenVolumes {
public:
    HANDLE Open(const VolumeSetup& volume)
    {
        // Any kernel object does that the program can close by itself.
        HANDLE const handle = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        if (handle == nullptr) {
            return INVALID_HANDLE_VALUE;
        }
        const std::scoped_lock guard(lock_);
        volumes_[handle] = &volume;
        return handle;
    }

    [[nodiscard]] const VolumeSetup* Find(HANDLE handle)
    {
        const std::scoped_lock guard(lock_);
        const auto found = volumes_.find(handle);
        return found == volumes_.end() ? nullptr : found->second;
    }

    // Closes any handle. Under the lock, because its number may be another's as soon as it is closed.
    BOOL Close(HANDLE handle)
    {
        const std::scoped_lock guard(lock_);
        volumes_.erase(handle);
        return CloseHandle(handle);
    }

private:
    std::mutex lock_;
    std::map<HANDLE, const VolumeSetup*> volumes_;
};

OpenVolumes& TheOpenVolumes()
{
    static OpenVolumes volumes;
    return volumes;
}

// The volume whose device the path names: \\.\C: or a volume's name without the closing backslash, which would make it
// the root folder.
const VolumeSetup* FindDevice(std::wstring_view path)
{
    const bool isDevice = path.starts_with(L"\\\\") && !path.ends_with(L'\\');
    return isDevice ? Computer().FindVolume(path) : nullptr;
}

// The file that is shown in place of the one at this path, or nothing.
const std::wstring* FindBootIni(std::wstring_view path)
{
    constexpr std::wstring_view kName = L"boot.ini";
    if (path.size() <= kName.size() || !win::EqualNames(path.substr(path.size() - kName.size()), kName)) {
        return nullptr;
    }
    path.remove_suffix(kName.size());
    const VolumeSetup* const volume = path.ends_with(L'\\') ? Computer().FindVolume(path) : nullptr;
    return volume == nullptr || volume->bootIni.empty() ? nullptr : &volume->bootIni;
}

HANDLE WINAPI OpenFileOrVolume(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                               DWORD disposition, DWORD flags, HANDLE pattern)
{
    if (Fails(L"CreateFileW", path)) {
        return INVALID_HANDLE_VALUE;
    }
    if (const VolumeSetup* const volume = FindDevice(path)) {
        return TheOpenVolumes().Open(*volume);
    }
    const std::wstring* const shown = FindBootIni(path);
    return CreateFileW(shown != nullptr ? shown->c_str() : path, access, share, security, disposition, flags, pattern);
}

BOOL WINAPI Close(HANDLE handle)
{
    return TheOpenVolumes().Close(handle);
}

// Hands out as much of the record as there is room for, and no less than its beginning up to the given size.
BOOL HandOut(const void* record, DWORD size, DWORD leastSize, void* output, DWORD outputSize, DWORD* returned)
{
    if (outputSize < leastSize) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    const DWORD handedOut = std::min(size, outputSize);
    std::memcpy(output, record, handedOut);
    if (returned != nullptr) {
        *returned = handedOut;
    }
    return TRUE;
}

BOOL TellDevice(const VolumeSetup& volume, void* output, DWORD outputSize, DWORD* returned)
{
    STORAGE_DEVICE_DESCRIPTOR descriptor{};
    descriptor.Version = sizeof descriptor;
    descriptor.Size = sizeof descriptor;
    descriptor.RemovableMedia = volume.type == DRIVE_REMOVABLE || volume.type == DRIVE_CDROM;
    descriptor.BusType = static_cast<STORAGE_BUS_TYPE>(volume.bus);
    return HandOut(&descriptor, sizeof descriptor, sizeof(STORAGE_DESCRIPTOR_HEADER), output, outputSize, returned);
}

BOOL TellNtfs(const VolumeSetup& volume, void* output, DWORD outputSize, DWORD* returned)
{
    NTFS_VOLUME_DATA_BUFFER data{};
    data.NumberSectors.QuadPart = static_cast<LONGLONG>(volume.totalClusters * volume.sectorsPerCluster);
    data.TotalClusters.QuadPart = static_cast<LONGLONG>(volume.totalClusters);
    data.FreeClusters.QuadPart = static_cast<LONGLONG>(volume.freeClusters);
    data.BytesPerSector = volume.bytesPerSector;
    data.BytesPerCluster = volume.bytesPerSector * volume.sectorsPerCluster;
    data.MftValidDataLength.QuadPart = static_cast<LONGLONG>(volume.mftBytes);
    data.MftZoneStart.QuadPart = static_cast<LONGLONG>(volume.mftZoneStart);
    data.MftZoneEnd.QuadPart = static_cast<LONGLONG>(volume.mftZoneEnd);
    return HandOut(&data, sizeof data, sizeof data, output, outputSize, returned);
}

BOOL WINAPI AskDevice(HANDLE device, DWORD code, void* input, DWORD inputSize, void* output, DWORD outputSize,
                      DWORD* returned, OVERLAPPED* overlapped)
{
    const VolumeSetup* const volume = TheOpenVolumes().Find(device);
    if (volume == nullptr) {
        return DeviceIoControl(device, code, input, inputSize, output, outputSize, returned, overlapped);
    }
    if (Fails(L"DeviceIoControl", volume->name)) {
        return FALSE;
    }
    if (code == IOCTL_STORAGE_QUERY_PROPERTY) {
        return TellDevice(*volume, output, outputSize, returned);
    }
    if (code == FSCTL_GET_NTFS_VOLUME_DATA && win::EqualNames(volume->fileSystem, L"NTFS")) {
        return TellNtfs(*volume, output, outputSize, returned);
    }
    SetLastError(ERROR_INVALID_FUNCTION);
    return FALSE;
}

} // namespace

std::span<const Replacement> DeviceReplacements()
{
    static const Replacement kReplacements[] = {
        Replace("CreateFileW", &CreateFileW, &OpenFileOrVolume),
        Replace("CloseHandle", &CloseHandle, &Close),
        Replace("DeviceIoControl", &DeviceIoControl, &AskDevice),
    };
    return kReplacements;
}

} // namespace sim
