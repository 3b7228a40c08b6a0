#include "stats/date_text.h"

#include "support/product_test.h"

namespace {

using namespace testing_support;

// Writes a moment in figures alone, so that the system's formats do not matter.
class DateText : public ProductTest {
private:
    template <typename... Numbers>
    static int Write(wchar_t* text, int size, const wchar_t* format, Numbers... numbers)
    {
        wchar_t written[32] = {};
        const int length = swprintf(written, 32, format, numbers...) + 1;
        if (size >= length) {
            std::copy_n(written, length, text);
        }
        return length;
    }

    Replaced<"GetDateFormatW", decltype(::GetDateFormatW)> date_{
        [](LCID locale, DWORD flags, const SYSTEMTIME* moment, LPCWSTR format, LPWSTR text, int size) {
            EXPECT_EQ(2048U, locale);
            EXPECT_EQ(0U, flags);
            EXPECT_EQ(nullptr, format);
            return Write(text, size, L"%d-%d-%d", moment->wYear, moment->wMonth, moment->wDay);
        }};
    Replaced<"GetTimeFormatW", decltype(::GetTimeFormatW)> time_{
        [](LCID, DWORD, const SYSTEMTIME* moment, LPCWSTR, LPWSTR text, int size) {
            return Write(text, size, L"%d:%d:%d", moment->wHour, moment->wMinute, moment->wSecond);
        }};
};

TEST_F(DateText, IsTheDateABlankAndTheTimeAsTheyStand)
{
    EXPECT_EQ(L"1899-12-30 0:0:0", FormatDate(0.0));
    EXPECT_EQ(L"2026-11-5 12:0:0", FormatDate(46331.5));
    EXPECT_EQ(L"2026-11-5 18:45:0", FormatDate(46331.78125));
    EXPECT_EQ(L"2024-2-29 0:0:1", FormatDate(45351.0 + 1.0 / 86400.0));
    EXPECT_EQ(L"1899-12-29 6:0:0", FormatDate(-1.25));
}

TEST_F(DateText, IsEmptyForANumberThatIsNoDate)
{
    EXPECT_EQ(L"", FormatDate(1e9));
    EXPECT_EQ(L"", FormatDate(-1e9));
}

TEST_F(DateText, IsEmptyWhereWindowsDoesNotWriteIt)
{
    const Replaced<"GetTimeFormatW", decltype(::GetTimeFormatW)> refuse(
        [](LCID, DWORD, const SYSTEMTIME*, LPCWSTR, LPWSTR, int) { return 0; });
    EXPECT_EQ(L"", FormatDate(46331.5));
}

} // namespace
