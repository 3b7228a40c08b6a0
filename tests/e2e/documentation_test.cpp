#include "engine_process.h"
#include "expected.h"
#include "registry_value.h"
#include "simulated_computer.h"
#include "support/provider_registration.h"
#include "support/statistics_database.h"
#include "text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace {

using namespace e2e;

// A command of the documentation, and what stands below it.
struct Example {
    std::string line;               // behind "./dev run"
    std::vector<std::string> shown; // without the empty lines at the end
};

std::vector<std::string> LinesOf(const std::filesystem::path& path)
{
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The examples of a page: in a block between two lines of three backticks, each begins with "$ ./dev run".
std::vector<Example> ExamplesOf(const std::filesystem::path& page)
{
    constexpr std::string_view kPrompt = "$ ./dev run";
    std::vector<Example> examples;
    bool inside = false;
    for (const std::string& line : LinesOf(page)) {
        if (line == "```") {
            inside = false;
        } else if (line.starts_with(kPrompt)) {
            examples.push_back({line.substr(kPrompt.size()), {}});
            inside = true;
        } else if (inside) {
            examples.back().shown.push_back(line);
        }
    }
    for (Example& example : examples) {
        while (!example.shown.empty() && example.shown.back().empty()) {
            example.shown.pop_back();
        }
    }
    return examples;
}

// The words of a shell's line in which nothing is quoted but by single quotation marks.
std::vector<std::wstring> WordsOf(const std::string& line)
{
    const std::wstring text = sim::FromUtf8(line).value();
    std::vector<std::wstring> words;
    bool inWord = false;
    bool quoted = false;
    for (const wchar_t c : text) {
        if (c == L'\'') {
            quoted = !quoted;
        } else if (c == L'\\' && !quoted) {
            throw std::invalid_argument("a shell would swallow the backslash in" + line);
        }
        if (c == L' ' && !quoted) {
            inWord = false;
            continue;
        }
        if (!inWord) {
            words.emplace_back();
            inWord = true;
        }
        if (c != L'\'') {
            words.back().push_back(c);
        }
    }
    return words;
}

std::string ContentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The default scenario with a clock that does not keep the test waiting, for commands that wait.
std::string ScenarioFor(const std::vector<std::wstring>& words)
{
    const bool waits = std::ranges::find(words, L"/w") != words.end();
    return ContentOf(ProgramFolder() / L"default.scenario") + (waits ? "\n[clock]\nspeed = 20\n" : "");
}

// The lines that a program has written, its exit code as ./dev tells it, and without the empty lines at the end.
std::vector<std::string> LinesOf(const Outcome& outcome)
{
    std::string text = outcome.output;
    std::erase(text, '\r');
    if (outcome.exitCode != 0) {
        char line[64];
        std::snprintf(line, sizeof line, "VLCmd ended with %u (0x%08X)\n", outcome.exitCode, outcome.exitCode);
        text += line;
    }
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    while (!lines.empty() && lines.back().empty()) {
        lines.pop_back();
    }
    return lines;
}

// "..." stands for any number of lines.
bool IsShown(const std::vector<std::string>& shown, const std::vector<std::string>& lines)
{
    const auto gap = std::ranges::find(shown, "...");
    if (gap == shown.end()) {
        return shown == lines;
    }
    const auto head = gap - shown.begin();
    const auto tail = shown.end() - gap - 1;
    return static_cast<std::ptrdiff_t>(lines.size()) >= head + tail && std::equal(shown.begin(), gap, lines.begin()) &&
           std::equal(gap + 1, shown.end(), lines.end() - tail);
}

// Drives that are worked on at once report in any order.
bool IsShownInAnyOrder(std::vector<std::string> shown, std::vector<std::string> lines)
{
    std::ranges::sort(shown);
    std::ranges::sort(lines);
    return shown == lines;
}

class Documentation : public testing::TestWithParam<const wchar_t*> {
protected:
    Documentation() { testing_support::RegisterProvider(); }

    // The computer that ./dev run prepares: a new engine, a new database with its sample.
    static void Check(const Example& example)
    {
        const std::vector<std::wstring> words = WordsOf(example.line);
        testing_support::StatisticsDatabase database;
        database.ExecuteAll(ContentOf(SourceFolder() / L"sim" / L"database" / L"sample.sql"));
        const RegistryValue connection(HKEY_LOCAL_MACHINE, kCoreKey, L"ConnectionString", database.ProductString());
        const SimulatedComputer computer(ScenarioFor(words));
        computer.AddFile(L"srv1.scenario", ContentOf(ProgramFolder() / L"srv1.scenario"));
        const EngineProcess engine(computer);
        const std::vector<std::string> lines = LinesOf(SimulatedComputer::Run(words));
        const auto drives = std::ranges::count_if(words, [](const std::wstring& word) { return word.find(L':') == 1; });
        if (!IsShown(example.shown, lines) && !(drives > 1 && IsShownInAnyOrder(example.shown, lines))) {
            std::string text;
            for (const std::string& line : lines) {
                text += line + '\n';
            }
            ADD_FAILURE() << "./dev run" << example.line << "\nprints\n" << text;
        }
    }

    static std::filesystem::path SourceFolder() { return {VLCMD_SOURCE_FOLDER}; }
};

TEST_P(Documentation, ShowsWhatTheToolPrints)
{
    const std::vector<Example> examples = ExamplesOf(SourceFolder() / GetParam());
    ASSERT_FALSE(examples.empty());
    for (const Example& example : examples) {
        Check(example);
    }
}

INSTANTIATE_TEST_SUITE_P(Pages, Documentation,
                         testing::Values(L"README.md", L"docs/commands.md", L"docs/statistics.md"),
                         [](const auto& test) { return std::filesystem::path(test.param).stem().string(); });

} // namespace
