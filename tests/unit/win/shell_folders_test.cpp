#include "win/shell_folders.h"

#include "support/product_test.h"
#include "support/scratch_folder.h"

#include <filesystem>

namespace {

using namespace testing_support;

class ShellFolders : public ProductTest {
protected:
    ScratchFolder folder;
};

TEST_F(ShellFolders, KnowTheFolderOfAllUsersData)
{
    const std::wstring path = win::CommonApplicationDataFolder();
    EXPECT_TRUE(std::filesystem::is_directory(path)) << path.c_str();
    EXPECT_FALSE(path.ends_with(L'\\'));
}

TEST_F(ShellFolders, AreMadeWithAllThatIsMissingAboveThem)
{
    EXPECT_EQ(0U, win::CreateFolders(folder.PathOf(L"a\\b\\c")));
    EXPECT_TRUE(std::filesystem::is_directory(folder.PathOf(L"a\\b\\c")));
}

TEST_F(ShellFolders, AreNotMadeOfARelativePath)
{
    EXPECT_EQ(161U, win::CreateFolders(L"a\\b"));
    EXPECT_FALSE(std::filesystem::exists(L"a"));
}

TEST_F(ShellFolders, AreNotMadeInAFile)
{
    folder.AddFile(L"file", std::string_view());
    EXPECT_NE(0U, win::CreateFolders(folder.PathOf(L"file\\folder")));
}

TEST_F(ShellFolders, NeedTheShellsFunctions)
{
    const Replaced<"GetProcAddress", decltype(::GetProcAddress)> find(
        [](HMODULE, LPCSTR) -> FARPROC { return nullptr; });
    EXPECT_EQ(L"", win::CommonApplicationDataFolder());
    EXPECT_EQ(127U, win::CreateFolders(folder.PathOf(L"a")));
    EXPECT_EQ(2, find.Calls());
    EXPECT_FALSE(std::filesystem::exists(folder.PathOf(L"a")));
}

TEST_F(ShellFolders, LoadTheShellsLibraryOnceAndKeepIt)
{
    EXPECT_NE(L"", win::CommonApplicationDataFolder());
    const Replaced<"LoadLibraryExW", decltype(::LoadLibraryExW)> load(
        [](LPCWSTR, HANDLE, DWORD) -> HMODULE { return nullptr; });
    EXPECT_NE(nullptr, GetModuleHandleW(L"shell32.dll"));
    EXPECT_NE(L"", win::CommonApplicationDataFolder());
    EXPECT_EQ(0U, win::CreateFolders(folder.PathOf(L"a")));
    EXPECT_EQ(0, load.Calls());
}

} // namespace
