#include "registration.h"

#include "results.h"

#include "win/com_ptr.h"
#include "win/owner.h"

#include <vlengine.h>

#include <array>

namespace sim {

namespace {

struct ServerClass {
    const GUID& identifier;
    const wchar_t* name;
};

const std::array<ServerClass, 2> kClasses = {
    {{__uuidof(VLAgent), L"Simulated engine: drive manager"}, {__uuidof(VLService), L"Simulated engine: service"}}};

std::wstring ClassKeyPath(const GUID& identifier)
{
    std::array<wchar_t, 39> text{};
    StringFromGUID2(identifier, text.data(), static_cast<int>(text.size()));
    return std::wstring(L"Software\\Classes\\CLSID\\") + text.data();
}

HRESULT SetDefaultValue(const std::wstring& keyPath, const std::wstring& value)
{
    win::RegistryKey key;
    LSTATUS status =
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, keyPath.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, key.Put(), nullptr);
    if (status == ERROR_SUCCESS) {
        status = RegSetKeyValueW(key.Get(), nullptr, nullptr, REG_SZ, value.c_str(),
                                 static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    }
    return status == ERROR_SUCCESS ? S_OK : FromWindowsError(static_cast<DWORD>(status));
}

HRESULT LoadOwnTypeLibrary(REGKIND kind, win::ComPtr<ITypeLib>& library)
{
    // The type library is a resource of this program, which makes the program's path the library's.
    return LoadTypeLibEx(OwnPath().c_str(), kind, library.Put());
}

HRESULT UnregisterTypeLibrary()
{
    win::ComPtr<ITypeLib> library;
    HRESULT result = LoadOwnTypeLibrary(REGKIND_NONE, library);
    if (FAILED(result)) {
        return result;
    }
    TLIBATTR* attributes = nullptr;
    result = library->GetLibAttr(&attributes);
    if (FAILED(result)) {
        return result;
    }
    result = UnRegisterTypeLib(attributes->guid, attributes->wMajorVerNum, attributes->wMinorVerNum, attributes->lcid,
                               attributes->syskind);
    library->ReleaseTLibAttr(attributes);
    const bool absent = result == TYPE_E_REGISTRYACCESS || result == kUnknownFile;
    return absent ? S_OK : result;
}

} // namespace

std::wstring OwnPath()
{
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        // A path that does not fit is cut to the buffer's size.
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

HRESULT RegisterServer()
{
    win::ComPtr<ITypeLib> library;
    HRESULT result = LoadOwnTypeLibrary(REGKIND_REGISTER, library);
    for (const ServerClass& serverClass : kClasses) {
        const std::wstring key = ClassKeyPath(serverClass.identifier);
        if (SUCCEEDED(result)) {
            result = SetDefaultValue(key, serverClass.name);
        }
        if (SUCCEEDED(result)) {
            result = SetDefaultValue(key + L"\\LocalServer32", L'"' + OwnPath() + L'"');
        }
    }
    return result;
}

HRESULT UnregisterServer()
{
    HRESULT result = UnregisterTypeLibrary();
    for (const ServerClass& serverClass : kClasses) {
        const LSTATUS status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, ClassKeyPath(serverClass.identifier).c_str());
        if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND && SUCCEEDED(result)) {
            result = FromWindowsError(static_cast<DWORD>(status));
        }
    }
    return result;
}

} // namespace sim
