#include "win/text.h"

#include "support/replaced_function.h"
#include "win/windows_api.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

using namespace testing_support;
using win::EqualNames;
using win::NameLess;
using win::ReadDecimal;

TEST(Names, AreEqualWithoutRegardToCase)
{
    EXPECT_TRUE(EqualNames(L"", L""));
    EXPECT_TRUE(EqualNames(L"C:\\", L"c:\\"));
    EXPECT_TRUE(EqualNames(L"SRV1", L"srv1"));
    EXPECT_TRUE(EqualNames(L"abcxyzABCXYZ09", L"ABCXYZabcxyz09"));
    EXPECT_TRUE(EqualNames(L"\u00C4\u00D6\u00DC", L"\u00E4\u00F6\u00FC"));
    EXPECT_TRUE(EqualNames(L"a\u00E4B", L"A\u00C4b"));
}

TEST(Names, DifferByAnythingElse)
{
    EXPECT_FALSE(EqualNames(L"", L"a"));
    EXPECT_FALSE(EqualNames(L"a", L""));
    EXPECT_FALSE(EqualNames(L"C:", L"C:\\"));
    EXPECT_FALSE(EqualNames(L"C:\\", L"C:/"));
    EXPECT_FALSE(EqualNames(L"a\u00E4", L"a\u00E4\u00E4"));
    EXPECT_FALSE(EqualNames(L"\u00E4", L"a"));
    EXPECT_FALSE(EqualNames(L"a", L"\u00E4"));
    EXPECT_FALSE(EqualNames(L"stra\u00DFe", L"strasse"));
}

TEST(Names, DifferByCharactersThatSurroundTheLetters)
{
    EXPECT_FALSE(EqualNames(L"@", L"`"));
    EXPECT_FALSE(EqualNames(L"[", L"{"));
    EXPECT_FALSE(EqualNames(L"\x01", L"!"));
}

TEST(Names, MayHoldNuls)
{
    using namespace std::string_view_literals;
    EXPECT_TRUE(EqualNames(L"a\0b"sv, L"A\0B"sv));
    EXPECT_FALSE(EqualNames(L"a\0b"sv, L"a\0c"sv));
    EXPECT_FALSE(EqualNames(L"a"sv, L"a\0"sv));
}

TEST(OrderOfNames, IsOrdinalInUpperCase)
{
    constexpr NameLess less;
    const std::vector<std::wstring> ascending = {L"",  L"!",    L"1", L"a",      L"AB",
                                                 L"b", L"C:\\", L"_", L"\u00E4", L"\u65E5"};
    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            EXPECT_EQ(i < j, less(ascending[i], ascending[j])) << i << " and " << j;
        }
    }
}

TEST(OrderOfNames, HasNoneBeforeOrBehindAnEqualOne)
{
    constexpr NameLess less;
    EXPECT_FALSE(less(L"srv", L"SRV"));
    EXPECT_FALSE(less(L"SRV", L"srv"));
    EXPECT_FALSE(less(L"\u00E4", L"\u00C4"));
    EXPECT_FALSE(less(L"", L""));
}

// The comparison is Windows' own for all texts; the shortcut for ASCII must not show.
TEST(OrderOfNames, IsThatOfWindowsForEveryPairOfAsciiCharacters)
{
    constexpr NameLess less;
    for (wchar_t left = 1; left < 0x80; ++left) {
        for (wchar_t right = 1; right < 0x80; ++right) {
            const int order = CompareStringOrdinal(&left, 1, &right, 1, TRUE);
            ASSERT_EQ(order == CSTR_LESS_THAN, less({&left, 1}, {&right, 1})) << int{left} << ' ' << int{right};
            ASSERT_EQ(order == CSTR_EQUAL, EqualNames({&left, 1}, {&right, 1})) << int{left} << ' ' << int{right};
        }
    }
}

TEST(OrderOfNames, AllowsASetOfStringsToBeAskedWithAView)
{
    const std::set<std::wstring, NameLess> names = {L"C:\\", L"c:\\", L"D:\\"};
    EXPECT_EQ(2U, names.size());
    EXPECT_TRUE(names.contains(std::wstring_view(L"d:\\")));
    EXPECT_FALSE(names.contains(std::wstring_view(L"E:\\")));
}

// The pieces of a text, at most so many of them.
std::vector<std::wstring> Pieces(std::wstring_view text, std::size_t most = 100)
{
    std::vector<std::wstring> pieces;
    win::ForEachPiece(text, L'|', [&](std::wstring_view piece) {
        pieces.emplace_back(piece);
        return pieces.size() < most;
    });
    return pieces;
}

TEST(Pieces, StandBetweenSeparatorsInOrder)
{
    EXPECT_EQ((std::vector<std::wstring>{L"b", L"a", L"b"}), Pieces(L"b|a|b"));
    EXPECT_EQ((std::vector<std::wstring>{L"one"}), Pieces(L"one"));
    EXPECT_EQ((std::vector<std::wstring>{L" a ", L" b"}), Pieces(L" a | b"));
}

TEST(Pieces, AreNeverEmpty)
{
    EXPECT_TRUE(Pieces(L"").empty());
    EXPECT_TRUE(Pieces(L"||").empty());
    EXPECT_EQ((std::vector<std::wstring>{L"a", L"b"}), Pieces(L"|a||b|"));
}

TEST(Pieces, AreVisitedUntilTheVisitorHasEnough)
{
    EXPECT_EQ((std::vector<std::wstring>{L"a", L"b"}), Pieces(L"a|b|c|d", 2));
}

TEST(UpperCase, ChangesEveryLetterThatHasOne)
{
    EXPECT_EQ(L"", win::UpperCase(L""));
    EXPECT_EQ(L"VLCMD_1.EXE", win::UpperCase(L"VLCmd_1.exe"));
    EXPECT_EQ(L"\u00C4\u0416", win::UpperCase(L"\u00E4\u0436"));
    EXPECT_EQ(std::wstring(L"A\0B", 3), win::UpperCase({L"a\0b", 3}));
}

TEST(BaseName, IsTheFilesNameWithoutFolderAndExtension)
{
    const std::pair<const wchar_t*, const wchar_t*> paths[] = {
        {L"", L""},
        {L"name", L"name"},
        {L"name.cpp", L"name"},
        {L"a.b.cpp", L"a.b"},
        {L"C:\\folder\\name.cpp", L"name"},
        {L"C:\\my.folder\\name", L"name"},
        {L"folder\\", L""},
        {L".cpp", L""},
        {L"folder/name.cpp", L"folder/name"},
    };
    for (const auto& [path, name] : paths) {
        EXPECT_EQ(name, win::BaseName(path)) << ::testing::PrintToString(std::wstring(path));
    }
}

// --- Decimal numbers ---

TEST(DecimalNumber, IsItsDigitsUpToWhateverElseFollows)
{
    EXPECT_EQ(0, ReadDecimal(L"0"));
    EXPECT_EQ(5891, ReadDecimal(L"5891"));
    EXPECT_EQ(7, ReadDecimal(L"0000000000000007"));
    EXPECT_EQ(12, ReadDecimal(L"12abc"));
    EXPECT_EQ(12, ReadDecimal(L"12.9"));
    EXPECT_EQ(12, ReadDecimal(L"12 3"));
    EXPECT_EQ(12, ReadDecimal({L"12\0"
                               L"3",
                               4}));
    EXPECT_EQ(12, ReadDecimal(std::wstring_view(L"1234").substr(0, 2)));
}

TEST(DecimalNumber, MayHaveBlanksAndThenASignBeforeIt)
{
    EXPECT_EQ(12, ReadDecimal(L" \t\n\v\f\r12"));
    EXPECT_EQ(12, ReadDecimal(L"\u00A0\u300012")); // no-break and ideographic space
    EXPECT_EQ(12, ReadDecimal(L"+12"));
    EXPECT_EQ(-12, ReadDecimal(L"-12"));
    EXPECT_EQ(-12, ReadDecimal(L"  -12"));
    for (const wchar_t* text : {L"+ 12", L"- 12", L"--12", L"+-12", L"-+12"}) {
        EXPECT_EQ(0, ReadDecimal(text)) << text;
    }
}

TEST(DecimalNumber, IsZeroWithoutDigits)
{
    for (const wchar_t* text : {L"", L" ", L"-", L"+", L"abc", L"x5", L".5", L"$5"}) {
        EXPECT_EQ(0, ReadDecimal(text)) << text;
    }
}

TEST(DecimalNumber, HasNoOtherDigitsThanThoseOfAscii)
{
    // Arabic-Indic, fullwidth, Devanagari and superscript.
    for (const wchar_t* text : {L"\u0665", L"\uFF15", L"\u096B", L"\u00B2"}) {
        EXPECT_EQ(0, ReadDecimal(text)) << text;
        EXPECT_EQ(3, ReadDecimal(L"3" + std::wstring(text))) << text;
    }
}

TEST(DecimalNumber, IsTheLimitWherePast32Bits)
{
    EXPECT_EQ(2147483647, ReadDecimal(L"2147483647"));
    EXPECT_EQ(2147483647, ReadDecimal(L"2147483648"));
    EXPECT_EQ(2147483647, ReadDecimal(L"4294967301"));
    EXPECT_EQ(2147483647, ReadDecimal(L"18446744073709551621"));
    EXPECT_EQ(2147483647, ReadDecimal(std::wstring(1000, L'9')));
    EXPECT_EQ(-2147483647, ReadDecimal(L"-2147483647"));
    EXPECT_EQ(-2147483647 - 1, ReadDecimal(L"-2147483648"));
    EXPECT_EQ(-2147483647 - 1, ReadDecimal(L"-2147483649"));
    EXPECT_EQ(-2147483647 - 1, ReadDecimal(L"-4294967301"));
}

} // namespace
