#include "settings.h"

namespace sim {

std::wstring ModulePath(HMODULE module)
{
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        // A path that does not fit is cut to the buffer's size.
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

std::wstring ScratchKeyOf(DWORD process)
{
    return std::wstring(kSimulatorKey) + L"\\Processes\\" + std::to_wstring(process);
}

LSTATUS ReadSetting(const wchar_t* name, std::wstring& text)
{
    std::wstring value;
    DWORD size = 0;
    LSTATUS status = RegGetValueW(HKEY_LOCAL_MACHINE, kSimulatorKey, name, RRF_RT_REG_SZ, nullptr, nullptr, &size);
    while (status == ERROR_SUCCESS || status == ERROR_MORE_DATA) {
        value.resize(size / sizeof(wchar_t));
        status = RegGetValueW(HKEY_LOCAL_MACHINE, kSimulatorKey, name, RRF_RT_REG_SZ, nullptr, value.data(), &size);
        if (status == ERROR_SUCCESS) {
            // The size counts the text's terminating NUL.
            value.resize(value.find(L'\0'));
            text = value;
            return ERROR_SUCCESS;
        }
    }
    return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

LSTATUS FindScenario(HMODULE module, std::wstring& path)
{
    const LSTATUS status = ReadSetting(L"Scenario", path);
    if (path.empty()) {
        path = ModulePath(module);
        path.replace(path.rfind(L'\\') + 1, std::wstring::npos, L"default.scenario");
    }
    return status;
}

} // namespace sim
