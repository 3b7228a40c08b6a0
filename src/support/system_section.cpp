#include "support/system_section.h"

#include "support/registry.h"
#include "win/system.h"
#include "win/text.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <vector>

namespace {

constexpr wchar_t kWindowsKey[] = L"Software\\Microsoft\\Windows NT\\CurrentVersion";
constexpr wchar_t kHardwareKey[] = L"Hardware\\Description\\System";
constexpr wchar_t kProcessorsKey[] = L"Hardware\\Description\\System\\CentralProcessor";
constexpr wchar_t kFirstProcessorKey[] = L"Hardware\\Description\\System\\CentralProcessor\\0";
constexpr wchar_t kMemoryKey[] = L"System\\CurrentControlSet\\Control\\Session Manager\\Memory Management";

constexpr std::uint64_t kKilobyte = 1024;
// VER_SUITE_WH_SERVER; not every SDK has the name.
constexpr WORD kHomeServerSuite = 0x8000;

enum class Role { Any, Workstation, Server };

struct EditionRule {
    const wchar_t* name;
    WORD suite; // 0 for any suite; otherwise the version and the role do not count
    DWORD major;
    DWORD minor;
    Role role;
};

// The first rule that holds names the edition.
constexpr EditionRule kEditions[] = {
    {L"Windows Home Server", kHomeServerSuite, 0, 0, Role::Any},
    {L"Windows Server 2003", 0, 5, 2, Role::Server},
    {L"Windows Server 2008", 0, 6, 0, Role::Server},
    {L"Windows Server 2008 R2", 0, 6, 1, Role::Server},
    {L"Windows 2000", 0, 5, 0, Role::Any},
    {L"Windows XP", 0, 5, 1, Role::Workstation},
    {L"Windows XP", 0, 5, 2, Role::Workstation},
    {L"Windows Vista", 0, 6, 0, Role::Workstation},
    {L"Windows 7", 0, 6, 1, Role::Workstation},
};

bool Holds(const EditionRule& rule, const OSVERSIONINFOEXW& version)
{
    if (rule.suite != 0) {
        return (version.wSuiteMask & rule.suite) != 0;
    }
    const Role role = version.wProductType == VER_NT_WORKSTATION ? Role::Workstation : Role::Server;
    return version.dwMajorVersion == rule.major && version.dwMinorVersion == rule.minor &&
           (rule.role == Role::Any || rule.role == role);
}

const wchar_t* BitnessOf(const WindowsRecord& windows)
{
    return windows.is64Bit ? L" 64-bit" : L" 32-bit";
}

// Version, build and product name. The registry's values replace those of GetVersionExW, which tells a program an older
// version unless the program's manifest names the newer one.
struct VersionLine {
    DWORD major;
    DWORD minor;
    DWORD build;
    std::wstring productName;
};

DWORD ToNumber(const std::wstring& text)
{
    return static_cast<DWORD>(win::ReadDecimal(text));
}

void ReadVersionText(HKEY key, VersionLine& line)
{
    const std::optional<std::wstring> text = RegFindString(key, L"CurrentVersion");
    if (!text) {
        return;
    }
    line.major = ToNumber(*text);
    if (const std::size_t point = text->find(L'.'); point != std::wstring::npos) {
        line.minor = ToNumber(text->substr(point + 1));
    }
}

VersionLine ReadVersion(const OSVERSIONINFOEXW& version)
{
    VersionLine line{version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber, {}};
    win::RegistryKey key;
    if (RegOpen(HKEY_LOCAL_MACHINE, kWindowsKey, KEY_READ, key) != ERROR_SUCCESS) {
        return line;
    }
    const auto major = RegFindDword(key.Get(), L"CurrentMajorVersionNumber");
    const auto minor = major ? RegFindDword(key.Get(), L"CurrentMinorVersionNumber") : std::nullopt;
    if (minor) {
        line.major = *major;
        line.minor = *minor;
    } else {
        ReadVersionText(key.Get(), line);
    }
    if (const auto build = RegFindString(key.Get(), L"CurrentBuildNumber")) {
        line.build = ToNumber(*build);
    }
    line.productName = RegFindString(key.Get(), L"ProductName").value_or(std::wstring());
    return line;
}

std::wstring DescribeWindows(const WindowsRecord& windows)
{
    const OSVERSIONINFOEXW& version = windows.version;
    const VersionLine line = ReadVersion(version);
    std::wstring text =
        line.productName.empty() ? GetWindowsEditionName(windows) : line.productName + BitnessOf(windows);
    text += L"\nWindows Information: " + std::to_wstring(line.major) + L'.' + std::to_wstring(line.minor);
    text += L", Build " + std::to_wstring(line.build) + L", " + version.szCSDVersion;
    text += L", SP " + std::to_wstring(version.wServicePackMajor) + L'.' + std::to_wstring(version.wServicePackMinor);
    return text + L'\n';
}

std::wstring DescribeProcessors()
{
    std::wstring text;
    if (const auto megahertz = RegFindDword(HKEY_LOCAL_MACHINE, kFirstProcessorKey, L"~MHz")) {
        text += L"CPU Speed: " + std::to_wstring(*megahertz) + L" MHZ\n";
    }
    win::RegistryKey key;
    if (RegOpen(HKEY_LOCAL_MACHINE, kProcessorsKey, KEY_READ, key) == ERROR_SUCCESS) {
        std::vector<std::wstring> processors;
        RegEnumSubkeyNames(key.Get(), processors);
        text += L"Number of Cores: " + std::to_wstring(processors.size()) + L'\n';
    }
    return text;
}

std::wstring InKilobytes(std::uint64_t bytes)
{
    return std::to_wstring(bytes / kKilobyte) + L" KB\n";
}

std::wstring DescribeMemory()
{
    MEMORYSTATUSEX memory{};
    memory.dwLength = sizeof memory;
    GlobalMemoryStatusEx(&memory);
    std::wstring text = L"Physical Memory: " + InKilobytes(memory.ullTotalPhys) + L"\nPage File(s):";
    win::RegistryKey key;
    std::vector<std::wstring> pageFiles;
    if (RegOpen(HKEY_LOCAL_MACHINE, kMemoryKey, KEY_READ, key) == ERROR_SUCCESS &&
        RegReadMultiString(key.Get(), L"PagingFiles", pageFiles) == ERROR_SUCCESS) {
        for (const std::wstring& pageFile : pageFiles) {
            text += L"\n - Location: " + pageFile;
        }
    }
    // The commit limit, which counts physical memory, too.
    return text + L"\n - Space: " + InKilobytes(memory.ullTotalPageFile);
}

} // namespace

std::wstring GetSystemInformationSection()
{
    const WindowsRecord windows{win::WindowsVersion(), sizeof(void*) == sizeof(std::uint64_t) || IsRunningUnderWow64()};
    std::wstring text = L"Computer: " + win::LocalComputerName() + L'\n';
    text += DescribeWindows(windows);
    text += DescribeProcessors();
    text += DescribeMemory();
    return text;
}

std::wstring GetBiosDateSection()
{
    const auto date = RegFindString(HKEY_LOCAL_MACHINE, kHardwareKey, L"SystemBiosDate");
    return date ? L"Bios Date: " + *date + L'\n' : L"\n";
}

std::wstring GetWindowsEditionName(const WindowsRecord& windows)
{
    const auto* const edition = std::find_if(std::begin(kEditions), std::end(kEditions),
                                             [&](const EditionRule& rule) { return Holds(rule, windows.version); });
    return edition == std::end(kEditions) ? std::wstring() : std::wstring(edition->name) + BitnessOf(windows);
}

bool IsRunningUnderWow64() noexcept
{
    using IsWow64Function = BOOL(WINAPI*)(HANDLE, PBOOL);
    const HMODULE kernel = GetModuleHandleW(L"kernel32");
    if (kernel == nullptr) {
        return false;
    }
    const auto isWow64 =
        reinterpret_cast<IsWow64Function>(reinterpret_cast<void*>(GetProcAddress(kernel, "IsWow64Process")));
    BOOL answer = FALSE;
    return isWow64 != nullptr && isWow64(GetCurrentProcess(), &answer) != FALSE && answer != FALSE;
}
