// The least that a command's work can cost: the same COM calls, on the same threads, and the same bytes on standard
// output, with nothing else around them. `floor status` stands beside `VLCmd /st`, `floor run` beside
// `VLCmd /dol /alldrives`. `floor support` asks Windows what `VLCmd /si` asks it, and throws the answers away.

#include "engine/engine_contract.h"
#include "win/bstr.h"
#include "win/com_ptr.h"
#include "win/owner.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr const char* kStates[] = {"Idle",
                                   "Analyzing",
                                   "Defragmenting",
                                   "Offline Verify",
                                   "Offline Defrag Directories",
                                   "Offline Defrag System Files",
                                   "Offline Defrag Page File",
                                   "Done"};
constexpr LONG kDefragOnly = 1;

void Check(HRESULT result)
{
    if (FAILED(result)) {
        std::fprintf(stderr, "floor: 0x%08lX\n", static_cast<unsigned long>(result));
        ExitProcess(1);
    }
}

void Write(const std::string& text)
{
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

std::string Narrow(const win::Bstr& text)
{
    std::string narrow;
    for (const wchar_t c : text.View()) {
        narrow.push_back(static_cast<char>(c));
    }
    return narrow;
}

template <typename Interface>
win::ComPtr<Interface> Activate(REFCLSID classId)
{
    win::ComPtr<Interface> object;
    Check(CoCreateInstance(classId, nullptr, CLSCTX_LOCAL_SERVER, __uuidof(Interface),
                           reinterpret_cast<void**>(object.Put())));
    return object;
}

// Calls visit(identity, drive) for every drive of the engine.
template <typename Visit>
void WalkDrives(IVLAgent& agent, Visit visit)
{
    win::Bstr list;
    Check(agent.GetDriveList(list.Put()));
    std::wstring_view rest = list.View();
    while (!rest.empty()) {
        const std::size_t end = rest.find(L'|');
        const win::Bstr identity(rest.substr(0, end));
        rest = end == std::wstring_view::npos ? std::wstring_view() : rest.substr(end + 1);
        win::ComPtr<IVLDrive> drive;
        Check(agent.GetDrive(identity.Get(), drive.Put()));
        visit(identity, *drive);
    }
}

void Status()
{
    Write("Velundra 14.0\r\n");
    const win::ComPtr<IVLAgent> agent = Activate<IVLAgent>(AgentClass());
    ULONG rights = 0;
    Check(agent->CheckAccess(&rights));
    WalkDrives(*agent, [](const win::Bstr&, IVLDrive& drive) {
        win::Bstr name;
        Check(drive.GetDriveName(name.Put()));
        ULONG state = 0;
        Check(drive.GetState(&state));
        Write("Drive name: " + Narrow(name) + "Status: " + kStates[state] + "\r\n");
    });
}

DWORD WINAPI RunOne(void* parameter)
{
    const auto* const identity = static_cast<const win::Bstr*>(parameter);
    Check(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    {
        const win::ComPtr<IVLAgent> agent = Activate<IVLAgent>(AgentClass());
        ULONG rights = 0;
        Check(agent->CheckAccess(&rights));
        win::ComPtr<IVLDrive> drive;
        Check(agent->GetDrive(identity->Get(), drive.Put()));
        win::Bstr mountPoint;
        Check(drive->GetMountPoint(mountPoint.Put()));
        Check(agent->OptimizeOnline(drive.Get(), kDefragOnly));
        Write("Online optimization started on drive " + Narrow(mountPoint) + ".\r\n");
    }
    CoUninitialize();
    return 0;
}

void WalkNames(IVLAgent& agent, std::vector<win::Bstr>* identities)
{
    WalkDrives(agent, [&](const win::Bstr& identity, IVLDrive& drive) {
        win::Bstr name;
        Check(drive.GetDriveName(name.Put()));
        if (identities != nullptr) {
            identities->emplace_back(identity.View());
        }
    });
}

void Run()
{
    Write("Velundra 14.0\r\n");
    std::vector<win::Bstr> identities;
    // Once for what "/alldrives" stands for, once for matching the names.
    WalkNames(*Activate<IVLAgent>(AgentClass()), nullptr);
    WalkNames(*Activate<IVLAgent>(AgentClass()), &identities);
    std::vector<win::KernelHandle> threads;
    threads.reserve(identities.size());
    for (win::Bstr& identity : identities) {
        threads.emplace_back(CreateThread(nullptr, 0, RunOne, &identity, 0, nullptr));
    }
    for (const win::KernelHandle& thread : threads) {
        WaitForSingleObject(thread.Get(), INFINITE);
    }
    Check(Activate<IVLRefresh>(ServiceClass())->Refresh());
}

// --- What the support report asks; where Windows does not answer, the report goes on, too ---

BYTE buffer[0x10000];
wchar_t nameBuffer[0x4000];

void ReadValue(HKEY key, const wchar_t* name)
{
    DWORD size = 0;
    RegQueryValueExW(key, name, nullptr, nullptr, nullptr, &size);
    DWORD type = 0;
    size = sizeof buffer;
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
        ReadVersion(path);
    }
}

constexpr int kUnseenFiles = 17; // of the product, beside the tool and its engine
constexpr int kUnseenDrivers = 30;
constexpr int kUnseenKeys = 16;

void Support()
{
    Write("Velundra 14.0\r\n");
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
    Check(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    Check(CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT, RPC_C_IMP_LEVEL_IMPERSONATE,
                               nullptr, EOAC_NONE, nullptr));
    if (argc == 2 && std::strcmp(argv[1], "status") == 0) {
        Status();
    } else if (argc == 2 && std::strcmp(argv[1], "run") == 0) {
        Run();
    } else if (argc == 2 && std::strcmp(argv[1], "support") == 0) {
        Support();
    } else {
        std::fputs("usage: floor status|run|support\n", stderr);
        return 2;
    }
    CoUninitialize();
    return 0;
}
