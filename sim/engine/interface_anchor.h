#pragma once

#include "win/com_ptr.h"

#include <vector>

namespace sim {

// Keeps the engine's interfaces known to the RPC run-time for as long as it lives, whether or not an object with them
// is in the hands of a client.
//
// Without it, Wine makes an interface known with its first object and forgets it with the last one. There, Wine 8 may
// wait for ever: when the last object is released while the call before is still being finished on another thread, the
// end of that call goes unnoticed. A client that asks a drive for its name and releases it does just that.
//
// The type library is kept loaded for the same time: it is needed for every object that goes to a client, and would be
// read from this program's file every time.
class InterfaceAnchor {
public:
    InterfaceAnchor() = default;
    InterfaceAnchor(const InterfaceAnchor&) = delete;
    InterfaceAnchor& operator=(const InterfaceAnchor&) = delete;
    ~InterfaceAnchor();

    // Makes the interfaces known; answers the first failure. The calling thread is in the multithreaded apartment,
    // where the anchor must also go.
    [[nodiscard]] HRESULT Hold();

private:
    win::ComPtr<ITypeLib> typeLibrary_;
    std::vector<win::ComPtr<IStream>> marshalled_;
};

} // namespace sim
