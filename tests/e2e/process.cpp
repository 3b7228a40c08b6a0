#include "process.h"

#include <fstream>
#include <system_error>

namespace e2e {

namespace {

[[noreturn]] void ThrowLastError(const char* what)
{
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

win::KernelHandle NullDevice()
{
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    return win::KernelHandle(CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                         &inheritable, OPEN_EXISTING, 0, nullptr));
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

Process::Process(const std::filesystem::path& program, const std::vector<std::wstring>& words, bool captureOutput)
    : Process(program, JoinWords(words), captureOutput)
{}

Process::Process(const std::filesystem::path& program, std::wstring commandLine, bool captureOutput)
{
    commandLine = L'"' + program.wstring() + L'"' + (commandLine.empty() ? L"" : L" ") + commandLine;
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    win::KernelHandle writeEnd;
    if (captureOutput) {
        if (CreatePipe(output_.Put(), writeEnd.Put(), &inheritable, 0) == FALSE) {
            ThrowLastError("CreatePipe");
        }
        SetHandleInformation(output_.Get(), HANDLE_FLAG_INHERIT, 0);
    } else {
        writeEnd = NullDevice();
    }
    const win::KernelHandle input = NullDevice();
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input.Get();
    startup.hStdOutput = writeEnd.Get();
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION information{};
    if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                       &information) == FALSE) {
        ThrowLastError("CreateProcessW");
    }
    process_.Reset(information.hProcess);
    CloseHandle(information.hThread);
}

Outcome Process::Wait()
{
    constexpr DWORD kChunk = 4096;
    Outcome outcome;
    if (output_) {
        char chunk[kChunk];
        DWORD read = 0;
        while (ReadFile(output_.Get(), chunk, kChunk, &read, nullptr) != FALSE && read != 0) {
            outcome.output.append(chunk, read);
        }
    }
    WaitForSingleObject(process_.Get(), INFINITE);
    DWORD exitCode = 0;
    if (GetExitCodeProcess(process_.Get(), &exitCode) == FALSE) {
        ThrowLastError("GetExitCodeProcess");
    }
    outcome.exitCode = exitCode;
    return outcome;
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
    return Process(ProgramFolder() / L"VLCmd.exe", words, true).Wait();
}

ScratchFolder::ScratchFolder() : path_(ProgramFolder() / (L"scratch-" + std::to_wstring(GetCurrentProcessId())))
{
    std::filesystem::create_directories(path_);
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path ScratchFolder::Write(const std::wstring& name, std::string_view bytes) const
{
    std::filesystem::path path = path_ / name;
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return path;
}

std::filesystem::path ScratchFolder::Write(const std::wstring& name, std::wstring_view text) const
{
    return Write(name, {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)});
}

RegistryValue::RegistryValue(HKEY root, const std::wstring& key, const std::wstring& name, std::uint32_t value)
    : name_(name)
{
    if (RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key_.Put(), nullptr) !=
        ERROR_SUCCESS) {
        throw std::runtime_error("RegCreateKeyExW");
    }
    DWORD before = 0;
    DWORD size = sizeof before;
    if (RegQueryValueExW(key_.Get(), name_.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(&before), &size) ==
        ERROR_SUCCESS) {
        before_ = before;
    }
    RegSetValueExW(key_.Get(), name_.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value);
}

RegistryValue::~RegistryValue()
{
    if (before_) {
        RegSetValueExW(key_.Get(), name_.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&*before_),
                       sizeof *before_);
    } else {
        RegDeleteValueW(key_.Get(), name_.c_str());
    }
}

} // namespace e2e
