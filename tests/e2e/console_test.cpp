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

TEST(Console, ShowsThePicturesOfControlCharacters)
{
    TestConsole console;
    const testing_support::ScratchFolder folder;
    const std::filesystem::path tool = folder.PathOf(L"VLCmd.exe");
    std::filesystem::copy_file(ToolPath(), tool);
    folder.AddFile(L"English.tr",
                   std::wstring(L"#VL_TRANSLATION_FILE\r\n2447\t\"\"\t\"Vel\x1B[2J\\b\\run\\r\\ndra\"\r\n"));
    EXPECT_EQ(87U, console.Run(tool, {L"/id", L"C\x7F\x9B\aD", L"5"}));
    EXPECT_EQ((std::vector<std::wstring>{L"Vel\u241B[2J\u2408\u240Dun", L"dra",
                                         L"C\u2421\u241B[\u2407D is not a valid DriveName ."}),
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
