#pragma once

#include "support/replaced_function.h"
#include "win/windows_api.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <optional>
#include <string>

namespace testing_support {

// A Windows of the test's own making: its name, version and memory.
class DescribedWindows {
public:
    std::optional<std::wstring> computerName = L"ACCOUNTS7"; // none: Windows cannot tell it
    OSVERSIONINFOEXW version{};
    bool tellsVersion = true;
    std::uint64_t physicalBytes = 0;
    std::uint64_t commitLimitBytes = 0;

    void SetVersion(DWORD major, DWORD minor, DWORD build, BYTE productType = VER_NT_WORKSTATION)
    {
        version.dwMajorVersion = major;
        version.dwMinorVersion = minor;
        version.dwBuildNumber = build;
        version.wProductType = productType;
    }

    void SetServicePack(const std::wstring& text, WORD major, WORD minor)
    {
        version.szCSDVersion[text.copy(version.szCSDVersion, std::size(version.szCSDVersion) - 1)] = L'\0';
        version.wServicePackMajor = major;
        version.wServicePackMinor = minor;
    }

private:
    Replaced<"GetComputerNameW", decltype(::GetComputerNameW)> getComputerName_{[this](LPWSTR name, LPDWORD length) {
        EXPECT_EQ(16U, *length);
        if (!computerName) {
            SetLastError(ERROR_BUFFER_OVERFLOW);
            return FALSE;
        }
        *length = static_cast<DWORD>(computerName->copy(name, *length - 1));
        name[*length] = L'\0';
        return TRUE;
    }};
    Replaced<"GetVersionExW", decltype(::GetVersionExW)> getVersion_{[this](LPOSVERSIONINFOW record) {
        EXPECT_EQ(284U, record->dwOSVersionInfoSize);
        if (!tellsVersion) {
            return FALSE;
        }
        version.dwOSVersionInfoSize = record->dwOSVersionInfoSize;
        *reinterpret_cast<OSVERSIONINFOEXW*>(record) = version;
        return TRUE;
    }};
    Replaced<"GlobalMemoryStatusEx", decltype(::GlobalMemoryStatusEx)> memoryStatus_{[this](LPMEMORYSTATUSEX status) {
        EXPECT_EQ(sizeof(MEMORYSTATUSEX), status->dwLength);
        status->ullTotalPhys = physicalBytes;
        status->ullTotalPageFile = commitLimitBytes;
        // Figures that the report must not take for the others.
        status->ullAvailPhys = 1;
        status->ullAvailPageFile = 2;
        status->ullTotalVirtual = 3;
        return TRUE;
    }};
};

} // namespace testing_support
