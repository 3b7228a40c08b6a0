#include "registry_keys.h"

#include "results.h"

#include "win/owner.h"

#include <array>

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

std::wstring GuidText(const GUID& identifier)
{
    std::array<wchar_t, 39> text{};
    StringFromGUID2(identifier, text.data(), static_cast<int>(text.size()));
    return text.data();
}

std::wstring ClassKeyPath(const GUID& identifier)
{
    return L"Software\\Classes\\CLSID\\" + GuidText(identifier);
}

HRESULT SetRegistryText(const std::wstring& keyPath, const wchar_t* name, const std::wstring& value)
{
    win::RegistryKey key;
    LSTATUS status =
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, keyPath.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, key.Put(), nullptr);
    if (status == ERROR_SUCCESS) {
        status = RegSetKeyValueW(key.Get(), nullptr, name, REG_SZ, value.c_str(),
                                 static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    }
    return status == ERROR_SUCCESS ? S_OK : FromWindowsError(static_cast<DWORD>(status));
}

HRESULT RemoveRegistryKey(const std::wstring& keyPath)
{
    const LSTATUS status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, keyPath.c_str());
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND ? S_OK
                                                                     : FromWindowsError(static_cast<DWORD>(status));
}

} // namespace sim
