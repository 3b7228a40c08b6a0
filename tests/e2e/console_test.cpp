#include "console.h"
#include "engine_process.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

TEST(Console, ShowsAnyCharacter)
{
    TestConsole console;
    const EngineProcess engine("[drive D:\\Donn\u00E9es \u03A9\\]\nstate = 1\n[drive E:\\\u65E5\u672C\u8A9E\\]\n");
    EXPECT_EQ(0U, console.Run(ToolPath(), {L"/st"}));
    EXPECT_EQ((std::vector<std::wstring>{L"Velundra 14.0", L"Drive name: D:\\Donn\u00E9es \u03A9\\Status: Analyzing",
                                         L"Drive name: E:\\\u65E5\u672C\u8A9E\\Status: Idle"}),
              console.Lines());
}

TEST(Console, ShowsALineThatTakesSeveralWrites)
{
    TestConsole console;
    std::wstring word;
    while (word.size() < 20000) {
        word += std::to_wstring(word.size()) + L'-';
    }
    EXPECT_EQ(87U, console.Run(ToolPath(), {L"/id", word, L"5"}));
    std::wstring shown;
    for (const std::wstring& line : console.Lines()) {
        shown += line;
    }
    EXPECT_EQ(L"Velundra 14.0" + word + L" is not a valid DriveName .", shown);
}

} // namespace
