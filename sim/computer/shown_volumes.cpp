#include "computer/shown_volumes.h"

#include "win/text.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <set>
#include <type_traits>
#include <utility>

namespace sim {

namespace {

BOOL FailWith(DWORD error)
{
    SetLastError(error);
    return FALSE;
}

BOOL SucceedUnless(DWORD error)
{
    return error == ERROR_SUCCESS ? TRUE : FailWith(error);
}

// Hands out a text with its closing null character, where there is room for it.
BOOL HandOut(std::wstring_view text, wchar_t* buffer, DWORD size, DWORD errorWithoutRoom)
{
    if (size <= text.size()) {
        return FailWith(errorWithoutRoom);
    }
    buffer[text.copy(buffer, text.size())] = L'\0';
    return TRUE;
}

// Hands out as much of a record as there is room for, and no less than its beginning up to the given size.
template <typename Record>
BOOL HandOutRecord(const Record& record, std::size_t leastSize, DWORD error, void* output, DWORD outputSize,
                   DWORD* returned)
{
    if (outputSize < leastSize) {
        return FailWith(ERROR_INSUFFICIENT_BUFFER);
    }
    const DWORD size = std::min(static_cast<DWORD>(sizeof record), outputSize);
    std::memcpy(output, &record, size);
    if (returned != nullptr) {
        *returned = size;
    }
    return SucceedUnless(error);
}

template <typename Value>
void Fill(Value* place, std::type_identity_t<Value> value)
{
    if (place != nullptr) {
        *place = value;
    }
}

bool IsDriveRoot(std::wstring_view mount)
{
    constexpr std::size_t kRootLength = 3; // as in D:\ .
    return mount.size() == kRootLength;
}

bool IsBelow(std::wstring_view path, std::wstring_view folder)
{
    return path.size() > folder.size() && win::EqualNames(path.substr(0, folder.size()), folder);
}

} // namespace

const ShownVolume* ShownVolumes::Find(std::wstring_view root) const
{
    if (!root.ends_with(L'\\')) {
        SetLastError(ERROR_INVALID_NAME);
        return nullptr;
    }
    const auto isAt = [root](std::wstring_view place) { return win::EqualNames(place, root); };
    const auto found = std::ranges::find_if(volumes, [&](const ShownVolume& volume) {
        return isAt(volume.name) || std::ranges::any_of(volume.mountedAt, isAt);
    });
    if (found == volumes.end()) {
        SetLastError(ERROR_NOT_READY);
        return nullptr;
    }
    return &*found;
}

const ShownVolume* ShownVolumes::FindDevice(std::wstring_view path) const
{
    constexpr std::wstring_view kDosDevices = L"\\\\.\\";
    if (path.ends_with(L'\\')) {
        // That is the volume's root folder.
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    return Find(std::wstring(path.substr(path.starts_with(kDosDevices) ? kDosDevices.size() : 0)) + L'\\');
}

HANDLE ShownVolumes::BeginSearch(std::vector<std::wstring> texts, wchar_t* text, DWORD size)
{
    std::ranges::reverse(texts);
    HANDLE search = nullptr;
    {
        const std::scoped_lock guard(lock_);
        // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number that looks like an address.
        search = reinterpret_cast<HANDLE>(++lastSearch_);
        searches_.emplace(search, std::move(texts));
    }
    if (FindNext(search, text, size) == TRUE) {
        return search;
    }
    const DWORD error = GetLastError();
    static_cast<void>(CloseSearch(search));
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
}

HANDLE ShownVolumes::FindFirstVolume(wchar_t* name, DWORD size)
{
    std::vector<std::wstring> names;
    std::ranges::transform(volumes, std::back_inserter(names), &ShownVolume::name);
    return BeginSearch(std::move(names), name, size);
}

std::optional<HANDLE> ShownVolumes::FindFirstMountPoint(std::wstring_view root, wchar_t* folder, DWORD size)
{
    const ShownVolume* const host = Find(root);
    return host == nullptr ? std::nullopt : std::optional(BeginSearch(FoldersOn(*host), folder, size));
}

// The folders on the volume in which others are mounted, as they stand below its root. A folder below another one that
// is a volume's own is on that volume.
std::vector<std::wstring> ShownVolumes::FoldersOn(const ShownVolume& host) const
{
    std::vector<std::wstring_view> mounts;
    for (const ShownVolume& volume : volumes) {
        mounts.insert(mounts.end(), volume.mountedAt.begin(), volume.mountedAt.end());
    }
    std::vector<std::wstring> folders;
    for (const std::wstring_view mount : mounts) {
        std::wstring_view around;
        for (const std::wstring_view other : mounts) {
            around = IsBelow(mount, other) && other.size() > around.size() ? other : around;
        }
        if (!around.empty() && std::ranges::find(host.mountedAt, around) != host.mountedAt.end()) {
            folders.emplace_back(mount.substr(around.size()));
        }
    }
    return folders;
}

std::optional<BOOL> ShownVolumes::FindNext(HANDLE search, wchar_t* text, DWORD size)
{
    const std::scoped_lock guard(lock_);
    const auto found = searches_.find(search);
    if (found == searches_.end()) {
        return std::nullopt;
    }
    std::vector<std::wstring>& left = found->second;
    if (left.empty()) {
        return FailWith(ERROR_NO_MORE_FILES);
    }
    const BOOL fits = HandOut(left.back(), text, size, ERROR_FILENAME_EXCED_RANGE);
    left.pop_back();
    return fits;
}

std::optional<BOOL> ShownVolumes::CloseSearch(HANDLE search)
{
    const std::scoped_lock guard(lock_);
    return searches_.erase(search) == 1 ? std::optional(TRUE) : std::nullopt;
}

std::size_t ShownVolumes::OpenSearches() const
{
    const std::scoped_lock guard(lock_);
    return searches_.size();
}

std::optional<BOOL> ShownVolumes::VolumeName(std::wstring_view mountPoint, wchar_t* name, DWORD size) const
{
    const ShownVolume* const volume = Find(mountPoint);
    return volume == nullptr ? std::nullopt
                             : std::optional(HandOut(volume->name, name, size, ERROR_FILENAME_EXCED_RANGE));
}

DWORD ShownVolumes::DriveStrings(DWORD size, wchar_t* buffer) const
{
    std::set<std::wstring, win::NameLess> roots;
    for (const auto& [letter, target] : devices) {
        roots.insert(std::wstring(1, letter) + L":\\");
    }
    for (const ShownVolume& volume : volumes) {
        std::ranges::copy_if(volume.mountedAt, std::inserter(roots, roots.end()), IsDriveRoot);
    }
    std::wstring list;
    for (const std::wstring& root : roots) {
        list += root + L'\0';
    }
    // Windows counts the closing null character of the list only where it tells how much room is needed.
    const auto length = static_cast<DWORD>(list.size());
    return HandOut(list, buffer, size, ERROR_SUCCESS) == FALSE ? length + 1 : length;
}

std::optional<DWORD> ShownVolumes::DosDevice(std::wstring_view device, wchar_t* target, DWORD size) const
{
    std::wstring name;
    if (device.size() == 2 && device.back() == L':') {
        if (const auto found = devices.find(device.front()); found != devices.end()) {
            name = found->second;
        } else if (const ShownVolume* const volume = Find(std::wstring(device) + L'\\')) {
            name = L"\\Device\\HarddiskVolume" + std::to_wstring(volume - volumes.data() + 1);
        }
    }
    if (name.empty()) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return std::nullopt;
    }
    // The answer is a list of one name, so it ends with two null characters.
    const BOOL fits = HandOut(name + L'\0', target, size, ERROR_INSUFFICIENT_BUFFER);
    return fits == FALSE ? 0 : static_cast<DWORD>(name.size() + 2);
}

std::optional<UINT> ShownVolumes::DriveType(std::wstring_view root) const
{
    const ShownVolume* const volume = Find(root);
    return volume == nullptr ? std::nullopt : std::optional(volume->driveType);
}

std::optional<BOOL> ShownVolumes::VolumeInformation(std::wstring_view root, wchar_t* label, DWORD labelSize,
                                                    DWORD* serialNumber, DWORD* longestName, DWORD* flags,
                                                    wchar_t* fileSystem, DWORD fileSystemSize) const
{
    const ShownVolume* const volume = Find(root);
    if (volume == nullptr) {
        return std::nullopt;
    }
    if (volume->fileSystemError != ERROR_SUCCESS) {
        return FailWith(volume->fileSystemError);
    }
    constexpr DWORD kLongestName = 255;
    Fill(serialNumber, 0);
    Fill(longestName, kLongestName);
    Fill(flags, 0);
    if (label != nullptr && HandOut(volume->label, label, labelSize, ERROR_MORE_DATA) == FALSE) {
        return FALSE;
    }
    return fileSystem == nullptr ? TRUE : HandOut(volume->fileSystem, fileSystem, fileSystemSize, ERROR_MORE_DATA);
}

std::optional<BOOL> ShownVolumes::FreeSpace(std::wstring_view root, DWORD* sectorsPerCluster, DWORD* bytesPerSector,
                                            DWORD* freeClusters, DWORD* totalClusters) const
{
    const ShownVolume* const volume = Find(root);
    if (volume == nullptr) {
        return std::nullopt;
    }
    if (volume->clustersError != ERROR_SUCCESS) {
        return FailWith(volume->clustersError);
    }
    Fill(sectorsPerCluster, volume->sectorsPerCluster);
    Fill(bytesPerSector, volume->bytesPerSector);
    Fill(freeClusters, volume->freeClusters);
    Fill(totalClusters, volume->totalClusters);
    return TRUE;
}

std::optional<BOOL> ShownVolumes::FreeBytes(std::wstring_view root, ULARGE_INTEGER* freeToCaller, ULARGE_INTEGER* total,
                                            ULARGE_INTEGER* freeToAll) const
{
    const ShownVolume* const volume = Find(root);
    if (volume == nullptr) {
        return std::nullopt;
    }
    if (volume->bytesError != ERROR_SUCCESS) {
        return FailWith(volume->bytesError);
    }
    Fill(freeToCaller, ULARGE_INTEGER{.QuadPart = volume->callersFreeBytes});
    Fill(total, ULARGE_INTEGER{.QuadPart = volume->totalBytes});
    Fill(freeToAll, ULARGE_INTEGER{.QuadPart = volume->callersFreeBytes});
    return TRUE;
}

std::optional<HANDLE> ShownVolumes::OpenDevice(std::wstring_view path, const std::function<HANDLE()>& open)
{
    const ShownVolume* const volume = path.starts_with(L"\\\\") ? FindDevice(path) : nullptr;
    if (volume == nullptr) {
        return std::nullopt;
    }
    if (SucceedUnless(volume->openError) == FALSE) {
        return INVALID_HANDLE_VALUE;
    }
    HANDLE const device = open();
    const std::scoped_lock guard(lock_);
    deviceHandles_.insert_or_assign(device, volume->name);
    return device;
}

void ShownVolumes::ForgetHandle(HANDLE handle)
{
    const std::scoped_lock guard(lock_);
    deviceHandles_.erase(handle);
}

const ShownVolume* ShownVolumes::FindHandle(HANDLE device) const
{
    const std::scoped_lock guard(lock_);
    const auto found = deviceHandles_.find(device);
    return found == deviceHandles_.end() ? nullptr : Find(found->second);
}

std::optional<BOOL> ShownVolumes::Control(HANDLE device, DWORD code, void* output, DWORD outputSize,
                                          DWORD* returned) const
{
    const ShownVolume* const volume = FindHandle(device);
    if (volume == nullptr) {
        return std::nullopt;
    }
    if (code == IOCTL_STORAGE_QUERY_PROPERTY) {
        STORAGE_DEVICE_DESCRIPTOR descriptor{};
        descriptor.Version = sizeof descriptor;
        descriptor.Size = sizeof descriptor;
        descriptor.RemovableMedia = volume->driveType == DRIVE_REMOVABLE || volume->driveType == DRIVE_CDROM;
        descriptor.BusType = volume->bus;
        return HandOutRecord(descriptor, sizeof(STORAGE_DESCRIPTOR_HEADER), volume->busError, output, outputSize,
                             returned);
    }
    if (code == FSCTL_GET_NTFS_VOLUME_DATA) {
        return HandOutRecord(volume->ntfs, sizeof volume->ntfs, volume->ntfsError, output, outputSize, returned);
    }
    return FailWith(ERROR_INVALID_FUNCTION);
}

} // namespace sim
