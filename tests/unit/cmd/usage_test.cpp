#include "cmd/usage.h"

#include "support/installed_program.h"
#include "support/known_commands.h"
#include "support/numbered_messages.h"
#include "support/product_test.h"

#include <string>

namespace {

using namespace testing_support;

class Usage : public ProductTest {};

TEST_F(Usage, ShowsTheNumberOfEveryMessageBeforeItsLeadingBlanks)
{
    const NumberedMessages numbered;
    PrintUsage();
    EXPECT_EQ(kNumberedUsageScreen, output.Text());
}

TEST_F(Usage, ChangesOnlyTheLineOfTheOneMessageThatIsTranslated)
{
    const InstalledProgram program;
    program.Translate(1031, L"German", {L"2407\t\"VLCmd /?\"\t\"VLCmd /? (diese Seite)\""});
    ASSERT_EQ(0U, LoadTranslation(GetTranslator(), 0));
    PrintUsage();
    constexpr std::wstring_view kLine = L"\nVLCmd /?\n";
    std::wstring expected = kUsageScreen;
    expected.replace(expected.find(kLine), kLine.size(), L"\nVLCmd /? (diese Seite)\n");
    EXPECT_EQ(expected, output.Text());
}

TEST_F(Usage, TranslatesAllFourLinesOfOneMessage)
{
    const InstalledProgram program;
    program.Translate(1031, L"German", {L"3529\t\"Where:\"\t\"Wobei:\""});
    ASSERT_EQ(0U, LoadTranslation(GetTranslator(), 0));
    PrintUsage();
    std::wstring expected = kUsageScreen;
    int lines = 0;
    for (std::size_t at = 0; (at = expected.find(L"\nWhere:\n", at)) != std::wstring::npos; ++lines) {
        expected.replace(at, 8, L"\nWobei:\n");
    }
    ASSERT_EQ(4, lines);
    EXPECT_EQ(expected, output.Text());
}

TEST_F(Usage, CanBeShownTwice)
{
    PrintUsage();
    ASSERT_EQ(kUsageScreen, output.Take());
    PrintUsage();
    EXPECT_EQ(kUsageScreen, output.Text());
}

} // namespace
