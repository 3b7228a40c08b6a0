#include "cmd/usage.h"

#include "support/installed_program.h"
#include "support/numbered_messages.h"
#include "support/product_test.h"
#include "support/usage_screen.h"

#include <string>

namespace {

using namespace testing_support;

constexpr wchar_t kNumberedUsageScreen[] =
    L"(-18-)    Usage :\n"
    L"\n"
    L"(-2422-)VLCmd <command> [<command-data>] [<command-flags>] [/c <computer-name>]\n"
    L"\n"
    L"(-3529-)Where:\n"
    L"\n"
    L"(-410-)<command>       - is VLCmd command\n"
    L"(-408-)<command-data>  - data for the command\n"
    L"(-409-)<command-flags> - additional command options\n"
    L"(-411-)<computer-name> - name of the remote computer\n"
    L"\n"
    L"(-750-)Available commands :\n"
    L"\n"
    L"(-506-)1. Drive status\n"
    L"(-2419-)VLCmd /st [/c <computer-name>]\n"
    L"(-2881-)Show status of all drives \n"
    L"\n"
    L"(-518-)2. Defrag drives online\n"
    L"(-2411-)VLCmd /dol|/tw|/cfs  /alldrives|<drive1> <drive2>... [/w] [/c <computer-name>]\n"
    L"(-3528-)Where :\n"
    L"(-136-)/dol - Defragment only\n"
    L"(-158-)/tw  - Tierweave\n"
    L"(-127-)/cfs - Consolidate free space\n"
    L"(-5886-)/ssd - SSD Optimize\n"
    L"(-5887-)/prep - Prep For Shrink\n"
    L"(-122-)/alldrives - perform operation on all drives\n"
    L"(-175-)/w         - wait until operation completes\n"
    L"\n"
    L"(-527-)3. Defrag drives offline\n"
    L"(-2414-)VLCmd /of  /alldrives|<drive1> <drive2>... /all|[ /d][ /s][ /p]   [/w] [/c <computer-name>]\n"
    L"(-3529-)Where:\n"
    L"(-120-)/all - defrag directories, system files and paging file\n"
    L"(-131-)/d   - defrag directories\n"
    L"(-149-)/s   - defrag system files\n"
    L"(-144-)/p   - defrag paging file\n"
    L"\n"
    L"(-529-)4. Defrag files\n"
    L"(-2410-)VLCmd /df <file1> [<file2> ...] [/c <computer-name>]\n"
    L"\n"
    L"(-531-)5. Analyze drive\n"
    L"(-2408-)VLCmd /an  /alldrives|<drive1> <drive2>... [/w] [/c <computer-name>]\n"
    L"\n"
    L"(-535-)6. Show latest statistics\n"
    L"(-2420-)VLCmd /sta|/sto|/stf  /alldrives|<drive1> <drive2>...  [/c <computer-name>]\n"
    L"(-3529-)Where:\n"
    L"(-161-)/sta - statistic of analyze pass\n"
    L"(-169-)/sto - statistic of online  defrag pass\n"
    L"(-167-)/stf - statistic of offline defrag pass\n"
    L"\n"
    L"(-536-)7. Stop the current active operation\n"
    L"(-2421-)VLCmd /stop  /alldrives|<drive1> <drive2>...  [/c <computer-name>]\n"
    L"\n"
    L"(-537-)8. Schedule boottime defrag.\n"
    L"(-2417-)VLCmd /sb  /alldrives|<drive1> <drive2>...  [/c <computer-name>]\n"
    L"\n"
    L"(-538-)9. Cancel bootime defrag.\n"
    L"(-2409-)VLCmd /cb  /alldrives|<drive1> <drive2>...  [/c <computer-name>]\n"
    L"\n"
    L"(-510-)10. Run schedule\n"
    L"(-2416-)VLCmd /rs  <schedule-name> [/c <computer-name>]\n"
    L"\n"
    L"(-512-)11. Query file name by the ID on NTFS drive\n"
    L"(-2413-)VLCmd /id <drive> <id>   [/c <computer-name>]\n"
    L"(-3529-)Where:\n"
    L"(-412-)<drive> - drive letter\n"
    L"(-439-)<id>    - NTFS file ID\n"
    L"\n"
    L"(-515-)12. Show support information\n"
    L"(-2418-)VLCmd /si\n"
    L"\n"
    L"(-516-)13. Display help\n"
    L"(-2407-)VLCmd /?\n";

// The usage screen with its last line replaced.
std::wstring UsageEndingWith(std::wstring_view line)
{
    constexpr std::wstring_view kLastLine = L"VLCmd /?\n";
    std::wstring screen = kUsageScreen;
    screen.resize(screen.size() - kLastLine.size());
    return screen.append(line);
}

class Usage : public ProductTest {};

TEST_F(Usage, IsTheWholeScreenWithItsEmptyLines)
{
    PrintUsage();
    EXPECT_EQ(kUsageScreen, output.Text());
}

TEST_F(Usage, ShowsTheNumberOfEveryMessageBeforeItsLeadingBlanks)
{
    const NumberedMessages numbered;
    PrintUsage();
    EXPECT_EQ(kNumberedUsageScreen, output.Text());
}

TEST_F(Usage, ChangesOnlyTheLastLineWhenOnlyThatIsTranslated)
{
    const InstalledProgram program;
    program.Translate(1031, L"German", {L"2407\t\"VLCmd /?\"\t\"VLCmd /? (diese Seite)\""});
    ASSERT_EQ(0U, LoadTranslation(GetTranslator(), 0));
    PrintUsage();
    EXPECT_EQ(UsageEndingWith(L"VLCmd /? (diese Seite)\n"), output.Text());
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
