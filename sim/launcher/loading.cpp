#include "launcher/loading.h"

#include "win/owner.h"

namespace {

// Memory of another process, given back when the owner goes.
class RemoteMemory {
public:
    RemoteMemory(HANDLE process, const std::wstring& text) : process_(process)
    {
        const SIZE_T size = (text.size() + 1) * sizeof(wchar_t);
        address_ = VirtualAllocEx(process, nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
        if (address_ != nullptr && WriteProcessMemory(process, address_, text.c_str(), size, nullptr) == FALSE) {
            Free();
        }
    }
    RemoteMemory(const RemoteMemory&) = delete;
    RemoteMemory& operator=(const RemoteMemory&) = delete;
    ~RemoteMemory() { Free(); }

    [[nodiscard]] void* Address() const { return address_; }

private:
    void Free()
    {
        const DWORD error = GetLastError();
        if (address_ != nullptr) {
            VirtualFreeEx(process_, address_, 0, MEM_RELEASE);
        }
        address_ = nullptr;
        SetLastError(error);
    }

    HANDLE process_;
    void* address_ = nullptr;
};

} // namespace

DWORD LoadLibraryInto(HANDLE process, const std::wstring& library)
{
    const RemoteMemory path(process, library);
    if (path.Address() == nullptr) {
        return GetLastError();
    }
    // kernel32.dll stands at the same address in all processes, so this process' LoadLibraryW is the other's, too. A
    // thread calls it as its routine; that the routine's result has 64 bits and the thread's only 32 does not matter:
    // libraries lie on 64 KB boundaries and none below 4 GB multiples with 32 zero bits is to be expected.
    const auto load = reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "LoadLibraryW")));
    const win::KernelHandle thread(CreateRemoteThread(process, nullptr, 0, load, path.Address(), 0, nullptr));
    DWORD loaded = 0;
    if (!thread || WaitForSingleObject(thread.Get(), INFINITE) != WAIT_OBJECT_0 ||
        GetExitCodeThread(thread.Get(), &loaded) == FALSE) {
        return GetLastError();
    }
    return loaded != 0 ? ERROR_SUCCESS : ERROR_DLL_INIT_FAILED;
}
