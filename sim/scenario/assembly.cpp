#include "scenario/methods.h"
#include "scenario/sections.h"
#include "scenario/windows_functions.h"

#include "win/text.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <set>
#include <unordered_map>
#include <utility>

namespace sim {

namespace {

using Text = std::wstring_view;

std::optional<ScenarioError> CheckComputers(const ComputerSetup& computer)
{
    std::set<std::wstring> names;
    for (const OtherComputer& other : computer.computers) {
        if (!names.insert(win::UpperCase(other.name)).second) {
            return ScenarioError{other.line, L"there is already a computer " + other.name};
        }
        if (other.scenario.empty() == !other.failure) {
            return ScenarioError{other.line, L"a computer has either a scenario or a failure"};
        }
        if (other.name.find_first_of(L"\\/\"") != std::wstring::npos) {
            return ScenarioError{other.line, L"a computer's name has no backslashes and no quotation marks"};
        }
        if (other.name == L"*" && !other.failure) {
            return ScenarioError{other.line, L"an engine needs a computer with a name"};
        }
    }
    return std::nullopt;
}

std::optional<ScenarioError> CheckVolumes(const ComputerSetup& computer)
{
    constexpr Text kShape = L"\\\\?\\Volume{";
    std::set<std::wstring> names;
    for (const VolumeSetup& volume : computer.volumes) {
        if (!win::EqualNames(Text(volume.name).substr(0, kShape.size()), kShape) || !volume.name.ends_with(L"}\\")) {
            return ScenarioError{volume.line, L"the name of a volume is of the form \\\\?\\Volume{...}\\"};
        }
        if (volume.sectorsPerCluster == 0 || volume.bytesPerSector == 0) {
            return ScenarioError{volume.line, L"a cluster has at least one sector and a sector at least one byte"};
        }
        if (volume.freeClusters > volume.totalClusters) {
            return ScenarioError{volume.line, L"there are more free clusters than clusters"};
        }
        if (!names.insert(win::UpperCase(volume.name)).second) {
            return ScenarioError{volume.line, L"there is already a volume " + volume.name};
        }
        for (const std::wstring& mount : volume.mounts) {
            if (!names.insert(win::UpperCase(mount)).second) {
                return ScenarioError{volume.line, L"there is already a volume in " + mount};
            }
        }
    }
    return std::nullopt;
}

std::optional<ScenarioError> CheckRegistry(const ComputerSetup& computer)
{
    std::set<std::wstring> paths;
    for (const RegistryKeySetup& key : computer.registry) {
        if (!IsRegistryPath(key.path)) {
            return ScenarioError{key.line,
                                 L"a registry key begins with the name of a root, such as HKEY_LOCAL_MACHINE"};
        }
        if (!paths.insert(win::UpperCase(key.path)).second) {
            return ScenarioError{key.line, L"there is already a key " + key.path};
        }
    }
    return std::nullopt;
}

std::optional<ScenarioError> CheckFaults(const ComputerSetup& computer)
{
    for (const WindowsFault& fault : computer.faults) {
        if (fault.function.empty() || !fault.error) {
            return ScenarioError{fault.line, L"the fault needs a function and an error"};
        }
        const WindowsFunction& function = *FindWindowsFunction(fault.function);
        constexpr std::uint32_t kSeverityBit = 0x80000000;
        if (function.returnsResult != ((*fault.error & kSeverityBit) != 0)) {
            return ScenarioError{fault.line,
                                 fault.function + (function.returnsResult ? L" fails with an HRESULT such as 0x80070005"
                                                                          : L" fails with a Windows error such as 5")};
        }
        if (!fault.path.empty() && !function.concernsPath) {
            return ScenarioError{fault.line, fault.function + L" concerns no path"};
        }
    }
    return std::nullopt;
}

// Makes the scenario of the sections: numbers the drives, resolves what names a drive, and checks what belongs
// together.
class Assembler {
public:
    explicit Assembler(Sections& sections) : sections_(sections), scenario_(sections.scenario) {}

    // The scenario, or what is wrong with it.
    std::variant<Scenario, ScenarioError> Assemble()
    {
        for (DriveSection& section : sections_.drives) {
            if (!AddDrives(section)) {
                return error_;
            }
        }
        for (ScheduleSection& section : sections_.schedules) {
            if (!AddSchedule(section)) {
                return error_;
            }
        }
        for (FaultSection& section : sections_.faults) {
            if (!AddFault(section)) {
                return error_;
            }
        }
        for (const auto check : {&CheckComputers, &CheckVolumes, &CheckRegistry, &CheckFaults}) {
            if (std::optional<ScenarioError> error = check(scenario_.computer)) {
                return *std::move(error);
            }
        }
        std::ranges::stable_sort(scenario_.computer.policyChanges, {}, &PolicyChange::after);
        std::ranges::stable_sort(scenario_.computer.presses, {}, &KeyPress::after);
        return std::move(scenario_);
    }

private:
    bool Fail(std::size_t line, std::wstring text)
    {
        error_ = {line, std::move(text)};
        return false;
    }

    static std::wstring Numbered(std::wstring text, std::uint32_t number)
    {
        constexpr Text kPlace = L"{n}";
        for (std::size_t at = text.find(kPlace); at != std::wstring::npos; at = text.find(kPlace)) {
            text.replace(at, kPlace.size(), std::to_wstring(number));
        }
        return text;
    }

    // A volume GUID path that tells the drive's place, so that two runs of one scenario show the same identities.
    static std::wstring IdentityOf(std::size_t place)
    {
        wchar_t digits[13];
        std::swprintf(digits, std::size(digits), L"%012zx", place + 1);
        return L"\\\\?\\Volume{5d1c04e7-0000-4000-8000-" + std::wstring(digits) + L"}\\";
    }

    bool AddDrives(DriveSection& section)
    {
        for (std::uint32_t number = 1; number <= section.count; ++number) {
            DriveSetup drive = section.setup;
            if (section.numbered) {
                drive.name = Numbered(drive.name, number);
                drive.mountPoint = Numbered(drive.mountPoint, number);
                drive.identity = Numbered(drive.identity, number);
            }
            sections_.times.ApplyTo(drive.times);
            section.times.ApplyTo(drive.times);
            if (drive.mountPoint.empty()) {
                drive.mountPoint = drive.name;
            }
            if (drive.identity.empty()) {
                drive.identity = IdentityOf(scenario_.drives.size());
            }
            std::ranges::stable_sort(drive.points, std::ranges::greater(), &StatisticsPoint::date);
            const std::size_t place = scenario_.drives.size();
            if (!drivesByName_.emplace(win::UpperCase(drive.name), place).second) {
                return Fail(section.line, L"there is already a drive " + drive.name);
            }
            if (!identities_.insert(win::UpperCase(drive.identity)).second) {
                return Fail(section.line, L"there is already a drive with the identity " + drive.identity);
            }
            scenario_.drives.push_back(std::move(drive));
        }
        return true;
    }

    bool AddSchedule(ScheduleSection& section)
    {
        ScheduleSetup& schedule = section.setup;
        if (section.drives) {
            for (const Text name : Split(section.drives->text, L'|')) {
                const auto found = drivesByName_.find(win::UpperCase(name));
                if (found == drivesByName_.end()) {
                    return Fail(section.drives->line, L"there is no drive " + std::wstring(name));
                }
                schedule.drives.push_back(found->second);
            }
        } else {
            for (std::size_t place = 0; place < scenario_.drives.size(); ++place) {
                schedule.drives.push_back(place);
            }
        }
        scenario_.schedules.push_back(std::move(schedule));
        return true;
    }

    bool AddFault(FaultSection& section)
    {
        Fault& fault = section.fault;
        if (!section.hasMethod) {
            return Fail(section.line, L"the fault names no method");
        }
        const MethodInfo& method = InfoOf(fault.method);
        const std::wstring methodName = std::wstring(method.interfaceName) + L"::" + std::wstring(method.name);
        if (section.drive) {
            if (!method.concernsDrive) {
                return Fail(section.drive->line, methodName + L" concerns no single drive");
            }
            const auto found = drivesByName_.find(win::UpperCase(section.drive->text));
            if (found == drivesByName_.end()) {
                return Fail(section.drive->line, L"there is no drive " + section.drive->text);
            }
            fault.drive = found->second;
        }
        if (section.number && !ReadNumber(section, method.output)) {
            return Fail(section.answerLine,
                        L"\"" + *section.number + L"\" is not a value that " + methodName + L" can hand out");
        }
        const bool substitutes = section.answerLine != 0;
        if (substitutes && !Suits(fault.substitute, method.output)) {
            return Fail(section.answerLine, methodName + L" cannot hand out such an answer");
        }
        if (fault.failure && substitutes) {
            return Fail(section.line, L"a call that fails hands out no answer");
        }
        if (!fault.failure && !substitutes && fault.delay == std::chrono::milliseconds::zero()) {
            return Fail(section.line, L"the fault orders nothing");
        }
        scenario_.faults.push_back(std::move(fault));
        return true;
    }

    // Reads the number of "value" as the method hands it out.
    static bool ReadNumber(FaultSection& section, Output output)
    {
        const Text text = *section.number;
        if (output == Output::Decimal) {
            const std::optional<double> value = ParseDecimal(text);
            section.fault.substitute = value.value_or(0);
            return value.has_value();
        }
        // A signed value may be given with its sign; the 32 bits are what counts.
        const bool negative = text.starts_with(L'-');
        const std::optional<std::uint64_t> value = ParseNumber(text.substr(negative ? 1 : 0));
        constexpr std::uint64_t kLeastSigned = 0x80000000;
        if (!value || *value > (negative ? kLeastSigned : UINT32_MAX)) {
            return false;
        }
        section.fault.substitute = static_cast<std::uint32_t>(negative ? 0 - *value : *value);
        return true;
    }

    static bool Suits(const Substitute& substitute, Output output)
    {
        switch (output) {
        case Output::Text:
            return std::holds_alternative<NullAnswer>(substitute) || std::holds_alternative<std::wstring>(substitute);
        case Output::Object:
            return std::holds_alternative<NullAnswer>(substitute);
        case Output::Number:
            return std::holds_alternative<std::uint32_t>(substitute);
        case Output::Decimal:
            return std::holds_alternative<double>(substitute);
        case Output::Nothing:
            return false;
        }
        return false;
    }

    Sections& sections_;
    Scenario& scenario_;
    ScenarioError error_;
    std::unordered_map<std::wstring, std::size_t> drivesByName_;
    std::set<std::wstring> identities_;
};

} // namespace

std::variant<Scenario, ScenarioError> Assemble(Sections& sections)
{
    return Assembler(sections).Assemble();
}

} // namespace sim
