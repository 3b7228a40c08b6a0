#include "cmd/command_line.h"

#include "engine/drive_spec.h"
#include "win/result_code.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace {

constexpr const wchar_t* kFlags[] = {kAllDrivesSwitch, L"/w", L"/wait", L"/all", L"/d", L"/s", L"/p", L"/r", L"/t"};
constexpr const wchar_t* kValueSwitches[] = {kComputerSwitch};
constexpr const wchar_t* kWaitFlags[] = {L"/w", L"/wait"};

struct PassFlag {
    const wchar_t* flag;
    std::uint32_t fileTypes;
};

constexpr PassFlag kPassFlags[] = {
    {L"/d", VLFilesDirectories},
    {L"/s", VLFilesSystem},
    {L"/p", VLFilesPaging},
    {L"/all", VLFilesAll},
};

// Appends the words after the command that are accepted.
template <typename Accept>
void CollectWords(const CommandLine& commandLine, Accept accept, Words& collected)
{
    const Words& words = GetWords(commandLine);
    for (std::size_t i = 1; i < words.size(); ++i) {
        if (accept(words[i])) {
            collected.push_back(words[i]);
        }
    }
}

bool IsFileWord(const std::wstring& word)
{
    return word.size() >= 3 && word[1] == L':';
}

} // namespace

bool WordLess::operator()(const std::wstring& left, const std::wstring& right) const noexcept
{
    return _wcsicmp(left.c_str(), right.c_str()) < 0;
}

void RegisterSwitches(CommandLine& commandLine)
{
    commandLine.knownFlags.insert(std::begin(kFlags), std::end(kFlags));
    commandLine.knownValueSwitches.insert(std::begin(kValueSwitches), std::end(kValueSwitches));
}

bool Parse(CommandLine& commandLine, int argc, wchar_t** argv)
{
    commandLine.words.clear();
    commandLine.presentFlags.clear();
    commandLine.optionValues.clear();
    for (int i = 1; i < argc; ++i) {
        std::wstring word = argv[i];
        if (commandLine.knownFlags.contains(word)) {
            commandLine.presentFlags.insert(std::move(word));
        } else if (commandLine.knownValueSwitches.contains(word)) {
            ++i;
            if (i >= argc) {
                return false;
            }
            commandLine.optionValues.insert_or_assign(std::move(word), argv[i]);
        } else {
            commandLine.words.push_back(std::move(word));
        }
    }
    return true;
}

bool HasFlag(const CommandLine& commandLine, const std::wstring& switchText)
{
    return commandLine.presentFlags.contains(switchText);
}

std::wstring GetOptionValue(const CommandLine& commandLine, const std::wstring& switchText)
{
    const auto value = commandLine.optionValues.find(switchText);
    return value == commandLine.optionValues.end() ? std::wstring() : value->second;
}

const Words& GetWords(const CommandLine& commandLine)
{
    return commandLine.words;
}

bool HasWaitFlag(const CommandLine& commandLine)
{
    return std::any_of(std::begin(kWaitFlags), std::end(kWaitFlags),
                       [&](const wchar_t* flag) { return HasFlag(commandLine, flag); });
}

std::uint32_t GetOfflinePassMask(const CommandLine& commandLine)
{
    std::uint32_t mask = 0;
    for (const PassFlag& pass : kPassFlags) {
        if (HasFlag(commandLine, pass.flag)) {
            mask |= pass.fileTypes;
        }
    }
    if (mask == 0) {
        return VLFilesConfigured;
    }
    return mask;
}

void GetComputerName(const CommandLine& commandLine, std::wstring& computer)
{
    computer = GetOptionValue(commandLine, kComputerSwitch);
    if (!computer.empty() || commandLine.words.empty()) {
        return;
    }
    const std::wstring& last = commandLine.words.back();
    if (last.size() > 2 && last.starts_with(L"\\\\") && !IsDriveSpec(last)) {
        computer = last;
    }
}

Result CollectDriveWords(const CommandLine& commandLine, const std::wstring& computer, DriveList& drives)
{
    drives.clear();
    if (HasFlag(commandLine, kAllDrivesSwitch)) {
        return ListAllDrives(computer, drives);
    }
    CollectWords(commandLine, IsDriveSpec, drives);
    return kSuccess;
}

Result ResolveDrives(const CommandLine& commandLine, const std::wstring& computer, DriveList& drives)
{
    drives.clear();
    DriveList words;
    // Only a connection's failure is negative. After any other the drives that were listed before it are matched.
    if (const Result collected = CollectDriveWords(commandLine, computer, words);
        FAILED(static_cast<HRESULT>(collected))) {
        return collected;
    }
    win::ComPtr<IVLAgent> agent;
    if (const HRESULT connection = ConnectToAgent(computer, &agent); FAILED(connection)) {
        return win::ResultOf(connection);
    }
    return win::ResultOf(MatchDrives(*agent, RequestedDrives(words), drives));
}

Result CollectFileWords(const CommandLine& commandLine, Words& files)
{
    files.clear();
    CollectWords(commandLine, IsFileWord, files);
    return kSuccess;
}
