// What `VLCmd /si` asks Windows, with the answers thrown away, and as many bytes as the report has (support_floor
// BYTES), written at once. Where Windows does not answer, the report goes on, too.

#include "floor.h"
#include "win/owner.h"

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

BYTE buffer[0x10000];
wchar_t nameBuffer[0x4000];

void ReadValue(HKEY key, const wchar_t* name)
{
    DWORD type = 0;
    DWORD size = sizeof buffer;
    RegQueryValueExW(key, name, nullptr, &type, buffer, &size);
}

win::RegistryKey Open(HKEY root, const wchar_t* path)
{
    win::RegistryKey key;
    RegOpenKeyExW(root, path, 0, KEY_READ, key.Put());
    return key;
}

void ReadValues(const wchar_t* path, std::initializer_list<const wchar_t*> names)
{
    const win::RegistryKey key = Open(HKEY_LOCAL_MACHINE, path);
    for (const wchar_t* const name : names) {
        ReadValue(key.Get(), name);
    }
}

std::vector<std::wstring> SubkeyNames(HKEY key)
{
    std::vector<std::wstring> names;
    for (DWORD length = 0x4000; RegEnumKeyExW(key, static_cast<DWORD>(names.size()), nameBuffer, &length, nullptr,
                                              nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         length = 0x4000) {
        names.emplace_back(nameBuffer, length);
    }
    return names;
}

void ReadTree(const win::RegistryKey& key)
{
    if (!key) {
        return;
    }
    for (const std::wstring& name : SubkeyNames(key.Get())) {
        ReadTree(Open(key.Get(), name.c_str()));
    }
    std::vector<std::wstring> names;
    for (DWORD length = 0x4000; RegEnumValueW(key.Get(), static_cast<DWORD>(names.size()), nameBuffer, &length, nullptr,
                                              nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         length = 0x4000) {
        names.emplace_back(nameBuffer, length);
    }
    for (const std::wstring& name : names) {
        ReadValue(key.Get(), name.c_str());
    }
}

void ReadVersion(const std::wstring& path)
{
    DWORD ignored = 0;
    if (const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored); size != 0 && size <= sizeof buffer) {
        GetFileVersionInfoW(path.c_str(), 0, size, buffer);
    }
}

void ReadFileFacts(const std::wstring& path)
{
    ReadVersion(path);
    WIN32_FIND_DATAW found{};
    const win::FindFile search(FindFirstFileW(path.c_str(), &found));
    if (search) {
        SYSTEMTIME time{};
        FileTimeToSystemTime(&found.ftLastWriteTime, &time);
        GetDateFormatW(0, 0, &time, nullptr, nameBuffer, 50);
        GetTimeFormatW(0, 0, &time, nullptr, nameBuffer, 50);
    }
}

constexpr int kUnseenFiles = 17; // of the product, beside the tool and its engine
constexpr int kUnseenDrivers = 30;
constexpr int kUnseenKeys = 16;

void AskAll()
{
    DWORD length = 16;
    GetComputerNameW(nameBuffer, &length);
    ReadValues(L"Software\\Microsoft\\Windows NT\\CurrentVersion",
               {L"CurrentMajorVersionNumber", L"CurrentMinorVersionNumber", L"CurrentVersion", L"CurrentBuildNumber",
                L"ProductName"});
    ReadValues(L"Hardware\\Description\\System\\CentralProcessor\\0", {L"~MHz"});
    SubkeyNames(Open(HKEY_LOCAL_MACHINE, L"Hardware\\Description\\System\\CentralProcessor").Get());
    MEMORYSTATUSEX memory{};
    memory.dwLength = sizeof memory;
    GlobalMemoryStatusEx(&memory);
    ReadValues(L"System\\CurrentControlSet\\Control\\Session Manager\\Memory Management", {L"PagingFiles"});
    ReadValues(L"Hardware\\Description\\System", {L"SystemBiosDate"});

    GetModuleFileNameW(nullptr, nameBuffer, 1024);
    const std::wstring self = nameBuffer;
    ReadFileFacts(self);
    ReadFileFacts(self.substr(0, self.rfind(L'\\')) + L"\\VLEngine.exe");
    for (int i = 0; i < kUnseenFiles; ++i) {
        ReadVersion(self + L".missing");
    }

    GetVolumeNameForVolumeMountPointW(L"A:\\", nameBuffer, 261);
    GetVolumeNameForVolumeMountPointW(L"B:\\", nameBuffer, 261);
    wchar_t volume[261] = {};
    const win::FindVolume search(FindFirstVolumeW(volume, 261));
    for (bool more = static_cast<bool>(search); more; more = FindNextVolumeW(search.Get(), volume, 261) != FALSE) {
        GetVolumeInformationW(volume, nullptr, 0, nullptr, nullptr, nullptr, nameBuffer, 261);
        GetDriveTypeW(volume);
        GetDriveTypeW(volume);
    }

    ReadTree(Open(HKEY_LOCAL_MACHINE, L"Software\\Kestrane\\VLCore\\14.0"));
    ReadValues(L"System\\CurrentControlSet\\Control\\Session Manager", {L"BootExecute"});
    for (int i = 0; i < kUnseenKeys; ++i) {
        Open(HKEY_LOCAL_MACHINE, L"System\\CurrentControlSet\\Services\\Missing");
    }
    for (int i = 0; i < kUnseenDrivers; ++i) {
        ReadVersion(L"C:\\windows\\System32\\Drivers\\MISSING.SYS");
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: support_floor BYTES\n", stderr);
        return 2;
    }
    StartCom();
    AskAll();
    Write(std::string(std::strtoul(argv[1], nullptr, 10), ' '));
    CoUninitialize();
    return 0;
}
