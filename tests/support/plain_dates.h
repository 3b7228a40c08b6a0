#pragma once

#include "support/replaced_function.h"

#include <gtest/gtest.h>

#include <string>

namespace testing_support {

// Writes dates as "5.11.2026" and times as "18:45:0", whatever the system's formats are, as long as the object lives.
// The locale's own formats must be asked for.
class PlainDates {
public:
    explicit PlainDates(LCID locale = LOCALE_SYSTEM_DEFAULT) : locale_(locale) {}

private:
    // As Windows does it: without a buffer the size is told; the closing NUL counts.
    static int Write(wchar_t* text, int size, const std::wstring& written)
    {
        if (size > static_cast<int>(written.size())) {
            text[written.copy(text, written.size())] = L'\0';
        }
        return static_cast<int>(written.size()) + 1;
    }

    void CheckFormat(LCID locale, DWORD flags, LPCWSTR format) const
    {
        EXPECT_EQ(locale_, locale);
        EXPECT_EQ(0U, flags);
        EXPECT_EQ(nullptr, format);
    }

    LCID locale_;
    Replaced<"GetDateFormatW", decltype(::GetDateFormatW)> date_{
        [this](LCID locale, DWORD flags, const SYSTEMTIME* moment, LPCWSTR format, LPWSTR text, int size) {
            CheckFormat(locale, flags, format);
            return Write(text, size,
                         std::to_wstring(moment->wDay) + L"." + std::to_wstring(moment->wMonth) + L"." +
                             std::to_wstring(moment->wYear));
        }};
    Replaced<"GetTimeFormatW", decltype(::GetTimeFormatW)> time_{
        [this](LCID locale, DWORD flags, const SYSTEMTIME* moment, LPCWSTR format, LPWSTR text, int size) {
            CheckFormat(locale, flags, format);
            return Write(text, size,
                         std::to_wstring(moment->wHour) + L":" + std::to_wstring(moment->wMinute) + L":" +
                             std::to_wstring(moment->wSecond));
        }};
};

} // namespace testing_support
