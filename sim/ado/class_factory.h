#pragma once

#include "ado/module.h"

#include "win/com_ptr.h"

#include <atomic>

namespace sim::ado {

#pragma GCC diagnostic push
// An interface of COM cannot have a virtual destructor, which would take a slot of its vtable.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Makes the objects of one class.
class ClassFactory final : public IClassFactory {
public:
    // Makes an object and asks it for the interface.
    using Creator = HRESULT (*)(REFIID iid, void** object);

    explicit ClassFactory(Creator create) : create_(create) {}
    ClassFactory(const ClassFactory&) = delete;
    ClassFactory& operator=(const ClassFactory&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

private:
    virtual ~ClassFactory() = default;

    ModuleHold hold_;
    Creator create_;
    std::atomic<ULONG> references_ = 1;
};

#pragma GCC diagnostic pop

} // namespace sim::ado
