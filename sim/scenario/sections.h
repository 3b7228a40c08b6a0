#pragma once

#include "scenario/scenario.h"
#include "scenario/values.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// A scenario as its sections stand in the file. What concerns several of them is left to Assemble.

// Work times as far as a section gives them.
struct GivenTimes {
    std::optional<std::chrono::milliseconds> analyze;
    std::optional<std::chrono::milliseconds> defragment;
    std::optional<std::chrono::milliseconds> offlinePass;
    std::optional<std::chrono::milliseconds> file;
    std::optional<std::chrono::milliseconds> done;

    // Puts the given times in place of those that are there.
    void ApplyTo(WorkTimes& place) const
    {
        place.analyze = analyze.value_or(place.analyze);
        place.defragment = defragment.value_or(place.defragment);
        place.offlinePass = offlinePass.value_or(place.offlinePass);
        place.file = file.value_or(place.file);
        place.done = done.value_or(place.done);
    }
};

// A text of the scenario together with its line, for what can only be checked when the whole file is read.
struct Mention {
    std::size_t line = 0;
    std::wstring text;
};

struct DriveSection {
    std::size_t line = 0;
    bool numbered = false; // a [drives] section: {n} stands for the drive's number
    std::uint32_t count = 1;
    DriveSetup setup;
    GivenTimes times;
};

struct ScheduleSection {
    ScheduleSetup setup;
    std::optional<Mention> drives;
};

struct FaultSection {
    std::size_t line = 0;
    bool hasMethod = false;
    Fault fault;
    std::optional<Mention> drive;
    std::size_t answerLine = 0;         // of whichever key gives the answer
    std::optional<std::wstring> number; // the value still to be read, as its range depends on the method
};

struct Sections {
    Scenario scenario; // what [engine] and the sections of the computer around it say
    GivenTimes times;
    std::vector<DriveSection> drives;
    std::vector<ScheduleSection> schedules;
    std::vector<FaultSection> faults;
};

// Reads the lines of a scenario into sections.
class SectionReader {
public:
    // Reads one line, counted from 1.
    Complaint ReadLine(std::size_t line, std::wstring_view text);

    // What has been read.
    [[nodiscard]] Sections& Result() { return sections_; }

private:
    Complaint BeginSection(std::wstring_view text, std::size_t line);
    [[nodiscard]] Complaint ReadKey(std::wstring_view text, std::size_t line) const;

    Sections sections_;
    // Sets a key of the section at hand; null before the first section.
    std::function<Complaint(std::wstring_view name, std::wstring_view value, std::size_t line)> setKey_;
};

// The scenario of the sections, or what is wrong where several lines belong together. Numbers the drives and finds what
// names a drive; the sections are used up.
[[nodiscard]] std::variant<Scenario, ScenarioError> Assemble(Sections& sections);

} // namespace sim
