#include "instance.h"

namespace sim {

namespace {

constexpr wchar_t kRunningName[] = L"Local\\Kestrane.Simulator.Running";
constexpr wchar_t kProcessName[] = L"Local\\Kestrane.Simulator.Process";
constexpr wchar_t kQuitName[] = L"Local\\Kestrane.Simulator.Quit";
constexpr wchar_t kEndingName[] = L"Local\\Kestrane.Simulator.Ending";

struct ViewTraits {
    using Type = DWORD*;
    static Type Null() noexcept { return nullptr; }
    static void Release(Type view) noexcept { UnmapViewOfFile(view); }
};

// A process identifier in a memory section, as this process sees it.
using ProcessIdView = win::Owner<ViewTraits>;

ProcessIdView ViewProcessId(HANDLE section, DWORD access)
{
    return ProcessIdView(static_cast<DWORD*>(MapViewOfFile(section, access, 0, 0, sizeof(DWORD))));
}

bool Owns(DWORD waitResult)
{
    return waitResult == WAIT_OBJECT_0 || waitResult == WAIT_ABANDONED;
}

// Waits for the mutex as long as its owner says that it is about to end, or the patience lasts.
bool OwnMutex(HANDLE mutex, HANDLE endingEvent, std::chrono::milliseconds patience)
{
    constexpr DWORD kLookAgain = 50;
    const auto end = std::chrono::steady_clock::now() + patience;
    for (;;) {
        // Asked before the mutex, so that an owner that ends between the two questions is not taken for a healthy one.
        const bool waits =
            WaitForSingleObject(endingEvent, 0) == WAIT_OBJECT_0 || std::chrono::steady_clock::now() < end;
        if (Owns(WaitForSingleObject(mutex, waits ? kLookAgain : 0))) {
            return true;
        }
        if (!waits) {
            return false;
        }
    }
}

} // namespace

std::optional<ServerInstance> ServerInstance::Claim(std::chrono::milliseconds patience)
{
    ServerInstance instance;
    instance.running_.Reset(CreateMutexW(nullptr, FALSE, kRunningName));
    instance.endingEvent_.Reset(CreateEventW(nullptr, TRUE, FALSE, kEndingName));
    if (!instance.running_ || !instance.endingEvent_) {
        return std::nullopt;
    }
    if (!OwnMutex(instance.running_.Get(), instance.endingEvent_.Get(), patience)) {
        SetLastError(ERROR_ALREADY_EXISTS);
        return std::nullopt;
    }
    instance.process_.Reset(
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(DWORD), kProcessName));
    if (!instance.process_) {
        return std::nullopt;
    }
    const ProcessIdView processId = ViewProcessId(instance.process_.Get(), FILE_MAP_WRITE);
    if (!processId) {
        return std::nullopt;
    }
    *processId.Get() = GetCurrentProcessId();
    instance.quitEvent_.Reset(CreateEventW(nullptr, TRUE, FALSE, kQuitName));
    if (!instance.quitEvent_) {
        return std::nullopt;
    }
    // Someone who asked the server before this one may still have the events open, signalled as they were then.
    ResetEvent(instance.quitEvent_.Get());
    ResetEvent(instance.endingEvent_.Get());
    return instance;
}

void ServerInstance::AnnounceEnd(bool ending) const
{
    if (ending) {
        SetEvent(endingEvent_.Get());
    } else {
        ResetEvent(endingEvent_.Get());
    }
}

DWORD QuitRunningServer(std::chrono::milliseconds patience)
{
    win::KernelHandle quitEvent(OpenEventW(EVENT_MODIFY_STATE, FALSE, kQuitName));
    const win::KernelHandle section(OpenFileMappingW(FILE_MAP_READ, FALSE, kProcessName));
    if (!quitEvent || !section) {
        return GetLastError() == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : GetLastError();
    }
    const ProcessIdView processId = ViewProcessId(section.Get(), FILE_MAP_READ);
    if (!processId) {
        return GetLastError();
    }
    const win::KernelHandle process(OpenProcess(SYNCHRONIZE, FALSE, *processId.Get()));
    if (!process) {
        // The names may outlast the server for a moment in the hands of another program that asked it to quit.
        return GetLastError() == ERROR_INVALID_PARAMETER ? ERROR_SUCCESS : GetLastError();
    }
    if (SetEvent(quitEvent.Get()) == FALSE) {
        return GetLastError();
    }
    quitEvent.Reset();
    return WaitForSingleObject(process.Get(), static_cast<DWORD>(patience.count()));
}

} // namespace sim
