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

std::mutex lock; // guards the two below
int apartments = 0;
std::vector<KeptConnection> kept;

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
    KeptConnection connection{identifier, {}};
    if (FAILED(CoGetClassObject(identifier, CLSCTX_LOCAL_SERVER, nullptr, __uuidof(IClassFactory),
                                reinterpret_cast<void**>(connection.factory.Put())))) {
        return;
    }
    // Only a question that the server has to answer makes the proxy hold what it needs to let go of itself.
    win::ComPtr<IPersist> nothing;
    connection.factory->QueryInterface(__uuidof(IPersist), reinterpret_cast<void**>(nothing.Put()));
    kept.push_back(std::move(connection));
}

} // namespace sim
