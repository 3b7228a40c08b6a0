#include "support/file_versions.h"

#include "program_files.h"
#include "support/described_files.h"
#include "support/failing_allocations.h"
#include "support/installed_program.h"
#include "support/product_test.h"
#include "support/system_folders.h"

#include <filesystem>
#include <string>
#include <vector>

namespace {

using namespace testing_support;
using namespace testing_support::program_files;

// --- The section ---

// What becomes of a file that has no version resource, and of one that is not there.
enum class Lack { NoLine, TimeAlone, NotFound };

struct ListedFile {
    const wchar_t* folder;
    const wchar_t* name;
    Lack withoutResource;
    Lack missing;
};

constexpr wchar_t kInstall[] = L"C:\\Velundra";
constexpr wchar_t kEngine[] = L"D:\\Engine";
constexpr wchar_t kActive[] = L"E:\\Active Server";
constexpr wchar_t kDrivers[] = L"C:\\WINNT\\System32\\Drivers";
constexpr wchar_t kSystem[] = L"C:\\WINNT\\System32";

constexpr ListedFile kListedFiles[] = {
    {kInstall, L"VLAgent.exe", Lack::NoLine, Lack::NoLine},
    {kInstall, L"VLAgentS1.exe", Lack::NoLine, Lack::NoLine},
    {kInstall, L"VLVmGuest.dll", Lack::NoLine, Lack::NoLine},
    {kInstall, L"VLVmGuestPS.dll", Lack::NoLine, Lack::NoLine},
    {kInstall, L"VLExchange.exe", Lack::NoLine, Lack::NoLine},
    {kInstall, L"VLVMDefrag.exe", Lack::NoLine, Lack::NoLine},
    {kInstall, L"VLDB.dll", Lack::NoLine, Lack::NoLine},
    {kInstall, L"Velundra.exe", Lack::NoLine, Lack::NoLine},
    {kInstall, L"VLRenew.dll", Lack::NoLine, Lack::NoLine},
    {kInstall, L"VLRenewPS.dll", Lack::NoLine, Lack::NoLine},
    {kInstall, L"VLRenewUI.exe", Lack::NoLine, Lack::NoLine},
    {kInstall, L"VLCmd.exe", Lack::NoLine, Lack::NoLine},
    {kEngine, L"VLEngine.exe", Lack::TimeAlone, Lack::NoLine},
    {kEngine, L"VLEnginePS.dll", Lack::TimeAlone, Lack::NoLine},
    {kEngine, L"VLUtils.dll", Lack::TimeAlone, Lack::NoLine},
    {kActive, L"activevl.dll", Lack::NoLine, Lack::NoLine},
    {kActive, L"activevlLib.dll", Lack::NoLine, Lack::NoLine},
    {kActive, L"AxactivevlLib.dll", Lack::NoLine, Lack::NoLine},
    {kActive, L"VLServerPlugIn.dll", Lack::NoLine, Lack::NoLine},
    {kDrivers, L"VLVolumeFS.sys", Lack::NotFound, Lack::NotFound},
    {kDrivers, L"VLFsFilter.sys", Lack::NotFound, Lack::NotFound},
    {kSystem, L"VLBoot.exe", Lack::NotFound, Lack::NotFound},
};

std::wstring PathOf(const ListedFile& file)
{
    return std::wstring(file.folder) + L'\\' + file.name;
}

std::wstring LineFor(const ListedFile& file, Lack lack)
{
    switch (lack) {
    case Lack::TimeAlone:
        return std::wstring(file.name) + L" : .  5.11.2026 8:30:0\n";
    case Lack::NotFound:
        return std::wstring(file.name) + L" : Not found\n";
    default:
        return {};
    }
}

class FileVersionSection : public ProgramFileFacts {
protected:
    FileVersionSection()
    {
        program.MoveTo(std::wstring(kInstall) + L"\\VLCmd.exe");
        RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kEngineServer, nullptr, L"\"D:\\Engine\\VLEngine.exe\"");
        RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kActiveServer, nullptr, L"E:\\Active Server\\activevl.dll ");
    }

    // The section around these lines.
    static std::wstring SectionWith(const std::wstring& lines)
    {
        return L"\n\nINSTALL DIRECTORY\n\nC:\\Velundra\\\n\n\nFILE VERSION INFORMATION\n\n" + lines + L"\n";
    }

    // The lines where that one file is all that there is.
    static std::wstring LinesWith(const ListedFile& file, const std::wstring& line)
    {
        std::wstring lines;
        for (const ListedFile& listed : kListedFiles) {
            lines += &listed == &file ? line : LineFor(listed, listed.missing);
        }
        return lines;
    }

    InstalledProgram program;
    SystemFolders folders;
};

TEST_F(FileVersionSection, TellsEachFileInItsOrder)
{
    WORD number = 0;
    std::wstring lines;
    for (const ListedFile& file : kListedFiles) {
        files.Add(PathOf(file), {14, 0, ++number, 7});
        lines += std::wstring(file.name) + L" : 14.0." + std::to_wstring(number) + L".7.  5.11.2026 8:30:0\n";
    }
    EXPECT_EQ(SectionWith(lines), GetFileVersionSection());
}

TEST_F(FileVersionSection, SaysOfDriversAndBootProgramAloneThatTheyAreMissing)
{
    EXPECT_EQ(SectionWith(L"VLVolumeFS.sys : Not found\n"
                          L"VLFsFilter.sys : Not found\n"
                          L"VLBoot.exe : Not found\n"),
              GetFileVersionSection());
}

TEST_F(FileVersionSection, LooksForEachFileInItsFolder)
{
    std::vector<std::wstring> paths;
    for (const ListedFile& file : kListedFiles) {
        paths.push_back(PathOf(file));
    }
    static_cast<void>(GetFileVersionSection());
    EXPECT_EQ(paths, files.asked);
}

TEST_F(FileVersionSection, TellsVersionTimeAndHotfixOfEachFile)
{
    for (const ListedFile& file : kListedFiles) {
        files.files.clear();
        files.Add(PathOf(file), {14, 0, 1, 2}, {{L"InternalName", L"VL HF3"}}).written = {2025, 1, 0, 2, 3, 4, 5, 0};
        EXPECT_EQ(
            SectionWith(LinesWith(file, std::wstring(file.name) + L" : 14.0.1.2.  2.1.2025 5:4:5.  HOTFIX: HF3\n")),
            GetFileVersionSection());
    }
}

TEST_F(FileVersionSection, TellsTheTimeOfAnEngineFileWithoutVersionAndNothingOfOthers)
{
    for (const ListedFile& file : kListedFiles) {
        files.files.clear();
        files.Add(PathOf(file));
        EXPECT_EQ(SectionWith(LinesWith(file, LineFor(file, file.withoutResource))), GetFileVersionSection());
    }
}

TEST_F(FileVersionSection, TellsTheHotfixOfAnEngineFileWithoutVersion)
{
    for (const ListedFile& file : kListedFiles) {
        files.files.clear();
        files.Add(PathOf(file), {1, 2, 3, 4}, {{L"InternalName", L"VL HF3"}}).version.reset();
        const std::wstring line = file.withoutResource == Lack::TimeAlone
                                      ? std::wstring(file.name) + L" : .  5.11.2026 8:30:0.  HOTFIX: HF3\n"
                                      : LineFor(file, file.withoutResource);
        EXPECT_EQ(SectionWith(LinesWith(file, line)), GetFileVersionSection());
    }
}

TEST_F(FileVersionSection, HasTheVersionAloneWhereTheTimeCannotBeHad)
{
    const Replaced<"FindFirstFileW", decltype(::FindFirstFileW)> findFirst(
        [](LPCWSTR, LPWIN32_FIND_DATAW) -> HANDLE { return INVALID_HANDLE_VALUE; });
    for (const ListedFile& file : kListedFiles) {
        files.files.clear();
        files.Add(PathOf(file), {14, 0, 1, 2});
        EXPECT_EQ(SectionWith(LinesWith(file, std::wstring(file.name) + L" : 14.0.1.2\n")), GetFileVersionSection());
    }
}

TEST_F(FileVersionSection, RunsVersionAndDateTogetherWhereTheTimeOfDayCannotBeHad)
{
    const Replaced<"GetTimeFormatW", decltype(::GetTimeFormatW)> time(
        [](LCID, DWORD, const SYSTEMTIME*, LPCWSTR, LPWSTR, int) { return 0; });
    files.Add(L"D:\\Engine\\VLUtils.dll");
    files.Add(L"C:\\Velundra\\VLDB.dll", {14, 0, 1, 2});
    EXPECT_EQ(SectionWith(L"VLDB.dll : 14.0.1.25.11.2026\n"
                          L"VLUtils.dll : 5.11.2026\n"
                          L"VLVolumeFS.sys : Not found\n"
                          L"VLFsFilter.sys : Not found\n"
                          L"VLBoot.exe : Not found\n"),
              GetFileVersionSection());
}

TEST_F(FileVersionSection, LooksForFilesOfAServerThatIsNotRegisteredByTheirNames)
{
    ASSERT_EQ(ERROR_SUCCESS, RegDeleteKeyW(HKEY_LOCAL_MACHINE, kEngineServer));
    ASSERT_EQ(ERROR_SUCCESS, RegDeleteKeyW(HKEY_LOCAL_MACHINE, kActiveServer));
    files.Add(L"VLEngine.exe");
    files.Add(L"VLServerPlugIn.dll", {1, 2, 3, 4});
    files.Add(L"VLAgent.exe", {1, 2, 3, 4}); // that is not where the tool is installed
    EXPECT_EQ(SectionWith(L"VLEngine.exe : .  5.11.2026 8:30:0\n"
                          L"VLServerPlugIn.dll : 1.2.3.4.  5.11.2026 8:30:0\n"
                          L"VLVolumeFS.sys : Not found\n"
                          L"VLFsFilter.sys : Not found\n"
                          L"VLBoot.exe : Not found\n"),
              GetFileVersionSection());
}

TEST_F(FileVersionSection, AsksForThePathOfTheProgramInto1024Characters)
{
    const Replaced<"GetModuleFileNameW", decltype(::GetModuleFileNameW)> moduleFileName(
        [&](HMODULE module, LPWSTR path, DWORD size) {
            EXPECT_EQ(nullptr, module);
            EXPECT_EQ(1024U, size);
            return moduleFileName.Original(module, path, size);
        });
    static_cast<void>(GetFileVersionSection());
    EXPECT_LE(1, moduleFileName.Calls());
}

TEST_F(FileVersionSection, HasAnEmptyInstallDirectoryWhereWindowsTellsNone)
{
    const Replaced<"GetModuleFileNameW", decltype(::GetModuleFileNameW)> moduleFileName(
        [](HMODULE, LPWSTR, DWORD) { return 0U; });
    files.Add(L"VLCmd.exe", {1, 2, 3, 4});
    EXPECT_EQ(L"\n\nINSTALL DIRECTORY\n\n\n\n\nFILE VERSION INFORMATION\n\n"
              L"VLCmd.exe : 1.2.3.4.  5.11.2026 8:30:0\n"
              L"VLVolumeFS.sys : Not found\n"
              L"VLFsFilter.sys : Not found\n"
              L"VLBoot.exe : Not found\n\n",
              GetFileVersionSection());
}

TEST_F(FileVersionSection, LooksForDriversByTheirFolderAloneWhereWindowsTellsNoSystemDirectory)
{
    folders.system.clear();
    files.Add(L"Drivers\\VLVolumeFS.sys", {1, 2, 3, 4});
    files.Add(L"VLBoot.exe", {5, 6, 7, 8});
    EXPECT_EQ(SectionWith(L"VLVolumeFS.sys : 1.2.3.4.  5.11.2026 8:30:0\n"
                          L"VLFsFilter.sys : Not found\n"
                          L"VLBoot.exe : 5.6.7.8.  5.11.2026 8:30:0\n"),
              GetFileVersionSection());
}

TEST_F(FileVersionSection, DoesNotDoubleTheBackslashOfASystemDirectoryAtARoot)
{
    folders.system = L"S:\\";
    files.Add(L"S:\\Drivers\\VLFsFilter.sys", {1, 2, 3, 4});
    files.Add(L"S:\\VLBoot.exe", {5, 6, 7, 8});
    EXPECT_EQ(SectionWith(L"VLVolumeFS.sys : Not found\n"
                          L"VLFsFilter.sys : 1.2.3.4.  5.11.2026 8:30:0\n"
                          L"VLBoot.exe : 5.6.7.8.  5.11.2026 8:30:0\n"),
              GetFileVersionSection());
}

TEST_F(FileVersionSection, LosesNothingWhenMemoryRunsOut)
{
    for (const ListedFile& file : kListedFiles) {
        files.Add(PathOf(file), {14, 0, 1, 2}, {{L"ProductName", L"Velundra HF3"}});
    }
    const std::wstring whole = GetFileVersionSection();
    FailEachAllocation(census, [&](const FailingMemory& memory) {
        const std::wstring section = GetFileVersionSection();
        // A server whose path does not find room in memory counts as not registered.
        EXPECT_EQ(memory.HasFailed(), section != whole);
    });
}

// --- Real files ---

class RealFile : public ProductTest {
protected:
    // A file that was built beside the test program.
    static std::filesystem::path Built(const wchar_t* name)
    {
        wchar_t path[1024] = {};
        GetModuleFileNameW(nullptr, path, 1024);
        return std::filesystem::path(path).replace_filename(name);
    }

    // The last write as Windows itself tells it of an open file.
    static std::wstring WrittenAt(const std::wstring& path)
    {
        WIN32_FILE_ATTRIBUTE_DATA file{};
        SYSTEMTIME universal{};
        SYSTEMTIME local{};
        wchar_t date[64] = {};
        wchar_t time[64] = {};
        EXPECT_NE(FALSE, GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &file));
        EXPECT_NE(FALSE, FileTimeToSystemTime(&file.ftLastWriteTime, &universal));
        EXPECT_NE(FALSE, SystemTimeToTzSpecificLocalTime(nullptr, &universal, &local));
        EXPECT_NE(0, GetDateFormatW(0, 0, &local, nullptr, date, 64));
        EXPECT_NE(0, GetTimeFormatW(0, 0, &local, nullptr, time, 64));
        return std::wstring(L".  ") + date + L' ' + time;
    }

    // A program file in the scratch folder that has this version resource.
    [[nodiscard]] std::wstring ProgramWith(const DescribedFile& described) const
    {
        std::wstring path = folder.PathOf(L"Program.exe");
        std::filesystem::copy_file(Built(L"trace_writer.exe"), path, std::filesystem::copy_options::overwrite_existing);
        std::vector<BYTE> resource = VersionResourceOf(described);
        const HANDLE update = BeginUpdateResourceW(path.c_str(), FALSE);
        EXPECT_NE(nullptr, update);
        EXPECT_NE(FALSE, UpdateResourceW(update, MAKEINTRESOURCEW(16), MAKEINTRESOURCEW(VS_VERSION_INFO),
                                         MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), resource.data(),
                                         static_cast<DWORD>(resource.size())));
        EXPECT_NE(FALSE, EndUpdateResourceW(update, FALSE));
        return path;
    }

    ScratchFolder folder;
};

TEST_F(RealFile, OfTheProductHasItsVersionAndNoHotfix)
{
    const std::wstring path = Built(L"VLCmd.exe").wstring();
    EXPECT_EQ(L"14.0.0.0", GetFileVersionText(path));
    EXPECT_EQ(L"", GetHotfixTag(path));
    EXPECT_EQ(WrittenAt(path), GetFileTimeText(path));
}

TEST_F(RealFile, OfTheSystemHasItsVersion)
{
    wchar_t system[MAX_PATH] = {};
    ASSERT_NE(0U, GetSystemDirectoryW(system, MAX_PATH));
    for (const wchar_t* const name : {L"kernel32.dll", L"user32.dll", L"version.dll"}) {
        const std::wstring path = std::wstring(system) + L'\\' + name;
        DWORD ignored = 0;
        std::vector<BYTE> block(GetFileVersionInfoSizeW(path.c_str(), &ignored));
        ASSERT_FALSE(block.empty()) << path;
        ASSERT_NE(FALSE, GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()));
        VS_FIXEDFILEINFO* fixed = nullptr;
        UINT size = 0;
        ASSERT_NE(FALSE, VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&fixed), &size));
        wchar_t version[40] = {};
        swprintf(version, std::size(version), L"%lu.%lu.%lu.%lu", fixed->dwFileVersionMS / 0x10000,
                 fixed->dwFileVersionMS % 0x10000, fixed->dwFileVersionLS / 0x10000, fixed->dwFileVersionLS % 0x10000);
        EXPECT_EQ(version, GetFileVersionText(path));
        EXPECT_EQ(WrittenAt(path), GetFileTimeText(path));
    }
}

TEST_F(RealFile, WithoutAVersionResourceHasATimeAlone)
{
    folder.AddFile(L"plain.txt", "no program");
    for (const std::wstring& path : {folder.PathOf(L"plain.txt"), Built(L"trace_writer.exe").wstring()}) {
        EXPECT_EQ(L"", GetFileVersionText(path));
        EXPECT_EQ(L"", GetHotfixTag(path));
        EXPECT_EQ(WrittenAt(path), GetFileTimeText(path));
    }
}

TEST_F(RealFile, ThatIsMissingHasNothing)
{
    EXPECT_EQ(L"", GetFileVersionText(folder.PathOf(L"missing.exe")));
    EXPECT_EQ(L"", GetHotfixTag(folder.PathOf(L"missing.exe")));
    EXPECT_EQ(L"", GetFileTimeText(folder.PathOf(L"missing.exe")));
}

// Where a bare name leads to, for as long as the object lives.
class CurrentDirectory {
public:
    explicit CurrentDirectory(const std::filesystem::path& path) { std::filesystem::current_path(path); }
    CurrentDirectory(const CurrentDirectory&) = delete;
    CurrentDirectory(CurrentDirectory&&) = delete;
    ~CurrentDirectory() { std::filesystem::current_path(before_); }
    CurrentDirectory& operator=(const CurrentDirectory&) = delete;
    CurrentDirectory& operator=(CurrentDirectory&&) = delete;

private:
    std::filesystem::path before_ = std::filesystem::current_path();
};

TEST_F(RealFile, OfABareNameIsTheCurrentDirectorysAndNotTheOneBesideTheProgram)
{
    ASSERT_TRUE(std::filesystem::exists(Built(L"VLCmd.exe")));
    DescribedFile described;
    described.version = {1, 2, 3, 4};
    described.strings = {{L"InternalName", L"HF5"}};
    const CurrentDirectory current(folder.Path());
    EXPECT_EQ(L"", GetFileVersionText(L"VLCmd.exe"));
    EXPECT_EQ(L"", GetFileTimeText(L"VLCmd.exe"));
    const std::wstring path = ProgramWith(described);
    std::filesystem::rename(path, folder.PathOf(L"VLCmd.exe"));
    EXPECT_EQ(L"1.2.3.4", GetFileVersionText(L"VLCmd.exe"));
    EXPECT_EQ(L"HF5", GetHotfixTag(L"VLCmd.exe"));
    EXPECT_EQ(WrittenAt(folder.PathOf(L"VLCmd.exe")) + L".  HOTFIX: HF5", GetFileTimeText(L"VLCmd.exe"));
}

TEST_F(RealFile, MayHaveTheFixedPartAlone)
{
    DescribedFile described;
    described.version = {1, 20, 300, 4000};
    const std::wstring path = ProgramWith(described);
    EXPECT_EQ(L"1.20.300.4000", GetFileVersionText(path));
    EXPECT_EQ(L"", GetHotfixTag(path));
}

TEST_F(RealFile, MayHaveStringsAlone)
{
    DescribedFile described;
    described.strings = {{L"InternalName", L"Program exp7"}};
    const std::wstring path = ProgramWith(described);
    EXPECT_EQ(L"", GetFileVersionText(path));
    EXPECT_EQ(L"exp7", GetHotfixTag(path));
    EXPECT_EQ(WrittenAt(path) + L".  HOTFIX: exp7", GetFileTimeText(path));
}

TEST_F(RealFile, MayHaveBoth)
{
    DescribedFile described;
    described.version = {1, 2, 3, 4};
    described.strings = {{L"FileVersion", L"9.8.7.6"}, {L"OriginalFilename", L"Program.exe HF12"}};
    const std::wstring path = ProgramWith(described);
    EXPECT_EQ(L"1.2.3.4", GetFileVersionText(path));
    EXPECT_EQ(L"HF12", GetHotfixTag(path));
    EXPECT_EQ(WrittenAt(path) + L".  HOTFIX: HF12", GetFileTimeText(path));
}

} // namespace
