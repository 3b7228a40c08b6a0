#include "support/described_volumes.h"

#include "win/text.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <set>

namespace testing_support {

namespace {

constexpr std::size_t kRootCharacters = 3; // of "C:\"

bool StartsWith(std::wstring_view path, std::wstring_view beginning)
{
    return path.size() > beginning.size() && win::EqualNames(path.substr(0, beginning.size()), beginning);
}

} // namespace

std::wstring VolumeNameOf(unsigned number)
{
    wchar_t name[64] = {};
    swprintf(name, std::size(name), L"\\\\?\\Volume{%08x-aBcD-11ee-8c99-0242ac120002}\\", number);
    return name;
}

DescribedVolumes::~DescribedVolumes()
{
    EXPECT_EQ(0U, volumeSearches_.Open());
    EXPECT_EQ(0U, folderSearches_.Open());
}

DescribedVolume& DescribedVolumes::Add(const std::vector<std::wstring>& mountedAt)
{
    DescribedVolume& volume = volumes.emplace_back();
    volume.name = VolumeNameOf(static_cast<unsigned>(volumes.size()));
    volume.mountedAt = mountedAt;
    return volume;
}

HANDLE DescribedVolumes::Searches::First(std::vector<std::wstring> found, LPWSTR text, DWORD length)
{
    if (found.empty()) {
        SetLastError(ERROR_NO_MORE_FILES);
        return INVALID_HANDLE_VALUE;
    }
    std::reverse(found.begin(), found.end());
    Give(found, text, length);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number that looks like an address.
    auto* const search = reinterpret_cast<HANDLE>(++lastHandle_);
    left_.emplace(search, std::move(found));
    return search;
}

BOOL DescribedVolumes::Searches::Next(HANDLE search, LPWSTR text, DWORD length)
{
    const auto found = left_.find(search);
    EXPECT_NE(left_.end(), found);
    if (found == left_.end() || found->second.empty()) {
        SetLastError(ERROR_NO_MORE_FILES);
        return FALSE;
    }
    Give(found->second, text, length);
    return TRUE;
}

BOOL DescribedVolumes::Searches::Close(HANDLE search)
{
    const bool isOpen = left_.erase(search) == 1;
    EXPECT_TRUE(isOpen);
    return isOpen ? TRUE : FALSE;
}

void DescribedVolumes::Searches::Give(std::vector<std::wstring>& left, LPWSTR text, DWORD length)
{
    EXPECT_EQ(261U, length);
    EXPECT_TRUE(GiveText(left.back(), text, length));
    left.pop_back();
}

const DescribedVolume* DescribedVolumes::VolumeAt(std::wstring_view root) const
{
    if (!root.ends_with(L'\\')) {
        SetLastError(ERROR_INVALID_NAME);
        return nullptr;
    }
    const auto isAt = [root](std::wstring_view place) { return win::EqualNames(place, root); };
    const auto found = std::find_if(volumes.begin(), volumes.end(), [&](const DescribedVolume& volume) {
        return isAt(volume.name) || std::any_of(volume.mountedAt.begin(), volume.mountedAt.end(), isAt);
    });
    if (found == volumes.end()) {
        SetLastError(ERROR_NOT_READY);
        return nullptr;
    }
    return &*found;
}

const DescribedVolume* DescribedVolumes::VolumeOfDevice(std::wstring_view path) const
{
    constexpr std::wstring_view kDosDevices = L"\\\\.\\";
    if (path.ends_with(L'\\')) {
        // That is the volume's root folder.
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    return VolumeAt(std::wstring(path.substr(path.starts_with(kDosDevices) ? kDosDevices.size() : 0)) + L'\\');
}

const DescribedVolume* DescribedVolumes::VolumeOfHandle(HANDLE device) const
{
    const auto found = deviceHandles_.find(device);
    if (found == deviceHandles_.end()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return VolumeOfDevice(found->second);
}

std::vector<std::wstring> DescribedVolumes::Names() const
{
    std::vector<std::wstring> names;
    names.reserve(volumes.size());
    for (const DescribedVolume& volume : volumes) {
        names.push_back(volume.name);
    }
    return names;
}

std::vector<std::wstring> DescribedVolumes::FoldersOn(std::wstring_view root) const
{
    std::vector<std::wstring> folders;
    for (const DescribedVolume& volume : volumes) {
        std::copy_if(volume.mountedAt.begin(), volume.mountedAt.end(), std::back_inserter(folders),
                     [root](const std::wstring& folder) { return StartsWith(folder, root); });
    }
    const std::vector<std::wstring> all = folders;
    std::erase_if(folders, [&all](const std::wstring& folder) {
        return std::any_of(all.begin(), all.end(),
                           [&folder](const std::wstring& other) { return StartsWith(folder, other); });
    });
    for (std::wstring& folder : folders) {
        folder.erase(0, root.size());
    }
    return folders;
}

std::wstring DescribedVolumes::Roots() const
{
    std::set<wchar_t> letters;
    for (const auto& [letter, target] : devices) {
        letters.insert(letter);
    }
    for (const DescribedVolume& volume : volumes) {
        for (const std::wstring& place : volume.mountedAt) {
            if (place.size() == kRootCharacters) {
                letters.insert(place.front());
            }
        }
    }
    std::wstring roots;
    for (const wchar_t letter : letters) {
        roots.append(1, letter).append(L":\\").append(1, L'\0');
    }
    return roots;
}

std::wstring DescribedVolumes::TargetOf(std::wstring_view device) const
{
    const bool isDrive = device.size() == 2 && device.back() == L':';
    if (const auto found = isDrive ? devices.find(device.front()) : devices.end(); found != devices.end()) {
        return found->second;
    }
    if (isDrive && VolumeAt(std::wstring(device) + L'\\') != nullptr) {
        return L"\\Device\\HarddiskVolume7";
    }
    SetLastError(ERROR_FILE_NOT_FOUND);
    return {};
}

HANDLE DescribedVolumes::OpenDevice(std::wstring_view path)
{
    const DescribedVolume* const volume = VolumeOfDevice(path);
    if (volume == nullptr || !Succeeds(volume->openError)) {
        return INVALID_HANDLE_VALUE;
    }
    // Some handle that Windows knows, so that it can be closed.
    const HANDLE device = createFile_.Original(L"NUL", 0, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(INVALID_HANDLE_VALUE, device);
    deviceHandles_.insert_or_assign(device, std::wstring(path));
    return device;
}

bool DescribedVolumes::Control(HANDLE device, DWORD code, std::pair<void*, DWORD> input, std::pair<void*, DWORD> output,
                               DWORD& returned) const
{
    const DescribedVolume* const volume = VolumeOfHandle(device);
    if (volume == nullptr) {
        ADD_FAILURE() << "a control call without a device";
        return false;
    }
    const auto tell = [&](const auto& answer, DWORD error) {
        EXPECT_EQ(sizeof answer, output.second);
        std::memcpy(output.first, &answer, sizeof answer);
        returned = sizeof answer;
        return Succeeds(error);
    };
    if (code == IOCTL_STORAGE_QUERY_PROPERTY) {
        EXPECT_EQ(12U, input.second);
        const auto& query = *static_cast<const STORAGE_PROPERTY_QUERY*>(input.first);
        EXPECT_EQ(StorageDeviceProperty, query.PropertyId);
        EXPECT_EQ(PropertyStandardQuery, query.QueryType);
        EXPECT_EQ(40U, static_cast<const STORAGE_DEVICE_DESCRIPTOR*>(output.first)->Size);
        STORAGE_DEVICE_DESCRIPTOR descriptor{};
        static_assert(sizeof descriptor == 40);
        descriptor.BusType = volume->bus;
        return tell(descriptor, volume->busError);
    }
    EXPECT_EQ(FSCTL_GET_NTFS_VOLUME_DATA, code);
    EXPECT_EQ(nullptr, input.first);
    EXPECT_EQ(0U, input.second);
    static_assert(sizeof volume->ntfs == 96);
    return tell(volume->ntfs, volume->ntfsError);
}

bool DescribedVolumes::GiveText(std::wstring_view text, wchar_t* buffer, DWORD length)
{
    if (text.size() >= length) {
        SetLastError(ERROR_MORE_DATA);
        return false;
    }
    buffer[text.copy(buffer, text.size())] = L'\0';
    return true;
}

bool DescribedVolumes::Succeeds(DWORD error)
{
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
    }
    return error == ERROR_SUCCESS;
}

} // namespace testing_support
