#include "stats/statements.h"

#include "statement_texts.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace testing_support;
using namespace testing_support::statements;

TEST(Statement, IsWrittenAsTheDatabaseHasAlwaysGotIt)
{
    EXPECT_STREQ(kAnalyzeStatementText, kAnalyzeStatement);
    EXPECT_STREQ(kOnlineStatementText, kOnlineStatement);
    EXPECT_STREQ(kOfflineStatementText, kOfflineStatement);
}

// The literals above would follow an editor that takes trailing blanks away; these numbers do not.
TEST(Statement, KeepsTheBlanksAtTheEndsOfItsLines)
{
    const auto count = [](std::wstring_view text, wchar_t c) { return std::count(text.begin(), text.end(), c); };
    const std::pair<std::wstring_view, std::pair<std::size_t, std::ptrdiff_t>> statements[] = {
        {kAnalyzeStatement, {761, 262}},
        {kOnlineStatement, {1197, 387}},
        {kOfflineStatement, {696, 214}},
    };
    for (const auto& [statement, expected] : statements) {
        EXPECT_EQ(expected.first, statement.size());
        EXPECT_EQ(expected.second, count(statement, L' '));
        EXPECT_TRUE(statement.ends_with(L";             \n") || statement.ends_with(L";              \n"));
    }
}

} // namespace
