#include "volumes/volume_list.h"

#include "volumes/drive_class.h"
#include "volumes/string_array.h"
#include "volumes/volume_facts.h"
#include "win/owner.h"
#include "win/text.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr wchar_t kFloppyLetters[] = {L'A', L'B'};

std::wstring RootOf(wchar_t letter)
{
    return std::wstring(1, letter) + L":\\";
}

// The volumes at A: and B: that are floppies.
StringList FloppyVolumes()
{
    StringList floppies;
    for (const wchar_t letter : kFloppyLetters) {
        if (std::wstring name = VolumeNameAt(RootOf(letter)); !name.empty() && IsFloppyDrive(letter)) {
            floppies.push_back(std::move(name));
        }
    }
    return floppies;
}

// The volume mounted in a folder of the root: the folder's path, or nothing.
std::wstring FindMountFolder(const std::wstring& root, const std::wstring& volumeName)
{
    wchar_t folder[kVolumeCharacters] = {};
    const win::FindMountPoint search(FindFirstVolumeMountPointW(root.c_str(), folder, kVolumeCharacters));
    if (!search) {
        return {};
    }
    do {
        std::wstring path = root + folder;
        // Windows cannot be asked about a longer path.
        if (path.size() < kVolumeCharacters && win::EqualNames(VolumeNameAt(path), volumeName)) {
            return path;
        }
    } while (FindNextVolumeMountPointW(search.Get(), folder, kVolumeCharacters) != FALSE);
    return {};
}

} // namespace

void EnumerateLocalVolumes(std::uint32_t /*flags*/, std::uint32_t /*moreFlags*/, win::Variant& eligible,
                           win::Variant& other)
{
    const StringList floppies = FloppyVolumes();
    wchar_t buffer[kVolumeCharacters] = {};
    const win::FindVolume search(FindFirstVolumeW(buffer, kVolumeCharacters));
    if (!search) {
        return;
    }
    StringList eligibleNames;
    StringList otherNames;
    do {
        std::wstring name = buffer;
        if (std::any_of(floppies.begin(), floppies.end(),
                        [&](const std::wstring& floppy) { return win::EqualNames(floppy, name); })) {
            continue;
        }
        StringList& names = IsEligibleVolume(name, true, true) ? eligibleNames : otherNames;
        if (!name.empty()) {
            name.pop_back();
        }
        names.push_back(std::move(name));
    } while (FindNextVolumeW(search.Get(), buffer, kVolumeCharacters) != FALSE);
    eligible = ToVariant(eligibleNames);
    other = ToVariant(otherNames);
}

void FindVolumeMountPath(const std::wstring& volumeName, std::wstring& mountPath)
{
    constexpr DWORD kDriveStringsCharacters = 512;
    mountPath.clear();
    wchar_t roots[kDriveStringsCharacters] = {};
    GetLogicalDriveStringsW(kDriveStringsCharacters, roots);
    // One root after the other, each with its NUL; an empty one ends the list.
    for (const wchar_t* next = roots; *next != L'\0' && mountPath.empty();) {
        const std::wstring root = next;
        next += root.size() + 1;
        if (!IsFloppyDrive(root.front())) {
            mountPath = win::EqualNames(VolumeNameAt(root), volumeName) ? root : FindMountFolder(root, volumeName);
        }
    }
}
