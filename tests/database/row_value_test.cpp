#include "ado/row_value.h"

#include "automation.h"

#include <gtest/gtest.h>

namespace {

using namespace sim;

// The value as ADO hands it out; the types are the column of ADO's own table.
win::Variant Put(const odbc::Value& value)
{
    win::Variant place;
    EXPECT_EQ(S_OK, ado::PutValue(value, place.Put()));
    return place;
}

std::wstring Shown(const odbc::Value& value)
{
    return database_tests::Shown(Put(value));
}

TEST(RowValue, HasTheTypeThatAdoGivesIt)
{
    EXPECT_EQ(L"NULL", Shown(std::monostate()));
    EXPECT_EQ(L"I4 -7", Shown(std::int32_t{-7}));
    EXPECT_EQ(L"I8 9007199254740993", Shown(std::int64_t{9007199254740993}));
    EXPECT_EQ(L"R8 2.5", Shown(2.5));
    EXPECT_EQ(L"DATE 46100.1875000000", Shown(odbc::Date{46100.1875}));
    EXPECT_EQ(L"DECIMAL -12.75", Shown(odbc::Decimal{L"-12.75"}));
    EXPECT_EQ(L"BSTR Gr\u00f6\u00dfe", Shown(std::wstring(L"Gr\u00f6\u00dfe")));
    EXPECT_EQ(L"BSTR ", Shown(std::wstring()));
    EXPECT_EQ(L"UI1[] 00 FF 10", Shown(std::vector<std::uint8_t>{0x00, 0xFF, 0x10}));
    EXPECT_EQ(L"UI1[]", Shown(std::vector<std::uint8_t>()));
}

// Automation's true has all bits set.
TEST(RowValue, IsOneOfAutomationsTwoBooleans)
{
    for (const bool value : {true, false}) {
        const win::Variant put = Put(value);
        EXPECT_EQ(VT_BOOL, put.Type());
        EXPECT_EQ(value ? -1 : 0, put.Get().boolVal);
    }
}

TEST(RowValue, IsNoDecimalThatAutomationCannotHold)
{
    win::Variant place;
    EXPECT_EQ(DISP_E_OVERFLOW, ado::PutValue(odbc::Decimal{std::wstring(40, L'9')}, place.Put()));
    EXPECT_EQ(DISP_E_TYPEMISMATCH, ado::PutValue(odbc::Decimal{L"twelve"}, place.Put()));
    EXPECT_EQ(VT_EMPTY, place.Type());
}

} // namespace
