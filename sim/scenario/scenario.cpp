#include "scenario/scenario.h"

#include "base/text.h"
#include "scenario/computer_sections.h"
#include "scenario/scenario_keys.h"

#include "win/owner.h"

#include <algorithm>
#include <array>
#include <cwchar>
#include <set>
#include <span>
#include <unordered_map>
#include <utility>

namespace sim {

namespace {

using std::chrono::milliseconds;

// Work times as far as a section gives them.
struct GivenTimes {
    std::optional<milliseconds> analyze;
    std::optional<milliseconds> defragment;
    std::optional<milliseconds> offlinePass;
    std::optional<milliseconds> file;
    std::optional<milliseconds> done;

    void ApplyTo(WorkTimes& times) const
    {
        times.analyze = analyze.value_or(times.analyze);
        times.defragment = defragment.value_or(times.defragment);
        times.offlinePass = offlinePass.value_or(times.offlinePass);
        times.file = file.value_or(times.file);
        times.done = done.value_or(times.done);
    }
};

// A text of the scenario together with its line, for what can only be checked when the whole file is read.
struct Mention {
    std::size_t line = 0;
    std::wstring text;
};

struct DriveSection {
    std::size_t line = 0;
    bool numbered = false; // a [drives] section: {n} stands for the drive's number
    std::uint32_t count = 1;
    DriveSetup setup;
    GivenTimes times;
};

struct ScheduleSection {
    ScheduleSetup setup;
    std::optional<Mention> drives;
};

struct FaultSection {
    std::size_t line = 0;
    bool hasMethod = false;
    Fault fault;
    std::optional<Mention> drive;
    std::size_t answerLine = 0;         // of whichever key gives the answer
    std::optional<std::wstring> number; // the value still to be read, as its range depends on the method
};

struct Sections {
    Scenario scenario; // what [engine] says
    GivenTimes times;
    std::vector<DriveSection> drives;
    std::vector<ScheduleSection> schedules;
    std::vector<FaultSection> faults;
    ComputerSections computer;
};

Complaint SetOffline(bool& refuses, std::wstring_view value)
{
    if (!SameIgnoringCase(value, L"allow") && !SameIgnoringCase(value, L"refuse")) {
        return L"\"" + std::wstring(value) + L"\" is neither allow nor refuse";
    }
    refuses = SameIgnoringCase(value, L"refuse");
    return std::nullopt;
}

Complaint AddFile(DriveSetup& drive, std::wstring_view value)
{
    const std::size_t blank = value.find_first_of(L" \t");
    const std::optional<std::uint64_t> identifier = ParseNumber(value.substr(0, blank));
    if (!identifier || blank == std::wstring_view::npos) {
        return L"a file is an identifier, a blank and a name";
    }
    if (!drive.files.emplace(*identifier, Trim(value.substr(blank))).second) {
        return L"the file identifier " + std::wstring(value.substr(0, blank)) + L" is given twice";
    }
    return std::nullopt;
}

// The automation date of "YYYY-MM-DD HH:MM:SS".
std::optional<double> ParseDate(std::wstring_view text)
{
    constexpr std::wstring_view kShape = L"0000-00-00 00:00:00";
    if (text.size() != kShape.size()) {
        return std::nullopt;
    }
    std::array<int, 6> fields{};
    std::size_t field = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (kShape[index] == L'0' && text[index] >= L'0' && text[index] <= L'9') {
            fields[field] = fields[field] * 10 + (text[index] - L'0');
        } else if (kShape[index] != L'0' && kShape[index] == text[index]) {
            ++field;
        } else {
            return std::nullopt;
        }
    }
    const auto [year, month, day, hour, minute, second] = fields;
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    constexpr int kFirstYear = 1900;
    if (year < kFirstYear || !date.ok() || hour > 23 || minute > 59 || second > 59) {
        return std::nullopt;
    }
    // Automation counts days from 30 December 1899; the time of day is the fraction.
    constexpr std::chrono::sys_days kDayZero = std::chrono::year(1899) / 12 / 30;
    const auto days = (std::chrono::sys_days(date) - kDayZero).count();
    return static_cast<double>(days) + (hour * 3600 + minute * 60 + second) / 86400.0;
}

Complaint AddPoint(std::vector<StatisticsPoint>& points, std::wstring_view value)
{
    const std::vector<std::wstring_view> fields = Split(value, L',');
    StatisticsPoint point;
    std::optional<double>* const figures[] = {&point.fragmented.before,  &point.fragmented.after,
                                              &point.freeSpace.before,   &point.freeSpace.after,
                                              &point.performance.before, &point.performance.after};
    if (fields.size() != std::size(figures) + 1) {
        return L"a point is a date and six figures, separated by commas";
    }
    const std::optional<double> date = ParseDate(fields[0]);
    if (!date) {
        return L"\"" + std::wstring(fields[0]) + L"\" is not a date of the form 2026-03-01 14:30:00";
    }
    point.date = *date;
    for (std::size_t index = 0; index < std::size(figures); ++index) {
        const std::wstring_view text = fields[index + 1];
        *figures[index] = ParseDecimal(text);
        if (!*figures[index] && text != L"-") {
            return L"\"" + std::wstring(text) + L"\" is neither a figure nor -";
        }
    }
    points.push_back(point);
    return std::nullopt;
}

Complaint SetWork(ScheduledWork& work, std::wstring_view value)
{
    constexpr std::pair<std::wstring_view, ScheduledWork> kWorks[] = {{L"nothing", ScheduledWork::Nothing},
                                                                      {L"analyze", ScheduledWork::Analyze},
                                                                      {L"defragment", ScheduledWork::Defragment}};
    for (const auto& [name, kind] : kWorks) {
        if (SameIgnoringCase(name, value)) {
            work = kind;
            return std::nullopt;
        }
    }
    return L"\"" + std::wstring(value) + L"\" is none of nothing, analyze and defragment";
}

Complaint SetMethod(FaultSection& section, std::wstring_view value)
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

Complaint SetAnswer(FaultSection& section, std::wstring_view value, std::size_t line)
{
    if (SameIgnoringCase(value, L"null")) {
        return SetSubstitute(section, NullAnswer(), line);
    }
    if (SameIgnoringCase(value, L"empty")) {
        return SetSubstitute(section, std::wstring(), line);
    }
    return L"\"" + std::wstring(value) + L"\" is neither null nor empty; other texts are given with text =";
}

Complaint SetDelay(Fault& fault, std::wstring_view value)
{
    std::uint32_t delay = 0;
    Complaint complaint = SetNumber(delay, value);
    fault.delay = milliseconds(delay);
    return complaint;
}

using Text = std::wstring_view;

constexpr Key<Sections> kEngineKeys[] = {
    {L"idle-seconds",
     [](Sections& s, Text value, std::size_t) {
         std::optional<milliseconds> time;
         Complaint complaint = SetSeconds(time, value);
         s.scenario.idleTime = time.value_or(s.scenario.idleTime);
         return complaint;
     }},
    {L"drive-list",
     [](Sections& s, Text value, std::size_t) { return SetText(s.scenario.driveList.emplace(), value); }},
    {L"service-state", [](Sections& s, Text value, std::size_t) { return SetNumber(s.scenario.serviceState, value); }},
    {L"rights", [](Sections& s, Text value, std::size_t) { return SetNumber(s.scenario.rights, value); }},
    {L"statistics-database",
     [](Sections& s, Text value, std::size_t) { return SetText(s.scenario.statisticsDatabase.emplace(), value); }},
    {L"analyze-seconds", [](Sections& s, Text value, std::size_t) { return SetSeconds(s.times.analyze, value); }},
    {L"defragment-seconds", [](Sections& s, Text value, std::size_t) { return SetSeconds(s.times.defragment, value); }},
    {L"offline-seconds", [](Sections& s, Text value, std::size_t) { return SetSeconds(s.times.offlinePass, value); }},
    {L"file-seconds", [](Sections& s, Text value, std::size_t) { return SetSeconds(s.times.file, value); }},
    {L"done-seconds", [](Sections& s, Text value, std::size_t) { return SetSeconds(s.times.done, value); }},
};

constexpr Key<DriveSection> kDriveKeys[] = {
    {L"mount", [](DriveSection& s, Text value, std::size_t) { return SetText(s.setup.mountPoint, value); }},
    {L"identity", [](DriveSection& s, Text value, std::size_t) { return SetText(s.setup.identity, value); }},
    {L"state", [](DriveSection& s, Text value, std::size_t) { return SetNumber(s.setup.state, value); }},
    {L"state-seconds", [](DriveSection& s, Text value, std::size_t) { return SetSeconds(s.setup.stateTime, value); }},
    {L"analyze-seconds", [](DriveSection& s, Text value, std::size_t) { return SetSeconds(s.times.analyze, value); }},
    {L"defragment-seconds",
     [](DriveSection& s, Text value, std::size_t) { return SetSeconds(s.times.defragment, value); }},
    {L"offline-seconds",
     [](DriveSection& s, Text value, std::size_t) { return SetSeconds(s.times.offlinePass, value); }},
    {L"file-seconds", [](DriveSection& s, Text value, std::size_t) { return SetSeconds(s.times.file, value); }},
    {L"done-seconds", [](DriveSection& s, Text value, std::size_t) { return SetSeconds(s.times.done, value); }},
    {L"offline-types", [](DriveSection& s, Text value, std::size_t) { return SetNumber(s.setup.offlineTypes, value); }},
    {L"boot-types", [](DriveSection& s, Text value, std::size_t) { return SetNumber(s.setup.bootTypes, value); }},
    {L"offline", [](DriveSection& s, Text value, std::size_t) { return SetOffline(s.setup.refusesOffline, value); }},
    {L"file", [](DriveSection& s, Text value, std::size_t) { return AddFile(s.setup, value); }, true},
    {L"point", [](DriveSection& s, Text value, std::size_t) { return AddPoint(s.setup.points, value); }, true},
};

// What [drives] knows besides the keys of [drive].
constexpr Key<DriveSection> kNumberedDriveKeys[] = {
    {L"count", [](DriveSection& s, Text value, std::size_t) { return SetNumber(s.count, value); }},
    {L"name", [](DriveSection& s, Text value, std::size_t) { return SetText(s.setup.name, value); }},
};

constexpr Key<ScheduleSection> kScheduleKeys[] = {
    {L"work", [](ScheduleSection& s, Text value, std::size_t) { return SetWork(s.setup.work, value); }},
    {L"drives",
     [](ScheduleSection& s, Text value, std::size_t line) {
         s.drives = Mention{line, std::wstring(value)};
         return Complaint();
     }},
};

constexpr Key<FaultSection> kFaultKeys[] = {
    {L"method", [](FaultSection& s, Text value, std::size_t) { return SetMethod(s, value); }},
    {L"call", [](FaultSection& s, Text value, std::size_t) { return SetCalls(s.fault.calls, value); }},
    {L"drive",
     [](FaultSection& s, Text value, std::size_t line) {
         s.drive = Mention{line, std::wstring(value)};
         return Complaint();
     }},
    {L"fail", [](FaultSection& s, Text value, std::size_t) { return SetFailure(s.fault.failure, value); }},
    {L"answer", [](FaultSection& s, Text value, std::size_t line) { return SetAnswer(s, value, line); }},
    {L"text",
     [](FaultSection& s, Text value, std::size_t line) { return SetSubstitute(s, std::wstring(value), line); }},
    {L"value",
     [](FaultSection& s, Text value, std::size_t line) {
         s.number = value;
         return SetSubstitute(s, std::uint32_t(0), line);
     }},
    {L"delay-ms", [](FaultSection& s, Text value, std::size_t) { return SetDelay(s.fault, value); }},
};

// Reads the lines into sections; what concerns several sections is left to Assembler.
class Reader {
public:
    // Reads one line; false when it is wrong, as Error then tells.
    bool ReadLine(std::size_t line, Text text)
    {
        line_ = line;
        text = Trim(text);
        if (text.empty() || text.starts_with(L'#')) {
            return true;
        }
        return Accept(text.starts_with(L'[') ? BeginSection(text) : ReadKey(text));
    }

    [[nodiscard]] const ScenarioError& Error() const { return error_; }
    [[nodiscard]] Sections& Result() { return sections_; }

private:
    enum class Kind { None, Engine, Drive, Drives, Schedule, Fault, Computer };

    bool Accept(Complaint complaint)
    {
        if (complaint) {
            error_ = {line_, std::move(*complaint)};
        }
        return !complaint;
    }

    Complaint BeginSection(Text text)
    {
        if (!text.ends_with(L']')) {
            return L"the section's ] is missing";
        }
        const Text inside = Trim(text.substr(1, text.size() - 2));
        const std::size_t blank = inside.find_first_of(L" \t");
        const Text word = inside.substr(0, blank);
        const Text name = blank == Text::npos ? Text() : Trim(inside.substr(blank));

        struct SectionKind {
            Text word;
            Kind kind;
            bool named;
        };
        constexpr SectionKind kKinds[] = {{L"engine", Kind::Engine, false},
                                          {L"drive", Kind::Drive, true},
                                          {L"drives", Kind::Drives, false},
                                          {L"schedule", Kind::Schedule, true},
                                          {L"fault", Kind::Fault, false}};
        const auto* const found =
            std::ranges::find_if(kKinds, [&](const SectionKind& kind) { return SameIgnoringCase(kind.word, word); });
        if (found == std::end(kKinds) && ComputerSections::Knows(word)) {
            kind_ = Kind::Computer;
            return sections_.computer.Begin(word, name, line_);
        }
        if (found == std::end(kKinds)) {
            return L"unknown section [" + std::wstring(inside) + L"]";
        }
        if (found->named == name.empty()) {
            return L"[" + std::wstring(found->word) + (found->named ? L"] needs a name" : L"] takes no name");
        }
        kind_ = found->kind;
        seen_.clear();
        AddSection(name);
        return std::nullopt;
    }

    void AddSection(Text name)
    {
        switch (kind_) {
        case Kind::Drive:
        case Kind::Drives: {
            DriveSection& section = sections_.drives.emplace_back();
            section.line = line_;
            section.numbered = kind_ == Kind::Drives;
            section.setup.name = section.numbered ? Text(L"V:\\{n}\\") : name;
            break;
        }
        case Kind::Schedule:
            sections_.schedules.emplace_back().setup.name = name;
            break;
        case Kind::Fault:
            sections_.faults.emplace_back().line = line_;
            break;
        case Kind::Engine:
        case Kind::Computer:
        case Kind::None:
            break;
        }
    }

    Complaint ReadKey(Text text)
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
        switch (kind_) {
        case Kind::None:
            return L"a key before the first section";
        case Kind::Engine:
            return SetKey(sections_, key, value, line_, seen_, {kEngineKeys});
        case Kind::Drive:
            return SetKey(sections_.drives.back(), key, value, line_, seen_, {kDriveKeys});
        case Kind::Drives:
            return SetKey(sections_.drives.back(), key, value, line_, seen_, {kDriveKeys, kNumberedDriveKeys});
        case Kind::Schedule:
            return SetKey(sections_.schedules.back(), key, value, line_, seen_, {kScheduleKeys});
        case Kind::Computer:
            return sections_.computer.ReadKey(key, value, line_);
        case Kind::Fault:
            return SetKey(sections_.faults.back(), key, value, line_, seen_, {kFaultKeys});
        }
        return std::nullopt;
    }

    Sections sections_;
    ScenarioError error_;
    std::size_t line_ = 0;
    Kind kind_ = Kind::None;
    std::set<Text> seen_; // keys of the section at hand
};

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
        std::variant<ComputerSetup, ScenarioError> computer = sections_.computer.Finish();
        if (ScenarioError* const error = std::get_if<ScenarioError>(&computer)) {
            return std::move(*error);
        }
        scenario_.computer = std::get<ComputerSetup>(std::move(computer));
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
            if (!drivesByName_.emplace(FoldCase(drive.name), place).second) {
                return Fail(section.line, L"there is already a drive " + drive.name);
            }
            if (!identities_.insert(FoldCase(drive.identity)).second) {
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
                const auto found = drivesByName_.find(FoldCase(name));
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
            const auto found = drivesByName_.find(FoldCase(section.drive->text));
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
        if (!fault.failure && !substitutes && fault.delay == milliseconds::zero()) {
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
    Reader reader;
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
        if (!reader.ReadLine(line, *text)) {
            return reader.Error();
        }
    }
    return Assembler(reader.Result()).Assemble();
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
