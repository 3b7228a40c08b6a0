#pragma once

#include "database/statistics_database.h"
#include "engine/call_log.h"
#include "engine/engine_drives.h"
#include "engine/faults.h"
#include "engine/server_life.h"
#include "scenario/methods.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

// The kinds of objects that the server hands out.
enum class ObjectKind { Agent, Service, Drive, Schedule, Statistics };

// What all objects of the server share: the drives, the faults that the scenario orders, the log, the server's life and
// the count of the objects. Safe to use from any thread.
class Engine {
public:
    // The engine of a scenario, writing its log and held by its objects; log and life outlast it.
    Engine(const Scenario& scenario, CallLog& log, ServerLife& life);

    [[nodiscard]] EngineDrives& Drives() { return drives_; }
    [[nodiscard]] FaultTable& Faults() { return faults_; }
    [[nodiscard]] ServerLife& Life() { return life_; }

    // What CheckAccess hands out.
    [[nodiscard]] std::uint32_t Rights() const { return rights_; }

    // What the service is doing: what the scenario says, otherwise 1 while a drive is at work and 0 at rest.
    [[nodiscard]] std::uint32_t ServiceState() const;

    // Counts a new object, which holds the server, and gives it its label, such as agent#1 or drive#2[C:\].
    [[nodiscard]] std::wstring ObjectCreated(ObjectKind kind, std::wstring_view about);

    // Takes the object out of the count, and logs that it is gone.
    void ObjectReleased(ObjectKind kind, std::wstring_view label);

    // Logs one call: the object's label (none for a class object), the method's full name, the arguments, the result
    // and what was handed out.
    void LogCall(std::wstring_view label, std::wstring_view method, std::wstring_view arguments, HRESULT result,
                 std::wstring_view output);

    // Begins the log with the line that tells how much of everything the computer has.
    void BeginLog() const;

    // Ends the log with the line that tells how many objects of each kind clients still hold.
    void EndLog() const;

private:
    static constexpr std::size_t kKindCount = static_cast<std::size_t>(ObjectKind::Statistics) + 1;

    struct Count {
        unsigned long long created = 0;
        unsigned long long live = 0;
    };

    void Record(const FinishedWork& work);

    StatisticsDatabase database_;
    EngineDrives drives_;
    FaultTable faults_;
    std::size_t faultCount_;
    std::uint32_t rights_;
    std::optional<std::uint32_t> serviceState_;
    CallLog& log_;
    ServerLife& life_;
    mutable std::mutex lock_; // guards counts_
    std::array<Count, kKindCount> counts_;
};

} // namespace sim
