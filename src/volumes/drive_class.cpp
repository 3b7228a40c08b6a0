#include "volumes/drive_class.h"

#include "support/registry.h"
#include "volumes/volume_facts.h"
#include "win/text.h"

#include <algorithm>
#include <cwctype>
#include <iterator>
#include <string_view>

namespace {

constexpr std::wstring_view kSupportedFileSystems[] = {L"NTFS", L"CsvFS", L"ReFS", L"exFAT", L"KestraneFS"};
constexpr std::wstring_view kFatPrefix = L"FAT";

constexpr std::initializer_list<STORAGE_BUS_TYPE> kExternalBuses = {BusTypeUsb, BusType1394};
constexpr std::initializer_list<STORAGE_BUS_TYPE> kAtaBus = {BusTypeAta};

} // namespace

bool IsFloppyDrive(wchar_t letter)
{
    const wchar_t device[] = {letter, L':', L'\0'};
    wchar_t target[MAX_PATH] = {};
    if (QueryDosDeviceW(device, target, MAX_PATH) == 0) {
        return false;
    }
    std::wstring lower = target;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
    return lower.find(L"\\floppy") != std::wstring::npos;
}

bool IsSupportedFileSystem(const std::wstring& root)
{
    const std::wstring name = FileSystemName(root).value_or(std::wstring());
    return win::EqualNames(std::wstring_view(name).substr(0, kFatPrefix.size()), kFatPrefix) ||
           std::any_of(std::begin(kSupportedFileSystems), std::end(kSupportedFileSystems),
                       [&](std::wstring_view supported) { return win::EqualNames(name, supported); });
}

bool IsVolumeOnBus(const std::wstring& volume, std::initializer_list<STORAGE_BUS_TYPE> buses)
{
    if (volume.empty()) {
        return false;
    }
    const std::wstring device = volume.ends_with(L'\\') ? volume.substr(0, volume.size() - 1) : volume;
    // Asking a device about itself takes no right to read or write it.
    const win::FileHandle handle(
        CreateFileW(device.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
    if (!handle) {
        return false;
    }
    STORAGE_PROPERTY_QUERY query{};
    query.PropertyId = StorageDeviceProperty;
    query.QueryType = PropertyStandardQuery;
    // Without the texts that follow the descriptor's fixed part.
    STORAGE_DEVICE_DESCRIPTOR descriptor{};
    descriptor.Size = sizeof descriptor;
    DWORD returned = 0;
    if (DeviceIoControl(handle.Get(), IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof query, &descriptor,
                        sizeof descriptor, &returned, nullptr) == FALSE) {
        return false;
    }
    return std::find(buses.begin(), buses.end(), descriptor.BusType) != buses.end();
}

bool ShowAllOtherRemovableDrives()
{
    return RegFindDword(HKEY_LOCAL_MACHINE, kCoreKey, L"ShowAllOtherRemoveableDrives").has_value();
}

bool IsEligibleVolume(const std::wstring& root, bool fixedExternal, bool removableKnownBus)
{
    if (!IsSupportedFileSystem(root)) {
        return false;
    }
    if (GetDriveTypeW(root.c_str()) == DRIVE_FIXED) {
        return !IsVolumeOnBus(root, kExternalBuses) || fixedExternal;
    }
    if (GetDriveTypeW(root.c_str()) == DRIVE_REMOVABLE) {
        const bool isExternal = IsVolumeOnBus(root, kExternalBuses);
        const bool isAta = IsVolumeOnBus(root, kAtaBus);
        return isExternal || isAta ? removableKnownBus : ShowAllOtherRemovableDrives();
    }
    return false;
}
