#pragma once

#include "trace/VLTrace.h"

#include "support/product_test.h"
#include "support/scratch_folder.h"
#include "support/trace_log.h"

#include <filesystem>
#include <set>
#include <vector>

namespace testing_support::tracing {

using Lines = std::vector<std::wstring>;

inline const std::wstring kSixteenBlanks(16, L' ');
inline constexpr std::uint32_t kMegabyte = 1024 * 1024;
// What a living trace log holds.
inline constexpr char kMutexAlone[] = "handles open: 1\n";

// Whether the list of rights is missing or has at least the one entry that everyone needs.
inline bool IsOpenToEveryone(const SECURITY_ATTRIBUTES& security)
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

} // namespace testing_support::tracing
