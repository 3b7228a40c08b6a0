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

// clang-format off

class DriveSlots : public IVLDrive {
public:
    using Contract = IVLDrive;

    HRESULT STDMETHODCALLTYPE Reserved5() override { return OnReserved(L"IVLDrive", 5); }
    HRESULT STDMETHODCALLTYPE Reserved6() override { return OnReserved(L"IVLDrive", 6); }
    HRESULT STDMETHODCALLTYPE Reserved7() override { return OnReserved(L"IVLDrive", 7); }
    HRESULT STDMETHODCALLTYPE Reserved8() override { return OnReserved(L"IVLDrive", 8); }
    HRESULT STDMETHODCALLTYPE Reserved9() override { return OnReserved(L"IVLDrive", 9); }
    HRESULT STDMETHODCALLTYPE Reserved10() override { return OnReserved(L"IVLDrive", 10); }
    HRESULT STDMETHODCALLTYPE Reserved11() override { return OnReserved(L"IVLDrive", 11); }
    HRESULT STDMETHODCALLTYPE Reserved12() override { return OnReserved(L"IVLDrive", 12); }
    HRESULT STDMETHODCALLTYPE Reserved13() override { return OnReserved(L"IVLDrive", 13); }
    HRESULT STDMETHODCALLTYPE Reserved14() override { return OnReserved(L"IVLDrive", 14); }
    HRESULT STDMETHODCALLTYPE Reserved15() override { return OnReserved(L"IVLDrive", 15); }
    HRESULT STDMETHODCALLTYPE Reserved16() override { return OnReserved(L"IVLDrive", 16); }
    HRESULT STDMETHODCALLTYPE Reserved17() override { return OnReserved(L"IVLDrive", 17); }
    HRESULT STDMETHODCALLTYPE Reserved18() override { return OnReserved(L"IVLDrive", 18); }
    HRESULT STDMETHODCALLTYPE Reserved19() override { return OnReserved(L"IVLDrive", 19); }
    HRESULT STDMETHODCALLTYPE Reserved20() override { return OnReserved(L"IVLDrive", 20); }
    HRESULT STDMETHODCALLTYPE Reserved21() override { return OnReserved(L"IVLDrive", 21); }
    HRESULT STDMETHODCALLTYPE Reserved22() override { return OnReserved(L"IVLDrive", 22); }
    HRESULT STDMETHODCALLTYPE Reserved23() override { return OnReserved(L"IVLDrive", 23); }
    HRESULT STDMETHODCALLTYPE Reserved24() override { return OnReserved(L"IVLDrive", 24); }
    HRESULT STDMETHODCALLTYPE Reserved25() override { return OnReserved(L"IVLDrive", 25); }
    HRESULT STDMETHODCALLTYPE Reserved27() override { return OnReserved(L"IVLDrive", 27); }
    HRESULT STDMETHODCALLTYPE Reserved28() override { return OnReserved(L"IVLDrive", 28); }
    HRESULT STDMETHODCALLTYPE Reserved29() override { return OnReserved(L"IVLDrive", 29); }
    HRESULT STDMETHODCALLTYPE Reserved30() override { return OnReserved(L"IVLDrive", 30); }
    HRESULT STDMETHODCALLTYPE Reserved31() override { return OnReserved(L"IVLDrive", 31); }
    HRESULT STDMETHODCALLTYPE Reserved32() override { return OnReserved(L"IVLDrive", 32); }
    HRESULT STDMETHODCALLTYPE Reserved33() override { return OnReserved(L"IVLDrive", 33); }
    HRESULT STDMETHODCALLTYPE Reserved34() override { return OnReserved(L"IVLDrive", 34); }
    HRESULT STDMETHODCALLTYPE Reserved35() override { return OnReserved(L"IVLDrive", 35); }
    HRESULT STDMETHODCALLTYPE Reserved36() override { return OnReserved(L"IVLDrive", 36); }
    HRESULT STDMETHODCALLTYPE Reserved37() override { return OnReserved(L"IVLDrive", 37); }

protected:
    ~DriveSlots() = default;

    // Answers a call of the slot at this vtable position.
    virtual HRESULT OnReserved(std::wstring_view interfaceName, unsigned slot) = 0;
};

class ScheduleSlots : public IVLSchedule {
public:
    using Contract = IVLSchedule;

    HRESULT STDMETHODCALLTYPE Reserved3() override { return OnReserved(L"IVLSchedule", 3); }
    HRESULT STDMETHODCALLTYPE Reserved4() override { return OnReserved(L"IVLSchedule", 4); }
    HRESULT STDMETHODCALLTYPE Reserved5() override { return OnReserved(L"IVLSchedule", 5); }
    HRESULT STDMETHODCALLTYPE Reserved6() override { return OnReserved(L"IVLSchedule", 6); }
    HRESULT STDMETHODCALLTYPE Reserved7() override { return OnReserved(L"IVLSchedule", 7); }
    HRESULT STDMETHODCALLTYPE Reserved8() override { return OnReserved(L"IVLSchedule", 8); }
    HRESULT STDMETHODCALLTYPE Reserved9() override { return OnReserved(L"IVLSchedule", 9); }
    HRESULT STDMETHODCALLTYPE Reserved10() override { return OnReserved(L"IVLSchedule", 10); }
    HRESULT STDMETHODCALLTYPE Reserved11() override { return OnReserved(L"IVLSchedule", 11); }
    HRESULT STDMETHODCALLTYPE Reserved12() override { return OnReserved(L"IVLSchedule", 12); }
    HRESULT STDMETHODCALLTYPE Reserved13() override { return OnReserved(L"IVLSchedule", 13); }
    HRESULT STDMETHODCALLTYPE Reserved14() override { return OnReserved(L"IVLSchedule", 14); }
    HRESULT STDMETHODCALLTYPE Reserved15() override { return OnReserved(L"IVLSchedule", 15); }
    HRESULT STDMETHODCALLTYPE Reserved16() override { return OnReserved(L"IVLSchedule", 16); }
    HRESULT STDMETHODCALLTYPE Reserved17() override { return OnReserved(L"IVLSchedule", 17); }
    HRESULT STDMETHODCALLTYPE Reserved18() override { return OnReserved(L"IVLSchedule", 18); }
    HRESULT STDMETHODCALLTYPE Reserved19() override { return OnReserved(L"IVLSchedule", 19); }
    HRESULT STDMETHODCALLTYPE Reserved20() override { return OnReserved(L"IVLSchedule", 20); }
    HRESULT STDMETHODCALLTYPE Reserved21() override { return OnReserved(L"IVLSchedule", 21); }
    HRESULT STDMETHODCALLTYPE Reserved22() override { return OnReserved(L"IVLSchedule", 22); }
    HRESULT STDMETHODCALLTYPE Reserved23() override { return OnReserved(L"IVLSchedule", 23); }
    HRESULT STDMETHODCALLTYPE Reserved24() override { return OnReserved(L"IVLSchedule", 24); }
    HRESULT STDMETHODCALLTYPE Reserved25() override { return OnReserved(L"IVLSchedule", 25); }

protected:
    ~ScheduleSlots() = default;

    // Answers a call of the slot at this vtable position.
    virtual HRESULT OnReserved(std::wstring_view interfaceName, unsigned slot) = 0;
};

class AgentSlots : public IVLAgent {
public:
    using Contract = IVLAgent;

    HRESULT STDMETHODCALLTYPE Reserved4() override { return OnReserved(L"IVLAgent", 4); }
    HRESULT STDMETHODCALLTYPE Reserved6() override { return OnReserved(L"IVLAgent", 6); }
    HRESULT STDMETHODCALLTYPE Reserved7() override { return OnReserved(L"IVLAgent", 7); }
    HRESULT STDMETHODCALLTYPE Reserved10() override { return OnReserved(L"IVLAgent", 10); }
    HRESULT STDMETHODCALLTYPE Reserved13() override { return OnReserved(L"IVLAgent", 13); }
    HRESULT STDMETHODCALLTYPE Reserved19() override { return OnReserved(L"IVLAgent", 19); }
    HRESULT STDMETHODCALLTYPE Reserved20() override { return OnReserved(L"IVLAgent", 20); }
    HRESULT STDMETHODCALLTYPE Reserved24() override { return OnReserved(L"IVLAgent", 24); }
    HRESULT STDMETHODCALLTYPE Reserved25() override { return OnReserved(L"IVLAgent", 25); }
    HRESULT STDMETHODCALLTYPE Reserved26() override { return OnReserved(L"IVLAgent", 26); }
    HRESULT STDMETHODCALLTYPE Reserved27() override { return OnReserved(L"IVLAgent", 27); }
    HRESULT STDMETHODCALLTYPE Reserved28() override { return OnReserved(L"IVLAgent", 28); }
    HRESULT STDMETHODCALLTYPE Reserved29() override { return OnReserved(L"IVLAgent", 29); }
    HRESULT STDMETHODCALLTYPE Reserved30() override { return OnReserved(L"IVLAgent", 30); }
    HRESULT STDMETHODCALLTYPE Reserved31() override { return OnReserved(L"IVLAgent", 31); }
    HRESULT STDMETHODCALLTYPE Reserved32() override { return OnReserved(L"IVLAgent", 32); }
    HRESULT STDMETHODCALLTYPE Reserved33() override { return OnReserved(L"IVLAgent", 33); }
    HRESULT STDMETHODCALLTYPE Reserved34() override { return OnReserved(L"IVLAgent", 34); }
    HRESULT STDMETHODCALLTYPE Reserved35() override { return OnReserved(L"IVLAgent", 35); }
    HRESULT STDMETHODCALLTYPE Reserved36() override { return OnReserved(L"IVLAgent", 36); }
    HRESULT STDMETHODCALLTYPE Reserved37() override { return OnReserved(L"IVLAgent", 37); }
    HRESULT STDMETHODCALLTYPE Reserved38() override { return OnReserved(L"IVLAgent", 38); }
    HRESULT STDMETHODCALLTYPE Reserved39() override { return OnReserved(L"IVLAgent", 39); }
    HRESULT STDMETHODCALLTYPE Reserved40() override { return OnReserved(L"IVLAgent", 40); }
    HRESULT STDMETHODCALLTYPE Reserved41() override { return OnReserved(L"IVLAgent", 41); }
    HRESULT STDMETHODCALLTYPE Reserved42() override { return OnReserved(L"IVLAgent", 42); }
    HRESULT STDMETHODCALLTYPE Reserved43() override { return OnReserved(L"IVLAgent", 43); }
    HRESULT STDMETHODCALLTYPE Reserved44() override { return OnReserved(L"IVLAgent", 44); }
    HRESULT STDMETHODCALLTYPE Reserved45() override { return OnReserved(L"IVLAgent", 45); }
    HRESULT STDMETHODCALLTYPE Reserved46() override { return OnReserved(L"IVLAgent", 46); }
    HRESULT STDMETHODCALLTYPE Reserved47() override { return OnReserved(L"IVLAgent", 47); }

protected:
    ~AgentSlots() = default;

    // Answers a call of the slot at this vtable position.
    virtual HRESULT OnReserved(std::wstring_view interfaceName, unsigned slot) = 0;
};

class ServiceSlots : public IVLService {
public:
    using Contract = IVLService;

    HRESULT STDMETHODCALLTYPE Reserved3() override { return OnReserved(L"IVLService", 3); }
    HRESULT STDMETHODCALLTYPE Reserved4() override { return OnReserved(L"IVLService", 4); }
    HRESULT STDMETHODCALLTYPE Reserved5() override { return OnReserved(L"IVLService", 5); }
    HRESULT STDMETHODCALLTYPE Reserved6() override { return OnReserved(L"IVLService", 6); }
    HRESULT STDMETHODCALLTYPE Reserved7() override { return OnReserved(L"IVLService", 7); }
    HRESULT STDMETHODCALLTYPE Reserved8() override { return OnReserved(L"IVLService", 8); }
    HRESULT STDMETHODCALLTYPE Reserved9() override { return OnReserved(L"IVLService", 9); }
    HRESULT STDMETHODCALLTYPE Reserved10() override { return OnReserved(L"IVLService", 10); }
    HRESULT STDMETHODCALLTYPE Reserved12() override { return OnReserved(L"IVLService", 12); }

protected:
    ~ServiceSlots() = default;

    // Answers a call of the slot at this vtable position.
    virtual HRESULT OnReserved(std::wstring_view interfaceName, unsigned slot) = 0;
};

class RefreshSlots : public IVLRefresh {
public:
    using Contract = IVLRefresh;

    HRESULT STDMETHODCALLTYPE Reserved3() override { return OnReserved(L"IVLRefresh", 3); }
    HRESULT STDMETHODCALLTYPE Reserved4() override { return OnReserved(L"IVLRefresh", 4); }
    HRESULT STDMETHODCALLTYPE Reserved5() override { return OnReserved(L"IVLRefresh", 5); }
    HRESULT STDMETHODCALLTYPE Reserved6() override { return OnReserved(L"IVLRefresh", 6); }
    HRESULT STDMETHODCALLTYPE Reserved7() override { return OnReserved(L"IVLRefresh", 7); }
    HRESULT STDMETHODCALLTYPE Reserved8() override { return OnReserved(L"IVLRefresh", 8); }
    HRESULT STDMETHODCALLTYPE Reserved9() override { return OnReserved(L"IVLRefresh", 9); }
    HRESULT STDMETHODCALLTYPE Reserved10() override { return OnReserved(L"IVLRefresh", 10); }
    HRESULT STDMETHODCALLTYPE Reserved11() override { return OnReserved(L"IVLRefresh", 11); }
    HRESULT STDMETHODCALLTYPE Reserved12() override { return OnReserved(L"IVLRefresh", 12); }
    HRESULT STDMETHODCALLTYPE Reserved13() override { return OnReserved(L"IVLRefresh", 13); }
    HRESULT STDMETHODCALLTYPE Reserved14() override { return OnReserved(L"IVLRefresh", 14); }
    HRESULT STDMETHODCALLTYPE Reserved15() override { return OnReserved(L"IVLRefresh", 15); }
    HRESULT STDMETHODCALLTYPE Reserved16() override { return OnReserved(L"IVLRefresh", 16); }
    HRESULT STDMETHODCALLTYPE Reserved17() override { return OnReserved(L"IVLRefresh", 17); }
    HRESULT STDMETHODCALLTYPE Reserved18() override { return OnReserved(L"IVLRefresh", 18); }
    HRESULT STDMETHODCALLTYPE Reserved19() override { return OnReserved(L"IVLRefresh", 19); }
    HRESULT STDMETHODCALLTYPE Reserved20() override { return OnReserved(L"IVLRefresh", 20); }
    HRESULT STDMETHODCALLTYPE Reserved21() override { return OnReserved(L"IVLRefresh", 21); }
    HRESULT STDMETHODCALLTYPE Reserved22() override { return OnReserved(L"IVLRefresh", 22); }
    HRESULT STDMETHODCALLTYPE Reserved23() override { return OnReserved(L"IVLRefresh", 23); }
    HRESULT STDMETHODCALLTYPE Reserved24() override { return OnReserved(L"IVLRefresh", 24); }
    HRESULT STDMETHODCALLTYPE Reserved25() override { return OnReserved(L"IVLRefresh", 25); }

protected:
    ~RefreshSlots() = default;

    // Answers a call of the slot at this vtable position.
    virtual HRESULT OnReserved(std::wstring_view interfaceName, unsigned slot) = 0;
};

// IVLStatistics has no such slots; its class is there for ComObject, which wants to be told the interface.
class StatisticsSlots : public IVLStatistics {
public:
    using Contract = IVLStatistics;

protected:
    ~StatisticsSlots() = default;

    virtual HRESULT OnReserved(std::wstring_view interfaceName, unsigned slot) = 0;
};

// clang-format on

} // namespace sim

#ifdef __GNUC__
#pragma GCC diagnostic pop
#endif
