#include "support/registry.h"

LSTATUS RegOpen(HKEY root, const wchar_t* path, REGSAM access, win::RegistryKey& key) noexcept
{
    return RegOpenKeyExW(root, path, 0, access, key.Put());
}

LSTATUS RegReadDword(HKEY key, const wchar_t* name, std::uint32_t& value) noexcept
{
    DWORD type = REG_NONE;
    DWORD data = 0;
    DWORD size = sizeof data;
    const LSTATUS status = RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&data), &size);
    // A value that does not fit into four bytes still tells its type.
    if (status != ERROR_SUCCESS && status != ERROR_MORE_DATA) {
        return status;
    }
    if (type != REG_DWORD) {
        return ERROR_INVALID_DATA;
    }
    if (status == ERROR_SUCCESS && size != sizeof data) {
        return ERROR_INVALID_DATA;
    }
    if (status == ERROR_SUCCESS) {
        value = data;
    }
    return status;
}
