#include "documentation.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace e2e {

namespace {

std::string ContentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string DefaultScenario(PreparedComputer::Clock clock)
{
    const char* const fast = clock == PreparedComputer::Clock::Fast ? "\n[clock]\nspeed = 20\n" : "";
    return ContentOf(ProgramFolder() / L"default.scenario") + fast;
}

} // namespace

std::filesystem::path Page(const std::filesystem::path& name)
{
    return std::filesystem::path(VLCMD_SOURCE_FOLDER) / name;
}

std::vector<std::string> LinesOf(std::string text)
{
    std::erase(text, '\r');
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

std::vector<std::string> LinesOfFile(const std::filesystem::path& path)
{
    return LinesOf(ContentOf(path));
}

void DropEmptyEnd(std::vector<std::string>& lines)
{
    while (!lines.empty() && lines.back().empty()) {
        lines.pop_back();
    }
}

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

PreparedComputer::PreparedComputer(Clock clock)
    : connection_(HKEY_LOCAL_MACHINE, kCoreKey, L"ConnectionString", database_.ProductString()),
      computer_(DefaultScenario(clock))
{
    database_.ExecuteAll(ContentOf(Page("sim/database/sample.sql")));
    computer_.AddFile(L"srv1.scenario", ContentOf(ProgramFolder() / L"srv1.scenario"));
    engine_.emplace(computer_);
}

} // namespace e2e
