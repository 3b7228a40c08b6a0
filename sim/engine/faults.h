#pragma once

#include "engine/engine_drives.h"
#include "scenario/scenario.h"

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

namespace sim {

// What the scenario orders for one call.
struct FaultOrder {
    std::chrono::milliseconds delay{0};
    std::optional<HRESULT> failure;
    Substitute substitute;
};

// Counts the calls and tells which of them are faulty. Safe to use from any thread.
class FaultTable {
public:
    explicit FaultTable(std::vector<Fault> faults);

    // Counts this call of the method, which concerns the drive if there is one, and tells what is ordered for it. Where
    // several faults hold, their delays add up and the first that orders a failure or an answer decides.
    [[nodiscard]] FaultOrder Take(Method method, std::optional<DriveIndex> drive);

private:
    struct CountedFault {
        Fault fault;
        std::uint64_t calls = 0;
    };

    std::mutex lock_;
    std::vector<CountedFault> faults_;
};

} // namespace sim
