#include "disturbed_run.h"

#include "base/settings.h"
#include "engine/server_classes.h"
#include "launcher/loading.h"
#include "support/trace_file.h"
#include "win/owner.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace faults {

namespace {

constexpr DWORD kLongestRun = 60'000;
constexpr UINT kEndedByTheLoop = 0xDEAD;

constexpr char kScenario[] = R"([clock]
speed = 1000
[engine]
idle-seconds = 1000000
statistics-database =
analyze-seconds = 0
defragment-seconds = 0
offline-seconds = 0
file-seconds = 0
[drive C:\]
identity = vol-c
offline-types = 1
file = 42 C:\data\report.doc
[drive D:\]
identity = vol-d
offline-types = 2
offline = refuse
[drive E:\]
identity = vol-e
[schedule Nightly]
work = analyze
[machine]
name = HERE
windows = 10.0.17763
memory-kb = 16646144
commit-kb = 19136512
[volume \\?\Volume{11111111-2222-3333-4444-555555555555}\]
mount = C:\
file-system = NTFS
total-clusters = 31196415
free-clusters = 12845056
mft-bytes = 402653184
mft-zone = 786432, 911360
boot-ini = boot.ini
[volume \\?\Volume{66666666-7777-8888-9999-000000000000}\]
mount = D:\
type = removable
bus = usb
file-system = FAT32
total-clusters = 1953792
free-clusters = 1640000
[volume \\?\Volume{22222222-3333-4444-5555-666666666666}\]
mount = C:\Mounts\Data\
file-system = FAT32
total-clusters = 5000000000
[registry HKEY_LOCAL_MACHINE\System\CurrentControlSet\Services\VLEngine]
binary = FailureActions, 01 02 fe
[computer SRV1]
scenario = srv1.scenario
)";

constexpr char kOtherScenario[] = R"([engine]
idle-seconds = 1000000
[drive C:\]
point = 2026-03-05 05:00:00, 13.4, 2.1, 30, 11, 80, 97
[drive D:\]
point = 2026-03-06 21:45:00, 41, 7, 70, 28, 47, 86
)";

constexpr wchar_t kOtherName[] = L"SRV1";

std::string ContentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// A process that has ended may still be giving back its files.
void RemoveFile(const std::filesystem::path& path)
{
    constexpr int kTries = 100;
    constexpr DWORD kPause = 50;
    std::error_code error;
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    for (int i = 0; i < kTries; ++i) {
        std::filesystem::remove(path, error);
        if (!error) {
            return;
        }
        Sleep(kPause);
    }
    throw std::filesystem::filesystem_error("a file of the last run", path, error);
}

// The computer, once the other one's scenario and registration are there, which its engine reads at its start.
const e2e::SimulatedComputer& WithOtherComputer(const e2e::SimulatedComputer& computer)
{
    computer.AddFile(L"srv1.scenario", kOtherScenario);
    computer.AddFile(L"boot.ini", "[boot loader]\r\ntimeout=30\r\n");
    if (FAILED(sim::RegisterClasses(kOtherName, (e2e::ProgramFolder() / L"VLEngine.exe").wstring()))) {
        throw std::runtime_error("the other computer's engine cannot be registered");
    }
    return computer;
}

[[noreturn]] void ThrowLastError(const char* what)
{
    throw std::runtime_error(std::string(what) + ": error " + std::to_string(GetLastError()));
}

// The memory through which the library in the process of this number is given its order.
class SharedMemory {
public:
    SharedMemory(DWORD process, const Disturbance* disturbance)
        : memory_(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Exchange),
                                     ExchangeName(process).c_str())),
          exchange_(static_cast<Exchange*>(MapViewOfFile(memory_.Get(), FILE_MAP_ALL_ACCESS, 0, 0, sizeof(Exchange))))
    {
        if (exchange_ == nullptr) {
            ThrowLastError("memory to share");
        }
        exchange_->function = disturbance == nullptr ? kNoFunction : static_cast<LONG>(disturbance->function);
        if (disturbance != nullptr) {
            exchange_->call = disturbance->call;
            exchange_->way = static_cast<LONG>(disturbance->way);
        }
    }
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory(SharedMemory&&) = delete;
    ~SharedMemory() { UnmapViewOfFile(exchange_); }
    SharedMemory& operator=(const SharedMemory&) = delete;
    SharedMemory& operator=(SharedMemory&&) = delete;

    [[nodiscard]] const Exchange& Report() const { return *exchange_; }

private:
    win::KernelHandle memory_;
    Exchange* exchange_;
};

win::FileHandle NewOutput(const std::wstring& path, const wchar_t* device)
{
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    return win::FileHandle(CreateFileW(device != nullptr ? device : path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                                       device != nullptr ? OPEN_EXISTING : CREATE_ALWAYS, 0, nullptr));
}

} // namespace

Computer::Computer() : computer_(kScenario), engine_(WithOtherComputer(computer_)), otherEngine_(computer_, kOtherName)
{
    database_.ExecuteAll(ContentOf(std::filesystem::path(VLCMD_SOURCE_FOLDER) / "sim/database/sample.sql"));
    databaseBefore_ = DatabaseContent();
    settings_.Add(HKEY_LOCAL_MACHINE, e2e::kCoreKey, L"ConnectionString", database_.ProductString());
    settings_.Add(HKEY_LOCAL_MACHINE, e2e::kCoreKey, L"TraceEntryExit", std::uint32_t{1});
    settings_.Add(HKEY_LOCAL_MACHINE, e2e::kCoreKey, L"TraceFunctionName", std::uint32_t{1});
    settings_.Add(HKEY_LOCAL_MACHINE, e2e::kCoreKey, L"TraceFilePath", folder_.Path());
}

Traces Computer::Run(const std::vector<std::wstring>& words, const Disturbance* disturbance)
{
    const std::filesystem::path traceFile = folder_.PathOf(testing_support::kTraceFile);
    const std::wstring outputFile = folder_.PathOf(L"output.txt");
    const win::FileHandle output = NewOutput(outputFile, nullptr);
    const win::FileHandle nothing = NewOutput({}, L"NUL");
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = nothing.Get();
    startup.hStdOutput = output.Get();
    startup.hStdError = nothing.Get();
    PROCESS_INFORMATION started{};
    std::wstring line = L'"' + e2e::ToolPath().wstring() + L"\" " + e2e::JoinWords(words);
    if (CreateProcessW(e2e::ToolPath().c_str(), line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr, nullptr,
                       &startup, &started) == FALSE) {
        ThrowLastError("the tool cannot be started");
    }
    const win::KernelHandle process(started.hProcess);
    const win::KernelHandle thread(started.hThread);
    const SharedMemory shared(started.dwProcessId, disturbance);
    for (const wchar_t* const library : {L"VLMachine.dll", L"VLFaults.dll"}) {
        if (LoadLibraryInto(process.Get(), (e2e::ProgramFolder() / library).wstring()) != ERROR_SUCCESS) {
            TerminateProcess(process.Get(), kEndedByTheLoop);
            throw std::runtime_error("the tool cannot be given its libraries");
        }
    }
    ResumeThread(thread.Get());

    Traces traces;
    traces.ended = WaitForSingleObject(process.Get(), kLongestRun) == WAIT_OBJECT_0;
    if (!traces.ended) {
        TerminateProcess(process.Get(), kEndedByTheLoop);
        WaitForSingleObject(process.Get(), INFINITE);
    }
    DWORD exitCode = 0;
    GetExitCodeProcess(process.Get(), &exitCode);
    traces.exitCode = exitCode;
    traces.report = shared.Report();
    traces.output = ContentOf(outputFile);
    traces.traceLog = ContentOf(traceFile);
    const DWORD attributes = GetFileAttributesW(traceFile.c_str());
    traces.traceLogIsShut = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    RemoveFile(traceFile);
    traces.databaseIsSame = DatabaseContent() == databaseBefore_;
    RegDeleteTreeW(HKEY_CURRENT_USER, sim::ScratchKeyOf(started.dwProcessId).c_str());
    return traces;
}

std::string Computer::DatabaseContent() const
{
    const std::wstring words = database_.AdoString();
    constexpr std::wstring_view kFile = L"Database=";
    return ContentOf(words.substr(words.find(kFile) + kFile.size()));
}

} // namespace faults
