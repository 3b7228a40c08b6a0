#include "support/file_versions.h"

#include "program_files.h"
#include "support/described_files.h"
#include "support/opened_keys.h"
#include "support/product_test.h"
#include "support/registry_data.h"

#include <string>
#include <vector>

namespace {

using namespace testing_support;
using namespace testing_support::program_files;

// --- The version ---

using FileVersionText = ProgramFileFacts;

TEST_F(FileVersionText, IsTheFilesFourNumbers)
{
    AddFile();
    EXPECT_EQ(L"14.2.0.12345", GetFileVersionText(kPath));
    EXPECT_EQ(std::vector<std::wstring>{kPath}, files.asked);
}

TEST_F(FileVersionText, TakesNumbersOfAnySize)
{
    files.Add(kPath, {65535, 65534, 65533, 65532});
    EXPECT_EQ(L"65535.65534.65533.65532", GetFileVersionText(kPath));
    files.Add(kPath, {0, 0, 0, 0});
    EXPECT_EQ(L"0.0.0.0", GetFileVersionText(kPath));
    files.Add(kPath, {6, 1, 7601, 17514});
    EXPECT_EQ(L"6.1.7601.17514", GetFileVersionText(kPath));
}

TEST_F(FileVersionText, DoesNotComeFromTheStrings)
{
    AddFile({{L"FileVersion", L"9.8.7.6"}, {L"ProductVersion", L"9.8.7.6"}});
    EXPECT_EQ(L"14.2.0.12345", GetFileVersionText(kPath));
}

TEST_F(FileVersionText, IsEmptyWithStringsAlone)
{
    AddFile({{L"FileVersion", L"9.8.7.6"}}).version.reset();
    EXPECT_EQ(L"", GetFileVersionText(kPath));
}

TEST_F(FileVersionText, IsEmptyForAFileWithoutResourceAndForNoFile)
{
    EXPECT_EQ(L"", GetFileVersionText(kPath));
    files.Add(kPath);
    EXPECT_EQ(L"", GetFileVersionText(kPath));
}

TEST_F(FileVersionText, ReadsIntoAClearedBlockOfTheRightSize)
{
    const auto size = VersionResourceOf(AddFile()).size();
    const Replaced<"LocalAlloc", decltype(::LocalAlloc)> allocate([&](UINT flags, SIZE_T bytes) {
        EXPECT_EQ(static_cast<UINT>(LMEM_ZEROINIT), flags);
        EXPECT_EQ(size, bytes);
        return allocate.Original(flags, bytes);
    });
    EXPECT_EQ(L"14.2.0.12345", GetFileVersionText(kPath));
    EXPECT_EQ(1, allocate.Calls());
}

TEST_F(FileVersionText, IsEmptyWithoutMemory)
{
    AddFile();
    const Replaced<"LocalAlloc", decltype(::LocalAlloc)> allocate([](UINT, SIZE_T) -> HLOCAL { return nullptr; });
    EXPECT_EQ(L"", GetFileVersionText(kPath));
}

TEST_F(FileVersionText, IsEmptyWhereTheDataCannotBeRead)
{
    AddFile();
    const Replaced<"GetFileVersionInfoW", decltype(::GetFileVersionInfoW)> data([&](auto... arguments) {
        EXPECT_NE(FALSE, data.Original(arguments...));
        return FALSE;
    });
    EXPECT_EQ(L"", GetFileVersionText(kPath));
    EXPECT_EQ(1, data.Calls());
}

TEST_F(FileVersionText, IsEmptyWhereTheFixedPartIsNotToBeHad)
{
    AddFile();
    const Replaced<"VerQueryValueW", decltype(::VerQueryValueW)> query(
        [&](LPCVOID block, LPCWSTR name, LPVOID* value, PUINT size) {
            EXPECT_STREQ(L"\\", name);
            EXPECT_NE(FALSE, query.Original(block, name, value, size));
            EXPECT_EQ(sizeof(VS_FIXEDFILEINFO), *size);
            return FALSE;
        });
    EXPECT_EQ(L"", GetFileVersionText(kPath));
    EXPECT_EQ(1, query.Calls());
}

TEST_F(FileVersionText, IsEmptyWhereTheFixedPartIsCut)
{
    AddFile();
    const Replaced<"VerQueryValueW", decltype(::VerQueryValueW)> query(
        [&](LPCVOID block, LPCWSTR name, LPVOID* value, PUINT size) {
            const BOOL found = query.Original(block, name, value, size);
            --*size;
            return found;
        });
    EXPECT_EQ(L"", GetFileVersionText(kPath));
}

// --- The hotfix tag ---

using HotfixTag = ProgramFileFacts;

struct TagCase {
    const wchar_t* text;
    const wchar_t* tag; // empty for none
};

constexpr TagCase kTagCases[] = {
    {L"VLCmd HF3", L"HF3"},
    {L"HF3", L"HF3"},
    {L"HF12 of 2026", L"HF12 of 2026"},
    {L"VLCmd.HF12x.exe", L"HF12x.exe"},
    // The last place counts.
    {L"HF2 HF5", L"HF5"},
    {L"HF2HF5", L"HF5"},
    {L"HFHF5", L"HF5"},
    {L"HF2 HFx", L""},
    {L"HF2 HF0", L""},
    {L"exp1 exp7", L"exp7"},
    // The number must be one, and not 0.
    {L"HF0", L""},
    {L"HF00", L""},
    {L"HF0x3", L""},
    {L"HFx", L""},
    {L"HF", L""},
    {L"HF.3", L""},
    {L"HF03", L"HF03"},
    {L"HF-3", L"HF-3"},
    {L"HF+3", L"HF+3"},
    {L"HF-", L""},
    // Blanks before it do not count.
    {L"HF 3", L"HF 3"},
    {L"HF \t 3", L"HF \t 3"},
    {L"HF ", L""},
    // The other marker is looked for only where the first gives no tag.
    {L"VLCmd exp7", L"exp7"},
    {L"exp 7", L"exp 7"},
    {L"exp0", L""},
    {L"expx", L""},
    {L"exp7 HF3", L"HF3"},
    {L"HF3 exp7", L"HF3 exp7"},
    {L"HF0 exp7", L"exp7"},
    {L"exp7 HFx", L"exp7 HFx"},
    {L"exp0 HFx", L""},
    // Case counts.
    {L"VLCmd hf3", L""},
    {L"VLCmd Hf3", L""},
    {L"VLCmd EXP7", L""},
    {L"VLCmd", L""},
    {L"", L""},
};

TEST_F(HotfixTag, IsTheEndOfTheTextFromAMarkerOn)
{
    for (const wchar_t* const name : {L"InternalName", L"OriginalFilename", L"ProductName"}) {
        for (const TagCase& expected : kTagCases) {
            AddFile({{name, expected.text}});
            EXPECT_EQ(expected.tag, GetHotfixTag(kPath)) << name << L": " << expected.text;
        }
    }
}

TEST_F(HotfixTag, IsLookedForInThreeStringsInTheirOrder)
{
    AddFile({{L"ProductName", L"HF1"}, {L"OriginalFilename", L"HF2"}, {L"InternalName", L"HF3"}});
    EXPECT_EQ(L"HF3", GetHotfixTag(kPath));
    AddFile({{L"ProductName", L"HF1"}, {L"OriginalFilename", L"HF2"}, {L"InternalName", L"VLCmd"}});
    EXPECT_EQ(L"HF2", GetHotfixTag(kPath));
    AddFile({{L"ProductName", L"HF1"}, {L"OriginalFilename", L"VLCmd HF0"}, {L"InternalName", L"VLCmd HFx"}});
    EXPECT_EQ(L"HF1", GetHotfixTag(kPath));
    AddFile({{L"ProductName", L"Velundra"}, {L"OriginalFilename", L"VLCmd.exe"}, {L"InternalName", L"VLCmd"}});
    EXPECT_EQ(L"", GetHotfixTag(kPath));
}

TEST_F(HotfixTag, OfTheOtherMarkerComesBeforeTheNextString)
{
    AddFile({{L"InternalName", L"exp7"}, {L"OriginalFilename", L"HF2"}});
    EXPECT_EQ(L"exp7", GetHotfixTag(kPath));
}

TEST_F(HotfixTag, EndsTheSearch)
{
    AddFile({{L"InternalName", L"VLCmd"}, {L"OriginalFilename", L"HF2 HF5"}, {L"ProductName", L"HF9"}});
    std::vector<std::wstring> asked;
    const Replaced<"VerQueryValueW", decltype(::VerQueryValueW)> query(
        [&](LPCVOID block, LPCWSTR name, LPVOID* value, PUINT size) {
            asked.emplace_back(name);
            return query.Original(block, name, value, size);
        });
    EXPECT_EQ(L"HF5", GetHotfixTag(kPath));
    EXPECT_EQ((std::vector<std::wstring>{L"\\StringFileInfo\\040904b0\\InternalName",
                                         L"\\StringFileInfo\\040904b0\\OriginalFilename"}),
              asked);
}

TEST_F(HotfixTag, IsInNoOtherString)
{
    AddFile({{L"FileDescription", L"HF3"}, {L"ProductVersion", L"HF3"}, {L"SpecialBuild", L"HF3"}});
    EXPECT_EQ(L"", GetHotfixTag(kPath));
}

TEST_F(HotfixTag, IsReadFromTheUsEnglishStringsAlone)
{
    DescribedFile& file = AddFile({{L"InternalName", L"HF3"}});
    for (const wchar_t* const table : {L"040704b0", L"040904e4", L"000004b0"}) {
        file.table = table;
        EXPECT_EQ(L"", GetHotfixTag(kPath)) << table;
    }
    file.table = L"040904b0";
    EXPECT_EQ(L"HF3", GetHotfixTag(kPath));
}

TEST_F(HotfixTag, NeedsNoFixedPart)
{
    AddFile({{L"InternalName", L"HF3"}}).version.reset();
    EXPECT_EQ(L"HF3", GetHotfixTag(kPath));
}

TEST_F(HotfixTag, IsEmptyForAFileWithoutResourceAndForNoFile)
{
    EXPECT_EQ(L"", GetHotfixTag(kPath));
    files.Add(kPath);
    EXPECT_EQ(L"", GetHotfixTag(kPath));
    AddFile();
    EXPECT_EQ(L"", GetHotfixTag(kPath));
}

TEST_F(HotfixTag, IsEmptyWithoutMemory)
{
    AddFile({{L"InternalName", L"HF3"}});
    const Replaced<"LocalAlloc", decltype(::LocalAlloc)> allocate([](UINT, SIZE_T) -> HLOCAL { return nullptr; });
    EXPECT_EQ(L"", GetHotfixTag(kPath));
}

TEST_F(HotfixTag, IsEmptyWhereTheDataCannotBeRead)
{
    AddFile({{L"InternalName", L"HF3"}});
    const Replaced<"GetFileVersionInfoW", decltype(::GetFileVersionInfoW)> data([&](auto... arguments) {
        EXPECT_NE(FALSE, data.Original(arguments...));
        return FALSE;
    });
    EXPECT_EQ(L"", GetHotfixTag(kPath));
}

TEST_F(HotfixTag, ReadsNoFurtherThanTheStringGoes)
{
    AddFile({{L"InternalName", L"VLCmd HF34"}});
    const Replaced<"VerQueryValueW", decltype(::VerQueryValueW)> query(
        [&](LPCVOID block, LPCWSTR name, LPVOID* value, PUINT size) {
            const BOOL found = query.Original(block, name, value, size);
            *size = 9; // without the last digit and the NUL
            return found;
        });
    EXPECT_EQ(L"HF3", GetHotfixTag(kPath));
}

// --- Date and time ---

using FileTimeText = ProgramFileFacts;

TEST_F(FileTimeText, IsTheLastWriteInLocalTime)
{
    AddFile().written = {2026, 12, 4, 31, 22, 5, 9, 999};
    EXPECT_EQ(L".  1.1.2027 0:5:9", GetFileTimeText(kPath));
}

TEST_F(FileTimeText, NeedsNoVersionResource)
{
    files.Add(kPath);
    EXPECT_EQ(L".  5.11.2026 8:30:0", GetFileTimeText(kPath));
}

TEST_F(FileTimeText, HasTheHotfixTagBehindIt)
{
    AddFile({{L"InternalName", L"VLCmd HF3"}});
    EXPECT_EQ(L".  5.11.2026 8:30:0.  HOTFIX: HF3", GetFileTimeText(kPath));
    AddFile({{L"ProductName", L"exp7"}}).version.reset();
    EXPECT_EQ(L".  5.11.2026 8:30:0.  HOTFIX: exp7", GetFileTimeText(kPath));
    AddFile({{L"InternalName", L"VLCmd HF0"}});
    EXPECT_EQ(L".  5.11.2026 8:30:0", GetFileTimeText(kPath));
}

TEST_F(FileTimeText, IsEmptyWithoutTheFile)
{
    EXPECT_EQ(L"", GetFileTimeText(kPath));
}

TEST_F(FileTimeText, IsWrittenIntoFiftyCharacters)
{
    AddFile();
    const Replaced<"GetDateFormatW", decltype(::GetDateFormatW)> date(
        [&](LCID locale, DWORD flags, const SYSTEMTIME* moment, LPCWSTR format, LPWSTR text, int size) {
            EXPECT_EQ(50, size);
            return date.Original(locale, flags, moment, format, text, size);
        });
    const Replaced<"GetTimeFormatW", decltype(::GetTimeFormatW)> time(
        [&](LCID locale, DWORD flags, const SYSTEMTIME* moment, LPCWSTR format, LPWSTR text, int size) {
            EXPECT_EQ(50, size);
            return time.Original(locale, flags, moment, format, text, size);
        });
    EXPECT_EQ(L".  5.11.2026 8:30:0", GetFileTimeText(kPath));
    EXPECT_EQ(1, date.Calls());
    EXPECT_EQ(1, time.Calls());
}

TEST_F(FileTimeText, AsksForTheDefaultLocale)
{
    AddFile();
    std::vector<LCID> locales;
    const Replaced<"GetDateFormatW", decltype(::GetDateFormatW)> date(
        [&](LCID locale, DWORD flags, const SYSTEMTIME* /*moment*/, LPCWSTR format, LPWSTR text, int /*size*/) {
            locales.push_back(locale);
            EXPECT_EQ(0U, flags);
            EXPECT_EQ(nullptr, format);
            text[0] = L'D';
            return 2;
        });
    const Replaced<"GetTimeFormatW", decltype(::GetTimeFormatW)> time(
        [&](LCID locale, DWORD flags, const SYSTEMTIME* /*moment*/, LPCWSTR format, LPWSTR text, int /*size*/) {
            locales.push_back(locale);
            EXPECT_EQ(0U, flags);
            EXPECT_EQ(nullptr, format);
            text[0] = L'T';
            return 2;
        });
    EXPECT_EQ(L".  D T", GetFileTimeText(kPath));
    EXPECT_EQ((std::vector<LCID>{0, 0}), locales);
}

TEST_F(FileTimeText, IsEmptyForATimeThatIsNone)
{
    AddFile({{L"InternalName", L"HF3"}});
    const Replaced<"FileTimeToSystemTime", decltype(::FileTimeToSystemTime)> convert(
        [](const FILETIME*, LPSYSTEMTIME) { return FALSE; });
    EXPECT_EQ(L"", GetFileTimeText(kPath));
    EXPECT_EQ(1, convert.Calls());
}

TEST_F(FileTimeText, IsEmptyWithoutALocalTime)
{
    AddFile({{L"InternalName", L"HF3"}});
    const Replaced<"SystemTimeToTzSpecificLocalTime", decltype(::SystemTimeToTzSpecificLocalTime)> convert(
        [](const TIME_ZONE_INFORMATION*, const SYSTEMTIME*, LPSYSTEMTIME) { return FALSE; });
    EXPECT_EQ(L"", GetFileTimeText(kPath));
    EXPECT_EQ(1, convert.Calls());
}

TEST_F(FileTimeText, IsEmptyWithoutADate)
{
    AddFile({{L"InternalName", L"HF3"}});
    const Replaced<"GetDateFormatW", decltype(::GetDateFormatW)> date(
        [](LCID, DWORD, const SYSTEMTIME*, LPCWSTR, LPWSTR text, int) {
            text[0] = L'x';
            return 0;
        });
    EXPECT_EQ(L"", GetFileTimeText(kPath));
    EXPECT_EQ(1, date.Calls());
}

TEST_F(FileTimeText, IsTheBareDateWithoutATime)
{
    AddFile({{L"InternalName", L"HF3"}});
    const Replaced<"GetTimeFormatW", decltype(::GetTimeFormatW)> time(
        [](LCID, DWORD, const SYSTEMTIME*, LPCWSTR, LPWSTR text, int) {
            text[0] = L'x';
            return 0;
        });
    EXPECT_EQ(L"5.11.2026", GetFileTimeText(kPath));
    EXPECT_EQ(1, time.Calls());
}

// --- The folder of a COM server ---

class ServerDirectory : public ProductTest {
protected:
    static std::wstring DirectoryOf(const wchar_t* server)
    {
        RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kEngineServer, nullptr, server);
        return GetServerDirectory(kEngineServer);
    }
};

TEST_F(ServerDirectory, IsThatOfTheServersFile)
{
    EXPECT_EQ(L"C:\\Velundra\\", DirectoryOf(L"C:\\Velundra\\VLEngine.exe"));
    EXPECT_EQ(L"D:\\", DirectoryOf(L"D:\\VLEngine.exe"));
    EXPECT_EQ(L"\\\\server\\share\\", DirectoryOf(L"\\\\server\\share\\VLEngine.exe"));
}

TEST_F(ServerDirectory, DoesWithoutTheQuotesAndBlanksAroundThePath)
{
    const std::wstring expected = L"C:\\Program Files\\Velundra\\";
    for (const wchar_t* const server : {
             L"C:\\Program Files\\Velundra\\VLEngine.exe",
             L"\"C:\\Program Files\\Velundra\\VLEngine.exe\"",
             L"\"C:\\Program Files\\Velundra\\VLEngine.exe\" ",
             L"C:\\Program Files\\Velundra\\VLEngine.exe   ",
             L"  C:\\Program Files\\Velundra\\VLEngine.exe",
             L" \" \"C:\\Program Files\\Velundra\\VLEngine.exe\" \" ",
             L"\"C:\\Program Files\\Velundra\\VLEngine.exe",
         }) {
        EXPECT_EQ(expected, DirectoryOf(server)) << server;
    }
}

TEST_F(ServerDirectory, KeepsOtherBlankCharacters)
{
    EXPECT_EQ(L"\tC:\\Velundra\\", DirectoryOf(L"\tC:\\Velundra\\VLEngine.exe"));
}

TEST_F(ServerDirectory, KeepsArgumentsOfTheServer)
{
    EXPECT_EQ(L"C:\\Velundra\\", DirectoryOf(L"C:\\Velundra\\VLEngine.exe -automation"));
    // The last slash or backslash ends the folder, wherever it stands, and only the quotes at the ends go.
    EXPECT_EQ(L"C:\\Velundra\\VLEngine.exe /", DirectoryOf(L"C:\\Velundra\\VLEngine.exe /automation"));
    EXPECT_EQ(L"C:\\Velundra\\VLEngine.exe\" -log:C:\\Logs\\",
              DirectoryOf(L"\"C:\\Velundra\\VLEngine.exe\" -log:C:\\Logs\\a.txt"));
}

TEST_F(ServerDirectory, IsEmptyForABareName)
{
    EXPECT_EQ(L"", DirectoryOf(L"VLEngine.exe"));
    EXPECT_EQ(L"", DirectoryOf(L"\"VLEngine.exe\""));
    EXPECT_EQ(L"C:", DirectoryOf(L"C:VLEngine.exe"));
}

TEST_F(ServerDirectory, IsEmptyForAnEmptyValue)
{
    EXPECT_EQ(L"", DirectoryOf(L""));
    EXPECT_EQ(L"", DirectoryOf(L"\" \""));
}

TEST_F(ServerDirectory, IsEmptyWithoutTheKeyOrItsValue)
{
    EXPECT_EQ(L"", GetServerDirectory(kEngineServer));
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kEngineServer, L"ServerExecutable", L"C:\\Velundra\\VLEngine.exe");
    EXPECT_EQ(L"", GetServerDirectory(kEngineServer));
}

TEST_F(ServerDirectory, IsEmptyWhereTheValueIsNoText)
{
    RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kEngineServer, nullptr, REG_MULTI_SZ,
                            ListBytes({L"C:\\Velundra\\VLEngine.exe"}));
    EXPECT_EQ(L"", GetServerDirectory(kEngineServer));
}

TEST_F(ServerDirectory, DoesNotExpandVariables)
{
    const std::wstring server = L"%SystemRoot%\\Velundra\\VLEngine.exe";
    RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kEngineServer, nullptr, REG_EXPAND_SZ,
                            BytesOf({server.c_str(), server.size() + 1}));
    EXPECT_EQ(L"%SystemRoot%\\Velundra\\", GetServerDirectory(kEngineServer));
}

TEST_F(ServerDirectory, IsReadFromTheMachinesKeyForReadingAlone)
{
    const OpenedKeys keys;
    EXPECT_EQ(L"", GetServerDirectory(kActiveServer));
    EXPECT_EQ(std::vector<std::wstring>{kActiveServer}, keys.Paths());
}

TEST_F(ServerDirectory, IsEmptyWhereTheKeyCannotBeRead)
{
    EXPECT_EQ(L"C:\\Velundra\\", DirectoryOf(L"C:\\Velundra\\VLEngine.exe"));
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [](HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    EXPECT_EQ(L"", GetServerDirectory(kEngineServer));
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    EXPECT_EQ(L"", GetServerDirectory(kEngineServer));
}

} // namespace
