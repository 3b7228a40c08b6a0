#pragma once

#include "win/com_ptr.h"

#include <vector>

namespace sim {

// Keeps the engine's interfaces registered with the RPC run-time for as long as it lives, whether or not a client holds
// an object that has them.
//
// Without it, Wine registers an interface with its first object and removes it with the last one. Wine 8 can then wait
// for ever: when the last object is released while another thread is still finishing the call before, Wine misses the
// end of that call. A client that asks a drive for its name and releases it does just that.
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
