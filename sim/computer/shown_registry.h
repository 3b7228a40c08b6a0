#pragma once

#include "scenario/computer_setup.h"

#include "win/owner.h"

#include <string>

namespace sim {

// The keys that the scenario shows in place of the registry's own. They stand in a scratch key of this process, so that
// all of Windows' functions work on them; only opening one leads there.

// Makes the scratch key and in it the keys of the scenario; where there are policy changes, the policy key, too.
// Answers 0 or a Windows error.
[[nodiscard]] LSTATUS ShowRegistry(const ComputerSetup& setup);

// Applies a change to the policy key that is shown. Answers 0 or a Windows error.
LSTATUS ChangePolicy(const PolicyChange& change);

} // namespace sim
