#include "stats/statistics.h"

#include "engine/connection.h"
#include "engine/formatting.h"
#include "messages/console_output.h"
#include "stats/date_text.h"
#include "stats/report_messages.h"
#include "win/result_code.h"

#include <cmath>
#include <exception>

namespace {

constexpr Message kComputer{2644, "Remote Computer:   %1"};
constexpr Message kDrive{185, "Drive   :   %1"};
constexpr Message kDate{1137, "Date    :   %1"};
constexpr Message kBeforeAfter{199, "\t\t\t\tBefore\tAfter"};
constexpr Message kFailed{1501, "Error occurred while getting statistics.\n"};

// A line of two percentages and the path of their values.
struct Figure {
    Message message;
    const wchar_t* path;
};

constexpr Figure kFigures[] = {
    {{1703, "File Fragmentation\t\t%1%%\t%2%%"}, L"/Fragmented/"},
    {{1811, "Free Space Fragmentation\t%1%%\t%2%%"}, L"/FreeSpaceFragmentation/"},
    {{2528, "Performance\t\t\t%1%%\t%2%%"}, L"/Performance/"},
};
constexpr std::wstring_view kDatePath = L"/Fragmented/";
constexpr std::wstring_view kNewestPoint = L"1";

// Reads a value of the statistics object.
template <typename Value>
HRESULT Read(IVLStatistics& statistics, HRESULT (WINAPI IVLStatistics::*get)(BSTR, BSTR, Value*),
             std::wstring_view path, std::wstring_view name, Value& value)
{
    const win::Bstr pathText(path);
    const win::Bstr nameText(name);
    return (statistics.*get)(pathText.Get(), nameText.Get(), &value);
}

// The same of the newest point.
HRESULT ReadNewest(IVLStatistics& statistics, std::wstring_view path, std::wstring_view name, double& value)
{
    return Read(statistics, &IVLStatistics::GetDouble, std::wstring(path).append(kNewestPoint), name, value);
}

// A day ahead, so that every recorded point is earlier.
DATE Tomorrow()
{
    SYSTEMTIME now{};
    GetSystemTime(&now);
    DATE date = 0;
    SystemTimeToVariantTime(&now, &date);
    return date + 1.0;
}

// The statistics object with the drive's newest point. Its calls reach the engine under the caller's own identity.
HRESULT GetStatistics(IVLAgent& agent, const std::wstring& drive, win::ComPtr<IVLStatistics>& statistics)
{
    const win::Bstr name(drive);
    HRESULT result = agent.GetStatistics(name.Get(), Tomorrow(), 1, statistics.Put());
    result = win::RequireInterface(result, statistics.Get());
    return FAILED(result) ? result
                          : CoSetProxyBlanket(statistics.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                                              RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
}

std::wstring RoundedText(double value)
{
    // Adding 0 makes a negative zero a plain one.
    return FormatNumber(std::trunc(value + 0.5) + 0.0, kDefaultWidth, kDefaultFill, 0);
}

// The line's text; of a doubled percent sign in it one stays.
std::wstring FigureText(const Figure& figure, double before, double after)
{
    std::wstring text = ToWideString(GetMessage(figure.message, {RoundedText(before), RoundedText(after)}));
    for (std::size_t at = text.find(L"%%"); at != std::wstring::npos; at = text.find(L"%%", at + 1)) {
        text.erase(at, 1);
    }
    return text;
}

// Reads what the report of a drive shows and appends it to the text. Returns the failure of the first value that cannot
// be read.
HRESULT AppendReport(IVLStatistics& statistics, const std::wstring& drive, std::wstring& text)
{
    LONG points = 0;
    if (const HRESULT read = Read(statistics, &IVLStatistics::GetInteger, L"/", L"NumStatPoints", points);
        FAILED(read)) {
        return read;
    }
    if (points < 1) {
        text += ToWideString(GetMessage(kNoStatistics, {drive}));
        return S_OK;
    }
    double date = 0;
    if (const HRESULT read = ReadNewest(statistics, kDatePath, L"Date", date); FAILED(read)) {
        return read;
    }
    text += ToWideString(GetMessage(kDrive, {drive}));
    text += L'\n' + ToWideString(GetMessage(kDate, {FormatDate(date)}));
    text += L'\n' + ToWideString(GetMessage(kBeforeAfter));
    for (const Figure& figure : kFigures) {
        double before = 0;
        double after = 0;
        if (const HRESULT read = ReadNewest(statistics, figure.path, L"Before", before); FAILED(read)) {
            return read;
        }
        if (const HRESULT read = ReadNewest(statistics, figure.path, L"After", after); FAILED(read)) {
            return read;
        }
        text += L'\n' + FigureText(figure, before, after);
    }
    return S_OK;
}

Result ShowDrive(IVLAgent& agent, const std::wstring& drive)
{
    win::ComPtr<IVLStatistics> statistics;
    if (const HRESULT result = GetStatistics(agent, drive, statistics); FAILED(result)) {
        return win::ResultOf(result);
    }
    std::wstring text;
    if (const HRESULT read = AppendReport(*statistics, drive, text); FAILED(read)) {
        PrintMessage(kFailed);
        return win::ResultOf(read);
    }
    PrintLine(text);
    return kSuccess;
}

} // namespace

Result ShowRemoteStats(const std::wstring& computer, const DriveList& drives)
{
    win::ComPtr<IVLAgent> agent;
    if (const HRESULT connection = ConnectToAgent(computer, &agent); FAILED(connection)) {
        return win::ResultOf(connection);
    }
    PrintMessage(kComputer, {computer});
    try {
        for (const std::wstring& drive : drives) {
            if (const Result result = ShowDrive(*agent, drive); result != kSuccess) {
                return result;
            }
        }
    } catch (const std::exception&) { // memory ran out
        PrintMessage(kFailed);
        return kOutOfMemory;
    }
    return kSuccess;
}
