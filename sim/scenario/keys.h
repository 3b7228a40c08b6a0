#pragma once

#include "scenario/values.h"

#include "win/text.h"

#include <cstddef>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace sim {

// One key of a section: its name, and what sets its value, which stands in this line.
template <typename Section>
struct Key {
    std::wstring_view name;
    Complaint (*set)(Section& section, std::wstring_view value, std::size_t line);
    bool repeatable = false;
};

template <typename Section, typename Member>
Section SectionOf(Member Section::*member);

// Has Read put the value into its place; Read may want the line, too.
template <auto Read, typename Place>
Complaint ReadInto(Place& place, std::wstring_view value, std::size_t line)
{
    if constexpr (std::is_invocable_v<decltype(Read), Place&, std::wstring_view, std::size_t>) {
        return Read(place, value, line);
    } else {
        return Read(place, value);
    }
}

// What sets a key: has Read put the value into the member that the member pointers lead to, one after the other. An
// optional member is made first.
template <auto Read, auto First, auto... Rest>
Complaint Set(decltype(SectionOf(First))& section, std::wstring_view value, std::size_t line)
{
    auto& place = ((section.*First).*....*Rest);
    if constexpr (requires {
                      place.emplace();
                      place.value();
                  }) {
        return ReadInto<Read>(place.emplace(), value, line);
    } else {
        return ReadInto<Read>(place, value, line);
    }
}

// Some keys together with the section that they set.
template <typename Section>
struct KeyTable {
    Section& section;
    std::span<const Key<Section>> keys;
};

template <typename Section, std::size_t Count>
KeyTable<Section> KeysOf(Section& section, const Key<Section> (&keys)[Count])
{
    return {section, keys};
}

// Sets the key of that name, in any case; false where the table has no such key. Seen holds the keys that the section
// has had so far.
template <typename Section>
bool SetKey(const KeyTable<Section>& table, std::wstring_view name, std::wstring_view value, std::size_t line,
            std::set<std::wstring_view>& seen, Complaint& complaint)
{
    for (const Key<Section>& key : table.keys) {
        if (win::EqualNames(key.name, name)) {
            complaint = !seen.insert(key.name).second && !key.repeatable
                            ? L"the key " + std::wstring(key.name) + L" is given twice"
                            : key.set(table.section, value, line);
            return true;
        }
    }
    return false;
}

} // namespace sim
