#pragma once

#include "base/text.h"
#include "scenario/computer_setup.h"

#include "win/text.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace sim {

// What a reader answers: nothing when the value is right, otherwise what is wrong with it.
using Complaint = std::optional<std::wstring>;

// The complaint that begins with the wrong value in quotation marks.
[[nodiscard]] Complaint Wrong(std::wstring_view value, std::wstring_view what);

// Readers of the kinds of values that several keys have. Each puts the value into its place.
Complaint ReadText(std::wstring& place, std::wstring_view value);
Complaint ReadNumber(std::uint32_t& place, std::wstring_view value);
Complaint ReadLargeNumber(std::uint64_t& place, std::wstring_view value);
Complaint ReadSeconds(std::chrono::milliseconds& place, std::wstring_view value);
Complaint ReadCalls(CallRange& place, std::wstring_view value);
Complaint ReadFailure(std::uint32_t& place, std::wstring_view value);

// A word of the scenario and what it stands for.
template <typename Value>
using Choice = std::pair<std::wstring_view, Value>;

// What the word stands for, in any case, or nothing.
template <typename Value, std::size_t Count>
[[nodiscard]] std::optional<Value> FindChoice(const Choice<Value> (&choices)[Count], std::wstring_view word)
{
    for (const auto& [known, value] : choices) {
        if (win::EqualNames(known, word)) {
            return value;
        }
    }
    return std::nullopt;
}

// Reads one of the words of a table; the complaint about another word lists them.
template <const auto& Choices>
Complaint ReadChoice(std::remove_cvref_t<decltype(Choices[0].second)>& place, std::wstring_view word)
{
    if (const auto found = FindChoice(Choices, word)) {
        place = *found;
        return std::nullopt;
    }
    std::wstring what = L"none of";
    for (const auto& choice : Choices) {
        what.append(&choice == Choices ? L" " : L", ").append(choice.first);
    }
    return Wrong(word, what);
}

} // namespace sim
