#pragma once

#include "base/counted_object.h"
#include "engine/engine.h"

#include <memory>
#include <string>

namespace sim {

// Makes one kind of object for a client: its interface goes to the place, its label is the result's text.
using Creator = HRESULT (*)(const std::shared_ptr<Engine>& engine, REFIID iid, void** object, std::wstring& label);

// A class object: what COM asks for instances of one server class. Being held by a client does not hold the server.
class ClassObject final : public SingleInterfaceObject<IClassFactory> {
public:
    ClassObject(std::shared_ptr<Engine> engine, Method createMethod, Creator create);

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

private:
    std::shared_ptr<Engine> engine_;
    Method createMethod_;
    Creator create_;
};

// The class objects of the two server classes.
[[nodiscard]] win::ComPtr<ClassObject> MakeAgentClass(std::shared_ptr<Engine> engine);
[[nodiscard]] win::ComPtr<ClassObject> MakeServiceClass(std::shared_ptr<Engine> engine);

} // namespace sim
