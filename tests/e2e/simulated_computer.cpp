#include "simulated_computer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace e2e {

namespace {

std::string ContentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string content(static_cast<std::size_t>(std::filesystem::file_size(path)), '\0');
    if (!file.read(content.data(), static_cast<std::streamsize>(content.size()))) {
        throw std::runtime_error("the tool's file cannot be read");
    }
    return content;
}

} // namespace

SimulatedComputer::SimulatedComputer(std::string_view scenario)
    : setting_(HKEY_LOCAL_MACHINE, kSimulatorKey, L"Scenario", folder_.PathOf(L"test.scenario")),
      toolBefore_(ContentOf(ToolPath()))
{
    AddFile(L"test.scenario", scenario);
}

SimulatedComputer::~SimulatedComputer()
{
    EXPECT_TRUE(toolBefore_ == ContentOf(ToolPath())) << "the tool's file has changed";
}

Outcome SimulatedComputer::Run(const std::vector<std::wstring>& words)
{
    return Start(words).Wait();
}

Process SimulatedComputer::Start(const std::vector<std::wstring>& words)
{
    std::vector<std::wstring> line = {L"--exit-code", ToolPath().wstring()};
    line.insert(line.end(), words.begin(), words.end());
    return {ProgramFolder() / L"vlrun.exe", line};
}

std::string FastClock()
{
    return "[clock]\nspeed = 50\n";
}

} // namespace e2e
