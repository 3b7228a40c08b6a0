#pragma once

#include "scenario/computer_setup.h"

#include <cstddef>
#include <optional>
#include <set>
#include <string_view>
#include <variant>

namespace sim {

// Reads the sections of a scenario that tell of the computer around the engine.
class ComputerSections {
public:
    // Whether a section that begins with this word, in any case, is one of these.
    [[nodiscard]] static bool Knows(std::wstring_view word);

    // Begins such a section.
    Complaint Begin(std::wstring_view word, std::wstring_view name, std::size_t line);

    // Reads a key of the section at hand.
    Complaint ReadKey(std::wstring_view key, std::wstring_view value, std::size_t line);

    // The computer of all sections, or what is wrong where several lines belong together. The sections are then empty.
    [[nodiscard]] std::variant<ComputerSetup, ScenarioError> Finish();

private:
    enum class Kind { Machine, Clock, Computer, Volume, Registry, Policy, Console, Fault };

    struct SectionKind {
        std::wstring_view word;
        Kind kind;
        bool named;
    };

    static const SectionKind* FindKind(std::wstring_view word);
    [[nodiscard]] std::optional<ScenarioError> CheckComputers() const;
    [[nodiscard]] std::optional<ScenarioError> CheckVolumes() const;
    [[nodiscard]] std::optional<ScenarioError> CheckRegistry() const;
    [[nodiscard]] std::optional<ScenarioError> CheckFaults() const;

    ComputerSetup computer_;
    Kind kind_ = Kind::Machine;
    std::set<std::wstring_view> seen_; // keys of the section at hand
};

} // namespace sim
