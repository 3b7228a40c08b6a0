#include "engine_process.h"
#include "expected.h"

#include <gtest/gtest.h>

#include <cwctype>

namespace {

using namespace e2e;

constexpr char kDriveC[] = R"([drive C:\]
identity = vol-c
offline-types = 7
)";

constexpr char kNotInstalled[] = "Velundra is not installed on computer ''\n";
constexpr char kNoDrives[] = "No drives specified for this operation.\n";
constexpr char kBadFiles[] = "Specified file(s) are in bad format.\n"
                             "Provide fully qualified path names.\n"
                             "Use quotes for files containing spaces.\n";
constexpr char kNoPermission[] = "You do not have permission to connect to Velundra on computer ''.  You must be a "
                                 "member of the Local Admin group.\n";
constexpr char kUnreachable[] =
    "Could not connect to computer ''.  Verify the name is correct and the machine is turned on.\n";

std::wstring InOtherCase(std::wstring name)
{
    for (wchar_t& c : name) {
        c = static_cast<wchar_t>(std::iswupper(c) != 0 ? std::towlower(c) : std::towupper(c));
    }
    return name;
}

// --- The engine is not there ---

TEST(Connection, SaysThatTheProductIsNotInstalled)
{
    const WithoutEngine without;
    EXPECT_EQ(BannerAnd(kNotInstalled, 0x80040154), RunTool({L"/st"}));
    EXPECT_EQ(BannerAnd(kNotInstalled, 0x80040154), RunTool({L"/stop", L"/alldrives"}));
    EXPECT_EQ(BannerAnd(kNotInstalled, 0x20000002), RunTool({L"/rs", L"Nightly"}));
    EXPECT_EQ(
        BannerAnd(std::string(kNotInstalled) + "C: Could not be matched with a known volume GUID .\n", 0x80040154),
        RunTool({L"/id", L"C:", L"5"}));
    EXPECT_EQ(BannerAnd(std::string(kNotInstalled) + kBadFiles + UsageScreen(), 87), RunTool({L"/df", L"C:\\a.txt"}));
}

TEST(Connection, FindsNoDrivesWhereTheProductIsNotInstalled)
{
    const WithoutEngine without;
    const Outcome expected = BannerAnd(std::string(kNotInstalled) + kNoDrives + UsageScreen(), 87);
    for (const wchar_t* const command :
         {L"/an", L"/dol", L"/tw", L"/cfs", L"/ssd", L"/prep", L"/of", L"/stop", L"/sb", L"/cb"}) {
        EXPECT_EQ(expected, RunTool({command, L"C:"})) << Narrow(command);
    }
    for (const wchar_t* const command : {L"/an", L"/dol", L"/of", L"/sb", L"/cb", L"/sta", L"/sto", L"/stf"}) {
        EXPECT_EQ(expected, RunTool({command, L"/alldrives"})) << Narrow(command);
    }
}

TEST(Connection, LooksForNoEngineWhenNothingIsAskedOfIt)
{
    const WithoutEngine without;
    EXPECT_EQ(BannerAnd(UsageScreen()), RunTool({L"/?"}));
    EXPECT_EQ(BannerAnd("/C: is not a valid DriveName .\n", 87), RunTool({L"/id", L"/C:", L"5"}));
    EXPECT_EQ(BannerAnd(kBadFiles + UsageScreen(), 87), RunTool({L"/df", L"a.txt"}));
    EXPECT_EQ(BannerAnd(UsageScreen(), 87), RunTool({L"/rs"}));
    EXPECT_EQ(BannerAnd(kNoDrives + UsageScreen(), 87), RunTool({L"/sta"}));
}

// --- The engine refuses ---

TEST(Connection, IsToldByItsResultWhenItIsRefused)
{
    struct {
        const char* failure;
        const char* text;
        std::uint32_t exitCode;
    } const refusals[] = {{"0x80040154", kNotInstalled, 0x80040154}, {"0x80070005", kNoPermission, 0x80070005},
                          {"0x800706BA", kUnreachable, 0x800706BA},  {"0x80070035", kUnreachable, 0x80070035},
                          {"0x80004005", kUnreachable, 0x80004005},  {"0x80080005", kUnreachable, 0x80080005}};
    std::string scenario = kDriveC;
    int call = 0;
    for (const auto& [failure, text, exitCode] : refusals) {
        scenario += Failing("VLAgent::CreateInstance", failure, "", std::to_string(++call));
    }
    const EngineProcess engine(scenario);
    for (const auto& [failure, text, exitCode] : refusals) {
        EXPECT_EQ(BannerAnd(text, exitCode), RunTool({L"/st"})) << failure;
    }
}

struct LostConnection {
    const char* name;
    std::vector<std::wstring> words;
    std::string text;
    std::uint32_t exitCode;
};

// The first connection serves to find the drive, the second one to work on it.
class SecondConnection : public testing::TestWithParam<LostConnection> {};

TEST_P(SecondConnection, EndsTheCommandWhenItIsRefused)
{
    const EngineProcess engine(kDriveC + Failing("VLAgent::CreateInstance", "0x80070005", "", "2"));
    EXPECT_EQ(BannerAnd(GetParam().text, GetParam().exitCode), RunTool(GetParam().words));
}

INSTANTIATE_TEST_SUITE_P(
    Commands, SecondConnection,
    testing::Values(LostConnection{"Analyze", {L"/an", L"C:"}, kNoPermission, 0x20000002},
                    LostConnection{"Online", {L"/dol", L"C:"}, kNoPermission, 0},
                    LostConnection{"Offline", {L"/of", L"C:"}, kNoPermission, 0},
                    LostConnection{"Stop", {L"/stop", L"C:"}, kNoPermission, 0x80070005},
                    LostConnection{"ScheduleBoot", {L"/sb", L"C:"}, kNoPermission, 0x80070005},
                    LostConnection{"CancelBoot", {L"/cb", L"C:"}, kNoPermission, 0x80070005},
                    LostConnection{"Files", {L"/df", L"C:\\a.txt"}, kNoPermission, 0x80070005},
                    LostConnection{"AllDrives",
                                   {L"/an", L"/alldrives"},
                                   kNoPermission + std::string(kNoDrives) + UsageScreen(),
                                   87},
                    LostConnection{"FileById",
                                   {L"/id", L"C:", L"5"},
                                   kNoPermission + std::string("Failed to get Drive manager due to error ") +
                                       ErrorText(0x80070005, "0x80070005 (2147942405)(Operations/#440)") + '\n',
                                   5}),
    [](const auto& test) { return test.param.name; });

TEST(Connection, IsMadeForTheRefreshNoticeAndItsFailureChangesNoResult)
{
    const EngineProcess engine(kDriveC + Failing("VLService::CreateInstance", "0x80070005"));
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n" + std::string(kNoPermission)), RunTool({L"/an", L"C:"}));
}

TEST(Connection, OfTheRefreshNoticeIsGivenBackWhenTheNoticeFails)
{
    const EngineProcess engine(kDriveC + Failing("Refresh", "0x80004005"));
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"), RunTool({L"/an", L"C:"}));
    EXPECT_EQ(std::vector<std::string>{"Refresh() -> 0x80004005"}, engine.CallsOf("Refresh"));
}

// --- Another computer ---

// Wine activates nothing on another computer and answers that the class is not registered there.
TEST(OtherComputer, IsNamedAsItWasTyped)
{
    struct {
        std::vector<std::wstring> words;
        const char* computer;
    } const lines[] = {{{L"/st", L"/c", L"Other"}, "Other"},
                       {{L"/C", L"OTHER", L"/st"}, "OTHER"},
                       {{L"/st", L"\\\\Other"}, "\\\\Other"},
                       {{L"/st", L"/c", L"\\\\Other"}, "\\\\Other"},
                       {{L"/st", L"/c", L"First", L"/c", L"Other"}, "Other"},
                       {{L"/st", L"\\\\Word", L"/c", L"Other"}, "Other"},
                       {{L"/st", L"/c", L"", L"\\\\Other"}, "\\\\Other"},
                       {{L"/st", L"/c", L"/w"}, "/w"},
                       {{L"/st", L"/c", L"two words"}, "two words"},
                       {{L"/st", L"/c", L"%1"}, "%1"}};
    const EngineProcess engine(kDriveC);
    for (const auto& [words, computer] : lines) {
        EXPECT_EQ(BannerAnd("Velundra is not installed on computer '" + std::string(computer) + "'\n", 0x80040154),
                  RunTool(words))
            << Narrow(JoinWords(words));
    }
    EXPECT_EQ(std::vector<std::string>(), engine.Log());
}

TEST(OtherComputer, FailsAsOnAComputerWithoutTheProduct)
{
    const EngineProcess engine(kDriveC);
    const std::string notInstalled = "Velundra is not installed on computer 'Other'\n";
    EXPECT_EQ(BannerAnd(notInstalled + kNoDrives + UsageScreen(), 87), RunTool({L"/an", L"C:", L"/c", L"Other"}));
    EXPECT_EQ(BannerAnd(notInstalled, 0x80040154), RunTool({L"/stop", L"/alldrives", L"/c", L"Other"}));
    EXPECT_EQ(BannerAnd(notInstalled, 0x20000002), RunTool({L"/rs", L"Nightly", L"/c", L"Other"}));
    EXPECT_EQ(BannerAnd(notInstalled + kBadFiles + UsageScreen(), 87),
              RunTool({L"/df", L"C:\\a.txt", L"/c", L"Other"}));
    EXPECT_EQ(std::vector<std::string>(), engine.Log());
}

// --- This computer by its name ---

TEST(ThisComputer, IsKnownByItsNameInAnyCase)
{
    const EngineProcess engine(kDriveC);
    const Outcome expected = BannerAnd("Drive name: C:\\Status: Idle\n");
    EXPECT_EQ(expected, RunTool({L"/st", L"/c", ComputerName()}));
    EXPECT_EQ(expected, RunTool({L"/st", L"/c", InOtherCase(ComputerName())}));
}

TEST(ThisComputer, IsMeantWhenNoNameIsLeft)
{
    const EngineProcess engine(kDriveC);
    const Outcome expected = BannerAnd("Drive name: C:\\Status: Idle\n");
    EXPECT_EQ(expected, RunTool({L"/st", L"/c", L""}));
    EXPECT_EQ(expected, RunTool({L"/st", L"/c", L"Other", L"/c", L""}));
    EXPECT_EQ(expected, RunTool({L"/st", L"\\\\"}));
    EXPECT_EQ(expected, RunTool({L"/st", L"\\\\Word", L"C:"}));
    EXPECT_EQ(expected, RunTool({L"/st", L"\\\\?\\Volume{1}\\"}));
}

TEST(ThisComputer, GetsTheRefreshNoticeWhenItIsNamed)
{
    const EngineProcess engine(kDriveC);
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"),
              RunTool({L"/an", L"C:", L"/c", InOtherCase(ComputerName())}));
    EXPECT_EQ(std::vector<std::string>{"Refresh() -> 0x00000000"}, engine.CallsOf("Refresh"));
}

} // namespace
