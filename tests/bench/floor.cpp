// The least that a command's work in the engine can cost: the same COM calls, on the same threads, and the same bytes
// on standard output, with nothing else around them. `floor status` stands beside `VLCmd /st`, `floor run` beside
// `VLCmd /dol /alldrives`.

#include "floor.h"
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

} // namespace

int main(int argc, char** argv)
{
    StartCom();
    if (argc == 2 && std::strcmp(argv[1], "status") == 0) {
        Status();
    } else if (argc == 2 && std::strcmp(argv[1], "run") == 0) {
        Run();
    } else {
        std::fputs("usage: floor status|run\n", stderr);
        return 2;
    }
    CoUninitialize();
    return 0;
}
