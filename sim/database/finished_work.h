#pragma once

#include "scenario/condition.h"

#include <chrono>
#include <string>

namespace sim {

// The kinds of work of which there are statistics.
enum class RecordedWork { Analysis, Online, Offline };

// A piece of work that a drive has finished, and what it has brought about.
struct FinishedWork {
    RecordedWork work = RecordedWork::Analysis;
    std::wstring driveName;
    std::chrono::milliseconds ago{0}; // since the end of the work
    DriveCondition before;
    DriveCondition after; // of an analysis, the same
};

// The automation date of a moment that is so long ago, in UTC and in local time.
[[nodiscard]] double UtcDate(std::chrono::milliseconds ago);
[[nodiscard]] double LocalDate(std::chrono::milliseconds ago);

} // namespace sim
