// What a whole process would hide, or cannot be asked for on a command line. Prints one JSON object of times in
// milliseconds; what stands beside the tool's code is told with each.
//
// inprocess_bench words WORDS DRIVES TURNS   resolving so many drive words against the engine's drives, beside walking
//                                            these and asking each for its name
// inprocess_bench translation FILE TURNS     loading the translation of the language that the registry names, which is
//                                            this file beside the program, and looking up ten texts; beside reading the
//                                            file's bytes
// inprocess_bench hotfix CHARACTERS TURNS    finding the hotfix in a version string of so many characters, beside
//                                            counting one character in it

#include "base/counted_object.h"
#include "cmd/command_line.h"
#include "engine/engine_contract.h"
#include "engine/reserved_slots.h"
#include "messages/translator.h"
#include "samples.h"
#include "support/file_versions.h"
#include "support/replaced_function.h"
#include "win/bstr.h"
#include "win/owner.h"

#include <algorithm>
#include <cwchar>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace testing_support;

constexpr int kTextsOfARun = 10;

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

// An engine with drives mounted in the folders D:\Mounts\0\, D:\Mounts\1\ and so on, whose names are their identities.
class BenchAgent final : public Counted<sim::AgentSlots> {
public:
    explicit BenchAgent(int drives) : drives_(drives) {}

    HRESULT WINAPI GetDriveList(BSTR* list) override
    {
        std::wstring names;
        for (int i = 0; i < drives_; ++i) {
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

private:
    int drives_;
};

// Walking the drives and asking each for its name, with nothing compared.
void Walk(int drives)
{
    win::ComPtr<IVLAgent> agent;
    Require(SUCCEEDED(ConnectToAgent(L"", &agent)), "no agent");
    int named = 0;
    Require(SUCCEEDED(WalkDrives(*agent,
                                 [&](std::wstring_view, IVLDrive& drive) {
                                     win::Bstr name;
                                     drive.GetDriveName(name.Put());
                                     named += name.View().empty() ? 0 : 1;
                                     return true;
                                 })),
            "the walk failed");
    Require(named == drives, "not every drive has a name");
}

Samples MeasureWords(int words, int drives, int turns)
{
    const Replaced<"CoCreateInstance", decltype(::CoCreateInstance)> activation(
        [drives](REFCLSID, IUnknown*, DWORD, REFIID, void** object) {
            *object = new BenchAgent(drives);
            return S_OK;
        });
    CommandLine commandLine;
    RegisterSwitches(commandLine);
    commandLine.words = {L"/dol"};
    for (int i = 0; i < words; ++i) {
        // Without the closing backslash and in another case, so that each word has to be converted.
        commandLine.words.push_back(L"d:\\MOUNTS\\" + std::to_wstring(i * (drives / words)));
    }
    const auto resolve = [&] {
        DriveList found;
        Require(ResolveDrives(commandLine, L"", found) == kSuccess && found.size() == static_cast<std::size_t>(words),
                "not every word was resolved");
    };
    return RunInTurn(
        turns, [&] { return Milliseconds(resolve); }, [&] { return Milliseconds([&] { Walk(drives); }); });
}

void ReadBytes(const wchar_t* path)
{
    const win::FileHandle file(
        CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size{};
    Require(file && GetFileSizeEx(file.Get(), &size) != FALSE, "the translation file cannot be opened");
    const auto bytes = std::make_unique_for_overwrite<char[]>(size.LowPart);
    DWORD read = 0;
    Require(ReadFile(file.Get(), bytes.get(), size.LowPart, &read, nullptr) != FALSE && read == size.LowPart,
            "the translation file cannot be read");
}

void LoadAndLookUp()
{
    Translator translator;
    Require(LoadTranslation(translator, kLanguageOfCore) == ERROR_SUCCESS, "the translation cannot be loaded");
    for (std::uint32_t number = 1; number <= kTextsOfARun; ++number) {
        Require(translator.Find(number, "untranslated") != L"untranslated", "a text is not translated");
    }
}

Samples MeasureTranslation(const wchar_t* file, int turns)
{
    return RunInTurn(
        turns, [] { return Milliseconds(LoadAndLookUp); }, [&] { return Milliseconds([&] { ReadBytes(file); }); });
}

// A version resource whose every text is the given one.
Samples MeasureHotfix(int characters, int turns)
{
    // Nothing but first letters of the marker, which stands at the front.
    const std::wstring text = L"HF3" + std::wstring(static_cast<std::size_t>(characters), L'H');
    const Replaced<"GetFileVersionInfoSizeW", decltype(::GetFileVersionInfoSizeW)> size(
        [](LPCWSTR, LPDWORD) { return DWORD{sizeof(wchar_t)}; });
    const Replaced<"GetFileVersionInfoW", decltype(::GetFileVersionInfoW)> data(
        [](LPCWSTR, DWORD, DWORD, LPVOID) { return TRUE; });
    const Replaced<"VerQueryValueW", decltype(::VerQueryValueW)> query(
        [&](LPCVOID, LPCWSTR name, LPVOID* value, PUINT length) {
            static DWORD translation = 0x04B00409;
            const bool asksLanguages = std::wcsstr(name, L"Translation") != nullptr;
            *value = asksLanguages ? static_cast<void*>(&translation) : const_cast<wchar_t*>(text.c_str());
            *length = asksLanguages ? UINT{sizeof translation} : static_cast<UINT>(text.size());
            return TRUE;
        });
    return RunInTurn(
        turns,
        [&] {
            return Milliseconds(
                [&] { Require(GetHotfixTag(L"C:\\program.exe").starts_with(L"HF3"), "the hotfix was not found"); });
        },
        [&] {
            return Milliseconds([&] {
                Require(std::count(text.begin(), text.end(), L'H') == characters + 1, "the characters are wrong");
            });
        });
}

int ToNumber(const wchar_t* word)
{
    return static_cast<int>(std::wcstol(word, nullptr, 10));
}

} // namespace

extern "C" int wmain(int argc, wchar_t** argv)
{
    const std::wstring_view what = argc > 1 ? argv[1] : L"";
    if (what == L"words" && argc == 5) {
        Print(MeasureWords(ToNumber(argv[2]), ToNumber(argv[3]), ToNumber(argv[4])));
    } else if (what == L"translation" && argc == 4) {
        Print(MeasureTranslation(argv[2], ToNumber(argv[3])));
    } else if (what == L"hotfix" && argc == 4) {
        Print(MeasureHotfix(ToNumber(argv[2]), ToNumber(argv[3])));
    } else {
        std::fputs("usage: inprocess_bench words|translation|hotfix ...\n", stderr);
        return 2;
    }
    return 0;
}
