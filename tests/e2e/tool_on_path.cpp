// VLCmd.exe for the scripts of the handbook, which find it on their path as they would find the tool: hands its words
// to the built tool on the simulated computer and ends with the tool's own exit code.

#include "win/owner.h"

#include <shlwapi.h>

#include <cstdio>
#include <cwchar>
#include <filesystem>
#include <string>

namespace {

constexpr int kCannotStart = 127;

// The folder of the built programs, one above this program's own.
std::filesystem::path ProgramFolder()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path().parent_path();
}

} // namespace

int wmain()
{
    const std::filesystem::path folder = ProgramFolder();
    const std::wstring launcher = folder / L"vlrun.exe";
    // The words go on as they came: how they are quoted is part of what the handbook shows.
    std::wstring line = L'"' + launcher + L"\" --exit-code \"" + (folder / L"VLCmd.exe").wstring() + L"\" " +
                        PathGetArgsW(GetCommandLineW());
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    // An engine that COM starts for the tool inherits the current folder and outlives the script: not in the script's.
    if (CreateProcessW(launcher.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, folder.c_str(), &startup,
                       &started) == FALSE) {
        std::fwprintf(stderr, L"%ls cannot be started: Windows error %lu\n", launcher.c_str(), GetLastError());
        return kCannotStart;
    }
    const win::KernelHandle process(started.hProcess);
    const win::KernelHandle thread(started.hThread);
    DWORD exitCode = kCannotStart;
    WaitForSingleObject(process.Get(), INFINITE);
    GetExitCodeProcess(process.Get(), &exitCode);
    return static_cast<int>(exitCode);
}
