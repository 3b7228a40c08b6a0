#pragma once

#include "scenario/computer_setup.h"

#include "win/windows_api.h"

#include <cstdint>
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

    // The volume of this name or mounted there, with or without the closing backslash, or null. The device of a drive
    // letter, such as \\.\C:, is its volume's.
    [[nodiscard]] const VolumeSetup* FindVolume(std::wstring_view path) const;

private:
    struct CountedFault {
        WindowsFault fault;
        std::uint64_t calls = 0;
    };

    [[nodiscard]] bool Concerns(const WindowsFault& fault, std::wstring_view path) const;

    const ComputerSetup setup_;
    std::mutex lock_; // guards faults_
    std::vector<CountedFault> faults_;
};

// Makes the computer that this process sees from then on.
void SetComputer(ComputerSetup setup);

// That computer.
[[nodiscard]] SimulatedComputer& Computer();

// Whether the scenario orders this call of a function to fail; then the last error is set.
[[nodiscard]] bool Fails(std::wstring_view function, std::wstring_view path = {});

} // namespace sim
