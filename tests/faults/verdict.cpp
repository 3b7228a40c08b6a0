#include "verdict.h"

#include "e2e/expected.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <set>
#include <string_view>
#include <vector>

namespace faults {

namespace {

constexpr DWORD kLowWord = 0xFFFF;
constexpr std::uint32_t kMemoryRanOut = ERROR_OUTOFMEMORY;
constexpr std::uint32_t kWrongWords = ERROR_INVALID_PARAMETER;

std::string Hex(std::uint32_t number)
{
    char text[16] = {};
    std::snprintf(text, sizeof text, "0x%08X", number);
    return text;
}

// The lines without their ends, which are CR LF, or CR CR LF where a text that is part of a line had an end of its own.
std::vector<std::string> LinesOf(const std::string& output)
{
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < output.size();) {
        const std::size_t end = std::min(output.find("\r\n", begin), output.size());
        std::string line = output.substr(begin, end - begin);
        while (line.ends_with('\r')) {
            line.pop_back();
        }
        lines.push_back(std::move(line));
        begin = end + 2;
    }
    return lines;
}

// Whether the text is the pattern, in which * stands for any text.
bool Matches(std::string_view pattern, std::string_view text)
{
    const std::size_t star = pattern.find('*');
    if (star == std::string_view::npos) {
        return pattern == text;
    }
    if (!text.starts_with(pattern.substr(0, star))) {
        return false;
    }
    const std::string_view rest = pattern.substr(star + 1);
    for (std::size_t at = star; at <= text.size(); ++at) {
        if (Matches(rest, text.substr(at))) {
            return true;
        }
    }
    return false;
}

// The printed lines that are left when as many as possible have been found among the known ones, in their order.
std::vector<std::string> BesidesInOrder(const std::vector<std::string>& printed, const std::vector<std::string>& known)
{
    // How many of the lines from two places on can be found.
    std::vector<std::vector<std::size_t>> found(printed.size() + 1, std::vector<std::size_t>(known.size() + 1));
    for (std::size_t i = printed.size(); i-- > 0;) {
        for (std::size_t k = known.size(); k-- > 0;) {
            found[i][k] = printed[i] == known[k] ? found[i + 1][k + 1] + 1 : std::max(found[i + 1][k], found[i][k + 1]);
        }
    }
    std::vector<std::string> others;
    for (std::size_t i = 0, k = 0; i < printed.size();) {
        if (k < known.size() && printed[i] == known[k]) {
            ++i;
            ++k;
        } else if (k < known.size() && found[i][k + 1] >= found[i + 1][k]) {
            ++k;
        } else {
            others.push_back(printed[i++]);
        }
    }
    return others;
}

// The same in any order.
std::vector<std::string> BesidesInAnyOrder(const std::vector<std::string>& printed, std::vector<std::string> known)
{
    std::vector<std::string> others;
    for (const std::string& line : printed) {
        const auto place = std::ranges::find(known, line);
        if (place != known.end()) {
            known.erase(place);
        } else {
            others.push_back(line);
        }
    }
    return others;
}

// The HRESULTs that a failure may be told as: those of the call itself, and that of a missing result.
std::vector<HRESULT> ResultsOf(const Disturbance& disturbance)
{
    const Function& function = Functions()[disturbance.function];
    const Way way = WaysOf(function)[disturbance.way];
    std::vector<HRESULT> results = {E_OUTOFMEMORY};
    if (way.nothing) {
        results.push_back(E_POINTER);
    } else if (function.returns == Returns::Result) {
        results.push_back(static_cast<HRESULT>(way.returned));
    } else {
        results.push_back(HRESULT_FROM_WIN32(way.lastError.value_or(static_cast<DWORD>(way.returned))));
    }
    if (function.name == std::string_view("GetComputerNameW")) {
        // Then no name is this computer's own, and Wine knows no other computer.
        results.push_back(REGDB_E_CLASSNOTREG);
    }
    return results;
}

// What Windows says of a code.
std::string SystemText(DWORD code)
{
    char text[512] = {};
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, text, sizeof text,
                   nullptr);
    return text;
}

// The lines of what Windows says of the failure.
std::set<std::string> SystemLines(const std::vector<HRESULT>& results)
{
    std::set<std::string> lines;
    for (const HRESULT result : results) {
        const auto code = static_cast<DWORD>(result);
        for (const DWORD told : {code, code & kLowWord}) {
            for (const std::string& line : LinesOf(SystemText(told))) {
                lines.insert(line);
            }
        }
    }
    return lines;
}

class Judge {
public:
    Judge(const Command& command, const Traces& undisturbed, const Traces& run, const Disturbance& disturbance)
        : command_(command),
          undisturbed_(undisturbed),
          run_(run),
          disturbance_(disturbance),
          results_(ResultsOf(disturbance))
    {}

    std::string Complaints()
    {
        if (!run_.ended) {
            Complain("does not end");
        } else if (!IsExpectedCode()) {
            Complain("ends with " + Hex(run_.exitCode));
        }
        LookAtOutput();
        LookAtTraceLog(run_.traceLog);
        if (run_.traceLogIsShut) {
            Complain("has made a trace log that nobody may write to");
        }
        if (!run_.databaseIsSame) {
            Complain("has changed the database");
        }
        for (std::size_t kind = 1; run_.ended && kind < kKinds; ++kind) {
            if (run_.report.kept[kind] > undisturbed_.report.kept[kind]) {
                Complain("keeps " + std::to_string(run_.report.kept[kind]) + " " + NameOf(static_cast<Kind>(kind)) +
                         ", undisturbed " + std::to_string(undisturbed_.report.kept[kind]));
            }
        }
        return complaints_;
    }

    void LookAtTraceLog(const std::string& bytes)
    {
        if (bytes.empty()) {
            return;
        }
        std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
        bytes.copy(reinterpret_cast<char*>(text.data()), text.size() * sizeof(wchar_t));
        if (bytes.size() % sizeof(wchar_t) != 0 || !text.starts_with(L'\xFEFF')) {
            Complain("has torn the trace log");
            return;
        }
        text.erase(0, 1);
        constexpr std::wstring_view kEnd = L"\r\n";
        if (!text.empty() && !text.ends_with(kEnd)) {
            Complain("has left half a record in the trace log");
        }
        for (std::size_t begin = 0, end = text.find(kEnd); end != std::wstring::npos; end = text.find(kEnd, begin)) {
            LookAtRecord(text.substr(begin, end - begin));
            begin = end + kEnd.size();
        }
    }

private:
    void Complain(const std::string& what) { complaints_ += "  " + what + "\n"; }

    // "11/05/2026 08:09:07.138 SRV0 root ... db_manager ... 000042 (vldb::CDbManager::Connect) *** ENTER ***"
    void LookAtRecord(const std::wstring& record)
    {
        std::string narrow;
        for (const wchar_t character : record) {
            narrow.push_back(character > L'~' ? '?' : static_cast<char>(character));
        }
        if (!Matches("*/*/* *:*:*.* * * (vldb::*) *", narrow)) {
            Complain("has written a record that is none: " + narrow);
        }
    }

    [[nodiscard]] bool IsExpectedCode() const
    {
        const std::uint32_t code = run_.exitCode;
        const std::string_view function = Functions()[disturbance_.function].name;
        if (code == undisturbed_.exitCode || code == kMemoryRanOut) {
            return true;
        }
        const bool atTheBeginning = function == "CoInitializeEx" || function == "CoInitializeSecurity" ||
                                    function == "SetConsoleCtrlHandler" || function == "WriteFile";
        const auto isFailure = [&](bool lowBits) {
            return std::ranges::any_of(results_, [&](HRESULT result) {
                const auto told = static_cast<DWORD>(result);
                return code == (lowBits ? told & kLowWord : told);
            });
        };
        const struct {
            bool allowed;
            bool met;
        } kRows[] = {
            {(command_.results & kUsage) != 0, code == kWrongWords},
            {(command_.results & kRefused) != 0, code == 0x20000001},
            {(command_.results & kNotConnected) != 0, code == 0x20000002},
            {(command_.results & kNotPermitted) != 0, code == 0x20000004},
            {(command_.results & kNoVolume) != 0, code == ERROR_INVALID_DATA},
            {(command_.results & kNoDatabase) != 0, code == 0x80070429},
            {(command_.results & kFailureItself) != 0, isFailure(false)},
            {atTheBeginning || (command_.results & kLowBits) != 0, isFailure(true)},
        };
        return std::ranges::any_of(kRows, [](const auto& row) { return row.allowed && row.met; });
    }

    void LookAtOutput()
    {
        if (!run_.output.empty() && !run_.output.ends_with("\r\n") && command_.lineEnd == LineEnd::Always) {
            Complain("has left half a line: " + LinesOf(run_.output).back());
        }
        const std::vector<std::string> known = LinesOf(undisturbed_.output);
        const std::vector<std::string> printed = LinesOf(run_.output);
        const std::vector<std::string> others =
            command_.order == Order::Kept ? BesidesInOrder(printed, known) : BesidesInAnyOrder(printed, known);
        const std::set<std::string> system = SystemLines(results_);
        for (const std::string& line : others) {
            if (!IsFailureLine(line) && !system.contains(line) && !IsUsageLine(line) && !HasLostAText(line, known) &&
                !NamesNoDrive(line, known)) {
                Complain("prints a line that is none of its own: " + line);
            }
        }
        const bool isShort = printed.size() - others.size() < known.size();
        if (run_.ended && isShort && others.empty() && run_.exitCode == 0 && !MayLoseSilently()) {
            Complain("ends with 0 and has left out lines");
        }
    }

    [[nodiscard]] bool IsFailureLine(const std::string& line) const
    {
        const auto matches = [&](std::string_view pattern) { return Matches(pattern, line); };
        return std::ranges::any_of(FailureLines(), matches) || std::ranges::any_of(command_.lines, matches);
    }

    // Whether it is given that the failure shows in nothing but the lines that are not there.
    [[nodiscard]] bool MayLoseSilently() const
    {
        const Function& function = Functions()[disturbance_.function];
        const auto is = [&](std::initializer_list<std::string_view> names) {
            return std::ranges::find(names, function.name) != names.end();
        };
        // A standard output that is not there, or a pipe that nobody reads; a text that cannot be converted is empty.
        if (is({"GetStdHandle", "MultiByteToWideChar"}) ||
            (is({"WriteFile"}) && WaysOf(function)[disturbance_.way].lastError == DWORD{ERROR_BROKEN_PIPE})) {
            return true;
        }
        // A drive that cannot be found is dropped, so is one that there is no thread for; what an optimisation's drives
        // do is not told by its result.
        if ((command_.results & kUsage) != 0 &&
            is({"IVLAgent::GetDrive", "IVLDrive::GetDriveName", "CreateThread", "SysAllocStringLen", "LocalAlloc",
                "CoInitializeEx", "CompareStringOrdinal", "CharUpperBuffW"})) {
            return true;
        }
        // Scheduling a drive that refuses an offline pass may fail without a message, and the pass goes on.
        if (command_.name == std::string_view("Offline") &&
            is({"IVLDrive::GetMountPoint", "IVLDrive::GetOfflineFileTypes"})) {
            return true;
        }
        // The low 16 bits of a failure may be 0.
        const bool mayBeZero = (command_.results & kLowBits) != 0 || is({"CoInitializeEx", "CoInitializeSecurity"});
        return command_.lost == Lost::WhatCannotBeHad ||
               (mayBeZero && std::ranges::any_of(results_, [](HRESULT result) {
                    return (static_cast<DWORD>(result) & kLowWord) == 0;
                }));
    }

    // A text that Windows cannot convert is empty: the line is one of the known ones without a part.
    [[nodiscard]] bool HasLostAText(const std::string& line, const std::vector<std::string>& known) const
    {
        return Functions()[disturbance_.function].name == std::string_view("MultiByteToWideChar") &&
               std::ranges::any_of(known, [&](const std::string& whole) {
                   const std::size_t same =
                       static_cast<std::size_t>(std::ranges::mismatch(line, whole).in1 - line.begin());
                   return whole.ends_with(line.substr(same));
               });
    }

    // A null string is an empty name.
    [[nodiscard]] bool NamesNoDrive(const std::string& line, const std::vector<std::string>& known) const
    {
        constexpr std::size_t kNameLength = 3; // "C:\"
        return WaysOf(Functions()[disturbance_.function])[disturbance_.way].nothing &&
               std::ranges::any_of(known, [&](std::string whole) {
                   const std::size_t name = whole.find(":\\");
                   return name != std::string::npos && name > 0 && whole.erase(name - 1, kNameLength) == line;
               });
    }

    [[nodiscard]] bool IsUsageLine(const std::string& line) const
    {
        static const std::set<std::string> lines = [] {
            std::string usage = e2e::Redirected(e2e::UsageScreen());
            const std::vector<std::string> all = LinesOf(usage);
            return std::set<std::string>(all.begin(), all.end());
        }();
        return run_.exitCode == kWrongWords && lines.contains(line);
    }

    const Command& command_;
    const Traces& undisturbed_;
    const Traces& run_;
    const Disturbance& disturbance_;
    std::vector<HRESULT> results_;
    std::string complaints_;
};

} // namespace

std::string Complaints(const Command& command, const Traces& undisturbed, const Traces& run,
                       const Disturbance& disturbance)
{
    return Judge(command, undisturbed, run, disturbance).Complaints();
}

const char* KnownFinding(const Command& command, const Disturbance& disturbance)
{
    // What is mended leaves this table. A * stands for all commands and for all ways.
    constexpr struct {
        std::string_view command;
        std::string_view function;
        std::string_view way;
        const char* what;
    } kFindings[] = {
        {"*", "WaitForMultipleObjects", "*", "a batch whose wait fails lets go of threads that still run"},
        {"*", "GetSecurityDescriptorDacl", "*", "the trace log is made so that nobody may write to it"},
        {"RemoteStatistics", "SystemTimeToVariantTime", "*", "it tells that there are no statistics, though there are"},
    };
    const Function& function = Functions()[disturbance.function];
    const std::string way = WaysOf(function)[disturbance.way].name;
    for (const auto& finding : kFindings) {
        if ((finding.command == "*" || finding.command == command.name) && finding.function == function.name &&
            (finding.way == "*" || finding.way == way)) {
            return finding.what;
        }
    }
    return nullptr;
}

} // namespace faults
