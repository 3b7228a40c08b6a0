#pragma once

#include "engine_process.h"
#include "registry_value.h"
#include "simulated_computer.h"
#include "support/statistics_database.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace e2e {

// A page of the documentation, by its path in the sources.
[[nodiscard]] std::filesystem::path Page(const std::filesystem::path& name);

// The lines of a text, or of a text file, without their ends.
[[nodiscard]] std::vector<std::string> LinesOf(std::string text);
[[nodiscard]] std::vector<std::string> LinesOfFile(const std::filesystem::path& path);

// Takes the empty lines at the end away.
void DropEmptyEnd(std::vector<std::string>& lines);

// Whether a page shows these lines; "..." stands there for any number of lines.
[[nodiscard]] bool IsShown(const std::vector<std::string>& shown, const std::vector<std::string>& lines);

// What ./dev run prepares, for as long as the object lives: the default scenario's computer and network, a new engine,
// a new database with its sample.
class PreparedComputer {
public:
    enum class Clock { AsItIs, Fast };

    // A fast clock spares the test the waits of the tool.
    explicit PreparedComputer(Clock clock);

private:
    testing_support::StatisticsDatabase database_;
    RegistryValue connection_;
    SimulatedComputer computer_;
    std::optional<EngineProcess> engine_;
};

} // namespace e2e
