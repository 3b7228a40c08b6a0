#include "engine/instance.h"

#include "base/registry_keys.h"

#include "win/text.h"

#include <string>

namespace sim {

namespace {

constexpr wchar_t kRunning[] = L"Running";
constexpr wchar_t kProcess[] = L"Process";
constexpr wchar_t kQuit[] = L"Quit";
constexpr wchar_t kEnding[] = L"Ending";

// The name under which the computer's server shares such a thing with other processes.
std::wstring SharedName(const wchar_t* thing, const std::wstring& computer)
{
    std::wstring name = L"Local\\Kestrane.Simulator.";
    name += thing;
    if (!computer.empty()) {
        name += L'.' + win::UpperCase(computer);
    }
    return name;
}

// A process identifier in a memory section, as this process sees it.
using ProcessIdView = win::Owner<DWORD*, UnmapViewOfFile>;

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

std::optional<ServerInstance> ServerInstance::Claim(const std::wstring& computer, std::chrono::milliseconds patience)
{
    ServerInstance instance;
    instance.running_.Reset(CreateMutexW(nullptr, FALSE, SharedName(kRunning, computer).c_str()));
    instance.endingEvent_.Reset(CreateEventW(nullptr, TRUE, FALSE, SharedName(kEnding, computer).c_str()));
    if (!instance.running_ || !instance.endingEvent_) {
        return std::nullopt;
    }
    if (!OwnMutex(instance.running_.Get(), instance.endingEvent_.Get(), patience)) {
        SetLastError(ERROR_ALREADY_EXISTS);
        return std::nullopt;
    }
    instance.process_.Reset(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(DWORD),
                                               SharedName(kProcess, computer).c_str()));
    if (!instance.process_) {
        return std::nullopt;
    }
    const ProcessIdView processId = ViewProcessId(instance.process_.Get(), FILE_MAP_WRITE);
    if (!processId) {
        return std::nullopt;
    }
    *processId.Get() = GetCurrentProcessId();
    instance.quitEvent_.Reset(CreateEventW(nullptr, TRUE, FALSE, SharedName(kQuit, computer).c_str()));
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

bool IsServerRunning(const std::wstring& computer)
{
    const win::KernelHandle section(OpenFileMappingW(FILE_MAP_READ, FALSE, SharedName(kProcess, computer).c_str()));
    const ProcessIdView processId = section ? ViewProcessId(section.Get(), FILE_MAP_READ) : ProcessIdView();
    if (!processId) {
        return false;
    }
    const win::KernelHandle process(OpenProcess(SYNCHRONIZE, FALSE, *processId.Get()));
    const win::KernelHandle endingEvent(OpenEventW(SYNCHRONIZE, FALSE, SharedName(kEnding, computer).c_str()));
    const bool isEnding = endingEvent && WaitForSingleObject(endingEvent.Get(), 0) == WAIT_OBJECT_0;
    return process && !isEnding && WaitForSingleObject(process.Get(), 0) == WAIT_TIMEOUT;
}

DWORD StartServer(std::chrono::milliseconds patience)
{
    if (IsServerRunning(L"")) {
        return ERROR_SUCCESS;
    }
    const std::wstring readyName = L"Local\\Kestrane.Simulator.Ready." + std::to_wstring(GetCurrentProcessId());
    const win::KernelHandle ready(CreateEventW(nullptr, TRUE, FALSE, readyName.c_str()));
    if (!ready) {
        return GetLastError();
    }
    const std::wstring program = ModulePath(nullptr);
    std::wstring commandLine = L'"' + program + L"\" --ready " + readyName;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr, nullptr,
                       &startup, &started) == FALSE) {
        return GetLastError();
    }
    const win::KernelHandle process(started.hProcess);
    const win::KernelHandle thread(started.hThread);
    const HANDLE either[] = {ready.Get(), process.Get()};
    const DWORD signalled = WaitForMultipleObjects(2, either, FALSE, static_cast<DWORD>(patience.count()));
    if (signalled == WAIT_OBJECT_0) {
        return ERROR_SUCCESS;
    }
    // The server that has ended may have found one that somebody else has started meanwhile.
    return signalled == WAIT_TIMEOUT ? WAIT_TIMEOUT : IsServerRunning(L"") ? ERROR_SUCCESS : ERROR_PROCESS_ABORTED;
}

DWORD QuitRunningServer(const std::wstring& computer, std::chrono::milliseconds patience)
{
    win::KernelHandle quitEvent(OpenEventW(EVENT_MODIFY_STATE, FALSE, SharedName(kQuit, computer).c_str()));
    const win::KernelHandle section(OpenFileMappingW(FILE_MAP_READ, FALSE, SharedName(kProcess, computer).c_str()));
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
