#pragma once

#include "win/owner.h"

namespace testing_support {

struct ModuleTraits {
    using Type = HMODULE;
    static Type Null() noexcept { return nullptr; }
    static void Release(Type module) noexcept { FreeLibrary(module); }
};

// A library that a test has loaded.
using Module = win::Owner<ModuleTraits>;

} // namespace testing_support
