#include "support/file_versions.h"

#include "support/registry.h"
#include "win/owner.h"
#include "win/system.h"
#include "win/system_library.h"
#include "win/text.h"

#include <cwchar>
#include <iterator>
#include <string_view>

namespace {

constexpr DWORD kProgramPathCharacters = 1024;
constexpr DWORD kSystemFolderCharacters = 513;
constexpr int kDateTimeCharacters = 50;

constexpr wchar_t kEngineServerKey[] =
    L"SOFTWARE\\Classes\\CLSID\\{0C5E92B1-7F3A-4D68-B2C4-9A81E6F05D17}\\LocalServer32";
constexpr wchar_t kActiveServerKey[] =
    L"SOFTWARE\\Classes\\CLSID\\{6A1D44E2-93B7-4C0F-8E55-1F2B7C9D3A60}\\LocalServer32";

constexpr const wchar_t* kHotfixStrings[] = {
    L"\\StringFileInfo\\040904b0\\InternalName",
    L"\\StringFileInfo\\040904b0\\OriginalFilename",
    L"\\StringFileInfo\\040904b0\\ProductName",
};
constexpr std::wstring_view kHotfixMarkers[] = {L"HF", L"exp"};

std::wstring InstallFolder()
{
    return win::ProgramFolder(kProgramPathCharacters);
}

std::wstring EngineFolder()
{
    return GetServerDirectory(kEngineServerKey);
}

std::wstring ActiveServerFolder()
{
    return GetServerDirectory(kActiveServerKey);
}

std::wstring SystemFolder()
{
    wchar_t folder[kSystemFolderCharacters] = {};
    GetSystemDirectoryW(folder, kSystemFolderCharacters);
    return folder;
}

std::wstring DriversFolder()
{
    return win::JoinPath(SystemFolder(), L"Drivers");
}

// When a file of the list gets a line: with a version; without one, too, to say that it was not found; or whenever the
// file is there at all.
enum class Listing { Versioned, AlsoMissing, Existing };

struct FileList {
    std::wstring (*folder)();
    Listing listing;
    std::initializer_list<const wchar_t*> files;
};

constexpr std::initializer_list<const wchar_t*> kInstalledFiles = {
    L"VLAgent.exe", L"VLAgentS1.exe", L"VLVmGuest.dll", L"VLVmGuestPS.dll", L"VLExchange.exe", L"VLVMDefrag.exe",
    L"VLDB.dll",    L"Velundra.exe",  L"VLRenew.dll",   L"VLRenewPS.dll",   L"VLRenewUI.exe",  L"VLCmd.exe",
};
constexpr std::initializer_list<const wchar_t*> kEngineFiles = {L"VLEngine.exe", L"VLEnginePS.dll", L"VLUtils.dll"};
constexpr std::initializer_list<const wchar_t*> kActiveFiles = {L"activevl.dll", L"activevlLib.dll",
                                                                L"AxactivevlLib.dll", L"VLServerPlugIn.dll"};
constexpr std::initializer_list<const wchar_t*> kDriverFiles = {L"VLVolumeFS.sys", L"VLFsFilter.sys"};
constexpr std::initializer_list<const wchar_t*> kBootFiles = {L"VLBoot.exe"};

const FileList kFileLists[] = {
    {InstallFolder, Listing::Versioned, kInstalledFiles},   {EngineFolder, Listing::Existing, kEngineFiles},
    {ActiveServerFolder, Listing::Versioned, kActiveFiles}, {DriversFolder, Listing::AlsoMissing, kDriverFiles},
    {SystemFolder, Listing::AlsoMissing, kBootFiles},
};

constinit win::SystemLibrary versionLibrary(L"version.dll");
constinit win::SystemFunction<decltype(GetFileVersionInfoSizeW)> getInfoSize(versionLibrary, "GetFileVersionInfoSizeW");
constinit win::SystemFunction<decltype(GetFileVersionInfoW)> getInfo(versionLibrary, "GetFileVersionInfoW");
constinit win::SystemFunction<decltype(VerQueryValueW)> queryValue(versionLibrary, "VerQueryValueW");

// A file's version resource for as long as the object lives.
class VersionResource {
public:
    explicit VersionResource(const std::wstring& path)
    {
        // Windows would look for a bare name in the folders in which it looks for libraries.
        const std::wstring whole = win::FullPath(path);
        DWORD ignored = 0;
        const DWORD size = getInfoSize(whole.c_str(), &ignored);
        if (size == 0) {
            return;
        }
        block_.Reset(LocalAlloc(LMEM_ZEROINIT, size));
        if (block_ && getInfo(whole.c_str(), 0, size, block_.Get()) == FALSE) {
            block_.Reset();
        }
    }

    // The fixed part; null where there is none.
    [[nodiscard]] const VS_FIXEDFILEINFO* Fixed() const
    {
        UINT size = 0;
        const auto* const fixed = static_cast<const VS_FIXEDFILEINFO*>(Query(L"\\", size));
        return size >= sizeof *fixed ? fixed : nullptr;
    }

    // A text of the string tables; empty where there is none.
    [[nodiscard]] std::wstring_view Text(const wchar_t* name) const
    {
        UINT length = 0;
        const auto* const text = static_cast<const wchar_t*>(Query(name, length));
        return text == nullptr ? std::wstring_view() : std::wstring_view(text, wcsnlen(text, length));
    }

private:
    [[nodiscard]] const void* Query(const wchar_t* name, UINT& size) const
    {
        void* value = nullptr;
        if (!block_ || queryValue(block_.Get(), name, &value, &size) == FALSE) {
            size = 0;
            return nullptr;
        }
        return value;
    }

    win::LocalBlock block_;
};

// The tag that a text of the version resource ends in: from a marker's last place on, where a number other than 0
// follows the marker.
std::wstring TagIn(std::wstring_view text)
{
    for (const std::wstring_view marker : kHotfixMarkers) {
        const std::size_t place = text.rfind(marker);
        if (place != std::wstring_view::npos && win::ReadDecimal(text.substr(place + marker.size())) != 0) {
            return std::wstring(text.substr(place));
        }
    }
    return {};
}

// The file's last-write time in the local time zone; false where there is no such file or no such time.
bool GetLocalWriteTime(const std::wstring& path, SYSTEMTIME& local)
{
    WIN32_FIND_DATAW found{};
    const win::FindFile search(FindFirstFileW(path.c_str(), &found));
    SYSTEMTIME utc{};
    return search && FileTimeToSystemTime(&found.ftLastWriteTime, &utc) != FALSE &&
           SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local) != FALSE;
}

std::wstring DescribeFile(const std::wstring& folder, const wchar_t* file, Listing listing)
{
    const std::wstring path = win::JoinPath(folder, file);
    std::wstring text = GetFileVersionText(path);
    if (!text.empty() || listing == Listing::Existing) {
        text += GetFileTimeText(path);
    }
    if (!text.empty()) {
        return std::wstring(file) + L" : " + text + L'\n';
    }
    return listing == Listing::AlsoMissing ? std::wstring(file) + L" : Not found\n" : std::wstring();
}

} // namespace

std::wstring GetFileVersionSection()
{
    std::wstring text = L"\n\nINSTALL DIRECTORY\n\n" + InstallFolder() + L"\n\n\nFILE VERSION INFORMATION\n\n";
    for (const FileList& list : kFileLists) {
        const std::wstring folder = list.folder();
        for (const wchar_t* const file : list.files) {
            text += DescribeFile(folder, file, list.listing);
        }
    }
    return text + L'\n';
}

std::wstring GetFileVersionText(const std::wstring& path)
{
    const VersionResource resource(path);
    const VS_FIXEDFILEINFO* const fixed = resource.Fixed();
    if (fixed == nullptr) {
        return {};
    }
    return std::to_wstring(HIWORD(fixed->dwFileVersionMS)) + L'.' + std::to_wstring(LOWORD(fixed->dwFileVersionMS)) +
           L'.' + std::to_wstring(HIWORD(fixed->dwFileVersionLS)) + L'.' +
           std::to_wstring(LOWORD(fixed->dwFileVersionLS));
}

std::wstring GetFileTimeText(const std::wstring& path)
{
    SYSTEMTIME local{};
    wchar_t date[kDateTimeCharacters] = {};
    wchar_t time[kDateTimeCharacters] = {};
    if (!GetLocalWriteTime(path, local) || GetDateFormatW(0, 0, &local, nullptr, date, kDateTimeCharacters) == 0) {
        return {};
    }
    if (GetTimeFormatW(0, 0, &local, nullptr, time, kDateTimeCharacters) == 0) {
        return date;
    }
    std::wstring text = std::wstring(L".  ") + date + L' ' + time;
    if (const std::wstring tag = GetHotfixTag(path); !tag.empty()) {
        text += L".  HOTFIX: " + tag;
    }
    return text;
}

std::wstring GetHotfixTag(const std::wstring& path)
{
    const VersionResource resource(path);
    for (const wchar_t* const name : kHotfixStrings) {
        if (std::wstring tag = TagIn(resource.Text(name)); !tag.empty()) {
            return tag;
        }
    }
    return {};
}

std::wstring GetServerDirectory(const wchar_t* localServerKey)
{
    constexpr std::wstring_view kAround = L"\" ";
    std::wstring server = RegFindString(HKEY_LOCAL_MACHINE, localServerKey, nullptr).value_or(std::wstring());
    server.erase(0, server.find_first_not_of(kAround));
    server.erase(server.find_last_not_of(kAround) + 1);
    return win::FolderOf(server);
}
