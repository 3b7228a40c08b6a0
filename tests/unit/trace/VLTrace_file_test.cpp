#include "trace/VLTrace.h"

#include "support/failing_memory.h"
#include "support/trace_log.h"
#include "trace_test.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ios>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include <sddl.h>
#include <shlobj.h>

namespace {

using namespace testing_support;
using namespace testing_support::tracing;

// --- The file ---

class TraceFile : public TraceLog {
protected:
    [[nodiscard]] std::uintmax_t Size() const { return std::filesystem::file_size(File()); }

    // A file of the size, in bytes, that begins as a trace file does.
    void MakeFile(std::uint32_t size) const
    {
        folder.AddFile(kTraceFile, std::wstring_view(L"\xFEFF"));
        std::filesystem::resize_file(File(), size);
    }
};

TEST_F(TraceFile, BeginsWithAByteOrderMarkOnce)
{
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace, L"source", L"one"));
    EXPECT_EQ(0U, Write(trace, L"source", L"two"));
    CVLTrace other;
    EXPECT_EQ(0U, Write(other, L"source", L"three"));
    EXPECT_EQ(3U, Records().size()); // which looks at the mark
    EXPECT_EQ(std::set<std::wstring>{kTraceFile}, Files());
}

TEST_F(TraceFile, GetsAByteOrderMarkThoughItIsThereAlreadyWithNothingInIt)
{
    folder.AddFile(kTraceFile, std::string_view());
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(1U, Records().size());
}

TEST_F(TraceFile, GrowsAtItsEnd)
{
    folder.AddFile(kTraceFile, std::wstring_view(L"\xFEFF"
                                                 L"what was there before\r\n"));
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(L"what was there before", Records().at(0));
    EXPECT_EQ(2U, Records().size());
}

TEST_F(TraceFile, IsOpenedForSharingAndForEveryone)
{
    const Replaced<"CreateFileW", decltype(::CreateFileW)> open([&](LPCWSTR path, DWORD access, DWORD share,
                                                                    LPSECURITY_ATTRIBUTES security, DWORD disposition,
                                                                    DWORD flags, HANDLE pattern) {
        EXPECT_EQ(folder.Path() + L"\\Velundra_TraceLog.txt", path);
        EXPECT_EQ(GENERIC_READ | GENERIC_WRITE, access);
        EXPECT_EQ(3U, share);
        EXPECT_EQ(static_cast<DWORD>(OPEN_ALWAYS), disposition);
        EXPECT_EQ(static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL), flags);
        EXPECT_EQ(nullptr, pattern);
        EXPECT_EQ(sizeof *security, security->nLength);
        EXPECT_EQ(FALSE, security->bInheritHandle);
        EXPECT_TRUE(IsOpenToEveryone(*security));
        return open.Original(path, access, share, security, disposition, flags, pattern);
    });
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(1, open.Calls());
}

TEST_F(TraceFile, IsOpenNoLongerThanForOneRecord)
{
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(kMutexAlone, census.Imbalance());
    EXPECT_TRUE(std::filesystem::remove(File()));
}

TEST_F(TraceFile, GetsARecordInOneWrite)
{
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    std::vector<DWORD> sizes;
    const Replaced<"WriteFile", decltype(::WriteFile)> write(
        [&](HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped) {
            sizes.push_back(size);
            return write.Original(file, data, size, written, overlapped);
        });
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ((std::vector<DWORD>{static_cast<DWORD>((Records().at(1).size() + 2) * 2)}), sizes);
}

// Another program may write without the mutex, at any moment.
TEST_F(TraceFile, GetsARecordBehindWhatAnotherProgramWritesMeanwhile)
{
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    const std::wstring others =
        L"another program's record, which is longer than that of this one: " + std::wstring(200, L'x');
    const Replaced<"SetFilePointerEx", decltype(::SetFilePointerEx)> seek(
        [&](HANDLE file, LARGE_INTEGER distance, PLARGE_INTEGER position, DWORD method) {
            const BOOL result = seek.Original(file, distance, position, method);
            std::ofstream other(File(), std::ios::binary | std::ios::app);
            const std::wstring line = others + L"\r\n";
            other.write(reinterpret_cast<const char*>(line.data()),
                        static_cast<std::streamsize>(line.size() * sizeof(wchar_t)));
            return result;
        });
    EXPECT_EQ(0U, Write(trace, L"source", L"mine"));
    const Lines records = Records();
    ASSERT_EQ(3U, records.size());
    EXPECT_EQ(others, records[1]);
    EXPECT_TRUE(records[2].ends_with(L" mine"));
}

TEST_F(TraceFile, IsMadeWithAllFoldersThatAreMissing)
{
    const std::wstring deep = folder.PathOf(L"a\\b c\\d");
    SetText(L"TraceFilePath", deep);
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(1U, LinesOf(ReadTraceFile(deep + L"\\Velundra_TraceLog.txt")).size());
}

TEST_F(TraceFile, MayStandInAFolderWithABackslashAtItsEnd)
{
    SetText(L"TraceFilePath", folder.Path() + L"\\");
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(1U, Records().size());
}

// What the shell's library answers in the program's place.
class ShellLibrary {
public:
    static inline std::optional<std::wstring> folder; // of all users' data; none is a failure
    static inline int directoryError = 0;
    static inline Lines madeDirectories;

    ShellLibrary()
    {
        folder.reset();
        directoryError = 0;
        madeDirectories.clear();
    }

private:
    static HRESULT WINAPI GetFolder(HWND window, int id, HANDLE token, DWORD flags, LPWSTR path)
    {
        EXPECT_EQ(nullptr, window);
        EXPECT_EQ(0x23 | 0x8000, id); // common application data, made where it is missing
        EXPECT_EQ(nullptr, token);
        EXPECT_EQ(0U, flags);
        if (!folder) {
            return E_FAIL;
        }
        path[folder->copy(path, MAX_PATH - 1)] = L'\0';
        return S_OK;
    }
    static int WINAPI MakeDirectory(HWND window, LPCWSTR path, const SECURITY_ATTRIBUTES* security)
    {
        EXPECT_EQ(nullptr, window);
        EXPECT_EQ(nullptr, security);
        madeDirectories.emplace_back(path);
        return directoryError;
    }

    Replaced<"GetProcAddress", decltype(::GetProcAddress)> procAddress_{[this](HMODULE module, LPCSTR name) -> FARPROC {
        if (std::strcmp(name, "SHGetFolderPathW") == 0) {
            return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&GetFolder));
        }
        if (std::strcmp(name, "SHCreateDirectoryExW") == 0) {
            return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&MakeDirectory));
        }
        return procAddress_.Original(module, name);
    }};
};

TEST_F(TraceFile, StandsInTheFolderOfAllUsersDataWithoutAPathOfItsOwn)
{
    const ShellLibrary shell;
    ShellLibrary::folder = L"C:\\ProgramData";
    for (const wchar_t* const absent : {L"", L"the value is missing"}) {
        SetText(L"TraceFilePath", L"");
        if (*absent != L'\0') {
            RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceFilePath", 1); // of another type
        }
        CVLTrace trace;
        const WantedFiles wanted(ERROR_ACCESS_DENIED);
        EXPECT_EQ(5U, Write(trace));
        EXPECT_EQ(Lines{L"C:\\ProgramData\\Kestrane\\Velundra\\14.0\\Velundra_TraceLog.txt"}, wanted.paths);
    }
}

TEST_F(TraceFile, StandsOnTheSystemDriveWhereNoFolderOfAllUsersDataIsFound)
{
    const ShellLibrary shell;
    SetText(L"TraceFilePath", L"");
    CVLTrace trace;
    const WantedFiles wanted(ERROR_ACCESS_DENIED);
    EXPECT_EQ(5U, Write(trace));
    EXPECT_EQ(Lines{L"C:\\\\Kestrane\\Velundra\\14.0\\Velundra_TraceLog.txt"}, wanted.paths);
}

TEST_F(TraceFile, StandsInTheRootOfTheSystemDriveWhereItsFolderHasNoName)
{
    const ShellLibrary shell;
    ShellLibrary::directoryError = ERROR_BAD_PATHNAME;
    CVLTrace trace;
    const WantedFiles wanted(ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(3U, Write(trace));
    EXPECT_EQ(Lines{folder.Path()}, ShellLibrary::madeDirectories);
    EXPECT_EQ((Lines{folder.Path() + L"\\Velundra_TraceLog.txt", L"C:\\Velundra_TraceLog.txt"}), wanted.paths);
}

// The shell's own rule: it makes no folder of a relative path.
TEST_F(TraceFile, StandsInTheRootOfTheSystemDriveWhereItsFolderIsRelativeAndMissing)
{
    SetText(L"TraceFilePath", L"no such\\folder");
    CVLTrace trace;
    const WantedFiles wanted(ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(3U, Write(trace));
    EXPECT_EQ((Lines{L"no such\\folder\\Velundra_TraceLog.txt", L"C:\\Velundra_TraceLog.txt"}), wanted.paths);
}

TEST_F(TraceFile, IsNotWrittenWhereItsFolderCannotBeMade)
{
    const ShellLibrary shell;
    ShellLibrary::directoryError = ERROR_ACCESS_DENIED;
    SetText(L"TraceFilePath", folder.PathOf(L"missing"));
    CVLTrace trace;
    EXPECT_EQ(3U, Write(trace));
    EXPECT_EQ(Lines{folder.PathOf(L"missing")}, ShellLibrary::madeDirectories);
    EXPECT_TRUE(Files().empty());
}

TEST_F(TraceFile, IsNotWrittenWhereItCannotBeOpened)
{
    EXPECT_TRUE(std::filesystem::create_directory(File()));
    CVLTrace trace;
    EXPECT_EQ(5U, Write(trace));
    EXPECT_TRUE(std::filesystem::is_empty(File()));
}

TEST_F(TraceFile, IsNotWrittenWithoutItsSecurityDescriptor)
{
    const Replaced<"ConvertStringSecurityDescriptorToSecurityDescriptorW",
                   decltype(::ConvertStringSecurityDescriptorToSecurityDescriptorW)>
        convert([](LPCWSTR, DWORD, PSECURITY_DESCRIPTOR*, PULONG) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return FALSE;
        });
    CVLTrace trace;
    EXPECT_EQ(8U, Write(trace));
    EXPECT_TRUE(Files().empty());
}

// Refuses the n-th write with an error, or has it write less than it should without an error.
TEST_F(TraceFile, TellsThatTheDiskIsFull)
{
    for (const bool isNew : {true, false}) {
        for (const DWORD error : {DWORD(ERROR_DISK_FULL), DWORD(ERROR_HANDLE_DISK_FULL), DWORD(0)}) {
            for (const int failing : {1, 2}) {
                if (!isNew) {
                    folder.AddFile(kTraceFile, std::wstring_view(L"\xFEFF"));
                }
                int calls = 0;
                const Replaced<"WriteFile", decltype(::WriteFile)> write(
                    [&](HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped) {
                        if (++calls != failing) {
                            return write.Original(file, data, size, written, overlapped);
                        }
                        *written = 0;
                        SetLastError(error);
                        return error == 0 ? TRUE : FALSE;
                    });
                CVLTrace trace;
                const bool hasFailed = failing <= (isNew ? 2 : 1);
                EXPECT_EQ(!hasFailed ? 0U : error == 0 ? 112U : error, Write(trace));
                EXPECT_EQ(std::min(failing, isNew ? 2 : 1), calls);
                EXPECT_EQ(kMutexAlone, census.Imbalance());
                std::filesystem::remove(File());
            }
        }
    }
}

TEST_F(TraceFile, IsNotWrittenWhereItsEndCannotBeFound)
{
    CVLTrace trace;
    const Replaced<"SetFilePointerEx", decltype(::SetFilePointerEx)> seek(
        [](HANDLE, LARGE_INTEGER, PLARGE_INTEGER, DWORD method) {
            EXPECT_EQ(static_cast<DWORD>(FILE_END), method);
            SetLastError(ERROR_IO_DEVICE);
            return FALSE;
        });
    EXPECT_EQ(1117U, Write(trace));
    EXPECT_EQ(0U, Size());
    EXPECT_EQ(kMutexAlone, census.Imbalance());
}

TEST_F(TraceFile, CostsAReturnedCodeAndNoMoreWhenMemoryRunsOut)
{
    bool hasFailed = true;
    for (int allocation = 1; hasFailed; ++allocation) {
        const auto trace = std::make_unique<CVLTrace>();
        std::uint32_t result = 0;
        {
            const FailingMemory memory(allocation);
            result = Write(*trace);
            hasFailed = memory.HasFailed();
        }
        EXPECT_EQ(hasFailed ? 14U : 0U, result);
        EXPECT_EQ(kMutexAlone, census.Imbalance());
        ASSERT_LT(allocation, 1000);
    }
    EXPECT_EQ(1U, Records().size());
}

TEST_F(TraceFile, CostsNothingWhenMemoryRunsOutInItsConstruction)
{
    SetText(L"TraceString", std::wstring(100, L's'));
    SetText(L"TraceModuleList", std::wstring(100, L'm'));
    bool hasFailed = true;
    for (int allocation = 1; hasFailed; ++allocation) {
        const FailingMemory memory(allocation);
        const CVLTrace trace;
        hasFailed = memory.HasFailed();
        ASSERT_LT(allocation, 1000);
    }
    EXPECT_EQ("", census.Imbalance());
}

// --- Moving a full file away ---

struct SizeCase {
    std::optional<std::uint32_t> setting;
    std::uint32_t limit; // bytes
};

class FullTraceFile : public TraceFile, public ::testing::WithParamInterface<SizeCase> {};

TEST_P(FullTraceFile, IsMovedAwayAfterTheFirstRecordThatFindsItSo)
{
    if (GetParam().setting) {
        Set(L"TraceMaxFileSizeMB", *GetParam().setting);
    }
    MakeFile(GetParam().limit - 2);
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace, L"source", L"below the limit"));
    EXPECT_EQ(std::set<std::wstring>{kTraceFile}, Files());
    EXPECT_GT(Size(), GetParam().limit);

    EXPECT_EQ(0U, Write(trace, L"source", L"at the limit"));
    const std::set<std::wstring> moved = Files();
    ASSERT_EQ(1U, moved.size());
    EXPECT_TRUE(moved.begin()->starts_with(L"Velundra_TraceLog_2"));
    EXPECT_GT(std::filesystem::file_size(folder.PathOf(*moved.begin())), GetParam().limit + 2 * 100);

    EXPECT_EQ(0U, Write(trace, L"source", L"in a new file"));
    EXPECT_EQ(2U, Files().size());
    EXPECT_TRUE(TakeRecord().ends_with(L"in a new file"));
}

// A file of exactly the limit has had its fill.
TEST_P(FullTraceFile, IsFullWhenItHasReachedItsLimit)
{
    if (GetParam().setting) {
        Set(L"TraceMaxFileSizeMB", *GetParam().setting);
    }
    MakeFile(GetParam().limit);
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    EXPECT_FALSE(std::filesystem::exists(File()));
}

INSTANTIATE_TEST_SUITE_P(Limits, FullTraceFile,
                         ::testing::Values(SizeCase{std::nullopt, 10 * kMegabyte}, // as it is without a setting
                                           SizeCase{0, 5 * kMegabyte}, SizeCase{1, 5 * kMegabyte},
                                           SizeCase{4, 5 * kMegabyte}, SizeCase{5, 5 * kMegabyte},
                                           SizeCase{6, 6 * kMegabyte}, SizeCase{10, 10 * kMegabyte},
                                           SizeCase{4096, 5 * kMegabyte}, // wraps to 0
                                           SizeCase{4100, 5 * kMegabyte}, // wraps to 4 MB
                                           SizeCase{4102, 6 * kMegabyte}, // wraps to 6 MB
                                           SizeCase{0x80000000U, 5 * kMegabyte}));

class MovedTraceFile : public TraceFile {
protected:
    // A full file that was last written at the moment, in UTC.
    void MakeFullFile(const SYSTEMTIME& moment) const
    {
        MakeFile(10 * kMegabyte);
        FILETIME time{};
        EXPECT_NE(FALSE, SystemTimeToFileTime(&moment, &time));
        const win::FileHandle file(
            CreateFileW(File().c_str(), FILE_WRITE_ATTRIBUTES, 7, nullptr, OPEN_EXISTING, 0, nullptr));
        EXPECT_NE(FALSE, SetFileTime(file.Get(), nullptr, nullptr, &time));
    }
};

TEST_F(MovedTraceFile, IsNamedAfterItsLastWriteBeforeTheRecordInUtc)
{
    CVLTrace trace;
    MakeFullFile({2026, 3, 0, 4, 5, 6, 7, 8});
    EXPECT_EQ(0U, Write(trace));
    MakeFullFile({2031, 12, 0, 31, 23, 59, 58, 999});
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ((std::set<std::wstring>{L"Velundra_TraceLog_2026-03-04 050607 008.txt",
                                      L"Velundra_TraceLog_2031-12-31 235958 999.txt"}),
              Files());
}

TEST_F(MovedTraceFile, HoldsTheRecordThatFoundItFull)
{
    CVLTrace trace;
    MakeFullFile({2026, 3, 0, 4, 5, 6, 7, 8});
    EXPECT_EQ(0U, Write(trace, L"source", L"the last one"));
    const std::wstring text = ReadTraceFile(folder.PathOf(L"Velundra_TraceLog_2026-03-04 050607 008.txt"));
    EXPECT_TRUE(text.ends_with(L"the last one\r\n"));
}

TEST_F(MovedTraceFile, StaysWhereItIsWhenItCannotBeMoved)
{
    folder.AddFile(L"Velundra_TraceLog_2026-03-04 050607 008.txt", std::string_view("taken"));
    CVLTrace trace;
    MakeFullFile({2026, 3, 0, 4, 5, 6, 7, 8});
    EXPECT_EQ(0U, Write(trace));
    EXPECT_GT(Size(), 10 * kMegabyte);
    EXPECT_EQ(5U, std::filesystem::file_size(folder.PathOf(L"Velundra_TraceLog_2026-03-04 050607 008.txt")));
}

// Without that time there is no name to move it to.
TEST_F(MovedTraceFile, StaysWhereItIsWhenItsLastWriteIsNotKnown)
{
    CVLTrace trace;
    MakeFullFile({2026, 3, 0, 4, 5, 6, 7, 8});
    const Replaced<"GetFileTime", decltype(::GetFileTime)> time(
        [](HANDLE, LPFILETIME, LPFILETIME, LPFILETIME) { return FALSE; });
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(std::set<std::wstring>{kTraceFile}, Files());
    EXPECT_GT(Size(), 10 * kMegabyte);
}

TEST_F(MovedTraceFile, IsClosedAndStillUnderTheMutexWhenItIsMoved)
{
    CVLTrace trace;
    MakeFullFile({2026, 3, 0, 4, 5, 6, 7, 8});
    const Replaced<"ReleaseMutex", decltype(::ReleaseMutex)> release(
        [&](HANDLE mutex) { return release.Original(mutex); });
    const Replaced<"MoveFileW", decltype(::MoveFileW)> move([&](LPCWSTR from, LPCWSTR to) {
        EXPECT_EQ(0, release.Calls());
        EXPECT_EQ(kMutexAlone, census.Imbalance());
        return move.Original(from, to);
    });
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(1, move.Calls());
    EXPECT_EQ(1, release.Calls());
}

TEST_F(MovedTraceFile, StaysWhereItIsWhenTheRecordCouldNotBeWritten)
{
    CVLTrace trace;
    MakeFullFile({2026, 3, 0, 4, 5, 6, 7, 8});
    const Replaced<"WriteFile", decltype(::WriteFile)> write([](HANDLE, LPCVOID, DWORD, LPDWORD, LPOVERLAPPED) {
        SetLastError(ERROR_DISK_FULL);
        return FALSE;
    });
    EXPECT_EQ(112U, Write(trace));
    EXPECT_EQ(std::set<std::wstring>{kTraceFile}, Files());
}

} // namespace
