#include "computer/replacements.h"
#include "computer/simulated_computer.h"

#include "win/text.h"

#include <algorithm>
#include <cwctype>
#include <iterator>
#include <map>
#include <memory>
#include <utility>

namespace sim {

namespace {

bool HasVolumes()
{
    return !Computer().Setup().volumes.empty();
}

BOOL FailWith(DWORD error)
{
    SetLastError(error);
    return FALSE;
}

// Hands out a text with its closing null character, where there is room for it.
BOOL HandOut(std::wstring_view text, wchar_t* buffer, DWORD size, DWORD errorWithoutRoom)
{
    if (size <= text.size()) {
        return FailWith(errorWithoutRoom);
    }
    std::ranges::copy(text, buffer);
    buffer[text.size()] = L'\0';
    return TRUE;
}

bool IsRoot(std::wstring_view mount)
{
    constexpr std::size_t kRootLength = 3; // as in D:\ .
    return mount.size() == kRootLength;
}

// --- Searches: texts that are handed out one after the other ---

class Searches {
public:
    HANDLE Begin(std::vector<std::wstring> texts)
    {
        auto search = std::make_unique<Search>(Search{std::move(texts)});
        const std::scoped_lock guard(lock_);
        // The address of the search is its handle: Windows' own handles are small numbers.
        HANDLE const handle = search.get();
        searches_.emplace(handle, std::move(search));
        return handle;
    }

    [[nodiscard]] bool Knows(HANDLE handle)
    {
        const std::scoped_lock guard(lock_);
        return searches_.contains(handle);
    }

    BOOL Next(HANDLE handle, wchar_t* buffer, DWORD size)
    {
        const std::scoped_lock guard(lock_);
        Search& search = *searches_.at(handle);
        if (search.next == search.texts.size()) {
            return FailWith(ERROR_NO_MORE_FILES);
        }
        return HandOut(search.texts[search.next++], buffer, size, ERROR_FILENAME_EXCED_RANGE);
    }

    void End(HANDLE handle)
    {
        const std::scoped_lock guard(lock_);
        searches_.erase(handle);
    }

private:
    struct Search {
        std::vector<std::wstring> texts;
        std::size_t next = 0;
    };

    std::mutex lock_;
    std::map<HANDLE, std::unique_ptr<Search>> searches_;
};

Searches& TheSearches()
{
    static Searches searches;
    return searches;
}

// Begins a search and hands out its first text; a search that cannot do so ends at once.
HANDLE BeginSearch(std::vector<std::wstring> texts, wchar_t* buffer, DWORD size)
{
    HANDLE const search = TheSearches().Begin(std::move(texts));
    if (TheSearches().Next(search, buffer, size) == FALSE) {
        const DWORD error = GetLastError();
        TheSearches().End(search);
        SetLastError(error);
        return INVALID_HANDLE_VALUE;
    }
    return search;
}

template <typename End>
BOOL EndSearch(HANDLE search, End end)
{
    if (!TheSearches().Knows(search)) {
        return end(search);
    }
    TheSearches().End(search);
    return TRUE;
}

// --- Volumes and where they are mounted ---

HANDLE WINAPI FirstVolume(wchar_t* name, DWORD size)
{
    if (Fails(L"FindFirstVolumeW")) {
        return INVALID_HANDLE_VALUE;
    }
    if (!HasVolumes()) {
        return FindFirstVolumeW(name, size);
    }
    std::vector<std::wstring> names;
    for (const VolumeSetup& volume : Computer().Setup().volumes) {
        names.push_back(volume.name);
    }
    return BeginSearch(std::move(names), name, size);
}

BOOL WINAPI NextVolume(HANDLE search, wchar_t* name, DWORD size)
{
    if (Fails(L"FindNextVolumeW")) {
        return FALSE;
    }
    return TheSearches().Knows(search) ? TheSearches().Next(search, name, size) : FindNextVolumeW(search, name, size);
}

BOOL WINAPI EndVolumes(HANDLE search)
{
    return EndSearch(search, FindVolumeClose);
}

HANDLE WINAPI FirstMountPoint(const wchar_t* root, wchar_t* folder, DWORD size)
{
    if (Fails(L"FindFirstVolumeMountPointW", root)) {
        return INVALID_HANDLE_VALUE;
    }
    const VolumeSetup* const host = Computer().FindVolume(root);
    if (host == nullptr) {
        return FindFirstVolumeMountPointW(root, folder, size);
    }
    // Told as they stand below the root of the volume that they are on.
    std::vector<std::wstring> folders;
    for (const VolumeSetup& volume : Computer().Setup().volumes) {
        for (const std::wstring& mount : volume.mounts) {
            for (const std::wstring& hostMount : host->mounts) {
                if (IsRoot(hostMount) && !IsRoot(mount) &&
                    win::EqualNames(mount.substr(0, hostMount.size()), hostMount)) {
                    folders.push_back(mount.substr(hostMount.size()));
                }
            }
        }
    }
    return BeginSearch(std::move(folders), folder, size);
}

BOOL WINAPI NextMountPoint(HANDLE search, wchar_t* folder, DWORD size)
{
    return TheSearches().Knows(search) ? TheSearches().Next(search, folder, size)
                                       : FindNextVolumeMountPointW(search, folder, size);
}

BOOL WINAPI EndMountPoints(HANDLE search)
{
    return EndSearch(search, FindVolumeMountPointClose);
}

BOOL WINAPI VolumeNameOfMountPoint(const wchar_t* mountPoint, wchar_t* name, DWORD size)
{
    const VolumeSetup* const volume = Computer().FindVolume(mountPoint);
    return volume != nullptr ? HandOut(volume->name, name, size, ERROR_FILENAME_EXCED_RANGE)
                             : GetVolumeNameForVolumeMountPointW(mountPoint, name, size);
}

DWORD WINAPI DriveRoots(DWORD size, wchar_t* buffer)
{
    if (!HasVolumes()) {
        return GetLogicalDriveStringsW(size, buffer);
    }
    std::vector<std::wstring> roots;
    for (const VolumeSetup& volume : Computer().Setup().volumes) {
        std::ranges::copy_if(volume.mounts, std::back_inserter(roots), IsRoot);
    }
    std::ranges::sort(roots, win::NameLess());
    std::wstring list;
    for (const std::wstring& root : roots) {
        list += root + L'\0';
    }
    // As Windows counts: the room that is needed with the closing null character, what was handed out without it.
    if (size <= list.size()) {
        return static_cast<DWORD>(list.size() + 1);
    }
    std::ranges::copy(list, buffer);
    buffer[list.size()] = L'\0';
    return static_cast<DWORD>(list.size());
}

DWORD WINAPI DosDevice(const wchar_t* device, wchar_t* target, DWORD size)
{
    const VolumeSetup* const volume = device == nullptr ? nullptr : Computer().FindVolume(std::wstring(device) + L'\\');
    if (volume == nullptr) {
        return QueryDosDeviceW(device, target, size);
    }
    const std::wstring number = std::to_wstring(volume - Computer().Setup().volumes.data() + 1);
    const std::wstring name = (volume->floppy ? L"\\Device\\Floppy" : L"\\Device\\HarddiskVolume") + number;
    // The answer is a list of one name, so it ends with two null characters.
    if (HandOut(name + L'\0', target, size, ERROR_INSUFFICIENT_BUFFER) == FALSE) {
        return 0;
    }
    return static_cast<DWORD>(name.size() + 2);
}

// --- What a volume is like ---

UINT WINAPI TypeOfDrive(const wchar_t* root)
{
    const VolumeSetup* const volume = root == nullptr ? nullptr : Computer().FindVolume(root);
    return volume != nullptr ? volume->type : GetDriveTypeW(root);
}

// Why nothing can be told of a volume without a file system: there is no medium, or it is not formatted.
DWORD ErrorWithoutFileSystem(const VolumeSetup& volume)
{
    return volume.type == DRIVE_CDROM || volume.type == DRIVE_REMOVABLE ? ERROR_NOT_READY : ERROR_UNRECOGNIZED_VOLUME;
}

BOOL WINAPI VolumeInformation(const wchar_t* root, wchar_t* label, DWORD labelSize, DWORD* serialNumber,
                              DWORD* longestName, DWORD* flags, wchar_t* fileSystem, DWORD fileSystemSize)
{
    if (root != nullptr && Fails(L"GetVolumeInformationW", root)) {
        return FALSE;
    }
    const VolumeSetup* const volume = root == nullptr ? nullptr : Computer().FindVolume(root);
    if (volume == nullptr) {
        return GetVolumeInformationW(root, label, labelSize, serialNumber, longestName, flags, fileSystem,
                                     fileSystemSize);
    }
    if (volume->fileSystem.empty()) {
        return FailWith(ErrorWithoutFileSystem(*volume));
    }
    constexpr DWORD kLongestName = 255;
    for (const auto& [place, value] :
         {std::pair(serialNumber, DWORD(0)), std::pair(longestName, kLongestName), std::pair(flags, DWORD(0))}) {
        if (place != nullptr) {
            *place = value;
        }
    }
    if (label != nullptr && HandOut(volume->label, label, labelSize, ERROR_MORE_DATA) == FALSE) {
        return FALSE;
    }
    return fileSystem == nullptr || HandOut(volume->fileSystem, fileSystem, fileSystemSize, ERROR_MORE_DATA) != FALSE
               ? TRUE
               : FALSE;
}

BOOL WINAPI FreeSpace(const wchar_t* root, DWORD* sectorsPerCluster, DWORD* bytesPerSector, DWORD* freeClusters,
                      DWORD* totalClusters)
{
    if (root != nullptr && Fails(L"GetDiskFreeSpaceW", root)) {
        return FALSE;
    }
    const VolumeSetup* const volume = root == nullptr ? nullptr : Computer().FindVolume(root);
    if (volume == nullptr) {
        return GetDiskFreeSpaceW(root, sectorsPerCluster, bytesPerSector, freeClusters, totalClusters);
    }
    if (volume->fileSystem.empty()) {
        return FailWith(ErrorWithoutFileSystem(*volume));
    }
    // Counts that do not fit are cut to the greatest that does.
    constexpr std::uint64_t kMost = 0xFFFFFFFF;
    for (const auto& [place, value] :
         {std::pair(sectorsPerCluster, std::uint64_t(volume->sectorsPerCluster)),
          std::pair(bytesPerSector, std::uint64_t(volume->bytesPerSector)),
          std::pair(freeClusters, volume->freeClusters), std::pair(totalClusters, volume->totalClusters)}) {
        if (place != nullptr) {
            *place = static_cast<DWORD>(std::min(value, kMost));
        }
    }
    return TRUE;
}

BOOL WINAPI FreeBytes(const wchar_t* root, ULARGE_INTEGER* freeToCaller, ULARGE_INTEGER* total,
                      ULARGE_INTEGER* freeToAll)
{
    if (root != nullptr && Fails(L"GetDiskFreeSpaceExW", root)) {
        return FALSE;
    }
    const VolumeSetup* const volume = root == nullptr ? nullptr : Computer().FindVolume(root);
    if (volume == nullptr) {
        return GetDiskFreeSpaceExW(root, freeToCaller, total, freeToAll);
    }
    if (volume->fileSystem.empty()) {
        return FailWith(ErrorWithoutFileSystem(*volume));
    }
    const std::uint64_t clusterSize = std::uint64_t(volume->sectorsPerCluster) * volume->bytesPerSector;
    for (const auto& [place, clusters] :
         {std::pair(freeToCaller, volume->freeClusters), std::pair(total, volume->totalClusters),
          std::pair(freeToAll, volume->freeClusters)}) {
        if (place != nullptr) {
            place->QuadPart = clusters * clusterSize;
        }
    }
    return TRUE;
}

} // namespace

std::span<const Replacement> VolumeReplacements()
{
    static const Replacement kReplacements[] = {
        Replace("FindFirstVolumeW", &FindFirstVolumeW, &FirstVolume),
        Replace("FindNextVolumeW", &FindNextVolumeW, &NextVolume),
        Replace("FindVolumeClose", &FindVolumeClose, &EndVolumes),
        Replace("FindFirstVolumeMountPointW", &FindFirstVolumeMountPointW, &FirstMountPoint),
        Replace("FindNextVolumeMountPointW", &FindNextVolumeMountPointW, &NextMountPoint),
        Replace("FindVolumeMountPointClose", &FindVolumeMountPointClose, &EndMountPoints),
        Replace("GetVolumeNameForVolumeMountPointW", &GetVolumeNameForVolumeMountPointW, &VolumeNameOfMountPoint),
        Replace("GetLogicalDriveStringsW", &GetLogicalDriveStringsW, &DriveRoots),
        Replace("QueryDosDeviceW", &QueryDosDeviceW, &DosDevice),
        Replace("GetDriveTypeW", &GetDriveTypeW, &TypeOfDrive),
        Replace("GetVolumeInformationW", &GetVolumeInformationW, &VolumeInformation),
        Replace("GetDiskFreeSpaceW", &GetDiskFreeSpaceW, &FreeSpace),
        Replace("GetDiskFreeSpaceExW", &GetDiskFreeSpaceExW, &FreeBytes),
    };
    return kReplacements;
}

} // namespace sim
