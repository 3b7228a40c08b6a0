// vlrun PROGRAM [WORDS...]
//
// Starts a Windows program and tells on standard error the full 32-bit exit code that it ended with, of which a shell
// that is not Windows' own sees the low 8 bits only.

#include "win/owner.h"
#include "win/windows_api.h"

#include <cstdio>
#include <cwchar>
#include <string>
#include <string_view>

namespace {

constexpr int kUsageError = 2;
constexpr int kCannotStart = 127;
constexpr DWORD kShellStatusMask = 0xFF;

struct SplitCommandLine {
    std::wstring_view firstWord;
    std::wstring_view rest;
};

// Windows' rule for a program's name at the start of a command line: it ends at the closing quotation mark if it begins
// with one, else at the first blank; backslashes mean nothing there.
SplitCommandLine SplitOffFirstWord(std::wstring_view line)
{
    constexpr std::wstring_view kBlanks = L" \t";
    const bool quoted = line.starts_with(L'"');
    if (quoted) {
        line.remove_prefix(1);
    }
    const size_t wordLength = quoted ? line.find(L'"') : line.find_first_of(kBlanks);
    const std::wstring_view firstWord = line.substr(0, wordLength);
    line.remove_prefix(firstWord.size());
    if (quoted && !line.empty()) {
        line.remove_prefix(1);
    }
    const size_t restStart = line.find_first_not_of(kBlanks);
    return {firstWord, restStart == std::wstring_view::npos ? std::wstring_view() : line.substr(restStart)};
}

// The name that a user knows the program by: without its folder and its ".exe".
std::wstring DisplayName(std::wstring_view program)
{
    const size_t separator = program.find_last_of(L"\\/");
    const std::wstring_view file = separator == std::wstring_view::npos ? program : program.substr(separator + 1);
    return std::wstring(file.substr(0, file.rfind(L'.')));
}

// Ctrl+C is for the program that was started: the launcher outlives it to report how it ended. A handler of our own,
// unlike the ignore flag, is not handed on to that program.
BOOL WINAPI LeaveToProgram(DWORD event)
{
    return event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT ? TRUE : FALSE;
}

// Runs the program with the given command line, the launcher's console and standard handles, until its end.
// Returns a Windows error code where it cannot be started or waited for.
DWORD RunToEnd(const std::wstring& program, std::wstring commandLine, DWORD& exitCode)
{
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started{};
    if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                       &started) == FALSE) {
        return GetLastError();
    }
    const win::KernelHandle process(started.hProcess);
    const win::KernelHandle thread(started.hThread);
    if (WaitForSingleObject(process.Get(), INFINITE) != WAIT_OBJECT_0 ||
        GetExitCodeProcess(process.Get(), &exitCode) == FALSE) {
        return GetLastError();
    }
    return ERROR_SUCCESS;
}

// A shell takes 0 for success, so a code that is not 0 stays so without its upper bits.
int ShellStatus(DWORD exitCode)
{
    const DWORD lowByte = exitCode & kShellStatusMask;
    return exitCode != 0 && lowByte == 0 ? 1 : static_cast<int>(lowByte);
}

} // namespace

int wmain()
{
    const std::wstring_view programAndWords = SplitOffFirstWord(GetCommandLineW()).rest;
    const std::wstring program(SplitOffFirstWord(programAndWords).firstWord);
    if (program.empty()) {
        std::fputws(L"usage: vlrun PROGRAM [WORDS...]\n", stderr);
        return kUsageError;
    }
    if (SetConsoleCtrlHandler(LeaveToProgram, TRUE) == FALSE) {
        std::fwprintf(stderr, L"Ctrl+C cannot be left to the program: Windows error %lu\n", GetLastError());
        return kCannotStart;
    }

    // The command line is handed on as it is, never quoted anew, so that every word arrives as it was given.
    const std::wstring name = DisplayName(program);
    DWORD exitCode = 0;
    if (const DWORD error = RunToEnd(program, std::wstring(programAndWords), exitCode); error != ERROR_SUCCESS) {
        std::fwprintf(stderr, L"%ls cannot be run: Windows error %lu\n", name.c_str(), error);
        return kCannotStart;
    }
    if (exitCode != 0) {
        std::fwprintf(stderr, L"%ls ended with %lu (0x%08lX)\n", name.c_str(), exitCode, exitCode);
    }
    return ShellStatus(exitCode);
}
