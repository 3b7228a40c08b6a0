#include "volumes/volume_facts.h"

std::wstring VolumeNameAt(const std::wstring& mountPoint)
{
    wchar_t name[kVolumeCharacters] = {};
    return GetVolumeNameForVolumeMountPointW(mountPoint.c_str(), name, kVolumeCharacters) != FALSE ? name
                                                                                                   : std::wstring();
}

std::optional<std::wstring> FileSystemName(const std::wstring& root, DWORD bufferCharacters)
{
    std::wstring name(bufferCharacters, L'\0');
    if (GetVolumeInformationW(root.c_str(), nullptr, 0, nullptr, nullptr, nullptr, name.data(), bufferCharacters) ==
        FALSE) {
        return std::nullopt;
    }
    name.resize(name.find(L'\0'));
    return name;
}
