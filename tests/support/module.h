#pragma once

#include "win/owner.h"

namespace testing_support {

// A library that a test has loaded.
using Module = win::Owner<HMODULE, FreeLibrary>;

} // namespace testing_support
