#include "win/system_library.h"

#include "support/product_test.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <winver.h>

namespace {

using namespace testing_support;

// --- Loading ---

class LoadingASystemLibrary : public ProductTest {
protected:
    using Load = std::pair<std::wstring, DWORD>; // the path and the flags

    std::wstring systemFolder = L"S:\\Windows\\System32";
    std::vector<std::pair<HMODULE, DWORD>> answers; // each with the last error
    std::vector<Load> loads;

    Replaced<"GetSystemDirectoryW", decltype(::GetSystemDirectoryW)> getSystemFolder{[this](LPWSTR path, UINT size) {
        const auto length = static_cast<UINT>(systemFolder.size());
        if (length >= size) {
            return length + 1;
        }
        path[systemFolder.copy(path, length)] = L'\0';
        return length;
    }};
    Replaced<"LoadLibraryExW", decltype(::LoadLibraryExW)> load{[this](LPCWSTR path, HANDLE file, DWORD flags) {
        EXPECT_EQ(nullptr, file);
        loads.emplace_back(path, flags);
        const auto [module, error] = answers.at(loads.size() - 1);
        SetLastError(error);
        return module;
    }};

    HMODULE someModule = GetModuleHandleW(nullptr);
};

TEST_F(LoadingASystemLibrary, TakesItAndWhatItNeedsFromTheSystemFolderAlone)
{
    answers = {{someModule, ERROR_SUCCESS}};
    EXPECT_EQ(someModule, win::LoadSystemLibrary(L"shell32.dll"));
    EXPECT_EQ((std::vector<Load>{{L"S:\\Windows\\System32\\shell32.dll", 0x800}}), loads);
}

TEST_F(LoadingASystemLibrary, SaysTheSameInOtherWordsToAnOldWindows7)
{
    answers = {{nullptr, ERROR_INVALID_PARAMETER}, {someModule, ERROR_SUCCESS}};
    EXPECT_EQ(someModule, win::LoadSystemLibrary(L"shell32.dll"));
    EXPECT_EQ((std::vector<Load>{{L"S:\\Windows\\System32\\shell32.dll", 0x800},
                                 {L"S:\\Windows\\System32\\shell32.dll", 0x8}}),
              loads);
}

TEST_F(LoadingASystemLibrary, LooksForAMissingOneNowhereElse)
{
    answers = {{nullptr, ERROR_MOD_NOT_FOUND}};
    EXPECT_EQ(nullptr, win::LoadSystemLibrary(L"missing.dll"));
    EXPECT_EQ(1U, loads.size());
    EXPECT_EQ(static_cast<DWORD>(ERROR_MOD_NOT_FOUND), GetLastError());
}

TEST_F(LoadingASystemLibrary, LoadsNothingWhereTheSystemFolderIsNotKnown)
{
    systemFolder.clear();
    EXPECT_EQ(nullptr, win::LoadSystemLibrary(L"shell32.dll"));
    systemFolder.assign(MAX_PATH, L'x');
    EXPECT_EQ(nullptr, win::LoadSystemLibrary(L"shell32.dll"));
    EXPECT_TRUE(loads.empty());
}

TEST_F(LoadingASystemLibrary, LoadsNothingWhosePathIsTooLong)
{
    answers = {{someModule, ERROR_SUCCESS}};
    // Backslash, name and NUL take seven characters.
    systemFolder.assign(MAX_PATH - 7, L'x');
    EXPECT_EQ(someModule, win::LoadSystemLibrary(L"a.dll"));
    systemFolder.assign(MAX_PATH - 6, L'x');
    EXPECT_EQ(nullptr, win::LoadSystemLibrary(L"a.dll"));
    EXPECT_EQ(1U, loads.size());
}

TEST(SystemFolder, IsWhereARealLibraryComesFrom)
{
    wchar_t expected[MAX_PATH] = {};
    wchar_t actual[MAX_PATH] = {};
    ASSERT_NE(0U, GetSystemDirectoryW(expected, MAX_PATH));
    const HMODULE library = win::LoadSystemLibrary(L"version.dll");
    ASSERT_NE(nullptr, library);
    ASSERT_NE(0U, GetModuleFileNameW(library, actual, MAX_PATH));
    EXPECT_TRUE(std::filesystem::equivalent(std::filesystem::path(expected) / L"version.dll", actual)) << actual;
}

// --- Libraries and functions ---

class LibraryOfFunctions : public ProductTest {
protected:
    Replaced<"LoadLibraryExW", decltype(::LoadLibraryExW)> load{
        [this](LPCWSTR path, HANDLE file, DWORD flags) { return load.Original(path, file, flags); }};
    win::SystemLibrary version{L"version.dll"};
    win::SystemLibrary missing{L"no such library.dll"};
};

TEST_F(LibraryOfFunctions, IsLoadedByTheFirstQuestionAndHeld)
{
    EXPECT_EQ(0, load.Calls());
    EXPECT_NE(nullptr, version.Find("VerQueryValueW"));
    EXPECT_NE(nullptr, version.Find("GetFileVersionInfoW"));
    EXPECT_EQ(nullptr, version.Find("no such function"));
    EXPECT_EQ(1, load.Calls());
}

TEST_F(LibraryOfFunctions, HasNoneWhereItIsMissing)
{
    EXPECT_EQ(nullptr, missing.Find("VerQueryValueW"));
}

TEST_F(LibraryOfFunctions, GivesFunctionsToBeCalledLikeImportedOnes)
{
    const win::SystemFunction<decltype(GetFileVersionInfoSizeW)> getInfoSize(version, "GetFileVersionInfoSizeW");
    wchar_t path[MAX_PATH] = {};
    ASSERT_NE(0U, GetModuleFileNameW(GetModuleHandleW(L"kernel32.dll"), path, MAX_PATH));
    DWORD ignored = 1;
    EXPECT_NE(0U, getInfoSize(path, &ignored));
    EXPECT_EQ(0U, ignored);
}

TEST_F(LibraryOfFunctions, AnswersForAMissingFunctionWithZeroOrWhatItIsTold)
{
    DWORD ignored = 0;
    const win::SystemFunction<decltype(GetFileVersionInfoSizeW)> noFunction(version, "no such function");
    EXPECT_EQ(0U, noFunction(L"C:\\a.exe", &ignored));
    const win::SystemFunction<decltype(GetFileVersionInfoSizeW)> told(missing, "GetFileVersionInfoSizeW", 127);
    EXPECT_EQ(127U, told(L"C:\\a.exe", &ignored));
}

// --- The folders that Windows searches ---

// An object that is defined behind the guard, as the trace log's is. VLCmd.exe lies beside the test program alone.
const HMODULE kFoundBesideTheProgram = LoadLibraryExW(L"VLCmd.exe", nullptr, DONT_RESOLVE_DLL_REFERENCES);

TEST(TheProgramsFolder, IsNotSearchedByAnObjectThatIsConstructedBeforeTheEntryPointRuns)
{
    wchar_t path[MAX_PATH] = {};
    ASSERT_NE(0U, GetModuleFileNameW(nullptr, path, MAX_PATH));
    ASSERT_TRUE(std::filesystem::exists(std::filesystem::path(path).replace_filename(L"VLCmd.exe")));
    EXPECT_EQ(nullptr, kFoundBesideTheProgram);
}

class SearchedFolders : public ProductTest {
protected:
    static BOOL WINAPI SetDirectories(DWORD flags)
    {
        asked.push_back(flags);
        return TRUE;
    }

    void TearDown() override
    {
        asked.clear();
        ProductTest::TearDown();
    }

    static inline std::vector<DWORD> asked;
    bool isKnown = true;

    Replaced<"GetProcAddress", decltype(::GetProcAddress)> find{[this](HMODULE module, LPCSTR name) {
        EXPECT_EQ(GetModuleHandleW(L"kernel32.dll"), module);
        EXPECT_STREQ("SetDefaultDllDirectories", name);
        return isKnown ? reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&SetDirectories)) : nullptr;
    }};
};

TEST_F(SearchedFolders, AreTheSystemFolderAlone)
{
    const win::SystemLibrariesOnly only;
    EXPECT_EQ(std::vector<DWORD>{0x800}, asked);
}

TEST_F(SearchedFolders, StayAsTheyAreOnAnOldWindows7)
{
    isKnown = false;
    const win::SystemLibrariesOnly only;
    EXPECT_EQ(1, find.Calls());
    EXPECT_TRUE(asked.empty());
}

} // namespace
