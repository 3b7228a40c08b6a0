#include "scenario/sections.h"

#include "scenario/keys.h"
#include "scenario/methods.h"
#include "scenario/special_values.h"

#include "win/text.h"
#include "win/windows_api.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

namespace sim {

namespace {

using Text = std::wstring_view;

// --- Keys that set more than one member ---

Complaint ReadMention(Mention& place, Text value, std::size_t line)
{
    place = {line, std::wstring(value)};
    return std::nullopt;
}

Complaint SetMethod(FaultSection& section, Text value, std::size_t /*line*/)
{
    const std::variant<Method, std::wstring> found = FindMethod(value);
    if (const std::wstring* wrong = std::get_if<std::wstring>(&found)) {
        return *wrong;
    }
    section.fault.method = std::get<Method>(found);
    section.hasMethod = true;
    return std::nullopt;
}

Complaint SetSubstitute(FaultSection& section, Substitute substitute, std::size_t line)
{
    if (section.answerLine != 0) {
        return L"the fault has an answer already";
    }
    section.fault.substitute = std::move(substitute);
    section.answerLine = line;
    return std::nullopt;
}

Complaint SetAnswer(FaultSection& section, Text value, std::size_t line)
{
    if (win::EqualNames(value, L"null")) {
        return SetSubstitute(section, NullAnswer(), line);
    }
    if (win::EqualNames(value, L"empty")) {
        return SetSubstitute(section, std::wstring(), line);
    }
    return Wrong(value, L"neither null nor empty; other texts are given with text =");
}

Complaint SetAnswerText(FaultSection& section, Text value, std::size_t line)
{
    return SetSubstitute(section, std::wstring(value), line);
}

Complaint SetAnswerNumber(FaultSection& section, Text value, std::size_t line)
{
    section.number = value;
    return SetSubstitute(section, std::uint32_t(0), line);
}

Complaint SetServicePackVersion(ComputerSetup& computer, Text value, std::size_t /*line*/)
{
    return ReadVersion({&computer.servicePackMajor, &computer.servicePackMinor}, value, L"not a version such as 1.0");
}

Complaint SetZone(VolumeSetup& volume, Text value, std::size_t /*line*/)
{
    const std::vector<Text> ends = Split(value, L',');
    const bool right = ends.size() == 2 && !ReadLargeNumber(volume.mftZoneStart, ends[0]) &&
                       !ReadLargeNumber(volume.mftZoneEnd, ends[1]);
    return right ? Complaint() : Wrong(value, L"not a first and a last cluster, separated by a comma");
}

// --- The keys of each section ---

constexpr Key<Sections> kEngineKeys[] = {
    {L"idle-seconds", Set<ReadSeconds, &Sections::scenario, &Scenario::idleTime>},
    {L"drive-list", Set<ReadText, &Sections::scenario, &Scenario::driveList>},
    {L"service-state", Set<ReadNumber, &Sections::scenario, &Scenario::serviceState>},
    {L"rights", Set<ReadNumber, &Sections::scenario, &Scenario::rights>},
    {L"statistics-database", Set<ReadText, &Sections::scenario, &Scenario::statisticsDatabase>},
};

// Of [engine] and of drives.
constexpr Key<GivenTimes> kTimeKeys[] = {
    {L"analyze-seconds", Set<ReadSeconds, &GivenTimes::analyze>},
    {L"defragment-seconds", Set<ReadSeconds, &GivenTimes::defragment>},
    {L"offline-seconds", Set<ReadSeconds, &GivenTimes::offlinePass>},
    {L"file-seconds", Set<ReadSeconds, &GivenTimes::file>},
    {L"done-seconds", Set<ReadSeconds, &GivenTimes::done>},
};

constexpr Key<DriveSetup> kDriveKeys[] = {
    {L"mount", Set<ReadText, &DriveSetup::mountPoint>},
    {L"identity", Set<ReadText, &DriveSetup::identity>},
    {L"state", Set<ReadNumber, &DriveSetup::state>},
    {L"state-seconds", Set<ReadSeconds, &DriveSetup::stateTime>},
    {L"offline-types", Set<ReadNumber, &DriveSetup::offlineTypes>},
    {L"boot-types", Set<ReadNumber, &DriveSetup::bootTypes>},
    {L"offline", Set<ReadOffline, &DriveSetup::refusesOffline>},
    {L"file", Set<AddFile, &DriveSetup::files>, true},
    {L"point", Set<AddPoint, &DriveSetup::points>, true},
};

// What [drives] knows besides the keys of [drive].
constexpr Key<DriveSection> kNumberedDriveKeys[] = {
    {L"count", Set<ReadNumber, &DriveSection::count>},
    {L"name", Set<ReadText, &DriveSection::setup, &DriveSetup::name>},
};

constexpr Key<ScheduleSection> kScheduleKeys[] = {
    {L"work", Set<ReadWork, &ScheduleSection::setup, &ScheduleSetup::work>},
    {L"drives", Set<ReadMention, &ScheduleSection::drives>},
};

constexpr Key<FaultSection> kFaultKeys[] = {
    {L"method", SetMethod},
    {L"call", Set<ReadCalls, &FaultSection::fault, &Fault::calls>},
    {L"drive", Set<ReadMention, &FaultSection::drive>},
    {L"fail", Set<ReadFailure, &FaultSection::fault, &Fault::failure>},
    {L"answer", SetAnswer},
    {L"text", SetAnswerText},
    {L"value", SetAnswerNumber},
    {L"delay-ms", Set<ReadDelay, &FaultSection::fault, &Fault::delay>},
};

constexpr Choice<std::uint32_t> kBoots[] = {{L"normal", 0}, {L"safe", 1}, {L"network", 2}};
constexpr Choice<std::uint32_t> kProducts[] = {
    {L"workstation", VER_NT_WORKSTATION}, {L"domain-controller", VER_NT_DOMAIN_CONTROLLER}, {L"server", VER_NT_SERVER}};

constexpr Key<ComputerSetup> kMachineKeys[] = {
    {L"name", Set<ReadText, &ComputerSetup::name>},
    {L"boot", Set<ReadChoice<kBoots>, &ComputerSetup::cleanBoot>},
    {L"windows", Set<ReadWindows, &ComputerSetup::windows>},
    {L"service-pack", Set<ReadText, &ComputerSetup::servicePack>},
    {L"service-pack-version", SetServicePackVersion},
    {L"product", Set<ReadChoice<kProducts>, &ComputerSetup::productType>},
    {L"suite", Set<ReadNumber, &ComputerSetup::suite>},
    {L"memory-kb", Set<ReadLargeNumber, &ComputerSetup::memoryKilobytes>},
    {L"commit-kb", Set<ReadLargeNumber, &ComputerSetup::commitKilobytes>},
};

constexpr Key<ComputerSetup> kClockKeys[] = {{L"speed", Set<ReadSpeed, &ComputerSetup::clockSpeed>}};

constexpr Choice<std::uint32_t> kReaches[] = {
    {L"unreachable", 0x800706BA}, {L"not-installed", 0x80040154}, {L"access-denied", 0x80070005}};

constexpr Key<OtherComputer> kComputerKeys[] = {
    {L"scenario", Set<ReadText, &OtherComputer::scenario>},
    {L"answer", Set<ReadChoice<kReaches>, &OtherComputer::failure>},
    {L"fail", Set<ReadFailure, &OtherComputer::failure>},
};

constexpr Choice<std::uint32_t> kDriveTypes[] = {{L"unknown", DRIVE_UNKNOWN},     {L"no-root", DRIVE_NO_ROOT_DIR},
                                                 {L"removable", DRIVE_REMOVABLE}, {L"fixed", DRIVE_FIXED},
                                                 {L"remote", DRIVE_REMOTE},       {L"cdrom", DRIVE_CDROM},
                                                 {L"ramdisk", DRIVE_RAMDISK}};
// STORAGE_BUS_TYPE, whose last members some headers lack.
constexpr Choice<std::uint32_t> kBuses[] = {
    {L"unknown", 0}, {L"scsi", 1}, {L"atapi", 2},    {L"ata", 3},   {L"1394", 4},    {L"ssa", 5},
    {L"fibre", 6},   {L"usb", 7},  {L"raid", 8},     {L"iscsi", 9}, {L"sas", 10},    {L"sata", 11},
    {L"sd", 12},     {L"mmc", 13}, {L"virtual", 14}, {L"file", 15}, {L"spaces", 16}, {L"nvme", 17}};
constexpr Choice<bool> kNoOrYes[] = {{L"no", false}, {L"yes", true}};

constexpr Key<VolumeSetup> kVolumeKeys[] = {
    {L"mount", Set<AddMount, &VolumeSetup::mounts>, true},
    {L"type", Set<ReadChoice<kDriveTypes>, &VolumeSetup::type>},
    {L"bus", Set<ReadChoice<kBuses>, &VolumeSetup::bus>},
    {L"file-system", Set<ReadText, &VolumeSetup::fileSystem>},
    {L"label", Set<ReadText, &VolumeSetup::label>},
    {L"sectors-per-cluster", Set<ReadNumber, &VolumeSetup::sectorsPerCluster>},
    {L"bytes-per-sector", Set<ReadNumber, &VolumeSetup::bytesPerSector>},
    {L"total-clusters", Set<ReadLargeNumber, &VolumeSetup::totalClusters>},
    {L"free-clusters", Set<ReadLargeNumber, &VolumeSetup::freeClusters>},
    {L"mft-bytes", Set<ReadLargeNumber, &VolumeSetup::mftBytes>},
    {L"mft-zone", SetZone},
    {L"floppy", Set<ReadChoice<kNoOrYes>, &VolumeSetup::floppy>},
    {L"boot-ini", Set<ReadText, &VolumeSetup::bootIni>},
};

constexpr Key<RegistryKeySetup> kRegistryKeys[] = {
    {L"text", Set<AddValue<REG_SZ, TextData>, &RegistryKeySetup::values>, true},
    {L"expand-text", Set<AddValue<REG_EXPAND_SZ, TextData>, &RegistryKeySetup::values>, true},
    {L"texts", Set<AddValue<REG_MULTI_SZ, TextsData>, &RegistryKeySetup::values>, true},
    {L"number", Set<AddValue<REG_DWORD, NumberData>, &RegistryKeySetup::values>, true},
    {L"binary", Set<AddValue<REG_BINARY, BinaryData>, &RegistryKeySetup::values>, true},
};

constexpr Key<ComputerSetup> kPolicyKeys[] = {{L"change", Set<AddPolicyChange, &ComputerSetup::policyChanges>, true}};

constexpr Key<ComputerSetup> kConsoleKeys[] = {{L"press", Set<AddKeyPress, &ComputerSetup::presses>, true}};

constexpr Key<WindowsFault> kWindowsFaultKeys[] = {
    {L"function", Set<ReadFunction, &WindowsFault::function>},
    {L"call", Set<ReadCalls, &WindowsFault::calls>},
    {L"path", Set<ReadText, &WindowsFault::path>},
    {L"error", Set<ReadNumber, &WindowsFault::error>},
};

// --- The sections ---

using KeySetter = std::function<Complaint(Text name, Text value, std::size_t line)>;

// Sets the keys of these tables; their sections outlive it.
template <typename... Parts>
KeySetter SetterOf(KeyTable<Parts>... tables)
{
    return [=, seen = std::set<Text>()](Text name, Text value, std::size_t line) mutable {
        Complaint complaint = L"unknown key " + std::wstring(name);
        (SetKey(tables, name, value, line, seen, complaint) || ...);
        return complaint;
    };
}

DriveSection& AddDrive(Sections& sections, Text name, bool numbered, std::size_t line)
{
    DriveSection& section = sections.drives.emplace_back();
    section.line = line;
    section.numbered = numbered;
    section.setup.name = name;
    return section;
}

KeySetter BeginEngine(Sections& sections, Text /*name*/, std::size_t /*line*/)
{
    return SetterOf(KeysOf(sections, kEngineKeys), KeysOf(sections.times, kTimeKeys));
}

KeySetter BeginDrive(Sections& sections, Text name, std::size_t line)
{
    DriveSection& drive = AddDrive(sections, name, false, line);
    return SetterOf(KeysOf(drive.setup, kDriveKeys), KeysOf(drive.times, kTimeKeys));
}

KeySetter BeginDrives(Sections& sections, Text /*name*/, std::size_t line)
{
    DriveSection& drives = AddDrive(sections, L"V:\\{n}\\", true, line);
    return SetterOf(KeysOf(drives.setup, kDriveKeys), KeysOf(drives.times, kTimeKeys),
                    KeysOf(drives, kNumberedDriveKeys));
}

KeySetter BeginSchedule(Sections& sections, Text name, std::size_t /*line*/)
{
    ScheduleSection& schedule = sections.schedules.emplace_back();
    schedule.setup.name = name;
    return SetterOf(KeysOf(schedule, kScheduleKeys));
}

KeySetter BeginFault(Sections& sections, Text /*name*/, std::size_t line)
{
    FaultSection& fault = sections.faults.emplace_back();
    fault.line = line;
    return SetterOf(KeysOf(fault, kFaultKeys));
}

// Begins a section about this computer.
template <const auto& Keys>
KeySetter BeginOfComputer(Sections& sections, Text /*name*/, std::size_t /*line*/)
{
    return SetterOf(KeysOf(sections.scenario.computer, Keys));
}

// Begins a section that adds an entry to one of the computer's lists.
template <auto List, const auto& Keys>
KeySetter BeginListed(Sections& sections, Text name, std::size_t line)
{
    auto& section = (sections.scenario.computer.*List).emplace_back();
    section.line = line;
    if constexpr (requires { section.name; }) {
        section.name = name;
    } else {
        section.path = WithoutTrailingBackslash(name);
    }
    return SetterOf(KeysOf(section, Keys));
}

struct SectionKind {
    Text word;
    bool named;
    KeySetter (*begin)(Sections& sections, Text name, std::size_t line);
};

constexpr SectionKind kSectionKinds[] = {
    {L"engine", false, BeginEngine},
    {L"drive", true, BeginDrive},
    {L"drives", false, BeginDrives},
    {L"schedule", true, BeginSchedule},
    {L"fault", false, BeginFault},
    {L"machine", false, BeginOfComputer<kMachineKeys>},
    {L"clock", false, BeginOfComputer<kClockKeys>},
    {L"policy", false, BeginOfComputer<kPolicyKeys>},
    {L"console", false, BeginOfComputer<kConsoleKeys>},
    {L"computer", true, BeginListed<&ComputerSetup::computers, kComputerKeys>},
    {L"volume", true, BeginListed<&ComputerSetup::volumes, kVolumeKeys>},
    {L"registry", true, BeginListed<&ComputerSetup::registry, kRegistryKeys>},
    {L"windows-fault", false, BeginListed<&ComputerSetup::faults, kWindowsFaultKeys>},
};

} // namespace

Complaint SectionReader::ReadLine(std::size_t line, Text text)
{
    text = Trim(text);
    if (text.empty() || text.starts_with(L'#')) {
        return std::nullopt;
    }
    return text.starts_with(L'[') ? BeginSection(text, line) : ReadKey(text, line);
}

Complaint SectionReader::BeginSection(Text text, std::size_t line)
{
    if (!text.ends_with(L']')) {
        return L"the section's ] is missing";
    }
    const Text inside = Trim(text.substr(1, text.size() - 2));
    const std::size_t blank = inside.find_first_of(L" \t");
    const Text word = inside.substr(0, blank);
    const Text name = blank == Text::npos ? Text() : Trim(inside.substr(blank));
    const auto* const kind = std::ranges::find_if(
        kSectionKinds, [&](const SectionKind& known) { return win::EqualNames(known.word, word); });
    if (kind == std::end(kSectionKinds)) {
        return L"unknown section [" + std::wstring(inside) + L"]";
    }
    if (kind->named == name.empty()) {
        return L"[" + std::wstring(kind->word) + (kind->named ? L"] needs a name" : L"] takes no name");
    }
    setKey_ = kind->begin(sections_, name, line);
    return std::nullopt;
}

Complaint SectionReader::ReadKey(Text text, std::size_t line) const
{
    const std::size_t equals = text.find(L'=');
    if (equals == Text::npos) {
        return L"neither a section nor key = value";
    }
    const Text key = Trim(text.substr(0, equals));
    Text value = Trim(text.substr(equals + 1));
    if (value.size() >= 2 && value.starts_with(L'"') && value.ends_with(L'"')) {
        value = value.substr(1, value.size() - 2);
    }
    return setKey_ ? setKey_(key, value, line) : L"a key before the first section";
}

} // namespace sim
