#include "interfaces.h"

#include "engine/engine_contract.h"

#include <algorithm>
#include <iterator>

namespace faults {

namespace {

constexpr Method kAgent[] = {
    {3, "IVLAgent::GetDriveList"},      {5, "IVLAgent::GetDrive", 2, &__uuidof(IVLDrive)},
    {8, "IVLAgent::Analyze"},           {9, "IVLAgent::OptimizeOnline"},
    {11, "IVLAgent::DefragFile"},       {12, "IVLAgent::PrepareOffline"},
    {14, "IVLAgent::ScheduleBootTime"}, {15, "IVLAgent::CancelBootTime"},
    {16, "IVLAgent::OptimizeOffline"},  {17, "IVLAgent::StopDrive"},
    {18, "IVLAgent::StopAll"},          {21, "IVLAgent::CheckAccess"},
    {22, "IVLAgent::GetFileNameById"},  {23, "IVLAgent::GetStatistics", 4, &__uuidof(IVLStatistics)},
};
constexpr Method kDrive[] = {
    {3, "IVLDrive::GetDriveName"},
    {4, "IVLDrive::GetMountPoint"},
    {26, "IVLDrive::GetOfflineFileTypes"},
    {38, "IVLDrive::GetState"},
};
constexpr Method kService[] = {{13, "IVLService::GetSchedule", 1, &__uuidof(IVLSchedule)}};
constexpr Method kRefresh[] = {{26, "IVLRefresh::Refresh"}};
constexpr Method kSchedule[] = {{26, "IVLSchedule::RunByName"}};
constexpr Method kStatistics[] = {{3, "IVLStatistics::GetInteger"}, {4, "IVLStatistics::GetDouble"}};
constexpr Method kDispatch[] = {{5, "IDispatch::GetIDsOfNames"}, {6, "IDispatch::Invoke"}};

// What stands behind the functions of ADO's interface belongs to its classes, such as their destructors.
constexpr std::size_t kDispatchSlots = 7 + 8;

constexpr Interface kInterfaces[] = {
    {&__uuidof(IVLAgent), 49, kAgent},           {&__uuidof(IVLDrive), 39, kDrive},
    {&__uuidof(IVLService), 14, kService},       {&__uuidof(IVLRefresh), 27, kRefresh},
    {&__uuidof(IVLSchedule), 27, kSchedule},     {&__uuidof(IVLStatistics), 5, kStatistics},
    {&IID_IDispatch, kDispatchSlots, kDispatch},
};

} // namespace

const Interface* FindInterface(const IID& id)
{
    const auto* const found =
        std::ranges::find_if(kInterfaces, [&](const Interface& known) { return IsEqualIID(*known.id, id); });
    return found == std::end(kInterfaces) ? nullptr : found;
}

} // namespace faults
