#include "scenario/computer_sections.h"

#include "scenario/windows_functions.h"

#include "win/windows_api.h"

#include <algorithm>
#include <array>
#include <utility>

#include <winioctl.h>

namespace sim {

namespace {

using std::chrono::milliseconds;
using Text = std::wstring_view;

Complaint Unless(bool right, Text value, Text what)
{
    return right ? Complaint() : L"\"" + std::wstring(value) + L"\" is " + std::wstring(what);
}

// Sets the places to as many numbers, separated by the character.
Complaint SetNumbers(std::initializer_list<std::uint32_t*> places, Text value, wchar_t separator, Text what)
{
    const std::vector<Text> fields = Split(value, separator);
    if (fields.size() != places.size()) {
        return Unless(false, value, what);
    }
    for (std::size_t index = 0; index < fields.size(); ++index) {
        if (SetNumber(*places.begin()[index], fields[index])) {
            return Unless(false, value, what);
        }
    }
    return std::nullopt;
}

Complaint SetCleanBoot(std::optional<std::uint32_t>& place, Text value)
{
    constexpr Choice<std::uint32_t> kBoots[] = {{L"normal", 0}, {L"safe", 1}, {L"network", 2}};
    return SetChoice(place.emplace(), kBoots, value);
}

Complaint SetProduct(std::optional<std::uint32_t>& place, Text value)
{
    constexpr Choice<std::uint32_t> kProducts[] = {{L"workstation", VER_NT_WORKSTATION},
                                                   {L"domain-controller", VER_NT_DOMAIN_CONTROLLER},
                                                   {L"server", VER_NT_SERVER}};
    return SetChoice(place.emplace(), kProducts, value);
}

Complaint SetSpeed(double& place, Text value)
{
    constexpr double kMost = 1000;
    const std::optional<double> speed = ParseDecimal(value);
    place = speed.value_or(1);
    return Unless(speed && *speed > 0 && *speed <= kMost, value, L"not a speed up to 1000");
}

Complaint SetReach(std::optional<std::uint32_t>& failure, Text value)
{
    constexpr Choice<std::uint32_t> kAnswers[] = {
        {L"unreachable", 0x800706BA}, {L"not-installed", 0x80040154}, {L"access-denied", 0x80070005}};
    return SetChoice(failure.emplace(), kAnswers, value);
}

Complaint SetType(std::uint32_t& place, Text value)
{
    constexpr Choice<std::uint32_t> kTypes[] = {{L"unknown", DRIVE_UNKNOWN},     {L"no-root", DRIVE_NO_ROOT_DIR},
                                                {L"removable", DRIVE_REMOVABLE}, {L"fixed", DRIVE_FIXED},
                                                {L"remote", DRIVE_REMOTE},       {L"cdrom", DRIVE_CDROM},
                                                {L"ramdisk", DRIVE_RAMDISK}};
    return SetChoice(place, kTypes, value);
}

Complaint SetBus(std::uint32_t& place, Text value)
{
    // STORAGE_BUS_TYPE, whose last members some headers lack.
    constexpr Choice<std::uint32_t> kBuses[] = {
        {L"unknown", 0}, {L"scsi", 1}, {L"atapi", 2},    {L"ata", 3},   {L"1394", 4},    {L"ssa", 5},
        {L"fibre", 6},   {L"usb", 7},  {L"raid", 8},     {L"iscsi", 9}, {L"sas", 10},    {L"sata", 11},
        {L"sd", 12},     {L"mmc", 13}, {L"virtual", 14}, {L"file", 15}, {L"spaces", 16}, {L"nvme", 17}};
    return SetChoice(place, kBuses, value);
}

Complaint SetFloppy(bool& place, Text value)
{
    constexpr Choice<bool> kAnswers[] = {{L"no", false}, {L"yes", true}};
    return SetChoice(place, kAnswers, value);
}

Complaint AddMount(std::vector<std::wstring>& mounts, Text value)
{
    const bool isPath = value.size() > 2 && value[1] == L':' && value[2] == L'\\' && value.ends_with(L'\\');
    mounts.emplace_back(value);
    return Unless(isPath, value, L"neither a drive root such as D:\\ nor a folder such as D:\\Mounts\\Data\\");
}

// A cluster number or its two ends.
Complaint SetZone(VolumeSetup& volume, Text value)
{
    const std::vector<Text> ends = Split(value, L',');
    const bool right = ends.size() == 2 && !SetLargeNumber(volume.mftZoneStart, ends[0]) &&
                       !SetLargeNumber(volume.mftZoneEnd, ends[1]);
    return Unless(right, value, L"not a first and a last cluster, separated by a comma");
}

std::vector<unsigned char> BytesOf(Text text)
{
    const auto* const first = reinterpret_cast<const unsigned char*>(text.data());
    return {first, first + text.size() * sizeof(wchar_t)};
}

// A text as the registry holds it, with its closing null character.
std::vector<unsigned char> TextData(Text text)
{
    return BytesOf(std::wstring(text) + L'\0');
}

std::optional<std::vector<unsigned char>> NumberData(Text text)
{
    std::uint32_t number = 0;
    if (SetNumber(number, text)) {
        return std::nullopt;
    }
    const auto* const first = reinterpret_cast<const unsigned char*>(&number);
    return std::vector<unsigned char>(first, first + sizeof number);
}

// The texts between the vertical bars, each closed by a null character, and one more behind the last.
std::vector<unsigned char> TextsData(Text text)
{
    std::wstring block;
    for (const Text item : Split(text, L'|')) {
        if (!item.empty()) {
            block.append(item).append(1, L'\0');
        }
    }
    return BytesOf(block.append(1, L'\0'));
}

// The bytes of hexadecimal digits, two for each, with blanks between them as one likes.
std::optional<std::vector<unsigned char>> BinaryData(Text text)
{
    std::wstring digits(text);
    std::erase(digits, L' ');
    if (digits.size() % 2 != 0) {
        return std::nullopt;
    }
    std::vector<unsigned char> data;
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        const std::optional<std::uint64_t> byte = ParseNumber(L"0x" + digits.substr(at, 2));
        if (!byte) {
            return std::nullopt;
        }
        data.push_back(static_cast<unsigned char>(*byte));
    }
    return data;
}

// Adds the value "NAME, DATA", whose name may be empty.
Complaint AddValue(RegistryKeySetup& key, Text value, std::uint32_t type,
                   std::optional<std::vector<unsigned char>> (*read)(Text))
{
    const std::size_t comma = value.find(L',');
    if (comma == Text::npos) {
        return L"a registry value is a name, a comma and the data";
    }
    const Text name = Trim(value.substr(0, comma));
    std::optional<std::vector<unsigned char>> data = read(Trim(value.substr(comma + 1)));
    if (!data) {
        return Unless(false, Trim(value.substr(comma + 1)), L"not data of this type");
    }
    if (std::ranges::any_of(key.values, [&](const auto& known) { return SameIgnoringCase(known.name, name); })) {
        return L"the value " + std::wstring(name) + L" is given twice";
    }
    key.values.push_back({std::wstring(name), type, *std::move(data)});
    return std::nullopt;
}

Complaint AddPolicyChange(std::vector<PolicyChange>& changes, Text value)
{
    const std::vector<Text> fields = Split(value, L',');
    std::optional<milliseconds> after;
    PolicyChange change;
    bool right = fields.size() == 3 && !SetSeconds(after, fields[0]) && !fields[1].empty();
    if (right && fields[2] != L"-") {
        right = !SetNumber(change.number, fields[2]);
    }
    if (right) {
        change.after = *after;
        change.name = fields[1];
        changes.push_back(std::move(change));
    }
    return Unless(right, value, L"not a number of seconds, the name of a value and a number or -");
}

Complaint AddKeyPress(std::vector<KeyPress>& presses, Text value)
{
    constexpr Choice<std::uint32_t> kEvents[] = {{L"ctrl-c", CTRL_C_EVENT},
                                                 {L"ctrl-break", CTRL_BREAK_EVENT},
                                                 {L"close", CTRL_CLOSE_EVENT},
                                                 {L"logoff", CTRL_LOGOFF_EVENT},
                                                 {L"shutdown", CTRL_SHUTDOWN_EVENT}};
    const std::vector<Text> fields = Split(value, L',');
    std::optional<milliseconds> after;
    if (fields.size() != 2 || SetSeconds(after, fields[0])) {
        return Unless(false, value, L"not a number of seconds and an event, separated by a comma");
    }
    KeyPress& press = presses.emplace_back();
    press.after = *after;
    return SetChoice(press.event, kEvents, fields[1]);
}

Complaint SetFunction(WindowsFault& fault, Text value)
{
    const WindowsFunction* const function = FindWindowsFunction(value);
    fault.function = function == nullptr ? Text() : function->name;
    return Unless(function != nullptr, value, L"not a function that can be made to fail");
}

constexpr Key<ComputerSetup> kMachineKeys[] = {
    {L"name", [](ComputerSetup& s, Text value, std::size_t) { return SetText(s.name.emplace(), value); }},
    {L"boot", [](ComputerSetup& s, Text value, std::size_t) { return SetCleanBoot(s.cleanBoot, value); }},
    {L"windows",
     [](ComputerSetup& s, Text value, std::size_t) {
         WindowsVersion& version = s.windows.emplace();
         return SetNumbers({&version.major, &version.minor, &version.build}, value, L'.',
                           L"not a version such as 10.0.17763");
     }},
    {L"service-pack", [](ComputerSetup& s, Text value, std::size_t) { return SetText(s.servicePack, value); }},
    {L"service-pack-version",
     [](ComputerSetup& s, Text value, std::size_t) {
         return SetNumbers({&s.servicePackMajor, &s.servicePackMinor}, value, L'.', L"not a version such as 1.0");
     }},
    {L"product", [](ComputerSetup& s, Text value, std::size_t) { return SetProduct(s.productType, value); }},
    {L"suite", [](ComputerSetup& s, Text value, std::size_t) { return SetNumber(s.suite, value); }},
    {L"memory-kb",
     [](ComputerSetup& s, Text value, std::size_t) { return SetLargeNumber(s.memoryKilobytes.emplace(), value); }},
    {L"commit-kb",
     [](ComputerSetup& s, Text value, std::size_t) { return SetLargeNumber(s.commitKilobytes.emplace(), value); }},
};

constexpr Key<ComputerSetup> kClockKeys[] = {
    {L"speed", [](ComputerSetup& s, Text value, std::size_t) { return SetSpeed(s.clockSpeed, value); }},
};

constexpr Key<OtherComputer> kComputerKeys[] = {
    {L"scenario", [](OtherComputer& s, Text value, std::size_t) { return SetText(s.scenario, value); }},
    {L"answer", [](OtherComputer& s, Text value, std::size_t) { return SetReach(s.failure, value); }},
    {L"fail", [](OtherComputer& s, Text value, std::size_t) { return SetFailure(s.failure, value); }},
};

constexpr Key<VolumeSetup> kVolumeKeys[] = {
    {L"mount", [](VolumeSetup& s, Text value, std::size_t) { return AddMount(s.mounts, value); }, true},
    {L"type", [](VolumeSetup& s, Text value, std::size_t) { return SetType(s.type, value); }},
    {L"bus", [](VolumeSetup& s, Text value, std::size_t) { return SetBus(s.bus, value); }},
    {L"file-system", [](VolumeSetup& s, Text value, std::size_t) { return SetText(s.fileSystem, value); }},
    {L"label", [](VolumeSetup& s, Text value, std::size_t) { return SetText(s.label, value); }},
    {L"sectors-per-cluster",
     [](VolumeSetup& s, Text value, std::size_t) { return SetNumber(s.sectorsPerCluster, value); }},
    {L"bytes-per-sector", [](VolumeSetup& s, Text value, std::size_t) { return SetNumber(s.bytesPerSector, value); }},
    {L"total-clusters", [](VolumeSetup& s, Text value, std::size_t) { return SetLargeNumber(s.totalClusters, value); }},
    {L"free-clusters", [](VolumeSetup& s, Text value, std::size_t) { return SetLargeNumber(s.freeClusters, value); }},
    {L"mft-bytes", [](VolumeSetup& s, Text value, std::size_t) { return SetLargeNumber(s.mftBytes, value); }},
    {L"mft-zone", [](VolumeSetup& s, Text value, std::size_t) { return SetZone(s, value); }},
    {L"floppy", [](VolumeSetup& s, Text value, std::size_t) { return SetFloppy(s.floppy, value); }},
    {L"boot-ini", [](VolumeSetup& s, Text value, std::size_t) { return SetText(s.bootIni, value); }},
};

constexpr Key<RegistryKeySetup> kRegistryKeys[] = {
    {L"text",
     [](RegistryKeySetup& s, Text value, std::size_t) {
         return AddValue(s, value, REG_SZ, [](Text text) { return std::optional(TextData(text)); });
     },
     true},
    {L"expand-text",
     [](RegistryKeySetup& s, Text value, std::size_t) {
         return AddValue(s, value, REG_EXPAND_SZ, [](Text text) { return std::optional(TextData(text)); });
     },
     true},
    {L"texts",
     [](RegistryKeySetup& s, Text value, std::size_t) {
         return AddValue(s, value, REG_MULTI_SZ, [](Text text) { return std::optional(TextsData(text)); });
     },
     true},
    {L"number", [](RegistryKeySetup& s, Text value, std::size_t) { return AddValue(s, value, REG_DWORD, NumberData); },
     true},
    {L"binary", [](RegistryKeySetup& s, Text value, std::size_t) { return AddValue(s, value, REG_BINARY, BinaryData); },
     true},
};

constexpr Key<ComputerSetup> kPolicyKeys[] = {
    {L"change", [](ComputerSetup& s, Text value, std::size_t) { return AddPolicyChange(s.policyChanges, value); },
     true},
};

constexpr Key<ComputerSetup> kConsoleKeys[] = {
    {L"press", [](ComputerSetup& s, Text value, std::size_t) { return AddKeyPress(s.presses, value); }, true},
};

constexpr Key<WindowsFault> kFaultKeys[] = {
    {L"function", [](WindowsFault& s, Text value, std::size_t) { return SetFunction(s, value); }},
    {L"call", [](WindowsFault& s, Text value, std::size_t) { return SetCalls(s.calls, value); }},
    {L"path", [](WindowsFault& s, Text value, std::size_t) { return SetText(s.path, value); }},
    {L"error", [](WindowsFault& s, Text value, std::size_t) { return SetNumber(s.error, value); }},
};

} // namespace

const ComputerSections::SectionKind* ComputerSections::FindKind(Text word)
{
    static constexpr SectionKind kKinds[] = {
        {L"machine", Kind::Machine, false}, {L"clock", Kind::Clock, false},        {L"computer", Kind::Computer, true},
        {L"volume", Kind::Volume, true},    {L"registry", Kind::Registry, true},   {L"policy", Kind::Policy, false},
        {L"console", Kind::Console, false}, {L"windows-fault", Kind::Fault, false}};
    const auto* const found =
        std::ranges::find_if(kKinds, [&](const SectionKind& kind) { return SameIgnoringCase(kind.word, word); });
    return found == std::end(kKinds) ? nullptr : found;
}

bool ComputerSections::Knows(Text word)
{
    return FindKind(word) != nullptr;
}

Complaint ComputerSections::Begin(Text word, Text name, std::size_t line)
{
    const SectionKind& kind = *FindKind(word);
    if (kind.named == name.empty()) {
        return L"[" + std::wstring(kind.word) + (kind.named ? L"] needs a name" : L"] takes no name");
    }
    kind_ = kind.kind;
    seen_.clear();
    switch (kind_) {
    case Kind::Computer:
        computer_.computers.push_back({line, std::wstring(name), {}, {}});
        break;
    case Kind::Volume: {
        VolumeSetup& volume = computer_.volumes.emplace_back();
        volume.line = line;
        volume.name = name;
        volume.type = DRIVE_FIXED;
        volume.bus = BusTypeSata;
        break;
    }
    case Kind::Registry:
        computer_.registry.push_back({line, std::wstring(WithoutTrailingBackslash(name)), {}});
        break;
    case Kind::Fault:
        computer_.faults.emplace_back().line = line;
        break;
    case Kind::Machine:
    case Kind::Clock:
    case Kind::Policy:
    case Kind::Console:
        break;
    }
    return std::nullopt;
}

Complaint ComputerSections::ReadKey(Text key, Text value, std::size_t line)
{
    switch (kind_) {
    case Kind::Machine:
        return SetKey(computer_, key, value, line, seen_, {kMachineKeys});
    case Kind::Clock:
        return SetKey(computer_, key, value, line, seen_, {kClockKeys});
    case Kind::Computer:
        return SetKey(computer_.computers.back(), key, value, line, seen_, {kComputerKeys});
    case Kind::Volume:
        return SetKey(computer_.volumes.back(), key, value, line, seen_, {kVolumeKeys});
    case Kind::Registry:
        return SetKey(computer_.registry.back(), key, value, line, seen_, {kRegistryKeys});
    case Kind::Policy:
        return SetKey(computer_, key, value, line, seen_, {kPolicyKeys});
    case Kind::Console:
        return SetKey(computer_, key, value, line, seen_, {kConsoleKeys});
    case Kind::Fault:
        return SetKey(computer_.faults.back(), key, value, line, seen_, {kFaultKeys});
    }
    return std::nullopt;
}

std::variant<ComputerSetup, ScenarioError> ComputerSections::Finish()
{
    for (const auto check : {&ComputerSections::CheckComputers, &ComputerSections::CheckVolumes,
                             &ComputerSections::CheckRegistry, &ComputerSections::CheckFaults}) {
        if (std::optional<ScenarioError> error = (this->*check)()) {
            return *std::move(error);
        }
    }
    std::ranges::stable_sort(computer_.policyChanges, {}, &PolicyChange::after);
    std::ranges::stable_sort(computer_.presses, {}, &KeyPress::after);
    return std::exchange(computer_, {});
}

std::optional<ScenarioError> ComputerSections::CheckComputers() const
{
    std::set<std::wstring> names;
    for (const OtherComputer& other : computer_.computers) {
        if (!names.insert(FoldCase(other.name)).second) {
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

std::optional<ScenarioError> ComputerSections::CheckVolumes() const
{
    constexpr Text kShape = L"\\\\?\\Volume{";
    std::set<std::wstring> names;
    for (const VolumeSetup& volume : computer_.volumes) {
        if (!SameIgnoringCase(Text(volume.name).substr(0, kShape.size()), kShape) || !volume.name.ends_with(L"}\\")) {
            return ScenarioError{volume.line, L"the name of a volume is of the form \\\\?\\Volume{...}\\"};
        }
        if (volume.sectorsPerCluster == 0 || volume.bytesPerSector == 0) {
            return ScenarioError{volume.line, L"a cluster has at least one sector and a sector at least one byte"};
        }
        if (volume.freeClusters > volume.totalClusters) {
            return ScenarioError{volume.line, L"there are more free clusters than clusters"};
        }
        if (!names.insert(FoldCase(volume.name)).second) {
            return ScenarioError{volume.line, L"there is already a volume " + volume.name};
        }
        for (const std::wstring& mount : volume.mounts) {
            if (!names.insert(FoldCase(mount)).second) {
                return ScenarioError{volume.line, L"there is already a volume in " + mount};
            }
        }
    }
    return std::nullopt;
}

std::optional<ScenarioError> ComputerSections::CheckRegistry() const
{
    std::set<std::wstring> paths;
    for (const RegistryKeySetup& key : computer_.registry) {
        if (!IsRegistryPath(key.path)) {
            return ScenarioError{key.line,
                                 L"a registry key begins with the name of a root, such as HKEY_LOCAL_MACHINE"};
        }
        if (!paths.insert(FoldCase(key.path)).second) {
            return ScenarioError{key.line, L"there is already a key " + key.path};
        }
    }
    return std::nullopt;
}

std::optional<ScenarioError> ComputerSections::CheckFaults() const
{
    for (const WindowsFault& fault : computer_.faults) {
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

} // namespace sim
