#include "engine/formatting.h"

#include "support/numbered_messages.h"
#include "support/product_test.h"

#include <cfloat>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace testing_support;

const double k2To10 = std::ldexp(1, 10);
const double k2To20 = std::ldexp(1, 20);
const double k2To30 = std::ldexp(1, 30);
const double k2To40 = std::ldexp(1, 40);
const double k2To50 = std::ldexp(1, 50);
const double k2To60 = std::ldexp(1, 60);
const double k2To70 = std::ldexp(1, 70);
const double k2To80 = std::ldexp(1, 80);

double JustBelow(double value)
{
    return std::nextafter(value, 0);
}
double JustAbove(double value)
{
    return std::nextafter(value, DBL_MAX);
}

class FormattingASize : public ProductTest {};

TEST_F(FormattingASize, ChoosesTheUnitByTheSize)
{
    const struct {
        double size;
        const wchar_t* text;
    } rows[] = {
        {0, L"0 B"},
        {1, L"1 B"},
        {1023, L"1023 B"},
        // From KB to GB a unit begins above its size ...
        {1024, L"1024 B"},
        {1025, L"1.01 KB"},
        {1536, L"1.5 KB"},
        {JustBelow(k2To20), L"1024 KB"},
        {k2To20, L"1024 KB"},
        {JustAbove(k2To20), L"1.01 MB"},
        {2 * k2To20, L"2 MB"},
        {JustBelow(k2To30), L"1024 MB"},
        {k2To30, L"1024 MB"},
        {JustAbove(k2To30), L"1.01 GB"},
        {1.25 * k2To30, L"1.25 GB"},
        {JustBelow(k2To40), L"1024 GB"},
        // ... from TB to YB with it.
        {k2To40, L"1 TB"},
        {JustAbove(k2To40), L"1.01 TB"},
        {JustBelow(k2To50), L"1024 TB"},
        {k2To50, L"1 PB"},
        {JustAbove(k2To50), L"1.01 PB"},
        {JustBelow(k2To60), L"1024 PB"},
        {k2To60, L"1 EB"},
        {JustAbove(k2To60), L"1.01 EB"},
        {JustBelow(k2To70), L"1024 EB"},
        {k2To70, L"1 ZB"},
        {JustAbove(k2To70), L"1.01 ZB"},
        {JustBelow(k2To80), L"1024 ZB"},
        {k2To80, L"1 YB"},
        {JustAbove(k2To80), L"1.01 YB"},
        {2048 * k2To80, L"2048 YB"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.text, FormatSize(row.size, 0)) << std::hexfloat << row.size;
    }
}

TEST_F(FormattingASize, UsesAtLeastTheUnitOfTheExponent)
{
    const struct {
        double size;
        int exponent;
        const wchar_t* text;
    } rows[] = {
        {0, -1, L"0 B"},
        {0, 2, L"0 B"},
        {0, 3, L"0 KB"},
        {0, 5, L"0 KB"},
        {0, 6, L"0 MB"},
        {0, 8, L"0 MB"},
        {0, 9, L"0 GB"},
        {0, 11, L"0 GB"},
        {0, 12, L"0 TB"},
        {0, 14, L"0 TB"},
        {0, 15, L"0 PB"},
        {0, 17, L"0 PB"},
        {0, 18, L"0 EB"},
        {0, 20, L"0 EB"},
        {0, 21, L"0 ZB"},
        {0, 23, L"0 ZB"},
        {0, 24, L"0 YB"},
        {0, 100, L"0 YB"},
        {512, 3, L"0.5 KB"},
        {1, 3, L"0.01 KB"},
        {1, 24, L"0.01 YB"},
        {1024, 3, L"1 KB"},
        {768 * k2To20, 9, L"0.75 GB"},
        // A larger size is not held back.
        {2 * k2To30, 3, L"2 GB"},
        {k2To40, 9, L"1 TB"},
        {3 * k2To80, 24, L"3 YB"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.text, FormatSize(row.size, row.exponent)) << row.size << ", " << row.exponent;
    }
}

TEST_F(FormattingASize, RoundsUpToTwoDecimalsAndBytesToNone)
{
    const struct {
        double size;
        const wchar_t* text;
    } rows[] = {
        {0.25, L"1 B"},
        {1022.5, L"1023 B"},
        {1023.25, L"1024 B"},
        // 1.0068, 1.01025, 1.996, 1.998 thousand and twenty-four bytes
        {1031, L"1.01 KB"},
        {1034.5, L"1.02 KB"},
        {2044, L"2 KB"},
        {2038, L"2 KB"},
        {2037, L"1.99 KB"},
        {10 * 1024.0, L"10 KB"},
        {100 * 1024.0, L"100 KB"},
        {100 * 1024.0 + 512, L"100.5 KB"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.text, FormatSize(row.size, 0)) << row.size;
    }
}

TEST_F(FormattingASize, ChoosesTheUnitOfANegativeSizeByItsMagnitude)
{
    const struct {
        double size;
        const wchar_t* text;
    } rows[] = {
        {-1, L"-1 B"},
        {-1024, L"-1024 B"},
        {-1536, L"-1.5 KB"},
        // Up is towards zero.
        {-1.5, L"-1 B"},
        {-1025, L"-1 KB"},
        {-k2To30, L"-1024 MB"},
        {-k2To40, L"-1 TB"},
        {-2.5 * k2To80, L"-2.5 YB"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.text, FormatSize(row.size, 0)) << row.size;
    }
}

TEST_F(FormattingASize, TakesEachUnitFromItsMessage)
{
    const NumberedMessages numbered;
    EXPECT_EQ(L"(-260-)5 B", FormatSize(5, 0));
    EXPECT_EQ(L"(-288-)5 KB", FormatSize(5 * k2To10, 0));
    EXPECT_EQ(L"(-290-)5 MB", FormatSize(5 * k2To20, 0));
    EXPECT_EQ(L"(-281-)5 GB", FormatSize(5 * k2To30, 0));
    EXPECT_EQ(L"(-306-)5 TB", FormatSize(5 * k2To40, 0));
    EXPECT_EQ(L"(-42401-)5 PB", FormatSize(5 * k2To50, 0));
    EXPECT_EQ(L"(-42402-)5 EB", FormatSize(5 * k2To60, 0));
    EXPECT_EQ(L"(-42403-)5 ZB", FormatSize(5 * k2To70, 0));
    EXPECT_EQ(L"(-42404-)5 YB", FormatSize(5 * k2To80, 0));
}

TEST(FormattingANumber, DropsTrailingZerosAndABarePoint)
{
    const struct {
        double value;
        int decimals;
        const wchar_t* text;
    } rows[] = {
        {1.5, 2, L"1.5"},      {2.0, 2, L"2"},   {0, 2, L"0"},           {0.25, 2, L"0.25"},
        {0.5, 4, L"0.5"},      {10, 2, L"10"},   {100, 1, L"100"},       {100.25, 2, L"100.25"},
        {-1.5, 2, L"-1.5"},    {-2, 2, L"-2"},   {1.0625, 4, L"1.0625"}, {1e15, 2, L"1000000000000000"},
        {1.0009, 3, L"1.001"}, {0.001, 2, L"0"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.text, FormatNumber(row.value, -1, L' ', row.decimals)) << row.value;
    }
}

TEST(FormattingANumber, WithoutDecimalsKeepsItsZeros)
{
    EXPECT_EQ(L"0", FormatNumber(0, -1, L' ', 0));
    EXPECT_EQ(L"10", FormatNumber(10, -1, L' ', 0));
    EXPECT_EQ(L"1000", FormatNumber(1000, -1, L' ', 0));
    EXPECT_EQ(L"3", FormatNumber(2.75, -1, L' ', 0));
}

TEST(FormattingANumber, FillsUpToTheWidthBeforeTheZerosGo)
{
    EXPECT_EQ(L"   5", FormatNumber(5, 4, L' ', 0));
    EXPECT_EQ(L"0005", FormatNumber(5, 4, L'0', 0));
    EXPECT_EQ(L"***5", FormatNumber(5, 4, L'*', 0));
    EXPECT_EQ(L"12345", FormatNumber(12345, 4, L'*', 0));
    EXPECT_EQ(L"5", FormatNumber(5, 0, L'*', 0));
    EXPECT_EQ(L"5", FormatNumber(5, -1, L'*', 0));
    // Eight characters of "1.50", then without the zero.
    EXPECT_EQ(L"    1.5", FormatNumber(1.5, 8, L' ', 2));
    EXPECT_EQ(L"****2", FormatNumber(2, 8, L'*', 2));
}

TEST(FormattingAShortSize, ChoosesTheUnitAboveEachThreshold)
{
    const struct {
        double size;
        const wchar_t* text;
    } rows[] = {
        {0, L"0.0 KB"},
        {100, L"0.1 KB"},
        {512, L"0.5 KB"},
        {1024, L"1.0 KB"},
        {1025, L"1.0 KB"},
        {1536, L"1.5 KB"},
        {JustBelow(k2To20), L"1024.0 KB"},
        {k2To20, L"1024.0 KB"},
        {JustAbove(k2To20), L"1.0 MB"},
        {1.5 * k2To20, L"1.5 MB"},
        {k2To30, L"1024.0 MB"},
        {JustAbove(k2To30), L"1.0 GB"},
        {k2To40, L"1024.0 GB"},
        {JustAbove(k2To40), L"1.0 TB"},
        {k2To50, L"1024.0 TB"},
        {JustAbove(k2To50), L"1.0 PB"},
        {k2To60, L"1024.0 PB"},
        {JustAbove(k2To60), L"1.0 EB"},
        {k2To70, L"1024.0 EB"},
        {JustAbove(k2To70), L"1.0 ZB"},
        {k2To80, L"1024.0 ZB"},
        {JustAbove(k2To80), L"1.0 YB"},
        {2.5 * k2To80, L"2.5 YB"},
        // A negative size is above nothing.
        {-1536, L"-1.5 KB"},
        {-k2To30, L"-1048576.0 KB"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.text, FormatSizeShort(row.size)) << std::hexfloat << row.size;
    }
}

TEST(FormattingAShortSize, RoundsToNearest)
{
    EXPECT_EQ(L"1.2 KB", FormatSizeShort(1.1875 * 1024));
    EXPECT_EQ(L"1.1 KB", FormatSizeShort(1.125 * 1024 - 1));
    EXPECT_EQ(L"2.0 KB", FormatSizeShort(1.96875 * 1024));
}

// A tie of the exact value, which the older runtimes round away from zero.
TEST(FormattingAShortSize, RoundsATieToTheEvenDigit)
{
    EXPECT_EQ(L"0.2 KB", FormatSizeShort(0.25 * 1024));
    EXPECT_EQ(L"0.8 KB", FormatSizeShort(0.75 * 1024));
    EXPECT_EQ(L"1.2 MB", FormatSizeShort(1.25 * 1024 * 1024));
}

TEST(FormattingAShortSize, HasRoomForTheLargestNumber)
{
    const std::wstring text = FormatSizeShort(DBL_MAX);
    // 2^1024 / 2^80 has 285 digits.
    EXPECT_EQ(285U + 5U, text.size());
    EXPECT_TRUE(text.ends_with(L".0 YB"));
}

// A call of GetDateFormatW ("date") or GetTimeFormatW ("time") and the length of the buffer it was given.
using FormatCalls = std::vector<std::pair<std::string, int>>;

// The two functions answer with texts of the test's choice.
class FormattingAMoment : public ProductTest {
protected:
    int Answer(const char* which, const std::wstring& text, LCID locale, DWORD flags, const SYSTEMTIME* given,
               const wchar_t* format, wchar_t* buffer, int length)
    {
        calls.emplace_back(which, length);
        EXPECT_EQ(2048U, locale);
        EXPECT_EQ(0U, flags);
        EXPECT_EQ(2024, given->wYear);
        EXPECT_EQ(2, given->wMonth);
        EXPECT_EQ(29, given->wDay);
        EXPECT_EQ(23, given->wHour);
        EXPECT_EQ(58, given->wMinute);
        EXPECT_EQ(7, given->wSecond);
        EXPECT_EQ(nullptr, format);
        EXPECT_EQ(length == 0, buffer == nullptr);
        if (text.empty()) {
            return 0;
        }
        const auto size = static_cast<int>(text.size()) + 1;
        if (buffer != nullptr) {
            EXPECT_EQ(size, length);
            text.copy(buffer, text.size());
            buffer[text.size()] = L'\0';
        }
        return size;
    }

    const SYSTEMTIME moment{2024, 2, 4, 29, 23, 58, 7, 123};
    std::wstring date = L"29/02/2024";
    std::wstring time = L"11:58:07 PM";
    FormatCalls calls;
    Replaced<"GetDateFormatW", decltype(::GetDateFormatW)> getDate{
        [this](LCID locale, DWORD flags, const SYSTEMTIME* given, LPCWSTR format, LPWSTR buffer, int length) {
            return Answer("date", date, locale, flags, given, format, buffer, length);
        }};
    Replaced<"GetTimeFormatW", decltype(::GetTimeFormatW)> getTime{
        [this](LCID locale, DWORD flags, const SYSTEMTIME* given, LPCWSTR format, LPWSTR buffer, int length) {
            return Answer("time", time, locale, flags, given, format, buffer, length);
        }};
};

TEST_F(FormattingAMoment, AsksForBothLengthsThenForDateAndTime)
{
    const DateTimeText text = FormatDateTime(moment);
    EXPECT_EQ(L"29/02/2024", text.date);
    EXPECT_EQ(L"11:58:07 PM", text.time);
    EXPECT_EQ((FormatCalls{{"date", 0}, {"time", 0}, {"date", 11}, {"time", 12}}), calls);
}

TEST_F(FormattingAMoment, GivesNeitherTextWithoutADate)
{
    date.clear();
    const DateTimeText text = FormatDateTime(moment);
    EXPECT_EQ(L"", text.date);
    EXPECT_EQ(L"", text.time);
    EXPECT_EQ((FormatCalls{{"date", 0}, {"time", 0}}), calls);
}

TEST_F(FormattingAMoment, GivesNeitherTextWithoutATime)
{
    time.clear();
    const DateTimeText text = FormatDateTime(moment);
    EXPECT_EQ(L"", text.date);
    EXPECT_EQ(L"", text.time);
    EXPECT_EQ((FormatCalls{{"date", 0}, {"time", 0}}), calls);
}

TEST(FormattingARealMoment, ReadsAsWindowsWritesIt)
{
    const SYSTEMTIME moment{2024, 2, 4, 29, 23, 58, 7, 0};
    wchar_t date[100] = {};
    wchar_t time[100] = {};
    ASSERT_NE(0, GetDateFormatW(LOCALE_SYSTEM_DEFAULT, 0, &moment, nullptr, date, 100));
    ASSERT_NE(0, GetTimeFormatW(LOCALE_SYSTEM_DEFAULT, 0, &moment, nullptr, time, 100));
    const DateTimeText text = FormatDateTime(moment);
    EXPECT_EQ(date, text.date);
    EXPECT_EQ(time, text.time);
}

} // namespace
