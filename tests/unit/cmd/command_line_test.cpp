#include "cmd/command_line.h"
#include "cmd/commands.h"

#include "support/arguments.h"
#include "support/product_test.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <cwctype>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

namespace {

using namespace testing_support;

constexpr const wchar_t* kKnownFlags[] = {L"/alldrives", L"/w", L"/wait", L"/all", L"/d", L"/s", L"/p", L"/r", L"/t"};

template <typename Map>
std::wstring Recased(const std::wstring& word, Map map)
{
    std::wstring recased;
    std::transform(word.begin(), word.end(), std::back_inserter(recased),
                   [&](wchar_t c) { return static_cast<wchar_t>(map(c)); });
    return recased;
}

std::wstring Upper(const std::wstring& word)
{
    return Recased(word, [](wchar_t c) { return std::towupper(c); });
}

std::wstring Lower(const std::wstring& word)
{
    return Recased(word, [](wchar_t c) { return std::towlower(c); });
}

// Every other letter in the other case.
std::wstring Mixed(const std::wstring& word)
{
    bool upper = false;
    return Recased(word, [&](wchar_t c) {
        upper = !upper;
        return upper ? std::towupper(c) : std::towlower(c);
    });
}

std::wstring ComputerOf(const Words& words)
{
    std::wstring computer = L"left over";
    GetComputerName(ParsedLine(words), computer);
    return computer;
}

// --- Parsing ---

TEST(CommandLineSwitches, AreTheNineFlagsAndTheOneValueSwitch)
{
    CommandLine line;
    RegisterSwitches(line);
    EXPECT_EQ(std::size(kKnownFlags), line.knownFlags.size());
    for (const wchar_t* flag : kKnownFlags) {
        EXPECT_TRUE(line.knownFlags.contains(flag)) << flag;
    }
    ASSERT_EQ(1U, line.knownValueSwitches.size());
    EXPECT_EQ(L"/c", *line.knownValueSwitches.begin());
}

TEST(CommandLineSwitches, BecomeFlagsInAnyCaseAndNeverWords)
{
    for (const std::wstring flag : kKnownFlags) {
        for (const std::wstring& spelling : {flag, Upper(flag), Mixed(flag)}) {
            const CommandLine line = ParsedLine({spelling});
            EXPECT_TRUE(HasFlag(line, flag)) << spelling;
            EXPECT_TRUE(HasFlag(line, Upper(flag))) << spelling;
            EXPECT_EQ(1U, line.presentFlags.size()) << spelling;
            EXPECT_TRUE(GetWords(line).empty()) << spelling;
        }
    }
}

TEST(CommandLineSwitches, AreAbsentUntilGiven)
{
    const CommandLine line = ParsedLine({L"/st"});
    for (const wchar_t* flag : kKnownFlags) {
        EXPECT_FALSE(HasFlag(line, flag)) << flag;
    }
    EXPECT_EQ(L"", GetOptionValue(line, L"/c"));
}

TEST(CommandLineSwitches, CountOnceHoweverOftenTheyAreGiven)
{
    const CommandLine line = ParsedLine({L"/WAIT", L"/Wait", L"/wait"});
    EXPECT_EQ(1U, line.presentFlags.size());
    EXPECT_TRUE(HasFlag(line, L"/wait"));
    EXPECT_FALSE(HasFlag(line, L"/w"));
}

TEST(CommandLineSwitches, AreWholeWordsWithASlash)
{
    const Words words = {L"/waits", L"/wai", L"-w", L"w", L"/", L"//w", L" /w", L"/w ", L"/c:", L"/cSRV1", L"/x"};
    const CommandLine line = ParsedLine(words);
    EXPECT_EQ(words, GetWords(line));
    EXPECT_TRUE(line.presentFlags.empty());
    EXPECT_TRUE(line.optionValues.empty());
}

TEST(ParsedWords, KeepTheirOrderCaseAndRepetition)
{
    const CommandLine line = ParsedLine({L"/DoL", L"c:", L"/w", L"C:", L"", L"c:", L"/Bogus"});
    EXPECT_EQ((Words{L"/DoL", L"c:", L"C:", L"", L"c:", L"/Bogus"}), GetWords(line));
}

TEST(ParsedWords, LeaveOutTheProgramsName)
{
    EXPECT_TRUE(GetWords(ParsedLine({})).empty());
}

TEST(ParsedWords, AreNoneWithoutAnyArgument)
{
    CommandLine line;
    RegisterSwitches(line);
    wchar_t* none[] = {nullptr};
    EXPECT_TRUE(Parse(line, 0, none));
    EXPECT_TRUE(GetWords(line).empty());
}

TEST(ParsedWords, ReplaceThoseOfAnEarlierLine)
{
    CommandLine line = ParsedLine({L"/an", L"C:", L"/w", L"/c", L"SRV1"});
    Arguments second({L"/st"});
    ASSERT_TRUE(Parse(line, second.Count(), second.Values()));
    EXPECT_EQ(Words{L"/st"}, GetWords(line));
    EXPECT_FALSE(HasFlag(line, L"/w"));
    EXPECT_EQ(L"", GetOptionValue(line, L"/c"));
}

TEST(ParsedWords, AreWordsAllOfThemWhereNoSwitchIsKnown)
{
    CommandLine line;
    Arguments arguments({L"/an", L"/w", L"/c"});
    EXPECT_TRUE(Parse(line, arguments.Count(), arguments.Values()));
    EXPECT_EQ((Words{L"/an", L"/w", L"/c"}), GetWords(line));
}

TEST(SwitchValue, IsTheNextWordInAnyCaseOfTheSwitch)
{
    for (const wchar_t* spelling : {L"/c", L"/C"}) {
        const CommandLine line = ParsedLine({L"/an", spelling, L"Srv1", L"C:"});
        EXPECT_EQ(L"Srv1", GetOptionValue(line, L"/c"));
        EXPECT_EQ(L"Srv1", GetOptionValue(line, L"/C"));
        EXPECT_EQ((Words{L"/an", L"C:"}), GetWords(line));
    }
}

TEST(SwitchValue, IsTakenAsItStandsEvenWhenItLooksLikeASwitch)
{
    const CommandLine line = ParsedLine({L"/st", L"/c", L"/w", L"/c", L"/c"});
    EXPECT_EQ(L"/c", GetOptionValue(line, L"/c"));
    EXPECT_FALSE(HasFlag(line, L"/w"));
    EXPECT_EQ(L"/w", GetOptionValue(ParsedLine({L"/st", L"/c", L"/w"}), L"/c"));
}

TEST(SwitchValue, IsTheLastOneGiven)
{
    const CommandLine line = ParsedLine({L"/an", L"C:", L"/c", L"SRV1", L"/C", L"SRV2"});
    EXPECT_EQ(L"SRV2", GetOptionValue(line, L"/c"));
    EXPECT_EQ(1U, line.optionValues.size());
    EXPECT_EQ(L"SRV2", ComputerOf({L"/an", L"C:", L"/c", L"SRV1", L"/c", L"SRV2"}));
}

TEST(SwitchValue, CannotBeMissing)
{
    for (const Words& words : {Words{L"/c"}, Words{L"/an", L"C:", L"/c"}, Words{L"/C"}, Words{L"/c", L"SRV1", L"/c"}}) {
        CommandLine line;
        RegisterSwitches(line);
        Arguments arguments(words);
        EXPECT_FALSE(Parse(line, arguments.Count(), arguments.Values()));
    }
}

TEST(SwitchValue, IsEmptyForASwitchThatTakesNone)
{
    EXPECT_EQ(L"", GetOptionValue(ParsedLine({L"/st", L"/w", L"/c", L"SRV1"}), L"/w"));
}

// --- Commands ---

struct CommandSpelling {
    std::uint32_t code;
    std::wstring word;

    friend void PrintTo(const CommandSpelling& command, std::ostream* out)
    {
        *out << std::string(command.word.begin(), command.word.end());
    }
};

class CommandWord : public ::testing::TestWithParam<CommandSpelling> {};

TEST_P(CommandWord, GivesItsCodeInAnyCase)
{
    const auto& [code, word] = GetParam();
    for (const std::wstring& spelling : {word, Upper(word), Lower(word), Mixed(word)}) {
        EXPECT_EQ(code, GetCommandCode(ParsedLine({spelling, L"C:"}))) << spelling;
    }
}

TEST_P(CommandWord, CountsAfterSwitchesAndTheirValues)
{
    const auto& [code, word] = GetParam();
    EXPECT_EQ(code, GetCommandCode(ParsedLine({L"/w", L"/c", L"SRV1", word})));
}

TEST_P(CommandWord, IsNoCommandBehindAnotherWord)
{
    const auto& [code, word] = GetParam();
    EXPECT_EQ(0U, GetCommandCode(ParsedLine({L"C:", word})));
}

TEST_P(CommandWord, IsAWholeWord)
{
    const auto& [code, word] = GetParam();
    EXPECT_EQ(0U, GetCommandCode(ParsedLine({word + L"x"})));
    EXPECT_EQ(0U, GetCommandCode(ParsedLine({L"-" + word.substr(1)})));
}

INSTANTIATE_TEST_SUITE_P(
    All, CommandWord,
    ::testing::Values(CommandSpelling{1, L"/st"}, CommandSpelling{1, L"/status"}, CommandSpelling{2, L"/dol"},
                      CommandSpelling{2, L"/DefragOnly"}, CommandSpelling{3, L"/tw"}, CommandSpelling{3, L"/TierWeave"},
                      CommandSpelling{4, L"/cfs"}, CommandSpelling{4, L"/ConsolidateFreeSpace"},
                      CommandSpelling{5, L"/ssd"}, CommandSpelling{5, L"/SSDOptimize"}, CommandSpelling{6, L"/prep"},
                      CommandSpelling{6, L"/PrepForShrink"}, CommandSpelling{7, L"/of"},
                      CommandSpelling{7, L"/offline"}, CommandSpelling{8, L"/df"}, CommandSpelling{8, L"/DefragFiles"},
                      CommandSpelling{9, L"/an"}, CommandSpelling{9, L"/analyze"}, CommandSpelling{10, L"/sta"},
                      CommandSpelling{10, L"/stat-analyze"}, CommandSpelling{11, L"/sto"},
                      CommandSpelling{11, L"/stat-online"}, CommandSpelling{12, L"/stf"},
                      CommandSpelling{12, L"/stat-offline"}, CommandSpelling{13, L"/stp"},
                      CommandSpelling{13, L"/stop"}, CommandSpelling{14, L"/sb"}, CommandSpelling{14, L"/schedboot"},
                      CommandSpelling{15, L"/cb"}, CommandSpelling{15, L"/CancelBootTime"}, CommandSpelling{16, L"/rs"},
                      CommandSpelling{16, L"/runschedule"}, CommandSpelling{17, L"/id"},
                      CommandSpelling{17, L"/QueryFileById"}, CommandSpelling{18, L"/si"},
                      CommandSpelling{18, L"/SupportInformation"}, CommandSpelling{19, L"/?"}),
    [](const auto& test) {
        std::string name = std::to_string(test.param.code);
        for (const wchar_t c : test.param.word) {
            name += std::isalpha(c) != 0 ? std::string(1, static_cast<char>(c)) : (c == L'?' ? "QuestionMark" : "");
        }
        return "Code" + name;
    });

TEST(NoCommand, IsAnEmptyLineOrOneOfSwitchesAlone)
{
    EXPECT_EQ(0U, GetCommandCode(ParsedLine({})));
    EXPECT_EQ(0U, GetCommandCode(ParsedLine({L"/w", L"/c", L"/st"})));
}

TEST(NoCommand, IsAnyOtherWord)
{
    for (const wchar_t* word : {L"/bogus", L"/xyz", L"st", L"C:", L"\\\\SRV1", L"/", L"", L"/??", L"/help", L"-?"}) {
        EXPECT_EQ(0U, GetCommandCode(ParsedLine({word, L"/st"}))) << word;
    }
}

// --- Flags ---

TEST(WaitFlag, IsEitherSpelling)
{
    EXPECT_TRUE(HasWaitFlag(ParsedLine({L"/an", L"/w"})));
    EXPECT_TRUE(HasWaitFlag(ParsedLine({L"/an", L"/WAIT"})));
    EXPECT_TRUE(HasWaitFlag(ParsedLine({L"/an", L"/w", L"/wait"})));
}

TEST(WaitFlag, IsNoOtherWord)
{
    EXPECT_FALSE(HasWaitFlag(ParsedLine({L"/an", L"/d", L"/t", L"w", L"/waiting"})));
    EXPECT_FALSE(HasWaitFlag(ParsedLine({L"/an", L"/c", L"/w"})));
}

struct PassCase {
    const char* name;
    Words flags;
    std::uint32_t mask;

    friend void PrintTo(const PassCase& test, std::ostream* out) { *out << test.name; }
};

class OfflinePasses : public ::testing::TestWithParam<PassCase> {};

TEST_P(OfflinePasses, AddUp)
{
    Words words = {L"/of", L"C:"};
    words.insert(words.end(), GetParam().flags.begin(), GetParam().flags.end());
    EXPECT_EQ(GetParam().mask, GetOfflinePassMask(ParsedLine(words)));
    std::reverse(words.begin(), words.end());
    EXPECT_EQ(GetParam().mask, GetOfflinePassMask(ParsedLine(words)));
}

INSTANTIATE_TEST_SUITE_P(
    All, OfflinePasses,
    ::testing::Values(PassCase{"None", {}, 4096}, PassCase{"D", {L"/d"}, 1}, PassCase{"S", {L"/s"}, 2},
                      PassCase{"DS", {L"/d", L"/s"}, 3}, PassCase{"P", {L"/p"}, 4}, PassCase{"DP", {L"/d", L"/p"}, 5},
                      PassCase{"SP", {L"/s", L"/p"}, 6}, PassCase{"DSP", {L"/d", L"/s", L"/p"}, 7},
                      PassCase{"All", {L"/all"}, 7}, PassCase{"AllD", {L"/all", L"/d"}, 7},
                      PassCase{"AllS", {L"/all", L"/s"}, 7}, PassCase{"AllDS", {L"/all", L"/d", L"/s"}, 7},
                      PassCase{"AllP", {L"/all", L"/p"}, 7}, PassCase{"AllDP", {L"/all", L"/d", L"/p"}, 7},
                      PassCase{"AllSP", {L"/all", L"/s", L"/p"}, 7},
                      PassCase{"AllDSP", {L"/all", L"/d", L"/s", L"/p"}, 7},
                      PassCase{"OtherFlags", {L"/alldrives", L"/w", L"/r", L"/t"}, 4096}),
    [](const auto& test) { return test.param.name; });

// --- The computer ---

TEST(TargetComputer, IsTheLocalOneUnlessNamed)
{
    EXPECT_EQ(L"", ComputerOf({}));
    EXPECT_EQ(L"", ComputerOf({L"/st"}));
    EXPECT_EQ(L"", ComputerOf({L"/st", L"SRV1"}));
}

TEST(TargetComputer, IsTheValueOfItsSwitchAsTyped)
{
    EXPECT_EQ(L"Srv1", ComputerOf({L"/st", L"/c", L"Srv1"}));
    EXPECT_EQ(L"\\\\SRV1", ComputerOf({L"/st", L"/c", L"\\\\SRV1"}));
    EXPECT_EQ(L"/w", ComputerOf({L"/st", L"/c", L"/w"}));
}

TEST(TargetComputer, IsALastWordWithTwoBackslashesKeptWhole)
{
    EXPECT_EQ(L"\\\\SRV1", ComputerOf({L"/st", L"\\\\SRV1"}));
    EXPECT_EQ(L"\\\\S", ComputerOf({L"/an", L"C:", L"\\\\S", L"/w"}));
    EXPECT_EQ(L"\\\\SRV1", ComputerOf({L"\\\\SRV1"}));
}

TEST(TargetComputer, ComesFromTheSwitchBeforeTheLastWord)
{
    EXPECT_EQ(L"SRV2", ComputerOf({L"/st", L"/c", L"SRV2", L"\\\\SRV1"}));
}

TEST(TargetComputer, ComesFromTheLastWordWhenTheSwitchNamesNone)
{
    EXPECT_EQ(L"\\\\SRV1", ComputerOf({L"/st", L"/c", L"", L"\\\\SRV1"}));
}

TEST(TargetComputer, IsNotAnotherWordThanTheLast)
{
    EXPECT_EQ(L"", ComputerOf({L"/an", L"\\\\SRV1", L"C:"}));
}

TEST(TargetComputer, IsNotALastWordOfAnotherShape)
{
    for (const wchar_t* word : {L"\\\\", L"\\SRV1", L"//SRV1", L"\\", L"", L"SRV\\\\1", L" \\\\SRV1"}) {
        EXPECT_EQ(L"", ComputerOf({L"/st", word})) << word;
    }
}

TEST(TargetComputer, IsNotADriveThatBeginsLikeOne)
{
    EXPECT_EQ(L"", ComputerOf({L"/an", L"\\\\?\\Volume{A}\\"}));
    EXPECT_EQ(L"", ComputerOf({L"/an", L"\\\\{}"}));
}

// --- Gathering drives and files ---

class CollectingDriveWords : public EngineTest {
protected:
    DriveList drives = {L"left over"};
};

TEST_F(CollectingDriveWords, TakesTheWordsAfterTheCommandThatAreDrivesAsTyped)
{
    const CommandLine line = ParsedLine(
        {L"/sta", L"c:", L"-C", L"D:\\Mount", L"SRV1", L"/x", L"C", L"c:", L"CD", L"\\\\?\\Volume{A}\\", L"\\\\SRV1"});
    EXPECT_EQ(0U, CollectDriveWords(line, L"", drives));
    EXPECT_EQ((DriveList{L"c:", L"D:\\Mount", L"C", L"c:", L"\\\\?\\Volume{A}\\"}), drives);
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_F(CollectingDriveWords, LeavesOutTheCommandWordWhateverItsShape)
{
    EXPECT_EQ(0U, CollectDriveWords(ParsedLine({L"C:", L"D:"}), L"", drives));
    EXPECT_EQ(DriveList{L"D:"}, drives);
}

TEST_F(CollectingDriveWords, FindsNoneWhereThereAreNone)
{
    EXPECT_EQ(0U, CollectDriveWords(ParsedLine({}), L"", drives));
    EXPECT_TRUE(drives.empty());
}

TEST_F(CollectingDriveWords, TakesAllTheEnginesDrivesAndNoWordsWithAlldrives)
{
    engine.AddDrive(L"D:\\");
    engine.AddDrive(L"C:\\");
    EXPECT_EQ(0U, CollectDriveWords(ParsedLine({L"/sta", L"X:", L"/AllDrives"}), L"", drives));
    EXPECT_EQ((DriveList{L"D:\\", L"C:\\"}), drives);
    EXPECT_EQ(0, engine.CountCalls(L"CheckAccess"));
}

TEST_F(CollectingDriveWords, AsksTheEngineOfTheTargetComputer)
{
    EXPECT_EQ(0U, CollectDriveWords(ParsedLine({L"/sta", L"/alldrives"}), L"SRV1", drives));
    ASSERT_EQ(1U, engine.Activations().size());
    EXPECT_EQ(L"SRV1", engine.Activations().front().server);
    EXPECT_TRUE(drives.empty());
}

TEST_F(CollectingDriveWords, GivesTheConnectionsFailure)
{
    engine.activation = REGDB_E_CLASSNOTREG;
    EXPECT_EQ(0x80040154, CollectDriveWords(ParsedLine({L"/sta", L"/alldrives"}), L"SRV1", drives));
    EXPECT_TRUE(drives.empty());
    EXPECT_EQ(L"Velundra is not installed on computer 'SRV1'\n", output.Text());
}

TEST_F(CollectingDriveWords, KeepsTheDrivesThatCameBeforeAFailure)
{
    engine.AddDrive(L"C:\\");
    engine.AddDrive(L"D:\\");
    engine.Fail(L"GetDrive", {.result = E_ACCESSDENIED, .call = 2});
    EXPECT_EQ(5U, CollectDriveWords(ParsedLine({L"/sta", L"/alldrives"}), L"", drives));
    EXPECT_EQ(DriveList{L"C:\\"}, drives);
}

class ResolvingDrives : public EngineTest {
protected:
    Result Resolve(const Words& words, const std::wstring& computer = L"")
    {
        return ResolveDrives(ParsedLine(words), computer, drives);
    }

    DriveList drives = {L"left over"};
};

TEST_F(ResolvingDrives, FindsADriveByEveryShapeOfWord)
{
    const std::wstring guid = L"\\\\?\\Volume{0C5E92B1-7F3A-4D68-B2C4-9A81E6F05D17}\\";
    engine.drives = {{L"id-c", L"C:\\", L"C:\\"},
                     {L"id-mount", L"D:\\Mounts\\Data\\", L"D:\\Mounts\\Data\\"},
                     {L"id-guid", guid, guid}};
    const std::pair<std::wstring, std::wstring> cases[] = {
        {L"c", L"id-c"},
        {L"C:", L"id-c"},
        {L"c:\\", L"id-c"},
        {L"d:\\mounts\\DATA", L"id-mount"},
        {L"D:\\Mounts\\Data\\", L"id-mount"},
        {guid, L"id-guid"},
        {Lower(guid), L"id-guid"},
    };
    for (const auto& [word, identity] : cases) {
        EXPECT_EQ(0U, Resolve({L"/dol", word})) << word;
        EXPECT_EQ(DriveList{identity}, drives) << word;
    }
}

TEST_F(ResolvingDrives, FindsADriveThatTheEngineNamesAsTyped)
{
    engine.drives = {{L"id", L"c:", L"C:\\"}};
    EXPECT_EQ(0U, Resolve({L"/dol", L"C:"}));
    EXPECT_EQ(DriveList{L"id"}, drives);
}

TEST_F(ResolvingDrives, SortsTheIdentitiesAndNamesEachOnce)
{
    engine.drives = {{L"b", L"C:\\", L"C:\\"}, {L"a", L"D:\\", L"D:\\"}, {L"B", L"E:\\", L"E:\\"}};
    engine.hasDriveList = true;
    engine.driveList = L"b|a|B|b|a";
    EXPECT_EQ(0U, Resolve({L"/dol", L"E:", L"D:", L"C:"}));
    EXPECT_EQ((DriveList{L"B", L"a", L"b"}), drives);
}

TEST_F(ResolvingDrives, AsksTheTargetComputer)
{
    engine.AddDrive(L"C:\\");
    EXPECT_EQ(0U, Resolve({L"/dol", L"C:"}, L"SRV1"));
    ASSERT_EQ(1U, engine.Activations().size());
    EXPECT_EQ(L"SRV1", engine.Activations().front().server);
}

TEST_F(ResolvingDrives, FindsNoneWithoutDriveWords)
{
    engine.AddDrive(L"C:\\");
    EXPECT_EQ(0U, Resolve({L"/dol"}));
    EXPECT_TRUE(drives.empty());
}

TEST_F(ResolvingDrives, GivesTheConnectionsFailure)
{
    engine.activation = E_ACCESSDENIED;
    EXPECT_EQ(0x80070005, Resolve({L"/dol", L"C:"}, L"SRV1"));
    EXPECT_TRUE(drives.empty());
    EXPECT_EQ(L"You do not have permission to connect to Velundra on computer 'SRV1'.  You must be a member of the "
              L"Local Admin group.\n",
              output.Text());
}

TEST_F(ResolvingDrives, GivesAllBitsOfAFailingDriveList)
{
    engine.AddDrive(L"C:\\");
    engine.Fail(L"GetDriveList", {.result = E_OUTOFMEMORY});
    EXPECT_EQ(0x8007000E, Resolve({L"/dol", L"C:"}));
    EXPECT_TRUE(drives.empty());
}

TEST_F(ResolvingDrives, StopsAtADriveThatCannotBeHadAndKeepsWhatItFoundBefore)
{
    engine.AddDrive(L"E:\\");
    engine.AddDrive(L"C:\\");
    engine.AddDrive(L"D:\\");
    engine.AddDrive(L"F:\\");
    engine.Fail(L"GetDrive", {.result = E_ACCESSDENIED, .argument = L"\\\\?\\Volume{D}"});
    EXPECT_EQ(0x80070005, Resolve({L"/dol", L"C:", L"D:", L"E:", L"F:"}));
    EXPECT_THAT(drives, ::testing::UnorderedElementsAre(L"\\\\?\\Volume{C}\\", L"\\\\?\\Volume{E}\\"));
    EXPECT_EQ(3, engine.CountCalls(L"GetDrive"));
}

TEST_F(ResolvingDrives, TakesAllDrivesWithAlldrives)
{
    engine.AddDrive(L"D:\\");
    engine.AddDrive(L"C:\\");
    EXPECT_EQ(0U, Resolve({L"/dol", L"/alldrives"}));
    EXPECT_EQ((DriveList{L"\\\\?\\Volume{C}\\", L"\\\\?\\Volume{D}\\"}), drives);
    EXPECT_EQ(2U, engine.Activations().size());
}

TEST_F(ResolvingDrives, EndsWithAFailedConnectionForAlldrivesAndDoesNotConnectAgain)
{
    engine.activation = REGDB_E_CLASSNOTREG;
    EXPECT_EQ(0x80040154, Resolve({L"/dol", L"/alldrives"}));
    EXPECT_TRUE(drives.empty());
    EXPECT_EQ(1U, engine.Activations().size());
    EXPECT_EQ(L"Velundra is not installed on computer ''\n", output.Text());
}

// The low 16 bits of a failure are no negative number: the list that it cut short counts.
TEST_F(ResolvingDrives, GoesOnWithTheDrivesThatAlldrivesFoundBeforeAFailure)
{
    engine.AddDrive(L"C:\\");
    engine.AddDrive(L"D:\\");
    engine.Fail(L"GetDrive", {.result = E_ACCESSDENIED, .argument = L"\\\\?\\Volume{D}", .call = 1});
    EXPECT_EQ(0U, Resolve({L"/dol", L"/alldrives"}));
    EXPECT_EQ(DriveList{L"\\\\?\\Volume{C}\\"}, drives);
}

class CollectingFileWords : public ::testing::Test {
protected:
    Words files = {L"left over"};
};

TEST_F(CollectingFileWords, TakesTheWordsAfterTheCommandWithAColonInSecondPlaceInOrder)
{
    const Words words = {L"/df", L"D:\\b.txt", L"a.txt", L"C:\\a b.txt", L"D:\\b.txt", L"C:x", L"1:2", L"::\\"};
    EXPECT_EQ(0U, CollectFileWords(ParsedLine(words), files));
    EXPECT_EQ((Words{L"D:\\b.txt", L"C:\\a b.txt", L"D:\\b.txt", L"C:x", L"1:2", L"::\\"}), files);
}

TEST_F(CollectingFileWords, PassesOverShorterAndOtherWords)
{
    const Words words = {L"/df", L"C:", L"C", L"", L"abc", L"\\\\SRV\\a", L"x.txt", L"ab:c"};
    EXPECT_EQ(0U, CollectFileWords(ParsedLine(words), files));
    EXPECT_TRUE(files.empty());
}

TEST_F(CollectingFileWords, LeavesOutTheCommandWordWhateverItsShape)
{
    EXPECT_EQ(0U, CollectFileWords(ParsedLine({L"C:\\a.txt", L"C:\\b.txt"}), files));
    EXPECT_EQ(Words{L"C:\\b.txt"}, files);
    EXPECT_EQ(0U, CollectFileWords(ParsedLine({}), files));
    EXPECT_TRUE(files.empty());
}

} // namespace
