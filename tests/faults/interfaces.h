#pragma once

#include "win/windows_api.h"

#include <cstddef>
#include <span>

namespace faults {

// A method of an interface, by its place among the interface's functions.
struct Method {
    std::size_t slot;
    const char* name; // in the table of functions
    // The argument, counted from the object itself, that points to the place of an interface that it hands out, and
    // that interface.
    int object = 0;
    const IID* interfaceId = nullptr;
};

// An interface of the engine or of ADO.
struct Interface {
    const IID* id;
    std::size_t slots; // how many functions an object's table has at least
    std::span<const Method> methods;
};

// The interface of this identifier, or null.
[[nodiscard]] const Interface* FindInterface(const IID& id);

} // namespace faults
