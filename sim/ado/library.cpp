// The in-process server of ADO's two classes, over ODBC: what COM asks of a library.

#include "ado/class_factory.h"
#include "ado/connection_object.h"
#include "ado/provider_registration.h"
#include "ado/recordset_object.h"

#include <algorithm>
#include <iterator>
#include <new>

namespace {

using namespace sim::ado;

HMODULE library = nullptr;

template <typename Object>
HRESULT Create(REFIID iid, void** object)
{
    return sim::MakeObject<Object>()->QueryInterface(iid, object);
}

struct ServedClass {
    const GUID& identifier;
    ClassFactory::Creator create;
};

const ServedClass kServedClasses[] = {
    {kConnectionClass, &Create<ConnectionObject>},
    {kRecordsetClass, &Create<RecordsetObject>},
};

} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*reserved*/)
{
    if (reason == DLL_PROCESS_ATTACH) {
        library = instance;
        DisableThreadLibraryCalls(instance);
    }
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID classId, REFIID iid, void** object)
{
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    const GUID wanted = sim::CopyGuid(&classId);
    const auto* const found = std::ranges::find_if(
        kServedClasses, [&](const ServedClass& served) { return IsEqualGUID(served.identifier, wanted) != FALSE; });
    if (found == std::end(kServedClasses)) {
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    win::ComPtr<ClassFactory> factory;
    factory.Attach(new (std::nothrow) ClassFactory(found->create));
    return factory ? factory->QueryInterface(iid, object) : E_OUTOFMEMORY;
}

STDAPI DllCanUnloadNow()
{
    return ModuleHold::IsFree() ? S_OK : S_FALSE;
}

STDAPI DllRegisterServer()
{
    return RegisterProvider(library);
}

STDAPI DllUnregisterServer()
{
    return UnregisterProvider();
}
