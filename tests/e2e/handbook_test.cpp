#include "documentation.h"
#include "expected.h"
#include "process.h"
#include "support/provider_registration.h"
#include "support/scratch_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>
#include <string_view>

namespace {

using namespace e2e;
using testing::ElementsAre;

// What stands between two lines of three backticks. Behind the first three stand the kind of the block and, where it is
// a file that the page's commands use, the file's name.
struct Block {
    std::string kind;
    std::string name;
    std::vector<std::string> lines;
};

std::vector<Block> BlocksOf(const std::filesystem::path& page)
{
    constexpr std::string_view kFence = "```";
    std::vector<Block> blocks;
    bool inside = false;
    for (const std::string& line : LinesOfFile(page)) {
        if (line.starts_with(kFence)) {
            inside = !inside;
            if (inside) {
                const std::string words = line.substr(kFence.size());
                const std::size_t blank = std::min(words.find(' '), words.size());
                blocks.push_back({words.substr(0, blank), words.substr(std::min(blank + 1, words.size())), {}});
            }
        } else if (inside) {
            blocks.back().lines.push_back(line);
        }
    }
    return blocks;
}

// A command that is typed at cmd's prompt, and what stands below it.
struct Typed {
    std::string command;
    std::vector<std::string> shown; // without the empty lines at the end
};

std::vector<Typed> CommandsOf(const Block& session)
{
    constexpr std::string_view kPrompt = "> ";
    std::vector<Typed> commands;
    for (const std::string& line : session.lines) {
        if (line.starts_with(kPrompt)) {
            commands.push_back({line.substr(kPrompt.size()), {}});
        } else {
            commands.back().shown.push_back(line);
        }
    }
    for (Typed& typed : commands) {
        DropEmptyEnd(typed.shown);
    }
    return commands;
}

bool Contain(const std::vector<std::string>& lines, std::string_view text)
{
    return std::ranges::any_of(lines, [&](const std::string& line) { return line.find(text) != std::string::npos; });
}

std::string JoinLines(const std::vector<std::string>& lines, std::string_view end)
{
    std::string text;
    for (const std::string& line : lines) {
        text.append(line).append(end);
    }
    return text;
}

// One page's commands, which cmd runs in a folder with the page's files, on the path where VLCmd is the tool on the
// simulated computer.
class Sessions {
public:
    explicit Sessions(const std::filesystem::path& page) : blocks_(BlocksOf(page)) {}

    void CheckAll()
    {
        for (const Block& block : blocks_) {
            if (block.kind == "console") {
                Check(CommandsOf(block));
            }
        }
        for (const Block& block : blocks_) {
            EXPECT_TRUE(!IsScript(block) || run_.contains(block.name)) << block.name << " is never run";
        }
    }

private:
    // Stands behind the output of each command, with its exit code.
    static constexpr std::string_view kMark = "#ended with ";

    static bool IsScript(const Block& block) { return block.kind == "cmd" && !block.name.empty(); }

    // The page's script that a command calls, if any: it is called by its name without ".cmd".
    [[nodiscard]] const Block* ScriptOf(const std::string& command) const
    {
        const std::string name = command.substr(0, command.find(' ')) + ".cmd";
        const auto found =
            std::ranges::find_if(blocks_, [&](const Block& block) { return IsScript(block) && block.name == name; });
        return found == blocks_.end() ? nullptr : &*found;
    }

    [[nodiscard]] PreparedComputer::Clock ClockFor(const std::vector<Typed>& commands) const
    {
        const bool waits = std::ranges::any_of(commands, [&](const Typed& typed) {
            const Block* const script = ScriptOf(typed.command);
            return typed.command.find("/w") != std::string::npos ||
                   (script != nullptr && (Contain(script->lines, "/w") || Contain(script->lines, "ping")));
        });
        return waits ? PreparedComputer::Clock::Fast : PreparedComputer::Clock::AsItIs;
    }

    // The commands as a script. A page's script gets a cmd of its own: it would end this one, and behind a "call"
    // Wine's cmd loses the exit code.
    [[nodiscard]] std::string ScriptFor(const std::vector<Typed>& commands, const std::wstring& folder) const
    {
        std::string script = "@echo off\r\n"
                             "set COMPUTERNAME=SRV0\r\n"
                             "set \"PATH=" +
                             Narrow((ProgramFolder() / L"on-path").wstring()) +
                             ";%PATH%\"\r\n"
                             "cd /d \"" +
                             Narrow(folder) + "\"\r\n";
        for (const Typed& typed : commands) {
            script.append(ScriptOf(typed.command) != nullptr ? "cmd /d /c " : "").append(typed.command).append("\r\n");
            script.append("echo ").append(kMark).append("%ERRORLEVEL%\r\n");
        }
        return script;
    }

    // The lines that each command has printed, with its exit code in brackets where that is the tool's or a script's
    // and not 0.
    [[nodiscard]] std::vector<std::vector<std::string>> Split(const std::vector<Typed>& commands,
                                                              const std::vector<std::string>& output) const
    {
        std::vector<std::vector<std::string>> printed(1);
        for (const std::string& line : output) {
            const std::size_t mark = line.find(kMark);
            if (mark == std::string::npos || printed.size() > commands.size()) {
                printed.back().push_back(line);
                continue;
            }
            if (mark != 0) {
                printed.back().push_back(line.substr(0, mark));
            }
            const std::string& command = commands[printed.size() - 1].command;
            const std::string exitCode = line.substr(mark + kMark.size());
            const bool isOurs = command.starts_with("VLCmd ") || ScriptOf(command) != nullptr;
            if (isOurs && exitCode != "0") {
                printed.back().push_back("[exit code " + exitCode + "]");
            }
            DropEmptyEnd(printed.back());
            printed.emplace_back();
        }
        printed.resize(commands.size());
        return printed;
    }

    void Check(const std::vector<Typed>& commands)
    {
        const PreparedComputer computer(ClockFor(commands));
        const testing_support::ScratchFolder folder;
        for (const Block& block : blocks_) {
            if (!block.name.empty()) {
                folder.AddFile(Wide(block.name), JoinLines(block.lines, "\r\n"));
            }
        }
        const testing_support::ScratchFolder session;
        session.AddFile(L"session.cmd", ScriptFor(commands, folder.Path()));
        wchar_t system[MAX_PATH] = {};
        GetSystemDirectoryW(system, MAX_PATH);
        const Outcome outcome =
            Process(std::filesystem::path(system) / L"cmd.exe", {L"/d", L"/c", session.PathOf(L"session.cmd")}).Wait();
        const std::vector<std::vector<std::string>> printed = Split(commands, LinesOf(outcome.output));
        for (std::size_t index = 0; index < commands.size(); ++index) {
            EXPECT_TRUE(IsShown(commands[index].shown, printed[index]))
                << "> " << commands[index].command << "\nprints\n"
                << JoinLines(printed[index], "\n");
            if (const Block* const script = ScriptOf(commands[index].command)) {
                run_.insert(script->name);
            }
        }
    }

    std::vector<Block> blocks_;
    std::set<std::string> run_;
};

class Handbook : public testing::TestWithParam<const char*> {
protected:
    Handbook() { testing_support::RegisterProvider(); }
};

TEST_P(Handbook, ShowsWhatItsCommandsPrint)
{
    Sessions(Page(GetParam())).CheckAll();
}

INSTANTIATE_TEST_SUITE_P(Pages, Handbook,
                         testing::Values("docs/handbook.md", "docs/scripts.md", "docs/schedules.md",
                                         "docs/many-computers.md", "docs/reading-output.md", "docs/troubleshooting.md",
                                         "docs/policies.md"),
                         [](const auto& test) {
                             std::string name = std::filesystem::path(test.param).stem().string();
                             std::erase(name, '-');
                             return name;
                         });

// A regular expression of PowerShell's, and the names of its groups.
struct Expression {
    std::string name;
    std::vector<std::string> groups;
    std::regex pattern;
};

// Those that a page's functions keep in variables, in the page's order. The C++ library knows no names of groups.
std::vector<Expression> ExpressionsOf(const std::filesystem::path& page)
{
    const std::regex assignment(R"(\$(\w+) += '(\^.*\$)')");
    const std::regex groupName(R"(\(\?<(\w+)>)");
    std::vector<Expression> expressions;
    for (const Block& block : BlocksOf(page)) {
        for (const std::string& line : block.lines) {
            std::smatch found;
            if (block.kind != "powershell" || !std::regex_match(line, found, assignment)) {
                continue;
            }
            const std::string text = found[2];
            std::vector<std::string> groups;
            for (std::sregex_iterator group(text.begin(), text.end(), groupName); group != std::sregex_iterator();
                 ++group) {
                groups.push_back((*group)[1]);
            }
            expressions.push_back({found[1], groups, std::regex(std::regex_replace(text, groupName, "("))});
        }
    }
    return expressions;
}

// What the first expression that fits makes of each line; lines that none fits are left out, as the functions do it.
std::vector<std::string> TakenApart(const std::vector<Expression>& expressions, const std::vector<std::string>& lines)
{
    std::vector<std::string> taken;
    for (const std::string& line : lines) {
        for (const Expression& expression : expressions) {
            std::smatch found;
            if (!std::regex_match(line, found, expression.pattern)) {
                continue;
            }
            std::string text = expression.name;
            for (std::size_t group = 0; group < expression.groups.size(); ++group) {
                text += ' ' + expression.groups[group] + "=[" + found.str(group + 1) + ']';
            }
            taken.push_back(text);
            break;
        }
    }
    return taken;
}

class ReadingOutput : public testing::Test {
protected:
    ReadingOutput() { testing_support::RegisterProvider(); }

    [[nodiscard]] std::vector<std::string> TakenApartFrom(const std::vector<std::wstring>& words) const
    {
        return TakenApart(expressions_, LinesOf(SimulatedComputer::Run(words).output));
    }

private:
    std::vector<Expression> expressions_ = ExpressionsOf(Page("docs/reading-output.md"));
    PreparedComputer computer_{PreparedComputer::Clock::AsItIs};
};

TEST_F(ReadingOutput, ExpressionsTakeTheStatusApart)
{
    EXPECT_THAT(TakenApartFrom({L"/st"}),
                ElementsAre("StatusLine Drive=[C:\\] State=[Idle]", "StatusLine Drive=[D:\\] State=[Defragmenting]",
                            "StatusLine Drive=[E:\\] State=[Idle]",
                            "StatusLine Drive=[D:\\Mounts\\Archive\\] State=[Idle]",
                            "StatusLine Drive=[F:\\] State=[Done]"));
}

TEST_F(ReadingOutput, ExpressionsTakeTheLocalStatisticsApart)
{
    EXPECT_THAT(TakenApartFrom({L"/sta", L"F:", L"E:"}),
                ElementsAre("ComputerLine Computer=[SRV0]", "DriveLine Drive=[F:]",
                            "FigureLine Name=[Date] Value=[3/9/2026 12:00:00 PM]",
                            "FigureLine Name=[Free Space] Value=[6 GB]", "FigureLine Name=[Total Files] Value=[1523]",
                            "FigureLine Name=[Fragmented Files] Value=[211]",
                            "FigureLine Name=[Largest Free Space] Value=[2 GB]",
                            "FigureLine Name=[Free Space Fragmentation] Value=[28.5%]",
                            "FigureLine Name=[File Fragmentation] Value=[7.5%]",
                            "FigureLine Name=[MFT Excess Fragments] Value=[0]",
                            "FigureLine Name=[Metadata Excess Fragments] Value=[4]",
                            "FigureLine Name=[Directory Fragmentation] Value=[2.5%]",
                            "FigureLine Name=[Drive Performance] Value=[81.0%]", "NoDataLine Drive=[E:]"));
}

TEST_F(ReadingOutput, ExpressionsTakeTheRemoteStatisticsApart)
{
    EXPECT_THAT(TakenApartFrom({L"/sta", L"D:", L"/c", L"SRV1"}),
                ElementsAre("ComputerLine Computer=[SRV1]", "DriveLine Drive=[D:]",
                            "FigureLine Name=[Date] Value=[3/6/2026 9:45:00 PM]",
                            "PairLine Name=[File Fragmentation] Before=[41] After=[7]",
                            "PairLine Name=[Free Space Fragmentation] Before=[70] After=[28]",
                            "PairLine Name=[Performance] Before=[47] After=[86]"));
}

TEST_F(ReadingOutput, ExpressionsFindTheDriveThatEndsAReportAndTheReturnCodeOfAnError)
{
    const RegistryValue none(HKEY_LOCAL_MACHINE, kCoreKey, L"ConnectionString");
    EXPECT_THAT(TakenApartFrom({L"/sta", L"C:"}),
                ElementsAre("ComputerLine Computer=[SRV0]", "FailedLine Drive=[C:] Code=[2147943465]"));
    EXPECT_THAT(TakenApartFrom({L"/id", L"D:", L"99"}), ElementsAre("ReturnCodeLine Code=[80070002]"));
}

} // namespace
