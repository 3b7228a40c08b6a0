#include "engine_process.h"

#include <fstream>
#include <stdexcept>

namespace e2e {

namespace {

constexpr DWORD kStartTime = 30000;

std::wstring ReadyEventName()
{
    return L"VLCmdTestEngineReady-" + std::to_wstring(GetCurrentProcessId());
}

std::vector<std::wstring> ServeWords(const std::filesystem::path& scenario, const std::filesystem::path& folder)
{
    return {L"--scenario", scenario.wstring(), L"--log", (folder / L"calls.log").wstring(),
            L"--ready",    ReadyEventName()};
}

} // namespace

EngineProcess::EngineProcess(std::string_view scenario)
    : ready_(CreateEventW(nullptr, TRUE, FALSE, ReadyEventName().c_str())),
      process_(ProgramFolder() / L"VLEngine.exe", ServeWords(folder_.Write(L"test.scenario", scenario), folder_.Path()),
               false)
{
    AwaitReady();
}

EngineProcess::EngineProcess()
    : ready_(CreateEventW(nullptr, TRUE, FALSE, ReadyEventName().c_str())),
      process_(ProgramFolder() / L"VLEngine.exe", ServeWords(ProgramFolder() / L"default.scenario", folder_.Path()),
               false)
{
    AwaitReady();
}

void EngineProcess::AwaitReady()
{
    const HANDLE either[] = {ready_.Get(), process_.Handle()};
    if (WaitForMultipleObjects(2, either, FALSE, kStartTime) != WAIT_OBJECT_0) {
        process_.Terminate();
        throw std::runtime_error("the simulated engine did not start");
    }
}

EngineProcess::~EngineProcess()
{
    RunEngine(L"/quit");
    process_.Terminate();
}

std::vector<std::string> EngineProcess::Log() const
{
    std::ifstream file(folder_.Path() / L"calls.log", std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        lines.push_back(line);
    }
    return lines;
}

std::uint32_t RunEngine(const std::wstring& word)
{
    return Process(ProgramFolder() / L"VLEngine.exe", std::vector<std::wstring>{word}, false).Wait().exitCode;
}

} // namespace e2e
