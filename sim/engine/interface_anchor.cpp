#include "engine/interface_anchor.h"

#include "base/counted_object.h"
#include "base/guid.h"
#include "base/registry_keys.h"

#include <vlengine.h>

#include <algorithm>
#include <array>

namespace sim {

namespace {

const std::array<GUID, 6> kInterfaces = {__uuidof(IVLAgent),   __uuidof(IVLDrive),    __uuidof(IVLService),
                                         __uuidof(IVLRefresh), __uuidof(IVLSchedule), __uuidof(IVLStatistics)};

// An object that says it has every interface of the engine. As no client ever gets it, none of their methods is called,
// so that IUnknown is all that it needs to have.
class AnchorObject final : public CountedObject<IUnknown> {
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
};

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
    const win::ComPtr<AnchorObject> anchor = MakeObject<AnchorObject>();
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
