// The shipped translations: every language's whole output of some commands, on a console and redirected.

#include "console.h"
#include "engine_process.h"
#include "expected.h"
#include "languages/chinese.h"
#include "languages/english.h"
#include "languages/french.h"
#include "languages/german.h"
#include "languages/japanese.h"
#include "languages/spanish.h"
#include "registry_value.h"
#include "simulated_computer.h"
#include "support/known_commands.h"
#include "support/statistics_database.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace e2e;

constexpr LanguageTexts kTranslations[] = {kSpanish, kFrench, kGerman, kJapanese, kChinese};

constexpr char kScenario[] = R"([clock]
speed = 50
[engine]
statistics-database =
[drive C:\]
[drive D:\]
state = 1
[drive E:\]
state = 2
[drive F:\]
state = 3
[drive G:\]
state = 4
[drive H:\]
state = 5
[drive I:\]
state = 6
[drive J:\]
state = 7
[computer SRV1]
scenario = srv1.scenario
[computer SRV3]
answer = not-installed
)";

constexpr char kServer1[] = R"([drive C:\]
point = 2026-03-05 05:00:00, 12.5, 1.4, 30, 100, 80, 96.5
[drive D:\]
)";

// For the failing analysis.
constexpr std::uint32_t kAccessDenied = 0x80070005;
constexpr char kReturnCode[] = "0x80070005 (2147942405)(Operations/#1446)";

// A command, and which of a language's texts it prints.
struct Scene {
    const char* name;
    const wchar_t* LanguageTexts::*text;
    std::vector<std::wstring> words;
    std::uint32_t exitCode;
};

const Scene kScenes[] = {
    {"Usage", &LanguageTexts::usage, {L"/?"}, 0},
    {"Status", &LanguageTexts::status, {L"/st"}, 0},
    {"Refusal", &LanguageTexts::refusal, {L"/an", L"C:"}, 0x20000004},
    {"Failure", &LanguageTexts::failure, {L"/an", L"C:"}, 5},
    {"NotInstalled", &LanguageTexts::notInstalled, {L"/st", L"/c", L"SRV3"}, 0x80040154},
    {"Analysis", &LanguageTexts::analysis, {L"/sta", L"C:"}, 0},
    {"Online", &LanguageTexts::online, {L"/sto", L"C:"}, 0},
    {"Offline", &LanguageTexts::offline, {L"/stf", L"C:"}, 0},
    {"Remote", &LanguageTexts::remote, {L"/sta", L"C:", L"D:", L"/c", L"SRV1"}, 0},
};

// The text with what its placeholders stand for.
std::wstring Filled(std::wstring text)
{
    const std::pair<std::wstring_view, std::wstring> values[] = {
        {L"{computer}", ComputerName()},
        {L"{error}", WideErrorText(kAccessDenied, kReturnCode)},
        {L"{local}", DateAndTime({2026, 3, 0, 9, 12, 0, 0, 0})},
        {L"{remote}", DateAndTime({2026, 3, 0, 5, 5, 0, 0, 0})},
    };
    for (const auto& [placeholder, value] : values) {
        for (std::size_t at = 0; (at = text.find(placeholder, at)) != std::wstring::npos; at += value.size()) {
            text.replace(at, placeholder.size(), value);
        }
    }
    return text;
}

// The text's lines as a console shows them: tabs lead to every eighth column, and blanks at a line's end are not seen.
// Wine's console has one column for each letter, a wide one too.
std::vector<std::wstring> OnConsole(const std::wstring& text)
{
    constexpr std::size_t kTab = 8;
    std::vector<std::wstring> lines;
    std::wstring line;
    for (const wchar_t c : text) {
        if (c == L'\n') {
            line.erase(line.find_last_not_of(L' ') + 1);
            lines.push_back(std::exchange(line, {}));
        } else if (c == L'\t') {
            line.resize((line.size() / kTab + 1) * kTab, L' ');
        } else if (c != L'\r') {
            line.push_back(c);
        }
    }
    return lines;
}

// The text with CR LF as line ends, in the output page of the console.
std::string RedirectedOf(const std::wstring& text)
{
    return Redirected(InOutputPage(text));
}

// A copy of the tool with all translation files beside it, on a computer where every scene can be run.
class Languages : public testing::Test {
protected:
    Languages()
    {
        std::filesystem::copy_file(ToolPath(), tool_);
        for (const LanguageTexts& language : kTranslations) {
            const std::wstring name = Wide(language.name) + L".tr";
            std::filesystem::copy_file(std::filesystem::path(VLCMD_TRANSLATIONS_FOLDER) / name, folder_.PathOf(name));
        }
    }

    void Choose(std::uint32_t language) { values_.Add(HKEY_LOCAL_MACHINE, kCoreKey, L"Language", language); }

    void ShowNumbers() { values_.Add(HKEY_LOCAL_MACHINE, kCoreKey, L"IncludeTransId", std::uint32_t{1}); }

    void Forbid(const wchar_t* policy) { values_.Add(HKEY_CURRENT_USER, kPolicyKey, policy, std::uint32_t{0}); }

    void Connect(const testing_support::StatisticsDatabase& database)
    {
        values_.Add(HKEY_LOCAL_MACHINE, kCoreKey, L"ConnectionString", database.ProductString());
    }

    [[nodiscard]] static std::filesystem::path Launcher() { return ProgramFolder() / L"vlrun.exe"; }

    // What the launcher is to start: the copy, which then meets the simulated computer, with the words.
    [[nodiscard]] std::vector<std::wstring> Launching(const std::vector<std::wstring>& words) const
    {
        std::vector<std::wstring> line = {L"--exit-code", tool_.wstring()};
        line.insert(line.end(), words.begin(), words.end());
        return line;
    }

    [[nodiscard]] Outcome Run(const std::vector<std::wstring>& words) const
    {
        return Process(Launcher(), Launching(words)).Wait();
    }

    [[nodiscard]] std::uint32_t RunOn(TestConsole& console, const std::vector<std::wstring>& words) const
    {
        return console.Run(Launcher(), Launching(words));
    }

private:
    testing_support::ScratchFolder folder_;
    std::filesystem::path tool_ = folder_.PathOf(L"VLCmd.exe");
    RegistryValues values_;
};

// --- Every scene in every language ---

struct LanguageScene {
    const LanguageTexts* language;
    const Scene* scene;
};

void AddWrittenScenes(const LanguageTexts& language, std::vector<LanguageScene>& written)
{
    for (const Scene& scene : kScenes) {
        if (language.*scene.text != nullptr) {
            written.push_back({&language, &scene});
        }
    }
}

std::vector<LanguageScene> WrittenScenes()
{
    std::vector<LanguageScene> written;
    for (const LanguageTexts& language : kTranslations) {
        AddWrittenScenes(language, written);
    }
    return written;
}

std::vector<LanguageScene> AllScenes()
{
    std::vector<LanguageScene> written = WrittenScenes();
    AddWrittenScenes(kEnglish, written);
    return written;
}

std::string NameOf(const testing::TestParamInfo<LanguageScene>& test)
{
    return std::string(test.param.language->name) + test.param.scene->name;
}

class LanguageOutput : public Languages, public testing::WithParamInterface<LanguageScene> {
protected:
    LanguageOutput()
    {
        const std::string_view name = GetScene().name;
        computer_.AddFile(L"srv1.scenario", kServer1);
        if (name == "Remote") {
            engine_.emplace(computer_, L"SRV1");
        } else {
            engine_.emplace(computer_);
        }
        if (name == "Refusal") {
            Forbid(L"AllowAnalyze");
        }
        database_.Execute(L"INSERT INTO Volumes VALUES (1, 'C:')");
        database_.Execute(L"INSERT INTO StatsAnalyze VALUES (1, 46090.5, 6442450945, 1523, 211, 1048577, 28.5, 7.45, "
                          L"0, 1000000, 0, 100)");
        database_.Execute(L"INSERT INTO StatsDefragOnline VALUES (1, 46090.5, 1099511627776, 88214, 19977, 0, 512, "
                          L"1025, 62.5, 30.14, 33.8, 5.6, 31, 88, 17.3, 55, 99.96)");
        database_.Execute(L"INSERT INTO StatsDefragOffline VALUES (1, 46090.5, 22, 14, 109, 66, 2480, 312)");
        Connect(database_);
    }

    static const Scene& GetScene() { return *GetParam().scene; }
    static const LanguageTexts& Language() { return *GetParam().language; }
    static std::wstring Expected() { return Filled(Language().*GetScene().text); }

private:
    SimulatedComputer computer_{std::string(kScenario) + Failing("Analyze", "0x80070005")};
    std::optional<EngineProcess> engine_;
    testing_support::StatisticsDatabase database_;
};

TEST_P(LanguageOutput, IsShownOnAConsole)
{
    Choose(Language().language);
    TestConsole console;
    EXPECT_EQ(GetScene().exitCode, RunOn(console, GetScene().words));
    EXPECT_EQ(OnConsole(Expected()), console.Lines());
}

TEST_P(LanguageOutput, IsRedirectedInTheUsualPage)
{
    Choose(Language().language);
    const TestConsole console;
    ASSERT_NE(FALSE, SetConsoleOutputCP(Language().page));
    EXPECT_EQ((Outcome{RedirectedOf(Expected()), GetScene().exitCode}), Run(GetScene().words));
}

INSTANTIATE_TEST_SUITE_P(Scenes, LanguageOutput, testing::ValuesIn(AllScenes()), NameOf);

class TranslatedOutput : public LanguageOutput {};

// The lines that are right in another language, too: without letters, syntax, names; French has the same word for a
// date.
bool IsForAll(const std::wstring& line)
{
    static const std::set<std::wstring> kLines = {L"Velundra 14.0", L"VLCmd /si", L"VLCmd /?", L"/tw  - Tierweave"};
    return kLines.contains(line) || line.starts_with(L"Date    :") ||
           std::ranges::none_of(line, [](wchar_t c) { return c >= L'A' && c <= L'z'; });
}

TEST_P(TranslatedOutput, HasNoLineOfEnglish)
{
    TestConsole console;
    EXPECT_EQ(GetScene().exitCode, RunOn(console, GetScene().words));
    const std::vector<std::wstring> english = console.Lines();
    const std::vector<std::wstring> error = OnConsole(Filled(L"{error}\n"));
    std::set<std::wstring> ownWords(error.begin(), error.end());

    for (const std::wstring& line : OnConsole(Expected())) {
        EXPECT_TRUE(IsForAll(line) || ownWords.contains(line) || std::ranges::find(english, line) == english.end())
            << InOutputPage(line);
    }
}

INSTANTIATE_TEST_SUITE_P(Scenes, TranslatedOutput, testing::ValuesIn(WrittenScenes()), NameOf);

// --- Switching ---

TEST_F(Languages, AreSwitchedByTheRegistry)
{
    Forbid(L"AllowAnalyze");
    const std::string english = RedirectedOf(kEnglish.refusal);
    constexpr std::uint32_t kRefused = 0x20000004;
    const TestConsole console;
    ASSERT_NE(FALSE, SetConsoleOutputCP(CP_UTF8));
    EXPECT_EQ((Outcome{english, kRefused}), Run({L"/an", L"C:"}));
    for (const LanguageTexts& language : kTranslations) {
        if (language.refusal != nullptr) {
            Choose(language.language);
            EXPECT_EQ((Outcome{RedirectedOf(language.refusal), kRefused}), Run({L"/an", L"C:"})) << language.name;
        }
    }
    Choose(kEnglish.language);
    EXPECT_EQ((Outcome{english, kRefused}), Run({L"/an", L"C:"}));
}

TEST_F(Languages, HaveTheNumbersOfTheirMessagesWhereTheRegistrySaysSo)
{
    ShowNumbers();
    EXPECT_EQ((Outcome{Redirected("(-2447-)Velundra 14.0\n" + Narrow(testing_support::kNumberedUsageScreen)), 0}),
              Run({L"/?"}));
}

// --- The texts of this test ---

std::string ContentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// How many lines begin so.
std::size_t CountLines(const std::string& text, const std::string& beginning)
{
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find('\n' + beginning, at)) != std::string::npos; ++at) {
        ++count;
    }
    return count;
}

// How many messages a translation file holds: its lines but the header.
std::size_t CountMessages(const std::filesystem::path& path)
{
    const std::string bytes = ContentOf(path);
    const std::wstring text(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
    return static_cast<std::size_t>(std::ranges::count(text, L'\n')) - 1;
}

TEST(LanguageTextsOfTheTests, AreAllThereForACompleteTranslation)
{
    const std::size_t messages =
        CountLines(ContentOf(std::filesystem::path(VLCMD_SOURCE_FOLDER) / "translations/VLCmd.pot"), "msgctxt ");
    ASSERT_GT(messages, 100U);
    for (const LanguageTexts& language : kTranslations) {
        const std::filesystem::path file =
            std::filesystem::path(VLCMD_TRANSLATIONS_FOLDER) / (std::string(language.name) + ".tr");
        ASSERT_TRUE(std::filesystem::exists(file)) << file;
        if (CountMessages(file) == messages) {
            for (const Scene& scene : kScenes) {
                EXPECT_NE(nullptr, language.*scene.text) << language.name << ' ' << scene.name;
            }
        }
    }
}

} // namespace
