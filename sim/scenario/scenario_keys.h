#pragma once

#include "base/text.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace sim {

// What a setter answers: nothing when the value is right, otherwise what is wrong with it.
using Complaint = std::optional<std::wstring>;

// One key of a section: what it is called and what its value, which stands in this line, sets. Sections of the same
// kind share a table.
template <typename Section>
struct Key {
    std::wstring_view name;
    Complaint (*set)(Section& section, std::wstring_view value, std::size_t line);
    bool repeatable = false;
};

// Sets the key of that name, in any case, from one of the tables; seen holds the keys that the section has had so far.
template <typename Section>
Complaint SetKey(Section& section, std::wstring_view name, std::wstring_view value, std::size_t line,
                 std::set<std::wstring_view>& seen,
                 std::initializer_list<std::span<const Key<std::type_identity_t<Section>>>> tables)
{
    for (const std::span<const Key<Section>> table : tables) {
        for (const Key<Section>& key : table) {
            if (!SameIgnoringCase(key.name, name)) {
                continue;
            }
            if (!seen.insert(key.name).second && !key.repeatable) {
                return L"the key " + std::wstring(key.name) + L" is given twice";
            }
            return key.set(section, value, line);
        }
    }
    return L"unknown key " + std::wstring(name);
}

// The calls for which a fault holds; they are counted from 1.
struct CallRange {
    std::uint64_t first = 1;
    std::optional<std::uint64_t> last; // for good if absent

    [[nodiscard]] bool Holds(std::uint64_t call) const { return call >= first && (!last || call <= *last); }
};

// Setters for the kinds of values that several sections have.
Complaint SetText(std::wstring& place, std::wstring_view value);
Complaint SetNumber(std::uint32_t& place, std::wstring_view value);
Complaint SetNumber(std::optional<std::uint32_t>& place, std::wstring_view value);
Complaint SetLargeNumber(std::uint64_t& place, std::wstring_view value);
Complaint SetSeconds(std::optional<std::chrono::milliseconds>& place, std::wstring_view value);
Complaint SetCalls(CallRange& calls, std::wstring_view value);
Complaint SetFailure(std::optional<std::uint32_t>& failure, std::wstring_view value);

// A word of the scenario and what it stands for.
template <typename Value>
using Choice = std::pair<std::wstring_view, Value>;

// What the word stands for, in any case, or nothing.
template <typename Value, std::size_t Count>
[[nodiscard]] std::optional<Value> FindChoice(const Choice<Value> (&choices)[Count], std::wstring_view word)
{
    for (const auto& [known, value] : choices) {
        if (SameIgnoringCase(known, word)) {
            return value;
        }
    }
    return std::nullopt;
}

// Sets the place to what the word stands for; the complaint about another word lists those that there are.
template <typename Value, std::size_t Count>
Complaint SetChoice(Value& place, const Choice<Value> (&choices)[Count], std::wstring_view word)
{
    if (const std::optional<Value> found = FindChoice(choices, word)) {
        place = *found;
        return std::nullopt;
    }
    std::wstring complaint = L"\"" + std::wstring(word) + L"\" is none of";
    for (const auto& choice : choices) {
        complaint.append(&choice == choices ? L" " : L", ").append(choice.first);
    }
    return complaint;
}

} // namespace sim
