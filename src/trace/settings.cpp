#include "trace/settings.h"

#include "support/registry.h"
#include "win/text.h"

namespace trace {

namespace {

struct NumberSetting {
    const wchar_t* name;
    std::uint32_t Settings::*value;
};

constexpr NumberSetting kNumbers[] = {
    {L"TraceLevel", &Settings::level},
    {L"TraceEntryExit", &Settings::entryExit},
    {L"TraceMaxFileSizeMB", &Settings::maxFileSize},
};

struct TextSetting {
    const wchar_t* name;
    std::wstring Settings::*value;
};

constexpr TextSetting kTexts[] = {
    {L"TraceFilePath", &Settings::directory},
    {L"TraceString", &Settings::string},
    {L"TraceModuleList", &Settings::moduleList},
};

} // namespace

std::uint32_t ReadSettings(Settings& settings)
{
    win::RegistryKey key;
    if (const LSTATUS status = RegOpen(HKEY_LOCAL_MACHINE, kCoreKey, KEY_READ, key); status != ERROR_SUCCESS) {
        return static_cast<std::uint32_t>(status);
    }
    // A value that cannot be read leaves its default.
    for (const NumberSetting& setting : kNumbers) {
        static_cast<void>(RegReadDword(key.Get(), setting.name, settings.*setting.value));
    }
    for (const TextSetting& setting : kTexts) {
        static_cast<void>(RegReadString(key.Get(), setting.name, settings.*setting.value));
    }
    settings.stringUpper = win::UpperCase(settings.string);
    settings.moduleListUpper = win::UpperCase(settings.moduleList);
    DWORD size = sizeof settings.vector;
    static_cast<void>(RegReadBinary(key.Get(), L"TraceVector", settings.vector.data(), size));
    std::uint32_t functionName = 0;
    static_cast<void>(RegReadDword(key.Get(), L"TraceFunctionName", functionName));
    settings.functionName = functionName != 0;
    return ERROR_SUCCESS;
}

} // namespace trace
