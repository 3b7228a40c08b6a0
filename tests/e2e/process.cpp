#include "process.h"

#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

namespace e2e {

namespace {

// The error goes by its number: the runtime has no text for most of Windows'.
[[noreturn]] void ThrowLastError(const char* function)
{
    const DWORD error = GetLastError();
    throw std::runtime_error(std::string(function) + " failed with error " + std::to_string(error));
}

// A new handle that children inherit.
win::FileHandle NullDevice()
{
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    return win::FileHandle(CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                       &inheritable, OPEN_EXISTING, 0, nullptr));
}

struct Pipe {
    win::KernelHandle readEnd;
    win::KernelHandle writeEnd;
};

Pipe MakePipe()
{
    Pipe pipe;
    if (CreatePipe(pipe.readEnd.Put(), pipe.writeEnd.Put(), nullptr, 0) == FALSE) {
        ThrowLastError("CreatePipe");
    }
    return pipe;
}

void LetChildrenInherit(HANDLE handle)
{
    if (SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) == FALSE) {
        ThrowLastError("SetHandleInformation");
    }
}

// Quotes one word by the rules of CommandLineToArgvW: backslashes count double before a quotation mark.
std::wstring Quoted(const std::wstring& word)
{
    if (!word.empty() && word.find_first_of(L" \t\"") == std::wstring::npos) {
        return word;
    }
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : word) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        quoted.append(c == L'"' ? 2 * backslashes + 1 : backslashes, L'\\');
        backslashes = 0;
        quoted.push_back(c);
    }
    quoted.append(2 * backslashes, L'\\');
    return quoted + L'"';
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome)
{
    return stream << "exit code 0x" << std::hex << outcome.exitCode << std::dec << " and the output\n"
                  << outcome.output;
}

Process::Process(const std::filesystem::path& program, const std::vector<std::wstring>& words)
{
    StartWithPipe(program, JoinWords(words));
}

Process::Process(const std::filesystem::path& program, std::wstring_view commandLine)
{
    StartWithPipe(program, commandLine);
}

Process::Process(const std::filesystem::path& program, const std::vector<std::wstring>& words,
                 const Surroundings& surroundings)
{
    Start(program, JoinWords(words), surroundings);
}

void Process::StartWithPipe(const std::filesystem::path& program, std::wstring_view commandLine)
{
    Pipe pipe = MakePipe();
    LetChildrenInherit(pipe.writeEnd.Get());
    output_ = std::move(pipe.readEnd);
    Start(program, commandLine, {pipe.writeEnd.Get()});
}

void Process::Start(const std::filesystem::path& program, std::wstring_view commandLine,
                    const Surroundings& surroundings)
{
    std::wstring line = L'"' + program.wstring() + L'"';
    if (!commandLine.empty()) {
        line.append(L" ").append(commandLine);
    }
    const win::FileHandle nothing = NullDevice();
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = surroundings.input != nullptr ? surroundings.input : nothing.Get();
    startup.hStdOutput = surroundings.output != nullptr ? surroundings.output : nothing.Get();
    startup.hStdError = surroundings.error != nullptr ? surroundings.error : GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION information{};
    if (CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, surroundings.creationFlags, nullptr,
                       nullptr, &startup, &information) == FALSE) {
        ThrowLastError("CreateProcessW");
    }
    process_.Reset(information.hProcess);
    CloseHandle(information.hThread);
}

Outcome Process::Wait()
{
    while (output_ && ReadSome()) {
    }
    WaitForSingleObject(process_.Get(), INFINITE);
    DWORD exitCode = 0;
    if (GetExitCodeProcess(process_.Get(), &exitCode) == FALSE) {
        ThrowLastError("GetExitCodeProcess");
    }
    return {read_, exitCode};
}

bool Process::ReadUntil(std::string_view text)
{
    while (read_.find(text) == std::string::npos) {
        if (!ReadSome()) {
            return false;
        }
    }
    return true;
}

bool Process::ReadSome()
{
    constexpr DWORD kChunk = 4096;
    char chunk[kChunk];
    DWORD read = 0;
    if (ReadFile(output_.Get(), chunk, kChunk, &read, nullptr) == FALSE) {
        return false;
    }
    read_.append(chunk, read);
    return read != 0;
}

bool Process::EndsWithin(DWORD milliseconds) const
{
    return WaitForSingleObject(process_.Get(), milliseconds) == WAIT_OBJECT_0;
}

void Process::Terminate()
{
    TerminateProcess(process_.Get(), 1);
    WaitForSingleObject(process_.Get(), INFINITE);
}

std::filesystem::path ProgramFolder()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path();
}

std::filesystem::path ToolPath()
{
    return ProgramFolder() / L"VLCmd.exe";
}

std::wstring JoinWords(const std::vector<std::wstring>& words)
{
    std::wstring line;
    for (const std::wstring& word : words) {
        line += (line.empty() ? L"" : L" ") + Quoted(word);
    }
    return line;
}

Outcome RunTool(const std::vector<std::wstring>& words)
{
    return Process(ToolPath(), words).Wait();
}

Outcome RunToolLine(std::wstring_view commandLine)
{
    return Process(ToolPath(), commandLine).Wait();
}

SilentPipe::SilentPipe()
{
    Pipe pipe = MakePipe();
    LetChildrenInherit(pipe.readEnd.Get());
    readEnd_ = std::move(pipe.readEnd);
    writeEnd_ = std::move(pipe.writeEnd);
}

} // namespace e2e
