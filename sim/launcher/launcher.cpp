// vlrun [OPTIONS] PROGRAM [WORDS...]
//
// Starts a Windows program, whose file is not changed, on the simulated computer: what it asks Windows is answered from
// the scenario. Tells on standard error the full 32-bit exit code of the program, because a shell other than Windows'
// own sees only its low 8 bits.

#include "launcher/loading.h"

#include "base/registry_keys.h"
#include "base/settings.h"
#include "engine/server_classes.h"
#include "scenario/scenario.h"

#include "win/owner.h"

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace {

constexpr int kUsageError = 2;
constexpr int kCannotStart = 127;
constexpr DWORD kShellStatusMask = 0xFF;

constexpr wchar_t kUsage[] = L"usage: vlrun [--plain] [--exit-code] PROGRAM [WORDS...]\n"
                             L"  --plain      on the computer as it is, not as the scenario has it\n"
                             L"  --exit-code  end with the program's own exit code and say nothing of it\n";

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

// What the command line asks for.
struct Order {
    bool plain = false;
    bool ownExitCode = false;
    std::wstring program;
    std::wstring commandLine; // the program and its words
};

// Reads the command line behind the launcher's own name; nothing where it is wrong.
std::optional<Order> ReadOrder(std::wstring_view line)
{
    struct Option {
        std::wstring_view word;
        bool Order::*place;
    };
    constexpr Option kOptions[] = {{L"--plain", &Order::plain}, {L"--exit-code", &Order::ownExitCode}};

    Order order;
    for (;;) {
        const auto [word, rest] = SplitOffFirstWord(line);
        const Option* found = nullptr;
        for (const Option& option : kOptions) {
            found = option.word == word ? &option : found;
        }
        if (found == nullptr) {
            order.program = word;
            // Handed on as it is, never quoted anew, so that every word arrives as it was given.
            order.commandLine = line;
            return word.empty() || word.starts_with(L"--") ? std::nullopt : std::optional(std::move(order));
        }
        order.*found->place = true;
        line = rest;
    }
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

// Makes COM find the program as the computer's engine. False where that cannot be, and the user has been told why.
bool RegisterEngine(const sim::OtherComputer& computer, const std::wstring& program)
{
    const HRESULT result = sim::RegisterClasses(computer.name, program);
    if (FAILED(result)) {
        std::fwprintf(stderr, L"vlrun: the engine of %ls cannot be registered: 0x%08lX\n", computer.name.c_str(),
                      static_cast<unsigned long>(result));
    }
    return SUCCEEDED(result);
}

// Reads the scenario that the program is going to see and makes COM find the engines of its other computers. False
// where that cannot be, and the user has been told why.
bool PrepareScenario()
{
    std::wstring path;
    if (const LSTATUS status = sim::FindScenario(nullptr, path); status != ERROR_SUCCESS) {
        std::fwprintf(stderr, L"vlrun: the settings cannot be read: Windows error %ld\n", status);
        return false;
    }
    const std::variant<sim::Scenario, sim::ScenarioError> loaded = sim::LoadScenario(path);
    if (const auto* const error = std::get_if<sim::ScenarioError>(&loaded)) {
        std::fwprintf(stderr, L"vlrun: %ls\n", sim::DescribeError(path, *error).c_str());
        return false;
    }
    std::wstring folder = sim::ModulePath(nullptr);
    folder.resize(folder.rfind(L'\\') + 1);
    return std::ranges::all_of(std::get<sim::Scenario>(loaded).computer.computers,
                               [&](const sim::OtherComputer& computer) {
                                   return computer.failure || RegisterEngine(computer, folder + L"VLEngine.exe");
                               });
}

// Makes a process, whose threads have not run yet, see the simulated computer. Answers 0 or a Windows error.
DWORD ShowComputerTo(HANDLE process)
{
    std::wstring library = sim::ModulePath(nullptr);
    library.replace(library.rfind(L'\\') + 1, std::wstring::npos, L"VLMachine.dll");
    return LoadLibraryInto(process, library);
}

// Runs the program with its command line, the launcher's console and standard handles, until its end. Returns a Windows
// error code where it cannot be started or waited for.
DWORD RunToEnd(Order order, DWORD& exitCode)
{
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started{};
    if (CreateProcessW(order.program.c_str(), order.commandLine.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED,
                       nullptr, nullptr, &startup, &started) == FALSE) {
        return GetLastError();
    }
    const win::KernelHandle process(started.hProcess);
    const win::KernelHandle thread(started.hThread);
    if (!order.plain) {
        if (const DWORD error = ShowComputerTo(process.Get()); error != ERROR_SUCCESS) {
            TerminateProcess(process.Get(), kCannotStart);
            return error;
        }
    }
    ResumeThread(thread.Get());
    const bool ended = WaitForSingleObject(process.Get(), INFINITE) == WAIT_OBJECT_0 &&
                       GetExitCodeProcess(process.Get(), &exitCode) != FALSE;
    const DWORD error = ended ? ERROR_SUCCESS : GetLastError();
    // The registry that was made for the program goes with it.
    RegDeleteTreeW(HKEY_CURRENT_USER, sim::ScratchKeyOf(started.dwProcessId).c_str());
    return error;
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
    const std::optional<Order> order = ReadOrder(SplitOffFirstWord(GetCommandLineW()).rest);
    if (!order) {
        std::fputws(kUsage, stderr);
        return kUsageError;
    }
    if (SetConsoleCtrlHandler(LeaveToProgram, TRUE) == FALSE) {
        std::fwprintf(stderr, L"Ctrl+C cannot be left to the program: Windows error %lu\n", GetLastError());
        return kCannotStart;
    }
    if (!order->plain && !PrepareScenario()) {
        return kCannotStart;
    }
    const std::wstring name = DisplayName(order->program);
    DWORD exitCode = 0;
    if (const DWORD error = RunToEnd(*order, exitCode); error != ERROR_SUCCESS) {
        std::fwprintf(stderr, L"%ls cannot be run: Windows error %lu\n", name.c_str(), error);
        return kCannotStart;
    }
    if (order->ownExitCode) {
        return static_cast<int>(exitCode);
    }
    if (exitCode != 0) {
        std::fwprintf(stderr, L"%ls ended with %lu (0x%08lX)\n", name.c_str(), exitCode, exitCode);
    }
    return ShellStatus(exitCode);
}
