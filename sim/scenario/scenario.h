#pragma once

#include "scenario/computer_setup.h"
#include "scenario/methods.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace sim {

// What is wrong with a scenario, and in which line (the first is 1; 0 where no line is to blame).
struct ScenarioError {
    std::size_t line = 0;
    std::wstring text;
};

// A figure before and after a run, in percent; either may be missing, as in a point that was only partly recorded.
struct BeforeAfter {
    std::optional<double> before;
    std::optional<double> after;
};

// One recorded statistics point; the date is an automation date in UTC.
struct StatisticsPoint {
    double date = 0;
    BeforeAfter fragmented;
    BeforeAfter freeSpace;
    BeforeAfter performance;
};

// How long the kinds of work take on a drive, and how long it stays "done" afterwards. The defaults outlast the five
// seconds between two polls of a waiting client, so that it sees the drive at work.
struct WorkTimes {
    std::chrono::milliseconds analyze{7000};
    std::chrono::milliseconds defragment{12000};
    std::chrono::milliseconds offlinePass{6000};
    std::chrono::milliseconds file{3000};
    std::chrono::milliseconds done{0};
};

// A drive as the scenario describes it.
struct DriveSetup {
    std::wstring name;
    std::wstring mountPoint;
    std::wstring identity;
    std::uint32_t state = 0;
    std::optional<std::chrono::milliseconds> stateTime; // how long the first state lasts; until work starts if absent
    WorkTimes times;
    std::uint32_t offlineTypes = 0;
    std::optional<std::uint32_t> bootTypes; // scheduled for the next boot with these file types
    bool refusesOffline = false;
    std::map<std::uint64_t, std::wstring> files; // names by identifier
    std::vector<StatisticsPoint> points;         // the newest first
};

enum class ScheduledWork { Nothing, Analyze, Defragment };

// A named schedule: what it starts, and on which drives (their places in Scenario::drives).
struct ScheduleSetup {
    std::wstring name;
    ScheduledWork work = ScheduledWork::Nothing;
    std::vector<std::size_t> drives;
};

// Stands for a null string or a null interface.
struct NullAnswer {};

// What a faulty call hands out instead of its own answer: nothing special, null, a text, a number or a decimal.
using Substitute = std::variant<std::monostate, NullAnswer, std::wstring, std::uint32_t, double>;

// One order to a method. Calls are counted per fault, over those that concern the fault's drive if it names one.
struct Fault {
    Method method = Method::GetDriveList;
    std::optional<std::size_t> drive; // its place in Scenario::drives; every drive if absent
    CallRange calls;
    std::optional<std::uint32_t> failure; // the HRESULT to fail with
    Substitute substitute;
    std::chrono::milliseconds delay{0};
};

// The computer that the simulated engine shows, and what is around it.
struct Scenario {
    std::chrono::milliseconds idleTime{60000};
    std::optional<std::wstring> driveList; // handed out as it stands instead of the drives' own list
    std::optional<std::uint32_t> serviceState;
    std::uint32_t rights = 1;
    std::optional<std::wstring> statisticsDatabase; // in place of what the product's registry value names
    std::vector<DriveSetup> drives;
    std::vector<ScheduleSetup> schedules;
    std::vector<Fault> faults;
    ComputerSetup computer; // around the engine; the tool meets it
};

// Reads a scenario from the UTF-8 text of its file.
[[nodiscard]] std::variant<Scenario, ScenarioError> ParseScenario(std::string_view bytes);

// Reads a scenario from its file; files that it names count from the file's folder.
[[nodiscard]] std::variant<Scenario, ScenarioError> LoadScenario(const std::wstring& path);

// Reads the scenario of an engine: that of the file, or, for the engine of another computer, that of the file which
// this one names for that computer. That scenario's clock has the speed of this one.
[[nodiscard]] std::variant<Scenario, ScenarioError> LoadScenarioOf(const std::wstring& path,
                                                                   const std::wstring& computer);

// "PATH(LINE): TEXT", the one line that tells a user what is wrong.
[[nodiscard]] std::wstring DescribeError(std::wstring_view path, const ScenarioError& error);

} // namespace sim
