#pragma once

#include "engine/drive_selection.h"
#include "engine/result_codes.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

// Orders command words and switches without regard to case, by the runtime's default case mapping.
struct WordLess {
    bool operator()(const std::wstring& left, const std::wstring& right) const noexcept;
};

using Words = std::vector<std::wstring>;
using SwitchSet = std::set<std::wstring, WordLess>;
using SwitchValues = std::map<std::wstring, std::wstring, WordLess>;

// A parsed command line. A word is a command, a drive or a file only by its shape and position; words that are none of
// them are kept and never refused.
struct CommandLine {
    SwitchSet knownFlags;         // switches without a value
    SwitchSet knownValueSwitches; // switches that take the next word as their value
    Words words;                  // all other words in order; the first is the command
    SwitchSet presentFlags;
    SwitchValues optionValues; // the last value of each value switch
};

// The switches of the command line.
inline constexpr wchar_t kAllDrivesSwitch[] = L"/alldrives";
inline constexpr wchar_t kComputerSwitch[] = L"/c";

// Makes the program's switches known to the command line.
void RegisterSwitches(CommandLine& commandLine);

// Sorts the words of argv, from the second on, into flags, option values and words. A value is taken as it stands, even
// when it looks like a switch. False when a value switch is the last word.
[[nodiscard]] bool Parse(CommandLine& commandLine, int argc, wchar_t** argv);

// Whether the switch was given.
[[nodiscard]] bool HasFlag(const CommandLine& commandLine, const std::wstring& switchText);

// The value of a value switch; empty when it was not given.
[[nodiscard]] std::wstring GetOptionValue(const CommandLine& commandLine, const std::wstring& switchText);

// The words that are not switches, in order.
[[nodiscard]] const Words& GetWords(const CommandLine& commandLine);

// Whether the command is to wait until its operation has completed: "/w" or "/wait".
[[nodiscard]] bool HasWaitFlag(const CommandLine& commandLine);

// The file types that "/d", "/s", "/p" and "/all" ask for; VLFilesConfigured when none was given.
[[nodiscard]] std::uint32_t GetOfflinePassMask(const CommandLine& commandLine);

// The target computer: the value of "/c", else a last word like "\\SRV1", kept whole; empty for the local computer.
void GetComputerName(const CommandLine& commandLine, std::wstring& computer);

// The drive words after the command as typed, or with "/alldrives" the names of all the engine's drives. Returns 0 or
// the result of asking the engine.
Result CollectDriveWords(const CommandLine& commandLine, const std::wstring& computer, DriveList& drives);

// The engine's identities of the requested drives, sorted and each once; words that match no drive are dropped.
// Returns 0 or a failing HRESULT; the list then holds what was matched before the failure.
Result ResolveDrives(const CommandLine& commandLine, const std::wstring& computer, DriveList& drives);

// The words after the command that begin like a path with a drive ("X:" and at least one character more). Returns 0.
Result CollectFileWords(const CommandLine& commandLine, Words& files);
