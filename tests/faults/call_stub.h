#pragma once

#include <cstdint>

namespace faults {

// What stands between a caller and a function, whatever the function's arguments are.
struct Stub {
    void* original;
    std::uint64_t tag; // for whoever made the stub
};

// How a call is seen: its arguments, of which there may be more or fewer than the function has, and what it returns.
struct Call {
    const Stub& stub;
    std::uint64_t* arguments;
    std::uint64_t* returned;
};

// Before the function is called; false for not calling it and returning what the call has been given.
using Before = bool (*)(const Call& call);
// After it has been called.
using After = void (*)(const Call& call);

// Has all calls that go through stubs seen by these two.
void WatchCalls(Before before, After after);

// The address of a new stub, to be called in the function's place. Functions that look for their caller's frame, and
// such with more than twelve arguments, must not be called so. Null where memory has run out.
[[nodiscard]] void* MakeStub(void* original, std::uint64_t tag);

} // namespace faults
