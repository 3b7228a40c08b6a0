#pragma once

#include "win/windows_api.h"

#include <string>

namespace sim {

// The full path of this program's file.
[[nodiscard]] std::wstring OwnPath();

// Makes this program the engine of the computer: registers its type library, with it the interfaces, and the two server
// classes. Doing it again changes nothing. Answers the first failure.
[[nodiscard]] HRESULT RegisterServer();

// Takes back what RegisterServer did; what is not there is not missed. Answers the first failure.
[[nodiscard]] HRESULT UnregisterServer();

} // namespace sim
