#pragma once

#include <span>
#include <type_traits>

namespace sim {

// What stands in the place of an imported function of Windows. The replacement itself calls Windows: only the program's
// import table is changed, not this library's.
struct Replacement {
    const char* function;
    void* replacement;
};

// The replacements, by what they are about.
[[nodiscard]] std::span<const Replacement> ComReplacements();
[[nodiscard]] std::span<const Replacement> SystemReplacements();
[[nodiscard]] std::span<const Replacement> ClockReplacements();
[[nodiscard]] std::span<const Replacement> ConsoleReplacements();
[[nodiscard]] std::span<const Replacement> VolumeReplacements();
[[nodiscard]] std::span<const Replacement> RegistryReplacements();
[[nodiscard]] std::span<const Replacement> PolicyReplacements();

// A replacement of this function; it compiles only where both have the same signature.
template <typename Function>
[[nodiscard]] Replacement Replace(const char* function, Function* /*original*/,
                                  std::type_identity_t<Function>* replacement)
{
    return {function, reinterpret_cast<void*>(replacement)};
}

} // namespace sim
