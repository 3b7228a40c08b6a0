#include "ado/class_factory.h"

#include "guid.h"

#include <new>

namespace sim::ado {

HRESULT ClassFactory::QueryInterface(REFIID iid, void** object)
{
    if (object == nullptr) {
        return E_POINTER;
    }
    const GUID wanted = CopyGuid(&iid);
    if (!IsEqualGUID(wanted, __uuidof(IUnknown)) && !IsEqualGUID(wanted, __uuidof(IClassFactory))) {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    *object = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
}

ULONG ClassFactory::AddRef()
{
    return ++references_;
}

ULONG ClassFactory::Release()
{
    const ULONG left = --references_;
    if (left == 0) {
        delete this;
    }
    return left;
}

HRESULT ClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** object)
{
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if (outer != nullptr) {
        return CLASS_E_NOAGGREGATION;
    }
    try {
        return create_(iid, object);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT ClassFactory::LockServer(BOOL lock)
{
    ModuleHold::Lock(lock != FALSE);
    return S_OK;
}

} // namespace sim::ado
