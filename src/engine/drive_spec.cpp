#include "engine/drive_spec.h"

#include <cwctype>

namespace {

bool BeginsWithLetter(std::wstring_view word)
{
    return !word.empty() && std::iswalpha(word.front()) != 0;
}

bool IsDriveLetter(std::wstring_view word)
{
    constexpr std::wstring_view kRest = L":\\";
    return BeginsWithLetter(word) && kRest.starts_with(word.substr(1));
}

bool IsMountPoint(std::wstring_view word)
{
    return BeginsWithLetter(word) && word.substr(1).starts_with(L":\\");
}

// The part of the word from its first "{" to the first "}" after it, both included; empty when there is none.
std::wstring_view GuidOf(std::wstring_view word)
{
    const std::size_t open = word.find(L'{');
    const std::size_t close = word.find(L'}', open == std::wstring_view::npos ? word.size() : open);
    return close == std::wstring_view::npos ? std::wstring_view() : word.substr(open, close - open + 1);
}

DriveSpecKind KindOf(std::wstring_view word)
{
    if (IsDriveLetter(word)) {
        return DriveSpecKind::DriveLetter;
    }
    if (IsMountPoint(word)) {
        return DriveSpecKind::MountPoint;
    }
    return GuidOf(word).empty() ? DriveSpecKind::Unknown : DriveSpecKind::VolumeGuid;
}

} // namespace

bool IsDriveSpec(std::wstring_view word)
{
    if (word.starts_with(L'/') || word.starts_with(L'-')) {
        return false;
    }
    return KindOf(word) != DriveSpecKind::Unknown;
}

DriveSpec ConvertDriveSpec(std::wstring_view word)
{
    DriveSpec spec{KindOf(word), {}};
    switch (spec.kind) {
    case DriveSpecKind::DriveLetter:
        spec.text = L"X:\\";
        spec.text.front() = static_cast<wchar_t>(std::towupper(word.front()));
        break;
    case DriveSpecKind::MountPoint:
        spec.text = word;
        if (!word.ends_with(L'\\')) {
            spec.text.push_back(L'\\');
        }
        break;
    case DriveSpecKind::VolumeGuid:
        spec.text = L"\\\\?\\Volume";
        spec.text += GuidOf(word);
        break;
    case DriveSpecKind::Unknown:
        break;
    }
    return spec;
}
