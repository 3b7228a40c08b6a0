#pragma once

#include "win/owner.h"

namespace win {

// A security descriptor that gives everyone every access. Returns 0 or the Windows error; the descriptor is then null.
[[nodiscard]] DWORD MakeAccessByEveryone(SecurityDescriptor& descriptor) noexcept;

} // namespace win
