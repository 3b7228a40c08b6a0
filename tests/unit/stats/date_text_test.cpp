#include "stats/date_text.h"

#include "support/plain_dates.h"
#include "support/product_test.h"

namespace {

using namespace testing_support;

class DateText : public ProductTest {
private:
    PlainDates dates_;
};

TEST_F(DateText, IsTheDateABlankAndTheTimeAsTheyStand)
{
    EXPECT_EQ(L"30.12.1899 0:0:0", FormatDate(0.0));
    EXPECT_EQ(L"5.11.2026 12:0:0", FormatDate(46331.5));
    EXPECT_EQ(L"5.11.2026 18:45:0", FormatDate(46331.78125));
    EXPECT_EQ(L"29.2.2024 0:0:1", FormatDate(45351.0 + 1.0 / 86400.0));
    EXPECT_EQ(L"29.12.1899 6:0:0", FormatDate(-1.25));
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
