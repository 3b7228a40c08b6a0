#include "console.h"
#include "engine_process.h"
#include "expected.h"
#include "registry_value.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

constexpr char kForeignDrive[] = "[drive D:\\Donn\u00E9es \u03A9\\]\nstate = 1\n[drive E:\\\u65E5\u672C\u8A9E\\]\n";

TEST(Console, ShowsAnyCharacter)
{
    TestConsole console;
    const EngineProcess engine(kForeignDrive);
    EXPECT_EQ(0U, console.Run(ToolPath(), {L"/st"}));
    EXPECT_EQ((std::vector<std::wstring>{L"Velundra 14.0", L"Drive name: D:\\Donn\u00E9es \u03A9\\Status: Analyzing",
                                         L"Drive name: E:\\\u65E5\u672C\u8A9E\\Status: Idle"}),
              console.Lines());
}

TEST(Console, ShowsATranslationThatThePageOfTheConsoleLacks)
{
    TestConsole console;
    ASSERT_NE(FALSE, SetConsoleOutputCP(437));
    const testing_support::ScratchFolder folder;
    const std::filesystem::path tool = folder.PathOf(L"VLCmd.exe");
    std::filesystem::copy_file(ToolPath(), tool);
    folder.AddFile(L"Japanese.tr",
                   std::wstring(L"#VL_TRANSLATION_FILE\r\n284\t\"\"\t\"ドライブ %1 は無効です\\nつぎ\"\r\n"));
    const RegistryValue language(HKEY_LOCAL_MACHINE, kCoreKey, L"Language", 1041U);
    EXPECT_EQ(87U, console.Run(tool, {L"/id", L"CD", L"5"}));
    EXPECT_EQ((std::vector<std::wstring>{L"Velundra 14.0", L"ドライブ CD は無効です", L"つぎ"}), console.Lines());
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

TEST(Console, IsAsWideAsAWholeUsageScreen)
{
    TestConsole console;
    EXPECT_EQ(0U, console.Run(ToolPath(), {L"/?"}));
    std::string shown;
    for (const std::wstring& line : console.Lines()) {
        shown += Narrow(line) + '\n';
    }
    // The screen does not tell the blank at the end of a line.
    std::string expected = "Velundra 14.0\n" + UsageScreen();
    expected.replace(expected.find("drives \n"), 8, "drives\n");
    EXPECT_EQ(expected, shown);
}

struct OutputPage {
    UINT page;
    const char* text; // the drives' names in that page
};

class RedirectedOutput : public testing::TestWithParam<OutputPage> {};

TEST_P(RedirectedOutput, IsInTheOutputPageOfTheConsole)
{
    const TestConsole console;
    ASSERT_NE(FALSE, SetConsoleOutputCP(GetParam().page));
    const EngineProcess engine(kForeignDrive);
    EXPECT_EQ((Outcome{GetParam().text, 0}), RunTool({L"/st"}));
}

INSTANTIATE_TEST_SUITE_P(Pages, RedirectedOutput,
                         testing::Values(OutputPage{437, "Velundra 14.0\r\n"
                                                         "Drive name: D:\\Donn\x82"
                                                         "es \xEA\\Status: Analyzing\r\n"
                                                         "Drive name: E:\\???\\Status: Idle\r\n"},
                                         OutputPage{1252, "Velundra 14.0\r\n"
                                                          "Drive name: D:\\Donn\xE9"
                                                          "es O\\Status: Analyzing\r\n"
                                                          "Drive name: E:\\???\\Status: Idle\r\n"},
                                         OutputPage{932, "Velundra 14.0\r\n"
                                                         "Drive name: D:\\Donnees \x83\xB6\\Status: Analyzing\r\n"
                                                         "Drive name: E:\\\x93\xFA\x96{\x8C\xEA\\Status: Idle\r\n"},
                                         OutputPage{65001, "Velundra 14.0\r\n"
                                                           "Drive name: D:\\Donn\u00E9es \u03A9\\Status: Analyzing\r\n"
                                                           "Drive name: E:\\\u65E5\u672C\u8A9E\\Status: Idle\r\n"}),
                         [](const auto& test) { return "Page" + std::to_string(test.param.page); });

} // namespace
