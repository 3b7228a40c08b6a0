#pragma once

#include "win/variant.h"

#include <string>
#include <vector>

// An ordered list of texts, and the form in which Automation hands it on: a VARIANT that holds a one-dimensional
// SAFEARRAY of BSTR.
using StringList = std::vector<std::wstring>;

// Throws std::bad_alloc where Windows has no memory for the array.
[[nodiscard]] win::Variant ToVariant(const StringList& list);

// Empty for a VARIANT that holds no such array.
[[nodiscard]] StringList ToStringList(const win::Variant& variant);
