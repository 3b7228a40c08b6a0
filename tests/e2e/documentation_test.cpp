#include "base/text.h"
#include "documentation.h"
#include "simulated_computer.h"
#include "support/provider_registration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace {

using namespace e2e;

// A command of the documentation, and what stands below it.
struct Example {
    std::string line;               // behind "./dev run"
    std::vector<std::string> shown; // without the empty lines at the end
};

// The examples of a page: in a block between two lines of three backticks, each begins with "$ ./dev run".
std::vector<Example> ExamplesOf(const std::filesystem::path& page)
{
    constexpr std::string_view kPrompt = "$ ./dev run";
    std::vector<Example> examples;
    bool inside = false;
    for (const std::string& line : LinesOfFile(page)) {
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
        DropEmptyEnd(example.shown);
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

// The lines that a program has written, its exit code as ./dev tells it, and without the empty lines at the end.
std::vector<std::string> LinesOf(const Outcome& outcome)
{
    std::string text = outcome.output;
    if (outcome.exitCode != 0) {
        char line[64];
        std::snprintf(line, sizeof line, "VLCmd ended with %u (0x%08X)\n", outcome.exitCode, outcome.exitCode);
        text += line;
    }
    std::vector<std::string> lines = e2e::LinesOf(std::move(text));
    DropEmptyEnd(lines);
    return lines;
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

    static void Check(const Example& example)
    {
        const std::vector<std::wstring> words = WordsOf(example.line);
        const bool waits = std::ranges::find(words, L"/w") != words.end();
        const PreparedComputer computer(waits ? PreparedComputer::Clock::Fast : PreparedComputer::Clock::AsItIs);
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
};

TEST_P(Documentation, ShowsWhatTheToolPrints)
{
    const std::vector<Example> examples = ExamplesOf(Page(GetParam()));
    ASSERT_FALSE(examples.empty());
    for (const Example& example : examples) {
        Check(example);
    }
}

INSTANTIATE_TEST_SUITE_P(Pages, Documentation,
                         testing::Values(L"README.md", L"docs/commands.md", L"docs/statistics.md"),
                         [](const auto& test) { return std::filesystem::path(test.param).stem().string(); });

} // namespace
