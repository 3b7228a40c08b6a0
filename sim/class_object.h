#pragma once

#include "engine.h"

#include "win/com_ptr.h"

#include <atomic>
#include <memory>
#include <string>

namespace sim {

// Makes one kind of object for a client: its interface goes to the place, its label is the result's text.
using Creator = HRESULT (*)(const std::shared_ptr<Engine>& engine, REFIID iid, void** object, std::wstring& label);

#pragma GCC diagnostic push
// An interface of COM cannot have a virtual destructor, which would take a slot of its vtable.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// A class object: what COM asks for instances of one server class. Being held by a client does not hold the server.
class ClassObject final : public IClassFactory {
public:
    ClassObject(std::shared_ptr<Engine> engine, Method createMethod, Creator create);
    ClassObject(const ClassObject&) = delete;
    ClassObject& operator=(const ClassObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

private:
    virtual ~ClassObject() = default;

    std::shared_ptr<Engine> engine_;
    Method createMethod_;
    Creator create_;
    std::atomic<ULONG> references_ = 1;
};

#pragma GCC diagnostic pop

// The class objects of the two server classes.
[[nodiscard]] win::ComPtr<ClassObject> MakeAgentClass(std::shared_ptr<Engine> engine);
[[nodiscard]] win::ComPtr<ClassObject> MakeServiceClass(std::shared_ptr<Engine> engine);

} // namespace sim
