#pragma once

#include "win/windows_api.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

namespace testing_support {

// What every slot of the object below does when it is called. It throws instead of returning, because it does not know
// how many arguments its caller passed and would have to clean up.
struct SlotCalled {
    std::size_t slot;
};

using Slot = HRESULT(WINAPI*)();

template <std::size_t Number>
HRESULT WINAPI TellSlot()
{
    throw SlotCalled{Number};
}

template <std::size_t... Numbers>
constexpr std::array<Slot, sizeof...(Numbers)> MakeSlots(std::index_sequence<Numbers...> /*numbers*/)
{
    return {&TellSlot<Numbers>...};
}

inline constexpr std::array<Slot, 60> kSlots = MakeSlots(std::make_index_sequence<60>());

// What the binary standard says an interface pointer points at: the address of a table of functions.
struct RawObject {
    const Slot* table;
};

// A method of an interface without data, its place in the table of functions counted from 0, and a call of it.
template <typename Interface>
struct MethodAtSlot {
    const char* name;
    std::size_t slot;
    std::function<void(Interface&)> call;
};

// Each method is called through its slot.
template <typename Interface>
void ExpectPositions(const std::vector<MethodAtSlot<Interface>>& methods)
{
    RawObject rawObject{kSlots.data()};
    // The compiler must not see that no C++ object of the interface stands there.
    void* volatile address = &rawObject;
    auto& object = *static_cast<Interface*>(address);
    for (const MethodAtSlot<Interface>& method : methods) {
        try {
            method.call(object);
            ADD_FAILURE() << method.name << " called no slot of the table";
        } catch (const SlotCalled& called) {
            EXPECT_EQ(method.slot, called.slot) << method.name;
        }
    }
}

} // namespace testing_support
