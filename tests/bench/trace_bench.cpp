// The trace log beside a loop that opens, seeks, writes and closes as many bytes under the same mutex. FOLDER is the
// one that the registry names for the log. Prints one JSON object of times in milliseconds.
//
// trace_bench turns FOLDER TURNS                 both in one process, in turn; each turn writes kRecords records
// trace_bench together log|plain FOLDER PROCESSES RECORDS [BYTES]
//                                                all at once in so many processes, each so many records (of so many
//                                                bytes, where they are plain ones), from the moment at which all are
//                                                ready to the end of the last; the file is left behind
// trace_bench member log|plain FOLDER NUMBER RECORDS BYTES
//                                                one of those processes

#include "samples.h"
#include "trace/VLTrace.h"
#include "win/owner.h"

#include <cwchar>
#include <functional>
#include <string>

namespace {

constexpr int kRecords = 1000;
constexpr wchar_t kFile[] = L"\\Velundra_TraceLog.txt";
constexpr wchar_t kMutex[] = L"Global\\VL140_LogFileMutex";
constexpr wchar_t kGo[] = L"vlcmd-trace-bench-go";
constexpr wchar_t kReady[] = L"vlcmd-trace-bench-ready";
constexpr DWORD kPatience = 60000; // milliseconds

void WriteRecords(CVLTrace& trace, int member, int count)
{
    for (int i = 1; i <= count; ++i) {
        Require(trace.TraceMessage(0, L"trace_bench", L"WriteRecords", __LINE__, L"record %04d of %04d", i, member) ==
                    0,
                "a record cannot be written");
    }
}

void WritePlain(const std::wstring& file, HANDLE mutex, const std::wstring& record, int count)
{
    for (int i = 0; i < count; ++i) {
        WaitForSingleObject(mutex, INFINITE);
        const win::FileHandle handle(CreateFileW(file.c_str(), GENERIC_READ | GENERIC_WRITE,
                                                 FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                                                 FILE_ATTRIBUTE_NORMAL, nullptr));
        LARGE_INTEGER end{};
        SetFilePointerEx(handle.Get(), {}, &end, FILE_END);
        DWORD written = 0;
        Require(WriteFile(handle.Get(), record.data(), static_cast<DWORD>(record.size() * sizeof(wchar_t)), &written,
                          nullptr) != FALSE,
                "the bytes cannot be written");
        ReleaseMutex(mutex);
    }
}

std::size_t SizeOf(const std::wstring& file)
{
    WIN32_FILE_ATTRIBUTE_DATA data{};
    Require(GetFileAttributesExW(file.c_str(), GetFileExInfoStandard, &data) != FALSE, "there is no file");
    return data.nFileSizeLow;
}

// What one turn takes in a file that it makes and that is deleted behind it.
double TimeOf(const std::wstring& file, const std::function<void()>& work)
{
    const double time = Milliseconds(work);
    Require(DeleteFileW(file.c_str()) != FALSE, "there is no file");
    return time;
}

int RunTurns(const std::wstring& file, int turns)
{
    CVLTrace trace;
    const win::KernelHandle mutex(CreateMutexW(nullptr, FALSE, kMutex));
    WriteRecords(trace, 0, kRecords);
    // The mark at the file's begin belongs to no record.
    const std::wstring record((SizeOf(file) / sizeof(wchar_t) - 1) / kRecords, L'x');
    Require(DeleteFileW(file.c_str()) != FALSE, "there is no log");
    Print(RunInTurn(
        turns, [&] { return TimeOf(file, [&] { WriteRecords(trace, 0, kRecords); }); },
        [&] { return TimeOf(file, [&] { WritePlain(file, mutex.Get(), record, kRecords); }); }));
    return 0;
}

win::KernelHandle StartMember(const std::wstring& words)
{
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring line = L"trace_bench " + words;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    Require(CreateProcessW(program, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process) !=
                FALSE,
            "a process cannot be started");
    CloseHandle(process.hThread);
    return win::KernelHandle(process.hProcess);
}

int RunTogether(const std::wstring& kind, const std::wstring& folder, int processes, const std::wstring& records,
                const std::wstring& bytes)
{
    const win::KernelHandle go(CreateEventW(nullptr, TRUE, FALSE, kGo));
    const win::KernelHandle ready(CreateSemaphoreW(nullptr, 0, processes, kReady));
    std::vector<win::KernelHandle> members;
    for (int number = 1; number <= processes; ++number) {
        members.push_back(StartMember(L"member " + kind + L" \"" + folder + L"\" " + std::to_wstring(number) + L" " +
                                      records + L" " + bytes));
    }
    for (int number = 0; number < processes; ++number) {
        Require(WaitForSingleObject(ready.Get(), kPatience) == WAIT_OBJECT_0, "a process did not become ready");
    }
    const double time = Milliseconds([&] {
        SetEvent(go.Get());
        for (const win::KernelHandle& member : members) {
            WaitForSingleObject(member.Get(), INFINITE);
        }
    });
    for (const win::KernelHandle& member : members) {
        DWORD code = 1;
        Require(GetExitCodeProcess(member.Get(), &code) != FALSE && code == 0, "a process failed");
    }
    std::printf("{\"time\": %.6f}\n", time);
    return 0;
}

void WaitForGo()
{
    const win::KernelHandle go(OpenEventW(SYNCHRONIZE, FALSE, kGo));
    const win::KernelHandle ready(OpenSemaphoreW(SEMAPHORE_MODIFY_STATE, FALSE, kReady));
    Require(go && ready && ReleaseSemaphore(ready.Get(), 1, nullptr) != FALSE, "nobody waits for this process");
    Require(WaitForSingleObject(go.Get(), kPatience) == WAIT_OBJECT_0, "the start was never signalled");
}

int RunMember(bool isLog, const std::wstring& file, int number, int records, std::size_t bytes)
{
    if (isLog) {
        CVLTrace trace;
        WaitForGo();
        WriteRecords(trace, number, records);
    } else {
        const win::KernelHandle mutex(CreateMutexW(nullptr, FALSE, kMutex));
        const std::wstring record(bytes / sizeof(wchar_t), L'x');
        WaitForGo();
        WritePlain(file, mutex.Get(), record, records);
    }
    return 0;
}

int ToNumber(const wchar_t* word)
{
    return static_cast<int>(std::wcstol(word, nullptr, 10));
}

} // namespace

extern "C" int wmain(int argc, wchar_t** argv)
{
    const std::vector<std::wstring> words(argv + 1, argv + argc);
    if (words.size() == 3 && words[0] == L"turns") {
        return RunTurns(words[1] + kFile, ToNumber(argv[3]));
    }
    if ((words.size() == 5 || words.size() == 6) && words[0] == L"together") {
        return RunTogether(words[1], words[2], ToNumber(argv[4]), words[4], words.size() == 6 ? words[5] : L"0");
    }
    if (words.size() == 6 && words[0] == L"member") {
        return RunMember(words[1] == L"log", words[2] + kFile, ToNumber(argv[4]), ToNumber(argv[5]),
                         static_cast<std::size_t>(ToNumber(argv[6])));
    }
    std::fputs("usage: trace_bench turns|together|member ...\n", stderr);
    return 2;
}
