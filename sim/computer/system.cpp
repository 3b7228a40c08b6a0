#include "computer/replacements.h"
#include "computer/simulated_computer.h"

#include <algorithm>
#include <cwchar>

namespace sim {

namespace {

int WINAPI SystemMetric(int index)
{
    const ComputerSetup& setup = Computer().Setup();
    return index == SM_CLEANBOOT && setup.cleanBoot ? static_cast<int>(*setup.cleanBoot) : GetSystemMetrics(index);
}

BOOL WINAPI ComputerName(wchar_t* buffer, DWORD* size)
{
    if (Fails(L"GetComputerNameW")) {
        return FALSE;
    }
    const std::optional<std::wstring>& name = Computer().Setup().name;
    if (!name) {
        return GetComputerNameW(buffer, size);
    }
    if (*size <= name->size()) {
        *size = static_cast<DWORD>(name->size() + 1);
        SetLastError(ERROR_BUFFER_OVERFLOW);
        return FALSE;
    }
    std::copy_n(name->c_str(), name->size() + 1, buffer);
    *size = static_cast<DWORD>(name->size());
    return TRUE;
}

BOOL WINAPI WindowsVersionRecord(OSVERSIONINFOW* record)
{
    if (Fails(L"GetVersionExW") || GetVersionExW(record) == FALSE) {
        return FALSE;
    }
    const ComputerSetup& setup = Computer().Setup();
    if (setup.windows) {
        record->dwMajorVersion = setup.windows->major;
        record->dwMinorVersion = setup.windows->minor;
        record->dwBuildNumber = setup.windows->build;
        const std::wstring pack = setup.servicePack.substr(0, std::size(record->szCSDVersion) - 1);
        std::copy_n(pack.c_str(), pack.size() + 1, record->szCSDVersion);
    }
    if (record->dwOSVersionInfoSize < sizeof(OSVERSIONINFOEXW)) {
        return TRUE;
    }
    auto* const extended = reinterpret_cast<OSVERSIONINFOEXW*>(record);
    if (setup.windows) {
        extended->wServicePackMajor = static_cast<WORD>(setup.servicePackMajor);
        extended->wServicePackMinor = static_cast<WORD>(setup.servicePackMinor);
    }
    extended->wProductType = static_cast<BYTE>(setup.productType.value_or(extended->wProductType));
    extended->wSuiteMask = static_cast<WORD>(setup.suite.value_or(extended->wSuiteMask));
    return TRUE;
}

BOOL WINAPI MemoryStatus(MEMORYSTATUSEX* status)
{
    if (Fails(L"GlobalMemoryStatusEx") || GlobalMemoryStatusEx(status) == FALSE) {
        return FALSE;
    }
    constexpr DWORDLONG kKilobyte = 1024;
    const ComputerSetup& setup = Computer().Setup();
    if (setup.memoryKilobytes) {
        status->ullTotalPhys = *setup.memoryKilobytes * kKilobyte;
    }
    if (setup.commitKilobytes) {
        status->ullTotalPageFile = *setup.commitKilobytes * kKilobyte;
    }
    return TRUE;
}

HANDLE WINAPI StartThread(SECURITY_ATTRIBUTES* security, SIZE_T stack, LPTHREAD_START_ROUTINE start, void* parameter,
                          DWORD flags, DWORD* identifier)
{
    return Fails(L"CreateThread") ? nullptr : CreateThread(security, stack, start, parameter, flags, identifier);
}

HANDLE WINAPI MakeEvent(SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState, const wchar_t* name)
{
    return Fails(L"CreateEventW") ? nullptr : CreateEventW(security, manualReset, initialState, name);
}

HANDLE WINAPI MakeMutex(SECURITY_ATTRIBUTES* security, BOOL owned, const wchar_t* name)
{
    return Fails(L"CreateMutexW") ? nullptr : CreateMutexW(security, owned, name);
}

} // namespace

std::span<const Replacement> SystemReplacements()
{
    static const Replacement kReplacements[] = {
        Replace("GetSystemMetrics", &GetSystemMetrics, &SystemMetric),
        Replace("GetComputerNameW", &GetComputerNameW, &ComputerName),
        Replace("GetVersionExW", &GetVersionExW, &WindowsVersionRecord),
        Replace("GlobalMemoryStatusEx", &GlobalMemoryStatusEx, &MemoryStatus),
        Replace("CreateThread", &CreateThread, &StartThread),
        Replace("CreateEventW", &CreateEventW, &MakeEvent),
        Replace("CreateMutexW", &CreateMutexW, &MakeMutex),
    };
    return kReplacements;
}

} // namespace sim
