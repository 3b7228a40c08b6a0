#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

namespace sim {

// Every method of the engine for which a scenario can order a fault. The two CreateInstance are those of the class
// objects.
enum class Method {
    AgentCreateInstance,
    ServiceCreateInstance,
    GetDriveList,
    GetDrive,
    Analyze,
    OptimizeOnline,
    DefragFile,
    PrepareOffline,
    ScheduleBootTime,
    CancelBootTime,
    OptimizeOffline,
    StopDrive,
    StopAll,
    CheckAccess,
    GetFileNameById,
    GetStatistics,
    ZeroFreeSpace,
    GetDriveName,
    GetMountPoint,
    GetOfflineFileTypes,
    GetState,
    GetServiceState,
    GetSchedule,
    Refresh,
    RunByName,
    GetInteger,
    GetDouble,
};

// What a method hands out besides its HRESULT.
enum class Output { Nothing, Text, Object, Number, Decimal };

struct MethodInfo {
    std::wstring_view interfaceName;
    std::wstring_view name;
    Output output;
    bool concernsDrive;
};

// How many methods there are; Method's values run from 0 to one less.
extern const std::size_t kMethodCount;

// What is known about a method.
[[nodiscard]] const MethodInfo& InfoOf(Method method);

// The method of this name, given as "Interface::Method" or, where no other interface has it, as "Method" alone, in any
// case; otherwise a text that says what is wrong with the name.
[[nodiscard]] std::variant<Method, std::wstring> FindMethod(std::wstring_view name);

} // namespace sim
