#include "scenario/special_values.h"

#include "scenario/windows_functions.h"

#include "win/text.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace sim {

namespace {

using std::chrono::milliseconds;
using Text = std::wstring_view;

constexpr Choice<std::uint32_t> kEvents[] = {{L"ctrl-c", CTRL_C_EVENT},
                                             {L"ctrl-break", CTRL_BREAK_EVENT},
                                             {L"close", CTRL_CLOSE_EVENT},
                                             {L"logoff", CTRL_LOGOFF_EVENT},
                                             {L"shutdown", CTRL_SHUTDOWN_EVENT}};

// The automation date of "YYYY-MM-DD HH:MM:SS".
std::optional<double> ParseDate(Text text)
{
    constexpr Text kShape = L"0000-00-00 00:00:00";
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

Bytes BytesOf(Text text)
{
    const auto* const first = reinterpret_cast<const unsigned char*>(text.data());
    return {first, first + text.size() * sizeof(wchar_t)};
}

} // namespace

Complaint ReadOffline(bool& refuses, Text value)
{
    constexpr Choice<bool> kAnswers[] = {{L"allow", false}, {L"refuse", true}};
    const std::optional<bool> answer = FindChoice(kAnswers, value);
    refuses = answer.value_or(false);
    return answer ? Complaint() : Wrong(value, L"neither allow nor refuse");
}

Complaint AddFile(std::map<std::uint64_t, std::wstring>& files, Text value)
{
    const std::size_t blank = value.find_first_of(L" \t");
    const std::optional<std::uint64_t> identifier = ParseNumber(value.substr(0, blank));
    if (!identifier || blank == Text::npos) {
        return L"a file is an identifier, a blank and a name";
    }
    if (!files.emplace(*identifier, Trim(value.substr(blank))).second) {
        return L"the file identifier " + std::wstring(value.substr(0, blank)) + L" is given twice";
    }
    return std::nullopt;
}

Complaint AddPoint(std::vector<StatisticsPoint>& points, Text value)
{
    const std::vector<Text> fields = Split(value, L',');
    StatisticsPoint point;
    std::optional<double>* const figures[] = {&point.fragmented.before,  &point.fragmented.after,
                                              &point.freeSpace.before,   &point.freeSpace.after,
                                              &point.performance.before, &point.performance.after};
    if (fields.size() != std::size(figures) + 1) {
        return L"a point is a date and six figures, separated by commas";
    }
    const std::optional<double> date = ParseDate(fields[0]);
    if (!date) {
        return Wrong(fields[0], L"not a date of the form 2026-03-01 14:30:00");
    }
    point.date = *date;
    for (std::size_t index = 0; index < std::size(figures); ++index) {
        const Text text = fields[index + 1];
        *figures[index] = ParseDecimal(text);
        if (!*figures[index] && text != L"-") {
            return Wrong(text, L"neither a figure nor -");
        }
    }
    points.push_back(point);
    return std::nullopt;
}

Complaint ReadWork(ScheduledWork& place, Text value)
{
    constexpr Choice<ScheduledWork> kWorks[] = {{L"nothing", ScheduledWork::Nothing},
                                                {L"analyze", ScheduledWork::Analyze},
                                                {L"defragment", ScheduledWork::Defragment}};
    const std::optional<ScheduledWork> work = FindChoice(kWorks, value);
    place = work.value_or(place);
    return work ? Complaint() : Wrong(value, L"none of nothing, analyze and defragment");
}

Complaint ReadDelay(milliseconds& place, Text value)
{
    std::uint32_t delay = 0;
    Complaint complaint = ReadNumber(delay, value);
    place = milliseconds(delay);
    return complaint;
}

Complaint ReadVersion(std::initializer_list<std::uint32_t*> places, Text value, Text what)
{
    const std::vector<Text> fields = Split(value, L'.');
    bool right = fields.size() == places.size();
    for (std::size_t index = 0; right && index < fields.size(); ++index) {
        right = !ReadNumber(*places.begin()[index], fields[index]);
    }
    return right ? Complaint() : Wrong(value, what);
}

Complaint ReadWindows(WindowsVersion& place, Text value)
{
    return ReadVersion({&place.major, &place.minor, &place.build}, value, L"not a version such as 10.0.17763");
}

Complaint ReadSpeed(double& place, Text value)
{
    constexpr double kMost = 1000;
    const std::optional<double> speed = ParseDecimal(value);
    place = speed.value_or(1);
    return speed && *speed > 0 && *speed <= kMost ? Complaint() : Wrong(value, L"not a speed up to 1000");
}

Complaint AddMount(std::vector<std::wstring>& mounts, Text value)
{
    const bool isPath = value.size() > 2 && value[1] == L':' && value[2] == L'\\' && value.ends_with(L'\\');
    mounts.emplace_back(value);
    return isPath ? Complaint()
                  : Wrong(value, L"neither a drive root such as D:\\ nor a folder such as D:\\Mounts\\Data\\");
}

std::optional<Bytes> TextData(Text text)
{
    return BytesOf(std::wstring(text) + L'\0');
}

std::optional<Bytes> TextsData(Text text)
{
    std::wstring block;
    for (const Text item : Split(text, L'|')) {
        if (!item.empty()) {
            block.append(item).append(1, L'\0');
        }
    }
    return BytesOf(block.append(1, L'\0'));
}

std::optional<Bytes> NumberData(Text text)
{
    std::uint32_t number = 0;
    const auto* const first = reinterpret_cast<const unsigned char*>(&number);
    return ReadNumber(number, text) ? std::nullopt : std::optional(Bytes(first, first + sizeof number));
}

std::optional<Bytes> BinaryData(Text text)
{
    std::wstring digits(text);
    std::erase(digits, L' ');
    if (digits.size() % 2 != 0) {
        return std::nullopt;
    }
    Bytes data;
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        const std::optional<std::uint64_t> byte = ParseNumber(L"0x" + digits.substr(at, 2));
        if (!byte) {
            return std::nullopt;
        }
        data.push_back(static_cast<unsigned char>(*byte));
    }
    return data;
}

Complaint AddRegistryValue(std::vector<RegistryValueSetup>& values, Text value, std::uint32_t type,
                           std::optional<Bytes> (*dataOf)(Text))
{
    const std::size_t comma = value.find(L',');
    if (comma == Text::npos) {
        return L"a registry value is a name, a comma and the data";
    }
    const Text name = Trim(value.substr(0, comma));
    const Text text = Trim(value.substr(comma + 1));
    std::optional<Bytes> data = dataOf(text);
    if (!data) {
        return Wrong(text, L"not data of this type");
    }
    if (std::ranges::any_of(values, [&](const auto& known) { return win::EqualNames(known.name, name); })) {
        return L"the value " + std::wstring(name) + L" is given twice";
    }
    values.push_back({std::wstring(name), type, *std::move(data)});
    return std::nullopt;
}

Complaint AddPolicyChange(std::vector<PolicyChange>& changes, Text value)
{
    const std::vector<Text> fields = Split(value, L',');
    PolicyChange& change = changes.emplace_back();
    bool right = fields.size() == 3 && !ReadSeconds(change.after, fields[0]) && !fields[1].empty();
    if (right) {
        change.name = fields[1];
        right = fields[2] == L"-" || !ReadNumber(change.number.emplace(), fields[2]);
    }
    return right ? Complaint() : Wrong(value, L"not a number of seconds, the name of a value and a number or -");
}

Complaint AddKeyPress(std::vector<KeyPress>& presses, Text value)
{
    const std::vector<Text> fields = Split(value, L',');
    KeyPress& press = presses.emplace_back();
    if (fields.size() != 2 || ReadSeconds(press.after, fields[0])) {
        return Wrong(value, L"not a number of seconds and an event, separated by a comma");
    }
    return ReadChoice<kEvents>(press.event, fields[1]);
}

Complaint ReadFunction(std::wstring& place, Text value)
{
    const WindowsFunction* const function = FindWindowsFunction(value);
    if (function == nullptr) {
        return Wrong(value, L"not a function that can be made to fail");
    }
    place = function->name;
    return std::nullopt;
}

} // namespace sim
