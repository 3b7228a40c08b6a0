#pragma once

#include "win/windows_api.h"

#include <string>

namespace sim {

// What the registry says of the simulated computer, below HKEY_LOCAL_MACHINE\Software\Kestrane\Simulator.
inline constexpr wchar_t kSimulatorKey[] = L"Software\\Kestrane\\Simulator";

// The path, below HKEY_CURRENT_USER, of the keys that are made for one process alone. Whoever has started the process
// deletes them.
[[nodiscard]] std::wstring ScratchKeyOf(DWORD process);

// The path of the scenario that is used when the command line names none: that of the registry, otherwise
// default.scenario in the module's folder. Answers 0 or the Windows error of the registry.
[[nodiscard]] LSTATUS FindScenario(HMODULE module, std::wstring& path);

} // namespace sim
