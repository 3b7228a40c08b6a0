#include "engine_process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace e2e {

namespace {

std::wstring ReadyEventName(const std::wstring& computer)
{
    return L"VLCmdTestEngineReady-" + std::to_wstring(GetCurrentProcessId()) + L'-' + computer;
}

// The objects that the engine handed out by the log, and those that were released.
void ExpectAllReleased(const std::vector<std::string>& log)
{
    constexpr std::string_view kSuccess = " -> 0x00000000 ";
    constexpr std::string_view kObjects[] = {"object=", "drive=", "schedule=", "statistics="};
    constexpr std::string_view kReleased = " released";
    std::vector<std::string> handedOut;
    std::vector<std::string> released;
    for (const std::string& line : log) {
        if (line.ends_with(kReleased)) {
            released.push_back(line.substr(0, line.size() - kReleased.size()));
            continue;
        }
        const std::size_t end = line.rfind(kSuccess);
        if (end == std::string::npos) {
            continue;
        }
        const std::string output = line.substr(end + kSuccess.size());
        const auto* const object =
            std::ranges::find_if(kObjects, [&](std::string_view name) { return output.starts_with(name); });
        // A scenario may order that nothing is handed out.
        if (object != std::end(kObjects) && output.substr(object->size()) != "null") {
            handedOut.push_back(output.substr(object->size()));
        }
    }
    std::ranges::sort(handedOut);
    std::ranges::sort(released);
    EXPECT_EQ(handedOut, released) << "not every object was released before the tool ended";
}

std::filesystem::path ScenarioFile(const testing_support::ScratchFolder& folder, std::optional<std::string_view> text)
{
    if (!text) {
        return ProgramFolder() / L"default.scenario";
    }
    folder.AddFile(L"test.scenario", *text);
    return folder.PathOf(L"test.scenario");
}

} // namespace

EngineProcess::EngineProcess(std::optional<std::string_view> scenario)
    : scenario_(ScenarioFile(folder_, scenario)),
      ready_(CreateEventW(nullptr, TRUE, FALSE, ReadyEventName(computer_).c_str())),
      process_(Start())
{
    AwaitStart();
}

EngineProcess::EngineProcess(const SimulatedComputer& around, std::wstring computer)
    : scenario_(around.Scenario()),
      computer_(std::move(computer)),
      ready_(CreateEventW(nullptr, TRUE, FALSE, ReadyEventName(computer_).c_str())),
      process_(Start())
{
    AwaitStart();
}

void EngineProcess::AwaitStart()
{
    if (IsReady()) {
        return;
    }
    // An engine that somebody else has left running stands in the way.
    RunEngine(L"/quit");
    process_ = Start();
    if (!IsReady()) {
        process_.Terminate();
        throw std::runtime_error("the simulated engine did not start");
    }
}

Process EngineProcess::Start() const
{
    std::vector<std::wstring> words = {L"--scenario", scenario_.wstring(),      L"--log", folder_.PathOf(L"calls.log"),
                                       L"--ready",    ReadyEventName(computer_)};
    if (!computer_.empty()) {
        words.insert(words.end(), {L"--computer", computer_});
    }
    return {ProgramFolder() / L"VLEngine.exe", words, Surroundings{}};
}

bool EngineProcess::IsReady() const
{
    constexpr DWORD kStartTime = 30000;
    const HANDLE either[] = {ready_.Get(), process_.Handle()};
    return WaitForMultipleObjects(2, either, FALSE, kStartTime) == WAIT_OBJECT_0;
}

EngineProcess::~EngineProcess()
{
    ExpectAllReleased(Log());
    RunEngine(L"/quit");
    process_.Terminate();
}

std::vector<std::string> EngineProcess::Log() const
{
    std::vector<std::string> lines = ReadLog(folder_.PathOf(L"calls.log"));
    if (!lines.empty()) {
        lines.erase(lines.begin());
    }
    return lines;
}

std::vector<std::string> EngineProcess::CallsOf(std::string_view method) const
{
    const std::string call = "::" + std::string(method) + '(';
    std::vector<std::string> calls;
    for (const std::string& line : Log()) {
        if (const std::size_t at = line.find(call); at != std::string::npos) {
            calls.push_back(line.substr(at + 2));
        }
    }
    return calls;
}

std::vector<std::string> ReadLog(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string Failing(std::string_view method, std::string_view result, std::string_view drive, std::string_view call)
{
    std::string fault = "[fault]\nmethod = " + std::string(method) + "\nfail = " + std::string(result) + '\n';
    if (!drive.empty()) {
        fault += "drive = " + std::string(drive) + '\n';
    }
    if (!call.empty()) {
        fault += "call = " + std::string(call) + '\n';
    }
    return fault;
}

std::string Answering(std::string_view method, std::string_view call, std::string_view value)
{
    return "[fault]\nmethod = " + std::string(method) + "\ncall = " + std::string(call) +
           "\nvalue = " + std::string(value) + '\n';
}

std::uint32_t RunEngine(const std::wstring& word)
{
    return Process(ProgramFolder() / L"VLEngine.exe", {word}, Surroundings{}).Wait().exitCode;
}

WithoutEngine::WithoutEngine()
{
    if (RunEngine(L"/unregserver") != 0) {
        throw std::runtime_error("the simulated engine cannot be unregistered");
    }
}

WithoutEngine::~WithoutEngine()
{
    EXPECT_EQ(0U, RunEngine(L"/regserver"));
}

} // namespace e2e
