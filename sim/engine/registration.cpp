#include "engine/registration.h"

#include "base/registry_keys.h"
#include "base/results.h"
#include "engine/server_classes.h"

#include "win/com_ptr.h"

#include <string>
#include <vector>

namespace sim {

namespace {

HRESULT LoadOwnTypeLibrary(REGKIND kind, win::ComPtr<ITypeLib>& library)
{
    // The type library is a resource of this program, which makes the program's path the library's.
    return LoadTypeLibEx(ModulePath(nullptr).c_str(), kind, library.Put());
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
    const bool absent = result == TYPE_E_REGISTRYACCESS || result == FromWindowsError(ERROR_FILE_NOT_FOUND);
    return absent ? S_OK : result;
}

} // namespace

HRESULT RegisterServer()
{
    win::ComPtr<ITypeLib> library;
    const HRESULT result = LoadOwnTypeLibrary(REGKIND_REGISTER, library);
    return SUCCEEDED(result) ? RegisterClasses(L"", ModulePath(nullptr)) : result;
}

HRESULT UnregisterServer()
{
    HRESULT result = UnregisterTypeLibrary();
    std::vector<std::wstring> computers = RegisteredComputers();
    computers.emplace_back();
    for (const std::wstring& computer : computers) {
        if (const HRESULT removed = UnregisterClasses(computer); SUCCEEDED(result)) {
            result = removed;
        }
    }
    return result;
}

} // namespace sim
