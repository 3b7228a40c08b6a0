#include "engine/class_object.h"

#include "base/guid.h"
#include "engine/agent_object.h"
#include "engine/serve.h"
#include "engine/service_objects.h"

#include <array>
#include <utility>

namespace sim {

namespace {

// The interface's name where it is one that clients of a server class ask for, otherwise its identifier.
std::wstring InterfaceText(REFIID iid)
{
    const std::pair<const GUID&, std::wstring_view> known[] = {{__uuidof(IUnknown), L"IUnknown"},
                                                               {__uuidof(IVLAgent), L"IVLAgent"},
                                                               {__uuidof(IVLService), L"IVLService"},
                                                               {__uuidof(IVLRefresh), L"IVLRefresh"}};
    for (const auto& [identifier, name] : known) {
        if (IsEqualGUID(identifier, iid)) {
            return std::wstring(name);
        }
    }
    std::array<wchar_t, 39> text{};
    StringFromGUID2(iid, text.data(), static_cast<int>(text.size()));
    return text.data();
}

template <typename Object>
HRESULT Create(const std::shared_ptr<Engine>& engine, REFIID iid, void** object, std::wstring& label)
{
    const win::ComPtr<Object> created = MakeObject<Object>(engine);
    label = created->Label();
    return created->QueryInterface(iid, object);
}

} // namespace

ClassObject::ClassObject(std::shared_ptr<Engine> engine, Method createMethod, Creator create)
    : engine_(std::move(engine)), createMethod_(createMethod), create_(create)
{}

HRESULT ClassObject::CreateInstance(IUnknown* outer, REFIID iid, void** object)
{
    const GUID wanted = CopyGuid(&iid);
    const Arguments arguments = Arguments().Add(L"iid", InterfaceText(wanted));
    return Serve(*engine_, L"", createMethod_, arguments, ObjectOutput(L"object", object),
                 [&](ObjectOutput<void>& output) {
                     if (outer != nullptr) {
                         return CLASS_E_NOAGGREGATION;
                     }
                     void* created = nullptr;
                     std::wstring label;
                     const HRESULT result = create_(engine_, wanted, &created, label);
                     if (SUCCEEDED(result)) {
                         output.Put(created, label);
                     }
                     return result;
                 });
}

HRESULT ClassObject::LockServer(BOOL lock)
{
    if (lock != FALSE) {
        engine_->Life().Hold();
    } else {
        engine_->Life().Drop();
    }
    return S_OK;
}

win::ComPtr<ClassObject> MakeAgentClass(std::shared_ptr<Engine> engine)
{
    return MakeObject<ClassObject>(std::move(engine), Method::AgentCreateInstance, &Create<AgentObject>);
}

win::ComPtr<ClassObject> MakeServiceClass(std::shared_ptr<Engine> engine)
{
    return MakeObject<ClassObject>(std::move(engine), Method::ServiceCreateInstance, &Create<ServiceObject>);
}

} // namespace sim
