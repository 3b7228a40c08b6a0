#include "ado/class_factory.h"

#include <new>

namespace sim::ado {

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
