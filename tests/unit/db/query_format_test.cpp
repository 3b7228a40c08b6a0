#include "db/query_format.h"

#include "db/db_error.h"
#include "support/failing_memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

using vldb::CDbError;
using vldb::CQueryFormat;

// The error that the statement ends with.
void ExpectError(const CQueryFormat& query, const std::wstring& text)
{
    try {
        ADD_FAILURE() << "no error but " << ::testing::PrintToString(query.Str());
    } catch (const CDbError& error) {
        EXPECT_EQ(static_cast<HRESULT>(0x80070057), error.GetCode());
        EXPECT_EQ(text, error.GetText());
    }
}

TEST(QueryFormat, LeavesATemplateWithoutTagsAsItIs)
{
    EXPECT_EQ(L"SELECT 100 % 7; ' -- ", CQueryFormat(L"SELECT 100 % 7; ' -- ").Str());
    EXPECT_EQ(L"", CQueryFormat(L"").Str());
}

TEST(QueryFormat, PutsAValueInAsItIs)
{
    CQueryFormat query(L"SELECT %1% FROM t");
    query.Bind(1, L"a, 'b'", false);
    EXPECT_EQ(L"SELECT a, 'b' FROM t", query.Str());
}

TEST(QueryFormat, QuotesAValueAsAStringLiteral)
{
    CQueryFormat query(L"UPPER(%1%)");
    query.Bind(1, std::wstring(L"C:"), true);
    EXPECT_EQ(L"UPPER('C:')", query.Str());
}

TEST(QueryFormat, DoublesEveryApostropheOfALiteral)
{
    CQueryFormat query(L"%1%|%2%|%3%|%4%");
    query.Bind(1, L"O'Neil", true);
    query.Bind(2, L"'", true);
    query.Bind(3, L"''x'", true);
    query.Bind(4, L"", true);
    EXPECT_EQ(L"'O''Neil'|''''|'''''x'''|''", query.Str());
}

TEST(QueryFormat, LeavesApostrophesOfAnUnquotedValueAlone)
{
    CQueryFormat query(L"%1%");
    query.Bind(1, L"O'Neil", false);
    EXPECT_EQ(L"O'Neil", query.Str());
}

TEST(QueryFormat, PassesWhatLooksLikeSqlAsData)
{
    CQueryFormat query(L"(%1%)");
    query.Bind(1, L"C:'; DROP TABLE Volumes; -- /* %s %d 100% \\", true);
    EXPECT_EQ(L"('C:''; DROP TABLE Volumes; -- /* %s %d 100% \\')", query.Str());
}

TEST(QueryFormat, TakesAValueOfAnyLength)
{
    CQueryFormat query(L"%1%");
    query.Bind(1, std::wstring(10'000, L'\''), true);
    EXPECT_EQ(L'\'' + std::wstring(20'000, L'\'') + L'\'', query.Str());
}

TEST(QueryFormat, ThrowsItsOwnErrorWhereMemoryRunsOut)
{
    const std::wstring value(100, L'x');
    bool failed = true;
    int errors = 0;
    for (int allocation = 1; failed; ++allocation) {
        std::wstring text = L"SELECT ... WHERE name = %1%";
        std::wstring statement;
        const testing_support::FailingMemory memory(allocation);
        try {
            CQueryFormat query(std::move(text));
            query.Bind(1, value, true);
            statement = query.Str();
        } catch (const CDbError& error) {
            EXPECT_EQ(E_OUTOFMEMORY, error.GetCode());
            ++errors;
        }
        failed = memory.HasFailed();
        EXPECT_EQ(failed, statement.empty());
    }
    EXPECT_GE(errors, 3);
}

TEST(QueryFormat, ConvertsNumbersToText)
{
    CQueryFormat query(L"%1% %2% %3% %4%");
    query.Bind(1, -5, false);
    query.Bind(2, std::numeric_limits<std::int64_t>::max(), false);
    query.Bind(3, 0.25, false);
    query.Bind(4, 7U, true);
    EXPECT_EQ(L"-5 9223372036854775807 0.25 '7'", query.Str());
}

TEST(QueryFormat, TakesTagsInAnyOrderOfPlaceAndOfBinding)
{
    CQueryFormat query(L"%2% %3% %1%");
    query.Bind(3, L"c", false);
    query.Bind(1, L"a", false);
    query.Bind(2, L"b", false);
    EXPECT_EQ(L"b c a", query.Str());
}

TEST(QueryFormat, TakesTagsOfSeveralDigits)
{
    std::wstring text;
    for (int tag = 1; tag <= 12; ++tag) {
        text += L"%" + std::to_wstring(tag) + L"% ";
    }
    CQueryFormat query(text);
    for (int tag = 1; tag <= 12; ++tag) {
        query.Bind(tag, tag * 100, false);
    }
    EXPECT_EQ(L"100 200 300 400 500 600 700 800 900 1000 1100 1200 ", query.Str());
}

TEST(QueryFormat, BindsATagAnew)
{
    CQueryFormat query(L"%1%");
    query.Bind(1, L"old", false);
    query.Bind(1, L"new", true);
    EXPECT_EQ(L"'new'", query.Str());
}

TEST(QueryFormat, IsMadeIntoAStatementAgainAndAgain)
{
    CQueryFormat query(L"%1%");
    query.Bind(1, L"a", false);
    EXPECT_EQ(L"a", query.Str());
    EXPECT_EQ(L"a", query.Str());
}

TEST(QueryFormat, MissesATagWithoutAValue)
{
    ExpectError(CQueryFormat(L"SELECT %1%"), L"Tag 1 not defined");
}

TEST(QueryFormat, NamesTheFirstTagThatHasNoValue)
{
    CQueryFormat query(L"%3% %2% %1%");
    query.Bind(1, L"a", false);
    ExpectError(query, L"Tag 2 not defined");
}

TEST(QueryFormat, MissesTheTagOfAValue)
{
    CQueryFormat query(L"SELECT %1%");
    query.Bind(1, L"a", false);
    query.Bind(2, L"b", false);
    ExpectError(query, L"Tag 2 not found");
}

TEST(QueryFormat, FindsAMissingTagBeforeAMissingValue)
{
    CQueryFormat query(L"SELECT %1%");
    query.Bind(2, L"b", false);
    ExpectError(query, L"Tag 2 not found");
}

TEST(QueryFormat, RefusesATagThatStandsTwice)
{
    CQueryFormat query(L"%1% %1%");
    query.Bind(1, L"a", false);
    ExpectError(query, L"Tag 1 not defined");
}

TEST(QueryFormat, RefusesATagThatComesWithItsValue)
{
    CQueryFormat query(L"UPPER(%1%)");
    query.Bind(1, L"%1%", true);
    ExpectError(query, L"Tag 1 not defined");
}

TEST(QueryFormat, RefusesATagThatComesWithALaterValue)
{
    CQueryFormat query(L"%1% %2%");
    query.Bind(1, L"a", false);
    query.Bind(2, L"%1%", false);
    ExpectError(query, L"Tag 1 not defined");
}

TEST(QueryFormat, ReplacesTheFirstOccurrenceThoughAnEarlierValueBroughtIt)
{
    CQueryFormat query(L"%1% %2%");
    query.Bind(1, L"[%2%]", false);
    query.Bind(2, L"b", false);
    ExpectError(query, L"Tag 2 not defined");
}

TEST(QueryFormat, LetsATagBeyondItsOwnPassInAValue)
{
    CQueryFormat query(L"%1%");
    query.Bind(1, L"%2%", true);
    EXPECT_EQ(L"'%2%'", query.Str());
}

// The count ends at the first number that does not occur, so what lies beyond is no tag.
TEST(QueryFormat, CountsTagsOnlyUpToTheFirstGap)
{
    CQueryFormat query(L"%1% %3%");
    query.Bind(1, L"a", false);
    EXPECT_EQ(L"a %3%", query.Str());
    query.Bind(3, L"c", false);
    EXPECT_EQ(L"a c", query.Str());
    EXPECT_EQ(L"%2%", CQueryFormat(L"%2%").Str());
    EXPECT_EQ(L"%0%", CQueryFormat(L"%0%").Str());
}

TEST(QueryFormat, TakesOnlyWholeTags)
{
    EXPECT_EQ(L"%1 % 1% %01% %1.0%", CQueryFormat(L"%1 % 1% %01% %1.0%").Str());
}

} // namespace
