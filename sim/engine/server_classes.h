#pragma once

#include "win/windows_api.h"

#include <array>
#include <string>
#include <vector>

namespace sim {

// Windows reaches the engine of another computer under the same class identifiers as here. Here the engines
// of all computers are processes on this one, so each has identifiers of its own, made from its computer's name.

// The identifiers of the engine's two server classes: the agent's, the service's.
using ServerClasses = std::array<GUID, 2>;

// Those of a computer, whatever the case of its name; those of the engine's contract for the empty name, which stands
// for this computer.
[[nodiscard]] ServerClasses ServerClassesOf(const std::wstring& computer);

// Registers the classes of a computer, whose server is this program; a computer with a name is also remembered. Doing
// it again changes nothing. Answers the first failure.
[[nodiscard]] HRESULT RegisterClasses(const std::wstring& computer, const std::wstring& program);

// Takes that back; it succeeds where nothing is registered. Answers the first failure.
[[nodiscard]] HRESULT UnregisterClasses(const std::wstring& computer);

// The names of the computers whose classes are registered, without this computer.
[[nodiscard]] std::vector<std::wstring> RegisteredComputers();

} // namespace sim
