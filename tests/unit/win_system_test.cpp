#include "win/system.h"

#include "support/installed_program.h"
#include "support/product_test.h"

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

} // namespace
