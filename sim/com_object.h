#pragma once

#include "engine.h"
#include "guid.h"
#include "reserved_slots.h"

#include "win/com_ptr.h"

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace sim {

// What the objects of the server have in common: the reference count, the choice of the interface, the label under
// which the log shows them, and their reserved slots. Faces are the classes of reserved_slots.h for the interfaces that
// the object has; the first one is also its IUnknown.
template <typename First, typename... Others>
class ComObject : public First, public Others... {
public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (object == nullptr) {
            return E_POINTER;
        }
        *object = nullptr;
        const GUID wanted = CopyGuid(&iid);
        if (IsEqualGUID(wanted, __uuidof(IUnknown)) || IsEqualGUID(wanted, __uuidof(typename First::Contract))) {
            *object = static_cast<typename First::Contract*>(this);
        } else {
            (Offer<Others>(wanted, object), ...);
        }
        if (*object == nullptr) {
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }

    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }

    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = --references_;
        if (left == 0) {
            delete this;
        }
        return left;
    }

    // The name of the object in the log.
    [[nodiscard]] const std::wstring& Label() const { return label_; }

protected:
    // An object with one reference, which belongs to the creator. About says in its label what it stands for.
    ComObject(std::shared_ptr<Engine> engine, ObjectKind kind, std::wstring_view about = {})
        : engine_(std::move(engine)), kind_(kind), label_(engine_->ObjectCreated(kind, about))
    {}
    virtual ~ComObject() { engine_->ObjectReleased(kind_, label_); }

    [[nodiscard]] const std::shared_ptr<Engine>& SharedEngine() const { return engine_; }
    [[nodiscard]] Machine& Computer() const { return engine_->Computer(); }

    HRESULT OnReserved(std::wstring_view interfaceName, unsigned slot) override
    {
        engine_->LogCall(label_, std::wstring(interfaceName) + L"::Reserved" + std::to_wstring(slot), L"", E_NOTIMPL,
                         L"");
        return E_NOTIMPL;
    }

private:
    template <typename Face>
    void Offer(const GUID& wanted, void** object)
    {
        if (IsEqualGUID(wanted, __uuidof(typename Face::Contract))) {
            *object = static_cast<typename Face::Contract*>(this);
        }
    }

    std::shared_ptr<Engine> engine_;
    ObjectKind kind_;
    std::wstring label_;
    std::atomic<ULONG> references_ = 1;
};

// A new object, owned.
template <typename Object, typename... Parameters>
[[nodiscard]] win::ComPtr<Object> MakeObject(Parameters&&... parameters)
{
    win::ComPtr<Object> object;
    object.Attach(new Object(std::forward<Parameters>(parameters)...));
    return object;
}

} // namespace sim
