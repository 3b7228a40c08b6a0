// What cannot be timed as a whole process: resolving many drive words, loading a long translation, and dumping a large
// registry tree. Prints one JSON object; every time is the median of several runs, in milliseconds, and memory is in
// megabytes.

#include "base/counted_object.h"
#include "cmd/command_line.h"
#include "engine/engine_contract.h"
#include "engine/reserved_slots.h"
#include "messages/translation_file.h"
#include "support/registry.h"
#include "support/registry_section.h"
#include "support/replaced_function.h"
#include "win/bstr.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include <psapi.h>

namespace {

using namespace testing_support;

constexpr int kRuns = 9;
constexpr int kDrives = 10000;
constexpr int kWords = 1000;
constexpr int kTranslatedLines = 100000;
constexpr int kFewValues = 10000;
constexpr int kManyValues = 100000;

HRESULT NotCalled()
{
    return E_NOTIMPL;
}

template <typename Slots>
class Counted : public sim::CountedObject<Slots> {
public:
    HRESULT WINAPI QueryInterface(REFIID /*interfaceId*/, void** object) override
    {
        *object = nullptr;
        return E_NOINTERFACE;
    }

protected:
    HRESULT OnReserved(std::wstring_view /*interfaceName*/, unsigned /*slot*/) override { return NotCalled(); }
};

class BenchDrive final : public Counted<sim::DriveSlots> {
public:
    explicit BenchDrive(std::wstring name) : name_(std::move(name)) {}

    HRESULT WINAPI GetDriveName(BSTR* name) override
    {
        *name = SysAllocStringLen(name_.data(), static_cast<UINT>(name_.size()));
        return S_OK;
    }
    HRESULT WINAPI GetMountPoint(BSTR* /*text*/) override { return NotCalled(); }
    HRESULT WINAPI GetOfflineFileTypes(ULONG* /*number*/) override { return NotCalled(); }
    HRESULT WINAPI GetState(ULONG* /*number*/) override { return NotCalled(); }

private:
    std::wstring name_;
};

// An engine with drives mounted in the folders D:\Mounts\0\ to D:\Mounts\9999\, whose names are their identities.
class BenchAgent final : public Counted<sim::AgentSlots> {
public:
    HRESULT WINAPI GetDriveList(BSTR* list) override
    {
        std::wstring names;
        for (int i = 0; i < kDrives; ++i) {
            names += (i == 0 ? L"D:\\Mounts\\" : L"|D:\\Mounts\\") + std::to_wstring(i) + L"\\";
        }
        *list = SysAllocStringLen(names.data(), static_cast<UINT>(names.size()));
        return S_OK;
    }
    HRESULT WINAPI GetDrive(BSTR name, IVLDrive** drive) override
    {
        *drive = new BenchDrive(name);
        return S_OK;
    }
    HRESULT WINAPI Analyze(IVLDrive* /*drive*/) override { return NotCalled(); }
    HRESULT WINAPI OptimizeOnline(IVLDrive* /*drive*/, LONG /*number*/) override { return NotCalled(); }
    HRESULT WINAPI DefragFile(IVLDrive* /*drive*/, BSTR /*name*/) override { return NotCalled(); }
    HRESULT WINAPI PrepareOffline(IVLDrive* /*drive*/, LONG /*number*/) override { return NotCalled(); }
    HRESULT WINAPI ScheduleBootTime(IVLDrive* /*drive*/, ULONG /*fileTypes*/) override { return NotCalled(); }
    HRESULT WINAPI CancelBootTime(IVLDrive* /*drive*/) override { return NotCalled(); }
    HRESULT WINAPI OptimizeOffline(IVLDrive* /*drive*/, ULONG /*fileTypes*/) override { return NotCalled(); }
    HRESULT WINAPI StopDrive(IVLDrive* /*drive*/) override { return NotCalled(); }
    HRESULT WINAPI StopAll() override { return NotCalled(); }
    HRESULT WINAPI CheckAccess(ULONG* /*number*/) override { return NotCalled(); }
    HRESULT WINAPI GetFileNameById(BSTR /*name*/, hyper /*fileId*/, BSTR* /*text*/) override { return NotCalled(); }
    HRESULT WINAPI GetStatistics(BSTR /*name*/, DATE /*cutOff*/, LONG /*number*/,
                                 IVLStatistics** /*statistics*/) override
    {
        return NotCalled();
    }
    HRESULT WINAPI ZeroFreeSpace(IVLDrive* /*drive*/, LONG /*number*/) override { return NotCalled(); }
};

double MedianMilliseconds(const std::function<void()>& work)
{
    std::vector<double> times;
    for (int i = 0; i < kRuns; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    std::nth_element(times.begin(), times.begin() + kRuns / 2, times.end());
    return times[kRuns / 2];
}

void Require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "inprocess_bench: %s\n", what);
        ExitProcess(1);
    }
}

// Walking the drives and asking each for its name, with nothing compared.
double TimeWalking()
{
    return MedianMilliseconds([] {
        win::ComPtr<IVLAgent> agent;
        Require(SUCCEEDED(ConnectToAgent(L"", &agent)), "no agent");
        std::size_t characters = 0;
        Require(SUCCEEDED(WalkDrives(*agent,
                                     [&](std::wstring_view, IVLDrive& drive) {
                                         win::Bstr name;
                                         drive.GetDriveName(name.Put());
                                         characters += name.View().size();
                                         return true;
                                     })),
                "the walk failed");
        Require(characters > kDrives, "the drives have no names");
    });
}

double TimeResolving()
{
    CommandLine commandLine;
    RegisterSwitches(commandLine);
    commandLine.words = {L"/dol"};
    for (int i = 0; i < kWords; ++i) {
        // Every tenth drive, without the closing backslash and in another case, so that each word has to be converted.
        commandLine.words.push_back(L"d:\\MOUNTS\\" + std::to_wstring(i * (kDrives / kWords)));
    }
    return MedianMilliseconds([&] {
        DriveList drives;
        Require(ResolveDrives(commandLine, L"", drives) == kSuccess && drives.size() == kWords,
                "not every word was resolved");
    });
}

std::wstring WriteTranslation()
{
    wchar_t folder[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, folder);
    std::wstring path = std::wstring(folder) + L"vlcmd-bench-" + std::to_wstring(GetCurrentProcessId()) + L".tr";
    std::wstring text = L"#VL_TRANSLATION_FILE\r\n";
    for (int i = 0; i < kTranslatedLines; ++i) {
        text +=
            std::to_wstring(i) +
            L"\t\"Online optimization started on drive %1.\"\t\"Die Optimierung von Laufwerk %1 wurde gestartet.\"\r\n";
    }
    std::FILE* const file = _wfopen(path.c_str(), L"wb");
    Require(file != nullptr && std::fwrite(text.data(), sizeof(wchar_t), text.size(), file) == text.size() &&
                std::fclose(file) == 0,
            "the translation file cannot be written");
    return path;
}

double TimeReading(const std::wstring& path)
{
    return MedianMilliseconds([&] {
        std::wstring text;
        Require(ReadTranslationFile(path, text) == ERROR_SUCCESS, "the translation file cannot be read");
    });
}

double TimeLoading(const std::wstring& path)
{
    return MedianMilliseconds([&] {
        std::wstring text;
        std::vector<TranslatedMessage> messages;
        Require(ReadTranslationFile(path, text) == ERROR_SUCCESS && ParseTranslations(text, messages) &&
                    messages.size() == kTranslatedLines,
                "the translation was not loaded whole");
    });
}

// A registry tree of ten levels, one key in the other, with as many values in each; deleted with the object. It is
// volatile, so that it never reaches a disk.
class RegistryTree {
public:
    explicit RegistryTree(int values)
    {
        std::wstring path = kPath;
        for (int level = 0; level < kLevels; ++level) {
            win::RegistryKey key;
            Require(RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS,
                                    nullptr, key.Put(), nullptr) == ERROR_SUCCESS,
                    "the registry tree cannot be made");
            for (int i = 0; i < values / kLevels; ++i) {
                const std::wstring name = L"Value " + std::to_wstring(i);
                Require(RegSetValueExW(key.Get(), name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(name.c_str()),
                                       static_cast<DWORD>((name.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS,
                        "a value of the registry tree cannot be set");
            }
            path += L"\\Level " + std::to_wstring(level);
        }
    }
    RegistryTree(const RegistryTree&) = delete;
    RegistryTree(RegistryTree&&) = delete;
    ~RegistryTree() { RegDeleteTreeW(HKEY_CURRENT_USER, kPath); }
    RegistryTree& operator=(const RegistryTree&) = delete;
    RegistryTree& operator=(RegistryTree&&) = delete;

    static constexpr wchar_t kPath[] = L"Software\\VLCmdBench";

private:
    static constexpr int kLevels = 10;
};

struct Dump {
    double milliseconds;
    double megabytes; // by which the process's memory has grown at its most
};

double PeakMegabytes()
{
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return static_cast<double>(counters.PeakWorkingSetSize) / (1024 * 1024);
}

Dump MeasureDump(int values)
{
    const RegistryTree tree(values);
    const double before = PeakMegabytes();
    const double milliseconds = MedianMilliseconds([&] {
        win::RegistryKey key;
        Require(RegOpen(HKEY_CURRENT_USER, RegistryTree::kPath, KEY_READ, key) == ERROR_SUCCESS, "no registry tree");
        std::wstring text;
        DumpRegistryKey(key.Get(), L"HKEY_CURRENT_USER", text);
        Require(std::count(text.begin(), text.end(), L':') == std::ptrdiff_t{3} * values,
                "the registry tree was not dumped whole");
    });
    return {milliseconds, PeakMegabytes() - before};
}

} // namespace

int main()
{
    // The small one first: what it takes at the most must not hide behind the other.
    const Dump smallDump = MeasureDump(kFewValues);
    const Dump largeDump = MeasureDump(kManyValues);
    const Replaced<"CoCreateInstance", decltype(::CoCreateInstance)> activation(
        [](REFCLSID, IUnknown*, DWORD, REFIID, void** object) {
            *object = new BenchAgent;
            return S_OK;
        });
    const double walking = TimeWalking();
    const double resolving = TimeResolving();
    const std::wstring translation = WriteTranslation();
    const double reading = TimeReading(translation);
    const double loading = TimeLoading(translation);
    DeleteFileW(translation.c_str());
    std::printf("{\"walk_10000_drives_ms\": %.3f, \"resolve_1000_words_ms\": %.3f, "
                "\"read_translation_ms\": %.3f, \"load_translation_ms\": %.3f, "
                "\"dump_10000_values_ms\": %.3f, \"dump_100000_values_ms\": %.3f, "
                "\"dump_10000_values_mb\": %.3f, \"dump_100000_values_mb\": %.3f}\n",
                walking, resolving, reading, loading, smallDump.milliseconds, largeDump.milliseconds,
                smallDump.megabytes, largeDump.megabytes);
    return 0;
}
