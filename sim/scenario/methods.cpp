#include "scenario/methods.h"

#include "win/text.h"

#include <iterator>
#include <optional>

namespace sim {

namespace {

constexpr MethodInfo kMethods[] = {
    {L"VLAgent", L"CreateInstance", Output::Object, false},
    {L"VLService", L"CreateInstance", Output::Object, false},
    {L"IVLAgent", L"GetDriveList", Output::Text, false},
    {L"IVLAgent", L"GetDrive", Output::Object, true},
    {L"IVLAgent", L"Analyze", Output::Nothing, true},
    {L"IVLAgent", L"OptimizeOnline", Output::Nothing, true},
    {L"IVLAgent", L"DefragFile", Output::Nothing, true},
    {L"IVLAgent", L"PrepareOffline", Output::Nothing, true},
    {L"IVLAgent", L"ScheduleBootTime", Output::Nothing, true},
    {L"IVLAgent", L"CancelBootTime", Output::Nothing, true},
    {L"IVLAgent", L"OptimizeOffline", Output::Nothing, true},
    {L"IVLAgent", L"StopDrive", Output::Nothing, true},
    {L"IVLAgent", L"StopAll", Output::Nothing, false},
    {L"IVLAgent", L"CheckAccess", Output::Number, false},
    {L"IVLAgent", L"GetFileNameById", Output::Text, true},
    {L"IVLAgent", L"GetStatistics", Output::Object, true},
    {L"IVLAgent", L"ZeroFreeSpace", Output::Nothing, true},
    {L"IVLDrive", L"GetDriveName", Output::Text, true},
    {L"IVLDrive", L"GetMountPoint", Output::Text, true},
    {L"IVLDrive", L"GetOfflineFileTypes", Output::Number, true},
    {L"IVLDrive", L"GetState", Output::Number, true},
    {L"IVLService", L"GetServiceState", Output::Number, false},
    {L"IVLService", L"GetSchedule", Output::Object, false},
    {L"IVLRefresh", L"Refresh", Output::Nothing, false},
    {L"IVLSchedule", L"RunByName", Output::Nothing, false},
    {L"IVLStatistics", L"GetInteger", Output::Number, true},
    {L"IVLStatistics", L"GetDouble", Output::Decimal, true},
};

static_assert(std::size(kMethods) == static_cast<std::size_t>(Method::GetDouble) + 1);

} // namespace

const std::size_t kMethodCount = std::size(kMethods);

const MethodInfo& InfoOf(Method method)
{
    return kMethods[static_cast<std::size_t>(method)];
}

std::variant<Method, std::wstring> FindMethod(std::wstring_view name)
{
    const std::size_t colons = name.find(L"::");
    const bool qualified = colons != std::wstring_view::npos;
    const std::wstring_view interfaceName = qualified ? name.substr(0, colons) : std::wstring_view();
    const std::wstring_view methodName = qualified ? name.substr(colons + 2) : name;

    std::optional<Method> found;
    for (std::size_t index = 0; index < kMethodCount; ++index) {
        const MethodInfo& info = kMethods[index];
        if (!win::EqualNames(info.name, methodName) ||
            (qualified && !win::EqualNames(info.interfaceName, interfaceName))) {
            continue;
        }
        if (found) {
            return L"more than one interface has the method " + std::wstring(name);
        }
        found = static_cast<Method>(index);
    }
    if (!found) {
        return L"unknown method " + std::wstring(name);
    }
    return *found;
}

} // namespace sim
