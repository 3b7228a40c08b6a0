#pragma once

#include "base/guid.h"

#include "win/com_ptr.h"

#include <atomic>
#include <utility>

namespace sim {

#ifdef __GNUC__
#pragma GCC diagnostic push
// An interface of COM cannot have a virtual destructor, which would take a slot of its vtable.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

// What every COM object has, whatever its interfaces: the reference count and the choice of the interface. Bases are
// interfaces or classes that derive from one each. The first reference belongs to who makes the object; the last
// Release deletes it.
template <typename... Bases>
class CountedObject : public Bases... {
public:
    CountedObject(const CountedObject&) = delete;
    CountedObject(CountedObject&&) = delete;
    CountedObject& operator=(const CountedObject&) = delete;
    CountedObject& operator=(CountedObject&&) = delete;

    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }

    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = --references_;
        if (left == 0) {
            delete this;
        }
        return left;
    }

protected:
    CountedObject() = default;
    virtual ~CountedObject() = default;

    // QueryInterface of an object that has these interfaces; the first of them is also its IUnknown.
    template <typename First, typename... Others>
    HRESULT OfferInterfaces(REFIID iid, void** object)
    {
        if (object == nullptr) {
            return E_POINTER;
        }
        *object = nullptr;
        const GUID wanted = CopyGuid(&iid);
        if (IsEqualGUID(wanted, __uuidof(IUnknown))) {
            *object = static_cast<First*>(this);
        }
        Offer<First>(wanted, object);
        (Offer<Others>(wanted, object), ...);
        if (*object == nullptr) {
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }

private:
    template <typename Interface>
    void Offer(const GUID& wanted, void** object)
    {
        if (IsEqualGUID(wanted, __uuidof(Interface))) {
            *object = static_cast<Interface*>(this);
        }
    }

    std::atomic<ULONG> references_ = 1;
};

// A COM object with one interface.
template <typename Interface>
class SingleInterfaceObject : public CountedObject<Interface> {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        return this->template OfferInterfaces<Interface>(iid, object);
    }
};

#ifdef __GNUC__
#pragma GCC diagnostic pop
#endif

// A new object, owned.
template <typename Object, typename... Parameters>
[[nodiscard]] win::ComPtr<Object> MakeObject(Parameters&&... parameters)
{
    win::ComPtr<Object> object;
    object.Attach(new Object(std::forward<Parameters>(parameters)...));
    return object;
}

} // namespace sim
