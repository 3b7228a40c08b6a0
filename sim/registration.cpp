#include "registration.h"

#include "registry_keys.h"
#include "results.h"

#include "win/com_ptr.h"

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
    return ModulePath(nullptr);
}

HRESULT RegisterServer()
{
    win::ComPtr<ITypeLib> library;
    HRESULT result = LoadOwnTypeLibrary(REGKIND_REGISTER, library);
    for (const ServerClass& serverClass : kClasses) {
        const std::wstring key = ClassKeyPath(serverClass.identifier);
        if (SUCCEEDED(result)) {
            result = SetRegistryText(key, nullptr, serverClass.name);
        }
        if (SUCCEEDED(result)) {
            result = SetRegistryText(key + L"\\LocalServer32", nullptr, L'"' + OwnPath() + L'"');
        }
    }
    return result;
}

HRESULT UnregisterServer()
{
    HRESULT result = UnregisterTypeLibrary();
    for (const ServerClass& serverClass : kClasses) {
        const HRESULT removed = RemoveRegistryKey(ClassKeyPath(serverClass.identifier));
        result = FAILED(result) ? result : removed;
    }
    return result;
}

} // namespace sim
