#pragma once

#include "win/variant.h"

#include <string>
#include <vector>

// An ordered list of texts, and the form in which Automation hands it on: a VARIANT that holds a one-dimensional
// SAFEARRAY of BSTR.
using StringList = std::vector<std::wstring>;

// Nothing (VT_EMPTY) where Windows does not let the array be filled. Throws std::bad_alloc where it has no memory for
// it.
[[nodiscard]] win::Variant ToVariant(const StringList& list);

// Empty for a VARIANT that holds no such array.
[[nodiscard]] StringList ToStringList(const win::Variant& variant);
