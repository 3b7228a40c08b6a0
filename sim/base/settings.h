#pragma once

#include "win/windows_api.h"

#include <string>

namespace sim {

// What the registry says of the simulated computer, below HKEY_LOCAL_MACHINE\Software\Kestrane\Simulator.
inline constexpr wchar_t kSimulatorKey[] = L"Software\\Kestrane\\Simulator";

// Where the keys that are made for one process alone stand, below HKEY_CURRENT_USER; who has started it deletes them.
[[nodiscard]] std::wstring ScratchKeyOf(DWORD process);

// The path of the scenario that holds when nobody names one: that of the registry, otherwise default.scenario beside
// the module, as ModulePath names it. Answers 0 or the Windows error of the registry.
[[nodiscard]] LSTATUS FindScenario(HMODULE module, std::wstring& path);

} // namespace sim
