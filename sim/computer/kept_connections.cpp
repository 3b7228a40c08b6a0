#include "computer/kept_connections.h"

#include "win/com_ptr.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace sim {

namespace {

struct KeptConnection {
    CLSID identifier;
    win::ComPtr<IClassFactory> factory;
};

// The engine's type library, by which the proxies are made.
constexpr GUID kEngineLibrary{0x91B6F3D0, 0x7A45, 0x4E2C, {0x8F, 0x1D, 0xB0, 0x5C, 0x92, 0xE4, 0x73, 0x6A}};
constexpr WORD kLibraryVersion = 14;

std::mutex lock; // guards what is below
int apartments = 0;
std::vector<KeptConnection> kept;
win::ComPtr<ITypeLib> library;

} // namespace

void CountApartment()
{
    const std::lock_guard guard(lock);
    ++apartments;
}

void UncountApartment()
{
    std::vector<KeptConnection> released;
    const std::lock_guard guard(lock);
    if (--apartments == 0) {
        released = std::exchange(kept, {});
        library.Reset();
    }
}

void KeepConnection(REFCLSID identifier)
{
    const std::lock_guard guard(lock);
    const bool isKept = std::ranges::any_of(
        kept, [&](const KeptConnection& known) { return IsEqualGUID(known.identifier, identifier); });
    if (isKept) {
        return;
    }
    if (!library) {
        // A failure is ignored: where it is not registered there are no proxies that use it.
        static_cast<void>(LoadRegTypeLib(kEngineLibrary, kLibraryVersion, 0, LOCALE_NEUTRAL, library.Put()));
    }
    KeptConnection connection{identifier, {}};
    if (FAILED(CoGetClassObject(identifier, CLSCTX_LOCAL_SERVER, nullptr, __uuidof(IClassFactory),
                                reinterpret_cast<void**>(connection.factory.Put())))) {
        return;
    }
    // A call that reaches the server makes the proxy load everything that releasing it needs.
    win::ComPtr<IPersist> nothing;
    connection.factory->QueryInterface(__uuidof(IPersist), reinterpret_cast<void**>(nothing.Put()));
    kept.push_back(std::move(connection));
}

} // namespace sim
