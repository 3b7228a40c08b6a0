#pragma once

#include "win/windows_api.h"

namespace sim {

// Makes this program the engine of the computer: registers its type library, with it the interfaces, and the two server
// classes. Doing it again changes nothing. Answers the first failure.
[[nodiscard]] HRESULT RegisterServer();

// Takes back what RegisterServer and RegisterClasses did; it succeeds where nothing is registered. Answers the first
// failure.
[[nodiscard]] HRESULT UnregisterServer();

} // namespace sim
