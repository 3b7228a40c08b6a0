// The simulated engine: a COM local server that shows the computer of a scenario file. It defragments nothing.

#include "base/registry_keys.h"
#include "base/text.h"
#include "engine/call_log.h"
#include "engine/engine.h"
#include "engine/instance.h"
#include "engine/options.h"
#include "engine/registration.h"
#include "engine/server.h"
#include "engine/server_classes.h"
#include "scenario/scenario.h"

#include "win/com_apartment.h"

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <variant>
#include <vector>

namespace {

using namespace sim;

// The program's exit codes; out of memory it ends with ERROR_OUTOFMEMORY.
constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kBadScenario = 2;
constexpr int kAlreadyRunning = 3;

// Writes a text to standard error or standard output, as UTF-8 unless it is a console.
void Write(DWORD standardHandle, std::wstring_view text)
{
    const HANDLE handle = GetStdHandle(standardHandle);
    DWORD mode = 0;
    DWORD written = 0;
    if (GetConsoleMode(handle, &mode) != FALSE) {
        WriteConsoleW(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    } else {
        const std::string bytes = ToUtf8(text);
        WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    }
}

int Fail(int exitCode, std::wstring_view text)
{
    Write(STD_ERROR_HANDLE, L"VLEngine: " + std::wstring(text) + L'\n');
    return exitCode;
}

// The exit code of a server that has ended. The user is told what went wrong, if anything did.
int ExitCodeOf(HRESULT result, const CallLog& log, const std::wstring& logPath)
{
    if (FAILED(result)) {
        return Fail(kFailed,
                    L"the classes cannot be registered with COM: " + HexText(static_cast<std::uint32_t>(result)));
    }
    if (log.Error() != ERROR_SUCCESS) {
        return Fail(kFailed, logPath + L": the log cannot be written: " + ErrorText(log.Error()));
    }
    return kDone;
}

// Waits until no calls arrive any more from clients that still hold objects. Their calls run on threads of COM, with
// which a process cannot end in the usual way, so this one is terminated. None of those threads may be in the middle of
// a call then: when Wine kills a thread that holds one of Wine's locks, the process hangs.
void LeaveClients(ServerLife& life)
{
    constexpr std::chrono::milliseconds kRest(300);
    constexpr std::chrono::seconds kPatience(5);
    life.ShutDoor(kRest, kPatience);
}

int ServeScenario(Options options)
{
    if (const unsigned long error = CompleteFromRegistry(options); error != ERROR_SUCCESS) {
        return Fail(kFailed, L"the settings cannot be read: " + ErrorText(error));
    }
    const std::variant<Scenario, ScenarioError> loaded = LoadScenarioOf(options.scenario, options.computer);
    if (const ScenarioError* error = std::get_if<ScenarioError>(&loaded)) {
        return Fail(kBadScenario, DescribeError(options.scenario, *error));
    }
    // Wine starts a server for every client that finds none, and takes its early end for a failed start. So a server
    // that is not needed stays until its client has found the one that is running.
    constexpr std::chrono::seconds kUntilClientLooksAgain(3);
    const std::optional<ServerInstance> instance = ServerInstance::Claim(
        options.computer, options.startedByCom ? kUntilClientLooksAgain : std::chrono::seconds::zero());
    if (!instance) {
        const DWORD error = GetLastError();
        if (error != ERROR_ALREADY_EXISTS) {
            return Fail(kFailed, L"the server's names cannot be made: " + ErrorText(error));
        }
        return options.startedByCom ? kDone : Fail(kAlreadyRunning, L"a server is running already; /quit would end it");
    }
    CallLog log;
    if (!options.log.empty() && !log.Open(options.log)) {
        return Fail(kFailed, options.log + L": the log cannot be opened: " + ErrorText(GetLastError()));
    }
    win::KernelHandle readyEvent;
    if (!options.readyEvent.empty()) {
        readyEvent.Reset(CreateEventW(nullptr, TRUE, FALSE, options.readyEvent.c_str()));
        if (!readyEvent) {
            return Fail(kFailed, options.readyEvent + L": the event cannot be opened: " + ErrorText(GetLastError()));
        }
    }
    // This computer's classes are registered with /regserver; another one's when its engine starts.
    if (!options.computer.empty()) {
        if (const HRESULT result = RegisterClasses(options.computer, ModulePath(nullptr)); FAILED(result)) {
            return ExitCodeOf(result, log, options.log);
        }
    }
    const auto& scenario = std::get<Scenario>(loaded);
    ServerLife life(instance->QuitEvent());
    const auto engine = std::make_shared<Engine>(scenario, log, life);
    engine->BeginLog();

    const win::ComApartment apartment;
    if (FAILED(apartment.Result())) {
        return ExitCodeOf(apartment.Result(), log, options.log);
    }
    Server server(engine, *instance, options.computer, scenario.idleTime);
    const HRESULT result = server.Run(readyEvent.Get());
    const bool inUse = !life.IsFree();
    if (inUse) {
        LeaveClients(life);
    }
    engine->EndLog();
    const int exitCode = ExitCodeOf(result, log, options.log);
    if (inUse) {
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
    }
    return exitCode;
}

int ChangeRegistration(HRESULT (*change)())
{
    const win::ComApartment apartment;
    const HRESULT result = SUCCEEDED(apartment.Result()) ? change() : apartment.Result();
    if (FAILED(result)) {
        return Fail(kFailed, L"the registration failed: " + HexText(static_cast<std::uint32_t>(result)));
    }
    return kDone;
}

int Start()
{
    constexpr std::chrono::seconds kPatience(30);
    const DWORD error = StartServer(kPatience);
    return error == ERROR_SUCCESS ? kDone : Fail(kFailed, L"the server did not start: " + ErrorText(error));
}

int Quit()
{
    constexpr std::chrono::seconds kPatience(15);
    std::vector<std::wstring> computers = RegisteredComputers();
    computers.emplace_back();
    int exitCode = kDone;
    for (const std::wstring& computer : computers) {
        if (const DWORD error = QuitRunningServer(computer, kPatience); error != ERROR_SUCCESS) {
            exitCode = Fail(kFailed, L"the running server did not end: " + ErrorText(error));
        }
    }
    return exitCode;
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    // Every COM method may count on memory being there, so none of them lets an exception out.
    std::set_new_handler([] { ExitProcess(ERROR_OUTOFMEMORY); });

    std::optional<Options> options = ParseOptions(std::vector<std::wstring_view>(argv + 1, argv + argc));
    if (!options) {
        Write(STD_ERROR_HANDLE, kUsage);
        return kFailed;
    }
    switch (options->task) {
    case Task::Serve:
        return ServeScenario(std::move(*options));
    case Task::Register:
        return ChangeRegistration(&RegisterServer);
    case Task::Unregister:
        return ChangeRegistration(&UnregisterServer);
    case Task::Start:
        return Start();
    case Task::Quit:
        return Quit();
    case Task::Help:
        Write(STD_OUTPUT_HANDLE, kUsage);
        return kDone;
    }
    return kFailed;
}
