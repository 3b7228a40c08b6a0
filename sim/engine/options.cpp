#include "engine/options.h"

#include "base/registry_keys.h"
#include "base/settings.h"

#include "win/text.h"

#include <algorithm>
#include <iterator>

namespace sim {

namespace {

// The path with the text and a point in front of what ends the file's name: calls.log becomes calls.SRV1.log.
std::wstring BesideName(std::wstring path, std::wstring_view text)
{
    const std::size_t file = path.find_last_of(L"\\/") + 1;
    const std::size_t point = path.rfind(L'.');
    const bool hasPoint = point != std::wstring::npos && point >= file;
    return path.insert(hasPoint ? point : path.size(), L"." + std::wstring(text));
}

} // namespace

const wchar_t* const kUsage = L"VLEngine: a simulated engine for trying out and testing. It defragments nothing.\n"
                              L"\n"
                              L"  VLEngine [--scenario FILE] [--computer NAME] [--log FILE] [--ready EVENT]\n"
                              L"                            serve; set the named event when clients may come;\n"
                              L"                            as the engine of a computer that the scenario names\n"
                              L"  VLEngine /regserver       register this program as the computer's engine\n"
                              L"  VLEngine /unregserver     take the registration back\n"
                              L"  VLEngine /start           start a server in the background unless one runs\n"
                              L"  VLEngine /quit            end every running server and wait until it is gone\n"
                              L"  VLEngine -Embedding       serve; how COM starts the program\n"
                              L"\n"
                              L"Without --scenario, the values Scenario and CallLog of\n"
                              L"HKEY_LOCAL_MACHINE\\Software\\Kestrane\\Simulator hold, and without those\n"
                              L"default.scenario beside the program, with no log.\n";

std::optional<Options> ParseOptions(const std::vector<std::wstring_view>& words)
{
    Options options;
    struct TaskWord {
        std::wstring_view word;
        Task task;
    };
    constexpr TaskWord kTasks[] = {{L"regserver", Task::Register},
                                   {L"unregserver", Task::Unregister},
                                   {L"start", Task::Start},
                                   {L"quit", Task::Quit},
                                   {L"?", Task::Help}};
    struct ValueWord {
        std::wstring_view word;
        std::wstring Options::*place;
    };
    constexpr ValueWord kValues[] = {{L"--scenario", &Options::scenario},
                                     {L"--computer", &Options::computer},
                                     {L"--log", &Options::log},
                                     {L"--ready", &Options::readyEvent}};

    for (auto word = words.begin(); word != words.end(); ++word) {
        const bool isSwitch = word->starts_with(L'/') || word->starts_with(L'-');
        const std::wstring_view name = word->substr(isSwitch ? 1 : 0);
        const auto* const task =
            std::ranges::find_if(kTasks, [&](const TaskWord& known) { return win::EqualNames(known.word, name); });
        const auto* const value =
            std::ranges::find_if(kValues, [&](const ValueWord& known) { return known.word == *word; });
        if (isSwitch && task != std::end(kTasks)) {
            // A task stands alone.
            if (words.size() != 1) {
                return std::nullopt;
            }
            options.task = task->task;
        } else if (isSwitch && win::EqualNames(name, L"Embedding")) {
            options.startedByCom = true;
        } else if (value != std::end(kValues) && std::next(word) != words.end()) {
            options.*value->place = *++word;
        } else {
            return std::nullopt;
        }
    }
    return options;
}

unsigned long CompleteFromRegistry(Options& options)
{
    if (!options.scenario.empty()) {
        return ERROR_SUCCESS;
    }
    LSTATUS status = FindScenario(nullptr, options.scenario);
    if (status == ERROR_SUCCESS && options.log.empty()) {
        status = ReadRegistryText(kSimulatorKey, L"CallLog", options.log);
        if (!options.log.empty() && !options.computer.empty()) {
            options.log = BesideName(options.log, options.computer);
        }
    }
    return static_cast<unsigned long>(status);
}

} // namespace sim
