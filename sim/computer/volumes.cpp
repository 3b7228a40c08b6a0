#include "computer/replacements.h"
#include "computer/simulated_computer.h"

#include "win/text.h"

namespace sim {

namespace {

ShownVolumes& Volumes()
{
    return Computer().Volumes();
}

bool HasVolumes()
{
    return !Volumes().volumes.empty();
}

// --- Volumes and where they are mounted ---

HANDLE WINAPI FirstVolume(wchar_t* name, DWORD size)
{
    if (Fails(L"FindFirstVolumeW")) {
        return INVALID_HANDLE_VALUE;
    }
    return HasVolumes() ? Volumes().FindFirstVolume(name, size) : FindFirstVolumeW(name, size);
}

BOOL WINAPI NextVolume(HANDLE search, wchar_t* name, DWORD size)
{
    if (Fails(L"FindNextVolumeW")) {
        return FALSE;
    }
    const std::optional<BOOL> answer = Volumes().FindNext(search, name, size);
    return answer ? *answer : FindNextVolumeW(search, name, size);
}

BOOL WINAPI EndVolumes(HANDLE search)
{
    const std::optional<BOOL> answer = Volumes().CloseSearch(search);
    return answer ? *answer : FindVolumeClose(search);
}

HANDLE WINAPI FirstMountPoint(const wchar_t* root, wchar_t* folder, DWORD size)
{
    if (Fails(L"FindFirstVolumeMountPointW", root)) {
        return INVALID_HANDLE_VALUE;
    }
    const std::optional<HANDLE> answer = Volumes().FindFirstMountPoint(root, folder, size);
    return answer ? *answer : FindFirstVolumeMountPointW(root, folder, size);
}

BOOL WINAPI NextMountPoint(HANDLE search, wchar_t* folder, DWORD size)
{
    const std::optional<BOOL> answer = Volumes().FindNext(search, folder, size);
    return answer ? *answer : FindNextVolumeMountPointW(search, folder, size);
}

BOOL WINAPI EndMountPoints(HANDLE search)
{
    const std::optional<BOOL> answer = Volumes().CloseSearch(search);
    return answer ? *answer : FindVolumeMountPointClose(search);
}

BOOL WINAPI VolumeNameOfMountPoint(const wchar_t* mountPoint, wchar_t* name, DWORD size)
{
    const std::optional<BOOL> answer = Volumes().VolumeName(mountPoint, name, size);
    return answer ? *answer : GetVolumeNameForVolumeMountPointW(mountPoint, name, size);
}

DWORD WINAPI DriveRoots(DWORD size, wchar_t* buffer)
{
    return HasVolumes() ? Volumes().DriveStrings(size, buffer) : GetLogicalDriveStringsW(size, buffer);
}

DWORD WINAPI DosDevice(const wchar_t* device, wchar_t* target, DWORD size)
{
    const std::optional<DWORD> answer = device == nullptr ? std::nullopt : Volumes().DosDevice(device, target, size);
    return answer ? *answer : QueryDosDeviceW(device, target, size);
}

// --- What a volume is like; without a root, Windows tells of the current directory's ---

UINT WINAPI TypeOfDrive(const wchar_t* root)
{
    const std::optional<UINT> answer = root == nullptr ? std::nullopt : Volumes().DriveType(root);
    return answer ? *answer : GetDriveTypeW(root);
}

BOOL WINAPI VolumeInformation(const wchar_t* root, wchar_t* label, DWORD labelSize, DWORD* serialNumber,
                              DWORD* longestName, DWORD* flags, wchar_t* fileSystem, DWORD fileSystemSize)
{
    if (root == nullptr) {
        return GetVolumeInformationW(root, label, labelSize, serialNumber, longestName, flags, fileSystem,
                                     fileSystemSize);
    }
    if (Fails(L"GetVolumeInformationW", root)) {
        return FALSE;
    }
    const std::optional<BOOL> answer = Volumes().VolumeInformation(root, label, labelSize, serialNumber, longestName,
                                                                   flags, fileSystem, fileSystemSize);
    return answer ? *answer
                  : GetVolumeInformationW(root, label, labelSize, serialNumber, longestName, flags, fileSystem,
                                          fileSystemSize);
}

BOOL WINAPI FreeSpace(const wchar_t* root, DWORD* sectorsPerCluster, DWORD* bytesPerSector, DWORD* freeClusters,
                      DWORD* totalClusters)
{
    if (root == nullptr) {
        return GetDiskFreeSpaceW(root, sectorsPerCluster, bytesPerSector, freeClusters, totalClusters);
    }
    if (Fails(L"GetDiskFreeSpaceW", root)) {
        return FALSE;
    }
    const std::optional<BOOL> answer =
        Volumes().FreeSpace(root, sectorsPerCluster, bytesPerSector, freeClusters, totalClusters);
    return answer ? *answer : GetDiskFreeSpaceW(root, sectorsPerCluster, bytesPerSector, freeClusters, totalClusters);
}

BOOL WINAPI FreeBytes(const wchar_t* root, ULARGE_INTEGER* freeToCaller, ULARGE_INTEGER* total,
                      ULARGE_INTEGER* freeToAll)
{
    if (root == nullptr) {
        return GetDiskFreeSpaceExW(root, freeToCaller, total, freeToAll);
    }
    if (Fails(L"GetDiskFreeSpaceExW", root)) {
        return FALSE;
    }
    const std::optional<BOOL> answer = Volumes().FreeBytes(root, freeToCaller, total, freeToAll);
    return answer ? *answer : GetDiskFreeSpaceExW(root, freeToCaller, total, freeToAll);
}

// --- Devices ---

// The file that is shown in place of the one at this path, or nothing.
const std::wstring* FindBootIni(std::wstring_view path)
{
    constexpr std::wstring_view kName = L"boot.ini";
    if (path.size() <= kName.size() || !win::EqualNames(path.substr(path.size() - kName.size()), kName)) {
        return nullptr;
    }
    path.remove_suffix(kName.size());
    const ShownVolume* const volume = Volumes().Find(path);
    const auto& shown = Computer().BootInis();
    const auto found = volume == nullptr ? shown.end() : shown.find(volume->name);
    return found == shown.end() ? nullptr : &found->second;
}

HANDLE WINAPI OpenFileOrVolume(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                               DWORD disposition, DWORD flags, HANDLE pattern)
{
    if (Fails(L"CreateFileW", path)) {
        return INVALID_HANDLE_VALUE;
    }
    // Any kernel object stands for the device that the program can close by itself.
    const std::optional<HANDLE> device = Volumes().OpenDevice(path, [] {
        HANDLE const handle = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        return handle == nullptr ? INVALID_HANDLE_VALUE : handle;
    });
    if (device) {
        return *device;
    }
    const std::wstring* const shown = FindBootIni(path);
    HANDLE const file =
        CreateFileW(shown != nullptr ? shown->c_str() : path, access, share, security, disposition, flags, pattern);
    const DWORD error = GetLastError();
    Volumes().ForgetHandle(file);
    SetLastError(error);
    return file;
}

BOOL WINAPI AskDevice(HANDLE device, DWORD code, void* input, DWORD inputSize, void* output, DWORD outputSize,
                      DWORD* returned, OVERLAPPED* overlapped)
{
    if (const ShownVolume* const volume = Volumes().FindHandle(device);
        volume != nullptr && Fails(L"DeviceIoControl", volume->name)) {
        return FALSE;
    }
    const std::optional<BOOL> answer = Volumes().Control(device, code, output, outputSize, returned);
    return answer ? *answer : DeviceIoControl(device, code, input, inputSize, output, outputSize, returned, overlapped);
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
        Replace("CreateFileW", &CreateFileW, &OpenFileOrVolume),
        Replace("DeviceIoControl", &DeviceIoControl, &AskDevice),
    };
    return kReplacements;
}

} // namespace sim
