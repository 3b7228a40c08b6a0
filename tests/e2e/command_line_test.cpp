// Command lines as only a process gets them: split into words by the runtime, and as long as Windows lets them be.

#include "engine_process.h"
#include "expected.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

constexpr char kScenario[] = R"([drive C:\]
identity = vol-c
[schedule Weekly  analysis of "all"]
work = nothing
)";

constexpr char kNoDrives[] = "No drives specified for this operation.\n";

TEST(QuotedWord, ArrivesAsItWasTyped)
{
    const EngineProcess engine(kScenario);
    EXPECT_EQ(BannerAnd(""), RunTool({L"/rs", L"Weekly  analysis of \"all\"", L"ignored", L"C:"}));
    EXPECT_EQ(std::vector<std::string>{"RunByName(scheduleName=\"Weekly  analysis of \"all\"\") -> 0x00000000"},
              engine.CallsOf("RunByName"));
}

// --- Lines as long as Windows lets them be ---

// A program's whole command line, its own name and the closing NUL included, has at most 32,767 characters.
std::size_t RoomBehindProgram()
{
    constexpr std::size_t kMostCharacters = 32766;
    return kMostCharacters - (ToolPath().wstring().size() + 3);
}

TEST(LongCommandLine, MayBeMadeOfManyWords)
{
    const EngineProcess engine(kScenario);
    std::wstring line = L"/an C:";
    while (line.size() + 3 <= RoomBehindProgram()) {
        line += L" c:";
    }
    line.resize(RoomBehindProgram(), L' ');
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"), RunToolLine(line));
    EXPECT_EQ(std::vector<std::string>{R"(Analyze(drive="C:\") -> 0x00000000)"}, engine.CallsOf("Analyze"));
}

TEST(LongCommandLine, MayBeMadeOfManyFiles)
{
    const EngineProcess engine(kScenario);
    std::wstring line = L"/df C:\\1";
    std::string paths = "C:\\1";
    while (line.size() + 5 <= RoomBehindProgram()) {
        line += L" C:\\2";
        paths += "|C:\\2";
    }
    EXPECT_EQ(BannerAnd("Single File defragmentation started on drive C:\\.\n"), RunToolLine(line));
    EXPECT_EQ(std::vector<std::string>{R"(DefragFile(drive="C:\", filePath=")" + paths + R"(") -> 0x00000000)"},
              engine.CallsOf("DefragFile"));
}

TEST(LongCommandLine, MayBeOneGiantWord)
{
    const EngineProcess engine(kScenario);
    const auto fill = [](const std::wstring& begin, std::wstring_view end = {}) {
        return begin + std::wstring(RoomBehindProgram() - begin.size() - end.size(), L'x') + std::wstring(end);
    };
    EXPECT_EQ(BannerAnd(UsageScreen()), RunToolLine(fill(L"/")));

    const std::wstring otherComputer = fill(L"/st /c ");
    EXPECT_EQ(
        BannerAnd("Velundra is not installed on computer '" + Narrow(otherComputer.substr(7)) + "'\n", 0x80040154),
        RunToolLine(otherComputer));

    const std::wstring noDrive = fill(L"/id ", L" 5");
    EXPECT_EQ(BannerAnd(Narrow(noDrive.substr(4, noDrive.size() - 6)) + " is not a valid DriveName .\n", 87),
              RunToolLine(noDrive));

    EXPECT_EQ(BannerAnd(kNoDrives + UsageScreen(), 87), RunToolLine(fill(L"/an C:\\")));

    const std::wstring schedule = fill(L"/rs ");
    EXPECT_EQ(BannerAnd("", 2), RunToolLine(schedule));
    EXPECT_EQ(std::vector<std::string>{"RunByName(scheduleName=\"" + Narrow(schedule.substr(4)) + "\") -> 0x80070002"},
              engine.CallsOf("RunByName"));

    const std::wstring file = fill(L"/df C:\\");
    EXPECT_EQ(BannerAnd("Single File defragmentation started on drive C:\\.\n"), RunToolLine(file));
    EXPECT_EQ(std::vector<std::string>{R"(DefragFile(drive="C:\", filePath=")" + Narrow(file.substr(4)) +
                                       R"(") -> 0x00000000)"},
              engine.CallsOf("DefragFile"));
}

} // namespace
