#include "win/system.h"

#include <algorithm>

namespace win {

namespace {

// Microsoft's headers call GetVersionExW deprecated: it tells an older version to a program whose manifest does not
// name the newer one. That answer is wanted here, so the warning is off for this one call.
#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
#elif defined(_MSC_VER)
#pragma warning(push)
#pragma warning(disable : 4996)
#endif

bool ReadVersion(OSVERSIONINFOEXW& version) noexcept
{
    return GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)) != FALSE;
}

#ifdef __clang__
#pragma clang diagnostic pop
#elif defined(_MSC_VER)
#pragma warning(pop)
#endif

} // namespace

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
    const std::size_t drive = path.size() > 1 && path[1] == L':' ? 2 : 0;
    return path.substr(0, std::max(drive, path.find_last_of(L"\\/") + 1));
}

std::wstring JoinPath(std::wstring_view folder, std::wstring_view name)
{
    std::wstring path(folder);
    if (!path.empty() && !path.ends_with(L'\\')) {
        path += L'\\';
    }
    return path.append(name);
}

std::wstring FullPath(const std::wstring& path)
{
    // The first answer counts the terminating NUL, the second does not.
    std::wstring whole(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    const DWORD length = GetFullPathNameW(path.c_str(), static_cast<DWORD>(whole.size()), whole.data(), nullptr);
    whole.resize(length < whole.size() ? length : 0);
    return whole;
}

OSVERSIONINFOEXW WindowsVersion() noexcept
{
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    return ReadVersion(version) ? version : OSVERSIONINFOEXW{};
}

} // namespace win
