#include "scenario/scenario.h"

#include "base/text.h"
#include "scenario/sections.h"

#include "win/owner.h"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

// The whole content of a file.
std::variant<std::string, ScenarioError> ReadFileContent(const std::wstring& path)
{
    const win::FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        return ScenarioError{0, L"the file cannot be opened: " + ErrorText(GetLastError())};
    }
    std::string content;
    for (;;) {
        char block[16384];
        DWORD size = 0;
        if (ReadFile(file.Get(), block, sizeof block, &size, nullptr) == FALSE) {
            return ScenarioError{0, L"the file cannot be read: " + ErrorText(GetLastError())};
        }
        if (size == 0) {
            return content;
        }
        content.append(block, size);
    }
}

} // namespace

std::variant<Scenario, ScenarioError> ParseScenario(std::string_view bytes)
{
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (bytes.starts_with(kByteOrderMark)) {
        bytes.remove_prefix(kByteOrderMark.size());
    }
    SectionReader reader;
    for (std::size_t line = 1; !bytes.empty(); ++line) {
        const std::size_t end = std::min(bytes.find('\n'), bytes.size());
        std::string_view lineBytes = bytes.substr(0, end);
        bytes.remove_prefix(std::min(end + 1, bytes.size()));
        if (lineBytes.ends_with('\r')) {
            lineBytes.remove_suffix(1);
        }
        const std::optional<std::wstring> text = FromUtf8(lineBytes);
        if (!text) {
            return ScenarioError{line, L"the line is not UTF-8"};
        }
        if (Complaint complaint = reader.ReadLine(line, *text)) {
            return ScenarioError{line, *std::move(complaint)};
        }
    }
    return Assemble(reader.Result());
}

std::variant<Scenario, ScenarioError> LoadScenario(const std::wstring& path)
{
    std::variant<std::string, ScenarioError> content = ReadFileContent(path);
    if (ScenarioError* const error = std::get_if<ScenarioError>(&content)) {
        return std::move(*error);
    }
    std::variant<Scenario, ScenarioError> parsed = ParseScenario(std::get<std::string>(content));
    if (Scenario* const scenario = std::get_if<Scenario>(&parsed)) {
        scenario->computer.ResolvePaths(path.substr(0, path.rfind(L'\\') + 1));
    }
    return parsed;
}

std::variant<Scenario, ScenarioError> LoadScenarioOf(const std::wstring& path, const std::wstring& computer)
{
    std::variant<Scenario, ScenarioError> network = LoadScenario(path);
    const Scenario* const scenario = std::get_if<Scenario>(&network);
    if (scenario == nullptr || computer.empty()) {
        return network;
    }
    const OtherComputer* const other = scenario->computer.FindComputer(computer);
    if (other == nullptr || other->failure) {
        return ScenarioError{0, L"there is no engine on a computer " + computer};
    }
    std::variant<Scenario, ScenarioError> loaded = LoadScenario(other->scenario);
    if (ScenarioError* const error = std::get_if<ScenarioError>(&loaded)) {
        return ScenarioError{other->line, DescribeError(other->scenario, *error)};
    }
    auto& found = std::get<Scenario>(loaded);
    found.computer.clockSpeed = scenario->computer.clockSpeed;
    // The product's database is this computer's.
    if (!found.statisticsDatabase) {
        found.statisticsDatabase.emplace();
    }
    return loaded;
}

std::wstring DescribeError(std::wstring_view path, const ScenarioError& error)
{
    std::wstring text(path);
    if (error.line != 0) {
        text += L"(" + std::to_wstring(error.line) + L")";
    }
    return text + L": " + error.text;
}

} // namespace sim
