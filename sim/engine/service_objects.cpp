#include "engine/service_objects.h"

#include "engine/serve.h"

namespace sim {

ServiceObject::ServiceObject(std::shared_ptr<Engine> engine) : ComObject(std::move(engine), ObjectKind::Service) {}

HRESULT ServiceObject::GetServiceState(ULONG* state)
{
    return Serve(*SharedEngine(), Label(), Method::GetServiceState, Arguments(), NumberOutput(L"state", state),
                 [this](const NumberOutput<ULONG>& output) {
                     output.Put(SharedEngine()->ServiceState());
                     return S_OK;
                 });
}

HRESULT ServiceObject::GetSchedule(IVLSchedule** schedule)
{
    return Serve(*SharedEngine(), Label(), Method::GetSchedule, Arguments(), ObjectOutput(L"schedule", schedule),
                 [this](ObjectOutput<IVLSchedule>& output) {
                     win::ComPtr<ScheduleObject> object = MakeObject<ScheduleObject>(SharedEngine());
                     const std::wstring label = object->Label();
                     output.Put(object.Detach(), label);
                     return S_OK;
                 });
}

HRESULT ServiceObject::Refresh()
{
    return Serve(*SharedEngine(), Label(), Method::Refresh, Arguments(), NoOutput(),
                 [](const NoOutput&) { return S_OK; });
}

ScheduleObject::ScheduleObject(std::shared_ptr<Engine> engine) : ComObject(std::move(engine), ObjectKind::Schedule) {}

HRESULT ScheduleObject::RunByName(BSTR scheduleName)
{
    return Serve(
        *SharedEngine(), Label(), Method::RunByName, Arguments().Text(L"scheduleName", scheduleName), NoOutput(),
        [&](const NoOutput&) { return Drives().RunSchedule(ViewOf(scheduleName), EngineDrives::Clock::now()); });
}

} // namespace sim
