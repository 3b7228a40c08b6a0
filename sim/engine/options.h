#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

enum class Task { Serve, Register, Unregister, Start, Quit, Help };

// What the command line asks for. Paths and names are empty where they are not given.
struct Options {
    Task task = Task::Serve;
    bool startedByCom = false;
    std::wstring scenario;
    std::wstring computer; // another one of the scenario's network, whose engine this is to be
    std::wstring log;
    std::wstring readyEvent;
};

// Reads the words after the program's name; nothing where they are wrong.
[[nodiscard]] std::optional<Options> ParseOptions(const std::vector<std::wstring_view>& words);

// The screen that tells the options.
extern const wchar_t* const kUsage;

// Puts the scenario's and the log's path of the registry where the command line gave no scenario, and the default
// scenario beside the program where the registry has none either. Answers 0 or the Windows error of the registry.
[[nodiscard]] unsigned long CompleteFromRegistry(Options& options);

} // namespace sim
