#include "base/registry_keys.h"

#include "base/results.h"

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

LSTATUS ReadRegistryText(const wchar_t* keyPath, const wchar_t* name, std::wstring& text)
{
    std::wstring value;
    DWORD size = 0;
    LSTATUS status = RegGetValueW(HKEY_LOCAL_MACHINE, keyPath, name, RRF_RT_REG_SZ, nullptr, nullptr, &size);
    while (status == ERROR_SUCCESS || status == ERROR_MORE_DATA) {
        value.resize(size / sizeof(wchar_t));
        status = RegGetValueW(HKEY_LOCAL_MACHINE, keyPath, name, RRF_RT_REG_SZ, nullptr, value.data(), &size);
        if (status == ERROR_SUCCESS) {
            // The size counts the text's terminating NUL.
            value.resize(value.find(L'\0'));
            text = value;
            return ERROR_SUCCESS;
        }
    }
    return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
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
