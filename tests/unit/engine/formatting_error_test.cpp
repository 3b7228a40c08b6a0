#include "engine/formatting.h"

#include "support/error_object.h"
#include "support/message_tables.h"
#include "support/product_test.h"

#include <optional>
#include <string>
#include <vector>

namespace {

using namespace testing_support;

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
