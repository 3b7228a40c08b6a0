// The library that makes the program which loads it see the computer of a scenario. The launcher loads it before the
// program's entry point runs.

#include "base/import_table.h"
#include "base/settings.h"
#include "computer/replacements.h"
#include "computer/shown_registry.h"
#include "computer/simulated_computer.h"
#include "scenario/scenario.h"

#include <utility>
#include <variant>

namespace {

using namespace sim;

// Reads the scenario and replaces functions in the program's import table and in its lookups by name; functions that
// the program does not use are skipped. False where the scenario cannot be read, which the launcher checks beforehand.
bool ShowComputer(HMODULE library)
{
    std::wstring path;
    if (FindScenario(library, path) != ERROR_SUCCESS) {
        return false;
    }
    std::variant<Scenario, ScenarioError> scenario = LoadScenario(path);
    if (std::holds_alternative<ScenarioError>(scenario)) {
        return false;
    }
    SetComputer(std::move(std::get<Scenario>(scenario).computer));
    if (ShowRegistry(Computer().Setup()) != ERROR_SUCCESS) {
        return false;
    }
    const HMODULE program = GetModuleHandleW(nullptr);
    WatchLookups(program);
    for (const auto replacements : {&ComReplacements, &SystemReplacements, &ClockReplacements, &ConsoleReplacements,
                                    &VolumeReplacements, &RegistryReplacements, &PolicyReplacements}) {
        for (const Replacement& replacement : replacements()) {
            PatchImport(program, replacement.function, replacement.replacement);
            ReplaceLookup(replacement.function, replacement.replacement);
        }
    }
    return true;
}

} // namespace

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, void* /*reserved*/)
{
    if (reason != DLL_PROCESS_ATTACH) {
        return TRUE;
    }
    DisableThreadLibraryCalls(library);
    return ShowComputer(library) ? TRUE : FALSE;
}
