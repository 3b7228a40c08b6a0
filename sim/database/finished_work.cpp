#include "database/finished_work.h"

#include "win/windows_api.h"

namespace sim {

namespace {

// Windows counts tenths of microseconds.
FILETIME TimeBefore(std::chrono::milliseconds ago)
{
    constexpr std::uint64_t kTicksOfAMillisecond = 10'000;
    FILETIME time{};
    GetSystemTimeAsFileTime(&time);
    ULARGE_INTEGER ticks{};
    ticks.LowPart = time.dwLowDateTime;
    ticks.HighPart = time.dwHighDateTime;
    ticks.QuadPart -= static_cast<std::uint64_t>(ago.count()) * kTicksOfAMillisecond;
    time.dwLowDateTime = ticks.LowPart;
    time.dwHighDateTime = ticks.HighPart;
    return time;
}

double DateOf(const FILETIME& time)
{
    SYSTEMTIME fields{};
    double date = 0;
    FileTimeToSystemTime(&time, &fields);
    SystemTimeToVariantTime(&fields, &date);
    return date;
}

} // namespace

double UtcDate(std::chrono::milliseconds ago)
{
    return DateOf(TimeBefore(ago));
}

double LocalDate(std::chrono::milliseconds ago)
{
    const FILETIME time = TimeBefore(ago);
    FILETIME local{};
    FileTimeToLocalFileTime(&time, &local);
    return DateOf(local);
}

} // namespace sim
