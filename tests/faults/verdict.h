#pragma once

#include "commands.h"
#include "disturbed_run.h"

#include <string>

namespace faults {

// What a run did that it had not promised, one line for each; empty where it kept all promises. The undisturbed run of
// the same command tells what the command does where nothing fails.
[[nodiscard]] std::string Complaints(const Command& command, const Traces& undisturbed, const Traces& run,
                                     const Disturbance& disturbance);

// Whether it is known that the tool does not keep its promises in this run, and what is open there.
[[nodiscard]] const char* KnownFinding(const Command& command, const Disturbance& disturbance);

} // namespace faults
