#pragma once

#include "exchange.h"

#include "e2e/engine_process.h"
#include "e2e/registry_value.h"
#include "e2e/simulated_computer.h"
#include "support/scratch_folder.h"
#include "support/statistics_database.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace faults {

// One call that is to fail: which function of the table, which of its calls (counted from 1), in which of its ways.
struct Disturbance {
    std::size_t function = 0;
    LONG call = 0;
    std::size_t way = 0;
};

// What a run of the tool left behind.
struct Traces {
    bool ended = false; // by itself, within the time
    std::uint32_t exitCode = 0;
    std::string output;
    std::string traceLog;        // the bytes of the tool's trace file; empty without one
    bool traceLogIsShut = false; // nobody may write to it
    bool databaseIsSame = true;
    Exchange report{};
};

// A computer with two drives, their statistics in a database, another computer in its network, and the trace log on.
class Computer {
public:
    Computer();

    // Runs the tool, with one call failing or none.
    [[nodiscard]] Traces Run(const std::vector<std::wstring>& words, const Disturbance* disturbance);

private:
    [[nodiscard]] std::string DatabaseContent() const;

    testing_support::ScratchFolder folder_;
    e2e::SimulatedComputer computer_;
    testing_support::StatisticsDatabase database_;
    std::string databaseBefore_;
    e2e::RegistryValues settings_;
    e2e::EngineProcess engine_;
    e2e::EngineProcess otherEngine_;
};

} // namespace faults
