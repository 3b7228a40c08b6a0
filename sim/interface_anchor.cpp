#include "interface_anchor.h"

#include "guid.h"
#include "registry_keys.h"

#include <vlengine.h>

#include <algorithm>
#include <array>
#include <atomic>

namespace sim {

namespace {

const std::array<GUID, 6> kInterfaces = {__uuidof(IVLAgent),   __uuidof(IVLDrive),    __uuidof(IVLService),
                                         __uuidof(IVLRefresh), __uuidof(IVLSchedule), __uuidof(IVLStatistics)};

#pragma GCC diagnostic push
// An interface of COM cannot have a virtual destructor, which would take a slot of its vtable.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// An object that says it has every interface of the engine. As no client ever gets it, none of their methods is called,
// so that IUnknown is all that it needs to have.
class AnchorObject final : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (object == nullptr) {
            return E_POINTER;
        }
        const GUID wanted = CopyGuid(&iid);
        const bool known = IsEqualGUID(wanted, __uuidof(IUnknown)) ||
                           std::ranges::any_of(kInterfaces, [&](const GUID& own) { return IsEqualGUID(own, wanted); });
        *object = known ? this : nullptr;
        if (!known) {
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

private:
    virtual ~AnchorObject() = default;

    std::atomic<ULONG> references_ = 1;
};

#pragma GCC diagnostic pop

} // namespace

InterfaceAnchor::~InterfaceAnchor()
{
    for (const win::ComPtr<IStream>& stream : marshalled_) {
        if (SUCCEEDED(stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr))) {
            CoReleaseMarshalData(stream.Get());
        }
    }
}

HRESULT InterfaceAnchor::Hold()
{
    HRESULT loaded = LoadTypeLibEx(ModulePath(nullptr).c_str(), REGKIND_NONE, typeLibrary_.Put());
    if (FAILED(loaded)) {
        return loaded;
    }
    win::ComPtr<IUnknown> anchor;
    anchor.Attach(new AnchorObject);
    for (const GUID& iid : kInterfaces) {
        win::ComPtr<IStream> stream;
        HRESULT result = CreateStreamOnHGlobal(nullptr, TRUE, stream.Put());
        if (SUCCEEDED(result)) {
            result = CoMarshalInterface(stream.Get(), iid, anchor.Get(), MSHCTX_LOCAL, nullptr, MSHLFLAGS_TABLESTRONG);
        }
        if (FAILED(result)) {
            return result;
        }
        marshalled_.push_back(stream);
    }
    return S_OK;
}

} // namespace sim
