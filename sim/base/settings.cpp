#include "base/settings.h"

#include "base/registry_keys.h"

namespace sim {

std::wstring ScratchKeyOf(DWORD process)
{
    return std::wstring(kSimulatorKey) + L"\\Processes\\" + std::to_wstring(process);
}

LSTATUS FindScenario(HMODULE module, std::wstring& path)
{
    const LSTATUS status = ReadRegistryText(kSimulatorKey, L"Scenario", path);
    if (path.empty()) {
        path = ModulePath(module);
        path.replace(path.rfind(L'\\') + 1, std::wstring::npos, L"default.scenario");
    }
    return status;
}

} // namespace sim
