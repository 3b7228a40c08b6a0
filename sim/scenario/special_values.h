#pragma once

#include "scenario/scenario.h"
#include "scenario/values.h"

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// Readers of values that one key alone has, as docs/simulator.md tells them; as those of values.h. What may stand
// several times is added.
Complaint ReadOffline(bool& refuses, std::wstring_view value);
Complaint AddFile(std::map<std::uint64_t, std::wstring>& files, std::wstring_view value);
Complaint AddPoint(std::vector<StatisticsPoint>& points, std::wstring_view value);
Complaint ReadWork(ScheduledWork& place, std::wstring_view value);
Complaint ReadDelay(std::chrono::milliseconds& place, std::wstring_view value);
Complaint ReadWindows(WindowsVersion& place, std::wstring_view value);
Complaint ReadSpeed(double& place, std::wstring_view value);
Complaint AddMount(std::vector<std::wstring>& mounts, std::wstring_view value);
Complaint AddPolicyChange(std::vector<PolicyChange>& changes, std::wstring_view value);
Complaint AddKeyPress(std::vector<KeyPress>& presses, std::wstring_view value);
Complaint ReadFunction(std::wstring& place, std::wstring_view value);

// Reads as many numbers as there are places, separated by points.
Complaint ReadVersion(std::initializer_list<std::uint32_t*> places, std::wstring_view value, std::wstring_view what);

// The data of a registry value, as the registry holds them; nothing where the text is wrong.
using Bytes = std::vector<unsigned char>;

// A text with its closing null character.
[[nodiscard]] std::optional<Bytes> TextData(std::wstring_view text);

// The texts between the vertical bars, each closed by a null character, and one more behind the last.
[[nodiscard]] std::optional<Bytes> TextsData(std::wstring_view text);

// A number of 32 bits.
[[nodiscard]] std::optional<Bytes> NumberData(std::wstring_view text);

// Hexadecimal digits, two for each byte; there may be blanks between them.
[[nodiscard]] std::optional<Bytes> BinaryData(std::wstring_view text);

// Adds the registry value "NAME, DATA", whose name may be empty.
Complaint AddRegistryValue(std::vector<RegistryValueSetup>& values, std::wstring_view value, std::uint32_t type,
                           std::optional<Bytes> (*dataOf)(std::wstring_view text));

// The same as the reader of a key.
template <std::uint32_t Type, auto DataOf>
Complaint AddValue(std::vector<RegistryValueSetup>& values, std::wstring_view value)
{
    return AddRegistryValue(values, value, Type, DataOf);
}

} // namespace sim
