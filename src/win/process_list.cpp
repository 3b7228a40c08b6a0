#include "win/process_list.h"

#include "win/owner.h"
#include "win/text.h"

#include <algorithm>
#include <string>
#include <vector>

#include <psapi.h>

namespace win {

namespace {

constexpr std::size_t kMostProcesses = 2048;
constexpr DWORD kPathLength = 1025;

// The name of a process's program file without its folder; empty when it cannot be had.
std::wstring ProgramName(HANDLE process)
{
    wchar_t path[kPathLength] = {};
    if (const DWORD length = GetModuleFileNameExW(process, nullptr, path, kPathLength); length != 0) {
        const std::wstring_view whole(path, length);
        return std::wstring(whole.substr(whole.rfind(L'\\') + 1));
    }
    // The first module is the program.
    HMODULE modules[1] = {};
    DWORD needed = 0;
    if (EnumProcessModules(process, modules, sizeof modules, &needed) == FALSE) {
        return {};
    }
    return {path, GetModuleBaseNameW(process, modules[0], path, kPathLength)};
}

bool Runs(DWORD processId, std::wstring_view programName)
{
    const KernelHandle process(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId));
    return process && EqualNames(ProgramName(process.Get()), programName);
}

} // namespace

bool IsProcessRunning(std::wstring_view programName)
{
    std::vector<DWORD> ids(kMostProcesses);
    DWORD bytes = 0;
    if (EnumProcesses(ids.data(), static_cast<DWORD>(ids.size() * sizeof(DWORD)), &bytes) == FALSE) {
        return false;
    }
    ids.resize(std::min<std::size_t>(bytes / sizeof(DWORD), ids.size()));
    return std::any_of(ids.begin(), ids.end(), [&](DWORD id) { return Runs(id, programName); });
}

} // namespace win
