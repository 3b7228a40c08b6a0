#include "scenario/windows_functions.h"

#include "win/text.h"

#include <algorithm>
#include <iterator>

namespace sim {

const WindowsFunction* FindWindowsFunction(std::wstring_view name)
{
    static constexpr WindowsFunction kFunctions[] = {
        {L"CoInitializeEx", true, false},
        {L"CoInitializeSecurity", true, false},
        {L"CoSetProxyBlanket", true, false},
        {L"CreateEventW", false, false},
        {L"CreateFileW", false, true},
        {L"CreateMutexW", false, false},
        {L"CreateThread", false, false},
        {L"DeviceIoControl", false, true},
        {L"EnterCriticalPolicySection", false, false},
        {L"FindFirstVolumeMountPointW", false, true},
        {L"FindFirstVolumeW", false, false},
        {L"FindNextVolumeW", false, false},
        {L"GetComputerNameW", false, false},
        {L"GetDiskFreeSpaceExW", false, true},
        {L"GetDiskFreeSpaceW", false, true},
        {L"GetVersionExW", false, false},
        {L"GetVolumeInformationW", false, true},
        {L"GlobalMemoryStatusEx", false, false},
        {L"RegisterGPNotification", false, false},
        {L"RegOpenKeyExW", false, true},
        {L"SetConsoleCtrlHandler", false, false},
    };
    const auto* const found = std::ranges::find_if(
        kFunctions, [&](const WindowsFunction& function) { return win::EqualNames(function.name, name); });
    return found == std::end(kFunctions) ? nullptr : found;
}

bool IsRegistryPath(std::wstring_view path)
{
    constexpr std::wstring_view kRoots[] = {L"HKEY_CLASSES_ROOT", L"HKEY_CURRENT_CONFIG", L"HKEY_CURRENT_USER",
                                            L"HKEY_LOCAL_MACHINE", L"HKEY_USERS"};
    const std::wstring_view root = path.substr(0, path.find(L'\\'));
    return root.size() < path.size() &&
           std::ranges::any_of(kRoots, [&](std::wstring_view known) { return win::EqualNames(known, root); });
}

} // namespace sim
