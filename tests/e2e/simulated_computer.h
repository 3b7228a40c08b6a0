#pragma once

#include "process.h"
#include "registry_value.h"
#include "support/scratch_folder.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace e2e {

// The computer of a scenario, which the shipped tool sees however often it is run; when the computer goes, the test
// fails if the tool's file is another one than before.
class SimulatedComputer {
public:
    // The scenario is given as UTF-8 text.
    explicit SimulatedComputer(std::string_view scenario);
    SimulatedComputer(const SimulatedComputer&) = delete;
    SimulatedComputer(SimulatedComputer&&) = delete;
    ~SimulatedComputer();
    SimulatedComputer& operator=(const SimulatedComputer&) = delete;
    SimulatedComputer& operator=(SimulatedComputer&&) = delete;

    // Adds a file beside the scenario's, which may name it.
    void AddFile(std::wstring_view name, std::string_view bytes) const { folder_.AddFile(name, bytes); }

    // The scenario's file.
    [[nodiscard]] std::filesystem::path Scenario() const { return folder_.PathOf(L"test.scenario"); }

    // Runs the tool with the words; the exit code is the tool's own. Work on several drives is run so also where the
    // computer is as it is: what keeps the threads of one process apart in Wine's COM comes with the simulation.
    [[nodiscard]] static Outcome Run(const std::vector<std::wstring>& words);

    // Starts the tool with the words.
    [[nodiscard]] static Process Start(const std::vector<std::wstring>& words);

private:
    testing_support::ScratchFolder folder_;
    RegistryValue setting_;
    std::string toolBefore_;
};

// For a scenario: a clock that makes a minute of waiting little more than a second.
[[nodiscard]] std::string FastClock();

} // namespace e2e
