#include "function_table.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace faults {

namespace {

// With these every function and method fails that returns an HRESULT: as the engine's errors begin and as Windows'
// errors begin, with nothing in their low 16 bits; without memory; at the end of the other side; refused; unreachable.
constexpr HRESULT kFailingResults[] = {
    static_cast<HRESULT>(0x80040000), E_OUTOFMEMORY,  RPC_E_DISCONNECTED,
    static_cast<HRESULT>(0x80070000), E_ACCESSDENIED, static_cast<HRESULT>(0x800706BA),
};

constexpr DWORD kNoMemory = ERROR_NOT_ENOUGH_MEMORY;
constexpr Function::Nothing kNoText{0, 1, sizeof(BSTR)};
constexpr Function::Nothing kNoObject{0, 1, sizeof(void*)};

constexpr Function kFunctions[] = {
    // advapi32
    {.name = "ConvertStringSecurityDescriptorToSecurityDescriptorW",
     .errors = {ERROR_INVALID_PARAMETER, kNoMemory},
     .gives = Kind::LocalMemory,
     .givesAt = 2},
    {.name = "GetSecurityDescriptorDacl", .errors = {ERROR_INVALID_SECURITY_DESCR}},
    {.name = "GetUserNameW", .errors = {ERROR_NO_SUCH_LOGON_SESSION, ERROR_INSUFFICIENT_BUFFER}},
    {.name = "RegCloseKey", .returns = Returns::Status, .errors = {ERROR_INVALID_HANDLE}, .takes = Kind::Key},
    {.name = "RegEnumKeyExW",
     .returns = Returns::Status,
     .errors = {ERROR_NO_MORE_ITEMS, ERROR_MORE_DATA, ERROR_ACCESS_DENIED, ERROR_KEY_DELETED}},
    {.name = "RegEnumValueW",
     .returns = Returns::Status,
     .errors = {ERROR_NO_MORE_ITEMS, ERROR_MORE_DATA, ERROR_ACCESS_DENIED, ERROR_KEY_DELETED}},
    {.name = "RegOpenKeyExW",
     .returns = Returns::Status,
     .errors = {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_NO_SYSTEM_RESOURCES},
     .gives = Kind::Key,
     .givesAt = 4},
    {.name = "RegQueryValueExW",
     .returns = Returns::Status,
     .errors = {ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA, ERROR_ACCESS_DENIED, ERROR_KEY_DELETED}},
    // kernel32
    {.name = "CloseHandle", .errors = {ERROR_INVALID_HANDLE}, .takes = Kind::Handle},
    {.name = "CompareStringOrdinal", .errors = {ERROR_INVALID_PARAMETER}},
    {.name = "CreateEventW", .errors = {ERROR_NO_SYSTEM_RESOURCES, ERROR_ACCESS_DENIED}, .gives = Kind::Handle},
    {.name = "CreateFileW",
     .returns = Returns::InvalidHandle,
     .errors = {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_NOT_READY},
     .gives = Kind::Handle},
    {.name = "CreateMutexW", .errors = {ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE}, .gives = Kind::Handle},
    {.name = "CreateThread", .errors = {kNoMemory, ERROR_MAX_THRDS_REACHED}, .gives = Kind::Handle},
    {.name = "DeviceIoControl", .errors = {ERROR_ACCESS_DENIED, ERROR_INVALID_FUNCTION, ERROR_NOT_READY}},
    {.name = "FileTimeToSystemTime", .errors = {ERROR_INVALID_PARAMETER}},
    {.name = "FindClose", .errors = {ERROR_INVALID_HANDLE}, .takes = Kind::FileSearch},
    {.name = "FindFirstFileW",
     .returns = Returns::InvalidHandle,
     .errors = {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED},
     .gives = Kind::FileSearch},
    {.name = "FindFirstVolumeMountPointW",
     .returns = Returns::InvalidHandle,
     .errors = {ERROR_NO_MORE_FILES, ERROR_ACCESS_DENIED, ERROR_NOT_READY},
     .gives = Kind::MountPointSearch},
    {.name = "FindFirstVolumeW",
     .returns = Returns::InvalidHandle,
     .errors = {ERROR_NO_MORE_FILES, ERROR_ACCESS_DENIED},
     .gives = Kind::VolumeSearch},
    {.name = "FindNextVolumeMountPointW", .errors = {ERROR_NO_MORE_FILES, ERROR_FILENAME_EXCED_RANGE}},
    {.name = "FindNextVolumeW", .errors = {ERROR_NO_MORE_FILES, ERROR_FILENAME_EXCED_RANGE}},
    {.name = "FindVolumeClose", .errors = {ERROR_INVALID_HANDLE}, .takes = Kind::VolumeSearch},
    {.name = "FindVolumeMountPointClose", .errors = {ERROR_INVALID_HANDLE}, .takes = Kind::MountPointSearch},
    {.name = "FormatMessageW", .errors = {ERROR_MR_MID_NOT_FOUND, kNoMemory}},
    {.name = "GetComputerNameW", .errors = {ERROR_BUFFER_OVERFLOW}},
    {.name = "GetConsoleMode", .errors = {ERROR_INVALID_HANDLE}},
    {.name = "GetConsoleOutputCP", .errors = {ERROR_INVALID_HANDLE}},
    {.name = "GetDateFormatW", .errors = {ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_PARAMETER}},
    {.name = "GetDiskFreeSpaceExW", .errors = {ERROR_ACCESS_DENIED, ERROR_NOT_READY}},
    {.name = "GetDiskFreeSpaceW", .errors = {ERROR_ACCESS_DENIED, ERROR_NOT_READY}},
    {.name = "GetDriveTypeW", .errors = {ERROR_NOT_READY}}, // 0 is DRIVE_UNKNOWN
    {.name = "GetExitCodeThread", .errors = {ERROR_INVALID_HANDLE}},
    {.name = "GetFileTime", .errors = {ERROR_ACCESS_DENIED}},
    {.name = "GetFullPathNameW", .errors = {ERROR_INVALID_NAME, kNoMemory}},
    {.name = "GetLogicalDriveStringsW", .errors = {ERROR_ACCESS_DENIED}},
    {.name = "GetModuleFileNameW", .errors = {ERROR_MOD_NOT_FOUND, kNoMemory}},
    {.name = "GetModuleHandleW", .errors = {ERROR_MOD_NOT_FOUND}},
    {.name = "GetProcAddress", .errors = {ERROR_PROC_NOT_FOUND}},
    {.name = "GetStdHandle", .returns = Returns::InvalidHandle, .errors = {ERROR_INVALID_HANDLE}},
    {.name = "GetSystemDirectoryW", .errors = {kNoMemory}},
    {.name = "GetTimeFormatW", .errors = {ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_PARAMETER}},
    {.name = "GetVersionExW", .errors = {ERROR_INSUFFICIENT_BUFFER}},
    {.name = "GetVolumeInformationW", .errors = {ERROR_ACCESS_DENIED, ERROR_NOT_READY, ERROR_UNRECOGNIZED_VOLUME}},
    {.name = "GetVolumeNameForVolumeMountPointW", .errors = {ERROR_NOT_A_REPARSE_POINT, ERROR_ACCESS_DENIED}},
    {.name = "GetWindowsDirectoryW", .errors = {kNoMemory}},
    {.name = "GlobalAlloc", .errors = {kNoMemory}},
    {.name = "GlobalMemoryStatusEx", .errors = {ERROR_INVALID_PARAMETER}},
    {.name = "K32EnumProcessModules", .errors = {ERROR_PARTIAL_COPY, ERROR_ACCESS_DENIED}},
    {.name = "K32EnumProcesses",
     .errors = {ERROR_ACCESS_DENIED, kNoMemory},
     .nothing = Function::Nothing{TRUE, 2, sizeof(DWORD)}},
    {.name = "K32GetModuleBaseNameW", .errors = {ERROR_PARTIAL_COPY, ERROR_ACCESS_DENIED}},
    {.name = "K32GetModuleFileNameExW", .errors = {ERROR_PARTIAL_COPY, ERROR_ACCESS_DENIED}},
    {.name = "LoadLibraryExW", .errors = {ERROR_MOD_NOT_FOUND, kNoMemory}},
    {.name = "LocalAlloc", .errors = {kNoMemory}, .gives = Kind::LocalMemory},
    {.name = "MoveFileW", .errors = {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION}},
    {.name = "MultiByteToWideChar", .errors = {ERROR_INVALID_PARAMETER}},
    {.name = "OpenMutexW", .errors = {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}, .gives = Kind::Handle},
    {.name = "OpenProcess", .errors = {ERROR_ACCESS_DENIED, ERROR_INVALID_PARAMETER}, .gives = Kind::Handle},
    {.name = "QueryDosDeviceW", .errors = {ERROR_FILE_NOT_FOUND, ERROR_INSUFFICIENT_BUFFER}},
    {.name = "ReadFile", .errors = {ERROR_CRC, ERROR_NOT_READY}, .nothing = Function::Nothing{TRUE, 3, sizeof(DWORD)}},
    {.name = "ReleaseMutex", .errors = {ERROR_NOT_OWNER}},
    {.name = "ResetEvent", .errors = {ERROR_INVALID_HANDLE}},
    {.name = "SetConsoleCtrlHandler", .errors = {ERROR_ACCESS_DENIED, kNoMemory}},
    {.name = "SetFilePointerEx", .errors = {ERROR_INVALID_PARAMETER}},
    {.name = "SystemTimeToTzSpecificLocalTime", .errors = {ERROR_INVALID_PARAMETER}},
    {.name = "WaitForMultipleObjects", .returns = Returns::WaitFailed, .errors = {ERROR_INVALID_HANDLE}},
    {.name = "WaitForSingleObject", .returns = Returns::WaitFailed, .errors = {ERROR_INVALID_HANDLE}},
    {.name = "WideCharToMultiByte", .errors = {ERROR_INVALID_PARAMETER}},
    {.name = "WriteConsoleW", .errors = {kNoMemory, ERROR_GEN_FAILURE}},
    {.name = "WriteFile", .errors = {ERROR_DISK_FULL, ERROR_BROKEN_PIPE}},
    // ole32
    {.name = "CLSIDFromProgID", .returns = Returns::Result},
    {.name = "CoCreateInstance", .returns = Returns::Result, .nothing = Function::Nothing{0, 4, sizeof(void*)}},
    {.name = "CoCreateInstanceEx", .returns = Returns::Result},
    {.name = "CoInitializeEx", .returns = Returns::Result},
    {.name = "CoInitializeSecurity", .returns = Returns::Result},
    {.name = "CoSetProxyBlanket", .returns = Returns::Result},
    {.name = "CreateStreamOnHGlobal", .returns = Returns::Result},
    {.name = "GetErrorInfo", .returns = Returns::Result},
    {.name = "SetErrorInfo", .returns = Returns::Result},
    // oleaut32
    {.name = "SafeArrayAccessData", .returns = Returns::Result},
    {.name = "SafeArrayCreateVector", .errors = {kNoMemory}, .gives = Kind::Array},
    {.name = "SysAllocStringLen", .errors = {kNoMemory}, .gives = Kind::Text},
    {.name = "SystemTimeToVariantTime", .errors = {ERROR_INVALID_PARAMETER}},
    {.name = "VariantChangeType", .returns = Returns::Result},
    {.name = "VariantTimeToSystemTime", .errors = {ERROR_INVALID_PARAMETER}},
    // user32
    {.name = "CharUpperBuffW", .errors = {ERROR_INVALID_PARAMETER}},
    // looked up by name
    {.name = "EnterCriticalPolicySection", .errors = {ERROR_ACCESS_DENIED}},
    {.name = "GetFileVersionInfoSizeW", .errors = {ERROR_RESOURCE_TYPE_NOT_FOUND, ERROR_FILE_NOT_FOUND}},
    {.name = "GetFileVersionInfoW", .errors = {ERROR_RESOURCE_TYPE_NOT_FOUND, kNoMemory}},
    {.name = "IsWow64Process", .errors = {ERROR_ACCESS_DENIED}},
    {.name = "LeaveCriticalPolicySection", .errors = {ERROR_INVALID_HANDLE}},
    {.name = "RegisterGPNotification", .errors = {ERROR_ACCESS_DENIED}},
    {.name = "SetDefaultDllDirectories", .errors = {ERROR_INVALID_PARAMETER}},
    {.name = "SHCreateDirectoryExW",
     .returns = Returns::Status,
     .errors = {ERROR_ALREADY_EXISTS, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_FILE_EXISTS}},
    {.name = "SHGetFolderPathW", .returns = Returns::Result},
    {.name = "UnregisterGPNotification", .errors = {ERROR_INVALID_HANDLE}},
    {.name = "VerQueryValueW", .errors = {ERROR_RESOURCE_TYPE_NOT_FOUND}},
    // the engine
    {.name = "IVLAgent::GetDriveList",
     .returns = Returns::Result,
     .nothing = kNoText,
     .gives = Kind::Text,
     .givesAt = 1},
    {.name = "IVLAgent::GetDrive", .returns = Returns::Result, .nothing = Function::Nothing{0, 2, sizeof(void*)}},
    {.name = "IVLAgent::Analyze", .returns = Returns::Result},
    {.name = "IVLAgent::OptimizeOnline", .returns = Returns::Result},
    {.name = "IVLAgent::DefragFile", .returns = Returns::Result},
    {.name = "IVLAgent::PrepareOffline", .returns = Returns::Result},
    {.name = "IVLAgent::ScheduleBootTime", .returns = Returns::Result},
    {.name = "IVLAgent::CancelBootTime", .returns = Returns::Result},
    {.name = "IVLAgent::OptimizeOffline", .returns = Returns::Result},
    {.name = "IVLAgent::StopDrive", .returns = Returns::Result},
    {.name = "IVLAgent::StopAll", .returns = Returns::Result},
    {.name = "IVLAgent::CheckAccess", .returns = Returns::Result},
    {.name = "IVLAgent::GetFileNameById",
     .returns = Returns::Result,
     .nothing = Function::Nothing{0, 3, sizeof(BSTR)},
     .gives = Kind::Text,
     .givesAt = 3},
    {.name = "IVLAgent::GetStatistics", .returns = Returns::Result, .nothing = Function::Nothing{0, 4, sizeof(void*)}},
    {.name = "IVLDrive::GetDriveName",
     .returns = Returns::Result,
     .nothing = kNoText,
     .gives = Kind::Text,
     .givesAt = 1},
    {.name = "IVLDrive::GetMountPoint",
     .returns = Returns::Result,
     .nothing = kNoText,
     .gives = Kind::Text,
     .givesAt = 1},
    {.name = "IVLDrive::GetOfflineFileTypes", .returns = Returns::Result},
    {.name = "IVLDrive::GetState", .returns = Returns::Result},
    {.name = "IVLService::GetSchedule", .returns = Returns::Result, .nothing = kNoObject},
    {.name = "IVLRefresh::Refresh", .returns = Returns::Result},
    {.name = "IVLSchedule::RunByName", .returns = Returns::Result},
    {.name = "IVLStatistics::GetInteger", .returns = Returns::Result},
    {.name = "IVLStatistics::GetDouble", .returns = Returns::Result},
    // ADO
    {.name = "IDispatch::GetIDsOfNames", .returns = Returns::Result},
    {.name = "IDispatch::Invoke", .returns = Returns::Result, .nothing = Function::Nothing{0, 6, sizeof(VARTYPE)}},
};

constexpr char kNoResult[] = "its documentation knows no failure";
constexpr char kRuntime[] = "the compiler's runtime alone calls it, for threads, locks and exceptions";
constexpr char kGivesBack[] = "it gives back what the program holds";

constexpr Exemption kExemptions[] = {
    {"AddVectoredExceptionHandler", kRuntime},
    {"CoUninitialize", kNoResult},
    {"CreateEventA", kRuntime},
    {"CreateSemaphoreA", kRuntime},
    {"DeleteCriticalSection", kNoResult},
    {"DuplicateHandle", kRuntime},
    {"EnterCriticalSection", kNoResult},
    {"FormatMessageA", kRuntime},
    {"GetCurrentProcess", kNoResult},
    {"GetCurrentProcessId", kNoResult},
    {"GetCurrentThread", kRuntime},
    {"GetCurrentThreadId", kNoResult},
    {"GetErrorMode", kNoResult},
    {"GetHandleInformation", kRuntime},
    {"GetLastError", kNoResult},
    {"GetLocalTime", kNoResult},
    {"GetProcessAffinityMask", kRuntime},
    {"GetStartupInfoW", kNoResult},
    {"GetSystemMetrics", "0 is an answer, too: a computer that was started in the ordinary way"},
    {"GetSystemTime", kNoResult},
    {"GetSystemTimeAsFileTime", kNoResult},
    {"GetThreadContext", kRuntime},
    {"GetThreadPriority", kRuntime},
    {"GetTickCount64", kNoResult},
    {"GlobalFree", kGivesBack},
    {"InitializeCriticalSection", kNoResult},
    {"InitializeCriticalSectionAndSpinCount", "from Windows Vista on it succeeds always"},
    {"IsDBCSLeadByteEx", kRuntime},
    {"IsDebuggerPresent", kRuntime},
    {"LeaveCriticalSection", kNoResult},
    {"LoadLibraryW", kRuntime},
    {"LocalFree", kGivesBack, Kind::LocalMemory},
    {"OutputDebugStringA", kRuntime},
    {"RaiseException", kRuntime},
    {"ReleaseSemaphore", kRuntime},
    {"RemoveVectoredExceptionHandler", kRuntime},
    {"ResumeThread", kRuntime},
    {"RtlCaptureContext", kRuntime},
    {"RtlLookupFunctionEntry", kRuntime},
    {"RtlUnwindEx", kRuntime},
    {"RtlVirtualUnwind", kRuntime},
    {"SafeArrayDestroy", kGivesBack},
    {"SafeArrayGetDim", kNoResult},
    {"SafeArrayUnaccessData", kGivesBack},
    {"SetErrorMode", kNoResult},
    {"SetEvent", "whoever waits for the event would wait without an end, and nothing else could wake it"},
    {"SetLastError", kNoResult},
    {"SetProcessAffinityMask", kRuntime},
    {"SetThreadContext", kRuntime},
    {"SetThreadPriority", kRuntime},
    {"SetUnhandledExceptionFilter", kNoResult},
    {"Sleep", kNoResult},
    {"SuspendThread", kRuntime},
    {"SysFreeString", kNoResult, Kind::Text},
    {"SysStringLen", kNoResult},
    {"TlsAlloc", kRuntime},
    {"TlsGetValue", kRuntime},
    {"TlsSetValue", kRuntime},
    {"TryEnterCriticalSection", kRuntime},
    {"VariantClear", kGivesBack},
    {"VirtualProtect", kRuntime},
    {"VirtualQuery", kRuntime},
    {"__C_specific_handler", kRuntime},
};

std::string NumberText(DWORD error)
{
    constexpr DWORD kMostDecimal = 0xFFFF;
    char text[16] = {};
    std::snprintf(text, sizeof text, error > kMostDecimal ? "0x%08lX" : "%lu", error);
    return text;
}

std::uint64_t FailureOf(Returns returns, DWORD error)
{
    switch (returns) {
    case Returns::InvalidHandle:
        return ~std::uint64_t{0};
    case Returns::WaitFailed:
        return WAIT_FAILED;
    case Returns::Status:
    case Returns::Result:
        return error;
    case Returns::Zero:
        break;
    }
    return 0;
}

} // namespace

const char* NameOf(Kind kind)
{
    constexpr const char* kNames[] = {"nothing",
                                      "handles",
                                      "registry keys",
                                      "searches for files",
                                      "searches for volumes",
                                      "searches for mount points",
                                      "local memory",
                                      "arrays",
                                      "texts",
                                      "objects"};
    static_assert(std::size(kNames) == kKinds);
    return kNames[static_cast<std::size_t>(kind)];
}

std::span<const Function> Functions()
{
    return kFunctions;
}

std::optional<std::size_t> FindFunction(std::string_view name)
{
    const auto* const found =
        std::ranges::find_if(kFunctions, [&](const Function& function) { return function.name == name; });
    return found == std::end(kFunctions) ? std::nullopt
                                         : std::optional(static_cast<std::size_t>(found - std::begin(kFunctions)));
}

std::span<const Exemption> Exemptions()
{
    return kExemptions;
}

std::vector<Way> WaysOf(const Function& function)
{
    std::vector<Way> ways;
    if (function.returns == Returns::Result) {
        for (const HRESULT result : kFailingResults) {
            const auto code = static_cast<DWORD>(result);
            ways.push_back({NumberText(code), code, std::nullopt, std::nullopt});
        }
    }
    for (const DWORD error : function.errors) {
        if (error != ERROR_SUCCESS) {
            const bool isStatus = function.returns == Returns::Status;
            ways.push_back({NumberText(error), FailureOf(function.returns, error),
                            isStatus ? std::nullopt : std::optional(error), std::nullopt});
        }
    }
    if (function.nothing) {
        ways.push_back({"nothing", function.nothing->returned, std::nullopt, function.nothing});
    }
    return ways;
}

} // namespace faults
