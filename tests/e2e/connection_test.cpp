// Which engine a command reaches, and what it says where it reaches none.

#include "engine_process.h"
#include "expected.h"
#include "simulated_computer.h"

#include <gtest/gtest.h>

#include <cwctype>

namespace {

using namespace e2e;

constexpr char kDriveC[] = "[drive C:\\]\nidentity = vol-c\n";
constexpr char kNotInstalled[] = "Velundra is not installed on computer ''\n";

std::wstring InOtherCase(std::wstring name)
{
    for (wchar_t& c : name) {
        c = static_cast<wchar_t>(std::iswupper(c) != 0 ? std::towlower(c) : std::towupper(c));
    }
    return name;
}

TEST(Connection, SaysThatTheProductIsNotInstalled)
{
    const WithoutEngine without;
    EXPECT_EQ(BannerAnd(kNotInstalled, 0x80040154), RunTool({L"/st"}));
    EXPECT_EQ(BannerAnd(kNotInstalled + std::string("No drives specified for this operation.\n") + UsageScreen(), 87),
              RunTool({L"/dol", L"/alldrives"}));
}

// The first connection serves to find the drive, the second one to work on it.
TEST(Connection, EndsTheCommandAlsoWhenTheSecondOneIsRefused)
{
    const EngineProcess engine(kDriveC + Failing("VLAgent::CreateInstance", "0x80070005", "", "2"));
    EXPECT_EQ(BannerAnd("You do not have permission to connect to Velundra on computer ''.  You must be a member of "
                        "the Local Admin group.\n",
                        0x20000002),
              RunTool({L"/an", L"C:"}));
}

TEST(ThisComputer, IsKnownByItsNameInAnyCase)
{
    const EngineProcess engine(kDriveC);
    const Outcome expected = BannerAnd("Drive name: C:\\Status: Idle\n");
    EXPECT_EQ(expected, RunTool({L"/st", L"/c", ComputerName()}));
    EXPECT_EQ(expected, RunTool({L"/st", L"/c", InOtherCase(ComputerName())}));
}

TEST(OtherComputer, HasItsEngineStartedWhenThatIsAskedFor)
{
    const SimulatedComputer network(kDriveC + std::string("[computer SRV1]\nscenario = srv1.scenario\n"));
    network.AddFile(L"srv1.scenario", "[drive D:\\]\n");
    EXPECT_EQ(BannerAnd("Drive name: D:\\Status: Idle\n"), SimulatedComputer::Run({L"/st", L"\\\\srv1"}));
    EXPECT_EQ(BannerAnd("Analyze started on drive D:\\.\n"), SimulatedComputer::Run({L"/an", L"D:", L"/c", L"SRV1"}));
    EXPECT_EQ(0U, RunEngine(L"/quit"));
}

TEST(OtherComputer, CannotBeReachedForAReasonThatIsTold)
{
    struct {
        std::vector<std::wstring> words;
        const char* text;
        std::uint32_t exitCode;
    } const failures[] = {
        {{L"/st", L"/c", L"SRV2"},
         "Could not connect to computer 'SRV2'.  Verify the name is correct and the machine is turned on.\n",
         0x800706BA},
        {{L"/st", L"\\\\SRV3"}, "Velundra is not installed on computer '\\\\SRV3'\n", 0x80040154},
        {{L"/st", L"/c", L"\\\\srv4"},
         "You do not have permission to connect to Velundra on computer '\\\\srv4'.  You must be a member of the Local "
         "Admin group.\n",
         0x80070005},
        {{L"/st", L"/c", L"SRV5"},
         "Could not connect to computer 'SRV5'.  Verify the name is correct and the machine is turned on.\n",
         0x80070035},
    };
    const SimulatedComputer network(R"([drive C:\]
[computer SRV2]
answer = unreachable
[computer SRV3]
answer = not-installed
[computer SRV4]
answer = access-denied
[computer SRV5]
fail = 0x80070035
)");
    const EngineProcess here(network);
    for (const auto& [words, text, exitCode] : failures) {
        EXPECT_EQ(BannerAnd(text, exitCode), SimulatedComputer::Run(words));
    }
    EXPECT_EQ(std::vector<std::string>(), here.Log());
}

} // namespace
