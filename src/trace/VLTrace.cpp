#include "trace/VLTrace.h"

#include "support/registry.h"
#include "win/security.h"
#include "win/shell_folders.h"
#include "win/system.h"
#include "win/text.h"

#include <algorithm>
#include <cstdarg>
#include <cwchar>
#include <exception>
#include <mutex>

namespace {

constexpr wchar_t kSource[] = L"VLTrace";
constexpr wchar_t kConstructor[] = L"CVLTrace::CVLTrace";
constexpr std::uint32_t kMutexLevel = 100000; // of messages about the mutex

constexpr wchar_t kMutexName[] = L"Global\\VL140_LogFileMutex";
constexpr DWORD kMutexPatience = 2000; // milliseconds

constexpr wchar_t kProductFolder[] = L"\\Kestrane\\Velundra\\14.0";
constexpr wchar_t kFileName[] = L"\\Velundra_TraceLog";
constexpr wchar_t kExtension[] = L".txt";
constexpr wchar_t kByteOrderMark = L'\xFEFF';

constexpr std::uint32_t kKilo = 1024;
constexpr std::uint32_t kSmallestLimit = 5 * kKilo * kKilo; // bytes

constexpr std::size_t kNameColumn = 16;
constexpr std::size_t kSourceColumn = 32;
constexpr std::size_t kKeptOfLongName = 13;

constexpr DWORD kUserNameSize = 520;
constexpr DWORD kProgramPathSize = 4096;

// What wprintf would write. The runtime's own formatting, for it alone tells how long its text is going to be.
std::wstring PrintList(const wchar_t* format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    const int length = _vscwprintf(format, again);
    va_end(again);
    if (length <= 0) {
        return {};
    }
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    _vsnwprintf_s(text.data(), text.size() + 1, text.size(), format, arguments);
    return text;
}

std::wstring Print(const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::wstring text = PrintList(format, arguments);
    va_end(arguments);
    return text;
}

// The text in a column: filled up with blanks, or cut, to the same few characters whatever the column's width.
std::wstring Column(std::wstring_view text, std::size_t width)
{
    if (text.size() > width) {
        return std::wstring(text.substr(0, kKeptOfLongName)) + L"...";
    }
    std::wstring column(text);
    column.resize(width, L' ');
    return column;
}

std::wstring UserName()
{
    wchar_t name[kUserNameSize + 1] = {};
    DWORD size = kUserNameSize;
    return GetUserNameW(name, &size) != FALSE ? name : std::wstring();
}

std::wstring ProgramName()
{
    std::wstring path(kProgramPathSize, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), kProgramPathSize));
    return std::wstring(win::BaseName(path));
}

std::wstring DefaultDirectory()
{
    const std::wstring folder = win::CommonApplicationDataFolder();
    return (folder.empty() ? L"C:\\" : folder) + kProductFolder;
}

// The mutex that one of the product's programs at a time holds while it writes; after a while the write goes on
// without it.
class MutexHold {
public:
    explicit MutexHold(HANDLE mutex) noexcept : mutex_(mutex)
    {
        if (mutex_ != nullptr) {
            const DWORD waited = WaitForSingleObject(mutex_, kMutexPatience);
            // A program that ended without giving the mutex back leaves it to the next one.
            isHeld_ = waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED;
        }
    }
    MutexHold(const MutexHold&) = delete;
    MutexHold(MutexHold&&) = delete;
    ~MutexHold()
    {
        if (isHeld_) {
            ReleaseMutex(mutex_);
        }
    }
    MutexHold& operator=(const MutexHold&) = delete;
    MutexHold& operator=(MutexHold&&) = delete;

private:
    HANDLE mutex_;
    bool isHeld_ = false;
};

std::uint32_t WriteText(HANDLE file, std::wstring_view text) noexcept
{
    const auto size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    DWORD written = 0;
    if (WriteFile(file, text.data(), size, &written, nullptr) == FALSE) {
        return GetLastError();
    }
    return written == size ? ERROR_SUCCESS : ERROR_DISK_FULL;
}

std::wstring RollOverName(const std::wstring& directory, const FILETIME& lastWrite)
{
    SYSTEMTIME time{};
    FileTimeToSystemTime(&lastWrite, &time);
    return directory + kFileName +
           Print(L"_%04d-%02d-%02d %02d%02d%02d %03d", time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute,
                 time.wSecond, time.wMilliseconds) +
           kExtension;
}

// Runs work(), whose memory may run out, where no exception may pass.
template <typename Work>
std::uint32_t WithoutException(Work work) noexcept
{
    try {
        return work();
    } catch (const std::exception&) {
        return ERROR_OUTOFMEMORY;
    }
}

} // namespace

CVLTrace::CVLTrace() noexcept
{
    // Without settings the defaults stand, and nothing is written.
    static_cast<void>(LoadSettings());
    CreateLogMutex();
}

std::uint32_t CVLTrace::LoadSettings() noexcept
{
    const std::lock_guard guard(*this);
    if (isLoaded_) {
        return ERROR_SUCCESS;
    }
    win::RegistryKey key;
    if (const LSTATUS status = RegOpen(HKEY_LOCAL_MACHINE, kCoreKey, KEY_READ, key); status != ERROR_SUCCESS) {
        return static_cast<std::uint32_t>(status);
    }
    return WithoutException([&]() -> std::uint32_t {
        ReadSettings(key.Get());
        isLoaded_ = true;
        return ERROR_SUCCESS;
    });
}

void CVLTrace::ReadSettings(HKEY key)
{
    struct NumberSetting {
        const wchar_t* name;
        std::uint32_t CVLTrace::*value;
    };
    struct TextSetting {
        const wchar_t* name;
        std::wstring CVLTrace::*value;
    };
    static constexpr NumberSetting kNumbers[] = {
        {L"TraceLevel", &CVLTrace::traceLevel_},
        {L"TraceEntryExit", &CVLTrace::traceEntryExit_},
        {L"TraceMaxFileSizeMB", &CVLTrace::maxFileSize_},
    };
    static constexpr TextSetting kTexts[] = {
        {L"TraceFilePath", &CVLTrace::directory_},
        {L"TraceString", &CVLTrace::traceString_},
        {L"TraceModuleList", &CVLTrace::moduleList_},
    };
    // A value that cannot be read leaves its default.
    for (const NumberSetting& setting : kNumbers) {
        static_cast<void>(RegReadDword(key, setting.name, this->*setting.value));
    }
    for (const TextSetting& setting : kTexts) {
        static_cast<void>(RegReadString(key, setting.name, this->*setting.value));
    }
    traceStringUpper_ = win::UpperCase(traceString_);
    moduleListUpper_ = win::UpperCase(moduleList_);
    DWORD size = sizeof traceVector_;
    static_cast<void>(RegReadBinary(key, L"TraceVector", traceVector_.data(), size));
    std::uint32_t functionName = 0;
    static_cast<void>(RegReadDword(key, L"TraceFunctionName", functionName));
    traceFunctionName_ = functionName != 0;
}

void CVLTrace::CreateLogMutex() noexcept
{
    std::uint32_t error = NeedSecurityDescriptor();
    if (error == ERROR_SUCCESS) {
        SECURITY_ATTRIBUTES security{sizeof security, everyone_.Get(), FALSE};
        mutex_.Reset(CreateMutexW(&security, FALSE, kMutexName));
        error = mutex_ ? ERROR_SUCCESS : GetLastError();
    }
    if (mutex_) {
        return;
    }
    TraceMessage(kMutexLevel, kSource, kConstructor, __LINE__,
                 L"Call to CreateMutex() failed.  Microsoft Error Code = %u", error);
    // The mutex of another user's program may be waited for, no more.
    if (error == ERROR_ACCESS_DENIED) {
        mutex_.Reset(OpenMutexW(SYNCHRONIZE, FALSE, kMutexName));
        if (mutex_) {
            return;
        }
        TraceMessage(kMutexLevel, kSource, kConstructor, __LINE__,
                     L"Call to OpenMutex() failed.  Microsoft Error Code = %u", GetLastError());
    }
    TraceMessage(kMutexLevel, kSource, kConstructor, __LINE__,
                 L"Mutex could not be successfully created or opened. Log file I/O will NOT be mutexed.");
}

std::uint32_t CVLTrace::NeedSecurityDescriptor() noexcept
{
    return everyone_ ? ERROR_SUCCESS : win::MakeAccessByEveryone(everyone_);
}

void CVLTrace::NeedNames()
{
    if (hasNames_) {
        return;
    }
    computerName_ = win::LocalComputerName();
    userName_ = UserName();
    programName_ = ProgramName();
    programNameUpper_ = win::UpperCase(programName_);
    if (directory_.empty()) {
        directory_ = DefaultDirectory();
    }
    hasNames_ = true;
}

std::uint32_t CVLTrace::TraceMessage(std::uint32_t level, const wchar_t* source, const wchar_t* function, int line,
                                     const wchar_t* format, ...) noexcept
{
    const std::lock_guard guard(*this);
    if (level > traceLevel_) {
        return ERROR_SUCCESS;
    }
    va_list arguments;
    va_start(arguments, format);
    const std::uint32_t result =
        WithoutException([&] { return TraceWrite({}, source, function, line, PrintList(format, arguments)); });
    va_end(arguments);
    return result;
}

void CVLTrace::TraceOperation(const wchar_t* source, const wchar_t* function, int line, std::wstring_view text) noexcept
{
    // The settings do not change once they have been read, so that this question needs no lock.
    if (traceEntryExit_ != 1) {
        return;
    }
    const std::lock_guard guard(*this);
    static_cast<void>(TraceWrite({}, source, function, line, text));
}

bool CVLTrace::IsTraced(std::wstring_view source)
{
    if (moduleList_.empty()) {
        return true;
    }
    if (source.empty()) {
        return false;
    }
    NeedNames();
    const std::wstring name(win::BaseName(win::UpperCase(source)));
    return moduleListUpper_.find(name) != std::wstring::npos ||
           moduleListUpper_.find(programNameUpper_) != std::wstring::npos;
}

std::uint32_t CVLTrace::TraceWrite(std::wstring_view module, std::wstring_view source, std::wstring_view function,
                                   int line, std::wstring_view text) noexcept
{
    return WithoutException([&]() -> std::uint32_t {
        if (!IsTraced(source)) {
            return ERROR_SUCCESS;
        }
        NeedNames();
        const MutexHold hold(mutex_.Get());
        return WriteLine(Compose(module, source, function, line, text));
    });
}

std::wstring CVLTrace::Compose(std::wstring_view module, std::wstring_view source, std::wstring_view function, int line,
                               std::wstring_view text) const
{
    SYSTEMTIME now{};
    GetLocalTime(&now);
    std::wstring record =
        Print(L"%2.02d/%2.02d/%2.02d %2.02d:%2.02d:%2.02d.%3.03d %ls %ls %ls %ls %05d %05u %ls %06d ", now.wMonth,
              now.wDay, now.wYear, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds, computerName_.c_str(),
              Column(userName_, kNameColumn).c_str(), Column(programName_, kNameColumn).c_str(),
              Column(module, kNameColumn).c_str(), GetCurrentProcessId(), GetCurrentThreadId(),
              Column(win::BaseName(source), kSourceColumn).c_str(), line);
    if (traceFunctionName_) {
        record.append(L"(").append(function).append(L") ");
    }
    return record.append(text).append(L"\r\n");
}

std::uint32_t CVLTrace::WriteLine(std::wstring_view record)
{
    std::wstring directory = directory_;
    win::FileHandle file;
    std::uint32_t error = OpenFile(directory, file);
    if (error == ERROR_PATH_NOT_FOUND) {
        if (win::CreateFolders(directory) == ERROR_BAD_PATHNAME) {
            directory = L"C:";
        }
        error = OpenFile(directory, file);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }

    // What the file was like before this record decides whether it has had its fill.
    LARGE_INTEGER size{};
    if (SetFilePointerEx(file.Get(), {}, &size, FILE_END) == FALSE) {
        return GetLastError();
    }
    FILETIME lastWrite{};
    const bool isFull =
        size.QuadPart >= FileSizeLimit() && GetFileTime(file.Get(), nullptr, nullptr, &lastWrite) != FALSE;
    if (size.QuadPart == 0) {
        error = WriteText(file.Get(), {&kByteOrderMark, 1});
    }
    if (error == ERROR_SUCCESS) {
        error = WriteText(file.Get(), record);
    }
    file.Reset();
    if (error == ERROR_SUCCESS && isFull) {
        // Where the file cannot be moved, it grows on.
        MoveFileW((directory + kFileName + kExtension).c_str(), RollOverName(directory, lastWrite).c_str());
    }
    return error;
}

std::uint32_t CVLTrace::OpenFile(const std::wstring& directory, win::FileHandle& file)
{
    if (const std::uint32_t error = NeedSecurityDescriptor(); error != ERROR_SUCCESS) {
        return error;
    }
    SECURITY_ATTRIBUTES security{sizeof security, everyone_.Get(), FALSE};
    file.Reset(CreateFileW((directory + kFileName + kExtension).c_str(), GENERIC_READ | GENERIC_WRITE,
                           FILE_SHARE_READ | FILE_SHARE_WRITE, &security, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file ? ERROR_SUCCESS : GetLastError();
}

std::uint32_t CVLTrace::FileSizeLimit() const noexcept
{
    // The product of sizes above 4095 MB wraps in 32 bits; the smallest limit makes up for it.
    return std::max(maxFileSize_ * kKilo * kKilo, kSmallestLimit);
}
