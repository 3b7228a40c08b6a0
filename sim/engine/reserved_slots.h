#pragma once

#include "win/windows_api.h"

#include <vlengine.h>

#include <string_view>

// The slots of the engine's interfaces that nobody is known to call. They keep the other methods in their places, so
// every one of them must be there; whoever implements an interface derives from its class here and answers them all in
// OnReserved.

#ifdef __GNUC__
#pragma GCC diagnostic push
// An interface of COM cannot have a virtual destructor, which would take a slot of its vtable.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

namespace sim {

// What the classes have in common.
template <typename Interface>
class InterfaceSlots : public Interface {
public:
    using Contract = Interface;

protected:
    ~InterfaceSlots() = default;

    // Answers a call of the slot at this vtable position.
    virtual HRESULT OnReserved(std::wstring_view interfaceName, unsigned slot) = 0;
};

// The slot of a class that names its interface in kInterface.
#define VLSIM_RESERVED(slot)                                                                                           \
    HRESULT STDMETHODCALLTYPE Reserved##slot() override                                                                \
    {                                                                                                                  \
        return this->OnReserved(kInterface, slot);                                                                     \
    }

// clang-format off

class DriveSlots : public InterfaceSlots<IVLDrive> {
    static constexpr std::wstring_view kInterface = L"IVLDrive";

public:
    VLSIM_RESERVED(5) VLSIM_RESERVED(6) VLSIM_RESERVED(7) VLSIM_RESERVED(8) VLSIM_RESERVED(9)
    VLSIM_RESERVED(10) VLSIM_RESERVED(11) VLSIM_RESERVED(12) VLSIM_RESERVED(13) VLSIM_RESERVED(14)
    VLSIM_RESERVED(15) VLSIM_RESERVED(16) VLSIM_RESERVED(17) VLSIM_RESERVED(18) VLSIM_RESERVED(19)
    VLSIM_RESERVED(20) VLSIM_RESERVED(21) VLSIM_RESERVED(22) VLSIM_RESERVED(23) VLSIM_RESERVED(24)
    VLSIM_RESERVED(25) VLSIM_RESERVED(27) VLSIM_RESERVED(28) VLSIM_RESERVED(29) VLSIM_RESERVED(30)
    VLSIM_RESERVED(31) VLSIM_RESERVED(32) VLSIM_RESERVED(33) VLSIM_RESERVED(34) VLSIM_RESERVED(35)
    VLSIM_RESERVED(36) VLSIM_RESERVED(37)

protected:
    ~DriveSlots() = default;
};

class ScheduleSlots : public InterfaceSlots<IVLSchedule> {
    static constexpr std::wstring_view kInterface = L"IVLSchedule";

public:
    VLSIM_RESERVED(3) VLSIM_RESERVED(4) VLSIM_RESERVED(5) VLSIM_RESERVED(6) VLSIM_RESERVED(7)
    VLSIM_RESERVED(8) VLSIM_RESERVED(9) VLSIM_RESERVED(10) VLSIM_RESERVED(11) VLSIM_RESERVED(12)
    VLSIM_RESERVED(13) VLSIM_RESERVED(14) VLSIM_RESERVED(15) VLSIM_RESERVED(16) VLSIM_RESERVED(17)
    VLSIM_RESERVED(18) VLSIM_RESERVED(19) VLSIM_RESERVED(20) VLSIM_RESERVED(21) VLSIM_RESERVED(22)
    VLSIM_RESERVED(23) VLSIM_RESERVED(24) VLSIM_RESERVED(25)

protected:
    ~ScheduleSlots() = default;
};

class AgentSlots : public InterfaceSlots<IVLAgent> {
    static constexpr std::wstring_view kInterface = L"IVLAgent";

public:
    VLSIM_RESERVED(4) VLSIM_RESERVED(6) VLSIM_RESERVED(7) VLSIM_RESERVED(10) VLSIM_RESERVED(13)
    VLSIM_RESERVED(19) VLSIM_RESERVED(20) VLSIM_RESERVED(24) VLSIM_RESERVED(25) VLSIM_RESERVED(26)
    VLSIM_RESERVED(27) VLSIM_RESERVED(28) VLSIM_RESERVED(29) VLSIM_RESERVED(30) VLSIM_RESERVED(31)
    VLSIM_RESERVED(32) VLSIM_RESERVED(33) VLSIM_RESERVED(34) VLSIM_RESERVED(35) VLSIM_RESERVED(36)
    VLSIM_RESERVED(37) VLSIM_RESERVED(38) VLSIM_RESERVED(39) VLSIM_RESERVED(40) VLSIM_RESERVED(41)
    VLSIM_RESERVED(42) VLSIM_RESERVED(43) VLSIM_RESERVED(44) VLSIM_RESERVED(45) VLSIM_RESERVED(46)
    VLSIM_RESERVED(47)

protected:
    ~AgentSlots() = default;
};

class ServiceSlots : public InterfaceSlots<IVLService> {
    static constexpr std::wstring_view kInterface = L"IVLService";

public:
    VLSIM_RESERVED(3) VLSIM_RESERVED(4) VLSIM_RESERVED(5) VLSIM_RESERVED(6) VLSIM_RESERVED(7)
    VLSIM_RESERVED(8) VLSIM_RESERVED(9) VLSIM_RESERVED(10) VLSIM_RESERVED(12)

protected:
    ~ServiceSlots() = default;
};

class RefreshSlots : public InterfaceSlots<IVLRefresh> {
    static constexpr std::wstring_view kInterface = L"IVLRefresh";

public:
    VLSIM_RESERVED(3) VLSIM_RESERVED(4) VLSIM_RESERVED(5) VLSIM_RESERVED(6) VLSIM_RESERVED(7)
    VLSIM_RESERVED(8) VLSIM_RESERVED(9) VLSIM_RESERVED(10) VLSIM_RESERVED(11) VLSIM_RESERVED(12)
    VLSIM_RESERVED(13) VLSIM_RESERVED(14) VLSIM_RESERVED(15) VLSIM_RESERVED(16) VLSIM_RESERVED(17)
    VLSIM_RESERVED(18) VLSIM_RESERVED(19) VLSIM_RESERVED(20) VLSIM_RESERVED(21) VLSIM_RESERVED(22)
    VLSIM_RESERVED(23) VLSIM_RESERVED(24) VLSIM_RESERVED(25)

protected:
    ~RefreshSlots() = default;
};

// clang-format on

#undef VLSIM_RESERVED

// IVLStatistics has no such slots.
using StatisticsSlots = InterfaceSlots<IVLStatistics>;

} // namespace sim

#ifdef __GNUC__
#pragma GCC diagnostic pop
#endif
