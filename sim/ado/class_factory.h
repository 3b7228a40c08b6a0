#pragma once

#include "ado/module.h"
#include "base/counted_object.h"

namespace sim::ado {

// Makes the objects of one class.
class ClassFactory final : public SingleInterfaceObject<IClassFactory> {
public:
    // Makes an object and asks it for the interface.
    using Creator = HRESULT (*)(REFIID iid, void** object);

    explicit ClassFactory(Creator create) : create_(create) {}

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

private:
    ModuleHold hold_;
    Creator create_;
};

} // namespace sim::ado
