#include "win/system.h"

#include "support/described_windows.h"
#include "support/installed_program.h"
#include "support/product_test.h"

#include <cstring>
#include <filesystem>
#include <string>

namespace {

using namespace testing_support;

TEST(LocalComputer, HasTheNameThatWindowsTells)
{
    const Replaced<"GetComputerNameW", decltype(::GetComputerNameW)> getName([](wchar_t* name, DWORD* length) {
        EXPECT_EQ(16U, *length);
        *length = static_cast<DWORD>(std::wstring(L"ABCDEFGHIJKLMNO").copy(name, 15));
        name[*length] = L'\0';
        return TRUE;
    });
    EXPECT_EQ(L"ABCDEFGHIJKLMNO", win::LocalComputerName());
}

TEST(LocalComputer, HasNoNameWhereWindowsTellsNone)
{
    const Replaced<"GetComputerNameW", decltype(::GetComputerNameW)> getName([](wchar_t* name, DWORD* length) {
        name[0] = L'x';
        *length = 40;
        return FALSE;
    });
    EXPECT_EQ(L"", win::LocalComputerName());
}

TEST(LocalComputer, HasTheNameThatAnyProgramSees)
{
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
    ASSERT_NE(FALSE, GetComputerNameW(name, &length));
    EXPECT_EQ(name, win::LocalComputerName());
}

class FolderOfTheProgram : public ProductTest {
protected:
    std::wstring FolderFor(const wchar_t* path, DWORD bufferSize = 512)
    {
        program.MoveTo(path);
        return win::ProgramFolder(bufferSize);
    }

    InstalledProgram program;
};

TEST_F(FolderOfTheProgram, KeepsItsDriveAndItsLastBackslash)
{
    EXPECT_EQ(L"C:\\Program Files\\Velundra\\", FolderFor(L"C:\\Program Files\\Velundra\\VLCmd.exe"));
    EXPECT_EQ(L"D:\\", FolderFor(L"D:\\VLCmd.exe"));
    EXPECT_EQ(L"\\\\server\\share\\", FolderFor(L"\\\\server\\share\\VLCmd.exe"));
}

TEST_F(FolderOfTheProgram, IsUnknownForAPathThatDoesNotFit)
{
    // "C:\a\b.exe" has ten characters.
    EXPECT_EQ(L"C:\\a\\", FolderFor(L"C:\\a\\b.exe", 11));
    EXPECT_EQ(L"", FolderFor(L"C:\\a\\b.exe", 10));
    EXPECT_EQ(L"", FolderFor(L"C:\\a\\b.exe", 5));
}

TEST_F(FolderOfTheProgram, IsUnknownWhereWindowsTellsNoPath)
{
    const Replaced<"GetModuleFileNameW", decltype(::GetModuleFileNameW)> moduleFileName(
        [](HMODULE, LPWSTR, DWORD) { return 0U; });
    EXPECT_EQ(L"", win::ProgramFolder(512));
}

// --- Folders and paths ---

struct FolderCase {
    const wchar_t* path;
    const wchar_t* folder;
};

constexpr FolderCase kFolderCases[] = {
    {L"C:\\Velundra\\VLEngine.exe", L"C:\\Velundra\\"},
    {L"C:\\Program Files\\Velundra\\VLEngine.exe", L"C:\\Program Files\\Velundra\\"},
    {L"C:\\VLEngine.exe", L"C:\\"},
    {L"\\\\server\\share\\VLEngine.exe", L"\\\\server\\share\\"},
    // A drive's current folder, and that of the current drive.
    {L"C:VLEngine.exe", L"C:"},
    {L"\\Velundra\\VLEngine.exe", L"\\Velundra\\"},
    {L"Velundra\\VLEngine.exe", L"Velundra\\"},
    // A folder's own path.
    {L"C:\\Velundra\\", L"C:\\Velundra\\"},
    {L"C:\\", L"C:\\"},
    {L"C:", L"C:"},
    // Both kinds of slash separate folders, and a point in a folder's name no extension.
    {L"C:/Velundra/VLEngine.exe", L"C:/Velundra/"},
    {L"C:\\Velundra\\14.0\\VLEngine", L"C:\\Velundra\\14.0\\"},
    {L"VLEngine.exe", L""},
    {L"", L""},
    // The long form of a path, and a drive that is no letter.
    {L"\\\\?\\C:\\Velundra\\VLEngine.exe", L"\\\\?\\C:\\Velundra\\"},
    {L"/:VLEngine.exe", L"/:"},
};

TEST(FolderOfAPath, GoesAsFarAsTheLastSlash)
{
    for (const FolderCase& expected : kFolderCases) {
        EXPECT_EQ(expected.folder, win::FolderOf(expected.path)) << expected.path;
    }
}

TEST(FolderOfAPath, MayBeOfAnyLength)
{
    std::wstring folder = L"C:\\";
    while (folder.size() < 3000) {
        folder += L"A folder\\";
    }
    EXPECT_EQ(folder, win::FolderOf(folder + L"VLEngine.exe"));
}

TEST(JoinedPath, HasOneBackslashBetweenFolderAndName)
{
    EXPECT_EQ(L"C:\\Velundra\\VLDB.dll", win::JoinPath(L"C:\\Velundra", L"VLDB.dll"));
    EXPECT_EQ(L"C:\\Velundra\\VLDB.dll", win::JoinPath(L"C:\\Velundra\\", L"VLDB.dll"));
    EXPECT_EQ(L"C:\\boot.ini", win::JoinPath(L"C:\\", L"boot.ini"));
    EXPECT_EQ(L"C:\\Windows\\System32\\Drivers", win::JoinPath(L"C:\\Windows", L"System32\\Drivers"));
    EXPECT_EQ(L"C:\\boot.ini", win::JoinPath(L"C:", L"boot.ini"));
    EXPECT_EQ(L"C:/Velundra/\\VLDB.dll", win::JoinPath(L"C:/Velundra/", L"VLDB.dll"));
}

TEST(JoinedPath, IsTheBareNameWithoutAFolder)
{
    EXPECT_EQ(L"boot.ini", win::JoinPath(L"", L"boot.ini"));
    EXPECT_EQ(L"", win::JoinPath(L"", L""));
}

TEST(FullPath, BeginsWithTheDrive)
{
    EXPECT_EQ(L"C:\\Velundra\\VLDB.dll", win::FullPath(L"C:\\Velundra\\VLDB.dll"));
    EXPECT_EQ(L"C:\\Velundra\\VLDB.dll", win::FullPath(L"C:/Velundra/x/../VLDB.dll"));
    EXPECT_EQ((std::filesystem::current_path() / L"VLDB.dll").wstring(), win::FullPath(L"VLDB.dll"));
    EXPECT_EQ((std::filesystem::current_path() / L"Drivers\\a.sys").wstring(), win::FullPath(L"Drivers\\a.sys"));
    const std::wstring deep = std::wstring(L"C:\\").append(300, L'a');
    EXPECT_EQ(deep, win::FullPath(deep));
}

TEST(FullPath, IsEmptyWhereWindowsTellsNone)
{
    EXPECT_EQ(L"", win::FullPath(L""));
    const Replaced<"GetFullPathNameW", decltype(::GetFullPathNameW)> grown(
        [](LPCWSTR, DWORD, LPWSTR, LPWSTR*) { return 100U; });
    EXPECT_EQ(L"", win::FullPath(L"a"));
    EXPECT_EQ(2, grown.Calls());
}

// --- The version of Windows ---

TEST(VersionOfWindows, IsAllThatWindowsTells)
{
    DescribedWindows windows;
    windows.SetVersion(6, 1, 7601, VER_NT_SERVER);
    windows.SetServicePack(L"Service Pack 1", 1, 2);
    windows.version.wSuiteMask = VER_SUITE_TERMINAL;
    const OSVERSIONINFOEXW version = win::WindowsVersion();
    EXPECT_EQ(6U, version.dwMajorVersion);
    EXPECT_EQ(1U, version.dwMinorVersion);
    EXPECT_EQ(7601U, version.dwBuildNumber);
    EXPECT_STREQ(L"Service Pack 1", version.szCSDVersion);
    EXPECT_EQ(1U, version.wServicePackMajor);
    EXPECT_EQ(2U, version.wServicePackMinor);
    EXPECT_EQ(VER_SUITE_TERMINAL, version.wSuiteMask);
    EXPECT_EQ(VER_NT_SERVER, version.wProductType);
}

TEST(VersionOfWindows, IsAllZeroWhereWindowsTellsNone)
{
    const Replaced<"GetVersionExW", decltype(::GetVersionExW)> getVersion([](LPOSVERSIONINFOW record) {
        record->dwMajorVersion = 9;
        return FALSE;
    });
    const OSVERSIONINFOEXW version = win::WindowsVersion();
    const OSVERSIONINFOEXW zero{};
    EXPECT_EQ(0, std::memcmp(&zero, &version, sizeof zero));
    EXPECT_EQ(1, getVersion.Calls());
}

TEST(VersionOfWindows, IsThatWhichAnyProgramSees)
{
    OSVERSIONINFOEXW seen{};
    seen.dwOSVersionInfoSize = sizeof seen;
    ASSERT_NE(FALSE, GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&seen)));
    const OSVERSIONINFOEXW version = win::WindowsVersion();
    EXPECT_EQ(seen.dwMajorVersion, version.dwMajorVersion);
    EXPECT_EQ(seen.dwMinorVersion, version.dwMinorVersion);
    EXPECT_EQ(seen.dwBuildNumber, version.dwBuildNumber);
}

} // namespace
