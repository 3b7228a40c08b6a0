#include "stats/date_text.h"

#include "engine/formatting.h"

std::wstring FormatDate(DATE date)
{
    SYSTEMTIME moment{};
    if (VariantTimeToSystemTime(date, &moment) == FALSE) {
        return {};
    }
    const DateTimeText text = FormatDateTime(moment);
    return text.date.empty() ? std::wstring() : text.date + L' ' + text.time;
}
