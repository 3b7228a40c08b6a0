#include "engine/formatting.h"

#include "support/error_object.h"
#include "support/message_tables.h"
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

// With message tables of the test's choice in place of the system's and the internet module's.
class FormattingAnError : public ProductTest {
protected:
    void SetUp() override { ErrorObject::TakeFromThread(); }
    void TearDown() override
    {
        EXPECT_EQ(0, ErrorObject::Live());
        ProductTest::TearDown();
    }

    // The text of an error alone, between its heading and the return code.
    static std::wstring TextOf(std::uint32_t result)
    {
        constexpr std::wstring_view kHeading = L"\r\nError text:\r\n";
        const std::wstring text = FormatError(static_cast<HRESULT>(result), L"", 0);
        EXPECT_TRUE(text.starts_with(kHeading));
        const std::size_t end = text.find(L"\r\nReturn code: 0x");
        EXPECT_NE(std::wstring::npos, end);
        return text.substr(kHeading.size(), end - kHeading.size());
    }

    MessageTables tables;
};

TEST_F(FormattingAnError, PutsTextCodeAndPlaceTogether)
{
    tables.system[0x80004005] = L"The system's text.\r\n";
    EXPECT_EQ(L"\r\nError text:\r\nThe system's text.\r\n\r\nReturn code: 0x80004005 (2147500037)(Operations/#1425)",
              FormatError(E_FAIL, L"Operations", 1425));
}

TEST_F(FormattingAnError, ShowsTheCodeInEightHexadecimalDigitsAndInDecimal)
{
    EXPECT_EQ(L"\r\nError text:\r\nDetailed error text is not available\r\nReturn code: 0x00000000 (0)",
              FormatError(0, L"", 0));
    EXPECT_EQ(L"\r\nError text:\r\nDetailed error text is not available\r\nReturn code: 0x0000000D (13)",
              FormatError(13, L"", 0));
    EXPECT_EQ(L"\r\nError text:\r\nDetailed error text is not available\r\nReturn code: 0x7FFFFFFF (2147483647)",
              FormatError(0x7FFFFFFF, L"", 0));
    EXPECT_EQ(L"\r\nError text:\r\nDetailed error text is not available\r\nReturn code: 0x800401EF (2147746287)",
              FormatError(static_cast<HRESULT>(0x800401EF), L"", 0));
    EXPECT_EQ(L"\r\nError text:\r\nDetailed error text is not available\r\nReturn code: 0xFFFFFFFF (4294967295)",
              FormatError(-1, L"", 0));
}

TEST_F(FormattingAnError, NamesThePlaceByFileAndLine)
{
    const struct {
        const wchar_t* source;
        int line;
        const wchar_t* place;
    } rows[] = {
        {L"Operations", 201, L"(Operations/#201)"},
        {L"Operations", 0, L"(Operations/#0)"},
        {L"Operations", 2147483647, L"(Operations/#2147483647)"},
        {L"C:\\src\\engine\\Operations", 7, L"(Operations/#7)"},
        {L"engine\\Operations", 7, L"(Operations/#7)"},
        {L"\\Operations", 7, L"(Operations/#7)"},
        {L"engine/Operations", 7, L"(engine/Operations/#7)"},
        {L"engine\\", 7, L"(/#7)"},
        {L"Operations", -1, L""},
        {L"Operations", -2147483647, L""},
        {L"", 7, L""},
        {L"", -1, L""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(L"\r\nError text:\r\nDetailed error text is not available\r\nReturn code: 0x80004005 (2147500037)" +
                      std::wstring(row.place),
                  FormatError(E_FAIL, row.source, row.line));
    }
}

TEST_F(FormattingAnError, PrefersTheThreadsErrorObject)
{
    tables.system[0x80072EE7] = L"system";
    ErrorObject::SetForThread(L"What the engine says.");
    EXPECT_EQ(L"What the engine says.", TextOf(0x80072EE7));
    EXPECT_EQ(std::vector<std::wstring>{}, tables.TakeAsked());
    // The object is used up.
    EXPECT_EQ(L"system", TextOf(0x80072EE7));
}

TEST_F(FormattingAnError, PassesOverAnErrorObjectThatSaysNothing)
{
    tables.system[0x80004005] = L"system";
    ErrorObject::SetForThread(L"");
    EXPECT_EQ(L"system", TextOf(0x80004005));
}

TEST_F(FormattingAnError, PassesOverAnErrorObjectWhoseDescriptionCannotBeHad)
{
    tables.system[0x80004005] = L"system";
    ErrorObject::SetForThread(std::nullopt);
    EXPECT_EQ(L"system", TextOf(0x80004005));
}

TEST_F(FormattingAnError, AsksTheSystemForTheWholeHresultFirst)
{
    tables.system[0x80072EE7] = L"whole";
    tables.system[0x2EE7] = L"half";
    tables.internet[0x2EE7] = L"internet";
    EXPECT_EQ(L"whole", TextOf(0x80072EE7));
    EXPECT_EQ((std::vector<std::wstring>{L"system 0x80072EE7"}), tables.TakeAsked());
}

TEST_F(FormattingAnError, AsksTheInternetModuleSecond)
{
    tables.system[0x2EE7] = L"half";
    tables.internet[0x2EE7] = L"internet";
    EXPECT_EQ(L"internet", TextOf(0x80072EE7));
    EXPECT_EQ((std::vector<std::wstring>{L"system 0x80072EE7", L"internet 0x00002EE7"}), tables.TakeAsked());
}

TEST_F(FormattingAnError, AsksTheSystemForTheLowHalfLast)
{
    tables.system[0x2EE7] = L"half";
    EXPECT_EQ(L"half", TextOf(0x80072EE7));
    EXPECT_EQ((std::vector<std::wstring>{L"system 0x80072EE7", L"internet 0x00002EE7", L"system 0x00002EE7"}),
              tables.TakeAsked());
    tables.system[0x1234] = L"half of another";
    EXPECT_EQ(L"half of another", TextOf(0x80041234));
    EXPECT_EQ((std::vector<std::wstring>{L"system 0x80041234", L"system 0x00001234"}), tables.TakeAsked());
}

TEST_F(FormattingAnError, SaysSoWhereNoTableKnowsTheCode)
{
    EXPECT_EQ(L"Detailed error text is not available", TextOf(0x80072EE7));
    EXPECT_EQ(L"Detailed error text is not available", TextOf(0x80041234));
    EXPECT_EQ((std::vector<std::wstring>{L"system 0x80072EE7", L"internet 0x00002EE7", L"system 0x00002EE7",
                                         L"system 0x80041234", L"system 0x00001234"}),
              tables.TakeAsked());
}

TEST_F(FormattingAnError, AsksTheInternetModuleForItsOwnCodesAndFacilitiesOnly)
{
    const struct {
        std::uint32_t result;
        bool internet;
    } rows[] = {
        {0x80072EDF, false}, // 11999
        {0x80072EE0, true},  // 12000
        {0x80072F8F, true},  // 12175
        {0x80072F90, false}, // 12176
        {0x800C2EDF, false},
        {0x800C2EE0, true},
        {0x800C2F8F, true},
        {0x800C2F90, false},
        {0x80002EE7, false},
        {0x80042EE7, false},
        {0x80062EE7, false},
        {0x80082EE7, false},
        {0x800A2EE7, false},
        {0x800B2EE7, false},
        {0x800D2EE7, false},
        {0x80172EE7, false},
        // The facility is bits 16 to 28; those above it do not matter.
        {0x90072EE7, false},
        {0x00072EE7, true},
        {0xA0072EE7, true},
        {0xE00C2EE7, true},
        // The bare code has facility 0.
        {0x00002EE7, false},
    };
    for (const auto& row : rows) {
        tables.internet[row.result & 0xFFFF] = L"internet";
        static_cast<void>(tables.TakeAsked());
        EXPECT_EQ(row.internet ? L"internet" : L"Detailed error text is not available", TextOf(row.result))
            << std::hex << row.result;
        EXPECT_EQ(2U, tables.TakeAsked().size()) << std::hex << row.result;
    }
}

TEST_F(FormattingAnError, LoadsTheInternetModuleWhereItIsNotLoaded)
{
    Replaced<"GetModuleHandleW", decltype(::GetModuleHandleW)> notLoaded([](LPCWSTR name) {
        EXPECT_STREQ(L"WININET.DLL", name);
        return nullptr;
    });
    wchar_t system[MAX_PATH] = {};
    ASSERT_NE(0U, GetSystemDirectoryW(system, MAX_PATH));
    const std::wstring path = std::wstring(system) + L"\\WININET.DLL";
    Replaced<"LoadLibraryExW", decltype(::LoadLibraryExW)> load([&](LPCWSTR name, HANDLE, DWORD) {
        EXPECT_EQ(path, name);
        return tables.InternetModule();
    });
    tables.internet[0x2EE7] = L"internet";
    EXPECT_EQ(L"internet", TextOf(0x80072EE7));
    EXPECT_EQ(1, load.Calls());
}

TEST_F(FormattingAnError, UsesTheInternetModuleThatIsLoaded)
{
    Replaced<"LoadLibraryExW", decltype(::LoadLibraryExW)> load([](LPCWSTR, HANDLE, DWORD) { return nullptr; });
    tables.internet[0x2EE7] = L"internet";
    EXPECT_EQ(L"internet", TextOf(0x80072EE7));
    EXPECT_EQ(1, tables.ModuleLookups());
    EXPECT_EQ(0, load.Calls());
}

TEST_F(FormattingAnError, GoesOnWithoutAnInternetModule)
{
    Replaced<"GetModuleHandleW", decltype(::GetModuleHandleW)> notLoaded([](LPCWSTR) { return nullptr; });
    Replaced<"LoadLibraryExW", decltype(::LoadLibraryExW)> load([](LPCWSTR, HANDLE, DWORD) { return nullptr; });
    tables.system[0x2EE7] = L"half";
    EXPECT_EQ(L"half", TextOf(0x80072EE7));
    EXPECT_EQ((std::vector<std::wstring>{L"system 0x80072EE7", L"system 0x00002EE7"}), tables.TakeAsked());
}

TEST_F(FormattingAnError, LoadsNoInternetModuleForOtherCodes)
{
    EXPECT_EQ(L"Detailed error text is not available", TextOf(0x80004005));
    EXPECT_EQ(0, tables.ModuleLookups());
}

TEST_F(FormattingAnError, KeepsATextThatFillsTheInternetBuffer)
{
    tables.internet[0x2EE7] = std::wstring(1023, L'x');
    EXPECT_EQ(std::wstring(1023, L'x'), TextOf(0x80072EE7));
}

// The same with the tables of the system that the tests run on.
class FormattingARealError : public ProductTest {};

TEST_F(FormattingARealError, SaysWhatTheSystemSaysOfTheWindowsError)
{
    wchar_t said[1000] = {};
    ASSERT_NE(0U, FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                 ERROR_ACCESS_DENIED, 1024, said, 1000, nullptr));
    EXPECT_EQ(L"\r\nError text:\r\n" + std::wstring(said) +
                  L"\r\nReturn code: 0x80070005 (2147942405)(Operations/#1436)",
              FormatError(E_ACCESSDENIED, L"Operations", 1436));
}

// No table of Windows' has a text for what the product's own facility holds.
TEST_F(FormattingARealError, SaysSoWhereTheSystemKnowsNothing)
{
    EXPECT_EQ(L"\r\nError text:\r\nDetailed error text is not available\r\nReturn code: 0x8004FFFE (2147811326)",
              FormatError(static_cast<HRESULT>(0x8004FFFE), L"", 0));
}

TEST_F(FormattingARealError, SaysWhatTheErrorObjectSays)
{
    ErrorObject::SetForThread(L"The drive is away: 100%1.");
    EXPECT_EQ(L"\r\nError text:\r\nThe drive is away: 100%1.\r\nReturn code: 0x80004005 (2147500037)(Operations/#7)",
              FormatError(E_FAIL, L"Operations", 7));
}

} // namespace
