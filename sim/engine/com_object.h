#pragma once

#include "base/counted_object.h"
#include "engine/engine.h"
#include "engine/reserved_slots.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace sim {

// What the objects of the server have in common: the label under which the log shows them, and their reserved slots.
// Faces are the classes of reserved_slots.h for the interfaces that the object has.
template <typename... Faces>
class ComObject : public CountedObject<Faces...> {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        return this->template OfferInterfaces<typename Faces::Contract...>(iid, object);
    }

    // The name of the object in the log.
    [[nodiscard]] const std::wstring& Label() const { return label_; }

protected:
    // An object with one reference, which belongs to the creator. About says in its label what it stands for.
    ComObject(std::shared_ptr<Engine> engine, ObjectKind kind, std::wstring_view about = {})
        : engine_(std::move(engine)), kind_(kind), label_(engine_->ObjectCreated(kind, about))
    {}
    ~ComObject() override { engine_->ObjectReleased(kind_, label_); }

    [[nodiscard]] const std::shared_ptr<Engine>& SharedEngine() const { return engine_; }
    [[nodiscard]] EngineDrives& Drives() const { return engine_->Drives(); }

    HRESULT OnReserved(std::wstring_view interfaceName, unsigned slot) override
    {
        engine_->LogCall(label_, std::wstring(interfaceName) + L"::Reserved" + std::to_wstring(slot), L"", E_NOTIMPL,
                         L"");
        return E_NOTIMPL;
    }

private:
    std::shared_ptr<Engine> engine_;
    ObjectKind kind_;
    std::wstring label_;
};

} // namespace sim
