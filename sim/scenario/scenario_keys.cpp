#include "scenario/scenario_keys.h"

#include <cmath>

namespace sim {

Complaint SetText(std::wstring& place, std::wstring_view value)
{
    place = value;
    return std::nullopt;
}

Complaint SetNumber(std::uint32_t& place, std::wstring_view value)
{
    const std::optional<std::uint64_t> number = ParseNumber(value);
    if (!number || *number > UINT32_MAX) {
        return L"\"" + std::wstring(value) + L"\" is not a number from 0 to 4294967295";
    }
    place = static_cast<std::uint32_t>(*number);
    return std::nullopt;
}

Complaint SetNumber(std::optional<std::uint32_t>& place, std::wstring_view value)
{
    return SetNumber(place.emplace(), value);
}

Complaint SetLargeNumber(std::uint64_t& place, std::wstring_view value)
{
    const std::optional<std::uint64_t> number = ParseNumber(value);
    if (!number) {
        return L"\"" + std::wstring(value) + L"\" is not a number";
    }
    place = *number;
    return std::nullopt;
}

Complaint SetSeconds(std::optional<std::chrono::milliseconds>& place, std::wstring_view value)
{
    constexpr double kMostSeconds = 1e9;
    const std::optional<double> seconds = ParseDecimal(value);
    if (!seconds || *seconds < 0 || *seconds > kMostSeconds) {
        return L"\"" + std::wstring(value) + L"\" is not a number of seconds";
    }
    place = std::chrono::milliseconds(std::llround(*seconds * 1000));
    return std::nullopt;
}

Complaint SetCalls(CallRange& calls, std::wstring_view value)
{
    if (SameIgnoringCase(value, L"always")) {
        return std::nullopt;
    }
    const bool andLater = value.ends_with(L'+');
    const std::optional<std::uint64_t> call = ParseNumber(value.substr(0, value.size() - (andLater ? 1 : 0)));
    if (!call || *call == 0) {
        return L"\"" + std::wstring(value) + L"\" is none of always, a number of a call such as 3, and 3+";
    }
    calls.first = *call;
    if (!andLater) {
        calls.last = *call;
    }
    return std::nullopt;
}

Complaint SetFailure(std::optional<std::uint32_t>& failure, std::wstring_view value)
{
    constexpr std::uint32_t kSeverityBit = 0x80000000;
    const std::optional<std::uint64_t> number = ParseNumber(value);
    if (!number || *number > UINT32_MAX || (*number & kSeverityBit) == 0) {
        return L"\"" + std::wstring(value) + L"\" is not a failing HRESULT such as 0x80070005";
    }
    failure = static_cast<std::uint32_t>(*number);
    return std::nullopt;
}

} // namespace sim
