#include "scenario/values.h"

#include "win/text.h"

#include <cmath>

namespace sim {

Complaint Wrong(std::wstring_view value, std::wstring_view what)
{
    return L"\"" + std::wstring(value) + L"\" is " + std::wstring(what);
}

Complaint ReadText(std::wstring& place, std::wstring_view value)
{
    place = value;
    return std::nullopt;
}

Complaint ReadNumber(std::uint32_t& place, std::wstring_view value)
{
    const std::optional<std::uint64_t> number = ParseNumber(value);
    if (!number || *number > UINT32_MAX) {
        return Wrong(value, L"not a number from 0 to 4294967295");
    }
    place = static_cast<std::uint32_t>(*number);
    return std::nullopt;
}

Complaint ReadLargeNumber(std::uint64_t& place, std::wstring_view value)
{
    const std::optional<std::uint64_t> number = ParseNumber(value);
    place = number.value_or(0);
    return number ? Complaint() : Wrong(value, L"not a number");
}

Complaint ReadSeconds(std::chrono::milliseconds& place, std::wstring_view value)
{
    constexpr double kMostSeconds = 1e9;
    const std::optional<double> seconds = ParseDecimal(value);
    if (!seconds || *seconds < 0 || *seconds > kMostSeconds) {
        return Wrong(value, L"not a number of seconds");
    }
    place = std::chrono::milliseconds(std::llround(*seconds * 1000));
    return std::nullopt;
}

Complaint ReadCalls(CallRange& place, std::wstring_view value)
{
    if (win::EqualNames(value, L"always")) {
        return std::nullopt;
    }
    const bool andLater = value.ends_with(L'+');
    const std::optional<std::uint64_t> call = ParseNumber(value.substr(0, value.size() - (andLater ? 1 : 0)));
    if (!call || *call == 0) {
        return Wrong(value, L"none of always, a number of a call such as 3, and 3+");
    }
    place.first = *call;
    if (!andLater) {
        place.last = *call;
    }
    return std::nullopt;
}

Complaint ReadFailure(std::uint32_t& place, std::wstring_view value)
{
    constexpr std::uint32_t kSeverityBit = 0x80000000;
    const std::optional<std::uint64_t> number = ParseNumber(value);
    if (!number || *number > UINT32_MAX || (*number & kSeverityBit) == 0) {
        return Wrong(value, L"not a failing HRESULT such as 0x80070005");
    }
    place = static_cast<std::uint32_t>(*number);
    return std::nullopt;
}

} // namespace sim
