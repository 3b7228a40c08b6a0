#include "messages/catalogue.h"

#include "messages/unprinted_messages.h"
#include "support/installed_program.h"
#include "support/product_test.h"

#include <iterator>
#include <string>
#include <vector>

namespace {

using namespace testing_support;

// A text with its placeholders resolved.
std::wstring Resolved(const std::wstring& text, const std::vector<std::wstring>& arguments)
{
    CatalogueText message{text};
    for (const std::wstring& argument : arguments) {
        AddArgument(message, argument);
    }
    return ToWideString(message);
}

// The number as an argument shows it.
template <typename... Format>
std::wstring Number(std::uint32_t value, Format... format)
{
    CatalogueText message{L"%1"};
    AddNumberArgument(message, value, format...);
    return ToWideString(message);
}

TEST(Placeholder, GivesWayToItsArgument)
{
    EXPECT_EQ(L"Failed to set control handler (5).", Resolved(L"Failed to set control handler (%1).", {L"5"}));
    EXPECT_EQ(L"a-b-c", Resolved(L"%1-%2-%3", {L"a", L"b", L"c"}));
    EXPECT_EQ(L"b a b", Resolved(L"%2 %1 %2", {L"a", L"b"}));
    EXPECT_EQ(L"ab", Resolved(L"%1%2", {L"a", L"b"}));
    EXPECT_EQ(L"", Resolved(L"%1", {L""}));
}

TEST(Placeholder, StaysAsWrittenWithoutAnArgument)
{
    EXPECT_EQ(L"%1", Resolved(L"%1", {}));
    EXPECT_EQ(L"a %2 b", Resolved(L"%1 %2 b", {L"a"}));
    EXPECT_EQ(L"%12", Resolved(L"%12", {L"a"}));
    EXPECT_EQ(L"%3", Resolved(L"%3", {L"a", L"b"}));
    EXPECT_EQ(L"%99999999999999999999", Resolved(L"%99999999999999999999", {L"a"}));
    EXPECT_EQ(L"%4294967297", Resolved(L"%4294967297", {L"a"}));
}

TEST(Placeholder, NeedsANumberFromOne)
{
    for (const wchar_t* text : {L"%0", L"%00", L"%x", L"%-1", L"%%", L"%", L"100%", L"% ", L"%x1", L"%.1"}) {
        EXPECT_EQ(text, Resolved(text, {L"a", L"b"}));
    }
}

TEST(Placeholder, TakesAllItsDigits)
{
    EXPECT_EQ(L"a", Resolved(L"%01", {L"a"}));
    EXPECT_EQ(L"a.", Resolved(L"%0001.", {L"a"}));
    const std::vector<std::wstring> twelve = {L"1", L"2", L"3", L"4", L"5", L"6", L"7", L"8", L"9", L"A", L"B", L"C"};
    EXPECT_EQ(L"C1", Resolved(L"%12%1", twelve));
    EXPECT_EQ(L"Ax", Resolved(L"%10x", twelve));
    EXPECT_EQ(L"%13", Resolved(L"%13", twelve));
}

// The number is read as _wtoi reads it, which passes over blanks and a sign; only the "%" and digits right behind it
// are skipped.
TEST(Placeholder, MayHaveBlanksOrASignBeforeItsNumber)
{
    EXPECT_EQ(L"a 1", Resolved(L"% 1", {L"a"}));
    EXPECT_EQ(L"a+1", Resolved(L"%+1", {L"a"}));
    EXPECT_EQ(L"a\t2x", Resolved(L"%\t2x", {L"b", L"a"}));
}

TEST(Placeholder, StaysAsWrittenWithOtherDigitsThanAscii)
{
    // Arabic-Indic, fullwidth and superscript 1.
    for (const wchar_t* text : {L"%\u0661", L"%\uFF11", L"%\u00B9", L"a %\uFF11%\u0661 b"}) {
        EXPECT_EQ(text, Resolved(text, {L"a"}));
    }
    EXPECT_EQ(L"a\uFF11", Resolved(L"%1\uFF11", {L"a"}));
}

TEST(Placeholder, IsNotTakenForTheOneThatItsNumberWrapsTo)
{
    for (const wchar_t* text : {L"%4294967297", L"%-4294967295", L"%18446744073709551617"}) {
        EXPECT_EQ(text, Resolved(text, {L"a"}));
    }
}

TEST(Placeholder, DoesNotEscapeAPercentSign)
{
    EXPECT_EQ(L"%a", Resolved(L"%%1", {L"a"}));
    EXPECT_EQ(L"50% of a", Resolved(L"50% of %1", {L"a"}));
}

TEST(Placeholder, IsNotLookedForInAnArgument)
{
    EXPECT_EQ(L"%2 b", Resolved(L"%1 %2", {L"%2", L"b"}));
    EXPECT_EQ(L"%1", Resolved(L"%1", {L"%1"}));
    EXPECT_EQ(L"%1", Resolved(L"%%1", {L"1", L"x"}));
}

TEST(Placeholder, MayStandInATextOfAnyCharacters)
{
    EXPECT_EQ(L"\u65E5\U0001F600\n", Resolved(L"\u65E5%1\n", {L"\U0001F600"}));
    EXPECT_EQ(std::wstring(L"a\0b", 3), Resolved(L"%1", {std::wstring(L"a\0b", 3)}));
}

TEST(NumberArgument, IsPlainDecimal)
{
    EXPECT_EQ(L"0", Number(0));
    EXPECT_EQ(L"5", Number(5));
    EXPECT_EQ(L"1234567", Number(1234567));
    EXPECT_EQ(L"4294967295", Number(0xFFFFFFFF));
    EXPECT_EQ(L"42", Number(42, -1, L' ', 10, -1));
}

TEST(NumberArgument, IsFilledToItsWidth)
{
    EXPECT_EQ(L"   42", Number(42, 5));
    EXPECT_EQ(L"00042", Number(42, 5, L'0'));
    EXPECT_EQ(L"***42", Number(42, 5, L'*'));
    EXPECT_EQ(L"42", Number(42, 2, L'0'));
    EXPECT_EQ(L"42", Number(42, 1, L'0'));
    EXPECT_EQ(L"42", Number(42, 0, L'0'));
    EXPECT_EQ(L"42", Number(42, -5, L'0'));
}

TEST(NumberArgument, MayBeOfAnotherBase)
{
    EXPECT_EQ(L"80070005", Number(0x80070005, -1, L' ', 16));
    EXPECT_EQ(L"ff", Number(255, -1, L' ', 16));
    EXPECT_EQ(L"377", Number(255, -1, L' ', 8));
    EXPECT_EQ(L"000000ff", Number(255, 8, L'0', 16));
}

TEST(NumberArgument, HasNoUseForAPrecision)
{
    EXPECT_EQ(L"42", Number(42, -1, L' ', 10, 0));
    EXPECT_EQ(L"42", Number(42, -1, L' ', 10, 3));
}

TEST(NumberArgument, TakesItsPlaceAmongTheOthers)
{
    CatalogueText text{L"%1 %2 %3"};
    AddArgument(text, L"a");
    AddNumberArgument(text, 5);
    AddArgument(text, L"c");
    EXPECT_EQ(L"a 5 c", ToWideString(text));
}

class LookingUpAMessage : public ProductTest {};

TEST_F(LookingUpAMessage, GivesItsEnglishTextWithoutArguments)
{
    const CatalogueText text = GetMessage(GetMessageCatalogue(), 1647, "Failed to set control handler (%1).");
    EXPECT_EQ(L"Failed to set control handler (%1).", ToWideString(text));
}

TEST_F(LookingUpAMessage, GivesItsTranslationWhoseArgumentsMayStandInAnotherOrder)
{
    const InstalledProgram program;
    program.Translate(1031, L"German", {L"9999\t\"%1 of %2\"\t\"von %2 das %1\""});
    ASSERT_EQ(0U, LoadTranslation(GetTranslator(), 0));
    CatalogueText text = GetMessage(GetMessageCatalogue(), 9999, "%1 of %2");
    AddArgument(text, L"a");
    AddArgument(text, L"b");
    EXPECT_EQ(L"von b das a", ToWideString(text));
}

TEST_F(LookingUpAMessage, MayAddArgumentsAtOnce)
{
    EXPECT_EQ(L"a of b", ToWideString(GetMessage({9999, "%1 of %2"}, {L"a", L"b"})));
    EXPECT_EQ(L"plain", ToWideString(GetMessage({9999, "plain"})));
}

TEST_F(LookingUpAMessage, ResolvesNoPlaceholderByItsNumberPrefix)
{
    EXPECT_EQ(L"%1", ToWideString(GetMessage({1, "%1"})));
}

TEST(MessageCatalogueObject, IsOne)
{
    EXPECT_EQ(&GetMessageCatalogue(), &GetMessageCatalogue());
}

TEST(UnprintedMessages, StandInTheCatalogue)
{
    const std::pair<std::uint32_t, std::string> expected[] = {
        {938, "Command line option %1 is invalid."},
        {2227, "No files specified for this operation."},
        {2932, "Specified files are located on multiple drives."},
        {267, "%1 Could not be converted to a known drive type ."},
        {1886, "Hard Drive"},
        {1584, "External Hard Drive"},
        {1744, "Flash Drive"},
        {2920, "Solid State Drive(SSD)"},
        {1745, "Floppy Drive"},
        {2201, "Network Drive"},
        {3372, "Unknown Drive"},
    };
    ASSERT_EQ(std::size(expected), std::size(kUnprintedMessages));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(expected[i].first, kUnprintedMessages[i].number);
        EXPECT_EQ(expected[i].second, kUnprintedMessages[i].english);
    }
}

} // namespace
