#pragma once

#include "computer/shown_volumes.h"
#include "scenario/computer_setup.h"

#include "win/windows_api.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// The computer that this process is made to see. Safe to use from any thread.
class SimulatedComputer {
public:
    explicit SimulatedComputer(ComputerSetup setup);

    [[nodiscard]] const ComputerSetup& Setup() const { return setup_; }

    // Counts this call of the function, which concerns the path if there is one, and answers with the error that the
    // scenario orders for it. A volume's path may be any of its names.
    [[nodiscard]] std::optional<DWORD> TakeFault(std::wstring_view function, std::wstring_view path = {});

    // The volumes of the scenario; none where it has none.
    [[nodiscard]] ShownVolumes& Volumes() { return volumes_; }

    // The files that are shown as boot.ini, by the names of the volumes in whose roots they stand.
    [[nodiscard]] const std::map<std::wstring, std::wstring>& BootInis() const { return bootInis_; }

private:
    struct CountedFault {
        WindowsFault fault;
        std::uint64_t calls = 0;
    };

    [[nodiscard]] bool Concerns(const WindowsFault& fault, std::wstring_view path) const;

    const ComputerSetup setup_;
    ShownVolumes volumes_;
    std::map<std::wstring, std::wstring> bootInis_;
    std::mutex lock_; // guards faults_
    std::vector<CountedFault> faults_;
};

// Makes the computer that this process sees from then on.
void SetComputer(ComputerSetup setup);

// The computer that this process sees.
[[nodiscard]] SimulatedComputer& Computer();

// Whether the scenario orders this call of a function to fail; then the last error is set.
[[nodiscard]] bool Fails(std::wstring_view function, std::wstring_view path = {});

} // namespace sim
