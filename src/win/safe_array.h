#pragma once

#include "win/owner.h"

namespace win {

struct SafeArrayTraits {
    using Type = SAFEARRAY*;
    static Type Null() noexcept { return nullptr; }
    static void Release(Type array) noexcept { SafeArrayDestroy(array); }
};

// An array of Automation.
using SafeArray = Owner<SafeArrayTraits>;

} // namespace win
