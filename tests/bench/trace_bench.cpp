// How many records a second the trace log writes, beside a loop that opens, seeks, writes and closes the same bytes
// under a mutex of its own. Prints one JSON object; both run in turn, and each figure is the median of several turns.

#include "support/registry_sandbox.h"
#include "trace/VLTrace.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

namespace {

constexpr int kTurns = 15;
constexpr int kRecords = 1000;
constexpr wchar_t kFile[] = L"\\Velundra_TraceLog.txt";

// A folder for the log, which goes with the object.
class LogFolder {
public:
    LogFolder() : path_(std::filesystem::temp_directory_path() / L"vlcmd-trace-bench")
    {
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    LogFolder(const LogFolder&) = delete;
    LogFolder(LogFolder&&) = delete;
    ~LogFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    LogFolder& operator=(const LogFolder&) = delete;
    LogFolder& operator=(LogFolder&&) = delete;

    [[nodiscard]] std::wstring Path() const { return path_.wstring(); }

private:
    std::filesystem::path path_;
};

void Require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "trace_bench: %s\n", what);
        ExitProcess(1);
    }
}

void WriteRecords(CVLTrace& trace)
{
    for (int i = 0; i < kRecords; ++i) {
        Require(trace.TraceMessage(0, L"trace_bench", L"WriteRecords", __LINE__, L"record %d", i) == 0,
                "a record cannot be written");
    }
}

// As many bytes as a record has, in a file like the log.
void WriteBytes(const std::wstring& path, HANDLE mutex, const std::wstring& record)
{
    for (int i = 0; i < kRecords; ++i) {
        WaitForSingleObject(mutex, INFINITE);
        const win::FileHandle file(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                               FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                                               FILE_ATTRIBUTE_NORMAL, nullptr));
        LARGE_INTEGER end{};
        SetFilePointerEx(file.Get(), {}, &end, FILE_END);
        DWORD written = 0;
        Require(WriteFile(file.Get(), record.data(), static_cast<DWORD>(record.size() * sizeof(wchar_t)), &written,
                          nullptr) != FALSE,
                "the bytes cannot be written");
        ReleaseMutex(mutex);
    }
}

// What one turn takes in the log's own file, which it makes and which is deleted behind it.
double Seconds(const std::wstring& file, const std::function<void()>& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    Require(DeleteFileW(file.c_str()) != FALSE, "there is no file");
    return seconds;
}

double Median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + kTurns / 2, values.end());
    return values[kTurns / 2];
}

} // namespace

int main()
{
    const LogFolder folder;
    const std::wstring file = folder.Path() + kFile;
    const testing_support::RegistrySandbox registry;
    testing_support::RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, L"Software\\Kestrane\\VLCore\\14.0",
                                                L"TraceFilePath", folder.Path());
    CVLTrace trace;
    const win::KernelHandle mutex(CreateMutexW(nullptr, FALSE, nullptr));

    WriteRecords(trace);
    // The mark at the file's begin is nobody's: it is one record's worth in none.
    const auto bytes = std::filesystem::file_size(file) - sizeof(wchar_t);
    const std::wstring record(bytes / sizeof(wchar_t) / kRecords, L'x');
    Require(DeleteFileW(file.c_str()) != FALSE, "there is no log");

    std::vector<double> logged;
    std::vector<double> plain;
    std::vector<double> ratios;
    for (int turn = 0; turn < kTurns; ++turn) {
        logged.push_back(kRecords / Seconds(file, [&] { WriteRecords(trace); }));
        plain.push_back(kRecords / Seconds(file, [&] { WriteBytes(file, mutex.Get(), record); }));
        ratios.push_back(logged.back() / plain.back());
    }
    std::printf("{\"trace_records_a_second\": %.0f, \"plain_writes_a_second\": %.0f, \"trace_ratio\": %.4f}\n",
                Median(logged), Median(plain), Median(ratios));
    return 0;
}
