#include "win/system.h"

#include <cstdlib>
#include <cwchar>

namespace win {

std::wstring LocalComputerName()
{
    std::wstring name(MAX_COMPUTERNAME_LENGTH + 1, L'\0');
    auto length = static_cast<DWORD>(name.size());
    if (GetComputerNameW(name.data(), &length) == FALSE) {
        return {};
    }
    name.resize(length);
    return name;
}

std::wstring ProgramFolder(DWORD bufferSize)
{
    std::wstring path(bufferSize, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), bufferSize);
    // A path that fills the buffer was cut.
    if (length == 0 || length >= bufferSize) {
        return {};
    }
    path.resize(length);
    return FolderOf(path);
}

std::wstring FolderOf(const std::wstring& path)
{
    wchar_t drive[_MAX_DRIVE] = {};
    std::wstring folder(path.size() + 1, L'\0');
    if (_wsplitpath_s(path.c_str(), drive, _MAX_DRIVE, folder.data(), folder.size(), nullptr, 0, nullptr, 0) != 0) {
        return {};
    }
    folder.resize(std::wcslen(folder.c_str()));
    return drive + folder;
}

std::wstring JoinPath(std::wstring_view folder, std::wstring_view name)
{
    std::wstring path(folder);
    if (!path.empty() && !path.ends_with(L'\\')) {
        path += L'\\';
    }
    return path.append(name);
}

OSVERSIONINFOEXW WindowsVersion() noexcept
{
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)) == FALSE) {
        return {};
    }
    return version;
}

} // namespace win
