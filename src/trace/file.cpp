#include "trace/file.h"

#include "trace/record.h"
#include "win/security.h"
#include "win/shell_folders.h"

#include <algorithm>

#include <product_version.h>

namespace trace {

namespace {

constexpr wchar_t kProductFolder[] = L"\\Kestrane\\Velundra\\" PRODUCT_VERSION;
constexpr wchar_t kFileName[] = L"\\Velundra_TraceLog";
constexpr wchar_t kExtension[] = L".txt";
constexpr wchar_t kByteOrderMark = L'\xFEFF';

constexpr std::uint32_t kKilo = 1024;
constexpr std::uint32_t kSmallestLimit = 5 * kKilo * kKilo; // bytes

std::wstring PathIn(const std::wstring& directory)
{
    return directory + kFileName + kExtension;
}

std::wstring RollOverName(const std::wstring& directory, const FILETIME& lastWrite)
{
    SYSTEMTIME time{};
    FileTimeToSystemTime(&lastWrite, &time);
    return directory + kFileName +
           Format(L"_%04d-%02d-%02d %02d%02d%02d %03d", time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute,
                  time.wSecond, time.wMilliseconds) +
           kExtension;
}

// The limit in bytes.
std::uint32_t SizeLimit(std::uint32_t maxSize) noexcept
{
    // The product of sizes above 4095 MB wraps in 32 bits; the smallest limit makes up for it.
    return std::max(maxSize * kKilo * kKilo, kSmallestLimit);
}

// Writes at the file's end as it is when Windows writes: what another program has appended meanwhile is not
// overwritten.
std::uint32_t WriteAtEnd(HANDLE file, std::wstring_view text) noexcept
{
    constexpr DWORD kEndOfFile = 0xFFFFFFFF;
    OVERLAPPED place{};
    place.Offset = kEndOfFile;
    place.OffsetHigh = kEndOfFile;
    const auto size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    DWORD written = 0;
    if (WriteFile(file, text.data(), size, &written, &place) == FALSE) {
        return GetLastError();
    }
    return written == size ? ERROR_SUCCESS : ERROR_DISK_FULL;
}

} // namespace

std::wstring DefaultDirectory()
{
    const std::wstring folder = win::CommonApplicationDataFolder();
    return (folder.empty() ? L"C:\\" : folder) + kProductFolder;
}

std::uint32_t File::Append(const std::wstring& directory, std::uint32_t maxSize, std::wstring_view line)
{
    std::wstring place = directory;
    win::FileHandle file;
    if (const std::uint32_t error = OpenOrMakeDirectory(place, file); error != ERROR_SUCCESS) {
        return error;
    }
    LARGE_INTEGER size{};
    if (SetFilePointerEx(file.Get(), {}, &size, FILE_END) == FALSE) {
        return GetLastError();
    }
    FILETIME lastWrite{};
    const bool isFull =
        size.QuadPart >= SizeLimit(maxSize) && GetFileTime(file.Get(), nullptr, nullptr, &lastWrite) != FALSE;
    if (size.QuadPart == 0) {
        if (const std::uint32_t error = WriteAtEnd(file.Get(), {&kByteOrderMark, 1}); error != ERROR_SUCCESS) {
            return error;
        }
    }
    if (const std::uint32_t error = WriteAtEnd(file.Get(), line); error != ERROR_SUCCESS) {
        return error;
    }
    file.Reset();
    if (isFull) {
        // Where the file cannot be moved, it grows on.
        MoveFileW(PathIn(place).c_str(), RollOverName(place, lastWrite).c_str());
    }
    return ERROR_SUCCESS;
}

// Gives the directory in which the file was opened: the one that was asked for, or the system drive's root where that
// has a name of which no folder can be made.
std::uint32_t File::OpenOrMakeDirectory(std::wstring& directory, win::FileHandle& file)
{
    if (const std::uint32_t error = Open(directory, file); error != ERROR_PATH_NOT_FOUND) {
        return error;
    }
    if (win::CreateFolders(directory) == ERROR_BAD_PATHNAME) {
        directory = L"C:";
    }
    return Open(directory, file);
}

std::uint32_t File::Open(const std::wstring& directory, win::FileHandle& file)
{
    if (!everyone_) {
        if (const std::uint32_t error = win::MakeAccessByEveryone(everyone_); error != ERROR_SUCCESS) {
            return error;
        }
    }
    SECURITY_ATTRIBUTES security{sizeof security, everyone_.Get(), FALSE};
    file.Reset(CreateFileW(PathIn(directory).c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                           &security, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file ? ERROR_SUCCESS : GetLastError();
}

} // namespace trace
