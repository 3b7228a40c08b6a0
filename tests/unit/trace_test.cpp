#include "trace/VLTrace.h"
// Whoever has the log's object has the guard that is constructed before it.
static_assert(sizeof win::kSystemLibrariesOnly != 0);

#include "support/failing_memory.h"
#include "support/product_test.h"
#include "support/scratch_folder.h"
#include "support/trace_log.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ios>
#include <map>
#include <optional>
#include <set>
#include <type_traits>
#include <vector>

#include <sddl.h>
#include <shlobj.h>

namespace {

using namespace testing_support;

static_assert(std::is_base_of_v<CLockable, CVLTrace>);

using Lines = std::vector<std::wstring>;

const std::wstring kSixteenBlanks(16, L' ');
constexpr std::uint32_t kMegabyte = 1024 * 1024;
// What a living trace log holds.
constexpr char kMutexAlone[] = "handles open: 1\n";

// Whether the list of rights is missing or has at least the one entry that everyone needs.
bool IsOpenToEveryone(const SECURITY_ATTRIBUTES& security)
{
    BOOL isPresent = FALSE;
    BOOL isDefaulted = FALSE;
    ACL* list = nullptr;
    return GetSecurityDescriptorDacl(security.lpSecurityDescriptor, &isPresent, &list, &isDefaulted) != FALSE &&
           isPresent != FALSE && (list == nullptr || list->AceCount == 1);
}

// A trace log in a folder of the test's own, on a computer and at a time that are always the same. The mutex between
// processes has a name of the test's own, so that tests that run at the same time do not wait for each other.
class TraceLog : public ProductTest {
protected:
    TraceLog() { SetText(L"TraceFilePath", folder.Path()); }

    static void Set(const wchar_t* name, std::uint32_t value)
    {
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kTraceSettings, name, value);
    }
    static void SetText(const wchar_t* name, const std::wstring& value)
    {
        RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kTraceSettings, name, value);
    }

    static std::uint32_t Write(CVLTrace& trace, std::wstring_view source = L"source", std::wstring_view text = L"text")
    {
        return trace.TraceWrite(L"", source, L"function", 7, text);
    }

    [[nodiscard]] std::filesystem::path File() const { return folder.PathOf(kTraceFile); }
    [[nodiscard]] Lines Records() const
    {
        return std::filesystem::exists(File()) ? LinesOf(ReadTraceFile(File())) : Lines{};
    }
    // The only record, and none is left.
    [[nodiscard]] std::wstring TakeRecord() const
    {
        Lines lines = Records();
        std::filesystem::remove(File());
        return lines.size() == 1 ? lines.front() : std::to_wstring(lines.size()) + L" records";
    }
    // The file names in the folder.
    [[nodiscard]] std::set<std::wstring> Files() const
    {
        std::set<std::wstring> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
            names.insert(entry.path().filename().wstring());
        }
        return names;
    }

    ScratchFolder folder;
    SYSTEMTIME now{2026, 11, 0, 5, 8, 9, 7, 6};
    std::wstring user = L"user";
    std::wstring program = L"C:\\Program Files\\Velundra\\VLCmd.exe";
    DWORD processId = 7;
    DWORD threadId = 42;
    std::wstring mutexName = L"VLCmdTests_" + std::to_wstring(GetCurrentProcessId());

    Replaced<"GetLocalTime", decltype(::GetLocalTime)> localTime{[this](LPSYSTEMTIME time) { *time = now; }};
    Replaced<"GetUserNameW", decltype(::GetUserNameW)> userName{[this](LPWSTR name, LPDWORD size) -> BOOL {
        EXPECT_EQ(520U, *size);
        name[user.copy(name, *size - 1)] = L'\0';
        *size = static_cast<DWORD>(user.size() + 1);
        return TRUE;
    }};
    Replaced<"GetModuleFileNameW", decltype(::GetModuleFileNameW)> moduleFileName{
        [this](HMODULE module, LPWSTR path, DWORD size) -> DWORD {
            EXPECT_EQ(nullptr, module);
            EXPECT_EQ(4096U, size);
            const auto length = static_cast<DWORD>(program.copy(path, size - 1));
            path[length] = L'\0';
            return length;
        }};
    Replaced<"GetComputerNameW", decltype(::GetComputerNameW)> computer{[this](LPWSTR name, LPDWORD length) -> BOOL {
        *length = static_cast<DWORD>(computerName.copy(name, *length - 1));
        name[*length] = L'\0';
        return TRUE;
    }};
    std::wstring computerName = L"THISPC";
    Replaced<"CreateMutexW", decltype(::CreateMutexW)> createMutex{
        [this](LPSECURITY_ATTRIBUTES security, BOOL owned, LPCWSTR) {
            return createMutex.Original(security, owned, mutexName.c_str());
        }};
};

// --- The record ---

class TraceRecord : public TraceLog {
protected:
    // The record that a new trace log writes.
    std::wstring Record(std::wstring_view module = L"", std::wstring_view source = L"source",
                        std::wstring_view function = L"function", int line = 123, std::wstring_view text = L"text")
    {
        CVLTrace trace;
        std::uint32_t result = 0;
        {
            // GoogleTest goes by the ids, too, so they are others for this call alone.
            const Replaced<"GetCurrentProcessId", decltype(::GetCurrentProcessId)> process(
                [this] { return processId; });
            const Replaced<"GetCurrentThreadId", decltype(::GetCurrentThreadId)> thread([this] { return threadId; });
            result = trace.TraceWrite(module, source, function, line, text);
        }
        EXPECT_EQ(0U, result);
        return TakeRecord();
    }
};

TEST_F(TraceRecord, IsOneLineOfAllFieldsInTheirColumns)
{
    EXPECT_EQ(L"11/05/2026 08:09:07.006 THISPC user             VLCmd            module           00007 00042 "
              L"source                           000123 text",
              Record(L"module"));
}

TEST_F(TraceRecord, HasTheFunctionsNameWhereThatIsAsked)
{
    for (const std::uint32_t nonZero : {1U, 2U, 0x80000000U}) {
        Set(L"TraceFunctionName", nonZero);
        EXPECT_EQ(L"11/05/2026 08:09:07.006 THISPC user             VLCmd            module           00007 00042 "
                  L"source                           000123 (vldb::CDbManager::Connect) text",
                  Record(L"module", L"source", L"vldb::CDbManager::Connect"));
    }
    Set(L"TraceFunctionName", 0);
    EXPECT_TRUE(Record().ends_with(L" 000123 text"));
}

TEST_F(TraceRecord, EndsInCarriageReturnAndLineFeed)
{
    Record();
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(0U, Write(trace));
    const std::wstring text = ReadTraceFile(File());
    EXPECT_TRUE(text.ends_with(L" text\r\n"));
    EXPECT_EQ(2U, Records().size());
}

TEST_F(TraceRecord, HasDateAndTimeWithLeadingZeros)
{
    now = {2031, 1, 0, 2, 3, 4, 5, 0};
    EXPECT_TRUE(Record().starts_with(L"01/02/2031 03:04:05.000 THISPC "));
    now = {2026, 12, 0, 31, 23, 59, 58, 999};
    EXPECT_TRUE(Record().starts_with(L"12/31/2026 23:59:58.999 THISPC "));
}

TEST_F(TraceRecord, HasTheComputersNameAsItIs)
{
    for (const wchar_t* const name : {L"A", L"FIFTEEN-LETTERS"}) {
        computerName = name;
        EXPECT_TRUE(Record().starts_with(L"11/05/2026 08:09:07.006 " + computerName + L" user             VLCmd "));
    }
}

TEST_F(TraceRecord, CutsALongUserName)
{
    const std::pair<std::wstring, std::wstring> names[] = {
        {L"", L"                "},
        {L"abcdefghijklmno", L"abcdefghijklmno "},
        {L"abcdefghijklmnop", L"abcdefghijklmnop"},
        {L"abcdefghijklmnopq", L"abcdefghijklm..."},
        {L"abcdefghijklmnopqrst", L"abcdefghijklm..."},
        {std::wstring(519, L'u'), L"uuuuuuuuuuuuu..."},
    };
    for (const auto& [name, column] : names) {
        user = name;
        EXPECT_TRUE(Record().starts_with(L"11/05/2026 08:09:07.006 THISPC " + column + L" VLCmd            "))
            << ::testing::PrintToString(name);
    }
}

TEST_F(TraceRecord, HasNoUserNameWhereWindowsTellsNone)
{
    const Replaced<"GetUserNameW", decltype(::GetUserNameW)> refuse([](LPWSTR, LPDWORD) { return FALSE; });
    EXPECT_TRUE(Record().starts_with(L"11/05/2026 08:09:07.006 THISPC " + kSixteenBlanks + L" VLCmd "));
}

TEST_F(TraceRecord, HasTheProgramsNameWithoutFolderAndExtension)
{
    const std::pair<const wchar_t*, const wchar_t*> programs[] = {
        {L"C:\\Program Files\\Velundra\\VLCmd.exe", L"VLCmd           "},
        {L"C:\\a.b\\VLCmd", L"VLCmd           "},
        {L"C:\\my.tool.exe", L"my.tool         "},
        {L"C:\\abcdefghijklmnop.exe", L"abcdefghijklmnop"},
        {L"C:\\abcdefghijklmnopq.exe", L"abcdefghijklm..."},
    };
    for (const auto& [path, column] : programs) {
        program = path;
        EXPECT_TRUE(Record().starts_with(L"11/05/2026 08:09:07.006 THISPC user             " + std::wstring(column) +
                                         L' ' + kSixteenBlanks + L" 00007 "))
            << ::testing::PrintToString(std::wstring(path));
    }
}

TEST_F(TraceRecord, HasTheProgramsNameHoweverLongItsPathIs)
{
    program = L"C:\\" + std::wstring(4000, L'p') + L"\\tool.exe";
    EXPECT_NE(std::wstring::npos, Record().find(L" tool             "));
}

TEST_F(TraceRecord, CutsALongModuleName)
{
    EXPECT_NE(std::wstring::npos, Record(L"").find(L"VLCmd            " + kSixteenBlanks + L" 00007"));
    EXPECT_NE(std::wstring::npos, Record(L"abcdefghijklmnop").find(L"VLCmd            abcdefghijklmnop 00007"));
    EXPECT_NE(std::wstring::npos, Record(L"abcdefghijklmnopq").find(L"VLCmd            abcdefghijklm... 00007"));
}

TEST_F(TraceRecord, HasTheIdsOfProcessAndThreadWithAtLeastFiveDigits)
{
    processId = 99999;
    threadId = 1;
    EXPECT_NE(std::wstring::npos, Record().find(L" 99999 00001 source "));
    processId = 1234567;
    threadId = 4000000000U;
    EXPECT_NE(std::wstring::npos, Record().find(L" 1234567 4000000000 source "));
}

// The wide column cuts to the same few characters as the narrow ones.
TEST_F(TraceRecord, CutsALongSourceNameToSixteenCharacters)
{
    const std::pair<std::wstring, std::wstring> sources[] = {
        {L"", std::wstring(32, L' ')},
        {L"db_manager", L"db_manager                      "},
        {std::wstring(31, L's'), std::wstring(31, L's') + L' '},
        {std::wstring(32, L's'), std::wstring(32, L's')},
        {std::wstring(33, L's'), L"sssssssssssss..."},
        {std::wstring(40, L's'), L"sssssssssssss..."},
    };
    for (const auto& [source, column] : sources) {
        EXPECT_TRUE(Record(L"", source).ends_with(L" 00007 00042 " + column + L" 000123 text"))
            << ::testing::PrintToString(source);
    }
}

TEST_F(TraceRecord, HasTheSourcesNameWithoutFolderAndExtension)
{
    for (const wchar_t* const source :
         {L"C:\\src\\db\\ado_implement.cpp", L"ado_implement.cpp", L"db\\ado_implement"}) {
        EXPECT_TRUE(Record(L"", source).ends_with(L" 00042 ado_implement                    000123 text"));
    }
    EXPECT_TRUE(Record(L"", L"a.b.cpp").ends_with(L" 00042 a.b                              000123 text"));
}

TEST_F(TraceRecord, HasALineNumberOfAtLeastSixDigits)
{
    EXPECT_TRUE(Record(L"", L"s", L"", 1).ends_with(L" 000001 text"));
    EXPECT_TRUE(Record(L"", L"s", L"", 999999).ends_with(L" 999999 text"));
    EXPECT_TRUE(Record(L"", L"s", L"", 2000000000).ends_with(L" 2000000000 text"));
    EXPECT_TRUE(Record(L"", L"s", L"", -1).ends_with(L" -00001 text"));
}

TEST_F(TraceRecord, HasItsTextAsItStands)
{
    EXPECT_TRUE(Record(L"", L"s", L"", 1, L"").ends_with(L" 000001 "));
    EXPECT_TRUE(Record(L"", L"s", L"", 1, L"100 %s %d %n ä€").ends_with(L" 000001 100 %s %d %n ä€"));
    const std::wstring longText(100'000, L'x');
    EXPECT_TRUE(Record(L"", L"s", L"", 1, longText).ends_with(L" 000001 " + longText));
}

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

// Opens nothing, and tells which files were wanted.
class WantedFiles {
public:
    explicit WantedFiles(DWORD error) : error_(error) {}

    Lines paths;

private:
    DWORD error_;
    Replaced<"CreateFileW", decltype(::CreateFileW)> open_{
        [this](LPCWSTR path, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE) {
            paths.emplace_back(path);
            SetLastError(error_);
            return INVALID_HANDLE_VALUE;
        }};
};

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

// --- Settings ---

class TraceSettings : public TraceLog {};

TEST_F(TraceSettings, AreReadFromTheCoreKey)
{
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [&](HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
            EXPECT_EQ(HKEY_LOCAL_MACHINE, root);
            EXPECT_STREQ(L"Software\\Kestrane\\VLCore\\14.0", path);
            EXPECT_EQ(static_cast<REGSAM>(KEY_READ), access);
            return open.Original(root, path, options, access, key);
        });
    CVLTrace trace;
    EXPECT_EQ(1, open.Calls());
}

TEST_F(TraceSettings, AreReadOnce)
{
    CVLTrace trace;
    Set(L"TraceEntryExit", 1);
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    EXPECT_EQ(0U, trace.LoadSettings());
    EXPECT_EQ(0, open.Calls());
    trace.TraceOperation(L"s", L"f", 1, L"t");
    EXPECT_TRUE(Files().empty());
}

TEST_F(TraceSettings, AreAllDefaultsWhereTheKeyCannotBeOpened)
{
    Set(L"TraceLevel", 5);
    Set(L"TraceEntryExit", 1);
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    CVLTrace trace;
    EXPECT_EQ(5U, trace.LoadSettings());
    const WantedFiles wanted(ERROR_ACCESS_DENIED);
    EXPECT_EQ(0U, trace.TraceMessage(1, L"s", L"f", 1, L"text"));
    trace.TraceOperation(L"s", L"f", 1, L"text");
    EXPECT_TRUE(wanted.paths.empty());
    EXPECT_EQ(5U, trace.TraceMessage(0, L"s", L"f", 1, L"text"));
    ASSERT_EQ(1U, wanted.paths.size());
    EXPECT_TRUE(wanted.paths.front().ends_with(L"\\Kestrane\\Velundra\\14.0\\Velundra_TraceLog.txt"));
}

TEST_F(TraceSettings, TellWhetherMessagesOfALevelAreWritten)
{
    struct LevelCase {
        std::optional<std::uint32_t> setting;
        std::uint32_t message;
        bool isWritten;
    };
    constexpr LevelCase kCases[] = {
        {std::nullopt, 0, true}, {std::nullopt, 1, false}, {3U, 2, true},           {3U, 3, true},
        {3U, 4, false},          {100000U, 100000, true},  {99999U, 100000, false}, {0xFFFFFFFFU, 0xFFFFFFFF, true},
    };
    for (const LevelCase& test : kCases) {
        SCOPED_TRACE(test.message);
        if (test.setting) {
            Set(L"TraceLevel", *test.setting);
        }
        CVLTrace trace;
        EXPECT_EQ(0U, trace.TraceMessage(test.message, L"s", L"f", 1, L"text"));
        EXPECT_EQ(test.isWritten ? 1U : 0U, Records().size());
        std::filesystem::remove(File());
    }
}

TEST_F(TraceSettings, LeaveDefaultsWhereTheirValuesAreOfAnotherType)
{
    SetText(L"TraceLevel", L"5");
    SetText(L"TraceEntryExit", L"1");
    SetText(L"TraceFunctionName", L"1");
    Set(L"TraceString", 1);
    Set(L"TraceModuleList", 1);
    SetText(L"TraceVector", L"1");
    CVLTrace trace;
    EXPECT_EQ(0U, trace.TraceMessage(1, L"s", L"f", 1, L"text"));
    trace.TraceOperation(L"s", L"f", 1, L"text");
    EXPECT_TRUE(Files().empty());
    EXPECT_EQ(0U, trace.TraceMessage(0, L"s", L"f", 1, L"text"));
    EXPECT_TRUE(TakeRecord().ends_with(L" 000001 text"));
    EXPECT_EQ(L"", trace.TraceString());
    EXPECT_EQ(0U, trace.TraceVector()[0]);
}

TEST_F(TraceSettings, KeepTheTraceStringAlsoInUpperCase)
{
    SetText(L"TraceString", L"Some ümlaut 1");
    CVLTrace trace;
    EXPECT_EQ(L"Some ümlaut 1", trace.TraceString());
    EXPECT_EQ(L"SOME ÜMLAUT 1", trace.TraceStringUpper());
    EXPECT_EQ(0U, Write(trace, L"other", L"other")); // no record is filtered by it
    EXPECT_EQ(1U, Records().size());
}

TEST_F(TraceSettings, KeepTheTraceVector)
{
    std::array<std::uint32_t, 8192> vector{};
    for (std::uint32_t i = 0; i < vector.size(); ++i) {
        vector[i] = i * 0x10001U;
    }
    std::vector<BYTE> bytes(sizeof vector);
    std::memcpy(bytes.data(), vector.data(), bytes.size());
    RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceVector", REG_BINARY, bytes);
    const auto trace = std::make_unique<CVLTrace>();
    EXPECT_EQ(vector, trace->TraceVector());
}

TEST_F(TraceSettings, KeepAShortTraceVectorWithZerosBehindIt)
{
    RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceVector", REG_BINARY, {1, 0, 0, 0, 2, 0});
    const auto trace = std::make_unique<CVLTrace>();
    std::array<std::uint32_t, 8192> expected{1, 2};
    EXPECT_EQ(expected, trace->TraceVector());
}

TEST_F(TraceSettings, HaveATraceVectorOfZerosWithoutOne)
{
    const auto trace = std::make_unique<CVLTrace>();
    EXPECT_EQ((std::array<std::uint32_t, 8192>{}), trace->TraceVector());
    RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceVector", REG_BINARY,
                            std::vector<BYTE>(32769, 1));
    const auto tooLong = std::make_unique<CVLTrace>();
    EXPECT_EQ((std::array<std::uint32_t, 8192>{}), tooLong->TraceVector());
}

TEST_F(TraceSettings, CostNoFolderNoNameAndNoFileWhereNothingIsTraced)
{
    const WantedFiles wanted(ERROR_ACCESS_DENIED);
    const Replaced<"SHGetFolderPathW", decltype(::SHGetFolderPathW)> find(
        [](HWND, int, HANDLE, DWORD, LPWSTR) -> HRESULT { return E_FAIL; });
    CVLTrace trace;
    EXPECT_EQ(0U, trace.TraceMessage(1, L"s", L"f", 1, L"text"));
    trace.TraceOperation(L"s", L"f", 1, L"text");
    EXPECT_EQ(0, find.Calls() + userName.Calls() + computer.Calls() + moduleFileName.Calls() + localTime.Calls());
    EXPECT_TRUE(wanted.paths.empty());
}

// --- Messages, entries and leaves ---

class TracedMessage : public TraceLog {};

TEST_F(TracedMessage, IsFormattedAsWprintfDoes)
{
    CVLTrace trace;
    EXPECT_EQ(0U, trace.TraceMessage(0, L"src", L"fn", 12, L"%ls has %u of %d%% (%04x)", L"C:", 5U, -3, 0xABU));
    const std::wstring record = TakeRecord();
    EXPECT_TRUE(record.ends_with(L" src                              000012 C: has 5 of -3% (00ab)")) << record.c_str();
    EXPECT_NE(std::wstring::npos, record.find(L" VLCmd            " + kSixteenBlanks + L" 0"));
}

TEST_F(TracedMessage, MayBeEmptyOrOfAnyLength)
{
    CVLTrace trace;
    EXPECT_EQ(0U, trace.TraceMessage(0, L"src", L"fn", 1, L"%ls", L""));
    EXPECT_TRUE(TakeRecord().ends_with(L" 000001 "));
    const std::wstring text(50'000, L'x');
    EXPECT_EQ(0U, trace.TraceMessage(0, L"src", L"fn", 1, L"[%ls]", text.c_str()));
    EXPECT_TRUE(TakeRecord().ends_with(L" [" + text + L"]"));
}

TEST_F(TracedMessage, GivesTheErrorOfWritingIt)
{
    CVLTrace trace;
    const WantedFiles wanted(ERROR_ACCESS_DENIED);
    EXPECT_EQ(5U, trace.TraceMessage(0, L"src", L"fn", 1, L"text"));
}

class TracedOperation : public TraceLog {};

TEST_F(TracedOperation, IsWrittenWhenTheSettingIsOneAlone)
{
    const std::pair<std::uint32_t, std::size_t> settings[] = {{0, 0}, {1, 1}, {2, 0}, {3, 0}, {0xFFFFFFFF, 0}};
    for (const auto& [setting, records] : settings) {
        Set(L"TraceEntryExit", setting);
        CVLTrace trace;
        trace.TraceOperation(L"db_manager", L"vldb::CDbManager::Connect", 42, L"*** ENTER ***");
        EXPECT_EQ(records, Records().size()) << setting;
        std::filesystem::remove(File());
    }
}

TEST_F(TracedOperation, HasNoModule)
{
    Set(L"TraceEntryExit", 1);
    Set(L"TraceFunctionName", 1);
    CVLTrace trace;
    trace.TraceOperation(L"db_manager", L"vldb::CDbManager::Connect", 42, L"*** ENTER ***");
    const std::wstring record = TakeRecord();
    EXPECT_NE(std::wstring::npos, record.find(L" VLCmd            " + kSixteenBlanks + L" 0")) << record.c_str();
    EXPECT_TRUE(
        record.ends_with(L" db_manager                       000042 (vldb::CDbManager::Connect) *** ENTER ***"));
}

TEST_F(TracedOperation, NeverTellsThatItCouldNotBeWritten)
{
    Set(L"TraceEntryExit", 1);
    CVLTrace trace;
    const WantedFiles wanted(ERROR_ACCESS_DENIED);
    trace.TraceOperation(L"s", L"f", 1, L"text");
    EXPECT_EQ(1U, wanted.paths.size());
}

void LeaveEarly(bool early)
{
    const TraceEntry entry(L"source", L"LeaveEarly", 5);
    if (early) {
        return;
    }
    throw 1;
}

TEST_F(TracedOperation, RecordsItsEntryAndEveryWayOfLeavingIt)
{
    TracedOperations operations;
    LeaveEarly(true);
    EXPECT_EQ((Lines{L"source (LeaveEarly) *** ENTER ***", L"source (LeaveEarly) *** LEAVE ***"}), operations.Take());
    EXPECT_THROW(LeaveEarly(false), int);
    EXPECT_EQ((Lines{L"source (LeaveEarly) *** ENTER ***", L"source (LeaveEarly) *** LEAVE ***"}), operations.Take());
    TraceEnter(L"source", L"Read", 6);
    EXPECT_EQ(Lines{L"source (Read) *** ENTER ***"}, operations.Take());
    TraceStep(L"source", L"Close", 6, L"Call m_Connection->Close()");
    EXPECT_EQ(Lines{L"source (Close) Call m_Connection->Close()"}, operations.Take());
}

// How often the trace log's own critical section is entered and not yet left.
class HeldLock {
public:
    explicit HeldLock(const CVLTrace& trace) : begin_(reinterpret_cast<const char*>(&trace)) {}

    [[nodiscard]] int Depth() const { return depth_; }

private:
    [[nodiscard]] int IsOwn(LPCRITICAL_SECTION section) const
    {
        const auto* const at = reinterpret_cast<const char*>(section);
        return at >= begin_ && at < begin_ + sizeof(CVLTrace) ? 1 : 0;
    }

    const char* begin_;
    int depth_ = 0;
    Replaced<"EnterCriticalSection", decltype(::EnterCriticalSection)> enter_{[this](LPCRITICAL_SECTION section) {
        enter_.Original(section);
        depth_ += IsOwn(section);
    }};
    Replaced<"LeaveCriticalSection", decltype(::LeaveCriticalSection)> leave_{[this](LPCRITICAL_SECTION section) {
        depth_ -= IsOwn(section);
        leave_.Original(section);
    }};
};

class LockedTrace : public TraceLog {
protected:
    LockedTrace() { Set(L"TraceEntryExit", 1); }
};

TEST_F(LockedTrace, IsWhatMessagesAndOperationsAreWrittenTo)
{
    CVLTrace trace;
    const HeldLock lock(trace);
    std::vector<int> depths;
    const Replaced<"WriteFile", decltype(::WriteFile)> write(
        [&](HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped) {
            depths.push_back(lock.Depth());
            return write.Original(file, data, size, written, overlapped);
        });
    EXPECT_EQ(0U, trace.TraceMessage(0, L"src", L"fn", 1, L"text"));
    trace.TraceOperation(L"src", L"fn", 1, L"text");
    EXPECT_EQ((std::vector<int>{1, 1, 1}), depths); // the byte-order mark and two records
    EXPECT_EQ(0, lock.Depth());
}

TEST_F(LockedTrace, IsWhatTheSettingsAreReadInto)
{
    int calls = 0;
    std::optional<HeldLock> lock;
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [&](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS {
            ++calls;
            EXPECT_EQ(lock ? 1 : 0, lock ? lock->Depth() : 0);
            return ERROR_ACCESS_DENIED;
        });
    CVLTrace trace;
    lock.emplace(trace);
    EXPECT_EQ(5U, trace.LoadSettings());
    EXPECT_EQ(2, calls);
    EXPECT_EQ(0, lock->Depth());
}

// --- Module filter ---

struct FilterCase {
    const wchar_t* list;
    const wchar_t* source;
    bool isTraced;
};

class ModuleFilter : public TraceLog, public ::testing::WithParamInterface<FilterCase> {};

TEST_P(ModuleFilter, LetsTheListedFilesAndProgramsThrough)
{
    SetText(L"TraceModuleList", GetParam().list);
    CVLTrace trace;
    EXPECT_EQ(GetParam().isTraced, trace.IsTraced(GetParam().source));
    EXPECT_EQ(0U, Write(trace, GetParam().source));
    EXPECT_EQ(GetParam().isTraced ? 1U : 0U, Records().size());
}

INSTANTIATE_TEST_SUITE_P(
    Lists, ModuleFilter,
    ::testing::Values(FilterCase{L"", L"db_manager", true}, FilterCase{L"", L"", true},
                      FilterCase{L"DB_MANAGER", L"db_manager", true}, FilterCase{L"db_manager", L"DB_Manager", true},
                      FilterCase{L"DB_MANAGER;OTHER", L"C:\\src\\db\\db_manager.cpp", true},
                      FilterCase{L"other;xdb_managerx", L"db_manager", true},
                      FilterCase{L"ADO_IMPLEMENT", L"db_manager", false},
                      FilterCase{L"ADO_IMPLEMENT", L"ado_implement", true}, FilterCase{L"ADO_IMPLEMENT", L"", false},
                      FilterCase{L"VLCMD", L"", false}, FilterCase{L"VLCMD", L"db_manager", true},
                      FilterCase{L"ADO_IMPLEMENT;vlcmd", L"db_manager", true},
                      FilterCase{L"VLCM", L"db_manager", false}, FilterCase{L"DB_MANAGER.CPP", L"db_manager.h", true},
                      FilterCase{L"CPP", L"db_manager.cpp", false}, FilterCase{L"SRC", L"src\\db_manager", false},
                      FilterCase{L"A.B", L"a.b.cpp", true}));

// --- The mutex between processes ---

class TraceMutex : public TraceLog {
protected:
    // The texts of the records about the mutex.
    [[nodiscard]] Lines Messages() const
    {
        Lines texts;
        for (const std::wstring& record : Records()) {
            const std::wstring head = L" (CVLTrace::CVLTrace) ";
            const std::size_t at = record.find(head);
            EXPECT_NE(std::wstring::npos, record.find(L" VLTrace                          0"));
            texts.push_back(at == std::wstring::npos ? record : record.substr(at + head.size()));
        }
        return texts;
    }

    std::vector<DWORD> waits; // time-outs
    DWORD waited = WAIT_OBJECT_0;
    Replaced<"WaitForSingleObject", decltype(::WaitForSingleObject)> wait{[this](HANDLE, DWORD milliseconds) {
        waits.push_back(milliseconds);
        return waited;
    }};
    Replaced<"ReleaseMutex", decltype(::ReleaseMutex)> release{[](HANDLE) { return TRUE; }};
};

TEST_F(TraceMutex, IsMadeForEveryoneAndNotOwned)
{
    const Replaced<"CreateMutexW", decltype(::CreateMutexW)> create(
        [&](LPSECURITY_ATTRIBUTES security, BOOL owned, LPCWSTR name) {
            EXPECT_STREQ(L"Global\\VL140_LogFileMutex", name);
            EXPECT_EQ(FALSE, owned);
            EXPECT_EQ(FALSE, security->bInheritHandle);
            EXPECT_TRUE(IsOpenToEveryone(*security));
            return create.Original(security, owned, name);
        });
    const CVLTrace trace;
    EXPECT_EQ(1, create.Calls());
}

TEST_F(TraceMutex, IsWaitedForTwoSecondsAndGivenBackAfterTheRecord)
{
    CVLTrace trace;
    const Replaced<"WriteFile", decltype(::WriteFile)> write(
        [&](HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped) {
            EXPECT_EQ(1U, waits.size());
            EXPECT_EQ(0, release.Calls());
            return write.Original(file, data, size, written, overlapped);
        });
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(std::vector<DWORD>{2000}, waits);
    EXPECT_EQ(1, release.Calls());
}

TEST_F(TraceMutex, IsTheNextOnesWhenItsHolderHasEnded)
{
    waited = WAIT_ABANDONED;
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(1, release.Calls());
}

TEST_F(TraceMutex, IsDispensedWithWhenItIsNotToBeHad)
{
    for (const DWORD answer : {DWORD(WAIT_TIMEOUT), DWORD(WAIT_FAILED)}) {
        waited = answer;
        CVLTrace trace;
        EXPECT_EQ(0U, Write(trace));
        EXPECT_EQ(0, release.Calls());
        EXPECT_TRUE(TakeRecord().ends_with(L" 000007 text"));
    }
}

TEST_F(TraceMutex, IsGivenBackHoweverTheRecordFails)
{
    CVLTrace trace;
    {
        const WantedFiles wanted(ERROR_ACCESS_DENIED);
        EXPECT_EQ(5U, Write(trace));
        EXPECT_EQ(1, release.Calls());
    }
    const Replaced<"WriteFile", decltype(::WriteFile)> write([](HANDLE, LPCVOID, DWORD, LPDWORD, LPOVERLAPPED) {
        SetLastError(ERROR_DISK_FULL);
        return FALSE;
    });
    EXPECT_EQ(112U, Write(trace));
    EXPECT_EQ(2, release.Calls());
}

TEST_F(TraceMutex, IsNotWaitedForByARecordThatIsNotWritten)
{
    SetText(L"TraceModuleList", L"OTHER");
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    EXPECT_TRUE(waits.empty());
}

TEST_F(TraceMutex, OfAnotherUserIsOpenedForWaitingAlone)
{
    Set(L"TraceLevel", 100000);
    Set(L"TraceFunctionName", 1);
    const Replaced<"CreateMutexW", decltype(::CreateMutexW)> create([](LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR) -> HANDLE {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    });
    const Replaced<"OpenMutexW", decltype(::OpenMutexW)> open([](DWORD access, BOOL inherit, LPCWSTR name) {
        EXPECT_EQ(static_cast<DWORD>(SYNCHRONIZE), access);
        EXPECT_EQ(FALSE, inherit);
        EXPECT_STREQ(L"Global\\VL140_LogFileMutex", name);
        return CreateEventW(nullptr, FALSE, FALSE, nullptr);
    });
    CVLTrace trace;
    EXPECT_EQ(1, open.Calls());
    EXPECT_EQ(Lines{L"Call to CreateMutex() failed.  Microsoft Error Code = 5"}, Messages());
    EXPECT_TRUE(waits.empty()); // there was none yet
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(1U, waits.size());
    EXPECT_EQ(1, release.Calls());
}

class MissingTraceMutex : public TraceMutex {
protected:
    DWORD createError = 0;
    DWORD openError = 0;
    Replaced<"CreateMutexW", decltype(::CreateMutexW)> create{[this](LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR) -> HANDLE {
        SetLastError(createError);
        return nullptr;
    }};
    Replaced<"OpenMutexW", decltype(::OpenMutexW)> open{[this](DWORD, BOOL, LPCWSTR) -> HANDLE {
        SetLastError(openError);
        return nullptr;
    }};
};

TEST_F(MissingTraceMutex, IsToldAtTheHighestLevelAndDispensedWith)
{
    Set(L"TraceLevel", 100000);
    Set(L"TraceFunctionName", 1);
    createError = ERROR_ACCESS_DENIED;
    openError = ERROR_FILE_NOT_FOUND;
    CVLTrace trace;
    EXPECT_EQ((Lines{L"Call to CreateMutex() failed.  Microsoft Error Code = 5",
                     L"Call to OpenMutex() failed.  Microsoft Error Code = 2",
                     L"Mutex could not be successfully created or opened. Log file I/O will NOT be mutexed."}),
              Messages());
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(4U, Records().size());
    EXPECT_TRUE(waits.empty());
    EXPECT_EQ(0, release.Calls());
}

TEST_F(MissingTraceMutex, IsOpenedOnlyWhereAccessWasDenied)
{
    Set(L"TraceLevel", 100000);
    Set(L"TraceFunctionName", 1);
    createError = ERROR_INVALID_HANDLE;
    const CVLTrace trace;
    EXPECT_EQ(0, open.Calls());
    EXPECT_EQ((Lines{L"Call to CreateMutex() failed.  Microsoft Error Code = 6",
                     L"Mutex could not be successfully created or opened. Log file I/O will NOT be mutexed."}),
              Messages());
}

TEST_F(MissingTraceMutex, IsNotMadeWithoutASecurityDescriptor)
{
    Set(L"TraceLevel", 100000);
    Set(L"TraceFunctionName", 1);
    int calls = 0;
    const Replaced<"ConvertStringSecurityDescriptorToSecurityDescriptorW",
                   decltype(::ConvertStringSecurityDescriptorToSecurityDescriptorW)>
        convert([&](LPCWSTR text, DWORD revision, PSECURITY_DESCRIPTOR* descriptor, PULONG size) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return ++calls == 1 ? FALSE : convert.Original(text, revision, descriptor, size);
        });
    const CVLTrace trace;
    EXPECT_EQ(0, create.Calls());
    EXPECT_EQ((Lines{L"Call to CreateMutex() failed.  Microsoft Error Code = 8",
                     L"Mutex could not be successfully created or opened. Log file I/O will NOT be mutexed."}),
              Messages());
}

TEST_F(MissingTraceMutex, IsToldNobodyBelowThatLevel)
{
    Set(L"TraceLevel", 99999);
    createError = ERROR_ACCESS_DENIED;
    const CVLTrace trace;
    EXPECT_TRUE(Files().empty());
}

// --- Several processes ---

class SharedTraceLog : public TraceLog {
protected:
    // Another of the product's programs.
    class Program {
    public:
        // The program's standard input ends with the object.
        explicit Program(const std::wstring& arguments)
        {
            SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
            win::KernelHandle input;
            EXPECT_NE(FALSE, CreatePipe(input.Put(), input_.Put(), &inherited, 0));
            EXPECT_NE(FALSE, SetHandleInformation(input_.Get(), HANDLE_FLAG_INHERIT, 0));
            STARTUPINFOW startup{};
            startup.cb = sizeof startup;
            startup.dwFlags = STARTF_USESTDHANDLES;
            startup.hStdInput = input.Get();
            startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
            startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
            std::wstring command = L"\"" + Path() + L"\" " + arguments;
            PROCESS_INFORMATION made{};
            EXPECT_NE(FALSE, CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                            &startup, &made));
            process_.Reset(made.hProcess);
            CloseHandle(made.hThread);
        }

        // Ends the program's input and waits for its end; the exit code.
        DWORD Finish()
        {
            input_.Reset();
            constexpr DWORD kTooLong = 100'000;
            EXPECT_EQ(static_cast<DWORD>(WAIT_OBJECT_0), WaitForSingleObject(process_.Get(), kTooLong));
            DWORD code = STILL_ACTIVE;
            GetExitCodeProcess(process_.Get(), &code);
            return code;
        }

    private:
        // It stands beside the test program.
        static std::wstring Path()
        {
            std::wstring path(1024, L'\0');
            auto length = static_cast<DWORD>(path.size());
            EXPECT_NE(FALSE, QueryFullProcessImageNameW(GetCurrentProcess(), 0, path.data(), &length));
            path.resize(length);
            return (std::filesystem::path(path).parent_path() / L"trace_writer.exe").wstring();
        }

        win::KernelHandle process_;
        win::KernelHandle input_;
    };

    [[nodiscard]] std::wstring ArgumentsOf(const std::wstring& label, int count) const
    {
        return L"\"" + folder.Path() + L"\" " + mutexName + L" " + goName + L" " + label + L" " +
               std::to_wstring(count);
    }

    std::wstring goName = mutexName + L"_go";
    win::KernelHandle go{CreateEventW(nullptr, TRUE, FALSE, goName.c_str())};

    void TearDown() override
    {
        go.Reset();
        TraceLog::TearDown();
    }
};

TEST_F(SharedTraceLog, LosesNoRecordAndTearsNoneWhenTwoProgramsWriteAtOnce)
{
    constexpr int kRecords = 10'000;
    Program first(ArgumentsOf(L"first", kRecords));
    Program second(ArgumentsOf(L"second", kRecords));
    SetEvent(go.Get());
    EXPECT_EQ(0U, first.Finish());
    EXPECT_EQ(0U, second.Finish());

    // 20,000 records of some 150 characters are more than the 5 MB that a file takes.
    const std::set<std::wstring> files = Files();
    EXPECT_EQ(2U, files.size());
    std::map<std::wstring, int> texts;
    for (const std::wstring& name : files) {
        for (const std::wstring& record : LinesOf(ReadTraceFile(folder.PathOf(name)))) {
            const std::size_t at = record.rfind(L" trace_writer                     "); // its source file
            ASSERT_NE(std::wstring::npos, at) << ::testing::PrintToString(record);
            // The line number is the record's own.
            ++texts[record.substr(at + 34)];
        }
    }
    EXPECT_EQ(2U * kRecords, texts.size());
    for (const wchar_t* const label : {L"first", L"second"}) {
        for (int number = 1; number <= kRecords; ++number) {
            wchar_t expected[40] = {};
            swprintf(expected, 40, L"%06d %ls %d", number, label, number);
            ASSERT_EQ(1, texts[expected]) << ::testing::PrintToString(std::wstring(expected));
        }
    }
}

TEST_F(SharedTraceLog, IsWrittenAfterTwoSecondsThoughAnotherProgramHoldsTheMutex)
{
    CVLTrace trace;
    Program holder(ArgumentsOf(L"holder", 0));
    WaitForSingleObject(go.Get(), INFINITE);
    const Replaced<"ReleaseMutex", decltype(::ReleaseMutex)> release([](HANDLE) { return TRUE; });
    const ULONGLONG before = GetTickCount64();
    EXPECT_EQ(0U, Write(trace));
    EXPECT_GE(GetTickCount64() - before, 1900U); // the clock's ticks are coarse
    EXPECT_EQ(1U, Records().size());
    EXPECT_EQ(0, release.Calls());
    EXPECT_EQ(0U, holder.Finish());
    // Its holder has ended without giving it back, and it is free again.
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(1, release.Calls());
}

} // namespace
