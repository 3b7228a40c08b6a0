#include "support/described_volumes.h"

#include <cwchar>
#include <iterator>

namespace testing_support {

std::wstring VolumeNameOf(unsigned number)
{
    wchar_t name[64] = {};
    swprintf(name, std::size(name), L"\\\\?\\Volume{%08x-aBcD-11ee-8c99-0242ac120002}\\", number);
    return name;
}

DescribedVolumes::~DescribedVolumes()
{
    EXPECT_EQ(0U, OpenSearches());
}

DescribedVolume& DescribedVolumes::Add(const std::vector<std::wstring>& mountedAt)
{
    DescribedVolume& volume = volumes.emplace_back();
    volume.name = VolumeNameOf(static_cast<unsigned>(volumes.size()));
    volume.mountedAt = mountedAt;
    return volume;
}

BOOL DescribedVolumes::Next(HANDLE search, LPWSTR text, DWORD length)
{
    EXPECT_EQ(261U, length);
    const std::optional<BOOL> found = FindNext(search, text, length);
    EXPECT_TRUE(found) << "the search is not open";
    return found.value_or(FALSE);
}

BOOL DescribedVolumes::Close(HANDLE search)
{
    const std::optional<BOOL> closed = CloseSearch(search);
    EXPECT_TRUE(closed) << "the search is not open";
    return closed.value_or(FALSE);
}

BOOL DescribedVolumes::CheckedControl(HANDLE device, DWORD code, std::pair<void*, DWORD> input,
                                      std::pair<void*, DWORD> output, DWORD* returned) const
{
    if (code == IOCTL_STORAGE_QUERY_PROPERTY) {
        EXPECT_EQ(12U, input.second);
        const auto& query = *static_cast<const STORAGE_PROPERTY_QUERY*>(input.first);
        EXPECT_EQ(StorageDeviceProperty, query.PropertyId);
        EXPECT_EQ(PropertyStandardQuery, query.QueryType);
        EXPECT_EQ(40U, output.second);
        EXPECT_EQ(40U, static_cast<const STORAGE_DEVICE_DESCRIPTOR*>(output.first)->Size);
    } else {
        EXPECT_EQ(FSCTL_GET_NTFS_VOLUME_DATA, code);
        EXPECT_EQ(nullptr, input.first);
        EXPECT_EQ(0U, input.second);
        EXPECT_EQ(96U, output.second);
    }
    const std::optional<BOOL> answer = Control(device, code, output.first, output.second, returned);
    EXPECT_TRUE(answer) << "a control call without a device";
    return answer.value_or(FALSE);
}

} // namespace testing_support
