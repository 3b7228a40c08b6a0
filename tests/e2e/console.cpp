#include "console.h"

#include <stdexcept>

namespace e2e {

namespace {

// Wide and high enough for whatever a test prints.
constexpr COORD kScreenSize{200, 150};

std::filesystem::path CommandInterpreter()
{
    wchar_t folder[MAX_PATH] = {};
    GetSystemDirectoryW(folder, MAX_PATH);
    return std::filesystem::path(folder) / L"cmd.exe";
}

BOOL WINAPI IgnoreControl(DWORD /*event*/)
{
    return TRUE;
}

} // namespace

TestConsole::TestConsole()
    : keeper_(CommandInterpreter(), {L"/q", L"/k", L"echo", L"ready"}, {nullptr, noInput_.ReadEnd(), CREATE_NO_WINDOW})
{
    FreeConsole();
    // The keeper has its console as soon as its start-up code has run.
    constexpr int kTries = 3000;
    constexpr DWORD kPause = 10;
    for (int i = 0; i < kTries && GetConsoleOutputCP() == 0; ++i) {
        if (AttachConsole(keeper_.Id()) == FALSE) {
            Sleep(kPause);
        }
    }
    if (GetConsoleOutputCP() == 0) {
        keeper_.Terminate();
        throw std::runtime_error("the test has no console");
    }
    SetConsoleCtrlHandler(IgnoreControl, TRUE);
}

TestConsole::~TestConsole()
{
    screen_.Reset();
    FreeConsole();
    SetConsoleCtrlHandler(IgnoreControl, FALSE);
    keeper_.Terminate();
}

void TestConsole::PressControlC()
{
    constexpr DWORD kWholeConsole = 0;
    if (GenerateConsoleCtrlEvent(CTRL_C_EVENT, kWholeConsole) == FALSE) {
        throw std::runtime_error("nobody can press Ctrl+C in the test's console");
    }
}

std::uint32_t TestConsole::Run(const std::filesystem::path& program, const std::vector<std::wstring>& words)
{
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    screen_.Reset(CreateConsoleScreenBuffer(GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                            &inheritable, CONSOLE_TEXTMODE_BUFFER, nullptr));
    if (!screen_ || SetConsoleScreenBufferSize(screen_.Get(), kScreenSize) == FALSE) {
        throw std::runtime_error("the test's console has no screen");
    }
    return Process(program, words, {screen_.Get()}).Wait().exitCode;
}

std::vector<std::wstring> TestConsole::Lines() const
{
    CONSOLE_SCREEN_BUFFER_INFO screen{};
    if (GetConsoleScreenBufferInfo(screen_.Get(), &screen) == FALSE) {
        throw std::runtime_error("the test's console cannot be read");
    }
    std::vector<std::wstring> lines;
    for (SHORT row = 0; row < screen.dwCursorPosition.Y; ++row) {
        std::wstring line(static_cast<std::size_t>(screen.dwSize.X), L' ');
        DWORD length = 0;
        ReadConsoleOutputCharacterW(screen_.Get(), line.data(), static_cast<DWORD>(line.size()), {0, row}, &length);
        line.resize(length);
        line.erase(line.find_last_not_of(L' ') + 1);
        lines.push_back(line);
    }
    return lines;
}

} // namespace e2e
