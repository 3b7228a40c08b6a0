#pragma once

#include "engine/com_object.h"

#include <memory>

namespace sim {

// The service beside the drive manager, with its two interfaces.
class ServiceObject final : public ComObject<ServiceSlots, RefreshSlots> {
public:
    explicit ServiceObject(std::shared_ptr<Engine> engine);

    HRESULT STDMETHODCALLTYPE GetServiceState(ULONG* state) override;
    HRESULT STDMETHODCALLTYPE GetSchedule(IVLSchedule** schedule) override;
    HRESULT STDMETHODCALLTYPE Refresh() override;
};

// The named schedules of the computer.
class ScheduleObject final : public ComObject<ScheduleSlots> {
public:
    explicit ScheduleObject(std::shared_ptr<Engine> engine);

    HRESULT STDMETHODCALLTYPE RunByName(BSTR scheduleName) override;
};

} // namespace sim
